#pragma once
#include <cstdint>

#include "frame/Base.h"
#include "mxf/model/IndexSegmentList.h"
#include "mxf/model/Labels.h"

namespace Corvidane::MXF {

// What the reader knows of the track that stands for an OP-Atom file
// written without an index table (the first video track, else the first
// audio track). Its edit units are of one size, fixed by the coding.
struct UnindexedTrack {
    // All bits set when the track's four character code is unknown.
    static constexpr unsigned unknownFcc = 0xFFFFFFFFu;

    unsigned fcc = unknownFcc;
    int height = 0;
    MXFRATIONAL editRate{25, 1};
    // Kilobits per second, as the descriptor gives it.
    int64_t dataRate = 0;
    bool progressive = false;
    // The sound descriptor's block align; 0 without a usable one.
    uint32_t blockAlign = 0;
};

// The bytes of one edit unit of such a track, or a failure named in `report`.
CvResult unindexedEditUnitSize(const UnindexedTrack& track, uint32_t& bytes, Base& report);

// A file without index: always raises "No index table.", which stands for
// files other than OP-Atom. An OP-Atom file with segments needs nothing; one
// without gets a constant segment of the track's edit unit size. `track` is
// null when the file has neither video nor audio.
CvResult indexTable_HandleNone(CMxf_IndexSegmentList& segments, bool opAtom, const UnindexedTrack* track,
                               Base& report);

} // namespace Corvidane::MXF
