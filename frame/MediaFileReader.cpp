#include "frame/MediaFileReader.h"

#include <cstdint>
#include <memory>
#include <new>

namespace Corvidane {

bool allocGOPInfo(GOPInfo& info, unsigned long count)
{
    if (count > SIZE_MAX / sizeof(uint32_t))
        throw std::bad_array_new_length();
    std::unique_ptr<uint32_t[]> decode(new uint32_t[count]());
    std::unique_ptr<uint32_t[]> presentation(new uint32_t[count]());
    freeGOPInfo(info);
    info.decodeOrder = decode.release();
    info.presentationOrder = presentation.release();
    info.count = count;
    return true;
}

void freeGOPInfo(GOPInfo& info)
{
    delete[] info.decodeOrder;
    delete[] info.presentationOrder;
    info.decodeOrder = nullptr;
    info.presentationOrder = nullptr;
    info.count = 0;
}

CvResult MediaFileReader::getNearestKeyFrame(unsigned frame, eKeyframeType type, unsigned& keyframe)
{
    if (getGopLength(static_cast<int>(getOpenEssenceStreamIndex())) == 1) {
        keyframe = frame;
        return OK;
    }
    unsigned before = 0;
    unsigned after = 0xFFFFFFFF;
    switch (type) {
    case KeyframeBefore:
        if (!findKeyframe(frame, false, before))
            return Fail;
        keyframe = before;
        return OK;
    case KeyframeAfter:
        if (!findKeyframe(frame, true, after))
            return Fail;
        keyframe = after;
        return OK;
    case KeyframeNearest: {
        bool hasBefore = findKeyframe(frame, false, before);
        bool hasAfter = findKeyframe(frame, true, after);
        if (hasBefore && hasAfter) {
            // Unsigned 32-bit distances; a tie goes to the earlier key frame.
            keyframe = (frame - before) > (after - frame) ? after : before;
            return OK;
        }
        if (hasBefore || hasAfter) {
            keyframe = hasBefore ? before : after;
            return OK;
        }
        keyframe = 0;
        return Fail;
    }
    default:
        keyframe = 0;
        return Fail;
    }
}

} // namespace Corvidane
