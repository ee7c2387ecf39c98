#pragma once
#include <map>
#include <memory>
#include <vector>

#include "frame/ByteBuffer.h"
#include "host/Json.h"
#include "host/LightweightString.h"
#include "quicktime/atoms/FragmentAtoms.h"
#include "quicktime/read/MetadataTrack.h"

namespace Corvidane::QuickTime {

// The movie as parsed from moov: the movie header, the tracks in file order
// (a stream index is a position here), user data and the keyed metadata.
class Metadata {
public:
    // Forgets the movie header and the tracks, so that moov can be parsed
    // again. User data is kept.
    void reset();
    void setMp4(bool mp4) { m_mp4 = mp4; }
    bool isMp4() const { return m_mp4; }
    bool isFragmented() const { return m_fragmented; }
    void setFragmented() { m_fragmented = true; }

    Metadata_Track* track(int index) const
    {
        return index >= 0 && static_cast<size_t>(index) < tracks.size() ? tracks[static_cast<size_t>(index)].get()
                                                                        : nullptr;
    }

    std::unique_ptr<MovieHeader> movieHeader;
    std::vector<std::unique_ptr<Metadata_Track>> tracks;
    // Each udta child, header included.
    std::vector<CByteBuffer> userData;
    // Values of the keyed metadata, and those of them that have no JSON form.
    JSON::Builder json{2};
    std::map<LightweightString<char>, CByteBuffer> binaryItems;
    // From mvex: the fragmented movie's duration, and each track's sample defaults.
    std::unique_ptr<MovieExtendsHeader> movieExtendsHeader;
    std::vector<TrackExtends> trackExtends;

private:
    bool m_mp4 = false;
    bool m_fragmented = false;
};

} // namespace Corvidane::QuickTime
