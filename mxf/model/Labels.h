#pragma once
#include <cstdint>
#include <cstring>
#include <string>

// The fixed-size values of MXF: labels, UMIDs, rationals and time stamps,
// and the classifiers of the labels that the reader and writer look for.
namespace Corvidane::MXF {

// A 16-byte SMPTE label (or AAF identifier), bytes as on the wire.
struct MXFUL {
    unsigned char bytes[16] = {};

    const unsigned char* data() const { return bytes; }
    unsigned char operator[](size_t i) const { return bytes[i]; }
    unsigned char& operator[](size_t i) { return bytes[i]; }
    // Compared as two 64-bit halves: exactly, all 16 bytes.
    bool operator==(const MXFUL& other) const { return std::memcmp(bytes, other.bytes, 16) == 0; }
    bool operator!=(const MXFUL& other) const { return !(*this == other); }
    bool operator<(const MXFUL& other) const { return std::memcmp(bytes, other.bytes, 16) < 0; }
    static MXFUL fromData(const unsigned char* p)
    {
        MXFUL ul;
        std::memcpy(ul.bytes, p, 16);
        return ul;
    }
};
static_assert(sizeof(MXFUL) == 16, "a label is 16 bytes");

// A SMPTE 330 UMID, 32 bytes as on the wire.
struct UMID {
    unsigned char bytes[32] = {};
    bool operator==(const UMID& other) const { return std::memcmp(bytes, other.bytes, 32) == 0; }
    bool operator!=(const UMID& other) const { return !(*this == other); }
};

struct MXFRATIONAL {
    int32_t numerator = 0;
    int32_t denominator = 0;
};

struct MXFTIMESTAMP {
    uint16_t year = 0;
    uint8_t month = 0, day = 0, hour = 0, minute = 0, second = 0, quarterMilliseconds = 0;
};

// A primer row: a local tag and the label it stands for.
struct MXF_TAG2UL {
    uint16_t tag = 0;
    MXFUL ul;
};

// A label from its bytes written as in the registers, "06.0E.2B.34...".
MXFUL labelFromText(const char* dotted);

// Equal but for byte 7, the version of the register that defined the label.
bool versionBlindEqual(const MXFUL& a, const MXFUL& b);

// The names of the packs and definitions that the metadata walk handles
// specially, compared version-blind; false for any other label.
bool getULDescription(const MXFUL& ul, std::string& out);

// The KLV fill item, compared version-blind.
bool isFiller(const MXFUL& ul);
// A generic container essence element key: 06.0E.2B.34.01.02.01, then
// 0D.01.03.01 and an item type of 05 to 07 or 15 to 18.
bool isEssenceElementKey(const MXFUL& ul);
// A content package system element: 06.0E.2B.34.02.05.01, 0D.01.03.01, 04.
bool isCPSystemElementKey(const MXFUL& ul);

// Data definitions of tracks, SMPTE and AAF forms, compared exactly.
bool isPicture(const MXFUL& ul);
bool isSound(const MXFUL& ul);
bool isData(const MXFUL& ul);
bool isDM(const MXFUL& ul);
bool isTimeCode(const MXFUL& ul);
bool isEdgeCode(const MXFUL& ul);
bool isAAFPicture(const MXFUL& ul);
bool isAAFSound(const MXFUL& ul);
bool isAAFTimeCode(const MXFUL& ul);

// Class, property and type definitions of a metadata dictionary.
bool isKeyTypeDefinition(const MXFUL& ul);

// The registry prefix every SMPTE label starts with.
bool hasSmptePrefix(const unsigned char* p);

} // namespace Corvidane::MXF
