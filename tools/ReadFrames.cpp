#include "tools/ReadFrames.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>
#include <memory>

#include "frame/MediaFileReader.h"
#include "tools/Probe.h"

using Corvidane::MediaFileReader;

namespace {

// A zeroed block of memory on a page boundary.
class Buffer {
public:
    explicit Buffer(unsigned size)
        : m_size(size), m_data(static_cast<unsigned char*>(std::aligned_alloc(4096, (size + 4095) / 4096 * 4096)))
    {
        if (!m_data)
            throw std::bad_alloc();
        std::memset(m_data.get(), 0, m_size);
    }
    unsigned char* data() const { return m_data.get(); }
    unsigned size() const { return m_size; }

private:
    struct Free {
        void operator()(unsigned char* p) const { std::free(p); }
    };
    unsigned m_size;
    std::unique_ptr<unsigned char, Free> m_data;
};

int firstStream(MediaFileReader& reader, bool video)
{
    for (int stream = 0; stream < reader.get_StreamCount(); ++stream)
        if (video ? reader.get_IsVideo(stream) : reader.get_IsAudio(stream))
            return stream;
    return -1;
}

} // namespace

int readFrames(Hc::FileReaderResource& resource, const std::wstring& path, bool alternate)
{
    std::string name = narrow(path);
    std::unique_ptr<FileReadInstance> file(resource.isFileTypeSupported(path, 0) ? resource.openFile(path, 0, 0)
                                                                                  : nullptr);
    MediaFileReader* reader = file ? file->containerReader() : nullptr;
    if (!reader) {
        std::fprintf(stderr, "cvtool: %s: the plug-in can't open this file\n", name.c_str());
        return 1;
    }
    int video = firstStream(*reader, true);
    int audio = alternate ? firstStream(*reader, false) : -1;
    if (video < 0 || (alternate && audio < 0)) {
        std::fprintf(stderr, "cvtool: %s: no %s stream\n", name.c_str(), video < 0 ? "video" : "audio");
        return 1;
    }
    unsigned frames = reader->get_Length(video);
    unsigned samples = audio >= 0 ? reader->get_Length(audio) : 0;
    double samplesPerFrame = audio >= 0 && reader->get_Rate(video) > 0 ? reader->get_Rate(audio) / reader->get_Rate(video) : 0;
    // Page-aligned, as the host's frame buffers are: the copy out of the page
    // cache runs at full speed only into aligned memory.
    Buffer buffer(std::max(reader->get_BufferSize(video), 1u << 20) * 2);
    uint64_t videoBytes = 0, audioBytes = 0;
    unsigned nextSample = 0;
    for (unsigned frame = 0; frame < frames; ++frame) {
        unsigned offset = 0, size = 0;
        if (frame == 0 || alternate) {
            if (!isSuccess(reader->essenceOpen(static_cast<unsigned>(video)))) {
                std::fprintf(stderr, "cvtool: %s: %s\n", name.c_str(), narrow(reader->getLastError()).c_str());
                return 1;
            }
        }
        CvResult result = reader->essenceRead(frame, 1, buffer.data(), buffer.size(), offset, size);
        if (result == BufferTooSmall || result == InsufficientBuffer) {
            buffer = Buffer(size + 65536);
            result = reader->essenceRead(frame, 1, buffer.data(), buffer.size(), offset, size);
        }
        if (!isSuccess(result)) {
            std::fprintf(stderr, "cvtool: %s: frame %u: %s\n", name.c_str(), frame,
                         narrow(reader->getLastError()).c_str());
            return 1;
        }
        videoBytes += size;
        if (audio < 0)
            continue;
        unsigned endSample = std::min(samples, static_cast<unsigned>(std::llround((frame + 1) * samplesPerFrame)));
        if (endSample <= nextSample)
            continue;
        if (!isSuccess(reader->essenceOpen(static_cast<unsigned>(audio))) ||
            !isSuccess(reader->essenceRead(nextSample, endSample - nextSample, buffer.data(), buffer.size(), offset, size))) {
            std::fprintf(stderr, "cvtool: %s: audio at %u: %s\n", name.c_str(), nextSample,
                         narrow(reader->getLastError()).c_str());
            return 1;
        }
        audioBytes += size;
        nextSample = endSample;
    }
    std::printf("frames %u video_bytes %llu audio_samples %u audio_bytes %llu\n", frames,
                static_cast<unsigned long long>(videoBytes), nextSample, static_cast<unsigned long long>(audioBytes));
    return 0;
}
