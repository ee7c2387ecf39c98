// A file being written with its index first is a whole movie at every flush
// and stays one when the writing process is killed: nothing
// handed over before the last flush is lost.
#include <gtest/gtest.h>

#include "growing/BinaryIndexer.h"
#include "growing/EwcFileReader.h"
#include "quicktime/QtReaderFixture.h"
#include "quicktime/QtWriterSupport.h"
#include "support/KilledWriter.h"

using namespace Corvidane;
using namespace qtw;

namespace {

class QtWriterFlush : public QtReaderFixture {
protected:
    void SetUp() override
    {
        QtReaderFixture::SetUp();
        m_src = testMedia("h264_dropframe.mov");
        Source source = readSource(m_src);
        m_source = source.video;
        std::string first = runCommand("ffmpeg -v error -i " + shellQuote(m_src) +
                                       " -map 0:v -c copy -bsf:v h264_mp4toannexb -frames:v 1 -f h264 -");
        m_feeder.rateNum = 30000, m_feeder.rateDen = 1001;
        m_feeder.audio = source.audio;
        frameOrder(source.video, m_feeder.shown, m_feeder.types);
        for (size_t i = 0; i < source.video.size(); ++i) {
            m_feeder.video.push_back(i == 0 ? first : toAnnexB(source.video[i].bytes));
            m_expected.push_back(i == 0 ? toLengthPrefixed(first) : source.video[i].bytes);
        }
        // The source's audio is one channel.
        m_feeder.blockAlign = 2;
        m_tracks = {videoTrack("avc1", 320, 240, 30000, 1001, 15, 3), audioTrack(16, 1, 1),
                    timecodeTrack(30000, 1001, 107892, true)};
    }

    // What ffprobe, ffmpeg and our reader make of a copy of the file as it stands.
    void expectWholeMovieOf(const std::string& path, size_t frames)
    {
        std::string copy = path + ".snapshot.mov";
        runCommand("cp " + shellQuote(path) + " " + shellQuote(copy));
        EXPECT_EQ(runCommand("ffprobe -v error " + shellQuote(copy) + " 2>&1"), "") << "ffprobe complains";
        JsonValue probe = probeJson(copy);
        std::vector<const JsonValue*> video;
        for (const JsonValue& p : probe["packets"].items)
            if (p["stream_index"].integer() == 0)
                video.push_back(&p);
        ASSERT_EQ(video.size(), frames);
        std::string bytes = readFile(copy);
        for (size_t i = 0; i < frames; ++i)
            ASSERT_EQ(bytes.substr(size_t((*video[i])["pos"].integer()), size_t((*video[i])["size"].integer())),
                      m_expected[i])
                << "packet " << i << " of " << frames;
        EXPECT_EQ(timecodeOf(probe), "01:00:00;00");
        // Closed GOPs decode to the source's first frames.
        std::string decoded = runCommand("ffmpeg -v error -i " + shellQuote(copy) +
                                         " -map 0:v -f framemd5 - | grep -v '^#' | cut -d, -f6");
        std::string source = runCommand("ffmpeg -v error -i " + shellQuote(m_src) + " -map 0:v -frames:v " +
                                        std::to_string(frames) + " -f framemd5 - | grep -v '^#' | cut -d, -f6");
        EXPECT_EQ(decoded, source);

        auto opened = openPath(copy);
        ASSERT_TRUE(opened.ok()) << text(opened.error());
        ASSERT_EQ(opened.reader->get_Length(0), frames);
        ASSERT_EQ(opened.reader->essenceOpen(0), OK);
        std::vector<unsigned char> buffer(1 << 20);
        for (size_t i : {size_t(0), frames / 2, frames - 1}) {
            unsigned offset = 0, size = 0;
            ASSERT_EQ(opened.reader->essenceRead(i, 1, buffer.data(), unsigned(buffer.size()), offset, size), OK);
            EXPECT_EQ(std::string(reinterpret_cast<char*>(buffer.data() + offset), size), m_expected[i]) << i;
        }
        std::remove(copy.c_str());
    }

    std::string m_src;
    std::vector<Packet> m_source;
    Feeder m_feeder;
    std::vector<std::string> m_expected;
    std::vector<TrackStructuralData> m_tracks;
};

} // namespace

// Flushed every 15 frames on the GOP boundary: after each GOP the file as it
// stands holds exactly the frames given so far.
TEST_F(QtWriterFlush, ReadableAtEveryFlush)
{
    std::string out = m_dir.file("growing.mov");
    QuickTime::FileWriter writer;
    writer.setFlushPeriod(15);
    ASSERT_EQ(writer.create(fromUtf8(out), m_tracks.data(), 3, 0, true), OK) << text(writer.getLastError());
    for (size_t done = 15; done <= m_feeder.video.size(); done += 15) {
        ASSERT_EQ(m_feeder.feed(writer, done - 15, done), OK) << text(writer.getLastError());
        expectWholeMovieOf(out, done);
    }
    ASSERT_EQ(writer.close(), OK);
    expectWholeMovieOf(out, m_feeder.video.size());
}

// A writer killed with SIGKILL five frames after its last flush leaves a
// movie of every frame up to that flush.
TEST_F(QtWriterFlush, KilledWriterLeavesTheFramesOfItsLastFlush)
{
    std::string out = m_dir.file("killed.mov");
    ASSERT_TRUE(writtenThenKilled([&] {
        auto& writer = *new QuickTime::FileWriter;
        writer.setFlushPeriod(15);
        return isSuccess(writer.create(fromUtf8(out), m_tracks.data(), 3, 0, true)) &&
               isSuccess(m_feeder.feed(writer, 0, 50));
    })) << "the child could not write";
    // Flushes came at 15, 30 and 45 frames.
    expectWholeMovieOf(out, 45);
}

// With the index last a file has no movie atom until close; the sidecar
// indexes that the writer feeds keep it readable meanwhile, also
// after the writer is killed: every whole block of rows they hold reads back.
TEST_F(QtWriterFlush, IndexLastKilledWriterReadsThroughItsSidecars)
{
    std::string out = m_dir.file("sidecars.mov");
    ASSERT_TRUE(writtenThenKilled([&] {
        auto& writer = *new QuickTime::FileWriter;
        auto video = ExternalIndexer::createIndexer(ExternalIndexer::BinaryIndexerType);
        auto audio = ExternalIndexer::createIndexer(ExternalIndexer::BinaryIndexerType);
        if (!isSuccess(writer.create(fromUtf8(out), m_tracks.data(), 3, 0, false)) ||
            !isSuccess(video->create(ExternalIndexer::getFilename(fromUtf8(out), 0), {m_tracks[0]})) ||
            !isSuccess(audio->create(ExternalIndexer::getFilename(fromUtf8(out), 1), {m_tracks[1]})))
            return false;
        writer.setExternalIndexer(video, 0);
        writer.setExternalIndexer(audio, 1);
        return isSuccess(m_feeder.feed(writer, 0, 65));
    })) << "the child could not write";

    EWC::FileReader reader;
    ASSERT_EQ(reader.loadFile(fromUtf8(out), iFile::UnbufferedGrowing), OK) << text(reader.getLastError());
    ASSERT_EQ(reader.get_StreamCount(), 2);
    ASSERT_TRUE(reader.get_IsVideo(0));
    ASSERT_TRUE(reader.get_IsAudio(1));
    // Rows reach the sidecar in blocks of 30.
    ASSERT_EQ(reader.get_Length(0), 60u);
    EXPECT_GT(reader.get_Length(1), 0u);
    CByteBuffer config(256);
    EXPECT_TRUE(reader.getExtensionItem(0, fourCC("avcC"), config)) << "the decoder configuration of the first frame";
    std::vector<unsigned char> buffer(1 << 20);
    // The audio of the first chunks, by sound sample.
    ASSERT_EQ(reader.essenceOpen(1), OK);
    for (unsigned first : {0u, 1000u, 47000u, 90000u}) {
        unsigned offset = 0, size = 0;
        ASSERT_EQ(reader.essenceRead(first, 2000, buffer.data(), unsigned(buffer.size()), offset, size), OK) << first;
        ASSERT_EQ(size, 4000u);
        EXPECT_EQ(std::string(reinterpret_cast<char*>(buffer.data() + offset), size),
                  m_feeder.audio.substr(first * 2, 4000))
            << "audio from sample " << first;
    }
    ASSERT_EQ(reader.essenceOpen(0), OK);
    for (unsigned i = 0; i < 60; ++i) {
        unsigned offset = 0, size = 0;
        ASSERT_EQ(reader.essenceRead(i, 1, buffer.data(), unsigned(buffer.size()), offset, size), OK) << i;
        ASSERT_EQ(std::string(reinterpret_cast<char*>(buffer.data() + offset), size), m_expected[i]) << i;
    }
}
