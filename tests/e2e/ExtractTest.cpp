#include <gtest/gtest.h>

#include <string>

#include "support/TempDir.h"
#include "support/TestMedia.h"

// cvtool extract writes a stream as the editor receives it. ffmpeg is the
// judge: AVC from an MP4 must decode to the source's frames, other video is
// the stored samples back to back, and sound the stored samples.
namespace {

std::string run(const std::string& command)
{
    int status = 0;
    std::string out = runCommand(command, &status);
    EXPECT_EQ(status, 0) << command << "\n" << out;
    return out;
}

std::string extract(const std::string& source, const std::string& output, const std::string& options = "")
{
    return run("HC_LOG_FILE=/dev/null " + shellQuote(CVTOOL_PATH) + " extract " + options + " " + shellQuote(source) +
               " " + shellQuote(output) + " 2>&1");
}

// Decoded frames' hashes, without ffmpeg's header lines.
std::string decodedFrames(const std::string& input, const std::string& options)
{
    return run("ffmpeg -v error " + options + " -i " + shellQuote(input) + " -map 0:v:0 -f framemd5 - | grep -v '^#'" +
               " | awk -F, '{print $NF}'");
}

std::string md5Of(const std::string& command) { return run(command + " | md5sum"); }

TEST(Extract, AvcFromMp4DecodesToTheSourcesFrames)
{
    TempDir dir;
    for (const char* name : {"h264_aac.mp4", "front_vfr.mp4", "h264_edit_after_key.mp4"}) {
        SCOPED_TRACE(name);
        const std::string source = testMedia(name);
        const std::string stream = dir.file("video.h264");
        extract(source, stream);
        const std::string expected = decodedFrames(source, "");
        ASSERT_FALSE(expected.empty());
        // Frames in coded order from the first sample: an edit that starts
        // inside a GOP shows fewer, all of them among the extracted.
        const std::string got = decodedFrames(stream, "-f h264");
        if (std::string(name) == "h264_edit_after_key.mp4")
            EXPECT_NE(got.find(expected.substr(0, expected.find('\n'))), std::string::npos);
        else
            EXPECT_EQ(got, expected);
    }
}

TEST(Extract, OtherVideoIsTheStoredSamplesBackToBack)
{
    TempDir dir;
    const std::string source = testMedia("mpeg2_longgop.mov");
    extract(source, dir.file("video.m2v"));
    EXPECT_EQ(md5Of("cat " + shellQuote(dir.file("video.m2v"))),
              md5Of("ffmpeg -v error -i " + shellQuote(source) + " -map 0:v:0 -c copy -f mpeg2video -"));
}

TEST(Extract, SoundIsTheStoredSamples)
{
    struct Case {
        const char* file;
        const char* stream;
        const char* format;
    };
    // A movie, MXF stored frame by frame, an OP-Atom sound file and an AVI.
    for (const Case& c : {Case{"prores_pcm24_tc.mov", "1", "s24le"}, Case{"mxf_op1a_mpeg2_pcm24.mxf", "", "s24le"},
                          Case{"mxf_opatom_pcm24.mxf", "", "s24le"}, Case{"avi_mjpeg_pcm16.avi", "1", "s16le"}}) {
        SCOPED_TRACE(c.file);
        TempDir dir;
        const std::string source = testMedia(c.file);
        std::string options = *c.stream ? std::string("--stream ") + c.stream : std::string();
        // Without --stream, a file with pictures gives its pictures.
        if (!*c.stream && std::string(c.file) != "mxf_opatom_pcm24.mxf") {
            const std::string probe = run(shellQuote(CVTOOL_PATH) + " probe " + shellQuote(source) + " 2>/dev/null");
            const size_t audio = probe.find("\"codec_type\": \"audio\"");
            ASSERT_NE(audio, std::string::npos);
            const size_t index = probe.rfind("\"index\": ", audio);
            options = "--stream " + probe.substr(index + 9, probe.find(',', index) - index - 9);
        }
        extract(source, dir.file("sound.raw"), options);
        EXPECT_EQ(md5Of("cat " + shellQuote(dir.file("sound.raw"))),
                  md5Of("ffmpeg -v error -i " + shellQuote(source) + " -map 0:a:0 -c:a copy -f " + c.format + " -"));
    }
}

TEST(Extract, RefusesWhatIsNoStreamOfTheEditors)
{
    TempDir dir;
    int status = 0;
    const std::string out =
        runCommand(shellQuote(CVTOOL_PATH) + " extract --stream 9 " + shellQuote(testMedia("h264_aac.mp4")) + " " +
                       shellQuote(dir.file("x")) + " 2>&1",
                   &status);
    EXPECT_EQ(status, 1);
    EXPECT_NE(out.find("stream 9 is neither"), std::string::npos) << out;
    runCommand(shellQuote(CVTOOL_PATH) + " extract only-one-path 2>&1", &status);
    EXPECT_EQ(status, 2);
}

} // namespace
