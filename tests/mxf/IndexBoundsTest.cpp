// Damaged partitions, random indexes and index segments fail cleanly, and
// the segment list answers as its rules say for many segments.
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "frame/BigEndian.h"
#include "frame/Text.h"
#include "mxf/model/IndexSegmentList.h"
#include "mxf/model/KlvBufferWalk.h"
#include "mxf/model/MxfResults.h"
#include "mxf/model/PartitionList.h"
#include "mxf/model/RipPack.h"
#include "mxf/read/IndexSegmentLoading.h"

using namespace Corvidane::MXF;
using Corvidane::Base;
using Corvidane::readBE16;
using Corvidane::writeBE32;

namespace {

using Bytes = std::vector<unsigned char>;

std::string lastError(const Base& report) { return Corvidane::convertString(report.getLastError()); }

// A file held in memory, for the index loader.
class BytesFile : public PositionedFile {
public:
    explicit BytesFile(Bytes bytes) : m_bytes(std::move(bytes)) {}
    using PositionedFile::read;
    size_t read(uint64_t position, void* buffer, size_t size) override
    {
        if (position >= m_bytes.size())
            return 0;
        size = std::min<uint64_t>(size, m_bytes.size() - position);
        std::copy_n(m_bytes.data() + position, size, static_cast<unsigned char*>(buffer));
        return size;
    }
    bool write(const void*, size_t) override { return false; }
    uint64_t getSize() const override { return m_bytes.size(); }

private:
    Bytes m_bytes;
};

// A pack of the kind given, written by the model.
CMxfPartitionPack packOf(int kind, uint32_t bodySID, uint64_t bodyOffset, uint64_t thisPartition)
{
    CMxfPartitionPack pack;
    pack.Create(kind, ClosedComplete, 1, bodySID, 0, CMxfOperationalPattern(), nullptr, 0);
    pack.bodyOffset = bodyOffset;
    pack.thisPartition = thisPartition;
    EXPECT_TRUE(pack.ToKlv());
    return pack;
}

std::unique_ptr<CMxf_IndexTable_Segment> segmentOf(int64_t start, int64_t duration, size_t entries = 0)
{
    auto segment = std::make_unique<CMxf_IndexTable_Segment>();
    segment->indexStartPosition = start;
    segment->indexDuration = duration;
    segment->indexSID = 2;
    segment->bodySID = 1;
    segment->indexEntries.resize(entries);
    return segment;
}

TEST(MxfPartitionList, DuplicateHeaderIsReportedAndKept)
{
    CMxfPartitionList list;
    Base report;
    CMxfPartitionPack header = packOf(PartitionHeader, 0, 0, 0);
    ASSERT_TRUE(list.addPartitionPack(header, report));
    EXPECT_STREQ(report.getLastError(), L"");
    ASSERT_TRUE(list.addPartitionPack(header, report));
    EXPECT_EQ(list.getNumPartitions(), 2u);
    EXPECT_NE(lastError(report).find("Failed to add partition, duplicate type: Header"), std::string::npos);

    // A body pack is appended without a word; a key that is no pack's is refused.
    Base quiet;
    EXPECT_TRUE(list.addPartitionPack(packOf(PartitionBody, 1, 0, 100), quiet));
    EXPECT_STREQ(quiet.getLastError(), L"");
    CKlvItem other;
    other.key = labelFromText("06.0E.2B.34.02.05.01.01.0D.01.02.01.01.05.01.00");
    EXPECT_FALSE(list.addPartitionPack(other, quiet));
    EXPECT_EQ(list.getNumPartitions(), 3u);
    EXPECT_FALSE(list.doesFooterHaveMetaData());
}

// With a lone pack there is no footer; the essence lies in the file unless
// the pattern says otherwise.
TEST(MxfPartitionList, HeaderAndFooterQueries)
{
    CMxfPartitionList list;
    Base report;
    EXPECT_FALSE(list.IsAllEssenceInFile());
    MXFUL pattern;
    EXPECT_FALSE(list.getOperationalPattern(pattern));
    CMxfPartitionPack header = packOf(PartitionHeader, 1, 0, 0);
    header.operationalPattern.setOP1A();
    header.headerByteCount = 4096;
    header.footerPartition = 9000;
    ASSERT_TRUE(header.ToKlv());
    ASSERT_TRUE(list.addPartitionPack(header, report));
    EXPECT_TRUE(list.doesHeaderHaveEssence());
    EXPECT_TRUE(list.doesHeaderHaveMetaData());
    EXPECT_FALSE(list.doesFooterHaveMetaData());
    EXPECT_EQ(list.getFooter_OverallLength(), 0u);
    EXPECT_EQ(list.getHeader_FooterPartition(), 9000u);
    EXPECT_EQ(list.getHeader_OverallLength(), 16u + header.length + CKlvItem::naturalBERSize(header.length));
    EXPECT_TRUE(list.isOp1a());
    EXPECT_TRUE(list.IsAllEssenceInFile());
    ASSERT_TRUE(list.getOperationalPattern(pattern));
    EXPECT_EQ(pattern, header.operationalPattern.label());
}

// Body offsets go to the last pack with essence that starts at or before
// them, before the first with essence that starts past them.
TEST(MxfPartitionList, EssencePartitionForBodyOffsets)
{
    CMxfPartitionList list;
    Base report;
    list.runIn = 10;
    ASSERT_TRUE(list.addPartitionPack(packOf(PartitionHeader, 0, 0, 0), report));
    for (uint64_t i = 0; i < 3000; ++i)
        ASSERT_TRUE(list.addPartitionPack(packOf(PartitionBody, 1, i * 1000, 5000 + i * 2000), report));
    ASSERT_TRUE(list.addPartitionPack(packOf(PartitionFooter, 0, 0, 9000000), report));
    for (uint64_t offset : {0ull, 999ull, 1000ull, 1234567ull, 2999999ull, 5000000ull}) {
        const CMxfPartitionPack* pack = list.essencePartitionForIndexOffset(offset);
        ASSERT_NE(pack, nullptr);
        const uint64_t expected = std::min<uint64_t>(offset / 1000, 2999);
        EXPECT_EQ(pack->bodyOffset, expected * 1000) << offset;
        EXPECT_EQ(list.indexOffsetToFileOffset(offset, 0),
                  offset - pack->bodyOffset + pack->thisPartition + 10 + pack->get_TotalLengthOfAllItems());
    }
    // A pack that goes back ends the search as a pack past the offset does.
    CMxfPartitionList odd;
    ASSERT_TRUE(odd.addPartitionPack(packOf(PartitionHeader, 0, 0, 0), report));
    ASSERT_TRUE(odd.addPartitionPack(packOf(PartitionBody, 1, 0, 100), report));
    ASSERT_TRUE(odd.addPartitionPack(packOf(PartitionBody, 1, 5000, 200), report));
    ASSERT_TRUE(odd.addPartitionPack(packOf(PartitionBody, 1, 2000, 300), report));
    EXPECT_EQ(odd.essencePartitionForIndexOffset(3000)->thisPartition, 100u);
    EXPECT_EQ(odd.essencePartitionForIndexOffset(6000)->thisPartition, 300u);
}

// A random index read from a buffer must end inside it: a length that
// claims more, or more than 8 bytes of BER length, fails before any record
// is read or any room is made.
TEST(MxfBounds, RandomIndexLengthsAreBoundedByTheBytesRead)
{
    Bytes rip = {0x06, 0x0E, 0x2B, 0x34, 0x02, 0x05, 0x01, 0x01, 0x0D, 0x01, 0x02, 0x01, 0x01, 0x11, 0x01, 0x00,
                 0x83, 0x00, 0x00, 16, 0, 0, 0, 1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 36};
    CRipPack pack;
    ASSERT_TRUE(pack.SetKLV(rip.data(), rip.size()));
    EXPECT_EQ(pack.entries.size(), 1u);
    EXPECT_EQ(pack.totalLength, 36u);

    Bytes huge = rip;
    huge[16] = 0x88;
    huge.insert(huge.begin() + 17, {0x7F, 0xFF, 0xFF, 0xFF, 0xFF});
    EXPECT_FALSE(pack.SetKLV(huge.data(), huge.size()));
    EXPECT_TRUE(pack.entries.empty());
    EXPECT_EQ(pack.count, 0);

    Bytes tooLongLength = rip;
    tooLongLength[16] = 0x89;
    tooLongLength.insert(tooLongLength.begin() + 17, 8, 0x00);
    EXPECT_FALSE(pack.SetKLV(tooLongLength.data(), tooLongLength.size()));
    EXPECT_FALSE(pack.SetKLV(rip.data(), 18));
}

// An index segment whose arrays claim counts far beyond their bytes keeps
// the entries it holds; a count in a batch sizes nothing.
TEST(MxfBounds, IndexArraysTakeOnlyWhatTheirBytesHold)
{
    CMxf_IndexTable_Segment written;
    written.indexDuration = 3;
    written.deltaEntries = {MXFDELTAENTRY{0, 0, 0}, MXFDELTAENTRY{0, 0, 512}};
    written.indexEntries.resize(3);
    Bytes set(written.toKlv(nullptr, 0));
    set.resize(written.toKlv(set.data(), set.size()));
    ASSERT_FALSE(set.empty());
    // Both batch counts say four billion.
    int damaged = 0;
    for (size_t at = 16; at + 8 < set.size(); ++at) {
        if (readBE16(set.data() + at) == 0x3F09 || readBE16(set.data() + at) == 0x3F0A) {
            writeBE32(set.data() + at + 4, 0xFFFFFFFFu);
            ++damaged;
        }
    }
    ASSERT_EQ(damaged, 2);
    CKlvBufferWalk walk(set.data(), set.size());
    CKlvItem item;
    ASSERT_TRUE(walk.next(item));
    CMxf_IndexTable_Segment read;
    EXPECT_TRUE(read.read(item));
    EXPECT_EQ(read.deltaEntries.size(), 2u);
    EXPECT_EQ(read.indexEntries.size(), 3u);
}

// A partition whose index reaches past the file, or holds an item that is
// no segment, fails with its text; a filler alone is no index.
TEST(MxfBounds, DamagedPartitionIndexesFailWithTheirTexts)
{
    CMxf_IndexTable_Segment segment;
    segment.editUnitByteCount = 1000;
    Bytes index(segment.toKlv(nullptr, 0));
    index.resize(segment.toKlv(index.data(), index.size()));
    ASSERT_FALSE(index.empty());

    CMxfPartitionPack pack = packOf(PartitionBody, 1, 0, 0);
    pack.indexSID = 2;
    pack.indexByteCount = index.size();
    ASSERT_TRUE(pack.ToKlv());
    Bytes file(16 + pack.lengthLength + pack.length, 0);
    ASSERT_GT(pack.ToStream(file.data(), int(file.size())), 0);
    pack.lengthLength = uint8_t(CKlvItem::naturalBERSize(pack.length));
    Bytes good = file;
    good.insert(good.end(), index.begin(), index.end());

    Base report;
    CMxf_IndexSegmentList::Segments out;
    BytesFile whole(good);
    EXPECT_EQ(indexTable_LoadSegmentsFromPartition(whole, 0, pack, out, report), OK);
    ASSERT_EQ(out.size(), 1u);
    EXPECT_EQ(out[0]->editUnitByteCount, 1000u);

    BytesFile cut(Bytes(good.begin(), good.end() - 1));
    EXPECT_EQ(indexTable_LoadSegmentsFromPartition(cut, 0, pack, out, report), InvalidArg);
    EXPECT_NE(lastError(report).find("Argument was invalid."), std::string::npos);

    Bytes other = good;
    other[file.size() + 13] = 0x7F;
    BytesFile otherFile(other);
    Base otherReport;
    EXPECT_EQ(indexTable_LoadSegmentsFromPartition(otherFile, 0, pack, out, otherReport), MxfNoIndexSegment);
    EXPECT_NE(lastError(otherReport).find("Failed to find start of index table segment."), std::string::npos);

    Bytes torn = good;
    torn[file.size() + 16] = 0x84;
    writeBE32(torn.data() + file.size() + 17, 0x7FFFFFFF);
    BytesFile tornFile(torn);
    Base tornReport;
    EXPECT_EQ(indexTable_LoadSegmentsFromPartition(tornFile, 0, pack, out, tornReport), Fail);
    EXPECT_NE(lastError(tornReport).find("Failed to set klv for index table segment."), std::string::npos);

    CMxfPartitionPack noIndex = pack;
    noIndex.indexByteCount = 0;
    EXPECT_EQ(indexTable_LoadSegmentsFromPartition(whole, 0, noIndex, out, report), IndexAbsent);
}

// Repeats are dropped, a segment short of entries ends the list, one with
// more is kept; a later start of 0 follows on from the segment before.
TEST(MxfIndexSegmentList, CountMismatchesRepeatsAndZeroStarts)
{
    CMxf_IndexSegmentList list;
    Base report;
    CMxf_IndexSegmentList::Segments found;
    found.push_back(segmentOf(0, 5, 5));
    found.push_back(segmentOf(0, 5, 5));
    found.push_back(segmentOf(0, 6, 8));
    EXPECT_EQ(list.assign(std::move(found), report), OK);
    ASSERT_EQ(list.size(), 2u);
    EXPECT_EQ(list.at(1)->indexStartPosition, 5);
    EXPECT_NE(lastError(report).find("Index table segment 2 has a count mismatch. Duration is 6 but there are 8 "
                                     "entries."),
              std::string::npos);
    EXPECT_NE(lastError(report).find("loadIndexTable, warning found zero start position."), std::string::npos);
    EXPECT_EQ(list.LengthUsingIndexTables(), 11);
    EXPECT_TRUE(list.SegmentExist(*segmentOf(0, 5)));

    found.push_back(segmentOf(0, 5, 5));
    found.push_back(segmentOf(5, 10, 4));
    found.push_back(segmentOf(15, 5, 5));
    EXPECT_EQ(list.assign(std::move(found), report), Fail);
    EXPECT_EQ(list.size(), 1u);
}

// Thousands of segments in order are found by their ranges; a constant
// segment answers every position not held by a range before it.
TEST(MxfIndexSegmentList, FindsTheSegmentOfEachPosition)
{
    CMxf_IndexSegmentList list;
    Base report;
    CMxf_IndexSegmentList::Segments found;
    for (int64_t i = 0; i < 5000; ++i)
        found.push_back(segmentOf(i * 10, 10, 10));
    ASSERT_EQ(list.assign(std::move(found), report), OK);
    for (int64_t position = 0; position < 50000; position += 7) {
        const CMxf_IndexTable_Segment* segment = list.find(position);
        ASSERT_NE(segment, nullptr);
        EXPECT_EQ(segment->indexStartPosition, position / 10 * 10);
        EXPECT_EQ(list.getIndexEntry(position), &segment->indexEntries[size_t(position % 10)]);
    }
    EXPECT_EQ(list.find(50000), nullptr);
    EXPECT_EQ(list.find(-1), nullptr);

    auto constant = segmentOf(0, 0);
    constant->editUnitByteCount = 4096;
    const CMxf_IndexTable_Segment* answersAll = constant.get();
    list.append(std::move(constant));
    EXPECT_EQ(list.find(123456), answersAll);
    EXPECT_EQ(list.find(12)->indexStartPosition, 10);
}

} // namespace
