#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "quicktime/MediaName.h"
#include "quicktime/JsonValue.h"
#include "quicktime/ProbeJson.h"
#include "support/TestMedia.h"

// cvtool reads a movie through the plug-in as the host does; ffprobe reads
// the same file on its own. Every video sample must agree in size, bytes and
// key flag; every audio stream in its bytes; the streams in size, rate, frame
// count and timecode.
namespace {

void compareVideo(const JsonValue& theirs, const JsonValue& ours, const JsonValue& theirProbe,
                  const JsonValue& ourProbe)
{
    EXPECT_EQ(ours["width"].integer(), theirs["width"].integer());
    EXPECT_EQ(ours["height"].integer(), theirs["height"].integer());
    EXPECT_EQ(ours["r_frame_rate"].text, theirs["r_frame_rate"].text);
    EXPECT_EQ(ours["nb_frames"].integer(), theirs["nb_frames"].integer());
    compareVideoPackets(theirProbe, ourProbe, theirs["index"].integer());
}

// Every packet that ffprobe shows, in the same bytes; the editor's sound
// starts where the movie's does, so the priming packets that ffprobe lists
// ahead of the edit, flagged discardable, are left out.
void compareAudio(const JsonValue& theirs, const JsonValue& ours, const JsonValue& theirProbe,
                  const JsonValue& ourProbe)
{
    EXPECT_EQ(ours["sample_rate"].integer(), theirs["sample_rate"].integer());
    EXPECT_EQ(ours["channels"].integer(), theirs["channels"].integer());
    auto their = packetsOf(theirProbe, theirs["index"].integer());
    auto our = packetsOf(ourProbe, theirs["index"].integer());
    ASSERT_FALSE(our.empty());
    auto shown = their.begin();
    while (shown != their.end() && (**shown)["flags"].text.find('D') != std::string::npos)
        ++shown;
    ASSERT_NE(shown, their.end());
    EXPECT_EQ((*our.front())["pos"].integer(), (**shown)["pos"].integer());
    EXPECT_EQ(totalBytes(our), totalBytes({shown, their.end()}));
}

std::string theirTimecode(const JsonValue& probe)
{
    for (const JsonValue& stream : probe["streams"].items)
        if (stream["codec_tag_string"].text == "tmcd")
            return stream["tags"]["timecode"].text;
    return {};
}

class ProbeAgreement : public ::testing::TestWithParam<const char*> {};

TEST_P(ProbeAgreement, SamplesStreamsAndTimecodeMatchFfprobe)
{
    std::string path = testMedia(GetParam());
    JsonValue ours = cvtoolProbe(path);
    JsonValue theirs = ffprobe(path);
    const auto& ourStreams = ours["streams"].items;
    const auto& theirStreams = theirs["streams"].items;
    ASSERT_EQ(ourStreams.size(), theirStreams.size());
    bool compared = false;
    for (size_t i = 0; i < theirStreams.size(); ++i) {
        SCOPED_TRACE("stream " + std::to_string(i));
        const std::string& type = theirStreams[i]["codec_type"].text;
        EXPECT_EQ(ourStreams[i]["codec_tag_string"].text, theirStreams[i]["codec_tag_string"].text);
        if (type == "video")
            compareVideo(theirStreams[i], ourStreams[i], theirs, ours), compared = true;
        else if (type == "audio")
            compareAudio(theirStreams[i], ourStreams[i], theirs, ours), compared = true;
    }
    EXPECT_TRUE(compared);
    EXPECT_EQ(ours["format"]["tags"]["timecode"].text, theirTimecode(theirs));
}

INSTANTIATE_TEST_SUITE_P(FfmpegMovies, ProbeAgreement,
                         ::testing::Values("prores_pcm24_tc.mov", "h264_aac.mp4", "h264_dropframe.mov",
                                           "mpeg2_longgop.mov", "dnxhd.mov", "dnxhr.mov", "mjpeg_small.mov",
                                           "v210.mov", "hevc.mov", "aac_only.m4a", "h264_only.m4v",
                                           "camera_proxy.lrv", "aac_after_video.mp4", "h264_edit_after_key.mp4"),
                         mediaTestName);

} // namespace
