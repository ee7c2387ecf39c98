#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "quicktime/MovieBytes.h"
#include "quicktime/ProbeJson.h"
#include "quicktime/QtReaderFixture.h"

using namespace movie_bytes;
using Corvidane::IndexEntry;

namespace {

// A tmcd entry at 30000/1001 with the frames a second it names, reel "REEL01".
std::string timecodeEntry(uint32_t flags, uint8_t framesPerSecond)
{
    std::string name = atom("name", be16(6) + be16(0) + "REEL01");
    return atom("tmcd", std::string(6, '\0') + be16(1) + be32(0) + be32(flags) + be32(30000) + be32(1001) +
                            std::string(1, char(framesPerSecond)) + std::string(1, '\0') + name);
}

class QuickTimeAudioAndTimecode : public QtReaderFixture {};

// 16-bit stereo PCM whose stsz counts single bytes, as old writers do: the
// sound description's frame size decides.
TEST_F(QuickTimeAudioAndTimecode, PcmRunsAreReadChunkByChunk)
{
    std::string payload;
    for (int i = 0; i < 250; ++i)
        payload += be32(uint32_t(i));
    Track t;
    t.handler = "soun";
    t.timeScale = 48000;
    t.sampleDuration = 1;
    t.sampleEntry = soundEntry("twos", 2, 16, 48000);
    t.sizes.assign(250, 1);
    t.constantSize = 1;
    t.chunkRuns = {1, 100, 1, 3, 50, 1};
    t.chunkOffsets = {mdatPayloadOffset, mdatPayloadOffset + 400, mdatPayloadOffset + 800};
    auto opened = open(file(payload, moov(trak(t))));
    ASSERT_TRUE(opened.ok()) << opened.error();
    auto& reader = *opened.reader;
    EXPECT_TRUE(reader.get_IsAudio(0));
    EXPECT_EQ(reader.get_Length(0), 250u);
    unsigned rate = 0;
    EXPECT_EQ(reader.get_AudioSampleRate(0, rate), OK);
    EXPECT_EQ(rate, 48000u);
    EXPECT_EQ(reader.get_ChannelCount(0), 2);
    EXPECT_EQ(reader.get_BitsPerSample(0), 16);
    EXPECT_EQ(reader.getAudioByteOrder(0), 2);
    ASSERT_EQ(reader.essenceOpen(0), OK);
    IndexEntry entry;
    ASSERT_EQ(reader.getIndexEntry(120, entry), OK);
    EXPECT_EQ(uint64_t(entry.offset), mdatPayloadOffset + 480);
    EXPECT_EQ(uint32_t(entry.size), 4u) << "a whole frame, not the table's byte";

    std::vector<unsigned char> buffer(4096);
    unsigned offset = 9, size = 0;
    ASSERT_EQ(reader.essenceRead(90, 150, buffer.data(), unsigned(buffer.size()), offset, size), OK);
    EXPECT_EQ(offset, 0u);
    ASSERT_EQ(size, 600u);
    EXPECT_EQ(std::memcmp(buffer.data(), payload.data() + 360, 600), 0) << "across two chunk boundaries";
    EXPECT_EQ(reader.essenceRead(90, 150, buffer.data(), 500, offset, size), BufferTooSmall);
    EXPECT_EQ(reader.essenceRead(250, 2, buffer.data(), unsigned(buffer.size()), offset, size), HandleEOF);
}

TEST_F(QuickTimeAudioAndTimecode, TimecodeTrackGivesStartDropFrameAndReel)
{
    Track timecode;
    timecode.handler = "tmcd";
    timecode.timeScale = 30000;
    timecode.sampleDuration = 1001 * 90;
    timecode.sampleEntry = timecodeEntry(1, 30);
    timecode.sizes = {4};
    timecode.constantSize = 4;
    timecode.chunkOffsets = {mdatPayloadOffset};
    auto opened = open(file(be32(107892), moov(trak(timecode))));
    ASSERT_TRUE(opened.ok()) << opened.error();
    auto& reader = *opened.reader;
    EXPECT_TRUE(reader.get_IsTimeCode(0));
    unsigned start = 0;
    ASSERT_EQ(reader.get_TimeCode(0, 0, &start), OK);
    EXPECT_EQ(start, 107892u);
    EXPECT_TRUE(reader.get_IsDropFrame(0));
    EXPECT_EQ(reader.getSourceTape(), L"REEL01");
    EXPECT_DOUBLE_EQ(reader.get_Rate(0), 30.0) << "the track's whole frame count";
    // A timecode track addresses samples past its one-chunk table.
    ASSERT_EQ(reader.get_TimeCode(0, 40, &start), OK);
    EXPECT_EQ(start, 107892u);
    EXPECT_EQ(reader.get_TimeCode(1, 0, &start), Fail);
}

TEST_F(QuickTimeAudioAndTimecode, ATimecodeSampleInASizeListAtAWholeNumberDropFrameRate)
{
    // One tmcd sample listed in a per-sample size table, its rate written as
    // 29 with the drop frame flag, beside a picture track as cameras write it.
    std::string payload = be32(107892) + std::string(96, 'v');
    Track video;
    video.sizes = {48, 48};
    video.chunkOffsets = {mdatPayloadOffset + 4, mdatPayloadOffset + 52};
    video.timeScale = 30000;
    video.sampleDuration = 1001;
    Track timecode;
    timecode.handler = "tmcd";
    timecode.timeScale = 30000;
    timecode.sampleDuration = 1001 * 2;
    timecode.sampleEntry = timecodeEntry(1, 29);
    timecode.sizes = {4};
    timecode.chunkOffsets = {mdatPayloadOffset};
    auto opened = open(file(payload, moov(trak(video) + trak(timecode, 2))), "camera.mov");
    ASSERT_TRUE(opened.ok()) << opened.error();
    auto& reader = *opened.reader;
    EXPECT_DOUBLE_EQ(reader.get_Rate(1), 30.0) << "drop frame labels 30 frames a second";
    for (unsigned frame : {0u, 1u}) {
        unsigned start = 0;
        ASSERT_EQ(reader.get_TimeCode(1, frame, &start), OK) << "frame " << frame;
        EXPECT_EQ(start, 107892u);
    }
    ASSERT_EQ(reader.essenceOpen(1), OK);
    IndexEntry first, second;
    ASSERT_EQ(reader.getIndexEntry(0, first), OK);
    ASSERT_EQ(reader.getIndexEntry(1, second), OK);
    EXPECT_EQ(uint64_t(second.offset), uint64_t(first.offset)) << "every frame reads the one sample";
    EXPECT_EQ(uint32_t(second.size), 4u);

    JsonValue ours = cvtoolProbe(m_dir.file("camera.mov"));
    JsonValue theirs = ffprobe(m_dir.file("camera.mov"));
    ASSERT_EQ(theirs["streams"].items.size(), 2u);
    const std::string& theirStart = theirs["streams"].items[1]["tags"]["timecode"].text;
    ASSERT_FALSE(theirStart.empty());
    EXPECT_EQ(ours["format"]["tags"]["timecode"].text, theirStart);
    EXPECT_EQ(packetsOf(ours, 1).size(), packetsOf(theirs, 1).size()) << "one timecode packet";
}

TEST_F(QuickTimeAudioAndTimecode, ChunkOffsetOfZeroMeansOppositeThingsInTheTwoTables)
{
    Track t;
    t.sizes = {4};
    t.chunkOffsets = {0};
    auto plain = open(file("data", moov(trak(t))));
    ASSERT_TRUE(plain.ok());
    ASSERT_EQ(plain.reader->essenceOpen(0), OK);
    IndexEntry entry;
    ASSERT_EQ(plain.reader->getIndexEntry(0, entry), OK);
    EXPECT_EQ(uint64_t(entry.offset), 0u) << "stco: the start of this file";

    t.offsets64 = true;
    auto wide = open(file("data", moov(trak(t))));
    ASSERT_TRUE(wide.ok());
    ASSERT_EQ(wide.reader->essenceOpen(0), OK);
    EXPECT_EQ(wide.reader->getIndexEntry(0, entry), InvalidState) << "co64: no essence file, no sample";
}

TEST_F(QuickTimeAudioAndTimecode, MovieTimesAndTheMp4FlagByName)
{
    Track t;
    t.sizes = {4};
    t.chunkOffsets = {mdatPayloadOffset};
    std::string movie = atom("moov", mvhd(1000, 0, 2082844800u + 100) + trak(t));
    auto upper = open(file("data", movie), "clip.MP4");
    ASSERT_TRUE(upper.ok());
    EXPECT_TRUE(upper.reader->movie().isMp4());
    EXPECT_EQ(upper.reader->getCreationTime(), 100);
    EXPECT_EQ(upper.reader->getModifiedTime(), 100);
    EXPECT_EQ(upper.reader->get_FileType(), 2);
    auto m4v = open(file("data", movie), "clip.m4v");
    EXPECT_FALSE(m4v.reader->movie().isMp4());
    auto zero = open(file("data", moov(trak(t))));
    EXPECT_EQ(zero.reader->getCreationTime(), 0);
    EXPECT_EQ(zero.reader->getTrackIndexFromTrackID(1), 0u);
    EXPECT_EQ(zero.reader->getTrackIndexFromTrackID(2), 0xFFFFFFFFu);
}

} // namespace
