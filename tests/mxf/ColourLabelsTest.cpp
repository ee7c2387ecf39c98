#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "frame/Utf8.h"
#include "mxf/read/FileReader.h"
#include "quicktime/JsonValue.h"
#include "support/DriverFixture.h"
#include "support/TempDir.h"
#include "support/TestMedia.h"

using namespace Corvidane;
using namespace Corvidane::MXF;

// The colour modes of an MXF picture come from its descriptor's colour
// primaries and transfer characteristic labels. ffmpeg writes those labels
// from its colour options; ffprobe names what it reads back, and each name
// stands for the mode whose 'colr' code point is that name's.
namespace {

struct ColourCase {
    const char* primaries; // ffmpeg's and ffprobe's names
    const char* transfer;
    int primariesMode;
    int transferMode;
};

const ColourCase colourCases[] = {
    {"bt709", "bt709", 1, 1},
    {"bt470bg", "linear", 2, 0},
    {"smpte170m", "smpte240m", 3, 0},
    {"bt2020", "smpte2084", 4, 3},
    {"bt2020", "arib-std-b67", 4, 4},
    {"smpte431", "smpte428", 5, 5},
    {"smpte432", "bt2020-10", 6, 2},
    {"smpte428", "bt709", 0, 1},
};

std::string mediaName(const ColourCase& c)
{
    return std::string("mxf_colour_") + c.primaries + "+" + c.transfer + ".mxf";
}

std::string utf8(const std::wstring& text)
{
    std::string out;
    toUtf8(text, out);
    return out;
}

JsonValue probeVideo(const std::string& path)
{
    const JsonValue probe = parseJson(runCommand(
        "ffprobe -v error -select_streams v:0 -show_entries stream=color_primaries,color_transfer -of json " +
        shellQuote(path)));
    return probe["streams"].items.empty() ? JsonValue() : probe["streams"].items.front();
}

class MxfColour : public DriverFixture {
protected:
    // Loads the file into a fresh reader and finds its picture stream.
    int openVideo(const std::string& path)
    {
        m_reader = std::make_unique<CMxf_FileReader>();
        EXPECT_TRUE(isSuccess(m_reader->loadFile(fromUtf8(path), iFile::Buffered))) << utf8(m_reader->getLastError());
        for (int stream = 0; stream < m_reader->get_StreamCount(); ++stream)
            if (m_reader->get_IsVideo(stream))
                return stream;
        ADD_FAILURE() << "no picture stream in " << path;
        return -1;
    }

    void expectModes(int stream, int primariesMode, int transferMode)
    {
        VideoColourCPMode primaries = CPMode6;
        VideoColourTCMode transfer = TCMode5;
        EXPECT_EQ(m_reader->get_ColourPrimaries(stream, primaries), OK);
        EXPECT_EQ(m_reader->get_TransferCharacteristic(stream, transfer), OK);
        EXPECT_EQ(primaries, primariesMode);
        EXPECT_EQ(transfer, transferMode);
        std::wstring text;
        EXPECT_EQ(m_reader->get_MetadataValue("HDR_CP", stream, text), OK);
        EXPECT_EQ(text, std::to_wstring(primariesMode));
        EXPECT_EQ(m_reader->get_MetadataValue("hdr_tc", stream, text), OK);
        EXPECT_EQ(text, std::to_wstring(transferMode));
    }

    std::unique_ptr<CMxf_FileReader> m_reader;
};

TEST_F(MxfColour, LabelsFfmpegWritesGiveTheirModes)
{
    for (const ColourCase& c : colourCases) {
        SCOPED_TRACE(mediaName(c));
        const std::string path = testMedia(mediaName(c));
        const JsonValue probe = probeVideo(path);
        ASSERT_EQ(probe["color_primaries"].text, c.primaries);
        ASSERT_EQ(probe["color_transfer"].text, c.transfer);
        const int stream = openVideo(path);
        ASSERT_GE(stream, 0);
        expectModes(stream, c.primariesMode, c.transferMode);
    }
}

TEST_F(MxfColour, NoLabelsGiveUnknownModes)
{
    const std::string path = testMedia("mxf_jpeg2000.mxf");
    const JsonValue probe = probeVideo(path);
    EXPECT_TRUE(probe["color_primaries"].text.empty() || probe["color_primaries"].text == "unknown");
    EXPECT_TRUE(probe["color_transfer"].text.empty() || probe["color_transfer"].text == "unknown");
    const int stream = openVideo(path);
    ASSERT_GE(stream, 0);
    expectModes(stream, 0, 0);
}

TEST_F(MxfColour, SoundAndTimecodeStreamsFail)
{
    const int video = openVideo(testMedia("mxf_op1a_mpeg2_pcm24_tc.mxf"));
    ASSERT_GE(video, 0);
    int others = 0;
    for (int stream = 0; stream < m_reader->get_StreamCount(); ++stream) {
        if (stream == video)
            continue;
        ++others;
        VideoColourCPMode primaries = CPMode1;
        VideoColourTCMode transfer = TCMode1;
        EXPECT_EQ(m_reader->get_ColourPrimaries(stream, primaries), Fail) << "stream " << stream;
        EXPECT_EQ(m_reader->get_TransferCharacteristic(stream, transfer), Fail) << "stream " << stream;
        EXPECT_EQ(primaries, CPModeUnknown);
        EXPECT_EQ(transfer, TCModeUnknown);
    }
    EXPECT_GT(others, 0);
    VideoColourCPMode primaries = CPMode1;
    EXPECT_EQ(m_reader->get_ColourPrimaries(m_reader->get_StreamCount(), primaries), Fail);
    EXPECT_EQ(primaries, CPModeUnknown);
}

// The label behind a descriptor's local tag (2 bytes), its length 16, and
// the registry prefix.
size_t labelAt(const std::string& bytes, const char (&tag)[3])
{
    const std::string head = std::string(tag, 2) + std::string("\x00\x10\x06\x0E\x2B\x34", 6);
    const size_t at = bytes.find(head);
    return at == std::string::npos ? at : at + 4;
}

// Labels that ffmpeg doesn't write, made by rewriting the ones it does: SMPTE
// 274M's transfer (BT.709's curve, as ffprobe shows), a register version
// other than the one written, and a code the register doesn't hold.
TEST_F(MxfColour, RewrittenLabels)
{
    const std::string original = readFile(testMedia("mxf_colour_bt709+bt709.mxf"));
    const size_t transferAt = labelAt(original, "\x32\x10");
    const size_t primariesAt = labelAt(original, "\x32\x19");
    ASSERT_NE(transferAt, std::string::npos);
    ASSERT_NE(primariesAt, std::string::npos);
    TempDir dir;

    std::string smpte274 = original;
    smpte274[transferAt + 13] = 0x04;
    writeFile(dir.file("274m.mxf"), smpte274);
    EXPECT_EQ(probeVideo(dir.file("274m.mxf"))["color_transfer"].text, "bt709");
    int stream = openVideo(dir.file("274m.mxf"));
    ASSERT_GE(stream, 0);
    expectModes(stream, 1, 1);

    std::string otherVersion = original;
    otherVersion[primariesAt + 7] = 0x0D;
    otherVersion[transferAt + 7] = 0x0D;
    writeFile(dir.file("version.mxf"), otherVersion);
    stream = openVideo(dir.file("version.mxf"));
    ASSERT_GE(stream, 0);
    expectModes(stream, 1, 1);

    std::string unregistered = original;
    unregistered[primariesAt + 13] = 0x7F;
    unregistered[transferAt + 13] = 0x7F;
    writeFile(dir.file("unregistered.mxf"), unregistered);
    const JsonValue probe = probeVideo(dir.file("unregistered.mxf"));
    EXPECT_NE(probe["color_primaries"].text, "bt709");
    EXPECT_NE(probe["color_transfer"].text, "bt709");
    stream = openVideo(dir.file("unregistered.mxf"));
    ASSERT_GE(stream, 0);
    expectModes(stream, 0, 0);
}

} // namespace
