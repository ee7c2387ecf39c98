// What the AVI writer leaves when its process is killed or its disk fills
// up: a file that ffprobe and our reader read up to the last flush, or up
// to the last whole frame, with nothing handed over before it lost.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <sys/stat.h>

#include "avi/AviFormat.h"
#include "avi/AviWriterSupport.h"
#include "frame/FourCC.h"
#include "frame/Utf8.h"
#include "support/DriverFixture.h"
#include "support/FaultyFiles.h"
#include "support/KilledWriter.h"
#include "support/RewrapChecks.h"
#include "support/TempDir.h"
#include "support/TestMedia.h"

using namespace Corvidane;
using namespace AviWriterTest;

namespace {

// The first `count` lines of a text.
std::string firstLines(const std::string& text, size_t count)
{
    size_t end = 0;
    for (size_t i = 0; i < count && end < text.size(); ++i)
        end = std::min(text.size(), text.find('\n', end) + 1);
    return text.substr(0, end);
}

uint64_t sizeOf(const std::string& path)
{
    struct stat info{};
    return ::stat(path.c_str(), &info) == 0 ? uint64_t(info.st_size) : 0;
}

std::string md5Of(const std::string& bytes, const TempDir& dir)
{
    const std::string path = dir.file("bytes.raw");
    writeFile(path, bytes);
    return run("md5sum < " + shellQuote(path));
}

class AviWriterCrash : public DriverFixture {
protected:
    void SetUp() override
    {
        DriverFixture::SetUp();
        m_source = testMedia("avi_mjpeg_pcm16.avi");
        m_packets = packetsOf(m_source);
        ASSERT_EQ(m_packets.video.size(), 50u);
        m_tracks = tracksFor(fourCC("MJPG"), 320, 240, true);
    }

    // The file holds the source's first `frames` pictures and their sound,
    // as ffprobe and as our reader (cvtool probe) see it.
    void expectFirstFramesOfTheSource(const std::string& path, size_t frames)
    {
        EXPECT_EQ(videoPackets(path), firstLines(videoPackets(m_source), frames));
        EXPECT_EQ(ourVideoPackets(path), firstLines(videoPacketsKeyFlagOnly(m_source), frames));
        const std::string sound = m_packets.audio.substr(0, frames * 1920 * 4);
        EXPECT_EQ(run("ffmpeg -v error -i " + shellQuote(path) + " -map 0:a -c copy -f s16le - | md5sum"),
                  md5Of(sound, m_dir));
        EXPECT_EQ(run(shellQuote(CVTOOL_PATH) + " extract --stream 1 " + shellQuote(path) + " " +
                      shellQuote(m_dir.file("sound.raw")) + " && md5sum < " + shellQuote(m_dir.file("sound.raw"))),
                  md5Of(sound, m_dir));
    }

    // Writes `frames` frames in a child process that is then killed.
    void writeAndKill(const std::string& path, size_t frames)
    {
        ASSERT_TRUE(writtenThenKilled([&] {
            auto& writer = *new Avi::FileWriter;
            return isSuccess(writer.create(fromUtf8(path), m_tracks.data(), unsigned(m_tracks.size()))) &&
                   isSuccess(writeFrames(writer, m_tracks, m_packets, 0, frames));
        })) << "the child could not write";
    }

    std::string m_source;
    Packets m_packets;
    std::vector<TrackStructuralData> m_tracks;
    TempDir m_dir;
};

// Unless told otherwise the writer flushes once a second of video: killed
// 12 frames after its last flush, at 25 frames a second, it leaves the
// first 25 frames whole.
TEST_F(AviWriterCrash, KilledWriterLeavesItsLastFlush)
{
    const std::string path = m_dir.file("killed.avi");
    writeAndKill(path, 37);
    expectFirstFramesOfTheSource(path, 25);
}

// Killed before its first flush, a file has empty indexes: its chunks are
// read as they lie in the movi list, every whole one of them.
TEST_F(AviWriterCrash, KilledBeforeItsFirstFlushReadsByItsChunks)
{
    const std::string path = m_dir.file("unflushed.avi");
    writeAndKill(path, 10);
    expectFirstFramesOfTheSource(path, 10);
}

// A disk that fills up mid-way, whether the write that finds it full puts
// nothing down or the part that fits: the write says so, and once closed the
// file holds every frame written before it, as ffprobe and our reader see.
TEST_F(AviWriterCrash, FullDiskGivesAClearErrorAndKeepsEveryWholeFrame)
{
    for (bool partial : {false, true}) {
        SCOPED_TRACE(partial ? "partial writes" : "no partial writes");
        const std::string path = m_dir.file(partial ? "partial.avi" : "full.avi");
        FaultyFiles faulty;
        faulty.faults().partialWrites = partial;
        Avi::FileWriter writer;
        ASSERT_EQ(writer.create(fromUtf8(path), m_tracks.data(), unsigned(m_tracks.size())), OK);
        faulty.faults().diskSpace = sizeOf(path) + 500000;
        size_t written = 0;
        CvResult result = OK;
        for (; written < m_packets.video.size(); ++written)
            if (!isSuccess(result = writeFrames(writer, m_tracks, m_packets, written, written + 1)))
                break;
        EXPECT_FALSE(isSuccess(result));
        EXPECT_NE(std::wstring(writer.getLastError()).find(L"WriteNextFrame failed to write data. No space left on device"),
                  std::wstring::npos)
            << writer.getLastError();
        ASSERT_GT(written, 25u) << "past the first flush";
        ASSERT_LT(written, 50u);
        // The legacy index finds no room either; the OpenDML indexes do.
        EXPECT_FALSE(isSuccess(writer.close()));
        EXPECT_NE(std::wstring(writer.getLastError()).find(L"Failed to write the idx1 index"), std::wstring::npos)
            << writer.getLastError();
        faulty.faults().diskSpace = UINT64_MAX;
        expectFirstFramesOfTheSource(path, written);
    }
}

// The legacy index of the first RIFF, written as the second begins: when
// that write fails the frame is refused, and written with the index once
// there is room again.
TEST_F(AviWriterCrash, LegacyIndexThatFailedIsWrittenAtTheRetry)
{
    const std::vector<TrackStructuralData> tracks = tracksFor(fourCC("MJPG"), 64, 48, false);
    Packets small;
    for (unsigned i = 0; i < 8200; ++i)
        small.video.push_back("frame " + std::to_string(i));
    const std::string path = m_dir.file("retried.avi");
    FaultyFiles faulty;
    Avi::FileWriter writer;
    ASSERT_EQ(writer.create(fromUtf8(path), tracks.data(), unsigned(tracks.size())), OK);
    // The first RIFF's index is full at 8124 frames.
    ASSERT_EQ(writeFrames(writer, tracks, small, 0, 8124), OK) << writer.getLastError();
    faulty.faults().diskSpace = sizeOf(path);
    EXPECT_FALSE(isSuccess(writeFrames(writer, tracks, small, 8124, 8125)));
    EXPECT_NE(std::wstring(writer.getLastError()).find(L"Failed to write the idx1 index"), std::wstring::npos)
        << writer.getLastError();
    faulty.faults().diskSpace = UINT64_MAX;
    ASSERT_EQ(writeFrames(writer, tracks, small, 8124, small.video.size()), OK) << writer.getLastError();
    ASSERT_EQ(writer.close(), OK) << writer.getLastError();

    const std::string bytes = readFile(path);
    const size_t idx1 = bytes.find("idx1");
    ASSERT_NE(idx1, std::string::npos) << "the first RIFF has its legacy index";
    const auto* raw = reinterpret_cast<const unsigned char*>(bytes.data());
    ASSERT_EQ(Avi::readLE32(raw + idx1 + 4), 8124u * 16);
    // Its entries count from the movi list's code and name each frame's chunk.
    const size_t movi = bytes.find("movi");
    for (size_t entry : {size_t(0), size_t(8123)}) {
        const size_t chunk = movi + Avi::readLE32(raw + idx1 + 8 + entry * 16 + 8);
        EXPECT_EQ(bytes.substr(chunk, 4), "00dc") << entry;
        EXPECT_EQ(bytes.substr(chunk + 8, Avi::readLE32(raw + chunk + 4)), small.video[entry]) << entry;
    }
    EXPECT_EQ(AviTest::ffprobePackets(path).size(), small.video.size());
}

} // namespace
