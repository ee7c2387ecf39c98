// A file being written reads whole at every flush, by our reader and by
// ffprobe, and keeps what was flushed when its writer is killed.
#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <string>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

#include "frame/Utf8.h"
#include "growing/BinaryIndexer.h"
#include "mxf/read/FileReader.h"
#include "mxf/write/FileWriter.h"
#include "support/DriverFixture.h"
#include "support/MxfWriterSources.h"
#include "support/TempDir.h"
#include "support/TestMedia.h"

using namespace Corvidane;
using namespace MxfWriterTest;
using Corvidane::MXF::CMxf_FileWriter;

namespace {

class MxfWriterGrowing : public DriverFixture {
protected:
    Source mpeg2Source()
    {
        Source source;
        source.tracks = {timecodeTrack(25, 1, 0, false), videoTrack("MMES", 720, 576, 25, 1, 12, 8000),
                         audioTrack(2, 16)};
        source.video = framesOf(testMedia("raw_mpeg2_gop.m2v"));
        source.audio = {readFile(testMedia("raw_pcm16_48k.s16le"))};
        return source;
    }

    // A copy of the file as it stands, as another process would see it.
    std::string snapshot(const std::string& path, const std::string& name)
    {
        const std::string copy = m_dir.file(name);
        writeFile(copy, readFile(path));
        return copy;
    }

    // The first `frames` pictures read back from the file as the source has them.
    void expectFramesReadable(const std::string& path, const Source& source, size_t frames)
    {
        expectFirstPicturesReadable(path, testMedia("raw_mpeg2_gop.m2v"), source.video, frames);
    }

    TempDir m_dir;
};

TEST_F(MxfWriterGrowing, EveryFlushLeavesAReadableFile)
{
    const Source source = mpeg2Source();
    const std::string path = m_dir.file("growing.mxf");
    CMxf_FileWriter writer;
    writer.setResourceFilePath(dictionaryFolder());
    ASSERT_EQ(writer.create(fromUtf8(path), source.tracks.data(), int(source.tracks.size()), 1), OK);
    size_t written = 0;
    for (size_t gops : {1u, 2u, 4u}) {
        const size_t end = std::min(source.video.size(), gops * 10);
        ASSERT_TRUE(writeFrames(writer, source, written, end));
        ASSERT_EQ(writer.flush(true), OK);
        SCOPED_TRACE(std::to_string(end) + " frames flushed");
        expectFramesReadable(snapshot(path, "at" + std::to_string(end) + ".mxf"), source, end);
        // Frames written after the flush don't spoil what it left.
        written = std::min(source.video.size(), end + 3);
        ASSERT_TRUE(writeFrames(writer, source, end, written));
        expectFramesReadable(snapshot(path, "past" + std::to_string(end) + ".mxf"), source, end);
    }
    writer.close();
    expectFramesReadable(path, source, written);
}

// A flush period in whole GOPs: the writer flushes by itself.
TEST_F(MxfWriterGrowing, AKilledWriterLosesNothingItFlushed)
{
    const Source source = mpeg2Source();
    const std::string path = m_dir.file("killed.mxf");
    int pipeFds[2];
    ASSERT_EQ(pipe(pipeFds), 0);
    const size_t flushedFrames = 30;
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        close(pipeFds[0]);
        CMxf_FileWriter writer;
        writer.setFlushPeriod(10);
        writer.setResourceFilePath(dictionaryFolder());
        bool ok = isSuccess(writer.create(fromUtf8(path), source.tracks.data(), int(source.tracks.size()), 1));
        // Whole GOPs reach the disk; five more frames follow that don't.
        ok = ok && writeFrames(writer, source, 0, flushedFrames + 5);
        const char done = ok ? 'y' : 'n';
        (void)!write(pipeFds[1], &done, 1);
        for (;;)
            pause();
    }
    close(pipeFds[1]);
    char done = 0;
    ASSERT_EQ(read(pipeFds[0], &done, 1), 1);
    close(pipeFds[0]);
    kill(child, SIGKILL);
    int status = 0;
    waitpid(child, &status, 0);
    ASSERT_EQ(done, 'y');
    expectFramesReadable(path, source, flushedFrames);
}

} // namespace

namespace {

// The side index that a capture keeps for readers of the growing file lists
// the pictures in display order, each at its bytes in the file.
TEST_F(MxfWriterGrowing, TheSideIndexListsPicturesInDisplayOrder)
{
    const Source source = mpeg2Source();
    const std::string path = m_dir.file("indexed.mxf");
    const std::wstring sidecar = ExternalIndexer::getFilename(fromUtf8(path), 0);
    auto indexer = std::make_shared<ExternalIndexer::BinaryIndexer>();
    ASSERT_EQ(indexer->create(sidecar, {source.tracks[1]}), OK);
    indexer->setOption(ExternalIndexer::Indexer::DeleteOnClose, L"no");
    CMxf_FileWriter writer;
    writer.setResourceFilePath(dictionaryFolder());
    ASSERT_EQ(writer.create(fromUtf8(path), source.tracks.data(), int(source.tracks.size()), 1), OK);
    ASSERT_EQ(writer.setExternalIndexer(indexer, 1), OK);
    ASSERT_TRUE(writeFrames(writer, source, 0, source.video.size()));
    writer.close();
    indexer->close();

    ExternalIndexer::BinaryIndexer follower;
    ASSERT_EQ(follower.open(sidecar), OK);
    ASSERT_EQ(follower.getNumEntries(), source.video.size());
    const std::string file = readFile(path);
    for (unsigned i = 0; i < source.video.size(); ++i) {
        IndexEntry entry;
        ASSERT_EQ(follower.get(0, i, entry), OK);
        EXPECT_EQ(+entry.presentationIndex, i);
        const auto shown = std::find_if(source.video.begin(), source.video.end(),
                                        [i](const Frame& frame) { return frame.presentation == i; });
        ASSERT_NE(shown, source.video.end());
        EXPECT_EQ(+entry.decodeIndex, unsigned(shown - source.video.begin()));
        ASSERT_LE(entry.offset + entry.size, file.size());
        EXPECT_EQ(file.compare(size_t(entry.offset), entry.size, shown->bytes), 0) << "picture " << i;
        EXPECT_EQ(isKeyFrame(entry), (shown->frameType & HalcIFrame) != 0) << "picture " << i;
    }
}

} // namespace

namespace {

// Edit while capture: dummy edit units, and the claim of all of them at once.
class MxfWriterDummyAtoms : public MxfWriterGrowing {
protected:
    std::vector<TrackStructuralData> dvTracks()
    {
        return {timecodeTrack(25, 1, 0, false), videoTrack("dvsd", 720, 576, 25, 1, 1, 25000, false),
                audioTrack(1, 16), audioTrack(1, 16)};
    }

    // One DV picture and room for the largest share of sound.
    std::vector<TrackData> rows()
    {
        static const uint32_t zero = 0;
        m_picture = framesOf(testMedia("raw_dv_pal.dv")).front().bytes;
        m_sound.assign(2002 * 2, '\0');
        const auto* sound = reinterpret_cast<const unsigned char*>(m_sound.data());
        return {TrackData{reinterpret_cast<const unsigned char*>(&zero), 4, 0, 0},
                TrackData{reinterpret_cast<const unsigned char*>(m_picture.data()), uint32_t(m_picture.size()), 0,
                          HalcIFrame},
                TrackData{sound, 0, 0, 0}, TrackData{sound, 0, 0, 0}};
    }

    // The length of the clip-wrapped element, from the key's eight-byte BER length.
    static uint64_t elementLength(const std::string& file)
    {
        uint64_t length = 0;
        for (size_t i = 0x60000 - 7; i < 0x60000; ++i)
            length = length << 8 | static_cast<unsigned char>(file[i]);
        return length;
    }

    std::string m_picture;
    std::string m_sound;
};

TEST_F(MxfWriterDummyAtoms, EachEditUnitCarriesItsCadence)
{
    const std::string path = m_dir.file("dummy.mxf");
    const std::vector<TrackStructuralData> tracks = dvTracks();
    CMxf_FileWriter writer;
    writer.setResourceFilePath(dictionaryFolder());
    ASSERT_EQ(writer.create(fromUtf8(path), tracks.data(), int(tracks.size()), 0), OK);
    std::vector<TrackData> atom = rows();
    ASSERT_EQ(writer.writeDummyAtoms(10, atom.data(), int(atom.size())), OK) << writer.getLastError();
    writer.close();

    EXPECT_EQ(elementLength(readFile(path)), 10u * 144000u);
    const std::string sound = m_dir.file("dummy.a1.mxf");
    EXPECT_EQ(elementLength(readFile(sound)), 10u * 1920u * 2u);
    MXF::CMxf_FileReader reader;
    ASSERT_TRUE(isSuccess(reader.loadFile(fromUtf8(sound), iFile::Buffered)));
    int audio = -1;
    for (int s = 0; s < reader.get_StreamCount() && audio < 0; ++s)
        if (reader.get_IsAudio(s))
            audio = s;
    ASSERT_GE(audio, 0);
    EXPECT_EQ(reader.get_Length(audio), 19200u);
}

TEST_F(MxfWriterDummyAtoms, TheFamilyClaimsEveryFrameAtOnce)
{
    const std::string path = m_dir.file("claim.mxf");
    const std::vector<TrackStructuralData> tracks = dvTracks();
    CMxf_FileWriter writer;
    writer.setFlags(CMxf_FileWriter::ExpandAfterFirstDummy);
    writer.setResourceFilePath(dictionaryFolder());
    ASSERT_EQ(writer.create(fromUtf8(path), tracks.data(), int(tracks.size()), 0), OK);
    std::vector<TrackData> atom = rows();
    ASSERT_EQ(writer.writeDummyAtoms(50, atom.data(), int(atom.size())), OK);
    EXPECT_EQ(writer.getAtomsWritten(), 50u);
    ASSERT_EQ(writer.flush(true), OK);
    // One picture on disk, fifty claimed; the sound files claim fifty frames of samples.
    EXPECT_EQ(elementLength(readFile(path)), 50u * 144000u);
    // A copy as a reader of the growing file sees it: ffprobe reads the
    // picture written.
    const std::string copy = snapshot(path, "claimed.mxf");
    const std::string hashes = "ffprobe -v error -select_streams v:0 -show_data_hash MD5 -show_entries "
                               "packet=data_hash -of csv=p=0 ";
    const std::string picture = runCommand(hashes + shellQuote(testMedia("raw_dv_pal.dv")));
    const std::string theirs = runCommand(hashes + shellQuote(copy));
    ASSERT_FALSE(picture.empty());
    EXPECT_EQ(theirs.substr(0, theirs.find('\n')), picture.substr(0, picture.find('\n')));
    // Our reader opens it before its footer, with the picture written.
    MXF::CMxf_FileReader reader;
    const int video = loadPicture(reader, copy);
    ASSERT_GE(video, 0) << narrowText(reader.getLastError());
    ASSERT_TRUE(isSuccess(reader.essenceOpen(unsigned(video))));
    std::vector<unsigned char> buffer(1 << 20);
    unsigned offset = 0, size = 0;
    ASSERT_TRUE(isSuccess(reader.essenceRead(0, 1, buffer.data(), unsigned(buffer.size()), offset, size)))
        << narrowText(reader.getLastError());
    EXPECT_EQ(std::string(reinterpret_cast<char*>(buffer.data() + offset), size), m_picture);
    EXPECT_EQ(elementLength(readFile(m_dir.file("claim.a1.mxf"))), 50u * 1920u * 2u);
    EXPECT_EQ(elementLength(readFile(m_dir.file("claim.a2.mxf"))), 50u * 1920u * 2u);
    writer.close();
}

TEST_F(MxfWriterDummyAtoms, OnlyClipWrappedConstantFilesTakeThem)
{
    std::vector<TrackData> atom = rows();
    {
        const std::vector<TrackStructuralData> tracks = dvTracks();
        CMxf_FileWriter op1a;
        op1a.setResourceFilePath(dictionaryFolder());
        ASSERT_EQ(op1a.create(fromUtf8(m_dir.file("op1a.mxf")), tracks.data(), int(tracks.size()), 1), OK);
        EXPECT_EQ(op1a.writeDummyAtoms(5, atom.data(), int(atom.size())), InvalidArg);
        std::string error;
        toUtf8(op1a.getLastError(), error);
        EXPECT_NE(error.find("must be i-frame/opatom/clip wrapped"), std::string::npos) << error;
    }
    {
        std::vector<TrackStructuralData> tracks = dvTracks();
        tracks[2].audio.sampleRate = 44100;
        CMxf_FileWriter writer;
        writer.setResourceFilePath(dictionaryFolder());
        ASSERT_EQ(writer.create(fromUtf8(m_dir.file("cd.mxf")), tracks.data(), int(tracks.size()), 0), OK);
        EXPECT_EQ(writer.writeDummyAtoms(5, atom.data(), int(atom.size())), InvalidArg);
        std::string error;
        toUtf8(writer.getLastError(), error);
        EXPECT_NE(error.find("Audio sample rate must be 48kHz"), std::string::npos) << error;
    }
}

} // namespace

namespace {

// An OP-Atom sound file's side index: one row per frame's share of samples,
// each at its bytes, and the cadence of the picture's rate.
TEST_F(MxfWriterGrowing, TheSoundFileOfAnOpAtomFamilyKeepsItsSideIndex)
{
    Source source;
    source.tracks = {timecodeTrack(25, 1, 0, false), videoTrack("dvsd", 720, 576, 25, 1, 1, 25000, false),
                     audioTrack(1, 16)};
    source.video = framesOf(testMedia("raw_dv_pal.dv"));
    source.audio = {readFile(testMedia("raw_pcm16_48k.s16le"))};
    const std::string path = m_dir.file("family.mxf");
    const std::string sound = m_dir.file("family.a1.mxf");
    const std::wstring sidecar = ExternalIndexer::getFilename(fromUtf8(sound), 0);
    auto indexer = std::make_shared<ExternalIndexer::BinaryIndexer>();
    ASSERT_EQ(indexer->create(sidecar, {source.tracks[2]}), OK);
    indexer->setOption(ExternalIndexer::Indexer::DeleteOnClose, L"no");
    CMxf_FileWriter writer;
    writer.setResourceFilePath(dictionaryFolder());
    ASSERT_EQ(writer.create(fromUtf8(path), source.tracks.data(), int(source.tracks.size()), 0), OK);
    ASSERT_EQ(writer.setExternalIndexer(indexer, 2), OK);
    ASSERT_TRUE(writeFrames(writer, source, 0, source.video.size()));
    writer.close();
    indexer->close();

    ExternalIndexer::BinaryIndexer follower;
    ASSERT_EQ(follower.open(sidecar), OK);
    signed char cadence = -1;
    ASSERT_EQ(follower.getAudioSamplesIndex(cadence), OK);
    EXPECT_EQ(cadence, 0) << "25 frames a second";
    ASSERT_EQ(follower.getNumEntries(), source.video.size());
    const std::string file = readFile(sound);
    const std::string pcm = audioOfFrames(source, 0, source.video.size());
    for (unsigned i = 0; i < source.video.size(); ++i) {
        IndexEntry entry;
        ASSERT_EQ(follower.get(0, i, entry), OK);
        EXPECT_EQ(entry.size, 1920u * 2u);
        ASSERT_LE(entry.offset + entry.size, file.size());
        EXPECT_EQ(file.compare(size_t(entry.offset), entry.size, pcm, size_t(i) * 3840, 3840), 0) << "frame " << i;
    }
}

} // namespace
