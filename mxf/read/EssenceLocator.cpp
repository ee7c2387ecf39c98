#include "mxf/read/EssenceLocator.h"

#include <algorithm>

#include "mxf/model/EssenceElement.h"
#include "mxf/model/KlvBufferWalk.h"
#include "mxf/model/MxfResults.h"

namespace Corvidane::MXF {

namespace {

// How far the reader looks at the essence to learn its layout.
constexpr uint64_t probeSize = 4096;

// The bytes at `at`, as many as the file has up to `size`; empty on failure.
std::vector<unsigned char> readUpTo(iFile& file, uint64_t at, uint64_t size)
{
    const uint64_t fileSize = file.getSize();
    std::vector<unsigned char> bytes;
    if (at >= fileSize)
        return bytes;
    bytes.resize(std::min(size, fileSize - at));
    bytes.resize(file.read(at, bytes.data(), bytes.size()));
    return bytes;
}

// What an element of a content package holds, by the item type of its key.
int elementClass(const MXFUL& key)
{
    static const struct {
        unsigned char itemType;
        int elementClass;
    } classes[] = {
        {0x05, CMxf_EssenceLocator::ElementPicture}, {0x15, CMxf_EssenceLocator::ElementPicture},
        {0x18, CMxf_EssenceLocator::ElementPicture}, {0x06, CMxf_EssenceLocator::ElementSound},
        {0x16, CMxf_EssenceLocator::ElementSound},   {0x07, CMxf_EssenceLocator::ElementData},
        {0x17, CMxf_EssenceLocator::ElementData},    {0x04, CMxf_EssenceLocator::ElementTimecode},
    };
    for (const auto& row : classes)
        if (row.itemType == key[12])
            return row.elementClass;
    return CMxf_EssenceLocator::ElementOther;
}

} // namespace

void CMxf_EssenceLocator::reset()
{
    m_clipWrapped = false;
    m_essenceOffset = 0;
    m_essenceHeaderSize = 0;
    m_clipLength = 0;
    m_essenceLength = 0;
    m_streamOffsets.clear();
    m_elementOffsets.clear();
}

void CMxf_EssenceLocator::openClipWrapped()
{
    m_clipWrapped = true;
    // An offset found before (measuring the essence while loading) knows
    // nothing of the element's key and length ahead of the essence.
    m_essenceOffset = 0;
    m_essenceHeaderSize = 0;
    if (m_segments.first() && m_segments.first()->isConstant())
        m_streamOffsets.assign(16, 0);
}

CvResult CMxf_EssenceLocator::getStreamOffsetAndSize(int64_t position, int stream, int64_t essenceLength,
                                                     uint64_t* offset, uint64_t* size)
{
    if (m_segments.empty()) {
        m_report.setLastError(Fail, L"No index tables present.");
        return Fail;
    }
    if (m_clipWrapped)
        return getOffsetAndSizeClipWrapped(position, essenceLength, offset, size) ? OK : Fail;
    if (const CMxf_IndexTable_Segment* segment = m_segments.find(position))
        return getStreamOffsetAndSizeFromIndex(*segment, position, stream, offset, size);
    if (position < essenceLength) {
        m_report.setLastError(Fail, L"There is no index table segment for the given requested position(%lld).",
                              static_cast<long long>(position));
        return Fail;
    }
    return HandleEOF;
}

CvResult CMxf_EssenceLocator::indexGetItemOffset(const CMxf_IndexTable_Segment& segment, size_t entryIndex, int stream,
                                                 uint64_t& accumulator)
{
    if (stream < 0 || size_t(stream) >= segment.deltaEntries.size()) {
        m_report.setLastError(Fail, L"Invalid stream(%d).", stream);
        return Fail;
    }
    const MXFDELTAENTRY& delta = segment.deltaEntries[size_t(stream)];
    if (delta.slice == 0) {
        accumulator += delta.elementDelta;
        return OK;
    }
    uint32_t sliceOffset = 0;
    if (!segment.sliceOffset(entryIndex, delta.slice - 1u, sliceOffset)) {
        m_report.setLastError(Fail, L"Invalid Slice Count(%d).", int(delta.slice));
        return Fail;
    }
    accumulator += uint64_t(sliceOffset) + delta.elementDelta;
    return OK;
}

CvResult CMxf_EssenceLocator::getStreamOffsetAndSizeFromIndex(const CMxf_IndexTable_Segment& segment,
                                                              int64_t position, int stream, uint64_t* offset,
                                                              uint64_t* size)
{
    if (segment.isConstant())
        return constantOffsetAndSize(segment, position, stream, offset, size);

    if (position < segment.indexStartPosition) {
        m_report.setLastError(InvalidArg, L"Start position (%u) is less than index segement start position (%u).",
                              unsigned(position), unsigned(segment.indexStartPosition));
        return InvalidArg;
    }
    const bool xdcam = m_segments.hasXDCAMIndex();
    const uint64_t i = uint64_t(position) - uint64_t(segment.indexStartPosition);
    const std::vector<CMxf_IndexTable_IndexEntry>& entries = segment.indexEntries;
    if (i >= entries.size()) {
        m_report.setLastError(Fail, L"Requested position(%lld) is off the end of the index table segment.",
                              static_cast<long long>(position));
        return Fail;
    }
    const size_t deltaCount = segment.deltaEntries.size();
    uint64_t at = 0, accumulator = 0;
    if (deltaCount) {
        if (stream < 0 || size_t(stream) >= deltaCount) {
            m_report.setLastError(Fail, L"Invalid stream(%d).", stream);
            return Fail;
        }
        if (segment.deltaEntries[size_t(stream)].posTableIndex > 0) {
            m_report.setLastError(NotImpl, L"Fractional offset in index table, not supported.");
            return NotImpl;
        }
        CvResult result = indexGetItemOffset(segment, i, stream, accumulator);
        if (result != OK)
            return result;
        at = entries[i].streamOffset + accumulator;
    } else if (stream != 0) {
        m_report.setLastError(Fail, L"Invalid stream(%d).", stream);
        return Fail;
    }

    uint64_t bytes = 0;
    if (size_t(stream) + 1 < deltaCount) {
        uint64_t next = 0;
        CvResult result = indexGetItemOffset(segment, i, stream + 1, next);
        if (result != OK) {
            if (size)
                *size = 30720;
            return result;
        }
        bytes = next - accumulator;
    } else {
        // The last element of the edit unit runs to the next edit unit.
        const uint64_t total = xdcam ? entries.size() : uint64_t(std::max<int64_t>(segment.indexDuration, 0));
        if (i + 1 >= total) {
            CvResult result = lastItemSize(at, bytes);
            if (result != OK)
                return result;
        } else {
            if (xdcam)
                at += entries[i].streamOffset;
            // Entries that repeat an offset (doubled XDCAM entries) are passed over.
            const uint32_t here = uint32_t(entries[i].streamOffset);
            const uint64_t end = std::min<uint64_t>({i + 10, total, entries.size()});
            for (uint64_t j = i + 1; j < end; ++j) {
                const uint32_t there = uint32_t(entries[j].streamOffset);
                if (there != here) {
                    bytes = uint32_t(there - here) - accumulator;
                    break;
                }
            }
        }
    }
    if (offset)
        *offset = at;
    if (size)
        *size = bytes;
    return OK;
}

CvResult CMxf_EssenceLocator::constantOffsetAndSize(const CMxf_IndexTable_Segment& segment, int64_t position,
                                                    int stream, uint64_t* offset, uint64_t* size)
{
    // A constant segment counts from the start of the essence, whatever its
    // start position.
    const uint32_t unit = segment.editUnitByteCount;
    const uint64_t base = uint64_t(position) * unit;
    if (stream < 0) {
        m_report.setLastError(Fail, L"Invalid stream(%d).", stream);
        return Fail;
    }
    const std::vector<MXFDELTAENTRY>& deltas = segment.deltaEntries;
    uint32_t here = 0, next = unit;
    if (size_t(stream) < deltas.size()) {
        here = deltas[size_t(stream)].elementDelta;
        // The element after the last one of an edit unit is the next edit
        // unit. The stream number is 8-bit: past 127 there is no next element.
        if (stream + 1 <= INT8_MAX && size_t(stream) + 1 < deltas.size())
            next = deltas[size_t(stream) + 1].elementDelta;
    } else {
        if (m_streamOffsets.empty()) {
            CvResult result = findStreamOffsets(base);
            if (result != OK)
                return result;
        }
        if (size_t(stream) >= m_streamOffsets.size() || m_streamOffsets[size_t(stream)] < 0) {
            m_report.setLastError(Fail, L"Invalid stream(%d).", stream);
            return Fail;
        }
        here = uint32_t(m_streamOffsets[size_t(stream)]);
        // The element ends where the next element of the edit unit starts.
        auto after = std::upper_bound(m_elementOffsets.begin(), m_elementOffsets.end(), uint64_t(here));
        if (after != m_elementOffsets.end())
            next = uint32_t(*after);
    }
    if (offset)
        *offset = base + here;
    if (size)
        *size = uint32_t(next - here);
    return OK;
}

CvResult CMxf_EssenceLocator::findStreamOffsets(uint64_t base)
{
    const CMxf_IndexTable_Segment* first = m_segments.first();
    const uint64_t unit = first ? first->editUnitByteCount : 0;
    uint64_t start = 0;
    if (!m_file || essenceContainerOffset(start) != OK || base + start >= fileSize()) {
        m_report.setLastError(Fail, L"findStreamOffsets, SetFilePointerEx failed");
        return Fail;
    }
    // Sized by the bytes the file has, whatever the edit unit claims.
    std::vector<unsigned char> bytes = readUpTo(*m_file, base + start, std::max(unit, probeSize));
    if (bytes.empty()) {
        m_report.setLastError(Fail, L"findStreamOffsets, ReadFile failed");
        return Fail;
    }
    if (!hasSmptePrefix(bytes.data())) {
        m_report.setLastError(MxfNoLabel, L"findStreamOffsets, Start of data was not a ul.");
        return MxfNoLabel;
    }
    struct Element {
        uint64_t offset;
        int elementClass;
    };
    std::vector<Element> elements;
    const uint64_t end = std::min<uint64_t>(unit, bytes.size());
    for (uint64_t at = 0; at < end;) {
        CKlvItem item;
        if (!klvHeaderAt(bytes.data(), bytes.size(), at, item)) {
            m_report.setLastError(MxfBadKlv, L"findStreamOffsets, failed to set klv for data.");
            return MxfBadKlv;
        }
        if (!isFiller(item.key) && (isEssenceElementKey(item.key) || isCPSystemElementKey(item.key))) {
            if (elements.size() == 32) {
                m_report.setLastError(Fail, L"findStreamOffsets, Too many tracks.");
                return Fail;
            }
            elements.push_back(Element{at, elementClass(item.key)});
        }
        const uint64_t step = 16 + item.lengthLength + item.length;
        if (step > end - at)
            break;
        at += step;
    }
    if (elements.empty()) {
        m_report.setLastError(Fail, L"findStreamOffsets, No tracks.");
        return Fail;
    }
    // Tracks of one kind share the first element of that kind; data and
    // unknown elements answer no track.
    m_elementOffsets.clear();
    for (const Element& element : elements)
        m_elementOffsets.push_back(element.offset);
    for (int trackClass : m_trackClasses) {
        int64_t slot = -1;
        if (trackClass == ElementPicture || trackClass == ElementSound || trackClass == ElementTimecode) {
            auto match = std::find_if(elements.begin(), elements.end(),
                                      [trackClass](const Element& e) { return e.elementClass == trackClass; });
            if (match != elements.end())
                slot = int64_t(match->offset);
        }
        m_streamOffsets.push_back(slot);
    }
    return OK;
}

CvResult CMxf_EssenceLocator::lastItemSize(uint64_t offset, uint64_t& size)
{
    if (!m_file) {
        m_report.setLastError(InvalidState, L"No open file.");
        return InvalidState;
    }
    uint64_t at = indexOffsetToFileOffset(offset);
    if (at >= fileSize()) {
        m_report.setLastError(Fail, L"StreamOffset, offset is off the end of the file");
        return Fail;
    }
    if (m_clipWrapped && essenceContainerOffset(at) != OK)
        return Fail;
    std::vector<unsigned char> bytes = readUpTo(*m_file, at, probeSize);
    if (bytes.empty()) {
        m_report.setLastError(Fail, L"StreamOffset, Failed to read data from file");
        return Fail;
    }
    CKlvItem item;
    if (!klvHeaderAt(bytes.data(), bytes.size(), 0, item)) {
        m_report.setLastError(Fail, L"StreamOffset, Last item was not klv data");
        return Fail;
    }
    size = 16 + item.lengthLength + item.length;
    return OK;
}

bool CMxf_EssenceLocator::getOffsetAndSizeClipWrapped(int64_t position, int64_t essenceLength, uint64_t* offset,
                                                      uint64_t* size)
{
    uint64_t at = 0, bytes = 0;
    bool found = m_segments.empty();
    if (!found) {
        const bool constant = m_segments.first()->isConstant();
        const CMxf_IndexTable_Segment* segment = nullptr;
        int64_t first = 0;
        for (size_t k = 0; k < m_segments.size(); ++k) {
            segment = m_segments.at(k);
            const uint64_t unit = segment->editUnitByteCount;
            if (segment->indexDuration == 0)
                break;
            const bool inside = position < int64_t(uint64_t(first) + uint64_t(segment->indexDuration));
            if (k + 1 == m_segments.size() || inside)
                break;
            at += unit * uint64_t(segment->indexDuration);
            first = int64_t(uint64_t(first) + uint64_t(segment->indexDuration));
        }
        const uint64_t unit = segment->editUnitByteCount;
        if (constant) {
            const int64_t duration = segment->indexDuration;
            if (duration == 0) {
                at = unit * uint64_t(position);
            } else if (position >= int64_t(uint64_t(first) + uint64_t(duration))) {
                // Past the index: the last edit unit stands for the rest of the stream.
                if (position >= essenceLength)
                    return false;
                at += uint64_t(duration - 1) * unit;
            } else {
                at += uint64_t(position - first) * unit;
            }
            bytes = unit;
            found = true;
        } else {
            const bool xdcam = m_segments.hasXDCAMIndex();
            const int64_t wanted = xdcam ? int64_t(uint64_t(position) * 2) : position;
            const uint64_t i = uint64_t(wanted) - uint64_t(segment->indexStartPosition);
            const uint64_t next = i + (xdcam ? 2 : 1);
            const std::vector<CMxf_IndexTable_IndexEntry>& entries = segment->indexEntries;
            // The last edit unit of an element that no entry closes (OP-Atom
            // long GOP) runs to the element's end.
            const bool lastRunsToEnd = !xdcam && wanted >= segment->indexStartPosition && i + 1 == entries.size() &&
                                       m_clipLength > entries[i].streamOffset;
            if (wanted < segment->indexStartPosition || (next >= entries.size() && !lastRunsToEnd)) {
                m_report.setLastError(Fail, L"Requested position(%lld) is off the end of the index table segment.",
                                      static_cast<long long>(position));
                return false;
            }
            at = entries[i].streamOffset;
            bytes = (lastRunsToEnd ? m_clipLength : entries[next].streamOffset) - at;
            found = true;
        }
    }
    if (offset)
        *offset = at;
    if (size)
        *size = bytes;
    return found;
}

CvResult CMxf_EssenceLocator::essenceContainerOffset(uint64_t& out)
{
    if (m_essenceOffset) {
        out = m_essenceOffset;
        return OK;
    }
    const CMxfPartitionPack* pack = nullptr;
    for (size_t i = 0; i < m_partitions.getNumPartitions() && !pack; ++i)
        if (m_partitions.at(i)->bodySID != 0)
            pack = m_partitions.at(i);
    if (!pack && m_clipWrapped)
        pack = m_partitions.header();
    if (!pack) {
        m_report.setLastError(Fail, L"essenceContainerOffset: No partitions have essence.");
        return Fail;
    }
    m_essenceOffset = m_partitions.runIn + pack->thisPartition + pack->get_TotalLengthOfAllItems();
    if (m_clipWrapped && m_file) {
        // One KLV holds all the essence: find its key among the items the
        // first bytes hold.
        int64_t expected = 0;
        for (size_t k = 0; k < m_segments.size() && m_segments.at(k)->isConstant(); ++k)
            expected += int64_t(m_segments.at(k)->editUnitByteCount) * m_segments.at(k)->indexDuration;
        std::vector<unsigned char> bytes = readUpTo(*m_file, m_essenceOffset, probeSize);
        uint64_t running = 0;
        m_essenceHeaderSize = 0;
        for (CKlvItem item;;) {
            if (!klvHeaderAt(bytes.data(), bytes.size(), running, item)) {
                m_essenceHeaderSize = running;
                break;
            }
            // Avid's private element keys (class 0E) head clip-wrapped essence too.
            if (CMxf_GC_EssenceElement(item.key).IsValid()) {
                if (expected != 0 && uint64_t(expected) != item.length)
                    m_report.setLastError(Fail, L"essence length %lld, is not as expected from the data %lld",
                                          static_cast<long long>(item.length), static_cast<long long>(expected));
                m_essenceOffset += running;
                m_essenceHeaderSize = running + item.lengthLength + 16;
                m_clipLength = item.length;
                break;
            }
            running += 16 + item.lengthLength + item.length;
            if (running > probeSize) {
                m_essenceHeaderSize = 0;
                break;
            }
        }
    }
    out = m_essenceOffset;
    return OK;
}

int64_t CMxf_EssenceLocator::calculateLengthFromEssence()
{
    if (m_essenceLength)
        return m_essenceLength;
    const CMxf_IndexTable_Segment* first = m_segments.first();
    if (!first || !first->isConstant() || (m_partitions.isOpAtom() && first->indexDuration == 0))
        return -1;
    uint64_t start = 0;
    if (essenceContainerOffset(start) != OK)
        return -1;
    const uint64_t size = fileSize();
    const uint64_t footer = m_partitions.runIn + m_partitions.getHeader_FooterPartition();
    // A footer not yet written (a growing file) leaves the essence running to the end.
    const uint64_t tail = m_partitions.getHeader_FooterPartition() && footer <= size ? size - footer : 0;
    if (start + tail > size)
        return -1;
    m_essenceLength = int64_t((size - start - tail) / first->editUnitByteCount);
    return m_essenceLength;
}

int64_t CMxf_EssenceLocator::getDatarateFromIndexTable(double rate) const
{
    const CMxf_IndexTable_Segment* first = m_segments.first();
    if (rate == 0 || !first)
        return 0;
    return int64_t(first->editUnitByteCount * rate) * 8 / 1000;
}

} // namespace Corvidane::MXF
