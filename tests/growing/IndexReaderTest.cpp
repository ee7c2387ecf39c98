#include <gtest/gtest.h>
#include <memory>

#include "frame/FourCC.h"
#include "growing/BinaryIndexer.h"
#include "growing/IndexReader.h"
#include "growing/SidecarBytes.h"
#include "support/DriverFixture.h"
#include "support/FaultyFiles.h"
#include "support/TempDir.h"

using namespace Corvidane;
using namespace Corvidane::ExternalIndexer;

namespace {

class IndexReaderTest : public DriverFixture {
protected:
    void SetUp() override
    {
        DriverFixture::SetUp();
        m_essence = essenceBytes(400000);
        writeFile(m_dir.file("clip.mov"), m_essence);
    }

    // Writes the sidecar and opens a reader on it and the essence.
    std::unique_ptr<Reader> open(const SidecarBytes& sidecar)
    {
        writeFile(m_dir.file("clip.mov.0.cvindex"), sidecar.bytes());
        auto indexer = std::make_shared<BinaryIndexer>();
        indexer->setOption(Indexer::DeleteOnClose, L"no");
        EXPECT_EQ(indexer->open(m_dir.wfile("clip.mov.0.cvindex")), OK);
        auto reader = std::make_unique<Reader>(indexer);
        EXPECT_EQ(reader->openFile(m_dir.wfile("clip.mov")), OK);
        EXPECT_TRUE(reader->setCurrentTrack(0));
        return reader;
    }

    std::string content(const CByteBuffer& buffer) const
    {
        return std::string(reinterpret_cast<const char*>(buffer.getBuffer()), buffer.used());
    }

    TempDir m_dir;
    std::string m_essence;
};

// An audio sidecar of 16-bit stereo (4 bytes a sample) under a cadence row,
// one entry per video frame, with 100 bytes between the frames' audio.
struct CadencedAudio {
    CadencedAudio(int row, const unsigned (&counts)[5], unsigned frames) : sidecar(1, StreamAudio)
    {
        sidecar.put8(149, static_cast<uint8_t>(row)).put8(154, 2).put8(155, 16).put32(156, 48000);
        uint64_t offset = 50;
        for (unsigned f = 0; f < frames; ++f) {
            unsigned samples = counts[f % 5];
            for (unsigned s = 0; s < samples; ++s)
                sampleOffsets.push_back(offset + 4 * s);
            sidecar.record(offset, samples * 4, 0, f, f);
            offset += samples * 4 + 100;
        }
    }
    // The bytes of audio samples [first, first + count) as they lie in the essence.
    std::string expected(const std::string& essence, unsigned first, unsigned count) const
    {
        std::string bytes;
        for (unsigned s = first; s < first + count; ++s)
            bytes += essence.substr(sampleOffsets.at(s), 4);
        return bytes;
    }
    SidecarBytes sidecar;
    std::vector<uint64_t> sampleOffsets;
};

TEST_F(IndexReaderTest, ReadsWholeSamplesByTheIndex)
{
    SidecarBytes sidecar;
    sidecar.record(1000, 300, FrameIntra, 0, 0).record(5000, 77, FramePredicted, 1, 1).record(64, 10, 0, 2, 2);
    auto reader = open(sidecar);

    CByteBuffer buffer(1000);
    ASSERT_EQ(reader->readData(0, 2, buffer), OK);
    EXPECT_EQ(content(buffer), m_essence.substr(1000, 300) + m_essence.substr(5000, 77));
    ASSERT_EQ(reader->readData(2, 1, buffer), OK);
    EXPECT_EQ(content(buffer).substr(377), m_essence.substr(64, 10));
    ASSERT_EQ(reader->readData(1, 0, buffer), OK);
    EXPECT_EQ(buffer.used(), 387u);

    CByteBuffer fresh(1000);
    EXPECT_EQ(reader->readData(3, 1, fresh), HandleEOF) << "past the written end";
    EXPECT_EQ(reader->readData(2, 5, fresh), HandleEOF);
    EXPECT_EQ(content(fresh), m_essence.substr(64, 10));

    CByteBuffer small(100);
    EXPECT_EQ(reader->readData(0, 1, small), BufferTooSmall);
    EXPECT_EQ(small.used(), 0u);
}

TEST_F(IndexReaderTest, AnUnfinishedSampleEndsTheRead)
{
    SidecarBytes sidecar;
    sidecar.record(10, 20, FrameIntra, 0, 0).record(30, 20, FrameIncomplete, 1, 1).record(50, 20, 0, 2, 2);
    auto reader = open(sidecar);
    CByteBuffer buffer(100);
    EXPECT_EQ(reader->readData(0, 3, buffer), HandleEOF);
    EXPECT_EQ(content(buffer), m_essence.substr(10, 20));
}

TEST_F(IndexReaderTest, EssenceThatIsNotThereYetFails)
{
    SidecarBytes sidecar;
    sidecar.record(m_essence.size() - 10, 20, FrameIntra, 0, 0);
    auto reader = open(sidecar);
    CByteBuffer buffer(100);
    EXPECT_EQ(reader->readData(0, 1, buffer), Fail);
    // Nor is its row handed out, so nobody sizes a buffer by it.
    IndexEntry entry;
    EXPECT_EQ(reader->getIndexEntry(0, entry), Fail);
    m_essence += essenceBytes(10);
    writeFile(m_dir.file("clip.mov"), m_essence);
    EXPECT_EQ(reader->getIndexEntry(0, entry), OK) << "once the essence has grown to hold it";
    EXPECT_EQ(entry.size, 20u);

    auto indexer = std::make_shared<BinaryIndexer>();
    indexer->setOption(Indexer::DeleteOnClose, L"no");
    ASSERT_EQ(indexer->open(m_dir.wfile("clip.mov.0.cvindex")), OK);
    Reader noEssence(indexer);
    EXPECT_EQ(noEssence.openFile(m_dir.wfile("missing.mov")), Fail);
    EXPECT_FALSE(noEssence.setCurrentTrack(1));
}

TEST_F(IndexReaderTest, CadencedAudioIsReadOneFrameAtATime)
{
    const unsigned counts[5] = {1602, 1601, 1602, 1601, 1602};
    CadencedAudio audio(1, counts, 12);
    auto reader = open(audio.sidecar);

    CByteBuffer buffer(64000);
    ASSERT_EQ(reader->readData(1602, 1601, buffer), OK);
    EXPECT_EQ(content(buffer), audio.expected(m_essence, 1602, 1601));
    buffer.clear();
    ASSERT_EQ(reader->readData(0, 1602, buffer), OK);
    EXPECT_EQ(content(buffer), audio.expected(m_essence, 0, 1602));
    buffer.clear();
    ASSERT_EQ(reader->readData(8008 + 3203, 1602, buffer), OK) << "frame 7, in the second period";
    EXPECT_EQ(content(buffer), audio.expected(m_essence, 8008 + 3203, 1602));
    buffer.clear();
    ASSERT_EQ(reader->readData(8008, 1602, buffer), OK) << "frame 5, at the period";
    EXPECT_EQ(content(buffer), audio.expected(m_essence, 8008, 1602));

    EXPECT_EQ(reader->readData(1000, 1602, buffer), Unexpected);
    EXPECT_EQ(reader->readData(1602, 1000, buffer), Unexpected);
    EXPECT_EQ(reader->readData(8008 * 3, 1602, buffer), HandleEOF);
}

TEST_F(IndexReaderTest, CadencedAudioIsReadInAnyRun)
{
    const unsigned counts[5] = {1920, 1920, 1920, 1920, 1920};
    CadencedAudio audio(0, counts, 10);
    auto reader = open(audio.sidecar);

    CByteBuffer buffer(200000);
    ASSERT_EQ(reader->readData2(1000, 2000, buffer), OK);
    EXPECT_EQ(content(buffer), audio.expected(m_essence, 1000, 2000)) << "920 samples of frame 0, 1080 of frame 1";

    const struct {
        unsigned first, count;
    } runs[] = {{0, 1}, {0, 1920}, {0, 1921}, {1919, 2}, {1920, 1920}, {1920, 1}, {100, 200}, {2000, 100},
                {500, 9000}, {9599, 2}, {9600, 1920}, {3000, 15000}, {0, 19200}};
    for (auto run : runs) {
        SCOPED_TRACE(std::to_string(run.first) + "+" + std::to_string(run.count));
        buffer.clear();
        ASSERT_EQ(reader->readData2(run.first, run.count, buffer), OK);
        EXPECT_EQ(content(buffer), audio.expected(m_essence, run.first, run.count));
    }
    buffer.clear();
    EXPECT_EQ(reader->readData2(19000, 1000, buffer), HandleEOF);
    CByteBuffer small(100);
    EXPECT_EQ(reader->readData2(0, 1000, small), BufferTooSmall);
}

TEST_F(IndexReaderTest, UnknownCadenceRowIsRefused)
{
    SidecarBytes sidecar(1, StreamAudio);
    sidecar.put8(149, 40).put8(154, 2).put8(155, 16).record(0, 100, 0, 0, 0);
    auto reader = open(sidecar);
    CByteBuffer buffer(1000);
    EXPECT_EQ(reader->readData(0, 1920, buffer), Unexpected);
    EXPECT_EQ(reader->readData2(0, 10, buffer), Unexpected);
    unsigned bytes = 0;
    EXPECT_EQ(reader->bytesPerAudioSample(bytes), Unexpected);
}

TEST_F(IndexReaderTest, OpenGopIsABPictureShownBeforeTheKeyFrame)
{
    SidecarBytes openGop;
    openGop.record(0, 1, FrameIntra, 2, 0).record(1, 1, FrameBidirectional, 0, 1).record(2, 1, FrameBidirectional, 1, 2);
    std::wstring value;
    EXPECT_EQ(open(openGop)->getMetadata("is_open_gop", 0, value), OK);
    EXPECT_EQ(value, L"yes");

    SidecarBytes closed;
    closed.record(0, 1, FrameIntra, 0, 0).record(1, 1, FramePredicted, 3, 1).record(2, 1, FrameBidirectional, 1, 2)
        .record(3, 1, FrameBidirectional, 2, 3);
    EXPECT_EQ(open(closed)->getMetadata("is_open_gop", 0, value), OK);
    EXPECT_EQ(value, L"no");
}

TEST_F(IndexReaderTest, KeyFramesAreFoundNearby)
{
    SidecarBytes sidecar;
    for (unsigned i = 0; i < 200; ++i)
        sidecar.record(i, 1, (i == 10 || i == 14 || i == 150) ? FrameIntra : (i == 100 ? FrameRandomAccess : 0), i, i);
    auto reader = open(sidecar);
    std::wstring value;
    ASSERT_EQ(reader->getMetadata("nearest_keyframe", 12, value), OK);
    EXPECT_EQ(value, L"10");
    ASSERT_EQ(reader->getMetadata("nearest_keyframe", 13, value), OK);
    EXPECT_EQ(value, L"14");
    ASSERT_EQ(reader->getMetadata("keyframe_right", 11, value), OK);
    EXPECT_EQ(value, L"14");
    ASSERT_EQ(reader->getMetadata("keyframe_left", 14, value), OK);
    EXPECT_EQ(value, L"14");
    ASSERT_EQ(reader->getMetadata("keyframe_right", 90, value), OK);
    EXPECT_EQ(value, L"100") << "a random access point is a key frame";

    unsigned left = 0, right = 0;
    bool hasLeft = false, hasRight = false;
    ASSERT_TRUE(reader->findKeyFrames(30, left, hasLeft, right, hasRight));
    EXPECT_FALSE(hasRight) << "70 samples ahead is beyond the search";
    ASSERT_TRUE(hasLeft);
    EXPECT_EQ(left, 14u);
    hasLeft = hasRight = false;
    ASSERT_TRUE(reader->findKeyFrames(199, left, hasLeft, right, hasRight));
    EXPECT_TRUE(hasLeft);
    EXPECT_EQ(left, 150u);
    EXPECT_FALSE(reader->findKeyFrames(200, left, hasLeft, right, hasRight));

    EXPECT_EQ(reader->getMetadata("keyframe_right", 30, value), Range);
    EXPECT_EQ(reader->getMetadata("keyframe_left", 5, value), Range);
    EXPECT_EQ(reader->getMetadata("nearest_keyframe", 500, value), Fail);
}

// A seek far past its key frame: the backward search steps through the rows
// that lie between, and reads each of them about once. (Refilling the cache
// forward from every row it stepped to read a megabyte per step.)
TEST_F(IndexReaderTest, AKeyFrameFarBackIsFoundReadingTheRowsBetweenOnce)
{
    const unsigned rows = 60000;
    SidecarBytes sidecar;
    for (unsigned i = 0; i < rows; ++i)
        sidecar.record(i, 1, i % 25000 == 0 ? FrameIntra : FramePredicted, i, i);
    FaultyFiles counting;
    auto reader = open(sidecar);
    const uint64_t before = counting.faults().bytesRead;

    unsigned left = 0, right = 0;
    bool hasLeft = false, hasRight = false;
    ASSERT_TRUE(reader->findKeyFrames(49990, left, hasLeft, right, hasRight));
    ASSERT_TRUE(hasLeft);
    EXPECT_EQ(left, 25000u);
    ASSERT_TRUE(hasRight);
    EXPECT_EQ(right, 50000u);
    uint64_t between = (49990 - 25000) * 22;
    EXPECT_LE(counting.faults().bytesRead - before, 3 * between) << "rows read more than about once";

    // A short way back costs one small read.
    uint64_t start = counting.faults().bytesRead;
    hasLeft = hasRight = false;
    ASSERT_TRUE(reader->findKeyFrames(5030, left, hasLeft, right, hasRight));
    EXPECT_EQ(left, 0u);
    hasLeft = hasRight = false;
    ASSERT_TRUE(reader->findKeyFrames(25010, left, hasLeft, right, hasRight));
    EXPECT_EQ(left, 25000u);
    EXPECT_LE(counting.faults().bytesRead - start, 6 * 5030 * 22 + 16384);
    std::wstring value;
    ASSERT_EQ(reader->getMetadata("nearest_keyframe", 37000, value), OK);
    EXPECT_EQ(value, L"25000");
}

TEST_F(IndexReaderTest, MetadataItemsOfAVideoIndex)
{
    SidecarBytes sidecar;
    sidecar.put32(150, fourCC("avc1")).put32(160, 25).put32(164, 1).put32(168, 1280).put32(172, 720).put8(176, 12)
        .put8(177, 3).put8(155, 24);
    sidecar.record(0, 9000, FrameIntra, 0, 0).record(0, 3, 0, 1, 1).tail(5);
    auto reader = open(sidecar);
    auto item = [&](const char* key) {
        std::wstring value;
        EXPECT_EQ(reader->getMetadata(key, 0, value), OK) << key;
        return value;
    };
    EXPECT_EQ(item("length"), L"2");
    EXPECT_EQ(item("compression_fcc"), std::to_wstring(fourCC("avc1")));
    EXPECT_EQ(item("rate"), L"25");
    EXPECT_EQ(item("scale"), L"1");
    EXPECT_EQ(item("width"), L"1280");
    EXPECT_EQ(item("height"), L"720");
    EXPECT_EQ(item("gop_length"), L"12");
    EXPECT_EQ(item("video_layout"), L"interlaced");
    EXPECT_EQ(item("bits_per_sample"), L"24");
    EXPECT_EQ(item("byte_order"), L"1");
    EXPECT_EQ(item("audio_storage_type"), L"raw");
    EXPECT_EQ(item("is_video"), L"yes");
    EXPECT_EQ(item("is_audio"), L"");
    EXPECT_EQ(item("buffer_size"), L"9000");

    std::wstring value = L"kept";
    EXPECT_EQ(reader->getMetadata("is_timecode", 0, value), OK);
    EXPECT_EQ(value, L"kept");
    EXPECT_EQ(reader->getMetadata("audio_sample_rate", 0, value), NotImpl);
    EXPECT_EQ(reader->getMetadata("file_has_indextable", 0, value), NotImpl);
    EXPECT_EQ(reader->getMetadata("avcc_data", 0, value), InvalidArg);
    EXPECT_TRUE(reader->canHandleItem("buffer_size"));
    EXPECT_FALSE(reader->canHandleItem("ARES"));
    EXPECT_EQ(MetadataItems.size(), 22u);
    EXPECT_EQ(MetadataItems.front(), "length");
}

TEST_F(IndexReaderTest, MetadataItemsOfAnAudioIndex)
{
    const unsigned counts[5] = {1602, 1601, 1602, 1601, 1602};
    CadencedAudio audio(1, counts, 5);
    auto reader = open(audio.sidecar);
    std::wstring value;
    EXPECT_EQ(reader->getMetadata("is_video", 0, value), OK);
    EXPECT_EQ(value, L"");
    ASSERT_EQ(reader->getMetadata("is_audio", 0, value), OK);
    EXPECT_EQ(value, L"yes");
    ASSERT_EQ(reader->getMetadata("audio_track_count", 0, value), OK);
    EXPECT_EQ(value, L"2");
    ASSERT_EQ(reader->getMetadata("buffer_size", 0, value), OK);
    // Four frames' bytes over the five-frame period.
    EXPECT_EQ(value, std::to_wstring((1602 + 1601 + 1602 + 1601) * 4 / 8008));
    ASSERT_EQ(reader->getMetadata("video_layout", 0, value), OK);
    EXPECT_EQ(value, L"unknown");

    CadencedAudio fewFrames(1, counts, 3);
    auto shortReader = open(fewFrames.sidecar);
    ASSERT_EQ(shortReader->getMetadata("buffer_size", 0, value), OK);
    EXPECT_EQ(value, L"0") << "fewer than four entries give no size";
    unsigned bytes = 0;
    EXPECT_EQ(shortReader->bytesPerAudioSample(bytes), HandleEOF);
}

TEST_F(IndexReaderTest, DecodeAndDisplayOrder)
{
    SidecarBytes sidecar;
    const unsigned shown[] = {0, 3, 1, 2, 6, 4, 5};
    for (unsigned i = 0; i < 7; ++i)
        sidecar.record(i, 1, i % 3 ? FrameBidirectional : FrameIntra, shown[i], i);
    auto reader = open(sidecar);
    GOPInfo info;
    allocGOPInfo(info, 4);
    std::vector<unsigned short> order;
    ASSERT_EQ(reader->getGopAndPresentationOrder(1, info, order), OK);
    ASSERT_EQ(info.count, 4u);
    for (unsigned i = 0; i < 4; ++i) {
        EXPECT_EQ(info.decodeOrder[i], 1 + i);
        EXPECT_EQ(info.presentationOrder[i], shown[1 + i]);
    }
    ASSERT_EQ(reader->getGopAndPresentationOrder(5, info, order), OK);
    EXPECT_EQ(info.count, 2u) << "only two samples are left";
    EXPECT_EQ(reader->getGopAndPresentationOrder(8, info, order), InvalidArg);
    freeGOPInfo(info);
}

TEST_F(IndexReaderTest, DecoderConfigIsBinaryMetadata)
{
    SidecarBytes sidecar;
    sidecar.put8(48, 3).put8(49, 1).put8(50, 2).put8(51, 3).record(0, 1, FrameIntra, 0, 0);
    auto reader = open(sidecar);
    CByteBuffer config(8);
    ASSERT_EQ(reader->getBinaryMetadata("avcc_data", 0, config), OK);
    EXPECT_EQ(content(config), std::string("\x01\x02\x03", 3));
    EXPECT_EQ(reader->getBinaryMetadata("esds", 0, config), NotImpl);
}

} // namespace

namespace {

TEST(AudioCadence, RowsAreMatchedFromTheFirstFrame)
{
    EXPECT_EQ(matchAudioCadence({1920, 1920, 1920, 1920, 1920, 1920, 1000}), 0);
    EXPECT_EQ(matchAudioCadence({1602, 1601, 1602, 1601, 1602, 1602}), 1);
    EXPECT_EQ(matchAudioCadence({1601, 1602}), -1) << "the pattern starts at frame 0";
    EXPECT_EQ(matchAudioCadence({801, 801, 800}), 4);
    EXPECT_EQ(matchAudioCadence({1024, 1024}), -1);
    EXPECT_EQ(matchAudioCadence({}), -1);
}

} // namespace
