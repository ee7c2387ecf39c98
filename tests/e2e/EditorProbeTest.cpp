#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <fstream>
#include <string>
#include <vector>

#include "quicktime/JsonValue.h"
#include "quicktime/MediaName.h"
#include "support/TempDir.h"
#include "support/TestMedia.h"

// What the editor sees of a file, as cvtool probe shows it through the read
// front end's records, against ffprobe: picture shape, field order, colour,
// duration and frame count of the video, channels and rate of the sound; and
// every key both print has ffprobe's JSON type, so that a consumer of
// ffprobe's JSON reads ours. Where the front end repairs a value (a capture
// rate, a variable rate counted at its highest), the container's own value
// stands beside it under a key of ours, and that one agrees with ffprobe.
namespace {

JsonValue probeOf(const std::string& command, const std::string& path)
{
    int status = 0;
    std::string out = runCommand(command + " " + shellQuote(path) + " 2>/dev/null", &status);
    EXPECT_EQ(status, 0) << command << " " << path;
    return parseJson(out);
}

JsonValue ours(const std::string& path)
{
    return probeOf("HC_LOG_FILE=/dev/null " + shellQuote(CVTOOL_PATH) + " probe", path);
}

JsonValue theirs(const std::string& path)
{
    return probeOf("ffprobe -v error -show_format -show_streams -of json", path);
}

const JsonValue* firstOfType(const JsonValue& probe, const std::string& type)
{
    for (const JsonValue& stream : probe["streams"].items)
        if (stream["codec_type"].text == type)
            return &stream;
    return nullptr;
}

double number(const JsonValue& value) { return value.kind == JsonValue::String ? std::atof(value.text.c_str()) : value.number; }

double rateOf(const JsonValue& value)
{
    const std::string& text = value.text;
    const size_t slash = text.find('/');
    const double denominator = slash == std::string::npos ? 1 : std::atof(text.c_str() + slash + 1);
    return denominator ? std::atof(text.c_str()) / denominator : 0;
}

// Every member that both objects hold has the same JSON kind.
void expectSameTypes(const JsonValue& our, const JsonValue& their, const std::string& where)
{
    for (const auto& member : our.members) {
        if (!their.has(member.first))
            continue;
        EXPECT_EQ(member.second.kind, their[member.first].kind) << where << "." << member.first;
        if (member.second.kind == JsonValue::Object)
            expectSameTypes(member.second, their[member.first], where + "." + member.first);
    }
}

// The container's value where the front end repaired one, else the value.
const JsonValue& containerValue(const JsonValue& stream, const std::string& key)
{
    return stream.has("cv_container_" + key) ? stream["cv_container_" + key] : stream[key];
}

class EditorProbe : public ::testing::TestWithParam<const char*> {};

TEST_P(EditorProbe, AgreesWithFfprobeOnWhatTheEditorSees)
{
    const std::string path = testMedia(GetParam());
    const JsonValue our = ours(path);
    const JsonValue their = theirs(path);
    expectSameTypes(our["format"], their["format"], "format");

    const JsonValue* ourVideo = firstOfType(our, "video");
    const JsonValue* theirVideo = firstOfType(their, "video");
    ASSERT_EQ(ourVideo != nullptr, theirVideo != nullptr);
    if (ourVideo) {
        expectSameTypes(*ourVideo, *theirVideo, "video");
        const JsonValue& v = *ourVideo;
        const JsonValue& t = *theirVideo;
        const double frame = 1.0 / rateOf(t["r_frame_rate"]);
        EXPECT_NEAR(number(containerValue(v, "duration")), number(t["duration"]), frame + 1e-6);
        if (t.has("nb_frames")) {
            EXPECT_EQ(containerValue(v, "nb_frames").integer(), t["nb_frames"].integer());
        }
        // The repaired length and rate still give the duration shown.
        EXPECT_NEAR(number(v["duration"]), number(v["nb_frames"]) / rateOf(v["avg_frame_rate"]), 1e-3);
        EXPECT_EQ(v["sample_aspect_ratio"].text, t["sample_aspect_ratio"].text);
        // MXF pictures are as high as stored (whole rows of 16 lines from
        // ffmpeg), and the picture's aspect follows that height.
        if (v["height"].integer() == t["height"].integer()) {
            EXPECT_EQ(v["display_aspect_ratio"].text, t["display_aspect_ratio"].text);
        }
        // What the container doesn't say (an H.264 movie's scan), ffprobe
        // learns from the pictures, and what the pictures don't say it
        // leaves out; where both say, they agree.
        for (const char* key : {"field_order", "color_primaries", "color_transfer"})
            if (v.has(key) && t.has(key) && t[key].text != "unknown") {
                EXPECT_EQ(v[key].text, t[key].text) << key;
            }
    }

    const JsonValue* ourAudio = firstOfType(our, "audio");
    const JsonValue* theirAudio = firstOfType(their, "audio");
    ASSERT_EQ(ourAudio != nullptr, theirAudio != nullptr);
    if (ourAudio) {
        expectSameTypes(*ourAudio, *theirAudio, "audio");
        EXPECT_EQ((*ourAudio)["channels"].integer(), (*theirAudio)["channels"].integer());
        EXPECT_EQ((*ourAudio)["sample_rate"].text, (*theirAudio)["sample_rate"].text);
        // Within one coded frame of sound (AAC's 1024 samples), where
        // ffprobe tells one (not for sound in AVI).
        const double sampleRate = number((*theirAudio)["sample_rate"]);
        if (theirAudio->has("duration")) {
            EXPECT_NEAR(number((*ourAudio)["duration"]), number((*theirAudio)["duration"]), 1024 / sampleRate + 1e-6);
        }
    }
}

INSTANTIATE_TEST_SUITE_P(FrontEnd, EditorProbe,
                         ::testing::Values("front_sd_anamorphic.mov", "front_interlaced_tff.mov",
                                           "front_interlaced_bff.mov", "front_bt709.mov", "front_capture_fps.mp4",
                                           "front_mono_aac.mp4", "front_vfr.mp4", "prores_pcm24_tc.mov",
                                           "h264_aac.mp4", "avi_dv_pal.avi", "avi_mjpeg_pcm16.avi",
                                           "mxf_op1a_mpeg2_pcm24.mxf", "mxf_op1a_dv.mxf", "mxf_opatom_dnxhd.mxf"),
                         mediaTestName);

// Every fixture the plug-in reads: the names tests/media/make_media.sh makes,
// by extension, less the one above 1 GiB that only a disabled test makes.
const std::vector<std::string>& readableFixtures()
{
    static const std::vector<std::string> names = [] {
        std::vector<std::string> found;
        std::ifstream script(CV_MEDIA_SCRIPT);
        // A recipe starts with its name and a parenthesis, alone on a line.
        for (std::string line; std::getline(script, line);) {
            const std::string name = line.substr(0, line.size() - 1);
            const std::string extension = name.substr(name.rfind('.') + 1);
            const bool recipe = !line.empty() && line.back() == ')' && name.find('.') != std::string::npos &&
                                name.find_first_not_of("abcdefghijklmnopqrstuvwxyz0123456789_.") == std::string::npos;
            if (recipe && std::string(" mov mp4 m4a m4v lrv avi mxf ").find(" " + extension + " ") != std::string::npos &&
                name != "avi_opendml_1g.avi")
                found.push_back(name);
        }
        return found;
    }();
    return names;
}

std::vector<const char*> fixtureNames()
{
    std::vector<const char*> names;
    for (const std::string& name : readableFixtures())
        names.push_back(name.c_str());
    return names;
}

// What a consumer written for ffprobe's JSON (tests/e2e/ffprobe_consumer.py)
// makes of a document: a line for the format, one per stream, one for the
// packets; with its exit status.
std::string consume(const std::string& document, int* status)
{
    TempDir dir;
    writeFile(dir.file("probe.json"), document);
    return runCommand("python3 " + shellQuote(std::string(CV_TESTS_DIR) + "/e2e/ffprobe_consumer.py") + " < " +
                          shellQuote(dir.file("probe.json")) + " 2>&1",
                      status);
}

size_t lineCount(const std::string& text) { return size_t(std::count(text.begin(), text.end(), '\n')); }

class FfprobeConsumer : public ::testing::TestWithParam<const char*> {};

// The consumer reads ffprobe's document of the file, and ours, with and
// without packets, unchanged.
TEST_P(FfprobeConsumer, ReadsOurProbeAsItReadsFfprobes)
{
    const std::string path = testMedia(GetParam());
    int status = 0;
    const std::string their = runCommand("ffprobe -v error -show_format -show_streams -show_packets -of json " +
                                         shellQuote(path));
    const size_t theirStreams = parseJson(their)["streams"].items.size();
    std::string read = consume(their, &status);
    ASSERT_EQ(status, 0) << "ffprobe's own document: " << read;
    EXPECT_EQ(lineCount(read), theirStreams + 2) << read;

    for (const char* options : {"probe ", "probe --packets "}) {
        const std::string our =
            runCommand("HC_LOG_FILE=/dev/null " + shellQuote(CVTOOL_PATH) + " " + options + shellQuote(path), &status);
        ASSERT_EQ(status, 0) << options;
        read = consume(our, &status);
        EXPECT_EQ(status, 0) << options << read;
        EXPECT_EQ(lineCount(read), parseJson(our)["streams"].items.size() + 2) << options << read;
    }
}

INSTANTIATE_TEST_SUITE_P(EveryFixture, FfprobeConsumer, ::testing::ValuesIn(fixtureNames()), mediaTestName);

// The files made to show a mapping do show it: the field orders, the colour,
// the non-square pixels, the capture rate and the variable rate.
TEST(EditorProbeMappings, EachFileShowsWhatItWasMadeFor)
{
    auto video = [](const char* name) { return *firstOfType(ours(testMedia(name)), "video"); };
    EXPECT_EQ(video("front_interlaced_tff.mov")["field_order"].text, "tt");
    EXPECT_EQ(video("front_interlaced_bff.mov")["field_order"].text, "bb");
    EXPECT_EQ(video("front_bt709.mov")["color_primaries"].text, "bt709");
    EXPECT_EQ(video("front_bt709.mov")["color_transfer"].text, "bt709");
    EXPECT_EQ(video("front_sd_anamorphic.mov")["sample_aspect_ratio"].text, "16:15");

    const JsonValue slowMotion = video("front_capture_fps.mp4");
    EXPECT_EQ(slowMotion["avg_frame_rate"].text, "120/1");
    EXPECT_EQ(slowMotion["cv_container_frame_rate"].text, "30/1");
    EXPECT_NEAR(number(slowMotion["duration"]), 0.5, 1e-6) << "60 frames played at the capture rate";

    // Frames of 40 and 80 ms by turns: counted at the highest rate, 25.
    const JsonValue variable = video("front_vfr.mp4");
    EXPECT_EQ(variable["avg_frame_rate"].text, "25/1");
    EXPECT_EQ(variable["cv_container_nb_frames"].text, "50");
    EXPECT_EQ(variable["nb_frames"].text, "75");
}

} // namespace
