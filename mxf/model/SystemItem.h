#pragma once
#include <cstdint>

#include "mxf/model/KlvItem.h"

namespace Corvidane::MXF {

// The system metadata pack that starts each SDTI-CP content package (D-10):
// what the package holds, its rate, and its place in the stream.
class CMxf_GC_SystemItem : public CKlvItem {
public:
    // 06.0E.2B.34.02.05.01.xx.0D.01.03.01.04.01.01.00, any version.
    static bool IsULSystemItem(const MXFUL& ul);

    using CKlvItem::SetKLV;
    // Takes a view of `item` and its fields; false for another key or a
    // value too short for the fields.
    bool SetKLV(CKlvItem& item);
    bool SetElementsFromValue();

    uint8_t systemMetadataBitmap = 0;
    uint8_t contentPackageRate = 0;  // bits 1 to 5 the rate index, bit 0 the 1.001 divisor
    uint8_t contentPackageType = 0;
    uint16_t channelHandle = 0;
    uint16_t continuityCount = 0;
    MXFUL essenceContainer;
};

} // namespace Corvidane::MXF
