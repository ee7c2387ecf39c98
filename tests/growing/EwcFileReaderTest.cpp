#include <gtest/gtest.h>
#include <filesystem>
#include <random>

#include "frame/FourCC.h"
#include "front/read/FileInfo.h"
#include "front/read/IndexExists.h"
#include "growing/BinaryIndexer.h"
#include "growing/EwcFileReader.h"
#include "growing/SidecarBytes.h"
#include "support/DriverFixture.h"
#include "support/TempDir.h"

using namespace Corvidane;

namespace {

// A video sidecar of `frames` samples of 100 bytes, key frames every 5.
SidecarBytes videoSidecar(unsigned frames)
{
    SidecarBytes sidecar(1, StreamVideo);
    sidecar.put32(150, fourCC("avc1")).put32(160, 30000).put32(164, 1001).put32(168, 640).put32(172, 360)
        .put8(176, 5).put8(177, 4).put8(48, 2).put8(49, 0xAA).put8(50, 0xBB);
    for (unsigned i = 0; i < frames; ++i)
        sidecar.record(100 * i, 100, i % 5 ? FramePredicted : FrameIntra, i, i);
    return sidecar;
}

// A 48 kHz stereo 16-bit audio sidecar, 1920 samples per 25 fps frame.
SidecarBytes audioSidecar(unsigned frames)
{
    SidecarBytes sidecar(1, StreamAudio);
    sidecar.put32(150, 1).put8(154, 2).put8(155, 16).put32(156, 48000).put32(160, 48000).put32(164, 1).put8(149, 0);
    for (unsigned i = 0; i < frames; ++i)
        sidecar.record(100000 + 7680 * i, 7680, 0, i, i);
    return sidecar;
}

class EwcFileReaderTest : public DriverFixture {
protected:
    void SetUp() override
    {
        DriverFixture::SetUp();
        m_essence = essenceBytes(200000);
        writeFile(m_dir.file("clip.mov"), m_essence);
    }
    void sidecar(const std::string& media, int track, const SidecarBytes& bytes)
    {
        writeFile(m_dir.file(media + "." + std::to_string(track) + ".cvindex"), bytes.bytes());
    }
    std::wstring media(const std::string& name = "clip.mov") const { return m_dir.wfile(name); }

    TempDir m_dir;
    std::string m_essence;
};

TEST_F(EwcFileReaderTest, StreamsAreTheSidecarsFound)
{
    sidecar("clip.mov", 1, videoSidecar(3));
    sidecar("clip.mov", 2, audioSidecar(2));
    EWC::FileReader reader;
    ASSERT_EQ(reader.loadFile(media(), iFile::UnbufferedGrowing), OK);
    ASSERT_EQ(reader.get_StreamCount(), 2);
    EXPECT_TRUE(reader.get_IsVideo(0));
    EXPECT_TRUE(reader.get_IsAudio(1));
    EXPECT_FALSE(reader.get_IsVideo(2));
    EXPECT_FALSE(reader.get_IsTimeCode(0));
}

TEST_F(EwcFileReaderTest, AfterNumberFourTheFirstGapEndsTheSearch)
{
    const struct {
        int first, second;
        int streams;
    } cases[] = {{0, 6, 1}, {3, 6, 1}, {4, 5, 2}, {0, 4, 2}};
    for (auto c : cases) {
        SCOPED_TRACE(std::to_string(c.first) + " and " + std::to_string(c.second));
        TempDir dir;
        writeFile(dir.file("a.mov"), "");
        writeFile(dir.file("a.mov." + std::to_string(c.first) + ".cvindex"), videoSidecar(1).bytes());
        writeFile(dir.file("a.mov." + std::to_string(c.second) + ".cvindex"), audioSidecar(1).bytes());
        EWC::FileReader reader;
        ASSERT_EQ(reader.loadFile(dir.wfile("a.mov"), iFile::UnbufferedGrowing), OK);
        EXPECT_EQ(reader.get_StreamCount(), c.streams);
    }
    EWC::FileReader none;
    EXPECT_EQ(none.loadFile(media(), iFile::UnbufferedGrowing), OK);
    EXPECT_EQ(none.get_StreamCount(), 0);
    EXPECT_EQ(none.essenceOpen(0), Fail);
    EXPECT_EQ(none.get_Length(0), 0u);
}

TEST_F(EwcFileReaderTest, OpeningBeforeTheFirstRowFailsAndKeepsTheSidecar)
{
    sidecar("clip.mov", 0, SidecarBytes(1, StreamVideo));
    EWC::FileReader reader;
    EXPECT_EQ(reader.loadFile(media(), iFile::UnbufferedGrowing), Fail);
    std::wstring error = reader.getLastError();
    EXPECT_NE(error.find(L"clip.mov.0.cvindex: No entries found in index file."), std::wstring::npos);
    EXPECT_TRUE(std::filesystem::exists(m_dir.file("clip.mov.0.cvindex")));
}

TEST_F(EwcFileReaderTest, AnswersFromTheSidecarHeaders)
{
    sidecar("clip.mov", 0, videoSidecar(12));
    sidecar("clip.mov", 1, audioSidecar(4));
    EWC::FileReader reader;
    ASSERT_EQ(reader.loadFile(media(), iFile::UnbufferedGrowing), OK);
    unsigned fcc = 0;
    ASSERT_EQ(reader.get_FCC(0, fcc), OK);
    EXPECT_EQ(fcc, fourCC("avc1"));
    EXPECT_DOUBLE_EQ(reader.get_Rate(0), 30000.0 / 1001.0);
    EXPECT_EQ(reader.get_Length(0), 12u);
    EXPECT_EQ(reader.get_UncompressedSamples(0), 12u);
    EXPECT_EQ(reader.get_Width(0), 640);
    EXPECT_EQ(reader.get_Height(0), 360);
    EXPECT_EQ(reader.getGopLength(0), 5);
    EXPECT_EQ(reader.getFramePolarity(0), 4);
    EXPECT_EQ(reader.getScanMode(0), 3);
    EXPECT_EQ(reader.get_FileType(), 6);
    EXPECT_TRUE(reader.get_IsIndexOK(0));
    EXPECT_FALSE(reader.get_HasIndexTable(0));
    EXPECT_FALSE(reader.getIsOpenGop(0));
    EXPECT_EQ(reader.get_BufferSize(0), 0u);
    EXPECT_EQ(reader.getM(), 3);
    EXPECT_EQ(reader.getN(), 0);

    unsigned rate = 0;
    ASSERT_EQ(reader.get_AudioSampleRate(1, rate), OK);
    EXPECT_EQ(rate, 48000u);
    EXPECT_EQ(reader.get_ChannelCount(1), 2);
    EXPECT_EQ(reader.get_BitsPerSample(1), 16);
    EXPECT_EQ(reader.get_BufferSize(1), 2u * 16 * 512);
    EXPECT_EQ(reader.getAudioByteOrder(1), 1);
    unsigned timecode = 7;
    EXPECT_EQ(reader.get_TimeCode(0, 0, &timecode), OK);
    EXPECT_EQ(timecode, 0u);

    CByteBuffer config(4);
    EXPECT_TRUE(reader.getExtensionItem(0, fourCC("avcC"), config));
    EXPECT_EQ(config.used(), 2u);
    EXPECT_FALSE(reader.getExtensionItem(0, fourCC("hvcC"), config));
    EXPECT_EQ(reader.getAvidResolutionId(0), 0);
}

TEST_F(EwcFileReaderTest, ReadsVideoBySampleAndAudioBySoundSample)
{
    sidecar("clip.mov", 0, videoSidecar(12));
    sidecar("clip.mov", 1, audioSidecar(4));
    EWC::FileReader reader;
    ASSERT_EQ(reader.loadFile(media(), iFile::UnbufferedGrowing), OK);

    std::vector<unsigned char> buffer(40000);
    unsigned offset = 1, size = 0;
    ASSERT_EQ(reader.essenceOpen(0), OK);
    EXPECT_EQ(reader.getOpenEssenceStreamIndex(), 0u);
    ASSERT_EQ(reader.essenceRead(3, 2, buffer.data(), 40000, offset, size), OK);
    EXPECT_EQ(offset, 0u);
    ASSERT_EQ(size, 200u);
    EXPECT_EQ(std::string(buffer.begin(), buffer.begin() + 200), m_essence.substr(300, 200));
    EXPECT_EQ(reader.essenceRead(12, 1, buffer.data(), 40000, offset, size), HandleEOF);

    ASSERT_EQ(reader.essenceOpen(1), OK);
    ASSERT_EQ(reader.essenceRead(1000, 2000, buffer.data(), 40000, offset, size), OK);
    ASSERT_EQ(size, 8000u);
    std::string expected = m_essence.substr(100000 + 4000, 920 * 4) + m_essence.substr(100000 + 7680, 1080 * 4);
    EXPECT_EQ(std::string(buffer.begin(), buffer.begin() + 8000), expected);
}

TEST_F(EwcFileReaderTest, TooSmallABufferIsLeftAlone)
{
    sidecar("clip.mov", 0, videoSidecar(2));
    EWC::FileReader reader;
    ASSERT_EQ(reader.loadFile(media(), iFile::UnbufferedGrowing), OK);
    ASSERT_EQ(reader.essenceOpen(0), OK);
    std::vector<unsigned char> buffer(64, 0xEE);
    unsigned offset = 0, size = 0;
    EXPECT_EQ(reader.essenceRead(0, 1, buffer.data(), 64, offset, size), BufferTooSmall);
    EXPECT_EQ(size, 0u);
    EXPECT_EQ(buffer, std::vector<unsigned char>(64, 0xEE));
}

TEST_F(EwcFileReaderTest, KeyFramesComeFromTheIndex)
{
    sidecar("clip.mov", 0, videoSidecar(12));
    EWC::FileReader reader;
    ASSERT_EQ(reader.loadFile(media(), iFile::UnbufferedGrowing), OK);
    ASSERT_EQ(reader.essenceOpen(0), OK);
    unsigned key = 0;
    EXPECT_FALSE(reader.findKeyframe(3, true, key));
    ASSERT_EQ(reader.getNearestKeyFrame(3, KeyframeBefore, key), OK);
    EXPECT_EQ(key, 0u);
    ASSERT_EQ(reader.getNearestKeyFrame(3, KeyframeAfter, key), OK);
    EXPECT_EQ(key, 5u);
    ASSERT_EQ(reader.getNearestKeyFrame(3, KeyframeNearest, key), OK);
    EXPECT_EQ(key, 5u);
    ASSERT_EQ(reader.getNearestKeyFrame(11, KeyframeAfter, key), Range);
    key = 77;
    EXPECT_EQ(reader.getNearestKeyFrame(3, eKeyframeType(9), key), OK);
    EXPECT_EQ(key, 77u);
}

TEST_F(EwcFileReaderTest, SamplesOfADisplayRange)
{
    SidecarBytes reordered(1, StreamVideo);
    const unsigned shown[] = {0, 3, 1, 2, 6, 4, 5};
    for (unsigned i = 0; i < 7; ++i)
        reordered.record(i, 1, i % 3 ? FrameBidirectional : FrameIntra, shown[i], i);
    sidecar("clip.mov", 0, reordered);
    EWC::FileReader reader;
    ASSERT_EQ(reader.loadFile(media(), iFile::UnbufferedGrowing), OK);
    ASSERT_EQ(reader.essenceOpen(0), OK);

    std::vector<unsigned> decode, presentation;
    std::vector<unsigned short> order;
    ASSERT_EQ(reader.getGopAndPresentationOrder(1, 3, decode, presentation, order), OK);
    EXPECT_EQ(decode, (std::vector<unsigned>{1, 2, 3}));
    EXPECT_EQ(presentation, (std::vector<unsigned>{3, 1, 2}));
    EXPECT_EQ(order.size(), 3u);
    decode.clear();
    presentation.clear();
    ASSERT_EQ(reader.getGopAndPresentationOrder(4, 10, decode, presentation, order), OK);
    EXPECT_EQ(decode, (std::vector<unsigned>{4, 5, 6}));
    EXPECT_EQ(reader.getGopAndPresentationOrder(8, 1, decode, presentation, order), HandleEOF);
    EXPECT_EQ(reader.getGopAndPresentationOrder(7, 1, decode, presentation, order), OK);

    GOPInfo info;
    allocGOPInfo(info, 2);
    std::vector<unsigned short> unused;
    ASSERT_EQ(reader.getGopAndPresentationOrder(3, info, unused, false), OK);
    EXPECT_EQ(info.presentationOrder[0], 2u);
    EXPECT_EQ(info.presentationOrder[1], 6u);
    freeGOPInfo(info);
}

TEST_F(EwcFileReaderTest, GrowthShowsAfterRecalculateAndSurvivesTheEndOfTheCapture)
{
    ExternalIndexer::BinaryIndexer capture;
    TrackStructuralData track{};
    track.streamType = StreamVideo;
    track.video.rateNumerator = 25;
    track.video.rateDenominator = 1;
    ASSERT_EQ(capture.create(ExternalIndexer::getFilename(media(), 0), {track}), OK);
    for (unsigned i = 0; i < 30; ++i)
        ASSERT_EQ(capture.add(0, i, IndexEntry{i * 10ull, 10, FrameIntra, i, i}), OK);

    EWC::FileReader reader;
    ASSERT_EQ(reader.loadFile(media(), iFile::UnbufferedGrowing), OK);
    EXPECT_EQ(reader.get_Length(0), 30u);
    for (unsigned i = 30; i < 65; ++i)
        ASSERT_EQ(capture.add(0, i, IndexEntry{i * 10ull, 10, FrameIntra, i, i}), OK);
    EXPECT_EQ(reader.get_Length(0), 30u);
    reader.recalculateSize();
    EXPECT_EQ(reader.get_Length(0), 60u) << "rows arrive in blocks of thirty";

    capture.close();
    EXPECT_FALSE(std::filesystem::exists(m_dir.file("clip.mov.0.cvindex")));
    reader.recalculateSize();
    EXPECT_EQ(reader.get_Length(0), 65u);
    ASSERT_EQ(reader.essenceOpen(0), OK);
    std::vector<unsigned char> buffer(100);
    unsigned offset = 0, size = 0;
    ASSERT_EQ(reader.essenceRead(64, 1, buffer.data(), 100, offset, size), OK);
    EXPECT_EQ(std::string(buffer.begin(), buffer.begin() + size), m_essence.substr(640, 10));
}

class GrowingDispatchTest : public EwcFileReaderTest {
protected:
    // The file type of the reader that the read front end picks, -1 for none.
    int chosenFileType(const std::string& name)
    {
        writeFile(m_dir.file(name), m_essence);
        CvWrappers::FileInfo info(m_dir.wfile(name), 0, 0);
        return info.containerReader() ? info.containerReader()->get_FileType() : -1;
    }
};

TEST_F(GrowingDispatchTest, ASidecarBesideTheFileChoosesTheGrowingReader)
{
    sidecar("clip.mxf", 1, videoSidecar(1));
    EXPECT_TRUE(CvWrappers::indexExists(m_dir.wfile("clip.mxf")));
    EXPECT_EQ(chosenFileType("clip.mxf"), 6);

    sidecar("other.mxf", 0, videoSidecar(1));
    EXPECT_FALSE(CvWrappers::indexExists(m_dir.wfile("other.mxf"))) << "MXF track 0 is timecode";
    EXPECT_NE(chosenFileType("other.mxf"), 6);

    sidecar("CLIP.Mp4", 1, videoSidecar(1));
    EXPECT_EQ(chosenFileType("CLIP.Mp4"), 6);
    sidecar("clip.mov", 0, videoSidecar(1));
    EXPECT_EQ(chosenFileType("clip.mov"), 6);

    sidecar("clip.avi", 0, videoSidecar(1));
    EXPECT_NE(chosenFileType("clip.avi"), 6) << "AVI never gets the growing reader";
    sidecar("late.mov", 2, videoSidecar(1));
    EXPECT_FALSE(CvWrappers::indexExists(m_dir.wfile("late.mov")));
}

TEST_F(GrowingDispatchTest, ASidecarWithoutRowsOpensNothing)
{
    sidecar("clip.mov", 0, SidecarBytes(1, StreamVideo));
    EXPECT_EQ(chosenFileType("clip.mov"), -1);
    EXPECT_TRUE(std::filesystem::exists(m_dir.file("clip.mov.0.cvindex")));
}

} // namespace

namespace {

// Sidecars with bytes changed at random, header and rows alike: whatever a
// damaged or hostile index says, every query answers and every read stays
// inside the caller's buffer.
TEST_F(EwcFileReaderTest, DamagedSidecarsAreAnsweredSafely)
{
    std::mt19937 random(2024);
    const std::string video = videoSidecar(40).bytes();
    const std::string audio = audioSidecar(12).bytes();
    int loaded = 0;
    for (int round = 0; round < 200; ++round) {
        SCOPED_TRACE(round);
        std::string damaged[2] = {video, audio};
        for (std::string& bytes : damaged) {
            for (int change = random() % 6; change >= 0; --change) {
                // Mostly the header, where one byte changes the meaning of all rows.
                size_t at = random() % 3 ? random() % 512 : random() % bytes.size();
                bytes[at] = static_cast<char>(random() % 4 ? random() : 0xFF);
            }
            if (random() % 4 == 0)
                bytes.resize(random() % bytes.size());
        }
        TempDir dir;
        writeFile(dir.file("d.mov"), m_essence);
        writeFile(dir.file("d.mov.0.cvindex"), damaged[0]);
        writeFile(dir.file("d.mov.1.cvindex"), damaged[1]);
        EWC::FileReader reader;
        if (reader.loadFile(dir.wfile("d.mov"), iFile::UnbufferedGrowing) != OK)
            continue;
        ++loaded;
        std::vector<unsigned char> buffer(65536);
        for (int stream = 0; stream < reader.get_StreamCount(); ++stream) {
            unsigned fcc = 0, rate = 0, key = 0;
            reader.get_FCC(stream, fcc);
            reader.get_Rate(stream);
            reader.get_AudioSampleRate(stream, rate);
            reader.get_BufferSize(stream);
            reader.getIsOpenGop(stream);
            CByteBuffer config(8);
            reader.getExtensionItem(stream, fourCC("avcC"), config);
            EXPECT_LE(config.used(), config.capacity());
            ASSERT_EQ(reader.essenceOpen(static_cast<unsigned>(stream)), OK);
            unsigned length = std::min(reader.get_Length(stream), 50u);
            reader.getNearestKeyFrame(length / 2, KeyframeNearest, key);
            std::vector<unsigned> decode, presentation;
            std::vector<unsigned short> order;
            reader.getGopAndPresentationOrder(0, length, decode, presentation, order);
            for (unsigned long start : {0ul, 1ul, 1920ul, 5000ul, 1ul << 40}) {
                unsigned offset = 0, size = 0;
                reader.essenceRead(start, 1920, buffer.data(), static_cast<unsigned>(buffer.size()), offset, size);
                EXPECT_LE(uint64_t(offset) + size, buffer.size());
            }
        }
    }
    EXPECT_GT(loaded, 50) << "most damaged sidecars still open, so their rows are read";
}

} // namespace
