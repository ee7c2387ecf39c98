// ffmpeg's AVI files read through cvtool and compared with ffprobe.
#include <gtest/gtest.h>

#include "avi/AviTestSupport.h"
#include "avi/FileReader.h"
#include "frame/Utf8.h"
#include "support/AviFixture.h"
#include "support/DriverFixture.h"
#include "support/TempDir.h"

using namespace AviTest;

namespace {

// Every video sample agrees in position, size, bytes and key flag; every
// audio stream in its total bytes (the two list audio in different packet
// sizes). Repeated frames stand once in ffprobe's list.
void expectSameEssence(const std::string& path)
{
    int status = 0;
    std::string output;
    std::vector<Packet> ours = cvtoolPackets(path, &status, &output);
    std::vector<Packet> theirs = ffprobePackets(path);
    ASSERT_EQ(status, 0) << output.substr(0, 2000);
    ASSERT_FALSE(theirs.empty()) << path;
    for (const auto& stream : ffprobeStreams(path)) {
        int index = std::stoi(stream.at("index"));
        std::vector<Packet> a = ofStream(ours, index), b = ofStream(theirs, index);
        if (stream.at("codec_type") == "video") {
            a = withoutRepeats(a);
            ASSERT_EQ(a.size(), b.size()) << path << " stream " << index;
            for (size_t i = 0; i < a.size(); ++i) {
                EXPECT_EQ(a[i].pos, b[i].pos) << path << " frame " << i;
                EXPECT_EQ(a[i].size, b[i].size) << path << " frame " << i;
                EXPECT_EQ(a[i].hash, b[i].hash) << path << " frame " << i;
                EXPECT_EQ(a[i].key, b[i].key) << path << " frame " << i;
            }
        } else {
            EXPECT_EQ(totalBytes(a), totalBytes(b)) << path << " stream " << index;
            EXPECT_GT(totalBytes(a), 0u) << path << " stream " << index;
        }
    }
}

class AviAgainstFfprobe : public ::testing::TestWithParam<const char*> {};

TEST_P(AviAgainstFfprobe, VideoSamplesAndAudioBytesAgree) { expectSameEssence(testMedia(GetParam())); }

INSTANTIATE_TEST_SUITE_P(AviFfmpeg, AviAgainstFfprobe,
                         ::testing::Values("avi_mjpeg_pcm16.avi", "avi_dv_pal.avi", "avi_dv_ntsc.avi",
                                           "avi_mpeg2_gop.avi", "avi_h264.avi", "avi_uyvy.avi"),
                         [](const auto& info) {
                             std::string name = info.param;
                             return name.substr(4, name.size() - 8);
                         });

// The long-GOP files with their OpenDML indexes taken away, so that only
// idx1, with its key flags, is left.
TEST(AviAgainstFfprobeIdx1, KeyFlagsOfIdx1AgreeWithFfprobe)
{
    TempDir dir;
    for (const char* name : {"avi_mpeg2_gop.avi", "avi_h264.avi"}) {
        std::string bytes = readFile(testMedia(name));
        AviFixture::removeChunks(bytes, AviFixture::fourcc("indx"));
        std::string path = dir.file(std::string("idx1_") + name);
        writeFile(path, bytes);
        expectSameEssence(path);
    }
}

// A capture that missed frames: ffmpeg writes an empty chunk for each frame
// not given, with a size of 0 in idx1 and in the standard index. Such a frame
// is a frame of the stream, showing the one before it.
class AviRepeatedFrames : public DriverFixture {};

TEST_F(AviRepeatedFrames, EmptyChunksRepeatTheFrameBefore)
{
    TempDir dir;
    struct Source {
        const char* name;
        const char* codec;
    };
    for (const Source& source : {Source{"gap_mjpeg.avi", "-c:v mjpeg"},
                                 Source{"gap_h264.avi", "-c:v libx264 -g 10 -bf 0 -threads 1"}}) {
        std::string opendml = dir.file(source.name);
        runCommand("ffmpeg -v error -y -f lavfi -i testsrc=size=160x120:rate=25:duration=1 "
                   "-vf \"select='not(between(n,5,7)+between(n,15,15))'\" -fps_mode passthrough " +
                   std::string(source.codec) + " " + shellQuote(opendml));
        std::string bytes = readFile(opendml);
        ASSERT_FALSE(bytes.empty()) << source.name;
        AviFixture::removeChunks(bytes, AviFixture::fourcc("indx"));
        std::string classic = dir.file(std::string("idx1_") + source.name);
        writeFile(classic, bytes);
        for (const std::string& path : {opendml, classic}) {
            SCOPED_TRACE(path);
            expectSameEssence(path);
            Corvidane::Avi::FileReader reader;
            ASSERT_EQ(reader.loadFile(Corvidane::fromUtf8(path), iFile::Unbuffered), OK);
            ASSERT_EQ(reader.essenceOpen(0), OK) << reader.getLastError();
            ASSERT_EQ(std::to_string(reader.get_Length(0)), ffprobeStreams(path)[0].at("nb_frames"));
            ASSERT_EQ(reader.get_Length(0), 25u);
            std::vector<unsigned char> buffer(1 << 20);
            auto frameBytes = [&](unsigned frame) {
                unsigned offset = 0, size = 0;
                EXPECT_EQ(reader.essenceRead(frame, 1, buffer.data(), unsigned(buffer.size()), offset, size), OK)
                    << frame;
                return std::string(reinterpret_cast<char*>(buffer.data()) + offset, size);
            };
            for (unsigned frame : {5u, 6u, 7u})
                EXPECT_EQ(frameBytes(frame), frameBytes(4)) << frame;
            EXPECT_EQ(frameBytes(15), frameBytes(14));
            EXPECT_NE(frameBytes(8), frameBytes(4));
            Corvidane::IndexEntry repeated, shown;
            ASSERT_EQ(reader.getIndexEntry(15, repeated), OK);
            ASSERT_EQ(reader.getIndexEntry(14, shown), OK);
            EXPECT_EQ(Corvidane::isKeyFrame(repeated), Corvidane::isKeyFrame(shown)) << "a repeat is of the type of the frame it shows";
        }
    }
}

// MP3 sound, whose nBlockAlign holds the samples of a frame (1152) rather
// than bytes: the sound reads as the bytes of its chunks.
TEST(AviCompressedSound, Mp3ChunksReadWhole)
{
    TempDir dir;
    std::string path = dir.file("mp3.avi");
    runCommand("ffmpeg -v error -y -f lavfi -i testsrc=size=160x120:rate=25:duration=1 "
               "-f lavfi -i sine=f=440:r=44100:d=1 -c:v mjpeg -c:a libmp3lame -b:a 128k " + shellQuote(path));
    ASSERT_EQ(ffprobeStreams(path).at(1).at("codec_name"), "mp3");
    expectSameEssence(path);
}

class AviStreamFacts : public DriverFixture {};

TEST_F(AviStreamFacts, StreamsDescribeWhatFfprobeSees)
{
    for (const char* name : {"avi_mjpeg_pcm16.avi", "avi_dv_pal.avi", "avi_dv_ntsc.avi", "avi_mpeg2_gop.avi",
                             "avi_h264.avi", "avi_uyvy.avi"}) {
        std::string path = testMedia(name);
        Corvidane::Avi::FileReader reader;
        ASSERT_EQ(reader.loadFile(Corvidane::fromUtf8(path), iFile::Unbuffered), OK) << name;
        auto streams = ffprobeStreams(path);
        ASSERT_EQ(reader.get_StreamCount(), static_cast<int>(streams.size())) << name;
        EXPECT_EQ(reader.get_FileType(), 0);
        for (int i = 0; i < reader.get_StreamCount(); ++i) {
            const auto& facts = streams[i];
            SCOPED_TRACE(std::string(name) + " stream " + std::to_string(i));
            if (facts.at("codec_type") == "video") {
                ASSERT_TRUE(reader.get_IsVideo(i));
                EXPECT_EQ(std::to_string(reader.get_Width(i)), facts.at("width"));
                EXPECT_EQ(std::to_string(reader.get_Height(i)), facts.at("height"));
                EXPECT_EQ(std::to_string(reader.get_Length(i)), facts.at("nb_frames"));
                unsigned fcc = 0;
                ASSERT_EQ(reader.get_FCC(i, fcc), OK);
                EXPECT_EQ(Corvidane::fourCCToString(fcc), facts.at("codec_tag_string"));
                int rate = 0, scale = 0;
                ASSERT_EQ(reader.get_RateAndScale(i, &rate, &scale), OK);
                EXPECT_EQ(std::to_string(rate) + "/" + std::to_string(scale), facts.at("r_frame_rate"));
            } else {
                ASSERT_TRUE(reader.get_IsAudio(i));
                unsigned rate = 0;
                ASSERT_EQ(reader.get_AudioSampleRate(i, rate), OK);
                EXPECT_EQ(std::to_string(rate), facts.at("sample_rate"));
                EXPECT_EQ(std::to_string(reader.get_ChannelCount(i)), facts.at("channels"));
                unsigned fcc = 0;
                ASSERT_EQ(reader.get_FCC(i, fcc), OK);
                EXPECT_EQ(Corvidane::fourCCToString(fcc), "lpcm");
                // A 16-byte strf is the plain wave format: the bits come from
                // the byte rate over the sample rate.
                EXPECT_EQ(reader.get_BitsPerSample(i), 16 * std::stoi(facts.at("channels")));
            }
        }
    }
}

TEST_F(AviStreamFacts, InfoTagsAndMediaTypes)
{
    Corvidane::Avi::FileReader reader;
    ASSERT_EQ(reader.loadFile(Corvidane::fromUtf8(testMedia("avi_mjpeg_pcm16.avi")), iFile::Unbuffered), OK);
    Corvidane::CByteBuffer title;
    ASSERT_TRUE(reader.getExtensionItem(0, Corvidane::fourCC("INAM"), title));
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(title.getBuffer()), 13), "Corvidane AVI");
    EXPECT_FALSE(reader.getExtensionItem(0, Corvidane::fourCC("ICMT"), title));
    EXPECT_EQ(reader.mediaType().subType, Corvidane::Avi::subtypeFromFourCC(Corvidane::fourCC("MJPG")));
    EXPECT_EQ(reader.mediaType().formatType, Corvidane::Avi::FORMAT_VideoInfo);
    unsigned timecode = 0;
    for (unsigned frame : {0u, 1u, 49u, 1000u})
        EXPECT_EQ(reader.get_TimeCode(0, frame, &timecode), NotImpl);
    EXPECT_FALSE(reader.get_IsTimeCode(0));

    Corvidane::Avi::FileReader yuv;
    ASSERT_EQ(yuv.loadFile(Corvidane::fromUtf8(testMedia("avi_uyvy.avi")), iFile::Unbuffered), OK);
    EXPECT_EQ(yuv.mediaType().sampleSize, 160u * 120u * 2u);
    EXPECT_EQ(yuv.mediaType().format.size(), 1124u);
    EXPECT_EQ(yuv.getGopLength(0), 1);
}

TEST(AviDispatch, AviPathsOpenWithTheAviReaderWhateverTheCaseAndSidecars)
{
    TempDir dir;
    std::string source = testMedia("avi_uyvy.avi");
    for (const char* name : {"CLIP.AVI", "clip.Avi", "captured.avi"}) {
        runCommand("cp " + shellQuote(source) + " " + shellQuote(dir.file(name)));
        // A sidecar index beside an AVI doesn't make it a growing file.
        if (std::string(name) == "captured.avi")
            writeFile(dir.file("captured.avi.0.cvindex"), std::string(512, '\0'));
        int status = 0;
        std::string out = runCommand(shellQuote(CVTOOL_PATH) + " probe " + shellQuote(dir.file(name)) + " 2>&1", &status);
        EXPECT_EQ(status, 0) << name << out;
        EXPECT_NE(out.find("\"format_name\": \"avi\""), std::string::npos) << name << out;
    }
}

TEST(AviReadCommand, ReadsEveryFrameAndTheAudioBetween)
{
    std::string path = testMedia("avi_mjpeg_pcm16.avi");
    std::vector<Packet> packets = ffprobePackets(path);
    int status = 0;
    std::string out = runCommand(shellQuote(CVTOOL_PATH) + " read --alternate " + shellQuote(path) + " 2>&1", &status);
    ASSERT_EQ(status, 0) << out;
    EXPECT_EQ(out, "frames 50 video_bytes " + std::to_string(totalBytes(ofStream(packets, 0))) +
                       " audio_samples 96000 audio_bytes " + std::to_string(totalBytes(ofStream(packets, 1))) + "\n");
}

// Needs above 1 GiB of disk and about a minute to make; run with
// cv_tests --gtest_also_run_disabled_tests --gtest_filter='*OpenDmlAboveOneGiB*'.
TEST(AviSlow, DISABLED_OpenDmlAboveOneGiBAgreesWithFfprobe)
{
    expectSameEssence(testMedia("avi_opendml_1g.avi"));
}

} // namespace
