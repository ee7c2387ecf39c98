#include <gtest/gtest.h>

#include "quicktime/MovieBytes.h"
#include "quicktime/atoms/IndexList.h"
#include "quicktime/atoms/SampleTables.h"
#include "support/DriverFixture.h"
#include "support/TempDir.h"

using namespace movie_bytes;
using namespace Corvidane::QuickTime;

namespace {

const unsigned char* bytes(const std::string& s) { return reinterpret_cast<const unsigned char*>(s.data()); }

class QuickTimeSampleTables : public DriverFixture {
protected:
    // A file with some bytes in front of a table atom, which a list then reads
    // as it would inside a movie atom.
    std::wstring writeTable(const std::string& table, uint64_t& offset)
    {
        std::string lead(1000, 'L');
        offset = lead.size();
        writeFile(m_dir.file("table.mov"), lead + table);
        return m_dir.wfile("table.mov");
    }
    TempDir m_dir;
};

TEST_F(QuickTimeSampleTables, PerSampleSizesArePagedInFromTheFile)
{
    std::vector<uint32_t> sizes;
    for (uint32_t i = 0; i < 40000; ++i)
        sizes.push_back(i * 3 + 1);
    std::string stsz = fullAtom("stsz", 0, be32(0) + be32(40000) + [&] {
        std::string words;
        for (uint32_t size : sizes)
            words += be32(size);
        return words;
    }());
    uint64_t offset = 0;
    std::wstring path = writeTable(stsz, offset);
    SampleSizeList list(path, offset);
    list.fromData(bytes(stsz), stsz.size());
    EXPECT_EQ(list.getEntriesOnDisk(), 40000u);
    EXPECT_EQ(list.get_SampleSize(14999), 14999u * 3 + 1) << "the first page";
    EXPECT_EQ(list.get_SampleSize(15000), 15000u * 3 + 1) << "a page fault";
    EXPECT_EQ(list.get_SampleSize(13125), 13125u * 3 + 1) << "a page starts behind the entry that faulted it";
    EXPECT_EQ(list.get_SampleSize(39999), 39999u * 3 + 1);
    EXPECT_EQ(list.get_SampleSize(5), 16u) << "back to the start";
    EXPECT_EQ(list.get_SampleSize(40000), 0u) << "past the table";
    EXPECT_EQ(list.loadFromDisk(40000), HandleEOF);
    EXPECT_EQ(list.get_SampleSize(6), 19u) << "a failed fault leaves the page alone";
    EXPECT_EQ(list.largestSampleSize(), 39999u * 3 + 1);
}

TEST_F(QuickTimeSampleTables, TableCutShortByTheFileEndGivesZerosPastItsEnd)
{
    std::string words;
    for (uint32_t i = 0; i < 20000; ++i)
        words += be32(i + 1);
    std::string stco = fullAtom("stco", 0, be32(20000) + words);
    uint64_t offset = 0;
    std::wstring path = writeTable(stco.substr(0, 16 + 4 * 17000), offset);
    ChunkOffsetList list(path, offset);
    list.fromData(bytes(stco), stco.size());
    EXPECT_EQ(list.get_Item(16999), 17000u);
    EXPECT_EQ(list.get_Item(17000), 0u);
    unsigned value = 7;
    EXPECT_FALSE(list.getItem(19999, value));
}

TEST_F(QuickTimeSampleTables, ConstantSizeAnswersEveryIndex)
{
    std::string stsz = fullAtom("stsz", 0, be32(1234) + be32(100));
    SampleSizeList list(L"unused", 0);
    list.fromData(bytes(stsz), stsz.size());
    EXPECT_TRUE(list.isFixedSampleSize());
    EXPECT_EQ(list.get_SampleSize(0), 1234u);
    EXPECT_EQ(list.get_SampleSize(500), 1234u);
}

TEST(QuickTimeRunTables, LookupsFindTheirRuns)
{
    std::string stts = fullAtom("stts", 0, be32(3) + be32(2) + be32(10) + be32(3) + be32(20) + be32(1) + be32(5));
    Time2SampleList times;
    times.fromData(bytes(stts), stts.size());
    EXPECT_EQ(times.getSampleTime(0), 0u);
    EXPECT_EQ(times.getSampleTime(3), 40u);
    EXPECT_EQ(times.getSampleTime(5), 80u);
    EXPECT_EQ(times.getSampleTime(6), 0u) << "past the table";
    EXPECT_EQ(times.getSampleDuration(4), 20u);
    EXPECT_EQ(times.totalDuration(), 85u);

    std::string ctts = fullAtom("ctts", 0, be32(2) + be32(2) + be32(uint32_t(-5)) + be32(1) + be32(7));
    CTTSList offsets;
    offsets.fromData(bytes(ctts), ctts.size());
    EXPECT_EQ(int32_t(offsets.getSampleOffset(1)), -5);
    EXPECT_EQ(offsets.getSampleOffset(2), 7u);
    EXPECT_EQ(offsets.getSampleOffset(3), 0xFFFFFFFFu);
    offsets.fix();
    EXPECT_EQ(offsets.getSampleOffset(0), 0u);
    EXPECT_EQ(offsets.getSampleOffset(2), 12u);

    // Runs of 4 samples in chunks 1 and 2, then 1 sample a chunk to chunk 5.
    std::string stsc = fullAtom("stsc", 0, be32(2) + be32(1) + be32(4) + be32(1) + be32(3) + be32(1) + be32(1));
    Sample2ChunkList chunks;
    chunks.fromData(bytes(stsc), stsc.size());
    uint64_t chunk = 0;
    uint32_t index = 0, inChunk = 0;
    ASSERT_TRUE(chunks.locate(6, 5, chunk, index, inChunk));
    EXPECT_EQ(chunk, 1u);
    EXPECT_EQ(index, 2u);
    EXPECT_EQ(inChunk, 4u);
    ASSERT_TRUE(chunks.locate(10, 5, chunk, index, inChunk));
    EXPECT_EQ(chunk, 4u);
    EXPECT_FALSE(chunks.locate(11, 5, chunk, index, inChunk)) << "past the last chunk";

    std::string empty = fullAtom("stsc", 0, be32(0));
    Sample2ChunkList none;
    none.fromData(bytes(empty), empty.size());
    EXPECT_FALSE(none.locate(0, 5, chunk, index, inChunk));
    std::string zeroRun = fullAtom("stsc", 0, be32(1) + be32(1) + be32(0) + be32(1));
    Sample2ChunkList zero;
    zero.fromData(bytes(zeroRun), zeroRun.size());
    EXPECT_FALSE(zero.locate(0, 5, chunk, index, inChunk)) << "a run of no samples a chunk holds none";
}

} // namespace
