// An MXF file written through the writer resource, as the editor writes it:
// a copy taken at every flush reads in ffprobe and our reader with the frames
// written so far, a writer killed with SIGKILL leaves what it flushed, and a
// full disk fails with the writer's words and leaves the whole frames; for
// OP1a XDCAM and for an OP-Atom DV family. Sound alone is for files without
// pictures.
#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <functional>
#include <memory>
#include <ostream>
#include <string>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

#include "frame/FourCC.h"
#include "frame/Utf8.h"
#include "front/write/MxfFileWriter.h"
#include "host/FrameRates.h"
#include "mxf/read/FileReader.h"
#include "support/DriverFixture.h"
#include "support/FaultyFiles.h"
#include "support/MxfWriterSources.h"
#include "support/TempDir.h"
#include "support/TestMedia.h"

using namespace MxfWriterTest;

namespace {

// XDCAM HD 422 long GOP with a stereo sound, as the editor hands it over:
// OP1a, its body partitions and a flush every second or so.
Hc::FileWriterParams xdcamParams()
{
    Hc::FileWriterParams params;
    params.formatType = "MXF";
    params.compression = Corvidane::fourCC("xd50");
    params.frameRate = Hc::Rate25;
    params.width = 320;
    params.height = 240;
    params.scanMode = 3;
    params.gopLength = 12;
    params.gopAnchorDistance = 3;
    params.audio.push_back({2, 48000, 2, 16});
    params.config.set("TcFps", std::to_string(Hc::Rate25));
    params.config.set("TcStartFrame", "0");
    return params;
}

// DV25 with a stereo sound in separate files: an OP-Atom family, whose
// header regions are rewritten at each flush.
Hc::FileWriterParams dvParams()
{
    Hc::FileWriterParams params = xdcamParams();
    params.compression = Corvidane::fourCC("dvsd");
    params.width = 720;
    params.height = 576;
    params.scanMode = 1;
    params.gopLength = 1;
    params.gopAnchorDistance = 1;
    params.multiplexing = 2;
    return params;
}

// Three seconds of DV: the one-second stream three times over, made once.
std::string threeSecondsOfDv()
{
    static TempDir dir;
    static const std::string path = [] {
        const std::string second = readFile(testMedia("raw_dv_pal.dv"));
        const std::string made = dir.file("three_seconds.dv");
        writeFile(made, second + second + second);
        return made;
    }();
    return path;
}

struct FileKind {
    const char* name;
    std::string (*source)();
    Hc::FileWriterParams (*params)();
};

void PrintTo(const FileKind& kind, std::ostream* out)
{
    *out << kind.name;
}

class MxfWriterResource : public DriverFixture, public ::testing::WithParamInterface<FileKind> {
protected:
    MxfWriterResource() : m_source(GetParam().source()), m_pictures(framesOf(m_source)) {}

    // The file through the resource, each frame with 1920 samples of silence.
    std::unique_ptr<Hc::FileInfoBase> open(const std::string& path)
    {
        mxf::FileWriter resource;
        Hc::FileInfoBase* created = nullptr;
        const int opened = resource.openFile(Corvidane::fromUtf8(path), GetParam().params(), created);
        std::unique_ptr<Hc::FileInfoBase> file(created);
        EXPECT_EQ(opened, 1) << narrowText(resource.lastError().c_str());
        if (file)
            file->setAudioSource([](unsigned& count, std::vector<std::vector<unsigned char>>& buffers) {
                count = 1920;
                buffers.assign(1, std::vector<unsigned char>(1920 * 4, 0));
                return 1;
            });
        return file;
    }

    int write(Hc::FileInfoBase& file, size_t frame)
    {
        const Frame& picture = m_pictures[frame];
        file.setPresentationIndex(picture.presentation);
        return file.writeSurface(reinterpret_cast<const unsigned char*>(picture.bytes.data()),
                                 unsigned(picture.bytes.size()), picture.frameType);
    }

    // Every frame through the resource, noting each flush: a rewrite of the
    // header at the file's start after the first frame. `afterFlush` is told
    // the frames written before it; when it answers false, five more frames
    // are written and no others. Returns the frames before each flush.
    std::vector<size_t> writeNotingFlushes(FaultyFiles& files, Hc::FileInfoBase& file,
                                           const std::function<bool(size_t flushedFrames)>& afterFlush)
    {
        std::vector<size_t> flushes;
        size_t written = 0, end = m_pictures.size();
        bool flushed = false;
        files.faults().onWrite = [&](uint64_t position, size_t) { flushed = flushed || (position == 0 && written); };
        for (; written < end; ++written) {
            flushed = false;
            EXPECT_EQ(write(file, written), 1) << "frame " << written << ": " << narrowText(file.lastError().c_str());
            if (flushed) {
                flushes.push_back(written);
                if (!afterFlush(written))
                    end = std::min(end, written + 5);
            }
        }
        files.faults().onWrite = nullptr;
        return flushes;
    }

    // ffmpeg decodes, and our reader counts, at least `samples` samples of
    // the file's stereo sound.
    static void expectSoundSamples(const std::string& path, uint64_t samples)
    {
        const std::string decoded = runCommand("ffmpeg -v error -i " + shellQuote(path) + " -map 0:a -f s16le -");
        EXPECT_GE(decoded.size(), samples * 4) << "ffmpeg";
        Corvidane::MXF::CMxf_FileReader reader;
        ASSERT_TRUE(isSuccess(reader.loadFile(Corvidane::fromUtf8(path), iFile::Buffered)))
            << narrowText(reader.getLastError());
        int stream = 0;
        while (stream < reader.get_StreamCount() && !reader.get_IsAudio(stream))
            ++stream;
        ASSERT_LT(stream, reader.get_StreamCount());
        EXPECT_GE(uint64_t(reader.get_Length(stream)), samples) << "our reader";
    }

    std::string m_source;
    std::vector<Frame> m_pictures;
    TempDir m_dir;
};

// Copies taken as the file grows read with every frame written before the
// flush, and the closed file with all of them.
TEST_P(MxfWriterResource, EveryFlushLeavesAReadableCopy)
{
    const std::string path = m_dir.file("growing.mxf");
    FaultyFiles files;
    std::unique_ptr<Hc::FileInfoBase> file = open(path);
    ASSERT_TRUE(file);
    const std::vector<size_t> flushes = writeNotingFlushes(files, *file, [&](size_t flushedFrames) {
        const std::string copy = m_dir.file("at" + std::to_string(flushedFrames) + ".mxf");
        writeFile(copy, readFile(path));
        SCOPED_TRACE(copy);
        expectFirstPicturesReadable(copy, m_source, m_pictures, flushedFrames);
        // The family's sound file holds the sound of those frames too.
        const std::string sound = m_dir.file("growing.a1.mxf");
        if (std::filesystem::exists(sound)) {
            const std::string soundCopy = m_dir.file("at" + std::to_string(flushedFrames) + ".a1.mxf");
            writeFile(soundCopy, readFile(sound));
            expectSoundSamples(soundCopy, uint64_t(flushedFrames) * 1920);
        }
        return true;
    });
    EXPECT_GE(flushes.size(), 2u) << "a flush a second or so";
    file.reset();
    expectFirstPicturesReadable(path, m_source, m_pictures, m_pictures.size());
}

// A child drives the resource and says, through a pipe, how many frames it
// had written at its second flush; it writes five more and is killed. The
// file reads with the frames of that flush.
TEST_P(MxfWriterResource, AKilledWriterLeavesWhatItFlushed)
{
    const std::string path = m_dir.file("killed.mxf");
    int pipeFds[2];
    ASSERT_EQ(pipe(pipeFds), 0);
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        close(pipeFds[0]);
        FaultyFiles files;
        std::unique_ptr<Hc::FileInfoBase> file = open(path);
        size_t flushes = 0, told = 0;
        if (file)
            writeNotingFlushes(files, *file, [&](size_t flushedFrames) {
                if (++flushes < 2)
                    return true;
                told = flushedFrames;
                return false;
            });
        (void)!::write(pipeFds[1], &told, sizeof told);
        for (;;)
            pause();
    }
    close(pipeFds[1]);
    size_t flushed = 0;
    ASSERT_EQ(read(pipeFds[0], &flushed, sizeof flushed), ssize_t(sizeof flushed));
    close(pipeFds[0]);
    kill(child, SIGKILL);
    int status = 0;
    waitpid(child, &status, 0);
    ASSERT_GT(flushed, 0u) << "the child saw no second flush";
    expectFirstPicturesReadable(path, m_source, m_pictures, flushed);
}

// The disk fills halfway: the frame that doesn't fit is refused in the
// writer's words, and the file, closed as the disk allows, reads with every
// frame the resource took.
TEST_P(MxfWriterResource, AFullDiskFailsInTheWritersWordsAndKeepsTheWholeFrames)
{
    const std::string path = m_dir.file("full.mxf");
    FaultyFiles files;
    files.faults().diskSpace = 2000000;
    files.faults().partialWrites = true;
    std::unique_ptr<Hc::FileInfoBase> file = open(path);
    ASSERT_TRUE(file);
    size_t taken = 0;
    while (taken < m_pictures.size() && write(*file, taken) == 1)
        ++taken;
    ASSERT_LT(taken, m_pictures.size()) << "the disk never filled";
    ASSERT_GT(taken, 0u);
    const std::string words = narrowText(file->lastError().c_str());
    EXPECT_NE(words.find("WriteEssence failed to write"), std::string::npos) << words;
    file.reset();
    expectFirstPicturesReadable(path, m_source, m_pictures, taken);
}

// The path of files without pictures is the host's own for a file with
// them: it writes nothing.
TEST_P(MxfWriterResource, SoundAloneIsForFilesWithoutPictures)
{
    const std::string path = m_dir.file("pictures.mxf");
    std::unique_ptr<Hc::FileInfoBase> file = open(path);
    ASSERT_TRUE(file);
    const std::vector<std::vector<unsigned char>> sound(1, std::vector<unsigned char>(1920 * 4, 0));
    EXPECT_EQ(file->writeAudioSamples(sound, 1920 * 2), 12);
    EXPECT_EQ(write(*file, 0), 1);
}

INSTANTIATE_TEST_SUITE_P(Files, MxfWriterResource,
                         ::testing::Values(FileKind{"Op1aXdcam", [] { return testMedia("raw_mpeg2_25s.m2v"); },
                                                    xdcamParams},
                                           FileKind{"OpAtomDv", threeSecondsOfDv, dvParams}),
                         [](const ::testing::TestParamInfo<FileKind>& info) { return std::string(info.param.name); });

} // namespace
