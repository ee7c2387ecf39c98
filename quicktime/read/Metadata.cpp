#include "quicktime/read/Metadata.h"

namespace Corvidane::QuickTime {

void Metadata::reset()
{
    tracks.clear();
    movieHeader.reset();
    m_mp4 = false;
    m_fragmented = false;
    movieExtendsHeader.reset();
    trackExtends.clear();
}

} // namespace Corvidane::QuickTime
