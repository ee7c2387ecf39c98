#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "quicktime/JsonValue.h"
#include "support/TempDir.h"
#include "support/TestMedia.h"

// cvtool probe against ffprobe on what a consumer of packets sees: the order
// of the packets in the file, their times, the selections of streams and
// entries; and a file that fails part way still gives whole JSON.
namespace {

std::string probe(const std::string& args, int* status = nullptr, std::string* errors = nullptr)
{
    TempDir dir;
    std::string out = runCommand("HC_LOG_FILE=/dev/null " + shellQuote(CVTOOL_PATH) + " probe " + args + " 2> " +
                                     shellQuote(dir.file("err")),
                                 status);
    if (errors)
        *errors = readFile(dir.file("err"));
    return out;
}

JsonValue ffprobe(const std::string& args)
{
    return parseJson(runCommand("ffprobe -v error -of json " + args));
}

double rational(const std::string& text)
{
    const size_t slash = text.find('/');
    return std::stod(text.substr(0, slash)) / std::stod(text.substr(slash + 1));
}

// Each stream's time base, by index.
std::map<long long, double> timeBases(const JsonValue& document)
{
    std::map<long long, double> bases;
    for (const JsonValue& stream : document["streams"].items)
        if (stream.has("time_base"))
            bases[stream["index"].integer()] = rational(stream["time_base"].text);
    return bases;
}

// Packets one for one with ffprobe's (DV in AVI: a frame, or a chunk of
// sound, a packet) come in ffprobe's order; in every file the positions
// never go back.
TEST(ProbePackets, ComeInFileOrder)
{
    const std::string dv = testMedia("avi_dv_pal.avi");
    const JsonValue their = ffprobe("-show_packets " + shellQuote(dv));
    const JsonValue our = parseJson(probe("--packets " + shellQuote(dv)));
    ASSERT_EQ(our["packets"].items.size(), their["packets"].items.size());
    for (size_t i = 0; i < our["packets"].items.size(); ++i) {
        const JsonValue& a = our["packets"].items[i];
        const JsonValue& b = their["packets"].items[i];
        EXPECT_EQ(a["stream_index"].integer(), b["stream_index"].integer()) << i;
        EXPECT_EQ(a["pos"].text, b["pos"].text) << i;
        EXPECT_EQ(a["codec_type"].text, b["codec_type"].text) << i;
    }
    for (const char* name : {"h264_aac.mp4", "prores_pcm24_tc.mov", "mxf_op1a_mpeg2_pcm24.mxf", "avi_mpeg2_gop.avi"}) {
        const JsonValue packets = parseJson(probe("--packets " + shellQuote(testMedia(name))))["packets"];
        std::set<long long> streams;
        for (size_t i = 0; i < packets.items.size(); ++i) {
            streams.insert(packets.items[i]["stream_index"].integer());
            if (i > 0) {
                EXPECT_GE(packets.items[i]["pos"].integer(), packets.items[i - 1]["pos"].integer()) << name << " " << i;
            }
        }
        EXPECT_GE(streams.size(), 2u) << name << ": the streams are interleaved";
    }
}

// Pictures are shown when ffprobe shows them, long GOPs of MP4 and MXF
// included; decoding never comes after showing; sound runs on without gaps.
TEST(ProbePackets, TimesAgreeWithFfprobe)
{
    for (const char* name : {"h264_aac.mp4", "mxf_op1a_mpeg2_pcm24.mxf", "prores_pcm24_tc.mov", "mpeg2_longgop.mov"}) {
        SCOPED_TRACE(name);
        const std::string path = testMedia(name);
        const JsonValue our = parseJson(probe("--packets -select_streams v " + shellQuote(path)));
        const JsonValue their = ffprobe("-show_streams -show_packets -select_streams v " + shellQuote(path));
        const double ourBase = timeBases(our).begin()->second;
        const double theirBase = timeBases(their).begin()->second;
        const auto& a = our["packets"].items;
        const auto& b = their["packets"].items;
        ASSERT_EQ(a.size(), b.size());
        ASSERT_GT(a.size(), 9u);
        const double theirStart = b[0]["pts"].integer() * theirBase;
        for (size_t i = 0; i < a.size(); ++i) {
            ASSERT_TRUE(a[i].has("pts") && a[i].has("dts") && a[i].has("duration")) << i;
            EXPECT_NEAR(a[i]["pts"].integer() * ourBase, b[i]["pts"].integer() * theirBase - theirStart, 1e-6) << i;
            EXPECT_NEAR(a[i]["duration"].integer() * ourBase, b[i]["duration"].integer() * theirBase, 1e-6) << i;
            EXPECT_LE(a[i]["dts"].integer(), a[i]["pts"].integer()) << i;
            if (i > 0) {
                EXPECT_GT(a[i]["dts"].integer(), a[i - 1]["dts"].integer()) << i;
            }
        }
    }
    const JsonValue sound = parseJson(probe("--packets -select_streams a " + shellQuote(testMedia("prores_pcm24_tc.mov"))));
    long long next = 0;
    for (const JsonValue& packet : sound["packets"].items) {
        EXPECT_EQ(packet["pts"].integer(), next);
        next = packet["pts"].integer() + packet["duration"].integer();
    }
    EXPECT_EQ(next, std::stoll(sound["streams"].items[0]["nb_frames"].text)) << "the sound's samples, all of them";
}

// The selections give what ffprobe's give: the same streams, sections and keys.
TEST(ProbeSelection, StreamsSectionsAndKeysAsFfprobeSelectsThem)
{
    const std::string path = shellQuote(testMedia("prores_pcm24_tc.mov"));
    for (const std::string selection :
         {"-select_streams a -show_entries stream=index,codec_type,sample_rate:format=duration",
          "-select_streams v:0 -show_entries stream=index,width:stream_tags=timecode",
          "-select_streams 1 -show_entries stream=index,channels", "-show_entries format=nb_streams:format_tags",
          "-select_streams v -show_entries packet=stream_index,pos,size",
          "-select_streams d -show_entries stream=index,codec_type"}) {
        SCOPED_TRACE(selection);
        const JsonValue our = parseJson(probe(selection + " " + path));
        const JsonValue their = ffprobe(selection + " " + path);
        std::set<std::string> ourSections, theirSections;
        for (const auto& member : our.members)
            ourSections.insert(member.first);
        for (const auto& member : their.members)
            if (member.first != "programs")
                theirSections.insert(member.first);
        EXPECT_EQ(ourSections, theirSections);
        for (const char* section : {"streams", "packets"}) {
            if (!our.has(section) || !their.has(section))
                continue;
            ASSERT_EQ(our[section].items.size(), their[section].items.size()) << section;
            for (size_t i = 0; i < our[section].items.size(); ++i) {
                const JsonValue& a = our[section].items[i];
                const JsonValue& b = their[section].items[i];
                // The keys ffprobe can't give without the pictures, and the
                // tags it has and we don't, aside.
                for (const auto& member : b.members) {
                    if (member.first != "disposition" && member.first != "tags" && member.first.find("codec_") != 0) {
                        EXPECT_TRUE(a.has(member.first)) << section << " " << i << " " << member.first;
                    }
                }
                for (const auto& member : a.members)
                    EXPECT_TRUE(b.has(member.first)) << section << " " << i << " " << member.first;
                if (b.has("index")) {
                    EXPECT_EQ(a["index"].integer(), b["index"].integer());
                }
                if (b.has("tags") && b["tags"].has("timecode")) {
                    EXPECT_EQ(a["tags"]["timecode"].text, b["tags"]["timecode"].text);
                }
            }
        }
        if (their.has("format")) {
            for (const auto& member : our["format"].members)
                EXPECT_TRUE(their["format"].has(member.first)) << member.first;
        }
    }
}

// A movie cut short behind its index: the packets up to the cut, in JSON
// that parses, the failure on standard error, once, and exit 1.
TEST(ProbePackets, AReadThatFailsPartWayStillEndsTheJson)
{
    const std::string source = testMedia("h264_aac.mp4");
    TempDir dir;
    const std::string cut = dir.file("cut.mp4");
    const std::string bytes = readFile(source);
    writeFile(cut, bytes.substr(0, bytes.size() * 6 / 10));
    int status = 0;
    std::string errors;
    const std::string out = probe("--packets --hash md5 " + shellQuote(cut), &status, &errors);
    EXPECT_EQ(status, 1);
    const JsonValue document = parseJson(out);
    const size_t listed = document["packets"].items.size();
    const size_t whole = parseJson(probe("--packets " + shellQuote(source)))["packets"].items.size();
    EXPECT_GT(listed, 10u);
    EXPECT_LT(listed, whole);
    EXPECT_EQ(document["streams"].items.size(), 2u);
    EXPECT_EQ(errors.rfind("cvtool: " + cut + ": cannot read sample ", 0), 0u) << errors;
    EXPECT_EQ(std::count(errors.begin(), errors.end(), '\n'), 1) << errors;
    for (const JsonValue& packet : document["packets"].items)
        EXPECT_LE(packet["pos"].integer() + packet["size"].integer(), (long long)(bytes.size() * 6 / 10));
}

} // namespace
