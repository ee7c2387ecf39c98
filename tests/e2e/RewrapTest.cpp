#include <gtest/gtest.h>

#include <string>

#include "support/TempDir.h"
#include "support/TestMedia.h"

// cvtool rewrap reads a file through the reader resource and writes it through
// the writer resource of the output's container, as the editor would.
// ffprobe and ffmpeg judge the copy: the same coded pictures, the same sound,
// the same timecode.
namespace {

std::string run(const std::string& command)
{
    int status = 0;
    std::string out = runCommand(command, &status);
    EXPECT_EQ(status, 0) << command << "\n" << out;
    return out;
}

void rewrap(const std::string& source, const std::string& output, const std::string& options = "")
{
    run("HC_LOG_FILE=/dev/null " + shellQuote(CVTOOL_PATH) + " rewrap " + options + shellQuote(source) + " " +
        shellQuote(output) + " 2>&1");
}

std::string videoPackets(const std::string& path)
{
    return run("ffprobe -v error -select_streams v:0 -show_data_hash MD5 -show_entries packet=size,flags,data_hash "
               "-of csv=p=0 " + shellQuote(path));
}

std::string md5Of(const std::string& command) { return run(command + " | md5sum"); }

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
        EXPECT_EQ(md5Of("ffmpeg -v error -i " + shellQuote(copy) + sound),
                  md5Of("ffmpeg -v error -i " + shellQuote(source) + sound));
        const std::string timecode = "ffprobe -v error -show_entries stream_tags=timecode -of csv=p=0 ";
        EXPECT_EQ(run(timecode + shellQuote(copy)).substr(0, 11), "01:00:00:00");
        EXPECT_EQ(run("mediainfo " + shellQuote(copy) + " | grep -ciE 'truncated|error' || true"), "0\n");
        // Where the index lies: ahead of the samples, or behind them.
        const std::string atoms = run("ffprobe -v trace -i " + shellQuote(copy) +
                                      " 2>&1 | grep -oE \"type:'(moov|mdat)'\" | head -n 2");
        EXPECT_EQ(atoms.find("moov") < atoms.find("mdat"), std::string(layout).empty()) << atoms;
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
