#include <gtest/gtest.h>
#include <filesystem>
#include <memory>

#include "frame/FourCC.h"
#include "growing/BinaryIndexer.h"
#include "growing/SidecarBytes.h"
#include "support/DriverFixture.h"
#include "support/FaultyFiles.h"
#include "support/TempDir.h"

using namespace Corvidane;
using namespace Corvidane::ExternalIndexer;

namespace {

TrackStructuralData videoTrack()
{
    TrackStructuralData track{};
    track.streamType = StreamVideo;
    track.video.width = 1920;
    track.video.height = 1080;
    track.video.bitsPerPixel = 24;
    track.video.fourcc = fourCC("avc1");
    track.video.rateNumerator = 30000;
    track.video.rateDenominator = 1001;
    track.video.gopSize = 12;
    track.video.frameLayout = 4;
    return track;
}

TrackStructuralData audioTrack(unsigned format)
{
    TrackStructuralData track{};
    track.streamType = StreamAudio;
    track.audio.format = format;
    track.audio.channels = 2;
    track.audio.sampleRate = 48000;
    track.audio.bitsPerSample = 24;
    return track;
}

using Faults = FaultyFiles::Faults;

IndexEntry entryFor(unsigned i) { return IndexEntry{1000u + 10u * i, 10u + i, FramePredicted, i, i}; }

class BinaryIndexerTest : public DriverFixture {
protected:
    std::string path(const char* name = "clip.mov.0.cvindex") const { return m_dir.file(name); }
    std::wstring wpath(const char* name = "clip.mov.0.cvindex") const { return m_dir.wfile(name); }
    uint64_t sizeOf(const char* name = "clip.mov.0.cvindex") const { return std::filesystem::file_size(path(name)); }

    // A reader that leaves the file alone when it closes.
    std::unique_ptr<BinaryIndexer> reader()
    {
        auto indexer = std::make_unique<BinaryIndexer>();
        indexer->setOption(Indexer::DeleteOnClose, L"no");
        return indexer;
    }

    TempDir m_dir;
};

TEST(ExternalIndexerNames, SidecarNameCarriesTheTrackNumber)
{
    EXPECT_EQ(getFilename(L"/a/clip.mxf", 1), L"/a/clip.mxf.1.cvindex");
    EXPECT_EQ(getFilename(L"clip.mov", 0), L"clip.mov.0.cvindex");
    EXPECT_EQ(getFilename(L"clip.mov", 31), L"clip.mov.31.cvindex");
    EXPECT_EQ(getFilename(L"clip.mxf", -1), L"clip.mxf.cvindex");
}

TEST(ExternalIndexerNames, IndexersByType)
{
    auto null = createIndexer(NullIndexerType);
    ASSERT_TRUE(null);
    IndexEntry entry;
    EXPECT_EQ(null->open(L"x"), NotImpl);
    EXPECT_EQ(null->get(0, 0, entry), NotImpl);
    EXPECT_EQ(null->getNumEntries(), 0u);
    EXPECT_EQ(null->getLastError(), L"");
    EXPECT_TRUE(std::dynamic_pointer_cast<BinaryIndexer>(createIndexer(BinaryIndexerType)));
    EXPECT_FALSE(createIndexer(IndexerType(2)));
}

TEST_F(BinaryIndexerTest, CreateWritesTheHeaderOfAVideoTrack)
{
    {
        BinaryIndexer writer;
        writer.setOption(Indexer::DeleteOnClose, L"no");
        TrackStructuralData timecode{};
        timecode.streamType = StreamTimecode;
        ASSERT_EQ(writer.create(wpath(), {videoTrack(), audioTrack(1), timecode}), OK);
        EXPECT_EQ(writer.numTracks(), 3u);
    }
    std::string bytes = readFile(path());
    ASSERT_EQ(bytes.size(), 512u);
    EXPECT_EQ(bytes.substr(0, 4), "CVIX");
    EXPECT_EQ(le32(bytes, 4), 1u);
    EXPECT_EQ(le32(bytes, 12), 3u);
    EXPECT_EQ(bytes[16], 1);
    EXPECT_EQ(bytes[17], 2);
    EXPECT_EQ(bytes[18], 3);
    EXPECT_EQ(bytes[19], 0);
    EXPECT_EQ(static_cast<unsigned char>(bytes[149]), 0xFFu);
    EXPECT_EQ(le32(bytes, 150), fourCC("avc1"));
    EXPECT_EQ(bytes[155], 24);
    EXPECT_EQ(le32(bytes, 160), 30000u);
    EXPECT_EQ(le32(bytes, 164), 1001u);
    EXPECT_EQ(le32(bytes, 168), 1920u);
    EXPECT_EQ(le32(bytes, 172), 1080u);
    EXPECT_EQ(bytes[176], 12);
    EXPECT_EQ(bytes[177], 4);
}

TEST_F(BinaryIndexerTest, CreateWritesTheHeaderOfAudioAndAncillaryTracks)
{
    {
        BinaryIndexer writer;
        writer.setOption(Indexer::DeleteOnClose, L"no");
        ASSERT_EQ(writer.create(wpath("a.cvindex"), {audioTrack(fourCC("mp4a"))}), OK);
        TrackStructuralData anc{};
        anc.streamType = StreamAncillary;
        anc.anc.fourcc = fourCC("c608");
        anc.anc.sampleEntryFourcc = fourCC("c708");
        BinaryIndexer ancWriter;
        ancWriter.setOption(Indexer::DeleteOnClose, L"no");
        ASSERT_EQ(ancWriter.create(wpath("c.cvindex"), {anc}), OK);
    }
    std::string audio = readFile(path("a.cvindex"));
    EXPECT_EQ(le32(audio, 150), fourCC("mp4a"));
    EXPECT_EQ(audio[154], 2);
    EXPECT_EQ(audio[155], 24);
    EXPECT_EQ(le32(audio, 156), 48000u);
    EXPECT_EQ(le32(audio, 160), 48000u);
    EXPECT_EQ(le32(audio, 164), 1024u);
    EXPECT_EQ(audio[176], 1);
    std::string anc = readFile(path("c.cvindex"));
    EXPECT_EQ(le32(anc, 150), fourCC("c708"));
    EXPECT_EQ(anc[16], 5);
}

TEST_F(BinaryIndexerTest, RowsGoOutInBlocksOfThirty)
{
    BinaryIndexer writer;
    ASSERT_EQ(writer.create(wpath(), {videoTrack()}), OK);
    for (unsigned i = 0; i < 29; ++i)
        ASSERT_EQ(writer.add(0, i, entryFor(i)), OK);
    EXPECT_EQ(sizeOf(), 512u);
    ASSERT_EQ(writer.add(0, 29, entryFor(29)), OK);
    EXPECT_EQ(sizeOf(), 512u + 30 * 22);
    for (unsigned i = 30; i < 35; ++i)
        ASSERT_EQ(writer.add(0, i, entryFor(i)), OK);
    EXPECT_EQ(sizeOf(), 512u + 30 * 22);

    auto follower = reader();
    ASSERT_EQ(follower->open(wpath()), OK);
    EXPECT_EQ(follower->getNumEntries(), 30u);

    writer.setOption(Indexer::DeleteOnClose, L"no");
    writer.close();
    EXPECT_EQ(sizeOf(), 512u + 35 * 22);
    follower->recalculateSize();
    EXPECT_EQ(follower->getNumEntries(), 35u);
    IndexEntry entry;
    ASSERT_EQ(follower->get(0, 34, entry), OK);
    EXPECT_EQ(+entry.offset, 1340u);
    EXPECT_EQ(+entry.size, 44u);
    EXPECT_EQ(+entry.presentationIndex, 34u);
}

TEST_F(BinaryIndexerTest, ClosingDeletesTheFileUnlessToldNot)
{
    {
        BinaryIndexer writer;
        ASSERT_EQ(writer.create(wpath(), {videoTrack()}), OK);
        ASSERT_EQ(writer.add(0, 0, entryFor(0)), OK);
    }
    EXPECT_FALSE(std::filesystem::exists(path()));

    writeFile(path(), SidecarBytes().record(0, 1, FrameIntra, 0, 0).bytes());
    {
        auto follower = reader();
        ASSERT_EQ(follower->open(wpath()), OK);
    }
    EXPECT_TRUE(std::filesystem::exists(path()));
    BinaryIndexer indexer;
    EXPECT_EQ(indexer.setOption(Indexer::Option(2), L"yes"), NotImpl);
}

TEST_F(BinaryIndexerTest, CreateReplacesAnExistingFile)
{
    writeFile(path(), std::string(4000, 'x'));
    BinaryIndexer writer;
    writer.setOption(Indexer::DeleteOnClose, L"no");
    ASSERT_EQ(writer.create(wpath(), {videoTrack()}), OK);
    EXPECT_EQ(sizeOf(), 512u);
}

TEST_F(BinaryIndexerTest, EntriesComeInOrder)
{
    BinaryIndexer writer;
    ASSERT_EQ(writer.create(wpath(), {videoTrack(), audioTrack(1)}), OK);
    EXPECT_EQ(writer.add(0, 1, entryFor(0)), Unexpected);

    BinaryIndexer second;
    ASSERT_EQ(second.create(wpath("b.cvindex"), {videoTrack(), audioTrack(1)}), OK);
    EXPECT_EQ(second.add(1, 0, entryFor(0)), Fail);
    EXPECT_EQ(second.getLastError(), L"Invalid track index");
    EXPECT_EQ(second.append(0, entryFor(0)), OK);
    EXPECT_EQ(second.append(1, entryFor(0)), OK);
    EXPECT_EQ(second.update(0, 0, 0, entryFor(0)), NotImpl);
}

TEST_F(BinaryIndexerTest, OpenRefusesWhatIsNoIndexYet)
{
    struct Case {
        const char* name;
        std::string bytes;
        CvResult code;
        const wchar_t* text;
    };
    std::string wrongVersion = SidecarBytes().put32(4, 2).record(0, 1, 4, 0, 0).bytes();
    std::string wrongMagic = SidecarBytes().put8(0, 'X').record(0, 1, 4, 0, 0).bytes();
    std::string noTracks = SidecarBytes(0).record(0, 1, 4, 0, 0).bytes();
    std::string manyTracks = SidecarBytes().put32(12, 1000).record(0, 1, 4, 0, 0).bytes();
    const Case cases[] = {
        {"empty", "", Fail, L"File size was zero"},
        {"truncated", SidecarBytes().bytes().substr(0, 300), Fail, L"Unexpected file format"},
        {"magic", wrongMagic, Fail, L"Unexpected file format"},
        {"version", wrongVersion, Fail, L"Unexpected index file version"},
        {"header-only", SidecarBytes().bytes(), Fail, L"No entries found in index file"},
        {"partial-row", SidecarBytes().bytes() + std::string(21, '\0'), Fail, L"No entries found in index file"},
        {"no-tracks", noTracks, Fail, L"Unexpected file format"},
        {"many-tracks", manyTracks, Fail, L"Unexpected file format"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        std::string name = std::string(c.name) + ".cvindex";
        writeFile(m_dir.file(name), c.bytes);
        BinaryIndexer indexer; // deletes on close by default: a failed open must leave nothing to delete
        EXPECT_EQ(indexer.open(m_dir.wfile(name)), c.code);
        EXPECT_EQ(indexer.getLastError(), c.text);
        EXPECT_EQ(indexer.getNumEntries(), 0u);
        indexer.close();
        EXPECT_TRUE(std::filesystem::exists(m_dir.file(name)));
    }
    BinaryIndexer indexer;
    EXPECT_EQ(indexer.open(wpath("missing.cvindex")), FileNotFound);
    EXPECT_EQ(indexer.getLastError(), L"File not found");
}

TEST_F(BinaryIndexerTest, OnlyWholeRowsCount)
{
    writeFile(path(), SidecarBytes().record(0, 1, 4, 0, 0).bytes());
    auto one = reader();
    ASSERT_EQ(one->open(wpath()), OK);
    EXPECT_EQ(one->getNumEntries(), 1u);

    writeFile(path("two.cvindex"), SidecarBytes(2).record(0, 1, 4, 0, 0).record(1, 1, 0, 0, 0).record(2, 1, 4, 1, 1).tail(21).bytes());
    auto two = reader();
    ASSERT_EQ(two->open(wpath("two.cvindex")), OK);
    EXPECT_EQ(two->numTracks(), 2u);
    EXPECT_EQ(two->getNumEntries(), 1u);
    EXPECT_EQ(two->getLength(), 1u);
}

TEST_F(BinaryIndexerTest, AnUnfinishedLastSampleCountsOnlyWhenMoreBytesFollow)
{
    SidecarBytes bytes;
    bytes.record(0, 5, FrameIntra, 0, 0).record(5, 5, FramePredicted, 1, 1).record(10, 5, FrameIncomplete, 2, 2);
    writeFile(path(), bytes.bytes());
    auto exact = reader();
    ASSERT_EQ(exact->open(wpath()), OK);
    EXPECT_EQ(exact->getNumEntries(), 3u);
    EXPECT_EQ(exact->getLength(), 3u);

    writeFile(path(), bytes.tail(10).bytes());
    exact->recalculateSize();
    EXPECT_EQ(exact->getNumEntries(), 3u);
    EXPECT_EQ(exact->getLength(), 2u);

    // With two tracks the first entry of the last row is always looked at.
    writeFile(path("two.cvindex"),
              SidecarBytes(2).record(0, 5, FrameIntra, 0, 0).record(0, 4, 0, 0, 0)
                  .record(5, 5, FrameIncomplete, 1, 1).record(4, 4, 0, 0, 0).bytes());
    auto two = reader();
    ASSERT_EQ(two->open(wpath("two.cvindex")), OK);
    EXPECT_EQ(two->getLength(), 1u);
}

TEST_F(BinaryIndexerTest, GetReadsEntriesAndFollowsGrowth)
{
    SidecarBytes bytes;
    for (unsigned i = 0; i < 3; ++i)
        bytes.record(0x100000000ull + i * 7, 7, i ? FramePredicted : FrameIntra, i, i);
    writeFile(path(), bytes.bytes());
    auto follower = reader();
    ASSERT_EQ(follower->open(wpath()), OK);

    IndexEntry entry;
    ASSERT_EQ(follower->get(0, 2, entry), OK);
    EXPECT_EQ(+entry.offset, 0x100000000ull + 14);
    EXPECT_EQ(+entry.size, 7u);
    EXPECT_EQ(+entry.frameType, FramePredicted);
    EXPECT_EQ(+entry.presentationIndex, 2u);
    EXPECT_EQ(+entry.decodeIndex, 2u);
    EXPECT_EQ(follower->get(1, 0, entry), NotImpl);
    EXPECT_EQ(follower->get(0, 3, entry), Range);

    writeFile(path(), bytes.record(77, 9, FrameIntra, 3, 3).bytes());
    EXPECT_EQ(follower->get(0, 3, entry), Range) << "the size is only measured when asked to";
    follower->recalculateSize();
    ASSERT_EQ(follower->get(0, 3, entry), OK);
    EXPECT_EQ(+entry.offset, 77u);
    ASSERT_EQ(follower->get(0, 0, entry), OK);
    EXPECT_EQ(+entry.frameType, FrameIntra);
}

TEST_F(BinaryIndexerTest, ReadRangeAnswersAFileThatShrank)
{
    SidecarBytes bytes;
    for (unsigned i = 0; i < 5; ++i)
        bytes.record(i, 1, FrameIntra, i, i);
    writeFile(path(), bytes.bytes());
    auto follower = reader();
    ASSERT_EQ(follower->open(wpath()), OK);
    EXPECT_EQ(follower->readRange(1, 0, 0), InvalidArg);
    EXPECT_EQ(follower->getLastError(), L"Track index out of range");
    EXPECT_EQ(follower->readRange(0, 5, 0), InvalidArg);
    EXPECT_EQ(follower->getLastError(), L"Invalid count (Zero or less)");

    std::filesystem::resize_file(path(), 512 + 3 * 22);
    EXPECT_EQ(follower->readRange(0, 0, 0), PartialCopy);
    std::filesystem::resize_file(path(), 512 + 22);
    EXPECT_EQ(follower->readRange(0, 0, 0), Fail);
    EXPECT_EQ(follower->getLastError(), L"Failed to read expected count");
    IndexEntry entry;
    EXPECT_EQ(follower->get(0, 0, entry), Fail) << "the size measured last is stale";
    follower->recalculateSize();
    EXPECT_EQ(follower->get(0, 0, entry), OK);
    EXPECT_EQ(follower->get(0, 1, entry), Range);
}

TEST_F(BinaryIndexerTest, HeaderFieldsSetLaterAreReadFromTheFile)
{
    BinaryIndexer writer;
    ASSERT_EQ(writer.create(wpath(), {audioTrack(1)}), OK);
    for (unsigned i = 0; i < 30; ++i)
        ASSERT_EQ(writer.add(0, i, entryFor(i)), OK);
    auto follower = reader();
    ASSERT_EQ(follower->open(wpath()), OK);
    signed char cadence = 0;
    ASSERT_EQ(follower->getAudioSamplesIndex(cadence), OK);
    EXPECT_EQ(cadence, -1);
    CByteBuffer config(16);
    ASSERT_EQ(follower->getDecoderConfig(config), OK);
    EXPECT_EQ(config.used(), 0u);

    const unsigned char avcc[] = {1, 0x64, 0, 0x1f, 0xff, 0xe1};
    ASSERT_EQ(writer.setDecoderConfig(avcc, sizeof avcc), OK);
    ASSERT_EQ(writer.setAudioSamplesIndex(1), OK);
    ASSERT_EQ(writer.add(0, 30, entryFor(30)), OK);
    ASSERT_EQ(follower->getAudioSamplesIndex(cadence), OK);
    EXPECT_EQ(cadence, 1);
    CByteBuffer small(2);
    small.append(reinterpret_cast<const unsigned char*>("ab"), 2);
    ASSERT_EQ(follower->getDecoderConfig(small), OK);
    ASSERT_EQ(small.used(), 2u + sizeof avcc);
    EXPECT_EQ(std::string(reinterpret_cast<char*>(small.getBuffer()), small.used()),
              std::string("ab") + std::string(reinterpret_cast<const char*>(avcc), sizeof avcc));

    std::string bytes = readFile(path());
    EXPECT_EQ(bytes[48], 6);
    EXPECT_EQ(static_cast<unsigned char>(bytes[49 + 4]), 0xFFu);
    EXPECT_EQ(bytes[149], 1);

    BinaryIndexer closed;
    EXPECT_EQ(closed.setAudioSamplesIndex(1), Fail);
    EXPECT_EQ(closed.getAudioSamplesIndex(cadence), Fail);
}

TEST_F(BinaryIndexerTest, FailedHeaderWriteLeavesNoFile)
{
    FaultyFiles faulty;
    faulty.faults().diskSpace = 100;
    BinaryIndexer writer;
    EXPECT_EQ(writer.create(wpath(), {videoTrack()}), Fail);
    EXPECT_EQ(writer.getLastError(), L"Failed to write header");
    EXPECT_FALSE(std::filesystem::exists(path()));
}

TEST_F(BinaryIndexerTest, FailedBlockWriteIsReported)
{
    FaultyFiles faulty;
    faulty.faults().diskSpace = 600;
    BinaryIndexer writer;
    ASSERT_EQ(writer.create(wpath(), {videoTrack()}), OK);
    CvResult last = OK;
    for (unsigned i = 0; i < 30; ++i)
        last = writer.add(0, i, entryFor(i));
    EXPECT_EQ(last, Fail);
    EXPECT_EQ(writer.getLastError(), L"Failed to write index data");
}

// A full disk takes part of a block; the writer reports it, keeps the rows,
// and once there is room writes them where the last whole row ended, over
// the partial bytes, so that no later row is shifted.
TEST_F(BinaryIndexerTest, AFailedBlockIsWrittenAgainWhereTheLastWholeRowEnded)
{
    FaultyFiles faulty;
    faulty.faults().partialWrites = true;
    faulty.faults().diskSpace = 512 + 40 * 22 + 7; // the first block, then 10 rows and 7 bytes of the second
    BinaryIndexer writer;
    writer.setOption(Indexer::DeleteOnClose, L"no");
    ASSERT_EQ(writer.create(wpath(), {videoTrack()}), OK);
    for (unsigned i = 0; i < 30; ++i)
        ASSERT_EQ(writer.add(0, i, entryFor(i)), OK);
    CvResult last = OK;
    for (unsigned i = 30; i < 60; ++i)
        last = writer.add(0, i, entryFor(i));
    EXPECT_EQ(last, Fail);
    EXPECT_EQ(writer.getLastError(), L"Failed to write index data");
    EXPECT_EQ(sizeOf(), 512u + 40 * 22 + 7);

    // A follower meanwhile sees the whole rows that reached the disk, all right.
    auto follower = reader();
    ASSERT_EQ(follower->open(wpath()), OK);
    EXPECT_EQ(follower->getNumEntries(), 40u);
    IndexEntry entry;
    ASSERT_EQ(follower->get(0, 39, entry), OK);
    EXPECT_EQ(+entry.offset, entryFor(39).offset);

    // Still full: the next row fails too, and writes no byte past the space.
    EXPECT_EQ(writer.add(0, 60, entryFor(60)), Fail);
    EXPECT_EQ(sizeOf(), 512u + 40 * 22 + 7);

    faulty.faults().diskSpace = UINT64_MAX; // room again: the next row writes all that waits
    ASSERT_EQ(writer.add(0, 61, entryFor(61)), OK);
    EXPECT_EQ(sizeOf(), 512u + 62 * 22);
    for (unsigned i = 62; i < 95; ++i)
        ASSERT_EQ(writer.add(0, i, entryFor(i)), OK);
    EXPECT_EQ(sizeOf(), 512u + 92 * 22);
    writer.close();
    EXPECT_EQ(sizeOf(), 512u + 95 * 22);

    follower->recalculateSize();
    ASSERT_EQ(follower->getNumEntries(), 95u);
    for (unsigned i = 0; i < 95; ++i) {
        SCOPED_TRACE(i);
        ASSERT_EQ(follower->get(0, i, entry), OK);
        EXPECT_EQ(+entry.offset, entryFor(i).offset);
        EXPECT_EQ(+entry.size, entryFor(i).size);
        EXPECT_EQ(+entry.presentationIndex, i);
        EXPECT_EQ(+entry.decodeIndex, i);
    }
}

// The same when the last block, written by close, is the one cut short: what
// reached the disk is whole rows, all right, and a partial one that no
// reader counts.
TEST_F(BinaryIndexerTest, AFailedLastBlockLeavesOnlyWholeRightRows)
{
    FaultyFiles faulty;
    faulty.faults().partialWrites = true;
    faulty.faults().diskSpace = 512 + 12 * 22 + 5;
    BinaryIndexer writer;
    writer.setOption(Indexer::DeleteOnClose, L"no");
    ASSERT_EQ(writer.create(wpath(), {videoTrack()}), OK);
    for (unsigned i = 0; i < 20; ++i)
        ASSERT_EQ(writer.add(0, i, entryFor(i)), OK);
    writer.close();
    EXPECT_EQ(sizeOf(), 512u + 12 * 22 + 5);
    auto follower = reader();
    ASSERT_EQ(follower->open(wpath()), OK);
    ASSERT_EQ(follower->getNumEntries(), 12u);
    IndexEntry entry;
    ASSERT_EQ(follower->get(0, 11, entry), OK);
    EXPECT_EQ(+entry.offset, entryFor(11).offset);
}

// Closing flushes every row on its own; the block size comes back for the
// next file that the indexer creates.
TEST_F(BinaryIndexerTest, AClosedAndReusedIndexerWritesInBlocksAgain)
{
    BinaryIndexer writer;
    writer.setOption(Indexer::DeleteOnClose, L"no");
    ASSERT_EQ(writer.create(wpath("first.cvindex"), {videoTrack()}), OK);
    for (unsigned i = 0; i < 5; ++i)
        ASSERT_EQ(writer.add(0, i, entryFor(i)), OK);
    writer.close();
    EXPECT_EQ(sizeOf("first.cvindex"), 512u + 5 * 22);

    ASSERT_EQ(writer.create(wpath(), {videoTrack()}), OK);
    for (unsigned i = 0; i < 29; ++i)
        ASSERT_EQ(writer.add(0, i, entryFor(i)), OK);
    EXPECT_EQ(sizeOf(), 512u) << "rows wait for their block of 30";
    ASSERT_EQ(writer.add(0, 29, entryFor(29)), OK);
    EXPECT_EQ(sizeOf(), 512u + 30 * 22);
    writer.close();
}

// A random get reads a window of rows around the sample, not a megabyte
// from it on; stepping back from there, as the key-frame search does, reads
// each row about once rather than a refill per step.
TEST_F(BinaryIndexerTest, RandomAndBackwardGetsReadWhatTheyNeed)
{
    const unsigned rows = 120000; // 2.6 MB of rows
    {
        SidecarBytes bytes;
        for (unsigned i = 0; i < rows; ++i)
            bytes.record(1000ull * i, 1000, FramePredicted, i, i);
        writeFile(path(), bytes.bytes());
    }
    FaultyFiles counting;
    Faults& counts = counting.faults();
    auto follower = reader();
    ASSERT_EQ(follower->open(wpath()), OK);

    IndexEntry entry;
    uint64_t before = counts.bytesRead;
    ASSERT_EQ(follower->get(0, 100000, entry), OK);
    EXPECT_EQ(+entry.decodeIndex, 100000u);
    EXPECT_LE(counts.bytesRead - before, 16384u) << "one small read for a random get";
    ASSERT_EQ(follower->get(0, 100000 - 64, entry), OK);
    ASSERT_EQ(follower->get(0, 100000 + 64, entry), OK);
    EXPECT_LE(counts.bytesRead - before, 16384u) << "the window reaches round the sample";

    // 3,000 rows back, one at a time.
    before = counts.bytesRead;
    uint64_t reads = counts.reads;
    for (unsigned i = 100000; i-- > 97000;) {
        ASSERT_EQ(follower->get(0, i, entry), OK);
        ASSERT_EQ(+entry.decodeIndex, i);
    }
    EXPECT_LE(counts.bytesRead - before, 4u * 3000 * 22) << "a row is read about once on the way back";
    EXPECT_LE(counts.reads - reads, 12u);

    // In order, forward, as playback reads: the reads grow to the cache size.
    before = counts.bytesRead;
    reads = counts.reads;
    for (unsigned i = 0; i < rows; ++i) {
        ASSERT_EQ(follower->get(0, i, entry), OK);
        ASSERT_EQ(+entry.decodeIndex, i);
    }
    EXPECT_LE(counts.bytesRead - before, 2u * rows * 22);
    EXPECT_LE(counts.reads - reads, 20u);
}

TEST_F(BinaryIndexerTest, SelfCheckStopsAtTheDeletedFile)
{
    std::wstring error;
    EXPECT_EQ(BinaryIndexer::test(m_dir.wfile("").substr(0, m_dir.wfile("").size() - 1), error), FileNotFound);
    EXPECT_EQ(error, L"File not found");
}

} // namespace
