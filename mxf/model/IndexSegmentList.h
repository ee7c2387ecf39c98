#pragma once
#include <cstdint>
#include <memory>
#include <vector>

#include "frame/Base.h"
#include "mxf/model/IndexTableSegment.h"

namespace Corvidane::MXF {

// The index table segments of a file in the order the partitions hold them,
// and which segment answers for an edit unit.
class CMxf_IndexSegmentList {
public:
    using Segments = std::vector<std::unique_ptr<CMxf_IndexTable_Segment>>;

    // Takes the segments found in the partitions: repeats of a loaded
    // segment are dropped; a segment with fewer entries than its duration
    // ends the list there (Fail), one with more is kept; both are named in
    // `report`. Zero start positions after the first segment are repaired.
    CvResult assign(Segments found, Base& report);
    void append(std::unique_ptr<CMxf_IndexTable_Segment> segment);
    void clear();

    // A segment of the same streams, start and duration is loaded already.
    bool SegmentExist(const CMxf_IndexTable_Segment& segment) const;
    size_t size() const { return m_segments.size(); }
    bool empty() const { return m_segments.empty(); }
    const CMxf_IndexTable_Segment* at(size_t i) const { return i < size() ? m_segments[i].get() : nullptr; }
    const CMxf_IndexTable_Segment* first() const { return at(0); }
    // The bytes the segments take in memory.
    size_t MemorySize() const;
    // The durations of all segments added up.
    int64_t LengthUsingIndexTables() const;

    // The first segment that answers for `position`: one whose range holds
    // it, a constant one (which answers for all), or with doubled XDCAM
    // entries one whose entries reach it. Null when none does.
    const CMxf_IndexTable_Segment* find(int64_t position) const;
    // The entry for `position`; null past the segment's entries.
    const CMxf_IndexTable_IndexEntry* getIndexEntry(int64_t position) const;

    // The index lists each edit unit twice: one variable segment of three
    // entries or more, at least twice as many as its duration, whose first
    // two entries are alike.
    bool hasDoubledEntries() const;
    // Each edit unit is listed twice (an XDCAM index).
    void setXDCAM(bool on) { m_xdcam = on; }
    bool hasXDCAMIndex() const { return m_xdcam; }

private:
    void repairZeroStarts(Base& report);
    void buildLookup();
    const CMxf_IndexTable_Segment* findLinear(int64_t position) const;

    Segments m_segments;
    bool m_xdcam = false;
    // Segments with a range, by start: usable when the ranges follow each
    // other in list order without overlap, as writers lay them out.
    struct Ranged {
        int64_t start;
        size_t index;
    };
    std::vector<Ranged> m_ranged;
    bool m_rangedInOrder = true;
    size_t m_firstConstant = SIZE_MAX;
};

} // namespace Corvidane::MXF
