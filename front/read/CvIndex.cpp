#include "front/read/CvIndex.h"

#include "front/read/FileInfo.h"

namespace CvWrappers {

bool CvIndex::findKeyFrames(unsigned frame, int& before, int& after, long&, long&) const
{
    if (!m_reader || m_file.videoStream() < 0 || m_file.essenceOpen(unsigned(m_file.videoStream())) != 1)
        return false;
    unsigned a = 0, b = 0;
    m_reader->getNearestKeyFrame(frame, Corvidane::KeyframeBefore, a);
    const bool found = isSuccess(m_reader->getNearestKeyFrame(frame + 1, Corvidane::KeyframeAfter, b));
    before = int(a);
    after = found ? int(b) : int(m_file.videoMetadata().length);
    return found;
}

} // namespace CvWrappers
