#pragma once
#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

#include "avi/AviFormat.h"
#include "avi/AviMediaType.h"
#include "avi/AviTestSupport.h"
#include "avi/FileWriter.h"
#include "frame/FourCC.h"
#include "support/TempDir.h"

// What the AVI writer's tests hand the writer: track records as the front
// end lays them out, and the packets of ffmpeg's files.
namespace AviWriterTest {

using namespace Corvidane;

// Timecode first, then video and (optionally) 16-bit stereo PCM at 48 kHz.
inline std::vector<TrackStructuralData> tracksFor(uint32_t fourcc, uint32_t width, uint32_t height, bool withAudio,
                                                  uint32_t startFrame = 0)
{
    std::vector<TrackStructuralData> tracks(withAudio ? 3 : 2);
    for (TrackStructuralData& t : tracks)
        t = TrackStructuralData{};
    tracks[0].streamType = StreamTimecode;
    tracks[0].timecode = TimecodeStructuralData{25, 1, startFrame, 0};
    tracks[1].streamType = StreamVideo;
    tracks[1].video = VideoStructuralData{};
    tracks[1].video.width = width;
    tracks[1].video.height = height;
    tracks[1].video.fourcc = fourcc;
    tracks[1].video.bitsPerPixel = 24;
    tracks[1].video.rateNumerator = 25;
    tracks[1].video.rateDenominator = 1;
    tracks[1].video.frameLayout = 4;
    if (withAudio) {
        tracks[2].streamType = StreamAudio;
        tracks[2].audio = AudioStructuralData{1, 2, 48000, 16, 4, 192000, 1, 1};
    }
    return tracks;
}

// A GUID as media type records store it: the first three parts little-endian.
inline void putGuid(std::string& block, size_t at, const GUID& guid)
{
    auto* p = reinterpret_cast<unsigned char*>(&block[at]);
    Avi::writeLE32(p, guid.Data1);
    Avi::writeLE16(p + 4, guid.Data2);
    Avi::writeLE16(p + 6, guid.Data3);
    std::copy(guid.Data4, guid.Data4 + 8, p + 8);
}

// Tracks of MPEG-2 video whose media type record gives it the frame-typed
// index. `record` keeps the record's bytes while the tracks are in use.
inline std::vector<TrackStructuralData> mpeg2TracksFor(std::string& record, uint32_t width, uint32_t height)
{
    record.assign(212, '\0');
    putGuid(record, Avi::mmesMajorType, Avi::MEDIATYPE_Video);
    putGuid(record, Avi::mmesSubType, Avi::MEDIASUBTYPE_MPEG2_VIDEO);
    putGuid(record, 48, Avi::FORMAT_MPEG2_VIDEO);
    std::vector<TrackStructuralData> tracks = tracksFor(fourCC("MMES"), width, height, false);
    tracks[1].extendedData = reinterpret_cast<unsigned char*>(record.data());
    tracks[1].extendedDataSize = uint16_t(record.size());
    return tracks;
}

// The packets of a file with their bytes, read back through ffprobe's places.
struct Packets {
    std::vector<std::string> video;
    std::string audio;
};

inline Packets packetsOf(const std::string& path)
{
    std::string bytes = readFile(path);
    Packets out;
    for (const AviTest::Packet& p : AviTest::ffprobePackets(path)) {
        // ffprobe places a packet at its data, behind the chunk's head.
        std::string data = bytes.substr(p.pos, p.size);
        (p.stream == 0 ? out.video.emplace_back() : out.audio) += data;
    }
    return out;
}

// Writes frames `from` to `to` of the packets, each with its share of the
// audio (a 25th of a second; the last frame takes the rest). `types` gives
// frame types by frame, I pictures where it has none, and `shown` display
// positions, the frame's own where it has none. The first failing result, or
// OK.
inline CvResult writeFrames(Avi::FileWriter& writer, const std::vector<TrackStructuralData>& tracks,
                            const Packets& packets, size_t from, size_t to, const std::vector<uint32_t>& types = {},
                            const std::vector<uint32_t>& shown = {})
{
    static const uint32_t zero = 0;
    const size_t audioPerFrame = 1920 * 4;
    for (size_t i = from; i < to; ++i) {
        std::vector<TrackData> rows(tracks.size());
        rows[0] = TrackData{reinterpret_cast<const unsigned char*>(&zero), 4, 0, 0};
        rows[1] = TrackData{reinterpret_cast<const unsigned char*>(packets.video[i].data()),
                            uint32_t(packets.video[i].size()), i < shown.size() ? shown[i] : uint32_t(i),
                            i < types.size() ? types[i] : HalcIFrame};
        if (tracks.size() > 2) {
            const size_t begin = std::min(packets.audio.size(), i * audioPerFrame);
            const size_t end =
                i + 1 == packets.video.size() ? packets.audio.size() : std::min(packets.audio.size(), begin + audioPerFrame);
            rows[2] = TrackData{reinterpret_cast<const unsigned char*>(packets.audio.data() + begin),
                                uint32_t(end - begin), 0, 0};
        }
        const CvResult result = writer.WriteSamples(rows.data(), unsigned(rows.size()));
        if (!isSuccess(result))
            return result;
    }
    return OK;
}

} // namespace AviWriterTest
