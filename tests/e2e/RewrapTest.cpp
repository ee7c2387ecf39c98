#include <gtest/gtest.h>

#include <string>

#include "quicktime/MediaName.h"
#include "support/RewrapChecks.h"
#include "support/TempDir.h"
#include "support/TestMedia.h"

// cvtool rewrap reads a file through the reader resource and writes it through
// the writer resource of the output's container, as the editor would.
// ffprobe and ffmpeg judge the copy: the same coded pictures, the same sound,
// the same timecode.
namespace {

TEST(Rewrap, ProResWithSoundAndTimecodeToAMovieKeepsEverySampleAndTheTimecode)
{
    for (const char* layout : {"", "--index-last "}) {
        SCOPED_TRACE(layout);
        TempDir dir;
        const std::string source = testMedia("prores_pcm24_tc.mov");
        const std::string copy = dir.file("copy.mov");
        rewrap(source, copy, layout);
        const std::string packets = videoPackets(source);
        ASSERT_FALSE(packets.empty());
        EXPECT_EQ(videoPackets(copy), packets);
        const std::string sound = " -map 0:a:0 -f s24le - ";
        EXPECT_EQ(run("ffmpeg -v error -i " + shellQuote(copy) + sound + "| md5sum"),
                  run("ffmpeg -v error -i " + shellQuote(source) + sound + "| md5sum"));
        const std::string timecode = "ffprobe -v error -show_entries stream_tags=timecode -of csv=p=0 ";
        EXPECT_EQ(run(timecode + shellQuote(copy)).substr(0, 11), "01:00:00:00");
        EXPECT_EQ(mediainfoComplaints(copy), "0\n");
        // Where the index lies: ahead of the samples, or behind them.
        const std::string atoms = run("ffprobe -v trace -i " + shellQuote(copy) +
                                      " 2>&1 | grep -oE \"type:'(moov|mdat)'\" | head -n 2");
        EXPECT_EQ(atoms.find("moov") < atoms.find("mdat"), std::string(layout).empty()) << atoms;
    }
}

// Sources of every kind the movie writer takes, from movies and AVI files,
// with the index first and last: the copy holds the same coded pictures (H.264, which goes to a byte
// stream and back, the same decoded frames and key frames), the same sound
// and the same timecode, and our own reader agrees with ffprobe on it.
class RewrapSources : public ::testing::TestWithParam<const char*> {};

TEST_P(RewrapSources, CopyHoldsTheSourcesPicturesSoundAndTimecode)
{
    for (const char* layout : {"", "--index-last "}) {
        SCOPED_TRACE(layout);
        TempDir dir;
        const std::string source = testMedia(GetParam());
        const std::string copy = dir.file("copy.mov");
        rewrap(source, copy, layout);
        const bool avc = run("ffprobe -v error -select_streams v:0 -show_entries stream=codec_name -of csv=p=0 " +
                             shellQuote(source)) == "h264\n";
        if (avc) {
            EXPECT_EQ(decodedFrames(copy), decodedFrames(source));
            EXPECT_EQ(keyFlags(copy), keyFlags(source));
        } else {
            EXPECT_EQ(videoPackets(copy), videoPackets(source));
        }
        // PCM goes along; compressed sound, which the editor would decode first,
        // is left out.
        const std::string sound = run("ffprobe -v error -select_streams a -show_entries stream=codec_name -of csv=p=0 " +
                                      shellQuote(source));
        const std::string copied = run("ffprobe -v error -select_streams a -show_entries stream=codec_name -of csv=p=0 " +
                                       shellQuote(copy));
        if (sound.rfind("pcm_", 0) == 0)
            EXPECT_EQ(decodedSound(copy), decodedSound(source));
        else
            EXPECT_EQ(copied, "");
        // The movie always has a timecode track; without one to copy it starts at 0.
        const std::string timecode = timecodeOf(source);
        EXPECT_EQ(timecodeOf(copy), timecode.empty() ? "00:00:00:00" : timecode);
        // Our reader lists the copy's pictures as ffprobe does.
        EXPECT_EQ(ourVideoPackets(copy), videoPacketsKeyFlagOnly(copy));
    }
}

TEST(Rewrap, TheTapesNameAndTimecodeCarryOver)
{
    TempDir dir;
    const std::string copy = dir.file("copy.mov");
    rewrap(testMedia("mjpeg_reel_tc.mov"), copy);
    const std::string tags =
        run("ffprobe -v error -show_entries stream_tags=reel_name,timecode -of compact " + shellQuote(copy));
    EXPECT_NE(tags.find("reel_name=REEL01"), std::string::npos) << tags;
    EXPECT_NE(tags.find("timecode=10:00:00:00"), std::string::npos) << tags;
}

INSTANTIATE_TEST_SUITE_P(Movies, RewrapSources,
                         ::testing::Values("dnxhd.mov", "dnxhr.mov", "mpeg2_longgop.mov", "mjpeg_small.mov", "v210.mov",
                                           "h264_dropframe.mov", "avi_dv_pal.avi", "avi_mjpeg_pcm16.avi",
                                           "avi_mpeg2_gop.avi", "avi_h264.avi", "h264_aac.mp4", "frag_empty_moov.mp4"),
                         mediaTestName);

// DV with sound, as the editor would write it to MXF (OP1a) and back to a
// movie: the same coded pictures and sound at each step, and files that
// mediainfo and our reader take whole.
TEST(Rewrap, DvToMxfAndBackKeepsPicturesAndSound)
{
    TempDir dir;
    const std::string source = testMedia("avi_dv_pal.avi");
    const std::string mxf = dir.file("copy.mxf");
    const std::string movie = dir.file("back.mov");
    rewrap(source, mxf);
    rewrap(mxf, movie);
    const std::string packets = videoPackets(source);
    const std::string sound = " -map 0:a:0 -c:a pcm_s32le -f md5 - ";
    const std::string expectedSound = run("ffmpeg -v error -i " + shellQuote(source) + sound);
    for (const std::string& copy : {mxf, movie}) {
        SCOPED_TRACE(copy);
        EXPECT_EQ(videoPackets(copy), packets);
        EXPECT_EQ(run("ffmpeg -v error -i " + shellQuote(copy) + sound), expectedSound);
        EXPECT_EQ(mediainfoComplaints(copy), "0\n");
        EXPECT_NE(run(shellQuote(CVTOOL_PATH) + " read " + shellQuote(copy) + " 2>/dev/null").find("frames 25 "),
                  std::string::npos);
    }
}

TEST(Rewrap, AvcFromMp4DecodesToTheSameFrames)
{
    TempDir dir;
    const std::string source = testMedia("h264_aac.mp4");
    const std::string copy = dir.file("copy.mov");
    rewrap(source, copy);
    const std::string frames = " -map 0:v:0 -fps_mode passthrough -f framemd5 - | grep -v '^#' | awk -F, '{print $NF}'";
    const std::string expected = run("ffmpeg -v error -i " + shellQuote(source) + frames);
    ASSERT_FALSE(expected.empty());
    EXPECT_EQ(run("ffmpeg -v error -i " + shellQuote(copy) + frames), expected);
}

TEST(Rewrap, RefusesWhatNoResourceWrites)
{
    TempDir dir;
    int status = 0;
    const std::string out = runCommand(shellQuote(CVTOOL_PATH) + " rewrap " + shellQuote(testMedia("h264_aac.mp4")) +
                                           " " + shellQuote(dir.file("copy.xyz")) + " 2>&1",
                                       &status);
    EXPECT_EQ(status, 1);
    EXPECT_NE(out.find("no writer"), std::string::npos) << out;
}

} // namespace
