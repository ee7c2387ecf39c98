#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "avi/AviTestSupport.h"
#include "mxf/model/IndexTableSegment.h"
#include "mxf/model/KlvLocalSet.h"
#include "support/TempDir.h"
#include "support/TestMedia.h"

using namespace Corvidane::MXF;

namespace {

using Bytes = std::vector<unsigned char>;

// The index table segments of a file, found by walking its top-level items.
std::vector<CMxf_IndexTable_Segment> segmentsOf(Bytes& file)
{
    std::vector<CMxf_IndexTable_Segment> segments;
    for (size_t at = 0; at + 17 <= file.size();) {
        unsigned char* p = file.data() + at;
        CKlvItem item;
        if (!item.setKLV(&p, false) || item.length > file.size() - (at + 16 + item.lengthLength))
            break;
        if (CMxf_IndexTable_Segment::IsMyKey(item.key)) {
            segments.emplace_back();
            EXPECT_TRUE(segments.back().read(item));
        }
        at = size_t(p - file.data());
    }
    return segments;
}

// ffmpeg's long-GOP MPEG-2 with PCM: one entry per frame, key flags as
// ffprobe's, stream offsets that step as the packets do, and a delta entry
// per element of the content package.
TEST(MxfIndexTables, SegmentsOfAnFfmpegFileAgreeWithItsPackets)
{
    std::string path = testMedia("mpeg2_pcm16_growing.mxf");
    std::string text = readFile(path);
    Bytes file(text.begin(), text.end());
    std::vector<CMxf_IndexTable_Segment> segments = segmentsOf(file);
    ASSERT_FALSE(segments.empty());

    std::vector<CMxf_IndexTable_IndexEntry> entries;
    for (const CMxf_IndexTable_Segment& segment : segments) {
        EXPECT_FALSE(segment.isConstant());
        EXPECT_EQ(segment.indexEditRate.numerator, 25);
        EXPECT_EQ(segment.indexEditRate.denominator, 1);
        EXPECT_EQ(size_t(segment.indexDuration), segment.indexEntries.size());
        // ffmpeg's content packages: a system item, the picture, the sound.
        ASSERT_EQ(segment.deltaEntries.size(), 3u);
        EXPECT_EQ(segment.deltaEntries[0].elementDelta, 0u);
        EXPECT_GT(segment.deltaEntries[1].elementDelta, 0u);
        entries.insert(entries.end(), segment.indexEntries.begin(), segment.indexEntries.end());
    }
    auto packets = AviTest::ofStream(AviTest::ffprobePackets(path), 0);
    std::string flags = runCommand("ffprobe -v error -select_streams v -show_entries packet=flags -of csv=p=0 " +
                                   shellQuote(path));
    ASSERT_EQ(entries.size(), packets.size());
    for (size_t i = 0; i < entries.size(); ++i) {
        EXPECT_EQ(entries[i].streamOffset - entries[0].streamOffset, packets[i].pos - packets[0].pos) << i;
        EXPECT_EQ(entries[i].isKeyFrame(), flags[i * 3] == 'K') << i;
    }
    EXPECT_TRUE(entries[1].isPreditionFrame());
}

// Written and read back, with an entry array larger than the 2-byte length
// field can tell (8,000 entries, 88 kB): it reads whole.
TEST(MxfIndexTables, SegmentsRoundTripAlsoPastSixtyFourKilobytes)
{
    CMxf_IndexTable_Segment segment;
    segment.indexEditRate = MXFRATIONAL{30000, 1001};
    segment.indexStartPosition = 100;
    segment.indexDuration = 8000;
    segment.indexSID = 2;
    segment.bodySID = 1;
    segment.deltaEntries = {MXFDELTAENTRY{0, 0, 0}, MXFDELTAENTRY{0, 0, 4096}};
    for (uint64_t i = 0; i < 8000; ++i) {
        CMxf_IndexTable_IndexEntry entry;
        entry.flags = i % 12 == 0 ? 0xC0 : 0x22;
        entry.temporalOffset = int8_t(i % 3);
        entry.streamOffset = i * 70000;
        segment.indexEntries.push_back(entry);
    }
    size_t needed = segment.toKlv(nullptr, 0);
    Bytes out(needed);
    EXPECT_EQ(segment.toKlv(out.data(), needed - 1), 0u);
    size_t written = segment.toKlv(out.data(), out.size());
    ASSERT_GT(written, 8000u * 11);
    ASSERT_LE(written, needed);

    unsigned char* p = out.data();
    CKlvItem item;
    ASSERT_TRUE(item.SetKLV(&p));
    ASSERT_TRUE(CMxf_IndexTable_Segment::IsMyKey(item.key));
    CMxf_IndexTable_Segment back;
    back.read(item);
    EXPECT_EQ(back.indexEditRate.numerator, 30000);
    EXPECT_EQ(back.indexStartPosition, 100);
    EXPECT_EQ(back.indexDuration, 8000);
    EXPECT_EQ(back.indexSID, 2u);
    ASSERT_EQ(back.deltaEntries.size(), 2u);
    EXPECT_EQ(back.deltaEntries[1].elementDelta, 4096u);
    ASSERT_EQ(back.indexEntries.size(), 8000u);
    EXPECT_TRUE(back.indexEntries == segment.indexEntries);
    EXPECT_TRUE(back.indexEntries[12].isKeyFrame());
    EXPECT_TRUE(back.indexEntries[13].isPFrame());

    // XDCAM style: every entry but the last twice, the copy with doubled
    // offsets first, where readers look.
    CMxf_IndexTable_Segment xdcam;
    xdcam.setXDCAM(true);
    xdcam.indexEntries = {segment.indexEntries[1], segment.indexEntries[2]};
    Bytes small(xdcam.toKlv(nullptr, 0));
    ASSERT_GT(xdcam.toKlv(small.data(), small.size()), 0u);
    p = small.data();
    ASSERT_TRUE(item.SetKLV(&p));
    CMxf_IndexTable_Segment doubled;
    doubled.read(item);
    ASSERT_EQ(doubled.indexEntries.size(), 3u);
    EXPECT_EQ(doubled.indexEntries[0].temporalOffset, 2 * segment.indexEntries[1].temporalOffset);
    EXPECT_EQ(doubled.indexEntries[1].temporalOffset, segment.indexEntries[1].temporalOffset);
    EXPECT_EQ(doubled.indexEntries[2].streamOffset, segment.indexEntries[2].streamOffset);
}

// Counts that the set can't hold: only whole entries are taken.
TEST(MxfIndexTables, ArraysLargerThanTheirSetAreCut)
{
    CMxf_IndexTable_Segment segment;
    segment.indexEntries.resize(3);
    segment.deltaEntries.resize(1);
    Bytes out(segment.toKlv(nullptr, 0));
    size_t written = segment.toKlv(out.data(), out.size());
    ASSERT_GT(written, 0u);
    out.resize(written);
    // Claim four billion entries and delta entries.
    for (uint16_t tag : {0x3F0A, 0x3F09}) {
        const unsigned char wire[2] = {uint8_t(tag >> 8), uint8_t(tag)};
        size_t at = std::string(out.begin(), out.end()).find(std::string(reinterpret_cast<const char*>(wire), 2), 20);
        ASSERT_NE(at, std::string::npos);
        out[at + 4] = out[at + 5] = out[at + 6] = out[at + 7] = 0xFF;
    }
    unsigned char* p = out.data();
    CKlvItem item;
    ASSERT_TRUE(item.SetKLV(&p));
    CMxf_IndexTable_Segment back;
    back.read(item);
    EXPECT_LE(back.indexEntries.size(), 3u);
    EXPECT_LE(back.deltaEntries.size(), 1u);
}

} // namespace
