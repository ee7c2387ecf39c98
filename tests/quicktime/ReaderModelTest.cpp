#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "frame/FourCC.h"
#include "quicktime/MovieBytes.h"
#include "quicktime/QtReaderFixture.h"

using namespace movie_bytes;
using Corvidane::IndexEntry;
using Corvidane::fourCC;

namespace {

// Samples of distinct sizes and contents, back to back in the mdat.
struct Samples {
    std::string payload;
    std::vector<uint32_t> sizes;
    std::vector<uint64_t> offsets;
    explicit Samples(int count, uint32_t base = 100)
    {
        for (int i = 0; i < count; ++i) {
            uint32_t size = base + uint32_t(i) * 7;
            offsets.push_back(mdatPayloadOffset + payload.size());
            sizes.push_back(size);
            payload += std::string(size, char('a' + i % 26));
        }
    }
    Track track() const
    {
        Track t;
        t.sizes = sizes;
        t.chunkOffsets = offsets;
        return t;
    }
};

std::wstring w(const char* text) { return Corvidane::fromUtf8(text); }

bool contains(const std::wstring& text, const char* part) { return text.find(w(part)) != std::wstring::npos; }

class QuickTimeReaderModel : public QtReaderFixture {};

TEST_F(QuickTimeReaderModel, TrackBeforeMovieHeaderOrWithoutMediaHeaderFailsTheMovie)
{
    Samples s(3);
    std::string early = atom("moov", trak(s.track()) + mvhd(1000, 0));
    auto opened = open(file(s.payload, early));
    EXPECT_EQ(opened.parse, FileInvalid);
    EXPECT_TRUE(contains(opened.error(), "Failed to parse moov chunk. ")) << opened.error();

    std::string noMedia = atom("trak", tkhd(1, 10) + atom("mdia", hdlr("vide")));
    auto missing = open(file(s.payload, moov(noMedia)));
    EXPECT_EQ(missing.parse, Fail);

    // A track without sample tables is listed; its lookups all fail.
    std::string noTables = atom("trak", tkhd(1, 10) + atom("mdia", mdhd(25, 10) + hdlr("vide")));
    auto bare = open(file(s.payload, moov(noTables)));
    ASSERT_TRUE(bare.ok()) << bare.error();
    EXPECT_EQ(bare.reader->get_StreamCount(), 1);
    EXPECT_FALSE(bare.reader->get_HasIndexTable(0));
    EXPECT_EQ(bare.reader->get_Length(0), 0u);
}

TEST_F(QuickTimeReaderModel, UnknownHandlerGivesATrackOfNoKnownType)
{
    Samples s(2);
    Track t = s.track();
    t.handler = "zzzz";
    auto opened = open(file(s.payload, moov(trak(t))));
    ASSERT_TRUE(opened.ok()) << opened.error();
    EXPECT_FALSE(opened.reader->get_IsVideo(0));
    EXPECT_FALSE(opened.reader->get_IsAudio(0));
    EXPECT_FALSE(opened.reader->get_IsTimeCode(0));
    EXPECT_FALSE(opened.reader->get_HasIndexTable(0)) << "its stsd has no entries";
    EXPECT_FALSE(opened.reader->get_IsVideo(-1));
    EXPECT_FALSE(opened.reader->get_IsVideo(7));
}

TEST_F(QuickTimeReaderModel, RateScaleAndLengthFollowTheEditAndTheTable)
{
    Samples s(25);
    Track t = s.track();
    t.edits = fullAtom("elst", 0, be32(1) + be32(1000) + be32(0) + be32(0x10000));
    auto opened = open(file(s.payload, moov(trak(t))));
    ASSERT_TRUE(opened.ok()) << opened.error();
    auto& reader = *opened.reader;
    int rate = 0, scale = 0;
    ASSERT_EQ(reader.get_RateAndScale(0, &rate, &scale), OK);
    EXPECT_EQ(rate, 25000);
    EXPECT_EQ(scale, 1000);
    EXPECT_DOUBLE_EQ(reader.get_Rate(0), 25.0);
    EXPECT_EQ(reader.get_Length(0), 25u);
    unsigned minimum = 0, maximum = 0, timescale = 0, entries = 0;
    ASSERT_EQ(reader.get_RateAndScaleLimits(0, minimum, maximum, timescale, entries), OK);
    EXPECT_EQ(minimum, 1000u);
    EXPECT_EQ(maximum, 1000u);
    EXPECT_EQ(timescale, 25000u);
    EXPECT_EQ(entries, 1u);
    EXPECT_EQ(reader.get_Width(0), 64);
    EXPECT_EQ(reader.get_Height(0), 48);
    unsigned fcc = 0;
    ASSERT_EQ(reader.get_FCC(0, fcc), OK);
    EXPECT_EQ(fcc, fourCC("mjpa"));
    EXPECT_EQ(reader.getCompressorName2(0), w("Test"));
    EXPECT_EQ(reader.get_BufferSize(0), 1024u) << "the largest sample, 268 bytes, and a sector, in whole sectors";
}

TEST_F(QuickTimeReaderModel, SamplesAreFoundAndReadWhereverTheirChunksLie)
{
    Samples s(10);
    Track t = s.track();
    // Chunks of 3, 3, 2, 2 samples: runs starting at chunks 1 and 3.
    t.chunkOffsets = {s.offsets[0], s.offsets[3], s.offsets[6], s.offsets[8]};
    t.chunkRuns = {1, 3, 1, 3, 2, 1};
    auto opened = open(file(s.payload, moov(trak(t))));
    ASSERT_TRUE(opened.ok()) << opened.error();
    auto& reader = *opened.reader;
    ASSERT_EQ(reader.essenceOpen(0), OK);
    std::vector<unsigned char> buffer(4096);
    for (unsigned i = 0; i < 10; ++i) {
        IndexEntry entry;
        ASSERT_EQ(reader.getIndexEntry(i, entry), OK) << i;
        EXPECT_EQ(uint64_t(entry.offset), s.offsets[i]) << i;
        EXPECT_EQ(uint32_t(entry.size), s.sizes[i]) << i;
        EXPECT_EQ(uint16_t(entry.frameType), Corvidane::FrameIntra) << "no stss: every frame is a key frame";
        unsigned offset = 0, size = 0;
        ASSERT_EQ(reader.essenceRead(i, 1, buffer.data(), unsigned(buffer.size()), offset, size), OK);
        EXPECT_EQ(offset, s.offsets[i] % 512) << "the sample starts where the sector read put it";
        EXPECT_EQ(std::string(reinterpret_cast<char*>(buffer.data()) + offset, size), s.payload.substr(s.offsets[i] - mdatPayloadOffset, s.sizes[i]));
    }
    // Frames in one pass, each behind the last in the buffer.
    std::vector<unsigned> offsets, sizes;
    ASSERT_EQ(reader.essenceRead(7u, 5u, buffer.data(), unsigned(buffer.size()), offsets, sizes), OK);
    ASSERT_EQ(sizes.size(), 3u) << "capped at the track's length";
    for (unsigned i = 0; i < 3; ++i) {
        EXPECT_EQ(sizes[i], s.sizes[7 + i]);
        EXPECT_EQ(std::string(reinterpret_cast<char*>(buffer.data()) + offsets[i], sizes[i]),
                  s.payload.substr(s.offsets[7 + i] - mdatPayloadOffset, s.sizes[7 + i]));
    }
    offsets.clear(), sizes.clear();
    EXPECT_EQ(reader.essenceRead(10u, 1u, buffer.data(), unsigned(buffer.size()), offsets, sizes), HandleEOF);
    EXPECT_EQ(reader.essenceRead(0u, 3u, buffer.data(), 200u, offsets, sizes), BufferTooSmall);
    IndexEntry past;
    EXPECT_EQ(reader.getIndexEntry(10, past), HandleEOF);
    unsigned offset = 1, size = 1;
    EXPECT_EQ(reader.essenceRead(3, 0, buffer.data(), unsigned(buffer.size()), offset, size), OK);
    EXPECT_EQ(size, 0u);
    EXPECT_EQ(reader.essenceRead(10, 1, buffer.data(), unsigned(buffer.size()), offset, size), HandleEOF);
    EXPECT_EQ(reader.essenceRead(0, 1, buffer.data(), 50, offset, size), BufferTooSmall);
}

TEST_F(QuickTimeReaderModel, QueriesOnTheCurrentTrackNeedAnOpenTrack)
{
    Samples s(2);
    auto opened = open(file(s.payload, moov(trak(s.track()))));
    ASSERT_TRUE(opened.ok());
    IndexEntry entry;
    EXPECT_EQ(opened.reader->getIndexEntry(0, entry), InvalidState);
    EXPECT_TRUE(contains(opened.error(), "getIndexEntry Failed, no current track.")) << opened.error();
    unsigned offset = 0, size = 0, key = 0;
    unsigned char buffer[16];
    EXPECT_EQ(opened.reader->essenceRead(0, 1, buffer, 16, offset, size), InvalidState);
    EXPECT_FALSE(opened.reader->findKeyframe(0, false, key));
    EXPECT_EQ(opened.reader->essenceOpen(5), Fail);
}

TEST_F(QuickTimeReaderModel, EditsThatCannotBePlayedRefuseTheOpenAndUnevenDurationsAreNoted)
{
    Samples s(4);
    Track two = s.track();
    two.edits = fullAtom("elst", 0, be32(2) + be32(80) + be32(0) + be32(0x10000) + be32(80) + be32(2000) +
                                        be32(0x10000));
    auto opened = open(file(s.payload, moov(trak(two))));
    ASSERT_TRUE(opened.ok());
    EXPECT_EQ(opened.reader->essenceOpen(0), Fail);
    EXPECT_TRUE(contains(opened.error(), "more than one edit list.")) << opened.error();

    Track withEmpty = s.track();
    withEmpty.edits = fullAtom("elst", 0, be32(2) + be32(80) + be32(0xFFFFFFFF) + be32(0x10000) + be32(160) +
                                              be32(0) + be32(0x10000));
    auto single = open(file(s.payload, moov(trak(withEmpty))));
    EXPECT_EQ(single.reader->essenceOpen(0), OK) << "an empty edit is no edit";

    Track uneven = s.track();
    uneven.timeRuns = {2, 1000, 2, 2000};
    auto vfr = open(file(s.payload, moov(trak(uneven))));
    ASSERT_TRUE(vfr.ok()) << vfr.error();
    EXPECT_EQ(vfr.reader->essenceOpen(0), OK);
    EXPECT_TRUE(contains(vfr.error(), "samples are not of uniform duration.")) << vfr.error();
}

// An edit list of one edit: track duration in the movie's time scale, media time.
std::string edit(uint32_t trackDuration, uint32_t mediaTime)
{
    return fullAtom("elst", 0, be32(1) + be32(trackDuration) + be32(mediaTime) + be32(0x10000));
}

// Every frame up to the length is found where its sample lies; past the last
// sample of the tables is the end.
void expectFramesLieInTheFile(Corvidane::QuickTime::FileReader& reader, const Samples& s, uint32_t first,
                              uint64_t fileSize)
{
    unsigned length = reader.get_Length(0);
    for (unsigned frame = 0; frame < length; ++frame) {
        IndexEntry entry;
        ASSERT_EQ(reader.getIndexEntry(frame, entry), OK) << "frame " << frame;
        EXPECT_EQ(uint64_t(entry.offset), s.offsets[first + frame]) << "frame " << frame;
        EXPECT_EQ(uint32_t(entry.size), s.sizes[first + frame]) << "frame " << frame;
        EXPECT_LE(uint64_t(entry.offset) + entry.size, fileSize);
    }
    IndexEntry past;
    EXPECT_EQ(reader.getIndexEntry(unsigned(s.sizes.size() - first), past), HandleEOF);
}

TEST_F(QuickTimeReaderModel, FramesAreCountedInTheTablesWhateverDurationsAndEditsSay)
{
    Samples s(9);
    const uint64_t fileSize = file(s.payload, moov(trak(s.track()))).size();
    struct Case {
        const char* what;
        std::vector<uint32_t> timeRuns;
        std::vector<uint32_t> offsets; // ctts: count, offset, ...
        std::string edits;
        unsigned frames;
    };
    const Case cases[] = {
        // 13 time units over 9 frames: a duration divided by its average frame says 13.
        {"durations of 1 and 2 units, no edit", {1, 1, 1, 2, 1, 1, 1, 2, 1, 1, 1, 2, 1, 1, 1, 2, 1, 1}, {}, "", 9},
        // As phones write them: the edit ends a unit into the last frame, which is shown in part.
        {"an edit that ends inside the last frame", {9, 20}, {}, edit(179, 0), 9},
        {"an edit twice as long as the media", {9, 20}, {}, edit(360, 0), 9},
        {"an edit that ends before the last three frames", {9, 20}, {}, edit(120, 0), 6},
        // Shown at 0, 80, 40, 20, 60, ...: the frame coded second is shown after the edit's end,
        // but the frames coded after it are shown inside it.
        {"B-frames across the edit's end", {9, 20}, {1, 0, 1, 60, 1, 0, 1, -40u, 1, -20u, 4, 200}, edit(64, 0), 5},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        Track t = s.track();
        t.timeScale = 600;
        t.timeRuns = c.timeRuns;
        t.edits = c.edits;
        if (!c.offsets.empty())
            t.extraTables = table("ctts", c.offsets, uint32_t(c.offsets.size() / 2));
        auto opened = open(file(s.payload, moov(trak(t), 600)));
        ASSERT_TRUE(opened.ok()) << opened.error();
        auto& reader = *opened.reader;
        ASSERT_EQ(reader.essenceOpen(0), OK);
        EXPECT_EQ(reader.get_Length(0), c.frames);
        expectFramesLieInTheFile(reader, s, 0, fileSize);
    }
}

TEST_F(QuickTimeReaderModel, AnEditThatStartsAfterAKeyFrameStartsAtThatKeyFrame)
{
    // Twelve frames of 40 ms, key frames at 0, 4 and 8; the edit shows frames 6 to 11.
    Samples s(12);
    Track t = s.track();
    t.extraTables = table("stss", {1, 5, 9}, 3);
    t.edits = edit(240, 6000);
    std::string bytes = file(s.payload, moov(trak(t)));
    auto opened = open(bytes);
    ASSERT_TRUE(opened.ok()) << opened.error();
    auto& reader = *opened.reader;
    ASSERT_EQ(reader.essenceOpen(0), OK);
    EXPECT_EQ(reader.get_Length(0), 8u) << "frames 4 to 11";
    expectFramesLieInTheFile(reader, s, 4, bytes.size());

    std::vector<int> keys;
    for (unsigned frame = 0; frame < 8; ++frame) {
        IndexEntry entry;
        ASSERT_EQ(reader.getIndexEntry(frame, entry), OK);
        if (Corvidane::isKeyFrame(entry))
            keys.push_back(int(frame));
    }
    EXPECT_EQ(keys, (std::vector<int>{0, 4})) << "the key flags of samples 4 and 8";
    unsigned key = 99;
    EXPECT_TRUE(reader.findKeyframe(3, false, key));
    EXPECT_EQ(key, 0u);
    EXPECT_TRUE(reader.findKeyframe(1, true, key));
    EXPECT_EQ(key, 4u);
    EXPECT_TRUE(reader.findKeyframe(7, false, key));
    EXPECT_EQ(key, 4u);

    // Frames read in one pass run to the track's last frame.
    std::vector<unsigned char> buffer(8192);
    std::vector<unsigned> offsets, sizes;
    ASSERT_EQ(reader.essenceRead(6u, 5u, buffer.data(), unsigned(buffer.size()), offsets, sizes), OK);
    ASSERT_EQ(sizes.size(), 2u) << "frames 6 and 7, samples 10 and 11";
    for (size_t i = 0; i < 2; ++i) {
        EXPECT_EQ(sizes[i], s.sizes[10 + i]);
        EXPECT_EQ(std::memcmp(buffer.data() + offsets[i], s.payload.data() + s.offsets[10 + i] - mdatPayloadOffset,
                              sizes[i]), 0);
    }
    offsets.clear(), sizes.clear();
    EXPECT_EQ(reader.essenceRead(8u, 1u, buffer.data(), unsigned(buffer.size()), offsets, sizes), HandleEOF);
}

TEST_F(QuickTimeReaderModel, ADescriptionOfNoSizeTakesTheTrackHeadersSize)
{
    Samples s(2);
    Track unsized = s.track();
    unsized.sampleEntry = videoEntry("avc1", 0, 0);
    unsized.header = tkhd(1, 80, 640, 480);
    Track sized = unsized;
    sized.sampleEntry = videoEntry("avc1", 64, 48);
    auto opened = open(file(s.payload, moov(trak(unsized) + trak(sized, 2))));
    ASSERT_TRUE(opened.ok()) << opened.error();
    EXPECT_EQ(opened.reader->get_Width(0), 640);
    EXPECT_EQ(opened.reader->get_Height(0), 480);
    EXPECT_EQ(opened.reader->get_Width(1), 64) << "a description with a size wins";
    EXPECT_EQ(opened.reader->get_Height(1), 48);
}

} // namespace
