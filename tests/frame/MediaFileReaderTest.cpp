#include <gtest/gtest.h>
#include <new>

#include "support/ScriptedReader.h"

using namespace Corvidane;

namespace {

TEST(NearestKeyFrame, PicksTheCloserKeyFrameAndTheEarlierOnATie)
{
    ScriptedReader reader;
    unsigned keyframe = 999;
    reader.keyFrames = {10, 14};
    EXPECT_EQ(reader.getNearestKeyFrame(12, KeyframeNearest, keyframe), OK);
    EXPECT_EQ(keyframe, 10u);
    reader.keyFrames = {10, 13};
    EXPECT_EQ(reader.getNearestKeyFrame(12, KeyframeNearest, keyframe), OK);
    EXPECT_EQ(keyframe, 13u);
    EXPECT_EQ(reader.getNearestKeyFrame(12, KeyframeBefore, keyframe), OK);
    EXPECT_EQ(keyframe, 10u);
    EXPECT_EQ(reader.getNearestKeyFrame(12, KeyframeAfter, keyframe), OK);
    EXPECT_EQ(keyframe, 13u);
    EXPECT_EQ(reader.getNearestKeyFrame(13, KeyframeBefore, keyframe), OK);
    EXPECT_EQ(keyframe, 13u);  // the frame itself counts
}

TEST(NearestKeyFrame, MissingKeyFramesAndOtherTypes)
{
    ScriptedReader reader;
    unsigned keyframe = 999;
    reader.keyFrames = {20};
    EXPECT_EQ(reader.getNearestKeyFrame(5, KeyframeBefore, keyframe), Fail);
    EXPECT_EQ(keyframe, 999u);  // untouched
    EXPECT_EQ(reader.getNearestKeyFrame(5, KeyframeNearest, keyframe), OK);
    EXPECT_EQ(keyframe, 20u);
    EXPECT_EQ(reader.getNearestKeyFrame(25, KeyframeAfter, keyframe), Fail);
    EXPECT_EQ(keyframe, 20u);
    EXPECT_EQ(reader.getNearestKeyFrame(25, static_cast<eKeyframeType>(3), keyframe), Fail);
    EXPECT_EQ(keyframe, 0u);
    reader.keyFrames.clear();
    keyframe = 7;
    EXPECT_EQ(reader.getNearestKeyFrame(25, KeyframeNearest, keyframe), Fail);
    EXPECT_EQ(keyframe, 0u);

    // Intra-only: every frame is its own key frame, found or not.
    reader.gopLength = 1;
    EXPECT_EQ(reader.getNearestKeyFrame(25, KeyframeBefore, keyframe), OK);
    EXPECT_EQ(keyframe, 25u);
}

TEST(ReaderDefaults, QueriesAContainerDoesNotAnswer)
{
    ScriptedReader reader;
    reader.gopLength = 0;
    EXPECT_FALSE(reader.get_IsTemporalCompressed(0));
    reader.gopLength = 2;
    EXPECT_TRUE(reader.get_IsTemporalCompressed(0));
    VideoColourCPMode primaries;
    EXPECT_EQ(reader.get_ColourPrimaries(0, primaries), NotImpl);
    int value = 0;
    EXPECT_EQ(reader.get_MetadataValue("key", 0, value), NotImpl);
    EXPECT_EQ(reader.get_Orientation(0), 1u);
    EXPECT_TRUE(reader.isClipWrapped());
    EXPECT_FALSE(reader.isFragmented());
    EXPECT_EQ(reader.streamGetExtraData(0, nullptr, 0), 0);
}

TEST(GopInfo, AllocZeroesAndFreeClears)
{
    GOPInfo info;
    ASSERT_TRUE(allocGOPInfo(info, 16));
    EXPECT_EQ(info.count, 16u);
    for (unsigned i = 0; i < 16; ++i)
        EXPECT_EQ(info.decodeOrder[i] + info.presentationOrder[i], 0u);
    ASSERT_TRUE(allocGOPInfo(info, 4));  // a second alloc replaces the arrays
    EXPECT_EQ(info.count, 4u);
    freeGOPInfo(info);
    EXPECT_EQ(info.count, 0u);
    EXPECT_EQ(info.decodeOrder, nullptr);
    EXPECT_THROW(allocGOPInfo(info, static_cast<unsigned long>(-1)), std::bad_array_new_length);
    EXPECT_EQ(sizeof(IndexEntry), 22u);
}

} // namespace
