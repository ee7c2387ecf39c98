// How the MXF writer judges the tracks it is given: file types, essence keys,
// OP-Atom file names, and the words of every refusal, never a crash.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "frame/FourCC.h"
#include "frame/Utf8.h"
#include "mxf/write/FileWriter.h"
#include "support/DriverFixture.h"
#include "support/FaultyFiles.h"
#include "support/MxfWriterSources.h"
#include "support/TempDir.h"
#include "support/TestMedia.h"

using namespace Corvidane;
using namespace MxfWriterTest;
using Corvidane::MXF::CMxf_FileWriter;

namespace {

class MxfWriterCreate : public DriverFixture {
protected:
    // Creates a file of the tracks; the result, the writer's text in `error`.
    CvResult create(CMxf_FileWriter& writer, std::vector<TrackStructuralData> tracks, int pattern,
                    std::string& error, const std::string& name = "clip.mxf")
    {
        writer.setResourceFilePath(dictionaryFolder());
        const CvResult result =
            writer.create(fromUtf8(m_dir.file(name)), tracks.data(), int(tracks.size()), pattern);
        error = narrowText(writer.getLastError());
        return result;
    }

    TempDir m_dir;
};

TEST_F(MxfWriterCreate, RefusalsNameTheirReason)
{
    const struct {
        std::vector<TrackStructuralData> tracks;
        int pattern;
        const char* words;
    } cases[] = {
        {{}, 1, "invalid tracks"},
        {{}, 0, "Cannot create opatom file with no video or audio track"},
        {{timecodeTrack(25, 1, 0, false)}, 0, "Cannot create opatom file with no video or audio track"},
        {{videoTrack("XXXX", 720, 576, 25, 1, 1, 0)}, 1, "Invalid video compression"},
        {{videoTrack("dvcp", 720, 576, 25, 1, 1, 25000)}, 1, "dvcp requires opatom"},
        {{videoTrack("AVdn", 1920, 1080, 25, 1, 1, 120000)}, 1, "DNxHD requires opatom"},
        {{videoTrack("cv23", 1920, 1080, 25, 1, 1, 0)}, 1, "DNxHR requires opatom"},
        {{videoTrack("AVdn", 1920, 1080, 30000, 1001, 1, 146000, false)}, 0, "Invalid DNxHD datarate"},
        {{videoTrack("GIMX", 720, 608, 25, 1, 1, 35000)}, 1, "Invalid IMX datarate"},
        {{videoTrack("GIMX", 720, 608, 25, 1, 1, 50000), audioTrack(2, 16), audioTrack(2, 16)},
         1,
         "op1a IMX file must only have one audio track"},
    };
    for (const auto& c : cases) {
        CMxf_FileWriter writer;
        std::string error;
        EXPECT_FALSE(isSuccess(create(writer, c.tracks, c.pattern, error))) << c.words;
        EXPECT_NE(error.find(c.words), std::string::npos) << error;
    }
    // An ancillary track belongs to OP-Atom only.
    TrackStructuralData anc{};
    anc.streamType = StreamAncillary;
    CMxf_FileWriter writer;
    std::string error;
    EXPECT_EQ(create(writer, {videoTrack("MMES", 720, 576, 25, 1, 12, 8000), anc}, 1, error), InvalidArg);
    EXPECT_NE(error.find("ANC requires opatom"), std::string::npos) << error;
    std::vector<TrackStructuralData> sound = {audioTrack(2, 16)};
    EXPECT_EQ(writer.create(L"ab", sound.data(), 1, 1), InvalidArg);
    EXPECT_NE(narrowText(writer.getLastError()).find("Filename too short"), std::string::npos);
    EXPECT_EQ(writer.create(L"", sound.data(), 1, 1), InvalidArg);
    EXPECT_NE(narrowText(writer.getLastError()).find("missing filename"), std::string::npos);
}

TEST_F(MxfWriterCreate, DnxhdDataRateListDecides)
{
    CMxf_FileWriter writer;
    std::string error;
    EXPECT_EQ(create(writer, {videoTrack("AVdn", 1920, 1080, 30000, 1001, 1, 145000, false)}, 0, error), OK)
        << error;
    EXPECT_EQ(writer.getFileType(), MXF::FileTypeDNxHD);
    writer.close();
}

TEST_F(MxfWriterCreate, FileTypesAndEssenceKeys)
{
    const struct {
        const char* fourcc;
        uint32_t gop, dataRate;
        int pattern;
        int fileType;
        const char* keyTail;  // bytes 8 to 15
        unsigned indexMode;
        const char* soundTail;  // of the sound in OP1a: element count 4 but on XDCAM
    } cases[] = {
        {"MMES", 12, 8000, 1, MXF::FileTypeMpegLongGop, "0D.01.03.01.15.01.05.00", 1, "16.04.03.01"},
        {"MMES", 1, 8000, 1, MXF::FileTypeMpegIFrame, "0D.01.03.01.15.01.05.00", 1, "16.04.03.01"},
        {"dvsd", 1, 25000, 1, MXF::FileTypeDV25, "0D.01.03.01.18.01.01.00", 1, "16.04.03.01"},
        {"dvsd", 1, 25000, 0, MXF::FileTypeDV25, "0D.01.03.01.18.01.02.00", 2, ""},
        {"AVdn", 1, 36000, 0, MXF::FileTypeDNxHD, "0E.04.03.01.15.01.06.01", 2, ""},
        {"hdv2", 12, 25000, 1, MXF::FileTypeMpegLongGop, "0D.01.03.01.15.01.05.00", 5, "16.01.03.01"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.fourcc + std::string(c.pattern ? " OP1a" : " OP-Atom"));
        CMxf_FileWriter writer;
        std::string error;
        const uint32_t height = std::string(c.fourcc) == "AVdn" || std::string(c.fourcc) == "hdv2" ? 1080 : 576;
        const uint32_t width = height == 1080 ? (std::string(c.fourcc) == "hdv2" ? 1440 : 1920) : 720;
        ASSERT_EQ(create(writer, {timecodeTrack(25, 1, 0, false), videoTrack(c.fourcc, width, height, 25, 1, c.gop,
                                                                              c.dataRate, c.fourcc[0] != 'h'),
                                  audioTrack(2, 16)},
                         c.pattern, error),
                  OK)
            << error;
        EXPECT_EQ(writer.getFileType(), c.fileType);
        EXPECT_EQ(writer.getIndexMode(), c.indexMode);
        const MXF::MXFUL key = writer.getEssenceKeys()[1];
        EXPECT_EQ(key, MXF::labelFromText((std::string("06.0E.2B.34.01.02.01.01.") + c.keyTail).c_str()));
        if (c.pattern == 1) {
            EXPECT_EQ(writer.getEssenceKeys()[2],
                      MXF::labelFromText((std::string("06.0E.2B.34.01.02.01.01.0D.01.03.01.") + c.soundTail).c_str()));
        }
        writer.close();
    }
}

TEST_F(MxfWriterCreate, OpAtomFamilyNamesItsFiles)
{
    CMxf_FileWriter writer;
    std::string error;
    ASSERT_EQ(create(writer, {timecodeTrack(25, 1, 0, false), videoTrack("dvsd", 720, 576, 25, 1, 1, 25000, false),
                              audioTrack(1, 16), audioTrack(1, 16)},
                     0, error, "Clip.MXF"),
              OK)
        << error;
    EXPECT_EQ(writer.getChildCount(), 2u);
    EXPECT_EQ(narrowText(writer.getOpAtomTrackFilename(2).c_str()), m_dir.file("Clip.a1.mxf"));
    EXPECT_EQ(narrowText(writer.getOpAtomTrackFilename(3).c_str()), m_dir.file("Clip.a2.mxf"));
    EXPECT_TRUE(std::filesystem::exists(m_dir.file("Clip.a1.mxf")));
    EXPECT_TRUE(std::filesystem::exists(m_dir.file("Clip.a2.mxf")));
    writer.close();

    // A track's own "filename" tag names its file.
    std::vector<TrackStructuralData> tracks = {videoTrack("dvsd", 720, 576, 25, 1, 1, 25000, false),
                                               audioTrack(1, 16)};
    std::wstring xml = L"<filename>" + fromUtf8(m_dir.file("sound.mxf")) + L"</filename>";
    std::vector<uint32_t> wide(xml.begin(), xml.end());
    wide.push_back(0);
    tracks[1].extendedData = reinterpret_cast<unsigned char*>(wide.data());
    tracks[1].extendedDataSize = uint16_t(wide.size() * 4);
    CMxf_FileWriter named;
    ASSERT_EQ(create(named, tracks, 0, error, "pic.mxf"), OK) << error;
    EXPECT_EQ(narrowText(named.getOpAtomTrackFilename(1).c_str()), m_dir.file("sound.mxf"));
    EXPECT_TRUE(std::filesystem::exists(m_dir.file("sound.mxf")));
    named.close();
}

// Without a folder of its own a writer reads the dictionaries from the
// installation's folder; a missing file fails the OP-Atom file.
TEST_F(MxfWriterCreate, OpAtomNeedsItsDictionaryFiles)
{
    std::vector<TrackStructuralData> tracks = {videoTrack("dvsd", 720, 576, 25, 1, 1, 25000, false)};
    CMxf_FileWriter writer;
    const CvResult result = writer.create(fromUtf8(m_dir.file("nodict.mxf")), tracks.data(), 1, 0);
    if (std::filesystem::exists("/opt/corvidane/share/rivulet/mxf/corvidane_metadata_dictionary.bin")) {
        EXPECT_EQ(result, OK);
        return;
    }
    EXPECT_EQ(result, Fail);
    EXPECT_NE(narrowText(writer.getLastError())
                  .find("Failed to open resource file '/opt/corvidane/share/rivulet/mxf/"
                        "corvidane_metadata_dictionary.bin'"),
              std::string::npos)
        << narrowText(writer.getLastError());
    writer.setResourceFilePath(fromUtf8(m_dir.path() + "/"));
    EXPECT_EQ(writer.create(fromUtf8(m_dir.file("nodict.mxf")), tracks.data(), 1, 0), Fail);
    EXPECT_NE(narrowText(writer.getLastError()).find(m_dir.path() + "/corvidane_metadata_dictionary.bin"),
              std::string::npos);
    writer.setResourceFilePath(dictionaryFolder());
    EXPECT_EQ(writer.create(fromUtf8(m_dir.file("nodict.mxf")), tracks.data(), 1, 0), OK)
        << narrowText(writer.getLastError());
    writer.close();
}

TEST_F(MxfWriterCreate, BadCallsToWriteAreRefused)
{
    CMxf_FileWriter writer;
    std::string error;
    std::vector<TrackStructuralData> tracks = {timecodeTrack(25, 1, 0, false),
                                               videoTrack("dvsd", 720, 576, 25, 1, 1, 25000, false),
                                               audioTrack(2, 16)};
    ASSERT_EQ(create(writer, tracks, 1, error), OK) << error;
    TrackData rows[3] = {};
    EXPECT_EQ(writer.writeAtom(rows, 2), InvalidArg);
    EXPECT_NE(narrowText(writer.getLastError()).find("WriteAtom invalid number of tracks, got 2 need 3"), std::string::npos);
    EXPECT_EQ(writer.writeAtom(nullptr, 3), InvalidArg);
    rows[2] = TrackData{nullptr, 7680, 0, 0};
    EXPECT_EQ(writer.writeAtom(rows, 3), InvalidArg);
    EXPECT_NE(narrowText(writer.getLastError()).find("row 2 has 7680 bytes and no data"), std::string::npos);
    rows[2] = TrackData{};
    // A picture larger than its slot in the constant edit unit.
    std::vector<unsigned char> big(200000, 0);
    rows[1] = TrackData{big.data(), uint32_t(big.size()), 0, HalcIFrame};
    EXPECT_EQ(writer.writeAtom(rows, 3), InvalidArg);
    EXPECT_NE(narrowText(writer.getLastError()).find("Data is too large"), std::string::npos);
    EXPECT_EQ(writer.getAtomsWritten(), 0u);
    // A picture that leaves 1 to 20 bytes of its slot can't be followed by a
    // filler; 21 bytes can.
    std::vector<unsigned char> sound(1920 * 4, 0);
    rows[2] = TrackData{sound.data(), uint32_t(sound.size()), 0, 0};
    rows[1].size = 144896 - 20 - 20;
    EXPECT_EQ(writer.writeAtom(rows, 3), Fail);
    EXPECT_NE(narrowText(writer.getLastError()).find("Not enough gap"), std::string::npos);
    rows[1].size = 144896 - 20 - 21;
    EXPECT_EQ(writer.writeAtom(rows, 3), OK) << narrowText(writer.getLastError());
    EXPECT_EQ(writer.getAtomsWritten(), 1u);
    writer.close();
    // A closed writer takes no more.
    EXPECT_EQ(writer.writeAtom(rows, 3), InvalidArg);
}

TEST_F(MxfWriterCreate, AFullDiskFailsWithText)
{
    Source source;
    source.tracks = {timecodeTrack(25, 1, 0, false), videoTrack("MMES", 720, 576, 25, 1, 12, 8000),
                     audioTrack(2, 16)};
    source.video = framesOf(testMedia("raw_mpeg2_gop.m2v"));
    source.audio = {readFile(testMedia("raw_pcm16_48k.s16le"))};
    {
        FaultyFiles faulty;
        faulty.faults().diskSpace = 1000;
        CMxf_FileWriter writer;
        std::string error;
        EXPECT_FALSE(isSuccess(create(writer, source.tracks, 1, error, "nospace.mxf")));
        EXPECT_NE(error.find("Failed to write"), std::string::npos) << error;
    }
    {
        FaultyFiles faulty;
        faulty.faults().diskSpace = 400000;
        faulty.faults().partialWrites = true;
        CMxf_FileWriter writer;
        std::string error;
        ASSERT_EQ(create(writer, source.tracks, 1, error, "full.mxf"), OK) << error;
        EXPECT_FALSE(writeFrames(writer, source, 0, source.video.size(), &error));
        EXPECT_NE(error.find("WriteEssence failed to write essence item"), std::string::npos) << error;
        writer.close();
    }
}

// What close leaves: a file without frames keeps its header partition alone;
// flag 32 removes the file.
TEST_F(MxfWriterCreate, WhatCloseLeaves)
{
    std::vector<TrackStructuralData> tracks = {timecodeTrack(25, 1, 0, false),
                                               videoTrack("MMES", 720, 576, 25, 1, 12, 8000), audioTrack(2, 16),
                                               audioTrack(2, 16), audioTrack(2, 16)};
    std::string error;
    {
        CMxf_FileWriter writer;
        writer.setProduct(L"");
        ASSERT_EQ(create(writer, tracks, 1, error, "empty.mxf"), OK) << error;
        writer.close();
        const std::string file = readFile(m_dir.file("empty.mxf"));
        ASSERT_GE(file.size(), 16u);
        EXPECT_EQ(file.compare(0, 14, "\x06\x0E\x2B\x34\x02\x05\x01\x01\x0D\x01\x02\x01\x01\x02", 14), 0);
        EXPECT_EQ(file.find(std::string("\x06\x0E\x2B\x34\x02\x05\x01\x01\x0D\x01\x02\x01\x01\x04", 14)),
                  std::string::npos)
            << "no footer";
        // An empty product keeps the default name.
        std::string product;
        for (char c : std::string("Vexos Video Server"))
            product += std::string(1, '\0') + c;
        EXPECT_NE(file.find(product), std::string::npos);
    }
    {
        Source source;
        source.tracks = tracks;
        source.video = framesOf(testMedia("raw_mpeg2_gop.m2v"));
        const std::string pcm = readFile(testMedia("raw_pcm16_48k.s16le"));
        source.audio = {pcm, pcm, pcm};
        CMxf_FileWriter writer;
        ASSERT_EQ(create(writer, tracks, 1, error, "named.mxf"), OK) << error;
        ASSERT_TRUE(writeFrames(writer, source, 0, 12));
        writer.close();
        // The sound tracks are named by their number among the sound tracks.
        EXPECT_EQ(runCommand("ffprobe -v error -select_streams a:2 -show_entries stream_tags=track_name "
                             "-of default=nw=1:nk=1 " + shellQuote(m_dir.file("named.mxf"))),
                  "3\n");

        CMxf_FileWriter gone;
        gone.setFlags(CMxf_FileWriter::DeleteOnClose);
        ASSERT_EQ(create(gone, tracks, 1, error, "gone.mxf"), OK) << error;
        ASSERT_TRUE(writeFrames(gone, source, 0, 12));
        EXPECT_TRUE(std::filesystem::exists(m_dir.file("gone.mxf")));
        gone.close();
        EXPECT_FALSE(std::filesystem::exists(m_dir.file("gone.mxf")));
    }
}

} // namespace
