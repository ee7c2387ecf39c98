#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <random>
#include <vector>

#include "quicktime/MovieBytes.h"
#include "quicktime/QtReaderFixture.h"
#include "support/ReaderExerciser.h"
#include "support/TestMedia.h"

using namespace movie_bytes;
using Corvidane::IndexEntry;

// Damaged and hostile files: every answer is a result and a text, never a
// crash, an out-of-bounds read, an endless loop or a count-sized allocation.
namespace {

// Every query of the contract, on every stream, for a bounded number of samples.
void askEverything(Corvidane::MediaFileReader& reader)
{
    ExerciseLimits limits;
    limits.maxSamples = 300;
    exerciseReader(reader, limits);
}

// A small movie with everything the reader looks at: an edit, stss, ctts,
// stps, sdtp, a second track of PCM, keyed metadata and user data.
std::string richMovie(bool moovFirst)
{
    std::string payload;
    Track video;
    for (int i = 0; i < 12; ++i) {
        video.sizes.push_back(20 + uint32_t(i));
        payload += std::string(20 + size_t(i), char('A' + i));
    }
    Track audio;
    audio.handler = "soun";
    audio.timeScale = 48000;
    audio.sampleDuration = 1;
    audio.sampleEntry = atom("twos", std::string(6, '\0') + be16(1) + be16(0) + be16(0) + be32(0) + be16(2) +
                                         be16(16) + be16(0) + be16(0) + be32(48000u << 16));
    audio.sizes.assign(64, 1);
    audio.constantSize = 1;
    audio.chunkRuns = {1, 32, 1};
    std::string movie;
    for (int pass = 0; pass < 2; ++pass) {
        uint64_t base = moovFirst ? 20 + movie.size() + 8 : mdatPayloadOffset;
        video.chunkOffsets.clear();
        uint64_t at = base;
        for (uint32_t size : video.sizes)
            video.chunkOffsets.push_back(at), at += size;
        audio.chunkOffsets = {at, at + 128};
        std::vector<uint32_t> ctts;
        for (int i = 0; i < 12; ++i)
            ctts.push_back(1), ctts.push_back(i % 3 == 0 ? 2000 : uint32_t(-1000));
        video.extraTables = table("stss", {1, 7}, 2) + table("stps", {4, 10}, 2) + table("ctts", ctts, 12) +
                            fullAtom("sdtp", 0, std::string(12, '\x18'));
        video.edits = fullAtom("elst", 0, be32(1) + be32(480) + be32(2000) + be32(0x10000));
        std::string keys = fullAtom("keys", 0, be32(1) + be32(9) + "mdta" + "k");
        std::string meta = atom("meta", keys + atom("ilst", be32(25) + be32(1) + atom("data", be32(1) + be32(0) + "v")));
        std::string udta = atom("udta", atom("\xa9" "cmt", be16(2) + be16(0) + "hi"));
        movie = moov(trak(video, 1) + trak(audio, 2) + meta + udta);
    }
    payload += std::string(256, '\x11');
    if (!moovFirst)
        return file(payload, movie);
    return atom("ftyp", "qt  " + be32(0) + "qt  ") + movie + atom("mdat", payload);
}

class QuickTimeHostileInput : public QtReaderFixture {
protected:
    // Every prefix must open with a text or fail with a text.
    void openEveryPrefix(const std::string& whole, size_t from, size_t step)
    {
        for (size_t length = from; length < whole.size(); length += step) {
            auto opened = open(whole.substr(0, length));
            if (opened.ok())
                askEverything(*opened.reader);
            else
                EXPECT_GT(opened.error().size(), 0u) << "prefix of " << length << " bytes";
        }
    }
};

TEST_F(QuickTimeHostileInput, EveryPrefixOfASmallMovieFailsCleanlyOrReads)
{
    std::string tail = richMovie(false);
    std::string head = richMovie(true);
    {
        auto whole = open(tail);
        ASSERT_TRUE(whole.ok()) << whole.error();
        ASSERT_EQ(whole.reader->get_StreamCount(), 2);
        askEverything(*whole.reader);
        auto first = open(head);
        ASSERT_TRUE(first.ok()) << first.error();
        ASSERT_EQ(first.reader->essenceOpen(0), OK);
        IndexEntry entry;
        ASSERT_EQ(first.reader->getIndexEntry(0, entry), OK);
    }
    openEveryPrefix(tail, 0, 1);
    openEveryPrefix(head, 0, 1);
    // The movie atom's header is found; the atom itself can't be read whole.
    auto cut = open(tail.substr(0, tail.size() - 1));
    EXPECT_EQ(cut.load, HandleEOF);
    EXPECT_NE(cut.error().find(L"Failed to read moov chunk. "), std::wstring::npos) << cut.error();
    auto headless = open(tail.substr(0, tail.rfind("moov") + 2));
    EXPECT_EQ(headless.load, Unexpected) << "a header cut at the window's end";
}

TEST_F(QuickTimeHostileInput, EveryPrefixOfAnFfmpegMovieAroundItsMovieAtom)
{
    std::string whole = readFile(testMedia("h264_only.m4v"));
    size_t moov = whole.rfind("moov") - 4;
    openEveryPrefix(whole, 0, 997);
    openEveryPrefix(whole, moov - 16, 1);
}

// Fragmented: prefixes that cut the file inside a moof, inside an mdat, and
// inside the random access tables at its end (whose mfro then lies).
TEST_F(QuickTimeHostileInput, EveryPrefixOfAFragmentedMovie)
{
    std::string whole = readFile(testMedia("frag_empty_moov.mp4"));
    size_t firstMoof = whole.find("moof") - 4;
    size_t mfra = whole.rfind("mfra") - 4;
    openEveryPrefix(whole, 0, 1499);
    openEveryPrefix(whole.substr(0, firstMoof + 400), firstMoof - 8, 1);
    openEveryPrefix(whole, mfra - 4, 3);
}

TEST_F(QuickTimeHostileInput, TopLevelLengthsThatCannotBeWalked)
{
    auto zero = open(be32(0) + "ftyp" + std::string(64, '\0') + moov(""));
    EXPECT_EQ(zero.load, Unexpected);
    EXPECT_NE(zero.error().find(L"Failed to find 'moov' chunk."), std::wstring::npos) << zero.error();

    // A length of 1 with no 64-bit length behind it, at the file's end.
    auto shortWide = open(atom("ftyp", "qt  ") + be32(1) + "mdat");
    EXPECT_EQ(shortWide.load, Unexpected);

    auto pastEnd = open(atom("ftyp", "qt  ") + be32(100000) + "mdat" + "tail");
    EXPECT_FALSE(isSuccess(pastEnd.load));
    EXPECT_NE(pastEnd.error().find(L"Failed to find 'moov' chunk."), std::wstring::npos);

    auto tiny = open(atom("ftyp", "qt  ") + be32(3) + "free" + moov(""));
    EXPECT_FALSE(isSuccess(tiny.load)) << "a length shorter than a header";

    auto empty = open("");
    EXPECT_FALSE(isSuccess(empty.load));
    EXPECT_GT(empty.error().size(), 0u);
}

TEST_F(QuickTimeHostileInput, ChildrenThatRunPastTheirParentsAndHugeCounts)
{
    Track t;
    t.sizes = {4, 4};
    t.chunkOffsets = {mdatPayloadOffset, mdatPayloadOffset + 4};
    std::string good = moov(trak(t));
    for (const char* type : {"stsz", "stco", "stts", "ctts", "stsc", "stss", "stsd", "mdhd", "tkhd", "hdlr", "trak"}) {
        SCOPED_TRACE(type);
        std::string movie = good;
        if (std::string(type) == "ctts" || std::string(type) == "stss") {
            Track more = t;
            more.extraTables = table(type, {1, 1}, 1);
            movie = moov(trak(more));
        }
        size_t at = movie.find(type) - 4;
        // A huge count, then a length that runs past the movie atom.
        std::string huge = movie;
        std::string count = be32(0xFFFFFFF0);
        size_t countAt = at + (std::string(type) == "stsz" ? 16 : 12);
        huge.replace(countAt, 4, count);
        auto opened = open(file("dataDATA", huge));
        if (opened.ok())
            askEverything(*opened.reader);
        std::string overlong = movie;
        overlong.replace(at, 4, be32(0x7FFFFFF0));
        auto past = open(file("dataDATA", overlong));
        if (past.ok())
            askEverything(*past.reader);
        std::string tiny = movie;
        tiny.replace(at, 4, be32(9));
        auto shortAtom = open(file("dataDATA", tiny));
        if (shortAtom.ok())
            askEverything(*shortAtom.reader);
    }
}

TEST_F(QuickTimeHostileInput, BillionsOfFramesInRunLengthTablesAreCountedAtOnce)
{
    // Four billion frames of one unit, one size and one composition offset,
    // with edits that start and end deep inside them: counting the frames and
    // placing them in display order looks at a few frames, not at all of them.
    Track t;
    t.sizes = {4, 4};
    t.constantSize = 4;
    t.chunkOffsets = {mdatPayloadOffset, mdatPayloadOffset + 4};
    t.timeRuns = {0xFFFFFFF0, 1};
    t.extraTables = table("ctts", {0xFFFFFFF0, 2}, 1) + table("stss", {1, 0x7FFFF000}, 2);
    for (uint32_t mediaTime : {0u, 0x80000000u}) {
        // From the key frame before the edit to the last frame shown, at
        // its decode time plus 2, before the edit's second ends.
        const uint64_t firstKey = mediaTime ? 0x7FFFF000 - 1 : 0;
        const uint64_t frames = uint64_t(mediaTime) + 25000 - 2 - firstKey;
        SCOPED_TRACE(mediaTime);
        t.edits = fullAtom("elst", 0, be32(1) + be32(1000) + be32(mediaTime) + be32(0x10000));
        std::string movie = moov(trak(t));
        movie.replace(movie.find("stsz") + 12, 4, be32(0xFFFFFFF0));
        auto opened = open(file("dataDATA", movie));
        ASSERT_TRUE(opened.ok()) << opened.error();
        auto& reader = *opened.reader;
        ASSERT_EQ(reader.essenceOpen(0), OK);
        EXPECT_EQ(reader.get_Length(0), frames);
        askEverything(reader);
    }
}

TEST_F(QuickTimeHostileInput, RandomDamageNeverCrashes)
{
    std::string whole = richMovie(false);
    std::mt19937 random(20261121);
    for (int round = 0; round < 1500; ++round) {
        std::string damaged = whole;
        int flips = 1 + int(random() % 4);
        for (int i = 0; i < flips; ++i)
            damaged[random() % damaged.size()] = char(random());
        auto opened = open(damaged);
        if (opened.ok())
            askEverything(*opened.reader);
    }
}

TEST_F(QuickTimeHostileInput, MovieAtomsAtAndAboveTheSizeLimit)
{
    auto make = [&](uint32_t length) {
        std::string path = m_dir.file("large.mov");
        {
            std::ofstream out(path, std::ios::binary | std::ios::trunc);
            std::string head = atom("ftyp", "qt  ") + be32(length) + "moov";
            out.write(head.data(), std::streamsize(head.size()));
        }
        std::filesystem::resize_file(path, 16 + uint64_t(length));
        return path;
    };
    auto refused = openPath(make(65000000));
    EXPECT_EQ(refused.load, Fail);
    EXPECT_NE(refused.error().find(L"'moov' chunk is too large."), std::wstring::npos) << refused.error();
    Corvidane::QuickTime::FileReader reader;
    EXPECT_EQ(reader.loadFile(Corvidane::fromUtf8(make(64999999)), iFile::Unbuffered), OK);
    EXPECT_EQ(reader.moovSize(), 64999999u);
    EXPECT_EQ(reader.parseMetadata(), OK) << "a movie atom of zeros holds no tracks";
    EXPECT_EQ(reader.get_StreamCount(), 0);
}

TEST_F(QuickTimeHostileInput, ParseWithoutALoadedFile)
{
    Corvidane::QuickTime::FileReader reader;
    EXPECT_EQ(reader.parseMetadata(), Unexpected);
    EXPECT_NE(std::wstring(reader.getLastError()).find(L"no file loaded."), std::wstring::npos);
    auto missing = openPath(m_dir.file("absent.mov"));
    EXPECT_FALSE(isSuccess(missing.load));
    EXPECT_NE(missing.error().find(L"Failed to open file."), std::wstring::npos);
}

} // namespace
