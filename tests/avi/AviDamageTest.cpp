// AVI files with patched, removed or damaged indexes and headers: each is
// read as far as it can be, or refused with its text, never a crash.
#include <gtest/gtest.h>

#include <functional>

#include "avi/AviTestSupport.h"
#include "avi/FileReader.h"
#include "support/AviFixture.h"
#include "support/DriverFixture.h"
#include "support/MemoryFiles.h"
#include "support/ReaderExerciser.h"
#include "support/TempDir.h"

using namespace AviTest;
using AviFixture::fourcc;
using Corvidane::IndexEntry;

namespace {

std::string readAll(const std::string& path) { return readFile(path); }

class AviDamage : public DriverFixture {
protected:
    CvResult load(const std::string& bytes)
    {
        writeFile(m_dir.file("damaged.avi"), bytes);
        m_reader = std::make_unique<Corvidane::Avi::FileReader>();
        return m_reader->loadFile(m_dir.wfile("damaged.avi"), iFile::Unbuffered);
    }
    std::string error() const
    {
        const wchar_t* text = m_reader->getLastError();
        return std::string(text, text + std::wcslen(text));
    }
    bool errorHas(const char* text) const { return error().find(text) != std::string::npos; }

    std::string readFrame(unsigned frame)
    {
        unsigned offset = 0, size = 0;
        CvResult result = m_reader->essenceRead(frame, 1, m_buffer.data(), unsigned(m_buffer.size()), offset, size);
        if (result != OK)
            return "error " + std::to_string(result);
        return std::string(reinterpret_cast<const char*>(m_buffer.data()) + offset, size);
    }

    TempDir m_dir;
    std::unique_ptr<Corvidane::Avi::FileReader> m_reader;
    std::vector<unsigned char> m_buffer = std::vector<unsigned char>(4 << 20);
};

TEST_F(AviDamage, Idx1WithAbsoluteOffsetsPointsAtTheSameData)
{
    std::string original = readAll(testMedia("avi_mjpeg_pcm16.avi"));
    std::string patched = original;
    AviFixture::makeIdx1Absolute(patched);
    ASSERT_EQ(load(original), OK);
    ASSERT_EQ(m_reader->essenceOpen(0), OK);
    std::vector<IndexEntry> relative(50);
    std::vector<std::string> frames(50);
    for (unsigned i = 0; i < 50; ++i) {
        ASSERT_EQ(m_reader->getIndexEntry(i, relative[i]), OK);
        frames[i] = readFrame(i);
    }
    ASSERT_EQ(load(patched), OK);
    ASSERT_EQ(m_reader->essenceOpen(0), OK);
    for (unsigned i = 0; i < 50; ++i) {
        IndexEntry absolute;
        ASSERT_EQ(m_reader->getIndexEntry(i, absolute), OK);
        EXPECT_EQ(+absolute.offset, +relative[i].offset) << i;
        // Absolute entries are taken to count their chunk head in the length.
        EXPECT_EQ(+absolute.size, +relative[i].size - 8) << i;
        EXPECT_EQ(readFrame(i), frames[i].substr(0, frames[i].size() - 8)) << i;
    }
    EXPECT_GT(exerciseReader(*m_reader), 50u);
}

TEST_F(AviDamage, OpenDmlWithoutIdx1ReadsThroughItsIndexes)
{
    AviFixture::OpenDmlFile file = AviFixture::makeOpenDml({40, 12});
    AviFixture::removeChunks(file.bytes, fourcc("idx1"));
    ASSERT_EQ(load(file.bytes), OK);
    std::string path = m_dir.file("damaged.avi");
    std::vector<Packet> ours = cvtoolPackets(path), theirs = ffprobePackets(path);
    ASSERT_EQ(ofStream(ours, 0).size(), 40u);
    for (size_t i = 0; i < 40; ++i)
        EXPECT_EQ(ofStream(ours, 0)[i].hash, ofStream(theirs, 0)[i].hash) << i;
    EXPECT_EQ(totalBytes(ofStream(ours, 1)), totalBytes(ofStream(theirs, 1)));
}

TEST_F(AviDamage, OpenDmlWithoutSuperIndexReadsTheFirstRiffFromIdx1)
{
    AviFixture::OpenDmlFile file = AviFixture::makeOpenDml({40, 12});
    AviFixture::removeChunks(file.bytes, fourcc("indx"));
    ASSERT_EQ(load(file.bytes), OK);
    ASSERT_EQ(m_reader->essenceOpen(0), OK);
    for (unsigned i = 0; i < 12; ++i)
        EXPECT_EQ(readFrame(i), file.bytes.substr(file.video[i].offset, file.video[i].size)) << i;
    IndexEntry entry;
    EXPECT_EQ(m_reader->getIndexEntry(12, entry), Fail);
    EXPECT_TRUE(errorHas("Failed to find superindex.")) << error();
    EXPECT_EQ(readFrame(12), "error 2");

    int status = 0;
    std::string output;
    cvtoolPackets(m_dir.file("damaged.avi"), &status, &output);
    EXPECT_NE(status, 0);
    EXPECT_NE(output.find("no index entry for sample 12"), std::string::npos) << output;
}

TEST_F(AviDamage, FileCutInsideMovi)
{
    // A classic file loses its idx1 with its tail: its chunks are read as
    // they lie, each whole one, as ffprobe reads them (which also gives what
    // the cut left of the last one).
    std::string original = readAll(testMedia("avi_mjpeg_pcm16.avi"));
    const size_t half = original.size() / 2;
    ASSERT_EQ(load(original.substr(0, half)), OK);
    ASSERT_EQ(m_reader->essenceOpen(0), OK) << error();
    std::vector<Packet> ours = cvtoolPackets(m_dir.file("damaged.avi")),
                        theirs = ffprobePackets(m_dir.file("damaged.avi"));
    ASSERT_GT(ofStream(theirs, 0).size(), 10u);
    ASSERT_LT(ofStream(theirs, 0).size(), 50u);
    ASSERT_EQ(ofStream(ours, 0).size(), ofStream(theirs, 0).size());
    for (size_t i = 0; i < ofStream(ours, 0).size(); ++i)
        EXPECT_EQ(ofStream(ours, 0)[i].hash, ofStream(theirs, 0)[i].hash) << i;
    const std::vector<Packet> theirSound = ofStream(theirs, 1);
    ASSERT_FALSE(theirSound.empty());
    const bool cutShort = theirSound.back().pos + theirSound.back().size == half;
    EXPECT_EQ(totalBytes(ofStream(ours, 1)), totalBytes(theirSound) - (cutShort ? theirSound.back().size : 0));

    // With no chunk whole behind the header, there is nothing to read: the
    // editor is refused the file with the reader's text.
    const size_t movi = original.find("movi");
    ASSERT_EQ(load(original.substr(0, movi + 4 + 8 + 10)), OK);
    EXPECT_EQ(m_reader->essenceOpen(0), Fail);
    EXPECT_TRUE(errorHas("No index table.")) << error();
    int status = 0;
    std::string output;
    cvtoolPackets(m_dir.file("damaged.avi"), &status, &output);
    EXPECT_EQ(status, 1);
    EXPECT_NE(output.find("Halcyonics reader API error  No index table."), std::string::npos) << output;
    EXPECT_NE(output.find("the plug-in can't open this file"), std::string::npos) << output;

    // An OpenDML file keeps what its indexes still reach.
    AviFixture::OpenDmlFile file = AviFixture::makeOpenDml({40, 10});
    uint64_t cut = file.video[25].offset + 3;
    ASSERT_EQ(load(file.bytes.substr(0, cut)), OK);
    ASSERT_EQ(m_reader->essenceOpen(0), OK);
    for (unsigned i = 0; i < 25; ++i)
        EXPECT_EQ(readFrame(i), file.bytes.substr(file.video[i].offset, file.video[i].size)) << i;
    EXPECT_EQ(readFrame(25), "error 2");
    EXPECT_TRUE(errorHas("FileReader::ReadVideo: Frame[25] Failed to read from disk. ")) << error();
    EXPECT_EQ(readFrame(31), "error 2");
    EXPECT_TRUE(errorHas("Failed to read indx data.")) << error();

    // With its standard indexes behind the data, a cut first RIFF has none.
    file = AviFixture::makeOpenDml({40, 10, 0, true, false});
    ASSERT_EQ(load(file.bytes.substr(0, file.video[5].offset)), OK);
    EXPECT_EQ(m_reader->essenceOpen(0), Fail);
    EXPECT_TRUE(errorHas("Failed to read indx data.")) << error();
}

TEST_F(AviDamage, TypeOneDvIsRefused)
{
    std::string bytes = readAll(testMedia("avi_dv_pal.avi"));
    AviFixture::setStreamType(bytes, 0, fourcc("iavs"));
    EXPECT_EQ(load(bytes), Fail);
    EXPECT_TRUE(errorHas("type 1 AVI unsupported.")) << error();
    int status = 0;
    std::string output;
    cvtoolPackets(m_dir.file("damaged.avi"), &status, &output);
    EXPECT_EQ(status, 1);
    EXPECT_NE(output.find("CvWrappers: Failed to open source file"), std::string::npos) << output;
    EXPECT_NE(output.find("type 1 AVI unsupported."), std::string::npos) << output;
}

TEST_F(AviDamage, HeaderFaultsAreRefusedWithTheirTexts)
{
    std::string good = readAll(testMedia("avi_mjpeg_pcm16.avi"));
    size_t avih = AviFixture::findChunks(good, fourcc("avih"))[0];
    size_t audioFormat = AviFixture::findChunks(good, fourcc("strf"))[1];
    struct Case {
        const char* text;
        CvResult result;
        std::function<void(std::string&)> damage;
    };
    std::vector<Case> cases = {
        {"Failed to open file, zero length.", InvalidState, [](std::string& b) { b.clear(); }},
        {"File is not an avi file.", Fail, [](std::string& b) { b[3] = 'X'; }},
        {"File is not an avi file.", Fail, [](std::string& b) { b.resize(10); }},
        {"Failed to find hdrl chunk.", Fail, [](std::string& b) { b[20] = 'x'; }},
        {"'hdrl' chunk is too large.", Fail, [](std::string& b) { AviFixture::writeLE32(b, 16, 0x100000); }},
        {"No streams found in header.", Fail, [&](std::string& b) { AviFixture::writeLE32(b, avih + 8 + 24, 0); }},
        {"Stream array is null.", Fail, [&](std::string& b) { AviFixture::writeLE32(b, avih, fourcc("JUNK")); }},
        {"Invalid size for wav format data.", Fail,
         [&](std::string& b) { AviFixture::writeLE32(b, audioFormat + 4, 10); }},
    };
    for (const Case& c : cases) {
        std::string bytes = good;
        c.damage(bytes);
        EXPECT_EQ(load(bytes), c.result) << c.text;
        EXPECT_TRUE(errorHas(c.text)) << c.text << ": " << error();
    }
    m_reader = std::make_unique<Corvidane::Avi::FileReader>();
    EXPECT_NE(m_reader->loadFile(m_dir.wfile("missing.avi"), iFile::Unbuffered), OK);
    EXPECT_TRUE(errorHas("Failed to open file.")) << error();
    ASSERT_EQ(load(good), OK);
    EXPECT_EQ(m_reader->essenceOpen(2), InvalidArg);
    EXPECT_TRUE(errorHas("Invalid stream index.")) << error();
}

TEST_F(AviDamage, BrokenSuperIndexFallsBackToIdx1)
{
    const AviFixture::OpenDmlFile file = AviFixture::makeOpenDml({30, 10});
    const size_t indx = AviFixture::findChunks(file.bytes, fourcc("indx"))[0];
    struct Case {
        const char* text;
        std::function<void(std::string&)> damage;
    };
    std::vector<Case> cases = {
        {"INDX chunk size was invalid.", [&](std::string& b) { AviFixture::writeLE32(b, indx + 4, 40); }},
        {"INDX chunk size was invalid2.", [&](std::string& b) { AviFixture::writeLE32(b, indx + 12, 0x10000000); }},
        {"INDX chunk wLongsPerEntry was not 4.", [&](std::string& b) { b[indx + 8] = 2; }},
        {"INDX chunk bIndexSubType was not zero which is not supported.", [&](std::string& b) { b[indx + 11] = 1; }},
        {"INDX chunk referenced invalid stream index.", [&](std::string& b) { b[indx + 17] = '7'; }},
        {"INDX chunk bIndexSubType was not a supported value.", [&](std::string& b) { b[indx + 10] = 5; }},
    };
    for (const Case& c : cases) {
        std::string bytes = file.bytes;
        c.damage(bytes);
        ASSERT_EQ(load(bytes), OK) << c.text;
        EXPECT_TRUE(errorHas(c.text)) << c.text << ": " << error();
        ASSERT_EQ(m_reader->essenceOpen(0), OK) << c.text << error();
        EXPECT_EQ(readFrame(9), file.bytes.substr(file.video[9].offset, file.video[9].size)) << c.text;
        EXPECT_EQ(readFrame(10), "error 2") << c.text;
    }
}

TEST_F(AviDamage, BrokenStandardIndexIsRefusedWithItsText)
{
    const AviFixture::OpenDmlFile file = AviFixture::makeOpenDml({30, 10});
    const size_t indx = AviFixture::findChunks(file.bytes, fourcc("indx"))[0];
    const size_t ix = AviFixture::readLE32(file.bytes, indx + 32);
    const size_t secondSize = ix + 32 + 8 + 4;
    struct Case {
        const char* text;
        std::function<void(std::string&)> damage;
    };
    std::vector<Case> cases = {
        {"A corrupt indx index entry was found.",
         [&](std::string& b) {
             uint32_t first = AviFixture::readLE32(b, ix + 32 + 4) & 0x7FFFFFFF;
             AviFixture::writeLE32(b, secondSize, first * 101);
         }},
        {"LoadINDX invalid entry size.", [&](std::string& b) { AviFixture::writeLE32(b, secondSize, 0x81000001u); }},
        {"LoadINDX Error: index type not AVI_INDEX_OF_CHUNKS", [&](std::string& b) { b[ix + 11] = 0; }},
        {"LoadINDX Error: unknown chunk type", [&](std::string& b) { b[ix + 10] = 3; }},
        {"Failed to read indx data.", [&](std::string& b) { AviFixture::writeLE32(b, indx + 32, 0x7FFFFFF0); }},
    };
    for (const Case& c : cases) {
        std::string bytes = file.bytes;
        c.damage(bytes);
        ASSERT_EQ(load(bytes), OK) << c.text;
        EXPECT_EQ(m_reader->essenceOpen(0), Fail) << c.text;
        EXPECT_TRUE(errorHas(c.text)) << c.text << ": " << error();
    }
    // A size up to a hundred times the one before is still a size.
    std::string bytes = file.bytes;
    uint32_t first = AviFixture::readLE32(bytes, ix + 32 + 4) & 0x7FFFFFFF;
    AviFixture::writeLE32(bytes, secondSize, first * 100);
    ASSERT_EQ(load(bytes), OK);
    ASSERT_EQ(m_reader->essenceOpen(0), OK);
    IndexEntry entry;
    ASSERT_EQ(m_reader->getIndexEntry(1, entry), OK);
    EXPECT_EQ(+entry.size, first * 100);
}

TEST_F(AviDamage, EveryTruncationAndStompedWordIsSurvived)
{
    AviFixture::OpenDmlLayout layout;
    layout.frames = 24;
    layout.framesPerRiff = 7;
    const std::string odml = AviFixture::makeOpenDml(layout).bytes;
    layout.videoIndexSubType = 16;
    layout.frames = 21;
    const std::string ibp = AviFixture::makeOpenDml(layout).bytes;
    const std::string classic = readAll(testMedia("avi_mjpeg_pcm16.avi"));

    MemoryFiles memory;
    unsigned loaded = 0, refused = 0, samples = 0;
    auto attempt = [&](std::string bytes) {
        memory.put("/memory/damaged.avi", std::move(bytes));
        Corvidane::Avi::FileReader reader;
        if (reader.loadFile(L"/memory/damaged.avi", iFile::Unbuffered) != OK) {
            ++refused;
            EXPECT_NE(*reader.getLastError(), L'\0');
            return;
        }
        ++loaded;
        ExerciseLimits limits;
        limits.maxSamples = 64;
        samples += exerciseReader(reader, limits);
    };
    auto stompEach = [&](const std::string& source, size_t from, size_t to, size_t step, uint32_t value) {
        for (size_t at = from; at + 4 <= std::min(to, source.size()); at += step) {
            std::string bytes = source;
            AviFixture::writeLE32(bytes, at, value);
            attempt(std::move(bytes));
        }
    };
    for (const std::string* source : {&odml, &ibp}) {
        for (size_t length = 0; length < source->size(); length += 61)
            attempt(source->substr(0, length));
        for (uint32_t value : {0xFFFFFFFFu, 0x80000000u, 0u})
            stompEach(*source, 0, source->size(), 4, value);
    }
    // The header, the start of the data and idx1 of ffmpeg's file.
    size_t idx1 = AviFixture::findChunks(classic, fourcc("idx1"))[0];
    stompEach(classic, 0, 10200, 4, 0xFFFFFFFFu);
    stompEach(classic, idx1, classic.size(), 52, 0x7FFFFFFFu);
    EXPECT_GT(loaded, 0u);
    EXPECT_GT(refused, 0u);
    EXPECT_GT(samples, 0u);
}

} // namespace
