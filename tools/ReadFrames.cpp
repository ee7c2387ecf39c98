#include "tools/ReadFrames.h"

#include "tools/PluginHost.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>
#include <memory>

#include "frame/MediaFileReader.h"
#include "tools/AudioPacing.h"
#include "tools/Md5.h"
#include "tools/Probe.h"

using Corvidane::IndexEntry;
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

// Opens `path` through the plug-in; null after saying why.
std::unique_ptr<FileReadInstance> openReader(Hc::FileReaderResource& resource, const std::wstring& path)
{
    std::unique_ptr<FileReadInstance> file(resource.isFileTypeSupported(path, 0) ? openLikeTheEditor(resource, path) : nullptr);
    if (!file || !file->containerReader()) {
        std::fprintf(stderr, "cvtool: %s: the plug-in can't open this file\n", narrow(path).c_str());
        return nullptr;
    }
    return file;
}

// One frame read into `buffer`, grown when the frame doesn't fit.
CvResult readFrame(MediaFileReader& reader, unsigned frame, Buffer& buffer, unsigned& offset, unsigned& size)
{
    CvResult result = reader.essenceRead(frame, 1, buffer.data(), buffer.size(), offset, size);
    if (result == BufferTooSmall || result == InsufficientBuffer) {
        buffer = Buffer(size + 65536);
        result = reader.essenceRead(frame, 1, buffer.data(), buffer.size(), offset, size);
    }
    return result;
}

} // namespace

int readFrames(Hc::FileReaderResource& resource, const std::wstring& path, bool alternate)
{
    std::string name = narrow(path);
    std::unique_ptr<FileReadInstance> file = openReader(resource, path);
    if (!file)
        return 1;
    MediaFileReader* reader = file->containerReader();
    int video = firstStream(*reader, true);
    int audio = alternate ? firstStream(*reader, false) : -1;
    if (video < 0 || (alternate && audio < 0)) {
        std::fprintf(stderr, "cvtool: %s: no %s stream\n", name.c_str(), video < 0 ? "video" : "audio");
        return 1;
    }
    unsigned frames = reader->get_Length(video);
    AudioPacing pacing(*reader, video, audio);
    // Page-aligned, as the host's frame buffers are: the copy out of the page
    // cache runs at full speed only into aligned memory.
    Buffer buffer(std::max(reader->get_BufferSize(video), 1u << 20) * 2);
    uint64_t videoBytes = 0, audioBytes = 0;
    for (unsigned frame = 0; frame < frames; ++frame) {
        unsigned offset = 0, size = 0;
        if (frame == 0 || alternate) {
            if (!isSuccess(reader->essenceOpen(static_cast<unsigned>(video)))) {
                std::fprintf(stderr, "cvtool: %s: %s\n", name.c_str(), narrow(reader->getLastError()).c_str());
                return 1;
            }
        }
        if (!isSuccess(readFrame(*reader, frame, buffer, offset, size))) {
            std::fprintf(stderr, "cvtool: %s: frame %u: %s\n", name.c_str(), frame,
                         narrow(reader->getLastError()).c_str());
            return 1;
        }
        videoBytes += size;
        if (audio < 0)
            continue;
        unsigned first = 0, count = 0;
        if (!pacing.span(frame, first, count))
            continue;
        if (!isSuccess(reader->essenceOpen(static_cast<unsigned>(audio))) ||
            !isSuccess(reader->essenceRead(first, count, buffer.data(), buffer.size(), offset, size))) {
            std::fprintf(stderr, "cvtool: %s: audio at %u: %s\n", name.c_str(), first,
                         narrow(reader->getLastError()).c_str());
            return 1;
        }
        audioBytes += size;
    }
    std::printf("frames %u video_bytes %llu audio_samples %u audio_bytes %llu\n", frames,
                static_cast<unsigned long long>(videoBytes), pacing.taken(), static_cast<unsigned long long>(audioBytes));
    return 0;
}

int readOneFrame(Hc::FileReaderResource& resource, const std::wstring& path, unsigned frame)
{
    std::string name = narrow(path);
    std::unique_ptr<FileReadInstance> file = openReader(resource, path);
    if (!file)
        return 1;
    MediaFileReader& reader = *file->containerReader();
    int video = firstStream(reader, true);
    if (video < 0) {
        std::fprintf(stderr, "cvtool: %s: no video stream\n", name.c_str());
        return 1;
    }
    Buffer buffer(std::max(reader.get_BufferSize(video), 1u << 20));
    unsigned offset = 0, size = 0;
    IndexEntry entry;
    if (!isSuccess(reader.essenceOpen(static_cast<unsigned>(video))) || !isSuccess(reader.getIndexEntry(frame, entry)) ||
        !isSuccess(readFrame(reader, frame, buffer, offset, size))) {
        std::fprintf(stderr, "cvtool: %s: frame %u: %s\n", name.c_str(), frame, narrow(reader.getLastError()).c_str());
        return 1;
    }
    Md5 md5;
    md5.update(buffer.data() + offset, size);
    unsigned long long position = entry.offset;
    std::printf("frame %u pos %llu size %u key %d md5 %s\n", frame, position, size, isKeyFrame(entry) ? 1 : 0,
                md5.hexDigest().c_str());
    return 0;
}
