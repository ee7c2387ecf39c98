#include <gtest/gtest.h>

#include <string>

#include "quicktime/MediaName.h"
#include "support/RewrapChecks.h"
#include "support/TempDir.h"
#include "support/TestMedia.h"

// cvtool rewrap to AVI: the source read through the reader resource, the copy
// written through the AVI writer resource. ffprobe lists the copy's pictures
// with the source's bytes and key frames, ffmpeg decodes the same sound, and
// our own reader lists the copy's pictures as ffprobe does.
namespace {

class RewrapToAvi : public ::testing::TestWithParam<const char*> {};

TEST_P(RewrapToAvi, CopyHoldsTheSourcesPicturesAndSound)
{
    TempDir dir;
    const std::string source = testMedia(GetParam());
    const std::string copy = dir.file("copy.avi");
    rewrap(source, copy);
    const std::string packets = videoPackets(source);
    ASSERT_FALSE(packets.empty());
    EXPECT_TRUE(videoPackets(copy) == packets) << "the pictures' bytes and key frames";
    EXPECT_EQ(decodedSound(copy), decodedSound(source));
    EXPECT_TRUE(ourVideoPackets(copy) == videoPacketsKeyFlagOnly(copy)) << "our reader lists what ffprobe lists";
    EXPECT_EQ(mediainfoComplaints(copy), "0\n");
}

// MJPEG with PCM, DV, MPEG-2 long GOP with sound (in a plain index) and
// under the editor's own code "MMES" (the frame-typed index), H.264 long GOP,
// uncompressed UYVY and v210, from AVI files and movies, their P and B
// pictures no key frames; and ten minutes of small MJPEG frames with sound,
// more than one RIFF's index holds, so that the copy rolls over into an AVIX
// RIFF.
INSTANTIATE_TEST_SUITE_P(Sources, RewrapToAvi,
                         ::testing::Values("avi_mjpeg_pcm16.avi", "avi_dv_pal.avi", "avi_mpeg2_gop.avi",
                                           "mpeg2_longgop.mov", "avi_mmes_gop.avi", "avi_h264.avi", "avi_uyvy.avi",
                                           "v210.mov", "avi_long_idx1.avi"),
                         mediaTestName);

// "MMES" keeps its code and gets the index that keeps each picture's type.
TEST(RewrapToAviCodings, MmesGetsTheFrameTypedIndex)
{
    TempDir dir;
    const std::string copy = dir.file("copy.avi");
    rewrap(testMedia("avi_mmes_gop.avi"), copy);
    EXPECT_EQ(run("ffprobe -v error -select_streams v -show_entries stream=codec_tag_string -of default=nw=1:nk=1 " +
                  shellQuote(copy) + " 2>/dev/null"),
              "MMES\n");
    const std::string bytes = readFile(copy);
    const size_t index = bytes.find("ix00");
    ASSERT_NE(index, std::string::npos);
    EXPECT_EQ(int(bytes[index + 10]), 16) << "the frame-typed index";
}

// The copy of the long source holds two RIFFs.
TEST(RewrapToAviRiffs, ALongSourceRollsOverIntoAnAvixRiff)
{
    TempDir dir;
    const std::string copy = dir.file("copy.avi");
    rewrap(testMedia("avi_long_idx1.avi"), copy);
    EXPECT_EQ(run("grep -c AVIX " + shellQuote(copy) + " || true"), "1\n");
}

} // namespace
