#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <map>
#include <string>
#include <vector>

#include "quicktime/JsonValue.h"
#include "support/MediainfoDetails.h"
#include "support/TempDir.h"
#include "support/TestMedia.h"

namespace {

const char* const ffmpegFiles[] = {"mxf_op1a_mpeg2_tc.mxf", "mxf_opatom_dnxhd.mxf", "mxf_d10.mxf", "mxf_pipe.mxf",
                                   "mxf_op1a_mpeg2_pcm24.mxf", "mxf_op1a_dv.mxf", "mxf_op1a_dnxhd.mxf",
                                   "mxf_opatom_pcm24.mxf", "mxf_prores.mxf", "mxf_jpeg2000.mxf", "mxf_h264.mxf"};

JsonValue dumpJson(const std::string& path)
{
    int status = 0;
    std::string out = runCommand(shellQuote(CVTOOL_PATH) + " dump --json " + shellQuote(path), &status);
    EXPECT_EQ(status, 0) << out;
    return parseJson(out);
}

// mediainfo's names of the sets, and the SMPTE class names the dump gives.
const std::map<std::string, std::string> classOfMediainfoName = {
    {"Preface", "Preface"},
    {"Identification", "Identification"},
    {"Content Storage", "ContentStorage"},
    {"Essence Container Data", "EssenceContainerData"},
    {"Material Package", "MaterialPackage"},
    {"Source Package", "SourcePackage"},
    {"Timeline Track", "TimelineTrack"},
    {"Sequence", "Sequence"},
    {"Source Clip", "SourceClip"},
    {"Timecode Component", "TimecodeComponent"},
    {"Multiple Descriptor", "MultipleDescriptor"},
    {"CDCI Essence Descriptor", "CDCIEssenceDescriptor"},
    {"MPEG-2 Video Descriptor", "MPEG2VideoDescriptor"},
    {"AES3 Descriptor", "AES3PCMDescriptor"},
    {"Generic Sound Essence Descriptor", "GenericSoundEssenceDescriptor"},
    {"Wave Audio Descriptor", "WAVEPCMDescriptor"},
    {"AVC Sub-Descriptor", "AVCSubDescriptor"},
};

class MxfDump : public ::testing::TestWithParam<const char*> {};

// The header partition's sets stand where mediainfo finds them, with its
// sizes and under the class mediainfo names; partitions are where their
// packs say they are.
TEST_P(MxfDump, SetsAndPartitionsAgreeWithMediainfo)
{
    const std::string path = testMedia(GetParam());
    JsonValue dump = dumpJson(path);
    const std::vector<JsonValue>& partitions = dump["partitions"].items;
    ASSERT_GE(partitions.size(), 2u);
    for (const JsonValue& partition : partitions)
        EXPECT_EQ(partition["offset"].integer(), partition["this_partition"].integer());
    const JsonValue& header = partitions[0];
    EXPECT_EQ(header["kind"].text, "Header");

    std::vector<MediainfoItem> theirs;
    long long headerEnd = partitions[1]["offset"].integer();
    for (const MediainfoItem& item : mediainfoItems(path))
        if (item.offset < headerEnd && classOfMediainfoName.count(item.name))
            theirs.push_back(item);
    const std::vector<JsonValue>& sets = header["sets"].items;
    ASSERT_EQ(sets.size(), theirs.size());
    for (size_t i = 0; i < sets.size(); ++i) {
        EXPECT_EQ(sets[i]["offset"].integer(), theirs[i].offset) << i;
        EXPECT_EQ(sets[i]["size"].integer(), theirs[i].size) << i;
        EXPECT_EQ(sets[i]["class"].text, classOfMediainfoName.at(theirs[i].name)) << theirs[i].offset;
    }

    std::vector<MediainfoItem> packs;
    for (const MediainfoItem& item : mediainfoItems(path))
        if (item.name.find("Partition Pack") != std::string::npos)
            packs.push_back(item);
    ASSERT_EQ(packs.size(), partitions.size());
    for (size_t i = 0; i < packs.size(); ++i) {
        EXPECT_EQ(partitions[i]["offset"].integer(), packs[i].offset);
        std::string status = partitions[i]["status"].text;
        std::replace(status.begin(), status.end(), '_', ' ');
        status.replace(status.find(' '), 1, " and ");
        EXPECT_EQ(status + " " + partitions[i]["kind"].text + " Partition Pack", packs[i].name);
    }
}

// Every set has its class and every property its name; ffprobe's
// identification and package identifiers read the same.
TEST_P(MxfDump, NoStructuralSetOrPropertyIsUnknown)
{
    const std::string path = testMedia(GetParam());
    JsonValue dump = dumpJson(path);
    std::map<std::string, std::string> values;
    for (const JsonValue& partition : dump["partitions"].items)
        for (const JsonValue& set : partition["sets"].items) {
            EXPECT_NE(set["class"].text, "unknown") << set["key"].text;
            for (const JsonValue& property : set["properties"].items) {
                EXPECT_NE(property["name"].text, "unknown") << set["class"].text << " " << property["label"].text;
                values[set["class"].text + "." + property["name"].text] = property["value"].text;
            }
        }
    auto tag = [&](const std::string& entry) {
        std::string value = runCommand("ffprobe -v error -show_entries " + entry + " -of csv=p=0 " + shellQuote(path));
        return value.substr(0, value.find_first_of(",\n"));
    };
    EXPECT_EQ(values["Identification.CompanyName"], tag("format_tags=company_name"));
    EXPECT_EQ(values["Identification.ProductName"], tag("format_tags=product_name"));
    EXPECT_EQ(values["Identification.ThisGenerationUID"], tag("format_tags=generation_uid"));
    std::string umid = values["MaterialPackage.PackageUID"];
    umid.erase(std::remove(umid.begin(), umid.end(), '.'), umid.end());
    std::transform(umid.begin(), umid.end(), umid.begin(), ::toupper);
    EXPECT_EQ("0x" + umid, tag("format_tags=material_package_umid"));
}

// The descriptors' picture size and sound format read as mediainfo reads them.
TEST_P(MxfDump, DescriptorsAgreeWithMediainfo)
{
    const std::string path = testMedia(GetParam());
    JsonValue dump = dumpJson(path);
    std::map<std::string, std::string> first;  // the first value of each property name
    for (const JsonValue& set : dump["partitions"].items[0]["sets"].items)
        for (const JsonValue& property : set["properties"].items)
            first.emplace(property["name"].text, property["value"].text);
    auto mediainfo = [&](const std::string& inform) {
        std::string out = runCommand("mediainfo --Inform='" + inform + "' " + shellQuote(path));
        return out.substr(0, out.find('\n'));
    };
    const std::string video = mediainfo("Video;%Width%x%Height%");
    if (!video.empty()) {
        // A layout of separate fields (DV) gives the height of a field.
        const int fields = first["FrameLayout"] == "1" ? 2 : 1;
        EXPECT_EQ(first["DisplayWidth"] + "x" + std::to_string(fields * std::atoi(first["DisplayHeight"].c_str())),
                  video);
    }
    const std::string audio = mediainfo("Audio;%Channels% %BitDepth% %SamplingRate%");
    if (!audio.empty()) {
        std::string rate = first["AudioSamplingRate"];
        EXPECT_EQ(first["ChannelCount"] + " " + first["QuantizationBits"] + " " + rate.substr(0, rate.find('/')),
                  audio);
    }
}

INSTANTIATE_TEST_SUITE_P(FfmpegFiles, MxfDump, ::testing::ValuesIn(ffmpegFiles));

// The text form shows the package graph: material package down to the clips
// and on to the file package they name.
TEST(MxfDumpText, ShowsThePackageGraph)
{
    int status = 0;
    std::string out = runCommand(shellQuote(CVTOOL_PATH) + " dump " + shellQuote(testMedia("mxf_op1a_mpeg2_tc.mxf")),
                                 &status);
    ASSERT_EQ(status, 0);
    size_t graph = out.find("Package graph");
    ASSERT_NE(graph, std::string::npos);
    size_t material = out.find("MaterialPackage", graph);
    size_t clip = out.find("SourceClip", material);
    size_t named = out.find("-> SourcePackage", clip);
    EXPECT_NE(material, std::string::npos);
    EXPECT_NE(clip, std::string::npos);
    EXPECT_NE(named, std::string::npos);
}

// A file that is no MXF, or cut inside its metadata, gives a clear answer.
TEST(MxfDumpText, BadFilesAreRefusedOrCutCleanly)
{
    int status = 0;
    std::string out = runCommand(shellQuote(CVTOOL_PATH) + " dump " + shellQuote(testMedia("mjpeg_small.mov")) +
                                     " 2>&1",
                                 &status);
    EXPECT_NE(status, 0);
    EXPECT_NE(out.find("no header partition pack"), std::string::npos) << out;

    TempDir dir;
    const std::string cut = dir.file("cut.mxf");
    writeFile(cut, readFile(testMedia("mxf_op1a_mpeg2_tc.mxf")).substr(0, 3000));
    out = runCommand(shellQuote(CVTOOL_PATH) + " dump " + shellQuote(cut), &status);
    EXPECT_EQ(status, 0);
    EXPECT_NE(out.find("Stopped: header metadata runs past the end of the file"), std::string::npos) << out;
}

} // namespace
