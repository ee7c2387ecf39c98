#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "frame/Utf8.h"
#include "mxf/read/FileReader.h"
#include "support/DriverFixture.h"
#include "support/MxfLayoutVariants.h"
#include "support/TempDir.h"
#include "support/TestMedia.h"

// MXF files of cameras, servers and mastering tools differ from ffmpeg's in
// their content packages and index tables. Each case rewrites an ffmpeg file
// into such a layout and reads its pictures through the MXF reader: frame
// for frame they must be the packets that ffmpeg's demuxer takes out of the
// same file.
namespace {

using Corvidane::MXF::CMxf_FileReader;
namespace variants = MxfLayoutVariants;

std::string utf8(const std::wstring& text)
{
    std::string out;
    Corvidane::toUtf8(text, out);
    return out;
}

// The first video stream's packets, one after another, as ffmpeg copies them.
std::string ffmpegVideoBytes(const std::string& path, const std::string& out)
{
    int status = 0;
    runCommand("ffmpeg -nostdin -v error -y -i " + shellQuote(path) + " -map 0:v:0 -c copy -f data " +
                   shellQuote(out),
               &status);
    EXPECT_EQ(status, 0);
    return readFile(out);
}

unsigned ffprobeVideoFrames(const std::string& path)
{
    std::string out = runCommand("ffprobe -v error -select_streams v:0 -count_packets -show_entries "
                                 "stream=nb_read_packets -of csv=p=0 " + shellQuote(path));
    return unsigned(std::stoul(out));
}

class MxfOtherWriterLayouts : public DriverFixture {
protected:
    void expectPicturesAsFfmpegReadsThem(const std::string& original, std::string (*rewrite)(std::string))
    {
        const std::string path = dir.file("variant.mxf");
        writeFile(path, rewrite(readFile(testMedia(original))));
        const std::string theirs = ffmpegVideoBytes(path, dir.file("video.bin"));
        ASSERT_FALSE(theirs.empty());

        CMxf_FileReader reader;
        ASSERT_TRUE(isSuccess(reader.loadFile(Corvidane::fromUtf8(path), iFile::Buffered)))
            << utf8(reader.getLastError());
        int video = -1;
        for (int stream = 0; stream < reader.get_StreamCount() && video < 0; ++stream)
            if (reader.get_IsVideo(stream))
                video = stream;
        ASSERT_GE(video, 0);
        ASSERT_TRUE(isSuccess(reader.essenceOpen(unsigned(video)))) << utf8(reader.getLastError());
        const unsigned frames = reader.get_Length(video);
        EXPECT_EQ(frames, ffprobeVideoFrames(path));
        std::string ours;
        std::vector<unsigned char> buffer(4 << 20);
        for (unsigned frame = 0; frame < frames; ++frame) {
            unsigned offset = 0, used = 0;
            ASSERT_TRUE(isSuccess(reader.essenceRead(frame, 1, buffer.data(), unsigned(buffer.size()), offset, used)))
                << "frame " << frame << ": " << utf8(reader.getLastError());
            ours.append(reinterpret_cast<const char*>(buffer.data()) + offset, used);
        }
        EXPECT_EQ(ours.size(), theirs.size());
        EXPECT_TRUE(ours == theirs);
    }

    TempDir dir;
};

// A constant edit unit with no system item and no delta entries, the timecode
// track first among the file package's tracks (bmx, cameras): each track
// finds its element by its kind.
TEST_F(MxfOtherWriterLayouts, ConstantEditUnitWithoutDeltaEntriesAfterATimecodeTrack)
{
    expectPicturesAsFfmpegReadsThem("mxf_d10.mxf", [](std::string bytes) {
        return variants::withDeltaEntriesCut(variants::withoutSystemItems(std::move(bytes)), 0, false);
    });
}

// Variable edit units of one element with no system item, indexed at that
// element, after a timecode track (OpenCube, OpenDCP, IMF tools): the next
// frame's element is not a second track's.
TEST_F(MxfOtherWriterLayouts, FrameAfterFrameWithoutSystemItemAfterATimecodeTrack)
{
    expectPicturesAsFfmpegReadsThem("mxf_jpeg2000.mxf", [](std::string bytes) {
        return variants::withDeltaEntriesCut(variants::withoutSystemItems(std::move(bytes)), 1, true);
    });
}

// Avid's metadata dictionary stands ahead of the preface; the sets behind it
// are the file's metadata.
TEST_F(MxfOtherWriterLayouts, DictionaryAheadOfThePreface)
{
    expectPicturesAsFfmpegReadsThem("mxf_jpeg2000.mxf", variants::withDictionaryAheadOfPreface);
}

// A sequence longer than the frames the file holds (Avid media cut from a
// longer source): the pictures are the ones the index lists.
TEST_F(MxfOtherWriterLayouts, SequenceLongerThanThePicturesHeld)
{
    expectPicturesAsFfmpegReadsThem("mxf_jpeg2000.mxf", [](std::string bytes) {
        return variants::withDurationsClaimed(std::move(bytes), 5, 750);
    });
}

} // namespace
