#include "frame/ColourPairs.h"

#include <gtest/gtest.h>

#include <set>

using namespace Corvidane;

namespace {

ColourPairT pair(int primaries, int transfer)
{
    return {static_cast<VideoColourCPMode>(primaries), static_cast<VideoColourTCMode>(transfer)};
}

} // namespace

TEST(ColourPairTable, EveryModeSurvivesPairAndBack)
{
    for (VideoColourSpaceMode mode = 2; mode <= 7; ++mode) {
        const ColourPairT p = videoColourPair(mode);
        EXPECT_NE(p, pair(0, 0)) << mode;
        EXPECT_EQ(videoColourSpaceModeHDR(p), mode) << mode;
    }
    EXPECT_EQ(videoColourPair(2), pair(1, 1));
    EXPECT_EQ(videoColourPair(3), pair(4, 1));
    EXPECT_EQ(videoColourPair(4), pair(4, 4));
    EXPECT_EQ(videoColourPair(5), pair(4, 3));
    EXPECT_EQ(videoColourPair(6), pair(5, 5));
    EXPECT_EQ(videoColourPair(7), pair(6, 5));
}

TEST(ColourPairTable, ModesWithoutAPairGiveUnknown)
{
    for (VideoColourSpaceMode mode : {-1, 0, 1, 8, 1000})
        EXPECT_EQ(videoColourPair(mode), pair(0, 0)) << mode;
}

TEST(ColourPairTable, AllPairsMapToTheirMode)
{
    // (primaries, transfer) -> mode; every pair not listed gives 0.
    const struct {
        int cp, tc, mode;
    } known[] = {
        {2, 1, 1}, {3, 1, 1}, {1, 1, 2}, {4, 1, 3}, {4, 4, 4},
        {4, 3, 5}, {5, 1, 6}, {5, 5, 6}, {6, 1, 7}, {6, 5, 7},
    };
    for (int cp = 0; cp <= 6; ++cp) {
        for (int tc = 0; tc <= 5; ++tc) {
            int expected = 0;
            for (const auto& k : known)
                if (k.cp == cp && k.tc == tc)
                    expected = k.mode;
            const VideoColourSpaceMode mode = videoColourSpaceModeHDR(pair(cp, tc));
            EXPECT_EQ(mode, expected) << cp << "," << tc;
            // Going on to the written pair keeps the primaries and the mode.
            if (mode >= 2) {
                const ColourPairT written = videoColourPair(mode);
                EXPECT_EQ(written.first, cp) << cp << "," << tc;
                EXPECT_EQ(videoColourSpaceModeHDR(written), mode) << cp << "," << tc;
            }
        }
    }
}

TEST(ColourPairTable, TransferAloneSuggestsAMode)
{
    EXPECT_EQ(videoColourSpaceModeHDR(TCModeUnknown), 0);
    EXPECT_EQ(videoColourSpaceModeHDR(TCMode1), 2);
    EXPECT_EQ(videoColourSpaceModeHDR(TCMode2), 3);
    EXPECT_EQ(videoColourSpaceModeHDR(TCMode3), 5);
    EXPECT_EQ(videoColourSpaceModeHDR(TCMode4), 4);
    EXPECT_EQ(videoColourSpaceModeHDR(TCMode5), 6);
    EXPECT_EQ(videoColourSpaceModeHDR(static_cast<VideoColourTCMode>(9)), 0);
}

TEST(ColourPairTable, ModeNamesAreDistinct)
{
    std::set<std::wstring> names;
    for (VideoColourSpaceMode mode = 0; mode <= 7; ++mode) {
        const std::wstring name = videoColourSpaceModeHDRString(mode);
        EXPECT_FALSE(name.empty());
        names.insert(name);
    }
    EXPECT_EQ(names.size(), 8u);
    EXPECT_EQ(videoColourSpaceModeHDRString(99), videoColourSpaceModeHDRString(0));
}
