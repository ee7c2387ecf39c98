#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "frame/Utf8.h"
#include "mxf/read/FileReader.h"
#include "support/DriverFixture.h"
#include "support/MemoryFiles.h"
#include "support/ReaderExerciser.h"
#include "support/TempDir.h"
#include "support/TestMedia.h"

using Corvidane::IndexEntry;
using Corvidane::MXF::CMxf_FileReader;

// Damaged and incomplete MXF files, made byte by byte from ffmpeg's layouts:
// each opens through the partition walk that its damage leaves, or fails with
// a text, and none crashes.
namespace {

const std::string memoryPath = "/memory/damaged.mxf";

// One KLV item of a file, as the bytes say.
struct Item {
    size_t offset = 0;
    size_t size = 0;  // key, length and value
    std::string key;
    size_t value = 0;  // where the value starts
};

// The items of a file from its start, up to the first that isn't whole.
std::vector<Item> itemsOf(const std::string& bytes, size_t from = 0)
{
    std::vector<Item> items;
    size_t at = from;
    while (at + 17 <= bytes.size() && bytes.compare(at, 4, "\x06\x0e\x2b\x34") == 0) {
        uint8_t head = uint8_t(bytes[at + 16]);
        size_t lengthBytes = head < 0x80 ? 0 : head & 0x7F;
        if (lengthBytes > 8 || at + 17 + lengthBytes > bytes.size())
            break;
        uint64_t length = head < 0x80 ? head : 0;
        for (size_t i = 0; i < lengthBytes; ++i)
            length = length << 8 | uint8_t(bytes[at + 17 + i]);
        size_t size = 17 + lengthBytes + size_t(length);
        if (length > bytes.size() || at + size > bytes.size())
            break;
        items.push_back({at, size, bytes.substr(at, 16), at + 17 + lengthBytes});
        at += size;
    }
    return items;
}

bool isPartitionPack(const Item& item)
{
    return item.key.compare(0, 13, "\x06\x0e\x2b\x34\x02\x05\x01\x01\x0d\x01\x02\x01\x01", 13) == 0 &&
           item.key[13] >= 2 && item.key[13] <= 4;
}

size_t packCount(const std::string& bytes)
{
    size_t count = 0;
    for (const Item& item : itemsOf(bytes))
        count += isPartitionPack(item);
    return count;
}

// The random index pack ends the file; the bytes without it.
std::string withoutRandomIndex(const std::string& bytes)
{
    std::vector<Item> items = itemsOf(bytes);
    EXPECT_FALSE(items.empty());
    EXPECT_EQ(uint8_t(items.back().key[13]), 0x11);
    return bytes.substr(0, items.back().offset);
}

size_t footerOffset(const std::string& bytes)
{
    for (const Item& item : itemsOf(bytes))
        if (isPartitionPack(item) && item.key[13] == 4)
            return item.offset;
    ADD_FAILURE() << "no footer";
    return bytes.size();
}

// Overwrites local item `tag` of every local set whose key ends in `keyTail`
// (its last 8 bytes) with `value`, which must be the item's size; how many
// items it changed.
size_t setLocalItems(std::string& bytes, const std::string& keyTail, uint16_t tag, const std::string& value)
{
    size_t changed = 0;
    for (const Item& item : itemsOf(bytes)) {
        if (item.key.compare(8, 8, keyTail) != 0)
            continue;
        for (size_t at = item.value; at + 4 <= item.offset + item.size;) {
            const uint16_t itemTag = uint16_t(uint8_t(bytes[at]) << 8 | uint8_t(bytes[at + 1]));
            const size_t length = size_t(uint8_t(bytes[at + 2]) << 8 | uint8_t(bytes[at + 3]));
            if (itemTag == tag && length == value.size()) {
                bytes.replace(at + 4, length, value);
                ++changed;
            }
            at += 4 + length;
        }
    }
    return changed;
}

const std::string indexSegmentTail("\x0d\x01\x02\x01\x01\x10\x01\x00", 8);
const std::string sequenceTail("\x0d\x01\x01\x01\x01\x01\x0f\x00", 8);
const std::string sourceClipTail("\x0d\x01\x01\x01\x01\x01\x11\x00", 8);
const std::string timecodeTail("\x0d\x01\x01\x01\x01\x01\x14\x00", 8);

// What a reader answers of its streams: per stream its length and the index
// entries of its first, middle and last samples.
struct Answers {
    std::vector<unsigned> lengths;
    std::vector<IndexEntry> entries;
};

Answers answersOf(CMxf_FileReader& reader)
{
    Answers answers;
    for (int stream = 0; stream < reader.get_StreamCount(); ++stream) {
        unsigned length = reader.get_Length(stream);
        answers.lengths.push_back(length);
        if (length == 0)
            continue;
        EXPECT_TRUE(isSuccess(reader.essenceOpen(unsigned(stream)))) << "stream " << stream;
        for (unsigned sample : {0u, length / 2, length - 1}) {
            IndexEntry entry;
            EXPECT_TRUE(isSuccess(reader.getIndexEntry(sample, entry))) << "stream " << stream << " sample " << sample;
            answers.entries.push_back(entry);
        }
    }
    return answers;
}

class MxfDamage : public DriverFixture {
protected:
    // Loads bytes as a file; true when the reader opened it.
    bool load(std::string bytes)
    {
        m_memory.put(memoryPath, std::move(bytes));
        m_reader = std::make_unique<CMxf_FileReader>();
        return isSuccess(m_reader->loadFile(Corvidane::fromUtf8(memoryPath), iFile::Buffered));
    }
    std::string error() const
    {
        std::string text;
        Corvidane::toUtf8(m_reader->getLastError(), text);
        return text;
    }
    bool errorHas(const std::string& text) const { return error().find(text) != std::string::npos; }
    size_t partitionCount() const { return m_reader->partitions().getNumPartitions(); }

    // Both loads open, and give the same streams, lengths and entries, the
    // entries of `damaged` lying `shift` bytes further on.
    void expectSameAnswers(const std::string& whole, const std::string& damaged, uint64_t shift = 0)
    {
        ASSERT_TRUE(load(whole)) << error();
        Answers expected = answersOf(*m_reader);
        ASSERT_TRUE(load(damaged)) << error();
        Answers got = answersOf(*m_reader);
        ASSERT_FALSE(expected.lengths.empty());
        EXPECT_EQ(got.lengths, expected.lengths);
        ASSERT_EQ(got.entries.size(), expected.entries.size());
        // Index entries are packed: their fields are copied out before gtest
        // takes them by reference.
        for (size_t i = 0; i < got.entries.size(); ++i) {
            const uint64_t offset = got.entries[i].offset, wantedOffset = expected.entries[i].offset;
            const uint32_t size = got.entries[i].size, wantedSize = expected.entries[i].size;
            const uint16_t type = got.entries[i].frameType, wantedType = expected.entries[i].frameType;
            EXPECT_EQ(offset, wantedOffset + shift) << i;
            EXPECT_EQ(size, wantedSize) << i;
            EXPECT_EQ(type, wantedType) << i;
        }
    }

    MemoryFiles m_memory;
    std::unique_ptr<CMxf_FileReader> m_reader;
};

TEST_F(MxfDamage, RandomIndexStrippedWalksBackFromTheFooter)
{
    // Body partitions every few hundred frames, each indexed in the next.
    const std::string whole = readFile(testMedia("mxf_1000_frames.mxf"));
    const std::string stripped = withoutRandomIndex(whole);
    expectSameAnswers(whole, stripped);
    EXPECT_EQ(partitionCount(), packCount(stripped));
}

TEST_F(MxfDamage, RandomIndexPointingAtNothingIsPassedOver)
{
    std::string bytes = readFile(testMedia("mxf_1000_frames.mxf"));
    const Item rip = itemsOf(bytes).back();
    // Every entry after the header's points into the middle of essence.
    for (size_t at = rip.offset + 20 + 12; at + 12 <= rip.offset + rip.size - 4; at += 12)
        bytes[at + 11] = char(bytes[at + 11] ^ 0x55);
    expectSameAnswers(readFile(testMedia("mxf_1000_frames.mxf")), bytes);
}

TEST_F(MxfDamage, SmallFileWithoutRandomIndexWalksItsPartitions)
{
    // Under 64 KiB: the whole file is the first block, so no random index pass.
    const std::string whole = readFile(testMedia("mxf_comments.mxf"));
    ASSERT_LT(whole.size(), 0x10000u);
    expectSameAnswers(whole, withoutRandomIndex(whole));
    EXPECT_EQ(partitionCount(), packCount(whole));
}

TEST_F(MxfDamage, FinishedFileCutShortIsRefusedWithTheFooterText)
{
    // The header names a footer that the cut file no longer holds.
    const std::string whole = readFile(testMedia("mxf_op1a_mpeg2_tc.mxf"));
    const size_t footer = footerOffset(whole);
    for (size_t length : {footer, footer - 1, whole.size() / 2, size_t(0x10000) + 1, size_t(20000)}) {
        EXPECT_FALSE(load(whole.substr(0, length))) << length;
        EXPECT_TRUE(errorHas("Failed to open file. File size less than footer offset.")) << length << error();
    }
    // Cut inside the footer pack itself.
    EXPECT_FALSE(load(whole.substr(0, footer + 40)));
    EXPECT_TRUE(errorHas("Failed to open footer, setklv failed.")) << error();
}

TEST_F(MxfDamage, FileWrittenToAPipeOpensThroughItsOpenHeader)
{
    // No seeking back: the header stays open and incomplete and names no footer.
    const std::string bytes = readFile(testMedia("mxf_pipe.mxf"));
    ASSERT_TRUE(load(bytes)) << error();
    EXPECT_EQ(partitionCount(), packCount(bytes));
    expectSameAnswers(bytes, withoutRandomIndex(bytes));
}

TEST_F(MxfDamage, PipeFileWithoutItsFooterOpensOrFailsWithAText)
{
    // Cut inside the essence: no footer, no index, no random index.
    const std::string bytes = readFile(testMedia("mxf_pipe.mxf"));
    const std::string cut = bytes.substr(0, footerOffset(bytes) - 3000);
    if (load(cut))
        exerciseReader(*m_reader);
    else
        EXPECT_FALSE(error().empty());
}

TEST_F(MxfDamage, RunInIsSkippedAndCountedInEveryOffset)
{
    const std::string whole = readFile(testMedia("mxf_op1a_mpeg2_tc.mxf"));
    const std::string runIn(100, '\x5a');
    expectSameAnswers(whole, runIn + whole, runIn.size());
    EXPECT_EQ(m_reader->partitions().runIn, runIn.size());
}

// Without a random index the walk back from the footer follows partition
// offsets, which count from the end of the run-in too.
TEST_F(MxfDamage, RunInBeforeAFileWithoutRandomIndex)
{
    const std::string whole = readFile(testMedia("mxf_1000_frames.mxf"));
    const std::string runIn(100, '\x5a');
    const std::string stripped = withoutRandomIndex(whole);
    expectSameAnswers(whole, runIn + stripped, runIn.size());
    EXPECT_EQ(partitionCount(), packCount(stripped));
}

// A constant-size index whose segments say duration 0 (as some servers write
// them while recording) gives no length: the sequences tell it; and where
// they are open too (-1), the essence's bytes do. Never 0xFFFFFFFF.
TEST_F(MxfDamage, OpenDurationsTakeTheLengthFromTheSequenceElseTheEssence)
{
    const std::string whole = readFile(testMedia("mxf_op1a_dv.mxf"));
    std::string zeroIndex = whole;
    ASSERT_GT(setLocalItems(zeroIndex, indexSegmentTail, 0x3F0D, std::string(8, '\0')), 0u);
    {
        SCOPED_TRACE("index durations 0");
        expectSameAnswers(whole, zeroIndex);
    }

    std::string allOpen = zeroIndex;
    const std::string open(8, '\xff');
    size_t changed = 0;
    for (const std::string* tail : {&sequenceTail, &sourceClipTail, &timecodeTail})
        changed += setLocalItems(allOpen, *tail, 0x0202, open);
    ASSERT_GT(changed, 2u);
    {
        SCOPED_TRACE("sequences open too");
        expectSameAnswers(whole, allOpen);
    }
    for (unsigned length : answersOf(*m_reader).lengths)
        EXPECT_NE(length, 0xFFFFFFFFu);
}

TEST_F(MxfDamage, EveryPrefixOfASmallFileOpensOrFailsWithAText)
{
    const std::string whole = readFile(std::string(CV_FUZZ_REGRESSIONS) + "/mxf/op1a_mpeg2_pcm_tc.mxf");
    unsigned opened = 0, refused = 0;
    for (size_t length = 0; length <= whole.size(); ++length) {
        if (load(whole.substr(0, length))) {
            ++opened;
            ExerciseLimits limits;
            limits.maxSamples = 16;
            exerciseReader(*m_reader, limits);
        } else {
            ++refused;
            EXPECT_FALSE(error().empty()) << length;
        }
    }
    // Short prefixes are refused; the whole file opens.
    EXPECT_GT(refused, 4096u);
    EXPECT_GT(opened, 0u);
}

} // namespace
