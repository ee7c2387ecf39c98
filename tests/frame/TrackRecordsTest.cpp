#include <gtest/gtest.h>
#include <cstdlib>
#include <cstring>

#include "frame/FourCC.h"
#include "frame/TrackRecords.h"

using namespace Corvidane;

namespace {

TEST(TrackRecords, CopyDuplicatesTheExtendedBlock)
{
    TrackStructuralData track{};
    track.streamType = StreamVideo;
    track.video.width = 720;
    track.video.fourcc = fourCC("mx50");
    track.video.aspect = 0x00100009;
    unsigned char xml[] = {'<', 0, 0, 0, '/', 0, 0, 0, '>', 0, 0, 0, 0, 0, 0, 0};
    track.extendedData = xml;
    track.extendedDataSize = sizeof xml;

    TrackStructuralData copy = copyTrackStructuralData(track);
    EXPECT_EQ(copy.streamType, StreamVideo);
    EXPECT_EQ(copy.video.width, 720u);
    EXPECT_EQ(copy.video.fourcc, fourCC("mx50"));
    EXPECT_EQ(copy.video.aspect, 0x00100009u);
    ASSERT_NE(copy.extendedData, nullptr);
    EXPECT_NE(copy.extendedData, xml);
    ASSERT_EQ(copy.extendedDataSize, sizeof xml);
    EXPECT_EQ(std::memcmp(copy.extendedData, xml, sizeof xml), 0);
    freeExtendedData(copy);
    EXPECT_EQ(copy.extendedData, nullptr);
    EXPECT_EQ(copy.extendedDataSize, 0u);
}

TEST(TrackRecords, HalfSetExtendedBlockIsNotCopied)
{
    TrackStructuralData sizeOnly{};
    sizeOnly.streamType = StreamAudio;
    sizeOnly.audio.channels = 2;
    sizeOnly.audio.sampleRate = 48000;
    sizeOnly.extendedDataSize = 40;
    TrackStructuralData copy = copyTrackStructuralData(sizeOnly);
    EXPECT_EQ(copy.extendedData, nullptr);
    EXPECT_EQ(copy.extendedDataSize, 0u);
    EXPECT_EQ(copy.audio.channels, 2u);
    EXPECT_EQ(copy.audio.sampleRate, 48000u);

    unsigned char byte = 7;
    TrackStructuralData pointerOnly{};
    pointerOnly.streamType = StreamTimecode;
    pointerOnly.timecode.startFrame = 90000;
    pointerOnly.timecode.dropFrame = 1;
    pointerOnly.extendedData = &byte;
    copy = copyTrackStructuralData(pointerOnly);
    EXPECT_EQ(copy.extendedData, nullptr);
    EXPECT_EQ(copy.extendedDataSize, 0u);
    EXPECT_EQ(copy.timecode.startFrame, 90000u);
    EXPECT_EQ(copy.timecode.dropFrame, 1u);
}

TEST(TrackRecords, ArraysAreFreedByTheirCount)
{
    // Writers own an array made with array new and free each block with free().
    TrackStructuralData* tracks = new TrackStructuralData[3]();
    tracks[1].extendedData = static_cast<unsigned char*>(std::malloc(8));
    tracks[1].extendedDataSize = 8;
    for (int i = 0; i < 3; ++i)
        freeExtendedData(tracks[i]);
    EXPECT_EQ(tracks[1].extendedData, nullptr);
    delete[] tracks;

    TrackData rows[2] = {};
    EXPECT_EQ(rows[0].size, 0u) << "a row of size 0 carries nothing for its track";
    EXPECT_EQ(HalcIFrame | HalcBFrame, 20u);
}

} // namespace
