#include "frame/TrackRecords.h"

#include <cstdlib>
#include <cstring>

namespace Corvidane {

namespace {

struct FrameTypePair {
    uint32_t halc;
    uint16_t index;
};

constexpr FrameTypePair frameTypePairs[] = {
    {HalcSequenceHeader, FrameSequenceHeader},
    {HalcIFrame, FrameIntra},
    {HalcPFrame, FramePredicted},
    {HalcBFrame, FrameBidirectional},
};

} // namespace

uint16_t indexFrameType(uint32_t halcFrameType)
{
    uint16_t type = 0;
    for (const FrameTypePair& pair : frameTypePairs)
        if (halcFrameType & pair.halc)
            type |= pair.index;
    return type;
}

TrackStructuralData copyTrackStructuralData(const TrackStructuralData& track)
{
    TrackStructuralData copy = track;
    copy.extendedData = nullptr;
    copy.extendedDataSize = 0;
    if (track.extendedData && track.extendedDataSize) {
        copy.extendedData = static_cast<unsigned char*>(std::malloc(track.extendedDataSize));
        if (copy.extendedData) {
            std::memcpy(copy.extendedData, track.extendedData, track.extendedDataSize);
            copy.extendedDataSize = track.extendedDataSize;
        }
    }
    return copy;
}

void freeExtendedData(TrackStructuralData& track)
{
    std::free(track.extendedData);
    track.extendedData = nullptr;
    track.extendedDataSize = 0;
}

} // namespace Corvidane
