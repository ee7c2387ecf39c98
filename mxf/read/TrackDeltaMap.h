#pragma once
#include <cstdint>
#include <optional>
#include <vector>

#include "frame/Base.h"
#include "host/iFile.h"
#include "mxf/model/IndexTableSegment.h"

namespace Corvidane::MXF {

// What the packages say of the elements a content package holds: for each
// material track, the track number of the source track it refers to (none
// when it refers to none), and how many tracks the source package has.
struct ContentPackageTracks {
    std::vector<std::optional<uint32_t>> materialTrackNumbers;
    size_t sourceTrackCount = 0;
};

// Which delta entry of the index holds each track's element, learnt once
// from the first content package of the essence.
class CMxf_TrackDeltaMap {
public:
    // A track whose element wasn't found.
    static constexpr int none = 99;

    // Sets `deltaIndex` to the delta entry of track `openStream`, learning
    // the map first when it isn't known; a track the map has no entry for
    // leaves `deltaIndex` as it was, as does a constant first segment without
    // delta entries. The walk raises no error: the last error reads
    // "No Error" afterwards.
    void mapTrackToDeltaIndex(int openStream, int& deltaIndex, iFile& file, uint64_t essenceOffset, bool clipWrapped,
                              const CMxf_IndexTable_Segment* firstSegment, const ContentPackageTracks& tracks,
                              Base& report);
    bool isBuilt() const { return !m_map.empty(); }
    void clear() { m_map.clear(); }

private:
    void build(iFile& file, uint64_t essenceOffset, bool clipWrapped, const CMxf_IndexTable_Segment* firstSegment,
               const ContentPackageTracks& tracks);

    std::vector<int> m_map;
};

} // namespace Corvidane::MXF
