#include "mxf/model/Labels.h"

#include <cstdlib>

namespace Corvidane::MXF {

MXFUL labelFromText(const char* dotted)
{
    MXFUL ul;
    for (size_t i = 0; i < 16 && *dotted; ++i) {
        char* end = nullptr;
        ul.bytes[i] = static_cast<unsigned char>(std::strtoul(dotted, &end, 16));
        dotted = *end == '.' ? end + 1 : end;
    }
    return ul;
}

bool versionBlindEqual(const MXFUL& a, const MXFUL& b)
{
    return std::memcmp(a.bytes, b.bytes, 7) == 0 && std::memcmp(a.bytes + 8, b.bytes + 8, 8) == 0;
}

bool hasSmptePrefix(const unsigned char* p)
{
    return p && p[0] == 0x06 && p[1] == 0x0E && p[2] == 0x2B && p[3] == 0x34;
}

bool isFiller(const MXFUL& ul)
{
    static const MXFUL filler = labelFromText("06.0E.2B.34.01.01.01.01.03.01.02.10.01.00.00.00");
    return versionBlindEqual(ul, filler);
}

bool isEssenceElementKey(const MXFUL& ul)
{
    static const unsigned char prefix[7] = {0x06, 0x0E, 0x2B, 0x34, 0x01, 0x02, 0x01};
    static const unsigned char container[4] = {0x0D, 0x01, 0x03, 0x01};
    const unsigned char type = ul[12];
    return std::memcmp(ul.bytes, prefix, 7) == 0 && std::memcmp(ul.bytes + 8, container, 4) == 0 &&
           ((type >= 0x05 && type <= 0x07) || (type >= 0x15 && type <= 0x18));
}

bool isCPSystemElementKey(const MXFUL& ul)
{
    static const unsigned char prefix[7] = {0x06, 0x0E, 0x2B, 0x34, 0x02, 0x05, 0x01};
    static const unsigned char container[5] = {0x0D, 0x01, 0x03, 0x01, 0x04};
    return std::memcmp(ul.bytes, prefix, 7) == 0 && std::memcmp(ul.bytes + 8, container, 5) == 0;
}

bool getULDescription(const MXFUL& ul, std::string& out)
{
    // Byte 7 is written 00 here; the compare skips it.
    static const struct {
        const char* text;
        MXFUL label;
    } known[] = {
        {"MXFUL_FILLER", labelFromText("06.0E.2B.34.01.01.01.00.03.01.02.10.01.00.00.00")},
        {"MXFUL_PRIMER", labelFromText("06.0E.2B.34.02.05.01.00.0D.01.02.01.01.05.01.00")},
        {"UL_INDEX_TABLE_SEGMENT", labelFromText("06.0E.2B.34.02.53.01.00.0D.01.02.01.01.10.01.00")},
        {"UL_RANDOM_INDEX_PACK", labelFromText("06.0E.2B.34.02.05.01.00.0D.01.02.01.01.11.01.00")},
        {"UL_METADATA_DICTIONARY", labelFromText("06.0E.2B.34.02.53.01.00.0D.01.01.01.02.25.00.00")},
        {"UL_CLASS_DEFINITION", labelFromText("06.0E.2B.34.02.53.01.00.0D.01.01.01.02.01.00.00")},
        {"UL_PROPERTY_DEFINITION", labelFromText("06.0E.2B.34.02.53.01.00.0D.01.01.01.02.02.00.00")},
        {"AAF_OBJECT_DIRECTORY", labelFromText("96.13.B3.8A.87.34.87.00.F1.02.96.F0.56.E0.4D.2A")},
        {"UL_AAF_OBJECT_MODEL_ROOT", labelFromText("80.53.08.00.36.21.08.00.B3.B3.98.A5.1C.90.11.D4")},
    };
    for (const auto& entry : known)
        if (versionBlindEqual(ul, entry.label)) {
            out = entry.text;
            return true;
        }
    return false;
}

namespace {

// 06.0E.2B.34.04.01.01.01.01.03.02 followed by the given five bytes.
bool isDataDefinition(const MXFUL& ul, unsigned char b11, unsigned char b12)
{
    static const MXFUL base = labelFromText("06.0E.2B.34.04.01.01.01.01.03.02.00.00.00.00.00");
    return std::memcmp(ul.bytes, base.bytes, 11) == 0 && ul[11] == b11 && ul[12] == b12 && ul[13] == 0 &&
           ul[14] == 0 && ul[15] == 0;
}

} // namespace

bool isPicture(const MXFUL& ul) { return isDataDefinition(ul, 0x02, 0x01); }
bool isSound(const MXFUL& ul) { return isDataDefinition(ul, 0x02, 0x02); }
bool isData(const MXFUL& ul) { return isDataDefinition(ul, 0x02, 0x03); }
bool isDM(const MXFUL& ul) { return isDataDefinition(ul, 0x01, 0x10); }

bool isTimeCode(const MXFUL& ul)
{
    return isDataDefinition(ul, 0x01, 0x01) || isDataDefinition(ul, 0x01, 0x02) || isDataDefinition(ul, 0x01, 0x03) ||
           isAAFTimeCode(ul);
}

bool isEdgeCode(const MXFUL& ul)
{
    static const MXFUL label = labelFromText("89.EE.00.60.97.11.62.12.D2.BB.2A.F0.D2.34.11.D2");
    return ul == label;
}
bool isAAFPicture(const MXFUL& ul)
{
    static const MXFUL label = labelFromText("80.7D.00.60.08.14.3E.6F.6F.3C.8C.E1.6C.EF.11.D2");
    return ul == label;
}
bool isAAFSound(const MXFUL& ul)
{
    static const MXFUL label = labelFromText("80.7D.00.60.08.14.3E.6F.78.E1.EB.E1.6C.EF.11.D2");
    return ul == label;
}
bool isAAFTimeCode(const MXFUL& ul)
{
    static const MXFUL label = labelFromText("80.7F.00.60.08.14.3E.6F.7F.27.5E.81.77.E5.11.D2");
    return ul == label;
}

bool isKeyTypeDefinition(const MXFUL& ul)
{
    static const unsigned char definitions[] = {0x0D, 0x01, 0x01, 0x01, 0x02};
    return hasSmptePrefix(ul.bytes) && std::memcmp(ul.bytes + 8, definitions, 5) == 0;
}

} // namespace Corvidane::MXF
