#include <gtest/gtest.h>

#include <algorithm>
#include <set>
#include <sstream>
#include <vector>

#include "quicktime/MediaName.h"
#include "quicktime/QtReaderFixture.h"
#include "support/TestMedia.h"

using Corvidane::IndexEntry;

namespace {

// The display rank of each video packet in decode order, from ffprobe's pts.
std::vector<unsigned> displayRanks(const std::string& path)
{
    std::string csv = runCommand("ffprobe -v error -select_streams v:0 -show_entries packet=pts -of csv=p=0 " +
                                 shellQuote(path));
    std::vector<long long> pts;
    std::istringstream lines(csv);
    for (std::string line; std::getline(lines, line);)
        if (!line.empty())
            pts.push_back(std::stoll(line));
    std::vector<long long> sorted = pts;
    std::sort(sorted.begin(), sorted.end());
    std::vector<unsigned> ranks;
    for (long long value : pts)
        ranks.push_back(unsigned(std::lower_bound(sorted.begin(), sorted.end(), value) - sorted.begin()));
    return ranks;
}

class QuickTimePresentationOrder : public QtReaderFixture, public ::testing::WithParamInterface<const char*> {};

TEST_P(QuickTimePresentationOrder, PresentationIndexesMatchFfprobesTimestamps)
{
    std::string path = testMedia(GetParam());
    std::vector<unsigned> ranks = displayRanks(path);
    auto opened = openPath(path);
    ASSERT_TRUE(opened.ok()) << opened.error();
    auto& reader = *opened.reader;
    ASSERT_EQ(reader.essenceOpen(0), OK);
    ASSERT_TRUE(reader.get_IsVideo(0));
    ASSERT_EQ(reader.get_Length(0), ranks.size());
    for (unsigned i = 0; i < ranks.size(); ++i) {
        IndexEntry entry;
        ASSERT_EQ(reader.getIndexEntry(i, entry), OK);
        EXPECT_EQ(uint32_t(entry.presentationIndex), ranks[i]) << "sample " << i;
        EXPECT_EQ(uint32_t(entry.decodeIndex), i);
    }

    // A range of frames in display order from a key frame: what is coded
    // after the range but shown inside it is read too.
    unsigned start = 0, count = 12;
    ASSERT_TRUE(reader.findKeyframe(20, false, start));
    ASSERT_GT(start, 0u);
    std::vector<unsigned> decode, presentation;
    std::vector<unsigned short> types;
    ASSERT_EQ(reader.getGopAndPresentationOrder(start, count, decode, presentation, types), OK);
    ASSERT_GE(decode.size(), count);
    std::set<unsigned> shown(presentation.begin(), presentation.end());
    for (unsigned frame = start; frame < start + count; ++frame)
        EXPECT_EQ(shown.count(frame), 1u) << "frame " << frame << " is in the list";
    for (size_t i = 0; i < decode.size(); ++i) {
        EXPECT_EQ(decode[i], start + i);
        EXPECT_EQ(presentation[i], ranks[start + i]);
    }

    Corvidane::GOPInfo info;
    Corvidane::allocGOPInfo(info, 64);
    std::vector<unsigned short> order;
    ASSERT_EQ(reader.getGopAndPresentationOrder(start, info, order, false), OK);
    EXPECT_GE(info.count, unsigned(reader.getGopLength(0)));
    EXPECT_EQ(info.decodeOrder[0], start);
    Corvidane::freeGOPInfo(info);

    Corvidane::GOPInfo small;
    Corvidane::allocGOPInfo(small, 2);
    std::vector<unsigned short> ignored;
    small.count = 2;
    EXPECT_EQ(reader.getGopAndPresentationOrder(start, small, ignored, false), InsufficientBuffer);
    Corvidane::freeGOPInfo(small);
}

INSTANTIATE_TEST_SUITE_P(FfmpegMovies, QuickTimePresentationOrder,
                         ::testing::Values("h264_aac.mp4", "h264_dropframe.mov", "mpeg2_longgop.mov", "hevc.mov",
                                           "h264_jitter.mp4"),
                         mediaTestName);

} // namespace
