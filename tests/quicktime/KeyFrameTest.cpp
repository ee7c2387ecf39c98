#include <gtest/gtest.h>

#include <vector>

#include "quicktime/MovieBytes.h"
#include "quicktime/QtReaderFixture.h"

using namespace movie_bytes;
using Corvidane::IndexEntry;

namespace {

// Twelve samples of one size each, one chunk each.
Track twelve()
{
    Track t;
    for (int i = 0; i < 12; ++i) {
        t.sizes.push_back(10);
        t.chunkOffsets.push_back(mdatPayloadOffset + uint64_t(i) * 10);
    }
    return t;
}

const std::string payload(120, 'x');

class QuickTimeKeyFrames : public QtReaderFixture {
protected:
    Corvidane::QuickTime::FileReader& load(const Track& t)
    {
        m_opened = open(file(payload, moov(trak(t))));
        EXPECT_TRUE(m_opened.ok()) << m_opened.error();
        EXPECT_EQ(m_opened.reader->essenceOpen(0), OK);
        return *m_opened.reader;
    }
    Opened m_opened;
};

TEST_F(QuickTimeKeyFrames, SyncSamplesMarkKeyFramesAndTheOthersCountAsBidirectional)
{
    Track t = twelve();
    t.extraTables = table("stss", {1, 5, 9}, 3);
    auto& reader = load(t);
    std::vector<int> keys;
    for (unsigned i = 0; i < 12; ++i) {
        IndexEntry entry;
        ASSERT_EQ(reader.getIndexEntry(i, entry), OK);
        if (Corvidane::isKeyFrame(entry))
            keys.push_back(int(i));
        else
            EXPECT_EQ(uint16_t(entry.frameType), Corvidane::FrameBidirectional);
    }
    EXPECT_EQ(keys, (std::vector<int>{0, 4, 8}));
    EXPECT_EQ(reader.getGopLength(0), 4);
    EXPECT_TRUE(reader.get_IsTemporalCompressed(0));
    unsigned key = 99;
    EXPECT_TRUE(reader.findKeyframe(6, false, key));
    EXPECT_EQ(key, 4u);
    EXPECT_TRUE(reader.findKeyframe(6, true, key));
    EXPECT_EQ(key, 8u);
    EXPECT_TRUE(reader.findKeyframe(8, true, key));
    EXPECT_EQ(key, 8u);
    EXPECT_TRUE(reader.findKeyframe(11, false, key));
    EXPECT_EQ(key, 8u);
    EXPECT_FALSE(reader.findKeyframe(11, true, key));
    EXPECT_EQ(reader.getNearestKeyFrame(7, Corvidane::KeyframeNearest, key), OK);
    EXPECT_EQ(key, 8u);
    EXPECT_EQ(reader.getNearestKeyFrame(6, Corvidane::KeyframeNearest, key), OK);
    EXPECT_EQ(key, 4u) << "a tie goes to the earlier key frame";
}

TEST_F(QuickTimeKeyFrames, NoKeyFrameBeforeTheFirstSyncSample)
{
    Track t = twelve();
    t.extraTables = table("stss", {6}, 1);
    auto& reader = load(t);
    unsigned key = 77;
    EXPECT_FALSE(reader.findKeyframe(0, false, key));
    EXPECT_EQ(key, 77u);
    EXPECT_EQ(reader.getGopLength(0), 1) << "fewer than two sync samples";
}

TEST_F(QuickTimeKeyFrames, ALaterSyncTableReplacesTheFirst)
{
    Track t = twelve();
    t.extraTables = table("stss", {1, 2, 3}, 3) + table("stss", {1, 7}, 2);
    auto& reader = load(t);
    IndexEntry entry;
    ASSERT_EQ(reader.getIndexEntry(1, entry), OK);
    EXPECT_FALSE(Corvidane::isKeyFrame(entry));
    ASSERT_EQ(reader.getIndexEntry(6, entry), OK);
    EXPECT_TRUE(Corvidane::isKeyFrame(entry));
}

// An open GOP: I P B B in decode order, shown as B B I P from the second GOP
// on; the B frames that lead a GOP depend on the GOP before it.
TEST_F(QuickTimeKeyFrames, OpenGopFramesShownBeforeTheirEntryPointBelongToThePreviousGop)
{
    Track t = twelve();
    // Decode order: 0 I, 1 P, 2 B, 3 B | 4 I (partial), 5 P, 6 B, 7 B | 8 I (partial) ...
    // Composition offsets in units of 1000: I +2, P +2, B -1 (shown before the I).
    std::vector<uint32_t> offsets;
    for (int i = 0; i < 12; ++i)
        offsets.push_back(i % 4 < 2 ? 2000u : uint32_t(-1000));
    std::vector<uint32_t> runs;
    for (uint32_t offset : offsets)
        runs.push_back(1), runs.push_back(offset);
    t.extraTables = table("stss", {1}, 1) + table("stps", {5, 9}, 2) + table("ctts", runs, 12) +
                    fullAtom("sdtp", 0, std::string("\x60\x54\x18\x18\x64\x54\x18\x08\x64\x40\x18\x18", 12));
    auto& reader = load(t);
    EXPECT_TRUE(reader.getIsOpenGop(0));
    unsigned key = 0;
    // Sample 6 is a B frame coded after the entry point at 4 and shown before it.
    EXPECT_TRUE(reader.findKeyframe(6, false, key));
    EXPECT_EQ(key, 0u);
    // Sample 5, a P frame shown after the entry point, belongs to its GOP.
    EXPECT_TRUE(reader.findKeyframe(5, false, key));
    EXPECT_EQ(key, 4u);
    // Frame types come from sdtp where a stream has open GOPs.
    IndexEntry entry;
    ASSERT_EQ(reader.getIndexEntry(1, entry), OK);
    EXPECT_EQ(uint16_t(entry.frameType), Corvidane::FramePredicted);
    ASSERT_EQ(reader.getIndexEntry(4, entry), OK);
    EXPECT_EQ(uint16_t(entry.frameType), Corvidane::FrameIntra);
    ASSERT_EQ(reader.getIndexEntry(7, entry), OK);
    EXPECT_EQ(uint16_t(entry.frameType), Corvidane::FrameBidirectional);
}

} // namespace
