#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "front/write/FileWriterCommon.h"

using Corvidane::TrackData;
using Corvidane::TrackStructuralData;

// The write loop and the settings fragment the writer resources share.
namespace {

// A loop whose container keeps the rows it is handed.
class RecordingLoop : public CvWrappers::WriteLoop {
public:
    using WriteLoop::WriteLoop;
    std::vector<std::vector<std::string>> calls;

private:
    CvResult writeRows(TrackData* rows, unsigned count) override
    {
        std::vector<std::string> call;
        for (unsigned i = 0; i < count; ++i)
            call.emplace_back(reinterpret_cast<const char*>(rows[i].data), rows[i].size);
        calls.push_back(call);
        return OK;
    }
};

Hc::FileWriterParams withSound(unsigned bits)
{
    Hc::FileWriterParams params;
    params.audio.push_back({2, 48000, bits / 8, bits});
    return params;
}

const CvWrappers::WriteLoop::Layout movieRows{2, 0, 1, true};

TEST(WriteLoop, AFileWithoutSoundNeverAsksForIt)
{
    RecordingLoop loop(std::vector<TrackStructuralData>(2, TrackStructuralData{}), Hc::FileWriterParams{},
                       CvWrappers::WriteLoop::Layout{1, 0, 1, true});
    bool asked = false;
    loop.setAudioSource([&asked](unsigned&, std::vector<std::vector<unsigned char>>&) {
        asked = true;
        return 1;
    });
    const unsigned char frame[3] = {1, 2, 3};
    EXPECT_EQ(loop.writeSurface(frame, 3, Corvidane::HalcIFrame), 1);
    EXPECT_FALSE(asked);
    ASSERT_EQ(loop.calls.size(), 1u);
    EXPECT_EQ(loop.calls[0][0], std::string("\1\2\3", 3));
    EXPECT_EQ(loop.calls[0][1], std::string(4, '\0')) << "the timecode row moves the track on by one";
}

TEST(WriteLoop, SoundNotReadyWritesNothingAndTheFrameCanComeAgain)
{
    RecordingLoop loop(std::vector<TrackStructuralData>(3, TrackStructuralData{}), withSound(16), movieRows);
    int ready = 0;
    loop.setAudioSource([&ready](unsigned& count, std::vector<std::vector<unsigned char>>& buffers) {
        buffers.assign(1, std::vector<unsigned char>(4 * 2, 7));
        count = 2;
        return ready;
    });
    const unsigned char frame[1] = {9};
    EXPECT_EQ(loop.writeSurface(frame, 1, 0), 0);
    EXPECT_TRUE(loop.calls.empty());
    ready = 1;
    EXPECT_EQ(loop.writeSurface(frame, 1, 0), 1);
    ASSERT_EQ(loop.calls.size(), 1u);
    EXPECT_EQ(loop.calls[0][1].size(), 2u * 2 * 2) << "two sample groups of two 16-bit channels";
}

TEST(WriteLoop, TwentyFourBitSoundIsStoredBigEndianInMovies)
{
    RecordingLoop loop(std::vector<TrackStructuralData>(3, TrackStructuralData{}), withSound(24), movieRows);
    loop.setAudioSource([](unsigned& count, std::vector<std::vector<unsigned char>>& buffers) {
        buffers.assign(1, {1, 2, 3, 4, 5, 6});
        count = 1;
        return 1;
    });
    const unsigned char frame[1] = {0};
    ASSERT_EQ(loop.writeSurface(frame, 1, 0), 1);
    EXPECT_EQ(loop.calls.at(0).at(1), std::string("\3\2\1\6\5\4", 6));
}

TEST(WriterMetadata, FragmentIsCopiedAsItStandsAndEmptyValuesAddNothing)
{
    configb config;
    config.set("reelid", "A<1>&B");
    config.set("empty", "");
    std::wstring xml;
    CvWrappers::FileWriterCommon::addMetadata(xml, config, "reelid", "source_reel");
    CvWrappers::FileWriterCommon::addMetadata(xml, config, "empty", "x");
    CvWrappers::FileWriterCommon::addMetadata(xml, config, "", "y");
    CvWrappers::FileWriterCommon::addMetadata(xml, config, "missing", "z");
    EXPECT_EQ(xml, L"<source_reel>A<1>&B</source_reel>");

    TrackStructuralData track{};
    CvWrappers::FileWriterCommon::assignXMLMetadata(xml, track);
    ASSERT_NE(track.extendedData, nullptr);
    EXPECT_EQ(track.extendedDataSize, 4u * (xml.size() + 1));
    uint32_t first = 0, last = 1;
    std::memcpy(&first, track.extendedData, 4);
    std::memcpy(&last, track.extendedData + 4 * xml.size(), 4);
    EXPECT_EQ(first, uint32_t('<'));
    EXPECT_EQ(last, 0u);
    Corvidane::freeExtendedData(track);
}

} // namespace
