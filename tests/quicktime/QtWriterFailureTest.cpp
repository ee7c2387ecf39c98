// Bad input and a failing disk give a failing result and a text that says
// what went wrong, never a crash.
#include <gtest/gtest.h>

#include "quicktime/QtReaderFixture.h"
#include "quicktime/QtWriterSupport.h"
#include "support/FaultyFiles.h"

using namespace Corvidane;
using namespace qtw;

namespace {

class QtWriterFailure : public QtReaderFixture {
protected:
    bool says(const QuickTime::FileWriter& writer, const std::string& words)
    {
        return text(writer.getLastError()).find(words) != std::string::npos;
    }
    std::string listing() { return runCommand("ls " + shellQuote(m_dir.path())); }
};

} // namespace

TEST_F(QtWriterFailure, NoTracks)
{
    QuickTime::FileWriter writer;
    std::vector<TrackStructuralData> none;
    CvResult result = writer.create(m_dir.wfile("none.mov"), none.data(), 0, 0, true);
    EXPECT_FALSE(isSuccess(result));
    EXPECT_TRUE(says(writer, "Invalid number of tracks")) << text(writer.getLastError());
    EXPECT_EQ(listing(), "");
    TrackData row{};
    EXPECT_FALSE(isSuccess(writer.writeSamples(&row, 1)));
    EXPECT_TRUE(says(writer, "expected track count=0"));
    EXPECT_EQ(writer.close(), OK);
}

TEST_F(QtWriterFailure, UnknownStreamTypeAndAncillaryCode)
{
    QuickTime::FileWriter writer;
    std::vector<TrackStructuralData> tracks = {videoTrack("apcn", 320, 240, 25, 1), TrackStructuralData{}};
    tracks[1].streamType = StreamType(99);
    EXPECT_EQ(writer.create(m_dir.wfile("a.mov"), tracks.data(), 2, 0, true), InvalidArg);
    EXPECT_TRUE(says(writer, "stream type 99")) << text(writer.getLastError());

    tracks[1].streamType = StreamAncillary;
    tracks[1].anc.fourcc = fourCC("c999");
    EXPECT_EQ(writer.create(m_dir.wfile("a.mov"), tracks.data(), 2, 0, true), InvalidArg);
    EXPECT_TRUE(says(writer, "Invalid anc fcc")) << text(writer.getLastError());

    std::vector<TrackStructuralData> noRate = {videoTrack("apcn", 320, 240, 0, 0)};
    EXPECT_EQ(writer.create(m_dir.wfile("a.mov"), noRate.data(), 1, 0, true), InvalidArg);
    EXPECT_TRUE(says(writer, "no frame rate")) << text(writer.getLastError());
    EXPECT_EQ(listing(), "");

    // An unknown compressor is no error: its code goes into the name.
    std::vector<TrackStructuralData> odd = {videoTrack("zzzz", 320, 240, 25, 1)};
    ASSERT_EQ(writer.create(m_dir.wfile("odd.mov"), odd.data(), 1, 0, true), OK);
    std::string frame(1000, 'x');
    TrackData row{reinterpret_cast<const unsigned char*>(frame.data()), 1000, 0, HalcIFrame};
    ASSERT_EQ(writer.writeSamples(&row, 1), OK);
    ASSERT_EQ(writer.close(), OK);
    EXPECT_NE(readFile(m_dir.file("odd.mov")).find("Unknown Compressor zzzz"), std::string::npos);
}

TEST_F(QtWriterFailure, FileNamesAndExistingFiles)
{
    QuickTime::FileWriter writer;
    std::vector<TrackStructuralData> tracks = {videoTrack("apcn", 320, 240, 25, 1)};
    EXPECT_EQ(writer.create(L"", tracks.data(), 1, 0, true), InvalidArg);
    EXPECT_TRUE(says(writer, "Empty filename"));
    writeFile(m_dir.file("taken.mov"), "someone else's");
    EXPECT_FALSE(isSuccess(writer.create(m_dir.wfile("taken.mov"), tracks.data(), 1, 0, true)));
    EXPECT_TRUE(says(writer, "Can't create CFileWriterUnbuffered")) << text(writer.getLastError());
    EXPECT_EQ(readFile(m_dir.file("taken.mov")), "someone else's");
    writer.setOverwriteExistingFile(true);
    EXPECT_EQ(writer.create(m_dir.wfile("taken.mov"), tracks.data(), 1, 0, true), OK);
    EXPECT_EQ(writer.close(), OK);
    EXPECT_FALSE(isSuccess(writer.create(m_dir.wfile("no/such/folder.mov"), tracks.data(), 1, 0, true)));
    EXPECT_TRUE(says(writer, "Can't create CFileWriterUnbuffered"));
}

// Frame 0 of an AVC file with no SPS fails with result 2 and writes no chunk.
TEST_F(QtWriterFailure, AvcFirstFrameWithoutSequenceParameters)
{
    QuickTime::FileWriter writer;
    std::vector<TrackStructuralData> tracks = {videoTrack("avc1", 320, 240, 25, 1, 15, 3)};
    ASSERT_EQ(writer.create(m_dir.wfile("avc.mov"), tracks.data(), 1, 0, true), OK);
    std::string slice = std::string("\0\0\0\1\x65", 5) + std::string(200, '\x11');
    TrackData row{reinterpret_cast<const unsigned char*>(slice.data()), uint32_t(slice.size()), 0, HalcIFrame};
    EXPECT_EQ(writer.writeSamples(&row, 1), Fail);
    EXPECT_TRUE(says(writer, "sequence parameter set")) << text(writer.getLastError());
    EXPECT_EQ(writer.close(), OK);
    EXPECT_EQ(listing(), "") << "no chunk was written, so the file is gone";
}

TEST_F(QtWriterFailure, WrongRowCountAndSizes)
{
    QuickTime::FileWriter writer;
    std::vector<TrackStructuralData> tracks = {videoTrack("AVdn", 1920, 1080, 25, 1), audioTrack(16, 2, 1)};
    ASSERT_EQ(writer.create(m_dir.wfile("rows.mov"), tracks.data(), 2, 0, true), OK);
    std::string frame(4096, 'v'), audio(1920 * 4, 'a');
    TrackData rows[2] = {{reinterpret_cast<const unsigned char*>(frame.data()), 4096, 0, HalcIFrame},
                         {reinterpret_cast<const unsigned char*>(audio.data()), 1920 * 4, 0, 0}};
    EXPECT_EQ(writer.writeSamples(rows, 1), InvalidArg);
    EXPECT_TRUE(says(writer, "WriteSamples, input track count=1, expected track count=2"));
    EXPECT_EQ(writer.writeSamples(nullptr, 2), InvalidArg);
    // DNxHD frames have one size: a larger one is refused.
    std::string header(4096, '\0');
    rows[0].data = reinterpret_cast<const unsigned char*>(header.data());
    ASSERT_EQ(writer.writeSamples(rows, 2), OK) << text(writer.getLastError());
    std::string larger(5000, 'v');
    rows[0] = TrackData{reinterpret_cast<const unsigned char*>(larger.data()), 5000, 1, HalcIFrame};
    EXPECT_EQ(writer.writeSamples(rows, 2), InvalidArg);
    EXPECT_TRUE(says(writer, "expected 4096 got 5000")) << text(writer.getLastError());
    EXPECT_EQ(writer.close(), OK);
}

// With the index first a file holds at most the frames it was made for.
TEST_F(QtWriterFailure, MaximumFramesReached)
{
    QuickTime::FileWriter writer;
    std::vector<TrackStructuralData> tracks = {videoTrack("apcn", 320, 240, 25, 1)};
    ASSERT_EQ(writer.create(m_dir.wfile("max.mov"), tracks.data(), 1, 5, true), OK);
    EXPECT_EQ(writer.maxFileAtoms(), 5u);
    std::string frame(3000, 'p');
    TrackData row{reinterpret_cast<const unsigned char*>(frame.data()), 3000, 0, HalcIFrame};
    for (int i = 0; i < 5; ++i)
        ASSERT_EQ(writer.writeSamples(&row, 1), OK) << i;
    EXPECT_EQ(writer.writeSamples(&row, 1), MaxFileSizeExceeded);
    EXPECT_TRUE(says(writer, "WriteSamples - maximum file frames reached."));
    EXPECT_EQ(writer.close(), OK);
    auto opened = openPath(m_dir.file("max.mov"));
    ASSERT_TRUE(opened.ok());
    EXPECT_EQ(opened.reader->get_Length(0), 5u);
}

// A disk too small for the header region: create fails and leaves no file.
TEST_F(QtWriterFailure, DiskFullAtCreate)
{
    FaultyFiles faulty;
    faulty.faults().diskSpace = 32 * 1024;
    QuickTime::FileWriter writer;
    std::vector<TrackStructuralData> tracks = {videoTrack("apcn", 320, 240, 25, 1)};
    CvResult result = writer.create(m_dir.wfile("full.mov"), tracks.data(), 1, 0, true);
    EXPECT_FALSE(isSuccess(result));
    EXPECT_TRUE(says(writer, "writeHeader failed to write.")) << text(writer.getLastError());
    EXPECT_EQ(listing(), "");
}

// The disk fills while frames are written: the call that can't write says
// so, close fails with a text, and what the last flush wrote still reads.
TEST_F(QtWriterFailure, DiskFullWhileWriting)
{
    for (bool partial : {false, true}) {
        SCOPED_TRACE(partial ? "partial writes" : "whole writes refused");
        FaultyFiles faulty;
        faulty.faults().partialWrites = partial;
        std::string name = partial ? "partial.mov" : "whole.mov";
        QuickTime::FileWriter writer;
        writer.setFlushPeriod(6);
        std::vector<TrackStructuralData> tracks = {videoTrack("apcn", 320, 240, 25, 1), audioTrack(16, 2, 1)};
        ASSERT_EQ(writer.create(m_dir.wfile(name), tracks.data(), 2, 0, true), OK) << text(writer.getLastError());
        faulty.faults().diskSpace = writer.headerRegionSize() + 600 * 1024;
        std::string frame(20000, 'p'), audio(1920 * 4, 'a');
        TrackData rows[2] = {{reinterpret_cast<const unsigned char*>(frame.data()), 20000, 0, HalcIFrame},
                             {reinterpret_cast<const unsigned char*>(audio.data()), 1920 * 4, 0, 0}};
        CvResult result = OK;
        unsigned frames = 0;
        for (; frames < 200 && isSuccess(result); ++frames)
            result = writer.writeSamples(rows, 2);
        EXPECT_FALSE(isSuccess(result));
        EXPECT_LT(frames, 200u);
        EXPECT_TRUE(says(writer, "Failed to write")) << text(writer.getLastError());
        // Close writes what still fits; when something doesn't, it says so.
        if (!isSuccess(writer.close())) {
            EXPECT_FALSE(text(writer.getLastError()).empty());
        }
        std::string path = m_dir.file(name);
        // ffprobe finds the container whole (the frames are made up, so its
        // ProRes decoder's opinion of them is left out).
        EXPECT_EQ(runCommand("ffprobe -v error " + shellQuote(path) + " 2>&1 | grep -v 'prores @'"), "");
        auto opened = openPath(path);
        ASSERT_TRUE(opened.ok()) << text(opened.error());
        unsigned length = opened.reader->get_Length(0);
        EXPECT_GE(length, 6u);
        EXPECT_LT(length, frames);
        EXPECT_EQ(length % 6, 0u) << "whole chunks only";
        JsonValue probe = probeJson(path);
        long long videoPackets = 0;
        for (const JsonValue& p : probe["packets"].items)
            videoPackets += p["stream_index"].integer() == 0;
        EXPECT_EQ(videoPackets, length);
    }
}

// At 29.97 an audio chunk holds the audio of 30 whole frames: 48048 samples.
TEST(QtWriterConfigChunks, AudioChunkHoldsWholeFrames)
{
    QuickTime::FileWriter writer;
    writer.setFlag(QuickTime::FileWriter::FlagNoDiskFile);
    std::vector<TrackStructuralData> tracks = {videoTrack("apcn", 1920, 1080, 30000, 1001), audioTrack(24, 2, 1)};
    ASSERT_EQ(writer.create(L"", tracks.data(), 2, 0, true), OK) << text(writer.getLastError());
    EXPECT_EQ(writer.essence(1).samplesPerChunk, 48048);
    EXPECT_EQ(writer.essence(0).samplesPerChunk, 6);
    EXPECT_EQ(writer.movieTimeScale(), 2997u);
    EXPECT_EQ(writer.close(), OK);
}

// "dvh1" at a height other than 720 or 1080 records no size rule of its own
// and takes the last one (here the audio track's before it), which doesn't
// shift the rules of the tracks behind. An audio format the writer has no
// rule for is refused.
TEST_F(QtWriterFailure, TracksWithoutSizeRulesOfTheirOwn)
{
    std::vector<TrackStructuralData> tracks = {audioTrack(16, 2, 1), videoTrack("dvh1", 960, 540, 25, 1),
                                               audioTrack(24, 2, 1), timecodeTrack(25, 1, 0, false)};
    QuickTime::FileWriter writer;
    ASSERT_EQ(writer.create(m_dir.wfile("rules.mov"), tracks.data(), 4, 0, true), OK) << text(writer.getLastError());
    ASSERT_EQ(writer.sampleSizeMode().size(), 4u);
    EXPECT_EQ(writer.sampleSizeMode()[1], 1u) << "the audio's rule before it";
    EXPECT_EQ(writer.sampleSizeMode()[3], 4u) << "the timecode's own";
    std::string frame(5000, 'd'), audio(1920 * 6, 'a');
    const uint32_t zero = 0;
    TrackData rows[4] = {{reinterpret_cast<const unsigned char*>(audio.data()), 1920 * 4, 0, 0},
                         {reinterpret_cast<const unsigned char*>(frame.data()), 5000, 0, HalcIFrame},
                         {reinterpret_cast<const unsigned char*>(audio.data()), 1920 * 6, 0, 0},
                         {reinterpret_cast<const unsigned char*>(&zero), 4, 0, 0}};
    for (int i = 0; i < 8; ++i)
        ASSERT_EQ(writer.writeSamples(rows, 4), OK) << text(writer.getLastError());
    EXPECT_EQ(writer.close(), OK) << text(writer.getLastError());
    auto opened = openPath(m_dir.file("rules.mov"));
    ASSERT_TRUE(opened.ok()) << text(opened.error());
    EXPECT_EQ(opened.reader->get_Length(1), 8u);

    tracks[2] = audioTrack(16, 2, 1, fourCC("ac-3"));
    EXPECT_EQ(writer.create(m_dir.wfile("ac3.mov"), tracks.data(), 4, 0, true), InvalidArg);
    EXPECT_TRUE(says(writer, "Audio track 2 has format \"ac-3\"")) << text(writer.getLastError());
}

// create on an open writer closes the first file; the caller's settings stay.
TEST_F(QtWriterFailure, CreateOnAnOpenWriter)
{
    QuickTime::FileWriter writer;
    writer.setOverwriteExistingFile(true);
    writer.setMaxFileAtoms(100);
    std::vector<TrackStructuralData> tracks = {videoTrack("apcn", 320, 240, 25, 1)};
    std::string frame(3000, 'p');
    TrackData row{reinterpret_cast<const unsigned char*>(frame.data()), 3000, 0, HalcIFrame};
    ASSERT_EQ(writer.create(m_dir.wfile("one.mov"), tracks.data(), 1, 0, true), OK);
    ASSERT_EQ(writer.writeSamples(&row, 1), OK);
    writeFile(m_dir.file("two.mov"), "old");
    ASSERT_EQ(writer.create(m_dir.wfile("two.mov"), tracks.data(), 1, 0, true), OK) << text(writer.getLastError());
    ASSERT_EQ(writer.writeSamples(&row, 1), OK);
    ASSERT_EQ(writer.close(), OK);
    for (const char* name : {"one.mov", "two.mov"}) {
        auto opened = openPath(m_dir.file(name));
        ASSERT_TRUE(opened.ok()) << name << ": " << text(opened.error());
        EXPECT_EQ(opened.reader->get_Length(0), 1u) << name;
    }
}
