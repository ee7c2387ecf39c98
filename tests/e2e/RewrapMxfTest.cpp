#include <gtest/gtest.h>

#include <filesystem>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "frame/Utf8.h"
#include "mxf/read/FileReader.h"
#include "quicktime/MediaName.h"
#include "support/DriverFixture.h"
#include "support/RewrapChecks.h"
#include "support/TempDir.h"
#include "support/TestMedia.h"

// cvtool rewrap to MXF, as the editor exports: OP1a, and with --op-atom an
// OP-Atom family of a file per track (also without the option where the
// source lacks pictures or sound). ffprobe, ffmpeg and mediainfo judge every
// file: the source's coded pictures and key frames, the sound of each stream
// (in a family, each in its own file), the timecode and every header set;
// our own reader finds the same pictures and sound.
namespace {

// A source, and the patterns that take its coding.
struct Source {
    const char* name;
    bool op1a;
    bool opAtom;
    bool d10Sound = false;
};

const Source sources[] = {
    {"rewrap_mpeg2_gop_pcm24_tc.mov", true, true},
    {"rewrap_mpeg2_intra_pcm24_tc.mov", true, true},
    {"rewrap_xdcam_hd422.mov", true, true},
    {"avi_dv_pal.avi", true, true},
    {"rewrap_dv25.mov", true, true},
    // OP-Atom IMX's container label says clip wrapped where D-10 keeps its template.
    {"rewrap_imx50_pcm16.mov", true, false, true},
    {"rewrap_dv50.avi", true, true},
    {"rewrap_dv50.mov", true, true},
    {"rewrap_dnxhd_pcm24_tc.mov", false, true},
    {"rewrap_dnxhr_lb.mov", false, true},
    // OP-Atom AVC-Intra needs an Avid resolution the writer's table lacks.
    {"rewrap_avci100_pcm24.mov", true, false},
    {"rewrap_pcm24_two_streams.mov", true, true},
    {"mxf_opatom_pcm24.mxf", true, true},
};

std::string probeList(const std::string& path, const std::string& options)
{
    return run("ffprobe -v error " + options + " -of csv=p=0 " + shellQuote(path));
}

unsigned pcmStreams(const std::string& path)
{
    const std::string codecs = probeList(path, "-select_streams a -show_entries stream=codec_name");
    unsigned count = 0;
    for (size_t at = codecs.find("pcm_"); at != std::string::npos; at = codecs.find("pcm_", at + 1))
        ++count;
    return count;
}

std::vector<std::string> linesOf(const std::string& text)
{
    std::vector<std::string> out;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);)
        out.push_back(line);
    return out;
}

class RewrapToMxf : public ::testing::TestWithParam<Source> {};

TEST_P(RewrapToMxf, EveryFileHoldsTheSourcesPicturesSoundAndTimecode)
{
    const Source& param = GetParam();
    const std::string source = testMedia(param.name);
    const bool pictures = !probeList(source, "-select_streams v -show_entries stream=codec_name").empty();
    const unsigned sounds = pcmStreams(source);
    const std::string packets = pictures ? videoPackets(source) : "";
    const std::string timecode = timecodeOf(source);
    for (const bool opAtom : {false, true}) {
        if (!(opAtom ? param.opAtom : param.op1a))
            continue;
        SCOPED_TRACE(opAtom ? "--op-atom" : "OP1a");
        TempDir dir;
        const std::string copy = dir.file("copy.mxf");
        rewrap(source, copy, opAtom ? "--op-atom " : "");
        // A file per track where asked, or where pictures or sound are missing.
        const bool family = opAtom || !pictures || sounds == 0;
        // The picture's file, or the last sound's, keeps the given name; the
        // other sound files are named after it.
        std::vector<std::string> soundFiles;
        for (unsigned i = 0; i < sounds; ++i)
            soundFiles.push_back(!family || (!pictures && i + 1 == sounds)
                                     ? copy
                                     : dir.file("copy.a" + std::to_string(i + 1) + ".mxf"));
        std::set<std::string> files(soundFiles.begin(), soundFiles.end());
        files.insert(copy);
        for (const std::string& file : files) {
            SCOPED_TRACE(file);
            EXPECT_EQ(run("mediainfo --Inform='General;%Format_Profile%' " + shellQuote(file)),
                      family ? "OP-Atom\n" : "OP-1a\n");
            EXPECT_EQ(mediainfoComplaints(file), "0\n");
            EXPECT_EQ(setsMediainfoMisreads(file), "");
            EXPECT_EQ(timecodeOf(file), timecode.empty() ? "00:00:00:00" : timecode);
        }
        if (pictures) {
            const std::string copied = videoPackets(copy);
            const bool xdcam = probeList(source, "-select_streams v -show_entries stream=codec_tag_string")
                                   .rfind("xd5", 0) == 0;
            if (family && xdcam) {
                // XDCAM pictures in OP-Atom end with an item of zeros whose
                // index entry closes the last picture; ffprobe runs the last
                // picture to the element's end, and so takes the zeros in.
                std::vector<std::string> theirs = linesOf(copied), expected = linesOf(packets);
                ASSERT_EQ(theirs.size(), expected.size());
                ASSERT_FALSE(expected.empty());
                theirs.pop_back();
                expected.pop_back();
                EXPECT_EQ(theirs, expected);
                EXPECT_EQ(decodedFrames(copy), decodedFrames(source));
            } else {
                EXPECT_EQ(copied, packets);
            }
            EXPECT_EQ(ourVideoPackets(copy), videoPacketsKeyFlagOnly(source));
        }
        for (unsigned i = 0; i < sounds; ++i) {
            SCOPED_TRACE("sound " + std::to_string(i));
            const int stream = family ? 0 : int(i);
            EXPECT_EQ(decodedSound(soundFiles[i], stream), decodedSound(source, int(i)));
            // D-10 sound reaches the editor as its AES3 subframes, which
            // ffmpeg unpacks: the writer's tests compare the two.
            if (!param.d10Sound)
                EXPECT_EQ(ourSound(soundFiles[i], stream), storedSound(soundFiles[i], stream));
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Sources, RewrapToMxf, ::testing::ValuesIn(sources),
                         [](const ::testing::TestParamInfo<Source>& info) {
                             return mediaTestName({info.param.name, info.index});
                         });

// What the writer doesn't take is refused, in the writer's words: DNxHD in an
// OP1a file, H.264 long GOP in any MXF file, AVC-Intra in an OP-Atom family.
TEST(RewrapToMxfRefusals, NameTheirReason)
{
    const struct {
        const char* source;
        const char* options;
        const char* words;
    } refusals[] = {
        {"rewrap_dnxhd_pcm24_tc.mov", "", "DNxHD requires opatom"},
        {"h264_only.m4v", "--op-atom ", "Invalid video compression"},
        {"rewrap_avci100_pcm24.mov", "--op-atom ", "Unknown resolution id"},
    };
    for (const auto& refusal : refusals) {
        SCOPED_TRACE(refusal.source);
        TempDir dir;
        int status = 0;
        const std::string out =
            runCommand("HC_LOG_FILE=/dev/null " + shellQuote(CVTOOL_PATH) + " rewrap " + refusal.options +
                           shellQuote(testMedia(refusal.source)) + " " + shellQuote(dir.file("copy.mxf")) + " 2>&1",
                       &status);
        EXPECT_EQ(status, 1);
        EXPECT_NE(out.find("the writer refused it"), std::string::npos) << out;
        EXPECT_NE(out.find(refusal.words), std::string::npos) << out;
        // Nothing the writer began is left behind, of a family either.
        EXPECT_TRUE(std::filesystem::is_empty(dir.path()));
    }
}

// The pictures' types, I, P or B, in coded order, as each reads them.

// ffprobe decodes each picture and names its type.
std::string decodedTypes(const std::string& path)
{
    std::map<std::string, std::string> typeAt;
    for (const std::string& line : linesOf(probeList(path, "-select_streams v:0 -show_entries frame=pkt_pos,pict_type")))
        if (line.find(',') != std::string::npos)
            typeAt[line.substr(0, line.find(','))] = line.substr(line.find(',') + 1, 1);
    std::string types;
    for (const std::string& position : linesOf(probeList(path, "-select_streams v:0 -show_entries packet=pos")))
        types += typeAt.count(position) ? typeAt[position] : "?";
    return types;
}

// mediainfo names the prediction flags of each index entry: neither is an I
// picture, forward alone a P, backward a B. An index that lists its entries
// twice (and one closing entry) is read a pair at a time.
std::string indexTypes(const std::string& path, size_t pictures)
{
    std::string types;
    bool forward = false;
    for (const std::string& line : linesOf(run("mediainfo --Details=1 " + shellQuote(path)))) {
        const bool yes = line.size() >= 3 && line.compare(line.size() - 3, 3, "Yes") == 0;
        if (line.find("forward prediction flag") != std::string::npos)
            forward = yes;
        else if (line.find("backward prediction flag") != std::string::npos)
            types += yes ? "B" : forward ? "P" : "I";
    }
    if (types.size() == 2 * pictures + 1) {
        std::string pairs;
        for (size_t i = 0; i < pictures; ++i)
            pairs += types[2 * i];
        return pairs;
    }
    return types;
}

class RewrapMxfFrameTypes : public DriverFixture {
protected:
    // Our reader's frame types of the picture stream's index entries.
    std::string ourTypes(const std::string& path)
    {
        Corvidane::MXF::CMxf_FileReader reader;
        std::string types;
        if (!isSuccess(reader.loadFile(Corvidane::fromUtf8(path), iFile::Buffered)))
            return "not loaded";
        int video = -1;
        for (int stream = 0; stream < reader.get_StreamCount() && video < 0; ++stream)
            if (reader.get_IsVideo(stream))
                video = stream;
        if (video < 0 || !isSuccess(reader.essenceOpen(unsigned(video))))
            return "no pictures";
        for (unsigned frame = 0; frame < reader.get_Length(video); ++frame) {
            Corvidane::IndexEntry entry;
            if (!isSuccess(reader.getIndexEntry(frame, entry)))
                return types + "?";
            // A key frame's type has 68 added to the intra bit.
            types += isKeyFrame(entry)                                   ? "I"
                     : (entry.frameType & Corvidane::FramePredicted)     ? "P"
                     : (entry.frameType & Corvidane::FrameBidirectional) ? "B"
                                                                         : "I";
        }
        return types;
    }
};

// The index entries of long-GOP MPEG-2, plain and XDCAM, in OP1a and OP-Atom
// files: every picture's type reads as the one its decoder finds, whether
// ffprobe, mediainfo or our reader reads it.
TEST_F(RewrapMxfFrameTypes, IndexFlagsReadAsThePicturesTypes)
{
    for (const char* name : {"rewrap_mpeg2_gop_pcm24_tc.mov", "rewrap_xdcam_hd422.mov"}) {
        const std::string source = testMedia(name);
        const std::string types = decodedTypes(source);
        ASSERT_NE(types.find('P'), std::string::npos) << name;
        ASSERT_NE(types.find('B'), std::string::npos) << name;
        for (const char* options : {"", "--op-atom "}) {
            SCOPED_TRACE(std::string(name) + " " + options);
            TempDir dir;
            const std::string copy = dir.file("copy.mxf");
            rewrap(source, copy, options);
            EXPECT_EQ(decodedTypes(copy), types);
            EXPECT_EQ(indexTypes(copy, types.size()), types);
            EXPECT_EQ(ourTypes(copy), types);
        }
    }
}

} // namespace
