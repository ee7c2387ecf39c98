#include "mxf/model/ColourLabels.h"

namespace Corvidane::MXF {

namespace {

struct ColourLabel {
    const char* label;
    int mode;
};

template <typename Mode, size_t N>
Mode modeOf(const MXFUL& label, const ColourLabel (&table)[N])
{
    for (const ColourLabel& row : table)
        if (versionBlindEqual(label, labelFromText(row.label)))
            return static_cast<Mode>(row.mode);
    return static_cast<Mode>(0);
}

} // namespace

VideoColourCPMode colourPrimariesMode(const MXFUL& label)
{
    static const ColourLabel table[] = {
        {"06.0E.2B.34.04.01.01.06.04.01.01.01.03.03.00.00", CPMode1}, // BT.709
        {"06.0E.2B.34.04.01.01.06.04.01.01.01.03.02.00.00", CPMode2}, // BT.470 625 lines
        {"06.0E.2B.34.04.01.01.06.04.01.01.01.03.01.00.00", CPMode3}, // SMPTE 170M
        {"06.0E.2B.34.04.01.01.0D.04.01.01.01.03.04.00.00", CPMode4}, // BT.2020
        {"06.0E.2B.34.04.01.01.0D.04.01.01.01.03.0A.00.00", CPMode5}, // DCI-P3, SMPTE 431-2
        {"06.0E.2B.34.04.01.01.0D.04.01.01.01.03.06.00.00", CPMode6}, // P3 D65, SMPTE 432-1
    };
    return modeOf<VideoColourCPMode>(label, table);
}

VideoColourTCMode transferCharacteristicMode(const MXFUL& label)
{
    // SMPTE 274M's curve is BT.709's. BT.2020's has no 'colr' code of its own
    // among the modes, and takes the one mode left for it.
    static const ColourLabel table[] = {
        {"06.0E.2B.34.04.01.01.01.04.01.01.01.01.02.00.00", TCMode1}, // BT.709
        {"06.0E.2B.34.04.01.01.01.04.01.01.01.01.04.00.00", TCMode1}, // SMPTE 274M
        {"06.0E.2B.34.04.01.01.0E.04.01.01.01.01.09.00.00", TCMode2}, // BT.2020
        {"06.0E.2B.34.04.01.01.0D.04.01.01.01.01.0A.00.00", TCMode3}, // SMPTE 2084 (PQ)
        {"06.0E.2B.34.04.01.01.0D.04.01.01.01.01.0B.00.00", TCMode4}, // HLG
        {"06.0E.2B.34.04.01.01.08.04.01.01.01.01.07.00.00", TCMode5}, // SMPTE 428
    };
    return modeOf<VideoColourTCMode>(label, table);
}

} // namespace Corvidane::MXF
