#pragma once
#include <cstdint>

#include "mxf/model/Labels.h"

namespace Corvidane::MXF {

// The key of an essence element of the generic or SDTI-CP container:
// 06.0E.2B.34.01.02.01.xx.0D.01.03.01, then item type, element count,
// element type and element number, which together are the track number.
class CMxf_GC_EssenceElement {
public:
    CMxf_GC_EssenceElement() = default;
    explicit CMxf_GC_EssenceElement(const MXFUL& key) : ul(key) {}

    // Picture, sound or data of the content package (05 to 07) or of the
    // generic container (15 to 18, 18 compound).
    static bool IsULEssenceElement(const MXFUL& ul);
    static bool IsULCPSystemElement(const MXFUL& ul);
    static bool IsULPackageMetadata(const MXFUL& ul);
    // An element of Avid's private container class (0E).
    static bool isAvid(const MXFUL& ul);

    bool IsValid() const { return IsULEssenceElement(ul) || isAvid(ul); }
    bool IsCP_Timecode() const { return ul[12] == 0x04; }
    bool IsCP_Picture() const { return ul[12] == 0x05; }
    bool IsCP_Sound() const { return ul[12] == 0x06; }
    bool IsCP_Data() const { return ul[12] == 0x07; }
    bool IsGC_Picture() const { return ul[12] == 0x15; }
    bool IsGC_Sound() const { return ul[12] == 0x16; }
    bool IsGC_Data() const { return ul[12] == 0x17; }
    bool IsGC_Compound() const { return ul[12] == 0x18; }
    // The generic container has no timecode item.
    bool IsGC_Timecode() const { return false; }

    uint8_t GetElementCount() const { return ul[13]; }
    uint8_t GetElementType() const { return ul[14]; }
    uint8_t GetElementNumber() const { return ul[15]; }
    // Bytes 12 to 15, as a track's track number gives them.
    uint32_t GetTrackNumber() const
    {
        return uint32_t(ul[12]) << 24 | uint32_t(ul[13]) << 16 | uint32_t(ul[14]) << 8 | ul[15];
    }

    MXFUL ul;
};

} // namespace Corvidane::MXF
