#pragma once
#include <memory>
#include <vector>

#include "mxf/model/IndexTableSegment.h"
#include "mxf/model/PartitionPack.h"

namespace Corvidane::MXF {

// A partition as the writer keeps it: its pack and the index table
// segments written in it.
struct CPartitionInfo {
    CMxfPartitionPack pack;
    std::vector<std::unique_ptr<CMxf_IndexTable_Segment>> segments;
};

} // namespace Corvidane::MXF
