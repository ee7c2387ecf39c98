#pragma once
#include <cstdint>
#include <vector>

#include "frame/Guid.h"
#include "mxf/model/KlvItem.h"
#include "mxf/model/Labels.h"

namespace Corvidane::MXF {

// Where an element of an edit unit lies, from the start of the edit unit.
struct MXFDELTAENTRY {
    int8_t posTableIndex = 0;
    uint8_t slice = 0;
    uint32_t elementDelta = 0;
};

// One edit unit of a variable-size index: its frame flags, reordering and
// place in the essence container. Its slice offsets and position table live
// in its segment, whose counts size them.
class CMxf_IndexTable_IndexEntry {
public:
    int8_t temporalOffset = 0;
    int8_t keyFrameOffset = 0;
    uint8_t flags = 0;
    uint64_t streamOffset = 0;

    bool isPreditionFrame() const { return (flags & 0x30) != 0; }
    bool isPFrame() const { return (flags & 0x30) == 0x20; }
    bool isBFrame() const { return (flags & 0x10) != 0; }
    bool isKeyFrame() const { return !isPreditionFrame(); }
    // The key frame offset does not count.
    bool operator==(const CMxf_IndexTable_IndexEntry& other) const
    {
        return temporalOffset == other.temporalOffset && flags == other.flags && streamOffset == other.streamOffset;
    }
    // The 11 fixed bytes of the wire form at `dst`.
    void toKlv(unsigned char* dst) const;
};

// An index table segment: constant bytes per edit unit (editUnitByteCount
// set) or one entry per edit unit. Offsets count from the start of the
// essence container.
class CMxf_IndexTable_Segment {
public:
    static bool IsMyKey(const MXFUL& key);
    // The fixed local tags of the set and their labels, for a primer.
    static const std::vector<MXF_TAG2UL>& tags();

    // Reads the set's items by their fixed tags; items the set can't hold
    // whole are left out.
    bool read(const CKlvItem& item);
    // The set at `dst`: the bytes written, or with a null `dst` the bytes needed; 0 when `size` is too small.
    size_t toKlv(unsigned char* dst, size_t size) const;

    bool isConstant() const { return editUnitByteCount != 0; }
    void useLargeLength(bool on) { berSize = on ? 9 : 4; }
    void setXDCAM(bool on)
    {
        xdcam = on;
        useLargeLength(on);
    }
    void setLastKeyFrame(int64_t frame) { lastKeyFrame = frame; }
    int64_t getLastKeyFrame() const { return lastKeyFrame; }

    GUID instanceUID{};
    MXFRATIONAL indexEditRate;
    int64_t indexStartPosition = 0;
    int64_t indexDuration = 0;
    uint32_t editUnitByteCount = 0;
    uint32_t indexSID = 0;
    uint32_t bodySID = 0;
    uint8_t sliceCount = 0;
    uint8_t posTableCount = 0;
    std::vector<MXFDELTAENTRY> deltaEntries;
    std::vector<CMxf_IndexTable_IndexEntry> indexEntries;
    // sliceCount offsets per entry, and posTableCount positions per entry, in
    // entry order: flat, so that an hour of entries is three allocations, not
    // hundreds of thousands. Entries past their end write zeros.
    std::vector<uint32_t> sliceOffsets;
    std::vector<MXFRATIONAL> posTables;

    // Entry `entry`'s offset of slice `slice` (from 0); false when the
    // segment holds none.
    bool sliceOffset(size_t entry, size_t slice, uint32_t& offset) const;

private:
    void readDeltaEntries(const unsigned char* value, uint64_t length);
    // Reads the entry array; the length the array really takes, which a
    // 2-byte length field can't tell past 64 KiB.
    uint64_t readIndexEntries(const unsigned char* value, uint64_t length, uint64_t available, bool twoByteLengths);
    size_t entryWireSize() const { return 11 + 4 * size_t(sliceCount) + 8 * size_t(posTableCount); }

    int berSize = 4;
    bool xdcam = false;
    int64_t lastKeyFrame = 0;
};

} // namespace Corvidane::MXF
