#include "support/MxfWriterSources.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <stdexcept>

#include "avi/AviTestSupport.h"
#include "frame/FourCC.h"
#include "frame/Utf8.h"
#include "mxf/write/AafDictionaryFiles.h"
#include "mxf/read/FileReader.h"
#include "mxf/write/FileWriter.h"
#include "support/TempDir.h"

using namespace Corvidane;

namespace MxfWriterTest {

namespace {

// Fills type, sequence header flag and display position of MPEG-2 pictures:
// a closed GOP starts the count that each temporal reference adds to.
void classifyMpeg2(std::vector<Frame>& frames)
{
    uint32_t gopBase = 0;
    for (size_t i = 0; i < frames.size(); ++i) {
        const std::string& b = frames[i].bytes;
        uint32_t type = 0;
        for (size_t at = 0; at + 6 <= b.size(); ++at) {
            if (b[at] != 0 || b[at + 1] != 0 || b[at + 2] != 1)
                continue;
            const unsigned char code = static_cast<unsigned char>(b[at + 3]);
            if (code == 0xB3)
                type |= HalcSequenceHeader;
            if (code == 0xB8)
                gopBase = uint32_t(i);
            if (code == 0x00) {
                const unsigned char b4 = static_cast<unsigned char>(b[at + 4]);
                const unsigned char b5 = static_cast<unsigned char>(b[at + 5]);
                const uint32_t temporal = uint32_t(b4) << 2 | b5 >> 6;
                const uint32_t coding = (b5 >> 3) & 7;
                type |= coding == 1 ? HalcIFrame : coding == 2 ? HalcPFrame : HalcBFrame;
                frames[i].presentation = gopBase + temporal;
                break;
            }
        }
        frames[i].frameType = type;
    }
}

} // namespace

std::vector<Frame> framesOf(const std::string& path)
{
    const std::string bytes = readFile(path);
    std::vector<Frame> frames;
    for (const AviTest::Packet& packet : AviTest::ffprobePackets(path)) {
        Frame frame;
        frame.bytes = bytes.substr(packet.pos, packet.size);
        frame.presentation = uint32_t(frames.size());
        frames.push_back(std::move(frame));
    }
    if (path.size() > 4 && path.compare(path.size() - 4, 4, ".m2v") == 0)
        classifyMpeg2(frames);
    return frames;
}

uint32_t samplesForFrame(size_t frame, bool ntsc)
{
    static const uint32_t cadence[5] = {1602, 1601, 1602, 1601, 1602};
    return ntsc ? cadence[frame % 5] : 1920;
}

TrackStructuralData timecodeTrack(uint32_t rateNumerator, uint32_t rateDenominator, uint32_t startFrame,
                                  bool dropFrame)
{
    TrackStructuralData track{};
    track.streamType = StreamTimecode;
    track.timecode = TimecodeStructuralData{rateNumerator, rateDenominator, startFrame, uint8_t(dropFrame)};
    return track;
}

TrackStructuralData videoTrack(const char* fourcc, uint32_t width, uint32_t height, uint32_t rateNumerator,
                               uint32_t rateDenominator, uint32_t gopSize, uint32_t dataRate, bool progressive)
{
    TrackStructuralData track{};
    track.streamType = StreamVideo;
    track.video = VideoStructuralData{};
    track.video.width = width;
    track.video.height = height;
    track.video.fourcc = unsigned(fourcc[0]) | unsigned(fourcc[1]) << 8 | unsigned(fourcc[2]) << 16 |
                         unsigned(fourcc[3]) << 24;
    track.video.frameLayout = progressive ? 4 : 3;
    track.video.aspect = 0x00100009;
    track.video.rateNumerator = rateNumerator;
    track.video.rateDenominator = rateDenominator;
    track.video.gopSize = gopSize;
    track.video.gopPeriod = gopSize > 1 ? 3 : 1;
    track.video.dataRate = dataRate;
    return track;
}

TrackStructuralData audioTrack(uint16_t channels, uint16_t bitsPerSample)
{
    TrackStructuralData track{};
    track.streamType = StreamAudio;
    const uint16_t blockAlign = uint16_t(channels * bitsPerSample / 8);
    track.audio = AudioStructuralData{1, channels, 48000, bitsPerSample, blockAlign, 48000u * blockAlign, 1, 1};
    return track;
}

std::wstring dictionaryFolder()
{
    static TempDir folder;
    static const std::wstring path = [] {
        const std::wstring wide = fromUtf8(folder.path()) + L"/";
        std::wstring error;
        if (!MXF::writeAafDictionaryFiles(wide, error))
            throw std::runtime_error("dictionary files");
        return wide;
    }();
    return path;
}

std::string audioOfFrames(const Source& source, size_t track, size_t frames)
{
    size_t samples = 0;
    for (size_t i = 0; i < frames; ++i)
        samples += samplesForFrame(i, source.ntsc);
    size_t audioTrack = 0, seen = 0;
    for (size_t i = 0; i < source.tracks.size(); ++i)
        if (source.tracks[i].streamType == StreamAudio && seen++ == track)
            audioTrack = i;
    const size_t bytes = samples * source.tracks[audioTrack].audio.blockAlign;
    return source.audio[track].substr(0, std::min(bytes, source.audio[track].size()));
}

bool writeFrames(MXF::CMxf_FileWriter& writer, const Source& source, size_t first, size_t end, std::string* error)
{
    static const uint32_t zero = 0;
    size_t samplesBefore = 0;
    for (size_t i = 0; i < first; ++i)
        samplesBefore += samplesForFrame(i, source.ntsc);
    for (size_t frame = first; frame < end && frame < source.video.size(); ++frame) {
        std::vector<TrackData> rows(source.tracks.size());
        size_t audio = 0;
        const uint32_t samples = samplesForFrame(frame, source.ntsc);
        for (size_t t = 0; t < source.tracks.size(); ++t) {
            const TrackStructuralData& track = source.tracks[t];
            if (track.streamType == StreamTimecode) {
                rows[t] = TrackData{reinterpret_cast<const unsigned char*>(&zero), 4, 0, 0};
            } else if (track.streamType == StreamVideo) {
                const Frame& f = source.video[frame];
                rows[t] = TrackData{reinterpret_cast<const unsigned char*>(f.bytes.data()), uint32_t(f.bytes.size()),
                                    f.presentation, f.frameType};
            } else if (track.streamType == StreamAudio) {
                const std::string& pcm = source.audio[audio];
                const size_t at = std::min(pcm.size(), samplesBefore * track.audio.blockAlign);
                const size_t size = std::min(pcm.size() - at, size_t(samples) * track.audio.blockAlign);
                rows[t] = TrackData{reinterpret_cast<const unsigned char*>(pcm.data() + at), uint32_t(size), 0, 0};
                ++audio;
            }
        }
        samplesBefore += samples;
        if (!isSuccess(writer.writeAtom(rows.data(), int(rows.size())))) {
            if (error)
                toUtf8(writer.getLastError(), *error);
            return false;
        }
    }
    return true;
}

std::string narrowText(const wchar_t* wide)
{
    std::string out;
    Corvidane::toUtf8(wide, out);
    return out;
}

int loadPicture(Corvidane::MXF::CMxf_FileReader& reader, const std::string& path)
{
    if (!isSuccess(reader.loadFile(Corvidane::fromUtf8(path), iFile::Buffered)))
        return -1;
    for (int s = 0; s < reader.get_StreamCount(); ++s)
        if (reader.get_IsVideo(s))
            return s;
    return -1;
}

void expectReaderGivesThePictures(const std::string& path, const Source& source)
{
    Corvidane::MXF::CMxf_FileReader reader;
    const int video = loadPicture(reader, path);
    ASSERT_GE(video, 0) << narrowText(reader.getLastError());
    EXPECT_EQ(reader.get_Length(video), source.video.size());
    ASSERT_TRUE(isSuccess(reader.essenceOpen(unsigned(video))));
    std::vector<unsigned char> buffer(1 << 22);
    for (unsigned frame = 0; frame < source.video.size(); ++frame) {
        unsigned offset = 0, size = 0;
        ASSERT_TRUE(isSuccess(reader.essenceRead(frame, 1, buffer.data(), unsigned(buffer.size()), offset, size)))
            << frame << " " << narrowText(reader.getLastError());
        EXPECT_EQ(std::string(reinterpret_cast<char*>(buffer.data() + offset), size), source.video[frame].bytes)
            << "frame " << frame;
    }
}

void expectFirstPicturesReadable(const std::string& path, const std::string& sourcePath,
                                 const std::vector<Frame>& pictures, size_t count)
{
    std::vector<AviTest::Packet> ours;
    for (const AviTest::Packet& p : AviTest::ffprobePackets(path))
        if (p.stream == 0)
            ours.push_back(p);
    const std::vector<AviTest::Packet> theirs = AviTest::ffprobePackets(sourcePath);
    ASSERT_GE(ours.size(), count) << "ffprobe";
    ASSERT_GE(theirs.size(), count);
    for (size_t i = 0; i < count; ++i)
        EXPECT_EQ(ours[i].hash, theirs[i].hash) << "ffprobe, frame " << i;

    Corvidane::MXF::CMxf_FileReader reader;
    const int video = loadPicture(reader, path);
    ASSERT_GE(video, 0) << narrowText(reader.getLastError());
    ASSERT_GE(reader.get_Length(video), count) << "our reader";
    ASSERT_TRUE(isSuccess(reader.essenceOpen(unsigned(video))));
    std::vector<unsigned char> buffer(1 << 22);
    for (unsigned frame = 0; frame < count && frame < pictures.size(); ++frame) {
        unsigned offset = 0, size = 0;
        ASSERT_TRUE(isSuccess(reader.essenceRead(frame, 1, buffer.data(), unsigned(buffer.size()), offset, size)))
            << "our reader, frame " << frame << ": " << narrowText(reader.getLastError());
        EXPECT_EQ(std::string(reinterpret_cast<char*>(buffer.data() + offset), size), pictures[frame].bytes)
            << "our reader, frame " << frame;
    }
}

} // namespace MxfWriterTest
