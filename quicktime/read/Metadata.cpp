#include "quicktime/read/Metadata.h"

namespace Corvidane::QuickTime {

void Metadata::reset()
{
    tracks.clear();
    movieHeader.reset();
    // A second parse of the same movie starts its keyed values afresh.
    userData.clear();
    json = JSON::Builder(2);
    binaryItems.clear();
    m_mp4 = false;
    m_fragmented = false;
    movieExtendsHeader.reset();
    trackExtends.clear();
}

} // namespace Corvidane::QuickTime
