#pragma once
#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cstring>
#include <string>
#include <vector>

#include "frame/FourCC.h"
#include "frame/TrackRecords.h"
#include "frame/Utf8.h"
#include "quicktime/JsonValue.h"
#include "quicktime/write/FileWriter.h"
#include "support/TempDir.h"
#include "support/TestMedia.h"

// Sources for the QuickTime writer tests: the packets of files that ffmpeg
// made, taken out by ffprobe's positions, and the rows that hand them to the
// writer frame by frame.
namespace qtw {

using namespace Corvidane;

struct Packet {
    std::string bytes;
    long long pts = 0;
    bool key = false;
    std::string hash;
    long long pos = 0;
};

struct Source {
    std::vector<Packet> video;
    std::string audio;
    std::string timecode; // ffprobe's timecode tag
    JsonValue probe;
};

inline std::string text(const wchar_t* wide)
{
    std::string out;
    toUtf8(wide ? std::wstring(wide) : std::wstring(), out);
    return out;
}
inline std::string text(const std::wstring& wide) { return text(wide.c_str()); }

inline JsonValue probeJson(const std::string& path)
{
    return parseJson(runCommand("ffprobe -v error -show_format -show_streams -show_packets "
                                       "-show_data_hash MD5 -of json " + shellQuote(path) + " 2>/dev/null"));
}

inline std::string timecodeOf(const JsonValue& probe)
{
    for (const JsonValue& stream : probe["streams"].items)
        if (stream["tags"].has("timecode"))
            return stream["tags"]["timecode"].text;
    return {};
}

inline Source readSource(const std::string& path)
{
    Source source;
    source.probe = probeJson(path);
    std::string bytes = readFile(path);
    long long videoStream = -1, audioStream = -1;
    for (const JsonValue& stream : source.probe["streams"].items) {
        if (stream["codec_type"].text == "video" && videoStream < 0)
            videoStream = stream["index"].integer();
        if (stream["codec_type"].text == "audio" && audioStream < 0)
            audioStream = stream["index"].integer();
    }
    for (const JsonValue& p : source.probe["packets"].items) {
        long long stream = p["stream_index"].integer();
        std::string data = bytes.substr(size_t(p["pos"].integer()), size_t(p["size"].integer()));
        if (stream == videoStream)
            source.video.push_back({data, p["pts"].integer(), p["flags"].text.substr(0, 1) == "K",
                                    p["data_hash"].text, p["pos"].integer()});
        else if (stream == audioStream)
            source.audio += data;
    }
    source.timecode = timecodeOf(source.probe);
    return source;
}

// Display positions from presentation times; frame types from key flags and
// order (a frame shown before one decoded earlier is a B picture).
inline void frameOrder(const std::vector<Packet>& video, std::vector<uint32_t>& shown, std::vector<uint32_t>& types)
{
    std::vector<long long> sorted;
    for (const Packet& p : video)
        sorted.push_back(p.pts);
    std::sort(sorted.begin(), sorted.end());
    long long latest = LLONG_MIN;
    for (const Packet& p : video) {
        shown.push_back(uint32_t(std::lower_bound(sorted.begin(), sorted.end(), p.pts) - sorted.begin()));
        types.push_back(p.key ? HalcIFrame : p.pts < latest ? HalcBFrame : HalcPFrame);
        latest = std::max(latest, p.pts);
    }
}

// Length-prefixed H.264 to Annex B.
inline std::string toAnnexB(const std::string& avcc)
{
    std::string out;
    for (size_t at = 0; at + 4 <= avcc.size();) {
        uint32_t n = uint32_t(uint8_t(avcc[at])) << 24 | uint32_t(uint8_t(avcc[at + 1])) << 16 |
                     uint32_t(uint8_t(avcc[at + 2])) << 8 | uint8_t(avcc[at + 3]);
        out += std::string("\0\0\0\1", 4) + avcc.substr(at + 4, n);
        at += 4 + n;
    }
    return out;
}

inline std::string be32(uint32_t v)
{
    std::string s(4, '\0');
    s[0] = char(v >> 24), s[1] = char(v >> 16), s[2] = char(v >> 8), s[3] = char(v);
    return s;
}

// Annex B to length-prefixed, units cut at their trailing zeros.
inline std::string toLengthPrefixed(const std::string& annexB)
{
    std::vector<unsigned char> buffer;
    uint32_t n = QuickTime::avc_parse_nal_units(reinterpret_cast<const unsigned char*>(annexB.data()),
                                                uint32_t(annexB.size()), buffer);
    return std::string(reinterpret_cast<char*>(buffer.data()), n);
}

inline TrackStructuralData videoTrack(const char (&fourcc)[5], unsigned width, unsigned height, unsigned rateNum,
                                      unsigned rateDen, unsigned gopSize = 1, unsigned gopPeriod = 1)
{
    TrackStructuralData t{};
    t.streamType = StreamVideo;
    t.video = VideoStructuralData{};
    t.video.width = width, t.video.height = height, t.video.fourcc = fourCC(fourcc);
    t.video.rateNumerator = rateNum, t.video.rateDenominator = rateDen;
    t.video.frameLayout = 4, t.video.aspect = 0x00010001;
    t.video.gopSize = gopSize, t.video.gopPeriod = gopPeriod;
    return t;
}

inline TrackStructuralData audioTrack(unsigned bits, unsigned channels, uint32_t byteOrder, uint32_t format = 1)
{
    TrackStructuralData t{};
    t.streamType = StreamAudio;
    uint16_t align = uint16_t(channels * bits / 8);
    t.audio = AudioStructuralData{format, uint16_t(channels), 48000, uint16_t(bits), align, align * 48000u, 1,
                                  byteOrder};
    return t;
}

inline TrackStructuralData timecodeTrack(unsigned rateNum, unsigned rateDen, uint32_t startFrame, bool drop)
{
    TrackStructuralData t{};
    t.streamType = StreamTimecode;
    t.timecode = TimecodeStructuralData{rateNum, rateDen, startFrame, uint8_t(drop ? 1 : 0)};
    return t;
}

// The samples of 48 kHz audio that belong to frame `i` at a rate.
// At 29.97 the samples follow the cadence 1602, 1601, 1602, 1601, 1602, as
// the front end hands them over and the sidecar reader counts them.
inline uint64_t audioSamplesBefore(uint64_t frame, unsigned rateNum, unsigned rateDen)
{
    if (rateNum == 30000 && rateDen == 1001) {
        static const unsigned cadence[5] = {1602, 1601, 1602, 1601, 1602};
        uint64_t total = frame / 5 * 8008;
        for (uint64_t i = 0; i < frame % 5; ++i)
            total += cadence[i];
        return total;
    }
    return frame * 48000 * rateDen / rateNum;
}

// Feeds frames [from, to) of the source: video, then the audio of each frame,
// then a zero timecode row, in the QuickTime row order.
struct Feeder {
    std::vector<std::string> video;        // as handed to the writer
    std::vector<uint32_t> shown, types;
    std::string audio;
    unsigned blockAlign = 4;
    unsigned rateNum = 25, rateDen = 1;
    bool withAudio = true, withTimecode = true;

    CvResult feed(QuickTime::FileWriter& writer, size_t from, size_t to)
    {
        const uint32_t zero = 0;
        for (size_t i = from; i < to; ++i) {
            std::vector<TrackData> rows;
            rows.push_back(TrackData{reinterpret_cast<const unsigned char*>(video[i].data()), uint32_t(video[i].size()),
                                     shown.empty() ? uint32_t(i) : shown[i], types.empty() ? HalcIFrame : types[i]});
            if (withAudio) {
                uint64_t a = audioSamplesBefore(i, rateNum, rateDen) * blockAlign;
                uint64_t b = audioSamplesBefore(i + 1, rateNum, rateDen) * blockAlign;
                if (i + 1 == video.size())
                    b = audio.size();
                a = std::min<uint64_t>(a, audio.size()), b = std::min<uint64_t>(b, audio.size());
                rows.push_back(TrackData{reinterpret_cast<const unsigned char*>(audio.data() + a), uint32_t(b - a), 0, 0});
            }
            if (withTimecode)
                rows.push_back(TrackData{reinterpret_cast<const unsigned char*>(&zero), 4, 0, 0});
            CvResult result = writer.writeSamples(rows.data(), int(rows.size()));
            if (!isSuccess(result))
                return result;
        }
        return OK;
    }
};

inline uint32_t rd32(const std::string& b, size_t at)
{
    return uint32_t(uint8_t(b[at])) << 24 | uint32_t(uint8_t(b[at + 1])) << 16 | uint32_t(uint8_t(b[at + 2])) << 8 |
           uint8_t(b[at + 3]);
}
inline uint64_t rd64(const std::string& b, size_t at) { return uint64_t(rd32(b, at)) << 32 | rd32(b, at + 4); }

// An atom found by its path, each step a code and which of its kind
// ("trak#1" is the second trak): where its header starts and its length.
struct AtomAt {
    size_t at = std::string::npos;
    uint64_t size = 0;
    bool found() const { return at != std::string::npos; }
};

inline AtomAt findAtom(const std::string& b, const std::vector<std::string>& path)
{
    size_t begin = 0, end = b.size();
    AtomAt hit;
    for (const std::string& step : path) {
        std::string code = step.substr(0, 4);
        int wanted = step.size() > 5 ? std::stoi(step.substr(5)) : 0;
        hit = AtomAt{};
        for (size_t at = begin; at + 8 <= end;) {
            uint64_t size = rd32(b, at);
            size_t head = 8;
            if (size == 1)
                size = rd64(b, at + 8), head = 16;
            if (size < 8 || at + size > end)
                break;
            if (b.compare(at + 4, 4, code) == 0 && wanted-- == 0) {
                hit = AtomAt{at, size};
                begin = at + head, end = at + size_t(size);
                break;
            }
            at += size_t(size);
        }
        if (!hit.found())
            return hit;
    }
    return hit;
}

// The path of a track's sample table child.
inline std::vector<std::string> stblPath(int track, const std::string& child)
{
    return {"moov", "trak#" + std::to_string(track), "mdia", "minf", "stbl", child};
}

} // namespace qtw
