#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "quicktime/JsonValue.h"
#include "quicktime/MediaName.h"
#include "quicktime/ProbeJson.h"
#include "support/TestMedia.h"

// cvtool reads an MXF file through the plug-in as the host does; ffprobe reads
// it on its own. ffprobe lists the essence streams only, and cvtool every
// track of the source package (timecode tracks too), so streams are paired by
// kind in order. Every video frame must agree in size, bytes and key flag,
// every audio stream in its bytes, and the file in its timecode.
//
// Two answers differ by design. The height is the stored one, and ffmpeg's
// muxer stores a picture in whole rows of 16 lines where ffprobe shows the
// picture's own height. D-10 sound is read as the AES3 element holds it,
// eight 4-byte subframes a sample, where ffprobe lists the PCM of the named
// channels (D10SoundTest compares the samples themselves).
namespace {

struct MxfCase {
    const char* file;
    bool aes3Sound;
};

std::string caseName(const ::testing::TestParamInfo<MxfCase>& info)
{
    return mediaTestName(::testing::TestParamInfo<const char*>(info.param.file, info.index));
}

long long storedHeight(long long pictureHeight)
{
    return (pictureHeight + 15) / 16 * 16;
}

std::vector<const JsonValue*> streamsOfType(const JsonValue& probe, const std::string& type)
{
    std::vector<const JsonValue*> streams;
    for (const JsonValue& stream : probe["streams"].items)
        if (stream["codec_type"].text == type)
            streams.push_back(&stream);
    return streams;
}

void compareFrames(const JsonValue& theirs, const JsonValue& ours, const JsonValue& theirProbe,
                   const JsonValue& ourProbe)
{
    auto their = packetsOf(theirProbe, theirs["index"].integer());
    auto our = packetsOf(ourProbe, ours["index"].integer());
    ASSERT_EQ(our.size(), their.size()) << "frame count";
    for (size_t i = 0; i < our.size(); ++i) {
        EXPECT_EQ((*our[i])["size"].integer(), (*their[i])["size"].integer()) << "frame " << i;
        EXPECT_EQ((*our[i])["data_hash"].text, (*their[i])["data_hash"].text) << "frame " << i;
        EXPECT_EQ((*our[i])["flags"].text.substr(0, 1), (*their[i])["flags"].text.substr(0, 1))
            << "key flag of frame " << i;
    }
}

class MxfProbeAgreement : public ::testing::TestWithParam<MxfCase> {};

TEST_P(MxfProbeAgreement, FramesSoundAndTimecodeMatchFfprobe)
{
    std::string path = testMedia(GetParam().file);
    JsonValue ours = cvtoolProbe(path);
    JsonValue theirs = ffprobe(path);

    auto theirVideo = streamsOfType(theirs, "video");
    auto ourVideo = streamsOfType(ours, "video");
    ASSERT_EQ(ourVideo.size(), theirVideo.size());
    for (size_t i = 0; i < theirVideo.size(); ++i) {
        SCOPED_TRACE("video stream " + std::to_string(i));
        EXPECT_EQ((*ourVideo[i])["width"].integer(), (*theirVideo[i])["width"].integer());
        EXPECT_EQ((*ourVideo[i])["height"].integer(), storedHeight((*theirVideo[i])["height"].integer()));
        EXPECT_EQ((*ourVideo[i])["r_frame_rate"].text, (*theirVideo[i])["r_frame_rate"].text);
        compareFrames(*theirVideo[i], *ourVideo[i], theirs, ours);
    }

    auto theirAudio = streamsOfType(theirs, "audio");
    auto ourAudio = streamsOfType(ours, "audio");
    ASSERT_EQ(ourAudio.size(), theirAudio.size());
    for (size_t i = 0; i < theirAudio.size(); ++i) {
        SCOPED_TRACE("audio stream " + std::to_string(i));
        EXPECT_EQ((*ourAudio[i])["sample_rate"].integer(), (*theirAudio[i])["sample_rate"].integer());
        EXPECT_EQ((*ourAudio[i])["channels"].integer(), (*theirAudio[i])["channels"].integer());
        auto our = packetsOf(ours, (*ourAudio[i])["index"].integer());
        ASSERT_FALSE(our.empty());
        long long expected = totalBytes(packetsOf(theirs, (*theirAudio[i])["index"].integer()));
        if (GetParam().aes3Sound) {
            const long long sampleBytes =
                (*theirAudio[i])["channels"].integer() * ((*theirAudio[i])["bits_per_sample"].integer() / 8);
            ASSERT_GT(sampleBytes, 0);
            expected = expected / sampleBytes * 8 * 4;
        }
        EXPECT_EQ(totalBytes(our), expected);
    }
    EXPECT_FALSE(theirVideo.empty() && theirAudio.empty());
    EXPECT_EQ(ours["format"]["tags"]["timecode"].text, theirs["format"]["tags"]["timecode"].text);
}

INSTANTIATE_TEST_SUITE_P(FfmpegMxf, MxfProbeAgreement,
                         ::testing::Values(MxfCase{"mxf_op1a_mpeg2_tc.mxf", false},
                                           MxfCase{"mxf_op1a_mpeg2_pcm24.mxf", false}, MxfCase{"mxf_op1a_dv.mxf", false},
                                           MxfCase{"mxf_jpeg2000.mxf", false},
                                           MxfCase{"mxf_op1a_mpeg2_pcm24_tc.mxf", false},
                                           MxfCase{"mxf_opatom_dnxhd.mxf", false},
                                           MxfCase{"mxf_opatom_pcm24.mxf", false}, MxfCase{"mxf_d10.mxf", true},
                                           MxfCase{"mxf_op1a_dnxhd.mxf", false}, MxfCase{"mxf_prores.mxf", false},
                                           MxfCase{"mxf_h264.mxf", false}, MxfCase{"mxf_pipe.mxf", false},
                                           MxfCase{"mxf_dropframe.mxf", false}),
                         caseName);

} // namespace
