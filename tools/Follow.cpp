// `cvtool follow`: plays the editor on a file that is still being captured.
// It opens the file through the plug-in, measures it again and again with
// recalculateSize, and reads every frame that has appeared, printing the MD5
// of each as `cvtool capture` does, so the two outputs can be compared. It
// fails when a stream's length goes down or a frame can't be read. A file
// whose capture is already over is read to its end through its container's
// reader.
#include "tools/Follow.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <thread>

#include "frame/MediaFileReader.h"
#include "frame/Utf8.h"
#include "growing/Indexer.h"
#include "host/FrameRates.h"
#include "tools/Handshake.h"
#include "tools/Md5.h"
#include "tools/PluginHost.h"

using Corvidane::MediaFileReader;

namespace {

// The file type the growing-file reader answers.
constexpr int growingFileType = 6;

class Follower {
public:
    Follower(Hc::FileReaderResource& resource, const FollowOptions& options) : m_resource(resource), m_options(options)
    {
        // The plug-in's file service takes absolute paths only.
        m_path = Corvidane::fromUtf8(std::filesystem::absolute(options.file).string());
    }

    int run() { return m_options.handshake.empty() ? runFreely() : runInLockstep(); }

private:
    struct Stream {
        unsigned read = 0;          // entries read so far
        unsigned long samples = 0;  // audio samples read so far
    };

    // Takes turns with the capture: each of its lines says how many whole
    // rows each sidecar holds, and that is exactly the length to be seen.
    int runInLockstep()
    {
        Handshake handshake;
        if (!handshake.open(m_options.handshake, Handshake::Follower)) {
            std::fprintf(stderr, "cvtool follow: no handshake pipes in %s\n", m_options.handshake.c_str());
            return 1;
        }
        std::string line;
        while (handshake.receive(line)) {
            bool ended = line == "end";
            std::vector<unsigned> expected;
            for (size_t at = line.find(' '); !ended && at != std::string::npos; at = line.find(' ', at + 1))
                expected.push_back(static_cast<unsigned>(std::strtoul(line.c_str() + at + 1, nullptr, 10)));
            if (!pass())
                return 1;
            bool everyRowStarted = !expected.empty() && std::count(expected.begin(), expected.end(), 0u) == 0;
            if (!ended && !m_reader && everyRowStarted) {
                std::fprintf(stderr, "cvtool follow: the file can't be opened although every sidecar has rows\n");
                return 1;
            }
            if (m_reader && !ended && !lengthsAre(expected))
                return 1;
            if (ended && !reopen())
                return 1;
            if (!handshake.send("ok"))
                return 1;
            if (ended)
                return 0;
        }
        std::fprintf(stderr, "cvtool follow: the capture went away without an end\n");
        return 1;
    }

    // Polls until the capture has removed its sidecars, then reads the rest.
    int runFreely()
    {
        auto deadline = std::chrono::steady_clock::now() + std::chrono::duration<double>(m_options.timeoutSeconds);
        while (std::chrono::steady_clock::now() < deadline) {
            // A capture makes the sidecars before the file and removes them
            // when it is done, so a file seen without them is finished.
            std::error_code error;
            const bool exists = std::filesystem::exists(m_options.file, error);
            const bool capturing = sidecarsExist();
            if (exists && !capturing)
                return m_reader ? (pass() && reopen() ? 0 : 1) : readFinished();
            if (!capturing)
                sayWaiting();
            else if (!pass())
                return 1;
            std::this_thread::sleep_for(std::chrono::milliseconds(m_options.pollMilliseconds));
        }
        std::fprintf(stderr, "cvtool follow: timed out waiting for %s\n", m_options.file.c_str());
        return 1;
    }

    // Reads a file whose capture ended before the follower came, all of it.
    int readFinished()
    {
        m_file = openClip(m_resource, m_path);
        m_reader = m_file ? m_file->containerReader() : nullptr;
        if (!m_reader)
            return 1;
        m_streams.assign(static_cast<size_t>(m_reader->get_StreamCount()), Stream{});
        // The pictures and sound the editor reads; a timecode track may have
        // nothing to read.
        for (unsigned s = 0; s < m_streams.size(); ++s)
            if (!m_reader->get_IsTimeCode(int(s)) && !readNew(s))
                return 1;
        std::printf("finished: container reader\n");
        return 0;
    }

    void sayWaiting()
    {
        if (!m_waiting)
            std::fprintf(stderr, "cvtool follow: waiting for the first rows of %s\n", m_options.file.c_str());
        m_waiting = true;
    }

    bool sidecarsExist() const
    {
        for (int t = 0; t < 32; ++t) {
            std::string name;
            Corvidane::toUtf8(Corvidane::ExternalIndexer::getFilename(m_path, t), name);
            if (std::filesystem::exists(name))
                return true;
        }
        return false;
    }

    // Opens the file if it isn't yet, measures it, and reads what is new.
    bool pass()
    {
        if (!m_reader) {
            // Until the first block of rows is down the plug-in refuses the
            // file, which is no news.
            std::string refusal;
            m_file = openLikeTheEditor(m_resource, m_path, &refusal);
            m_reader = m_file ? m_file->containerReader() : nullptr;
            if (!m_reader) {
                m_file.reset();
                sayWaiting();
                return true;
            }
            if (m_reader->get_FileType() != growingFileType) {
                std::fprintf(stderr, "cvtool follow: %s isn't read as a growing file\n", m_options.file.c_str());
                return false;
            }
            m_streams.assign(static_cast<size_t>(m_reader->get_StreamCount()), Stream{});
        }
        // Measured as the editor measures it: the front end keeps the last
        // two seconds back from what it offers; the follower reads every
        // row to check them.
        m_file->recalculateSize(UINT32_MAX, m_usable);
        for (unsigned s = 0; s < m_streams.size(); ++s)
            if (!readNew(s))
                return false;
        std::fflush(stdout);
        return true;
    }

    bool readNew(unsigned s)
    {
        Stream& stream = m_streams[s];
        int index = static_cast<int>(s);
        unsigned length = m_reader->get_Length(index);
        if (length < stream.read) {
            std::fprintf(stderr, "cvtool follow: stream %u shrank from %u to %u\n", s, stream.read, length);
            return false;
        }
        if (length == stream.read)
            return true;
        if (m_reader->essenceOpen(s) != OK)
            return false;
        // Audio of a capture is addressed by sound sample, one frame's worth
        // per entry; a container's audio, as its video, by entry.
        const bool bySoundSample = m_reader->get_IsAudio(index) && m_reader->get_FileType() == growingFileType;
        unsigned bytesPerSample =
            static_cast<unsigned>(m_reader->get_ChannelCount(index) * m_reader->get_BitsPerSample(index) / 8);
        for (; stream.read < length; ++stream.read) {
            Corvidane::IndexEntry entry;
            if (m_reader->getIndexEntry(stream.read, entry) != OK) {
                std::fprintf(stderr, "cvtool follow: no entry %u in stream %u\n", stream.read, s);
                return false;
            }
            // Room for the whole sectors an unbuffered reader reads around it.
            m_buffer.resize(std::max<size_t>(m_buffer.size(), size_t(entry.size) + 2 * 65536));
            unsigned offset = 0, size = 0;
            unsigned count = bySoundSample && bytesPerSample ? entry.size / bytesPerSample : 1;
            unsigned long start = bySoundSample ? stream.samples : stream.read;
            CvResult result = m_reader->essenceRead(start, count, m_buffer.data(),
                                                    static_cast<unsigned>(m_buffer.size()), offset, size);
            if (result != OK || size != entry.size) {
                std::fprintf(stderr, "cvtool follow: reading entry %u of stream %u gave %d\n", stream.read, s,
                             static_cast<int>(result));
                return false;
            }
            stream.samples += count;
            Md5 md5;
            md5.update(m_buffer.data() + offset, size);
            std::printf("%u %u %s", s, stream.read, md5.hexDigest().c_str());
            if (m_options.times)
                std::printf(" %lld", monotonicNanoseconds());
            std::printf("\n");
        }
        return true;
    }

    bool lengthsAre(const std::vector<unsigned>& expected)
    {
        if (expected.size() != m_streams.size()) {
            std::fprintf(stderr, "cvtool follow: %zu streams where the capture writes %zu\n", m_streams.size(),
                         expected.size());
            return false;
        }
        const int video = m_file->videoStream();
        if (video >= 0) {
            const int64_t margin = 2 * int64_t(Hc::ticksPerSecond(m_file->videoMetadata().frameRate));
            const int64_t rows = expected[size_t(video)];
            const int64_t shown = std::max<int64_t>(rows - margin, 0);
            const int64_t usable = std::max<int64_t>(shown - m_file->getVideoOrigin(), 0);
            if (m_usable != usable) {
                std::fprintf(stderr, "cvtool follow: the editor is offered %u frames of %lld rows, not %lld\n",
                             m_usable, static_cast<long long>(rows), static_cast<long long>(usable));
                return false;
            }
        }
        for (unsigned s = 0; s < m_streams.size(); ++s) {
            if (m_streams[s].read != expected[s]) {
                std::fprintf(stderr, "cvtool follow: stream %u has %u frames where %u rows are written\n", s,
                             m_streams[s].read, expected[s]);
                return false;
            }
        }
        return true;
    }

    // A fresh open once the capture is over takes the container's reader.
    bool reopen()
    {
        std::unique_ptr<FileReadInstance> fresh = openLikeTheEditor(m_resource, m_path);
        MediaFileReader* reader = fresh ? fresh->containerReader() : nullptr;
        if (reader && reader->get_FileType() == growingFileType) {
            std::fprintf(stderr, "cvtool follow: the finished file is still read as a growing file\n");
            return false;
        }
        std::printf("finished: %s\n", reader ? "container reader" : "no reader for the container");
        std::fflush(stdout);
        return true;
    }

    Hc::FileReaderResource& m_resource;
    const FollowOptions& m_options;
    std::wstring m_path;
    std::unique_ptr<FileReadInstance> m_file;
    MediaFileReader* m_reader = nullptr;
    unsigned m_usable = 0;
    bool m_waiting = false;
    std::vector<Stream> m_streams;
    std::vector<unsigned char> m_buffer = std::vector<unsigned char>(1 << 20);
};

} // namespace

int followFile(Hc::FileReaderResource& resource, const FollowOptions& options)
{
    Follower follower(resource, options);
    return follower.run();
}
