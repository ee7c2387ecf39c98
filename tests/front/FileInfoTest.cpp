#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "frame/FourCC.h"
#include "frame/Utf8.h"
#include "front/read/FileInfo.h"
#include "host/FrameRates.h"
#include "host/Log.h"
#include "support/DriverFixture.h"
#include "support/ScriptedReader.h"
#include "support/TestMedia.h"

using Corvidane::fourCC;
using Stream = ScriptedReader::Stream;

// The metadata mapping and the read paths over a reader whose answers each
// test sets: the cases of real files that no small file made by ffmpeg shows.
namespace {

class FileInfoTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        setLogSink([this](const std::string& line) { m_log += line; });
        m_reader->streams[0].width = 720;
        m_reader->streams[0].height = 576;
        m_reader->streams[0].fcc = fourCC("mjpa");
        m_reader->length = 100;
        m_reader->gopLength = 1;
        m_reader->anchorDistance = 1;
        m_reader->keyFrames.clear();
    }
    void TearDown() override { setLogSink({}); }

    // Opens the scripted file; the host's result.
    int open(int openType = OpenVideoAndAudio)
    {
        m_file = std::make_unique<CvWrappers::FileInfo>(std::unique_ptr<Corvidane::MediaFileReader>(m_owned.release()),
                                                        L"/clips/clip.mov", openType);
        return m_file->readMetadata();
    }
    const PlayFileMetadataRep& video() const { return m_file->videoMetadata(); }

    std::unique_ptr<ScriptedReader> m_owned = std::make_unique<ScriptedReader>();
    ScriptedReader* m_reader = m_owned.get();
    std::unique_ptr<CvWrappers::FileInfo> m_file;
    std::string m_log;
};

TEST_F(FileInfoTest, AnamorphicHdCodingsShowTheirWidthAndAPictureWithoutSizeIsRefused)
{
    m_reader->streams[0].fcc = fourCC("M703");
    m_reader->streams[0].width = 1920;
    m_reader->streams[0].height = 1080;
    ASSERT_EQ(open(), 1);
    EXPECT_EQ(video().width, 1440u);

    SetUp();
    m_owned = std::make_unique<ScriptedReader>();
    m_reader = m_owned.get();
    m_reader->length = 10;
    EXPECT_EQ(open(), 0) << "video wanted, and no width or height";
}

TEST_F(FileInfoTest, ScanModeFromPolarityBySize)
{
    struct Case {
        int width, height, polarity;
        unsigned scanMode;
    };
    for (const Case& c : {Case{720, 576, 3, 1}, Case{720, 486, 3, 2}, Case{720, 480, 3, 2}, Case{1920, 1080, 1, 1},
                          Case{1920, 1080, 2, 2}, Case{1920, 1080, 4, 3}, Case{1920, 1080, 6, 2}}) {
        m_owned = std::make_unique<ScriptedReader>();
        m_reader = m_owned.get();
        SetUp();
        m_reader->streams[0].width = c.width;
        m_reader->streams[0].height = c.height;
        m_reader->streams[0].polarity = c.polarity;
        ASSERT_EQ(open(), 1);
        EXPECT_EQ(video().scanMode, c.scanMode) << c.width << "x" << c.height << " polarity " << c.polarity;
    }
}

TEST_F(FileInfoTest, AFileWithoutARateTakesTheProjectsAndSaysSo)
{
    m_reader->streams[0].rate = 0;
    ASSERT_EQ(open(), 1);
    EXPECT_NE(m_log.find("Failed to read video frame rate for clip.mov"), std::string::npos) << m_log;
    EXPECT_EQ(video().frameRate, Hc::CurrentProject::getDefaultVideoFrameRate());
}

TEST_F(FileInfoTest, UnknownLengthIsADayOfFramesLessOne)
{
    m_reader->length = 0xFFFFFFFFu;
    ASSERT_EQ(open(), 1);
    EXPECT_EQ(video().length, 25 * 86400 - 1);
}

TEST_F(FileInfoTest, RawRgbaNamedSoIsEightBitsOfFourComponentsWhateverItsDepth)
{
    m_reader->streams[0].fcc = fourCC("raw ");
    m_reader->streams[0].compressorName = L"RGBA 32";
    m_reader->streams[0].bits = 24;
    ASSERT_EQ(open(), 1);
    EXPECT_EQ(video().bitsPerComponent, 8u);
    EXPECT_EQ(video().bitsPerPixel, 32u);
    EXPECT_EQ(video().format, fourCC("ARGB"));
}

TEST_F(FileInfoTest, AudioOnlyFileTakesTcFpsFromItsTimecodeAndUnknownSoundStays)
{
    m_reader->streams[0] = Stream{};
    m_reader->streams[0].kind = Stream::Audio;
    m_reader->streams[0].fcc = fourCC("zzzz");
    m_reader->streams[0].channels = 2;
    m_reader->streams[0].bits = 16;
    m_reader->streams[0].sampleRate = 48000;
    m_reader->streams[0].length = 48000;
    Stream timecode;
    timecode.kind = Stream::Timecode;
    timecode.rate = 30;
    timecode.timecode = 108000;
    m_reader->streams.push_back(timecode);
    ASSERT_EQ(open(OpenAudio), 1);
    std::string fps;
    EXPECT_EQ(video().config.in("TcFps", fps), 1);
    EXPECT_EQ(fps, "5") << "the host's code of 30 frames a second";
    ASSERT_EQ(m_file->audioMetadata().size(), 1u);
    EXPECT_EQ(m_file->audioMetadata()[0].dataType, 0u);
    EXPECT_EQ(m_file->startTimecode(), 108000);
}

TEST_F(FileInfoTest, FixedGopReadsFromTheGopStartAndABlockInTheCacheCostsNoRead)
{
    m_reader->gopLength = 15;
    m_reader->anchorDistance = 3;
    m_reader->keyFrames = {0, 15, 30, 45, 60, 75, 90};
    ASSERT_EQ(open(), 1);
    ASSERT_EQ(video().gopLength, 15u);

    Ptr<IndexInfoRep> block;
    m_file->hcFileIxCache_open(block, 20);
    ASSERT_TRUE(block);
    EXPECT_EQ(block->getStartGopFrameIndex(), 15u);
    EXPECT_TRUE(block->containsValidFrame(29));
    const unsigned calls = m_reader->essenceCalls;
    Ptr<IndexInfoRep> again;
    m_file->hcFileIxCache_open(again, 25);
    EXPECT_EQ(again, block);
    EXPECT_EQ(m_reader->essenceCalls, calls) << "the cached block answers alone";

    // Without a block, a fixed GOP reads its whole GOP from its start. The
    // host sets the flag in its record.
    const_cast<PlayFileMetadataRep&>(video()).fixedGop = true;
    std::vector<Ptr<iMemHolder>> buffers;
    Ptr<IndexInfoRep> none;
    unsigned extra = 0;
    EXPECT_EQ(m_file->readVideo(buffers, 20, none, extra), 1);
    ASSERT_EQ(buffers.size(), 15u);
    EXPECT_EQ(static_cast<ByteBufferImpl&>(*buffers[0]).content()[0], 15);
}

TEST_F(FileInfoTest, AGrowingFileKeepsTwoSecondsBack)
{
    ASSERT_EQ(open(), 1);
    unsigned usable = 0;
    m_file->recalculateSize(UINT32_MAX, usable);
    EXPECT_EQ(usable, 50u) << "100 frames at 25 a second";
    m_reader->length = 30;
    m_file->recalculateSize(UINT32_MAX, usable);
    EXPECT_EQ(usable, 0u);
}

// Sound stored per video frame: 48000 Hz at 25 frames a second is 1920
// samples a frame, and a request from sample 2000 starts 80 into frame 1.
TEST_F(FileInfoTest, SoundPerVideoFrameSkipsIntoTheFrameThatHoldsTheStart)
{
    m_reader->clipWrapped = false;
    m_reader->fileType = 3;
    m_reader->streams.push_back(Stream::sound(1, 2, 100, 1920 * 4));  // a frame of sound per sample
    ASSERT_EQ(open(), 1);
    ASSERT_EQ(m_file->audioMetadata().size(), 1u);
    EXPECT_EQ(m_file->audioMetadata()[0].length, 192000) << "100 frames of 1920 samples";

    Ptr<ByteBufferImpl> buffer;
    Ptr<AudioReadRequest> request(new AudioReadRequest(0, 2000, 2000));
    EXPECT_EQ(m_file->readAudio(buffer, request), 1);
    ASSERT_TRUE(buffer);
    // 1840 samples of frame 1 (1920 less 80), then all of frame 2.
    ASSERT_EQ(buffer->size(), size_t(1840 + 1920) * 4);
    EXPECT_EQ(buffer->content()[0], 1);
    EXPECT_EQ(buffer->content()[1840 * 4], 2);
}

TEST_F(FileInfoTest, NtscSoundPerFrameRoundsToWholeSamples)
{
    m_reader->clipWrapped = false;
    m_reader->streams[0].rate = 30000;
    m_reader->streams[0].scale = 1001;
    m_reader->streams.push_back(Stream::sound(1, 1, 100, 1602 * 2));
    ASSERT_EQ(open(), 1);
    Ptr<ByteBufferImpl> buffer;
    Ptr<AudioReadRequest> request(new AudioReadRequest(0, 1602 * 3, 10));
    EXPECT_EQ(m_file->readAudio(buffer, request), 1);
    ASSERT_TRUE(buffer);
    EXPECT_EQ(buffer->content()[0], 3) << "1602 samples a frame, whatever the file's real cadence";
}

TEST_F(FileInfoTest, PlainSoundReadsRunsOfSampleGroups)
{
    m_reader->streams.push_back(Stream::sound(fourCC("sowt"), 2, 96000, 4));
    ASSERT_EQ(open(), 1);
    const Aud::Metadata& audio = m_file->audioMetadata()[0];
    EXPECT_EQ(audio.dataType, 201u);
    EXPECT_EQ(audio.length, 96000);
    Ptr<ByteBufferImpl> buffer;
    Ptr<AudioReadRequest> request(new AudioReadRequest(0, 100, 48000));
    EXPECT_EQ(m_file->readAudio(buffer, request), 1);
    ASSERT_TRUE(buffer);
    EXPECT_EQ(buffer->size(), 48000u * 4);
    EXPECT_EQ(buffer->content()[0], 100);
}

} // namespace

namespace {

// The editor reads pictures and sound of one file on several threads; the
// reader has one current stream, so each read must see its own.
class FileInfoThreads : public DriverFixture {};

TEST_F(FileInfoThreads, PicturesAndSoundReadTogetherGiveWhatTheyGiveAlone)
{
    CvWrappers::FileInfo file(Corvidane::fromUtf8(testMedia("prores_pcm24_tc.mov")), 0, OpenVideoAndAudio);
    ASSERT_EQ(file.readMetadata(), 1);
    auto frameBytes = [&file](unsigned frame) {
        Ptr<VideoReadRequest> request(new VideoReadRequest(file.videoMetadata(), frame));
        Ptr<FrameBufferRep> out;
        EXPECT_EQ(file.readVideo(out, request), VideoReadDone);
        auto* buffer = out ? dynamic_cast<ByteBufferImpl*>(out->buffers.at(0).get()) : nullptr;
        return buffer ? std::string(reinterpret_cast<const char*>(buffer->content()), buffer->size()) : std::string();
    };
    auto soundBytes = [&file](uint64_t start) {
        Ptr<ByteBufferImpl> buffer;
        Ptr<AudioReadRequest> request(new AudioReadRequest(0, start, 1920));
        EXPECT_EQ(file.readAudio(buffer, request), 1);
        return buffer ? std::string(reinterpret_cast<const char*>(buffer->content()), buffer->size()) : std::string();
    };
    const unsigned frames = unsigned(file.videoMetadata().length);
    std::vector<std::string> pictures, sound;
    for (unsigned frame = 0; frame < frames; ++frame) {
        pictures.push_back(frameBytes(frame));
        sound.push_back(soundBytes(uint64_t(frame) * 1920));
    }
    std::thread picturesThread([&] {
        for (int round = 0; round < 40; ++round)
            for (unsigned frame = 0; frame < frames; ++frame)
                EXPECT_EQ(frameBytes(frame), pictures[frame]) << "frame " << frame;
    });
    std::thread soundThread([&] {
        for (int round = 0; round < 40; ++round)
            for (unsigned frame = 0; frame < frames; ++frame)
                EXPECT_EQ(soundBytes(uint64_t(frame) * 1920), sound[frame]) << "sound of frame " << frame;
    });
    picturesThread.join();
    soundThread.join();
}

} // namespace
