#include "mxf/model/IndexTableSegment.h"

#include <algorithm>
#include <cstring>
#include <string>

#include "frame/BigEndian.h"
#include "mxf/model/KlvLocalSet.h"
#include "mxf/model/MxfText.h"

namespace Corvidane::MXF {

namespace {

enum SegmentTag : uint16_t {
    TagInstanceUID = 0x3C0A,
    TagIndexEditRate = 0x3F0B,
    TagIndexStartPosition = 0x3F0C,
    TagIndexDuration = 0x3F0D,
    TagEditUnitByteCount = 0x3F05,
    TagIndexSID = 0x3F06,
    TagBodySID = 0x3F07,
    TagSliceCount = 0x3F08,
    TagPosTableCount = 0x3F0E,
    TagDeltaEntryArray = 0x3F09,
    TagIndexEntryArray = 0x3F0A,
};

// A local tag as the set builder takes it: its two bytes in wire order.
uint16_t wireTag(uint16_t tag)
{
    const unsigned char bytes[2] = {static_cast<unsigned char>(tag >> 8), static_cast<unsigned char>(tag)};
    uint16_t stored;
    std::memcpy(&stored, bytes, 2);
    return stored;
}

// The head of a batch: count and item size.
bool batchHead(const unsigned char* value, uint64_t length, uint32_t& count, uint32_t& itemSize)
{
    if (!value || length < 8)
        return false;
    count = readBE32(value);
    itemSize = readBE32(value + 4);
    return true;
}

} // namespace

void CMxf_IndexTable_IndexEntry::toKlv(unsigned char* dst) const
{
    dst[0] = static_cast<unsigned char>(temporalOffset);
    dst[1] = static_cast<unsigned char>(keyFrameOffset);
    dst[2] = flags;
    writeBE64(dst + 3, streamOffset);
}

bool CMxf_IndexTable_Segment::sliceOffset(size_t entry, size_t slice, uint32_t& offset) const
{
    if (entry >= indexEntries.size() || slice >= sliceCount)
        return false;
    const size_t at = entry * sliceCount + slice;
    if (at >= sliceOffsets.size())
        return false;
    offset = sliceOffsets[at];
    return true;
}

bool CMxf_IndexTable_Segment::IsMyKey(const MXFUL& key)
{
    static const MXFUL segment = labelFromText("06.0E.2B.34.02.53.01.01.0D.01.02.01.01.10.01.00");
    return key == segment;
}

const std::vector<MXF_TAG2UL>& CMxf_IndexTable_Segment::tags()
{
    static const std::vector<MXF_TAG2UL> list = [] {
        const struct {
            uint16_t tag;
            const char* tail;
        } rows[] = {
            {TagInstanceUID, "01.01.01.15.02.00.00.00.00"},     {TagIndexEditRate, "05.05.30.04.06.00.00.00.00"},
            {TagIndexStartPosition, "05.07.02.01.03.01.0A.00.00"}, {TagIndexDuration, "05.07.02.02.01.01.02.00.00"},
            {TagEditUnitByteCount, "04.04.06.02.01.00.00.00.00"}, {TagIndexSID, "04.01.03.04.05.00.00.00.00"},
            {TagBodySID, "04.01.03.04.04.00.00.00.00"},           {TagSliceCount, "04.04.04.04.01.01.00.00.00"},
            {TagPosTableCount, "04.04.04.04.01.07.00.00.00"},     {TagDeltaEntryArray, "05.04.04.04.01.06.00.00.00"},
            {TagIndexEntryArray, "05.04.04.04.02.05.00.00.00"},
        };
        std::vector<MXF_TAG2UL> out;
        for (const auto& row : rows)
            out.push_back(MXF_TAG2UL{row.tag, labelFromText((std::string("06.0E.2B.34.01.01.01.") + row.tail).c_str())});
        return out;
    }();
    return list;
}

bool CMxf_IndexTable_Segment::read(const CKlvItem& item)
{
    CKlvLocalSet set;
    // A set of 2-byte lengths can't say that an item is longer than 65535 bytes.
    const bool twoByteLengths = (item.key[5] & 0x60) == 0x40;
    for (CvResult more = set.start(item); more == OK; more = set.moveNext()) {
        const unsigned char* p = set.getItemData();
        const uint64_t length = std::min(set.getItemLength(), set.getRemaining());
        switch (set.getTag()) {
        case TagInstanceUID:
            if (length >= 16)
                instanceUID = readGUID(p);
            break;
        case TagIndexEditRate:
            if (length >= 8)
                indexEditRate = readRational(p);
            break;
        case TagIndexStartPosition:
            if (length >= 8)
                indexStartPosition = static_cast<int64_t>(readBE64(p));
            break;
        case TagIndexDuration:
            if (length >= 8)
                indexDuration = static_cast<int64_t>(readBE64(p));
            break;
        case TagEditUnitByteCount:
            if (length >= 4)
                editUnitByteCount = readBE32(p);
            break;
        case TagIndexSID:
            if (length >= 4)
                indexSID = readBE32(p);
            break;
        case TagBodySID:
            if (length >= 4)
                bodySID = readBE32(p);
            break;
        case TagSliceCount:
            if (length >= 1)
                sliceCount = p[0];
            break;
        case TagPosTableCount:
            if (length >= 1)
                posTableCount = p[0];
            break;
        case TagDeltaEntryArray:
            readDeltaEntries(p, length);
            break;
        case TagIndexEntryArray: {
            uint64_t used = readIndexEntries(p, set.getItemLength(), set.getRemaining(), twoByteLengths);
            if (used != set.getItemLength())
                set.setItemLen(used);
            break;
        }
        default:
            break;
        }
    }
    return true;
}

void CMxf_IndexTable_Segment::readDeltaEntries(const unsigned char* value, uint64_t length)
{
    uint32_t count = 0, itemSize = 0;
    deltaEntries.clear();
    if (!batchHead(value, length, count, itemSize) || itemSize < 6)
        return;
    const uint64_t held = std::min<uint64_t>(count, (length - 8) / itemSize);
    for (uint64_t i = 0; i < held; ++i) {
        const unsigned char* p = value + 8 + i * itemSize;
        MXFDELTAENTRY entry;
        entry.posTableIndex = static_cast<int8_t>(p[0]);
        entry.slice = p[1];
        entry.elementDelta = readBE32(p + 2);
        deltaEntries.push_back(entry);
    }
}

uint64_t CMxf_IndexTable_Segment::readIndexEntries(const unsigned char* value, uint64_t length, uint64_t available,
                                                   bool twoByteLengths)
{
    uint32_t count = 0, itemSize = 0;
    indexEntries.clear();
    if (!batchHead(value, std::min(length, available), count, itemSize))
        return length;
    if (length == 0xFFFF && twoByteLengths)
        length = std::min<uint64_t>(uint64_t(count) * itemSize + 8, available);
    const uint64_t usable = std::min(length, available);
    const size_t wire = entryWireSize();
    if (itemSize < wire)
        return length;
    const uint64_t held = std::min<uint64_t>(count, (usable - 8) / itemSize);
    indexEntries.resize(held);
    sliceOffsets.resize(held * sliceCount);
    posTables.resize(held * posTableCount);
    uint32_t* offset = sliceOffsets.data();
    MXFRATIONAL* position = posTables.data();
    for (uint64_t i = 0; i < held; ++i) {
        const unsigned char* p = value + 8 + i * itemSize;
        CMxf_IndexTable_IndexEntry& entry = indexEntries[i];
        entry.temporalOffset = static_cast<int8_t>(p[0]);
        entry.keyFrameOffset = static_cast<int8_t>(p[1]);
        entry.flags = p[2];
        entry.streamOffset = readBE64(p + 3);
        p += 11;
        for (unsigned s = 0; s < sliceCount; ++s, p += 4)
            *offset++ = readBE32(p);
        for (unsigned s = 0; s < posTableCount; ++s, p += 8)
            *position++ = readRational(p);
    }
    return length;
}

size_t CMxf_IndexTable_Segment::toKlv(unsigned char* dst, size_t size) const
{
    const size_t itemSize = entryWireSize();
    const size_t written = xdcam && !indexEntries.empty() ? 2 * indexEntries.size() - 1 : indexEntries.size();
    const size_t needed = 6 * deltaEntries.size() + size_t(berSize) + 113 + 12 + written * itemSize;
    if (!dst)
        return needed;
    if (size < needed)
        return 0;
    static const MXFUL key = labelFromText("06.0E.2B.34.02.53.01.01.0D.01.02.01.01.10.01.00");
    CKlvLocalSet set;
    if (set.create(key, berSize, dst, size) <= 0)
        return 0;
    GUID uid;
    UuidCreate(&uid);
    set.append(wireTag(TagInstanceUID), uid);
    set.append(wireTag(TagIndexEditRate), indexEditRate);
    set.append2(wireTag(TagIndexStartPosition), indexStartPosition);
    set.append2(wireTag(TagIndexDuration), indexDuration);
    set.append(wireTag(TagEditUnitByteCount), editUnitByteCount);
    set.append(wireTag(TagIndexSID), indexSID);
    set.append(wireTag(TagBodySID), bodySID);
    if (sliceCount)
        set.Append(wireTag(TagSliceCount), &sliceCount, 1);
    std::vector<unsigned char> batch;
    auto head = [&batch](size_t count, size_t item) {
        batch.assign(8 + count * item, 0);
        writeBE32(batch.data(), static_cast<uint32_t>(count));
        writeBE32(batch.data() + 4, static_cast<uint32_t>(item));
    };
    if (!deltaEntries.empty()) {
        head(deltaEntries.size(), 6);
        for (size_t i = 0; i < deltaEntries.size(); ++i) {
            unsigned char* p = batch.data() + 8 + 6 * i;
            p[0] = static_cast<unsigned char>(deltaEntries[i].posTableIndex);
            p[1] = deltaEntries[i].slice;
            writeBE32(p + 2, deltaEntries[i].elementDelta);
        }
        set.Append(wireTag(TagDeltaEntryArray), batch.data(), batch.size());
    }
    if (!indexEntries.empty()) {
        head(written, itemSize);
        unsigned char* p = batch.data() + 8;
        auto writeEntry = [&](size_t i, const CMxf_IndexTable_IndexEntry& entry) {
            entry.toKlv(p);
            unsigned char* tail = p + 11;
            for (size_t s = 0; s < sliceCount; ++s, tail += 4) {
                const size_t at = i * sliceCount + s;
                writeBE32(tail, at < sliceOffsets.size() ? sliceOffsets[at] : 0);
            }
            for (size_t s = 0; s < posTableCount; ++s, tail += 8) {
                const size_t at = i * posTableCount + s;
                const MXFRATIONAL position = at < posTables.size() ? posTables[at] : MXFRATIONAL{0, 0};
                writeBE32(tail, static_cast<uint32_t>(position.numerator));
                writeBE32(tail + 4, static_cast<uint32_t>(position.denominator));
            }
            p += itemSize;
        };
        for (size_t i = 0; i < indexEntries.size(); ++i) {
            // XDCAM indexes list every entry twice but the last: first the
            // copy with doubled offsets, which readers take (halving its
            // offsets), then the entry as it is.
            if (xdcam && i + 1 < indexEntries.size()) {
                CMxf_IndexTable_IndexEntry copy = indexEntries[i];
                copy.temporalOffset = static_cast<int8_t>(copy.temporalOffset * 2);
                copy.keyFrameOffset = static_cast<int8_t>(copy.keyFrameOffset * 2);
                writeEntry(i, copy);
            }
            writeEntry(i, indexEntries[i]);
        }
        set.Append(wireTag(TagIndexEntryArray), batch.data(), batch.size());
    }
    return static_cast<size_t>(set.getWritten());
}

} // namespace Corvidane::MXF
