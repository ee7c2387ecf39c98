#pragma once
#include <cstdint>
#include <memory>

#include "frame/Base.h"
#include "host/iFile.h"
#include "mxf/model/IndexSegmentList.h"
#include "mxf/model/PartitionList.h"

namespace Corvidane::MXF {

// All index table segments of one partition, appended to `out`. IndexAbsent
// for a partition without index; failures are named in `report`.
CvResult indexTable_LoadSegmentsFromPartition(iFile& file, uint32_t runIn, const CMxfPartitionPack& pack,
                                              CMxf_IndexSegmentList::Segments& out, Base& report);
// Only the first item of the partition's index: a segment, or IndexAbsent
// for a filler.
CvResult indexTable_LoadSegmentFromPartition(iFile& file, uint32_t runIn, const CMxfPartitionPack& pack,
                                             std::unique_ptr<CMxf_IndexTable_Segment>& out, Base& report);
// The segments of every partition in file order, checked and repaired into
// `segments`. A partition whose index fails to read ends the load.
CvResult loadIndexSegments(iFile& file, const CMxfPartitionList& partitions, CMxf_IndexSegmentList& segments,
                           Base& report);

} // namespace Corvidane::MXF
