#include "mxf/model/IndexSegmentList.h"

#include <algorithm>
#include <set>
#include <string>
#include <tuple>

namespace Corvidane::MXF {

namespace {

// `position` lies in [start, start + duration), without overflow.
bool inRange(int64_t position, int64_t start, int64_t duration)
{
    return position >= start && duration > 0 && uint64_t(position) - uint64_t(start) < uint64_t(duration);
}

using SegmentKey = std::tuple<uint32_t, uint32_t, int64_t, int64_t>;

SegmentKey keyOf(const CMxf_IndexTable_Segment& s)
{
    return SegmentKey{s.bodySID, s.indexSID, s.indexStartPosition, s.indexDuration};
}

} // namespace

CvResult CMxf_IndexSegmentList::assign(Segments found, Base& report)
{
    m_segments.clear();
    CvResult result = OK;
    std::set<SegmentKey> loaded;
    for (size_t i = 0; i < found.size(); ++i) {
        CMxf_IndexTable_Segment& segment = *found[i];
        if (!loaded.insert(keyOf(segment)).second)
            continue;
        const size_t entries = segment.indexEntries.size();
        if (entries && uint64_t(segment.indexDuration) != entries) {
            report.setLastError(OK,
                                L"loadIndexTable, Index table segment %ls has a count mismatch. Duration is %ls but "
                                L"there are %ls entries.",
                                std::to_wstring(i).c_str(), std::to_wstring(segment.indexDuration).c_str(),
                                std::to_wstring(entries).c_str());
            if (segment.indexDuration < 0 || uint64_t(segment.indexDuration) > entries) {
                result = Fail;
                break;
            }
        }
        m_segments.push_back(std::move(found[i]));
    }
    repairZeroStarts(report);
    buildLookup();
    return result;
}

void CMxf_IndexSegmentList::repairZeroStarts(Base& report)
{
    if (m_segments.size() < 2)
        return;
    // Counted in 32 bits, as the positions of the files that need this are.
    uint32_t running = uint32_t(uint64_t(m_segments[0]->indexStartPosition) + uint64_t(m_segments[0]->indexDuration));
    for (size_t i = 1; i < m_segments.size(); ++i) {
        CMxf_IndexTable_Segment& segment = *m_segments[i];
        if (segment.indexStartPosition == 0) {
            report.setLastError(OK, L"loadIndexTable, warning found zero start position.");
            segment.indexStartPosition = running;
        } else {
            running = uint32_t(segment.indexStartPosition);
        }
        running += uint32_t(segment.indexDuration);
    }
}

void CMxf_IndexSegmentList::append(std::unique_ptr<CMxf_IndexTable_Segment> segment)
{
    m_segments.push_back(std::move(segment));
    buildLookup();
}

void CMxf_IndexSegmentList::clear()
{
    m_segments.clear();
    buildLookup();
}

void CMxf_IndexSegmentList::buildLookup()
{
    m_ranged.clear();
    m_rangedInOrder = true;
    m_firstConstant = SIZE_MAX;
    for (size_t i = 0; i < m_segments.size(); ++i) {
        const CMxf_IndexTable_Segment& segment = *m_segments[i];
        if (segment.isConstant() && m_firstConstant == SIZE_MAX)
            m_firstConstant = i;
        if (segment.indexDuration <= 0)
            continue;
        if (!m_ranged.empty()) {
            const CMxf_IndexTable_Segment& before = *m_segments[m_ranged.back().index];
            if (segment.indexStartPosition < before.indexStartPosition ||
                inRange(segment.indexStartPosition, before.indexStartPosition, before.indexDuration))
                m_rangedInOrder = false;
        }
        m_ranged.push_back(Ranged{segment.indexStartPosition, i});
    }
}

bool CMxf_IndexSegmentList::SegmentExist(const CMxf_IndexTable_Segment& segment) const
{
    return std::any_of(m_segments.begin(), m_segments.end(),
                       [&segment](const auto& loaded) { return keyOf(*loaded) == keyOf(segment); });
}

bool CMxf_IndexSegmentList::hasDoubledEntries() const
{
    if (m_segments.size() != 1 || m_segments[0]->isConstant())
        return false;
    const CMxf_IndexTable_Segment& segment = *m_segments[0];
    const size_t entries = segment.indexEntries.size();
    return entries >= 3 && segment.indexDuration >= 0 && uint64_t(segment.indexDuration) * 2 <= entries &&
           segment.indexEntries[0] == segment.indexEntries[1];
}

size_t CMxf_IndexSegmentList::MemorySize() const
{
    size_t total = 0;
    for (const auto& segment : m_segments) {
        total += sizeof(CMxf_IndexTable_Segment) + segment->deltaEntries.capacity() * sizeof(MXFDELTAENTRY) +
                 segment->indexEntries.capacity() * sizeof(CMxf_IndexTable_IndexEntry) +
                 segment->sliceOffsets.capacity() * sizeof(uint32_t) +
                 segment->posTables.capacity() * sizeof(MXFRATIONAL);
    }
    return total;
}

int64_t CMxf_IndexSegmentList::LengthUsingIndexTables() const
{
    uint64_t total = 0;
    for (const auto& segment : m_segments)
        total += uint64_t(segment->indexDuration);
    return int64_t(total);
}

const CMxf_IndexTable_Segment* CMxf_IndexSegmentList::findLinear(int64_t position) const
{
    for (const auto& segment : m_segments) {
        if (inRange(position, segment->indexStartPosition, segment->indexDuration) || segment->isConstant())
            return segment.get();
        const int64_t reach = (int64_t(segment->indexEntries.size()) + 1) / 2;
        if (m_xdcam && position >= segment->indexStartPosition && position < reach)
            return segment.get();
    }
    return nullptr;
}

const CMxf_IndexTable_Segment* CMxf_IndexSegmentList::find(int64_t position) const
{
    if (m_xdcam || !m_rangedInOrder)
        return findLinear(position);
    // Ranges in order don't overlap: at most one holds the position, the
    // last to start at or before it. A constant segment earlier in the list
    // answers first.
    size_t hit = m_firstConstant;
    auto after = std::upper_bound(m_ranged.begin(), m_ranged.end(), position,
                                  [](int64_t wanted, const Ranged& r) { return wanted < r.start; });
    if (after != m_ranged.begin()) {
        const Ranged& candidate = *std::prev(after);
        const CMxf_IndexTable_Segment& segment = *m_segments[candidate.index];
        if (inRange(position, segment.indexStartPosition, segment.indexDuration))
            hit = std::min(hit, candidate.index);
    }
    return hit == SIZE_MAX ? nullptr : m_segments[hit].get();
}

const CMxf_IndexTable_IndexEntry* CMxf_IndexSegmentList::getIndexEntry(int64_t position) const
{
    const CMxf_IndexTable_Segment* segment = find(position);
    if (!segment || position < 0 || position > INT64_MAX / 2)
        return nullptr;
    const int64_t wanted = m_xdcam ? position * 2 : position;
    if (wanted < segment->indexStartPosition)
        return nullptr;
    const uint64_t i = uint64_t(wanted) - uint64_t(segment->indexStartPosition);
    return i < segment->indexEntries.size() ? &segment->indexEntries[i] : nullptr;
}

} // namespace Corvidane::MXF
