#pragma once
#include <cstdint>
#include <vector>

#include "frame/Base.h"
#include "host/iFile.h"
#include "mxf/model/IndexSegmentList.h"
#include "mxf/model/PartitionList.h"

namespace Corvidane::MXF {

// Turns an edit unit and an element of the edit unit (a delta entry) into
// the place and size of its bytes, through the index table segments and the
// partitions. Offsets from the index count in the essence container (body
// offsets); `indexOffsetToFileOffset` makes them file offsets.
class CMxf_EssenceLocator {
public:
    CMxf_EssenceLocator(const CMxfPartitionList& partitions, const CMxf_IndexSegmentList& segments, Base& report)
        : m_partitions(partitions), m_segments(segments), m_report(report)
    {
    }

    void setFile(iFile* file) { m_file = file; }
    // Forgets what was learnt of the file's essence.
    void reset();

    // The body offset and size of `stream`'s element at `position`; either
    // output may be null. `essenceLength` is the open stream's length, past
    // which a missing segment is an end of file (HandleEOF).
    CvResult getStreamOffsetAndSize(int64_t position, int stream, int64_t essenceLength, uint64_t* offset,
                                    uint64_t* size);
    CvResult getStreamOffsetAndSizeFromIndex(const CMxf_IndexTable_Segment& segment, int64_t position, int stream,
                                             uint64_t* offset, uint64_t* size);
    // Clip wrapped: place and size of an edit unit from the start of the
    // essence's value. False past the index.
    bool getOffsetAndSizeClipWrapped(int64_t position, int64_t essenceLength, uint64_t* offset, uint64_t* size);
    // Adds where `stream`'s element starts in entry `entryIndex` of a
    // segment to `accumulator`.
    CvResult indexGetItemOffset(const CMxf_IndexTable_Segment& segment, size_t entryIndex, int stream,
                                uint64_t& accumulator);

    uint64_t indexOffsetToFileOffset(uint64_t offset) const
    {
        return m_partitions.indexOffsetToFileOffset(offset, m_essenceHeaderSize);
    }
    // The file offset of the essence container (of its first element when
    // clip wrapped), found once.
    CvResult essenceContainerOffset(uint64_t& out);
    // Edit units in the file by the bytes of its essence, for a constant
    // index; -1 when that can't tell.
    int64_t calculateLengthFromEssence();
    // Kilobits per second of a constant index at `rate` edit units a second.
    int64_t getDatarateFromIndexTable(double rate) const;

    // Learns where each track's element lies in a constant edit unit that
    // has no delta entries, from the edit unit at body offset `base`.
    CvResult findStreamOffsets(uint64_t base);
    // What each track of the source package holds, in track order, as
    // `ElementClass` values; elements are matched to tracks by it.
    enum ElementClass { ElementTimecode = 0, ElementPicture = 1, ElementSound = 2, ElementData = 3, ElementOther = -1 };
    void setTrackClasses(std::vector<int> classes) { m_trackClasses = std::move(classes); }

    // A clip-wrapped stream is read through the segments alone; with a
    // constant index every track starts at the edit unit's start.
    void openClipWrapped();
    void setClipWrapped(bool on) { m_clipWrapped = on; }
    bool isClipWrapped() const { return m_clipWrapped; }
    uint64_t getEssenceHeaderSize() const { return m_essenceHeaderSize; }

private:
    CvResult constantOffsetAndSize(const CMxf_IndexTable_Segment& segment, int64_t position, int stream,
                                   uint64_t* offset, uint64_t* size);
    CvResult lastItemSize(uint64_t offset, uint64_t& size);
    uint64_t fileSize() const { return m_file ? m_file->getSize() : 0; }

    const CMxfPartitionList& m_partitions;
    const CMxf_IndexSegmentList& m_segments;
    Base& m_report;
    iFile* m_file = nullptr;
    bool m_clipWrapped = false;
    uint64_t m_essenceOffset = 0;
    uint64_t m_essenceHeaderSize = 0;
    uint64_t m_clipLength = 0;  // the clip-wrapped element's length; 0 unknown
    int64_t m_essenceLength = 0;
    // Where each track's element starts in a constant edit unit without
    // delta entries, and where each element of that edit unit starts.
    std::vector<int64_t> m_streamOffsets;
    std::vector<uint64_t> m_elementOffsets;
    std::vector<int> m_trackClasses;
};

} // namespace Corvidane::MXF
