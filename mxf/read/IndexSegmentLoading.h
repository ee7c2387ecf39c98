#pragma once
#include <cstdint>
#include <memory>
#include <unordered_map>
#include <vector>

#include "frame/Base.h"
#include "host/iFile.h"
#include "mxf/model/IndexSegmentList.h"
#include "mxf/model/PartitionList.h"

namespace Corvidane::MXF {

// Index segments read with their partition pack, by the place of their bytes
// in the file, so that opening a file of many partitions reads each once.
struct IndexSegmentsRead {
    CvResult result = OK;
    CMxf_IndexSegmentList::Segments segments;
};
using IndexSegmentsInHand = std::unordered_map<uint64_t, IndexSegmentsRead>;

// Keeps the index segments of the pack read at the start of `bytes` when
// `bytes` holds their bytes whole and they read without fault.
void keepIndexSegments(uint32_t runIn, const CMxfPartitionPack& pack, std::vector<unsigned char>& bytes,
                       IndexSegmentsInHand& inHand);

// All index table segments of one partition, appended to `out`. IndexAbsent
// for a partition without index; failures are named in `report`.
CvResult indexTable_LoadSegmentsFromPartition(iFile& file, uint32_t runIn, const CMxfPartitionPack& pack,
                                              CMxf_IndexSegmentList::Segments& out, Base& report,
                                              IndexSegmentsInHand* inHand = nullptr);
// Only the first item of the partition's index: a segment, or IndexAbsent
// for a filler.
CvResult indexTable_LoadSegmentFromPartition(iFile& file, uint32_t runIn, const CMxfPartitionPack& pack,
                                             std::unique_ptr<CMxf_IndexTable_Segment>& out, Base& report);
// The segments of every partition in file order, checked and repaired into
// `segments`. A partition whose index fails to read ends the load. Segments
// in hand are taken instead of read again.
CvResult loadIndexSegments(iFile& file, const CMxfPartitionList& partitions, CMxf_IndexSegmentList& segments,
                           Base& report, IndexSegmentsInHand* inHand = nullptr);

} // namespace Corvidane::MXF
