#include "frame/TrackRecords.h"

#include <cstdlib>
#include <cstring>

namespace Corvidane {

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
