#include "tools/ReadFrames.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <memory>

#include "frame/MediaFileReader.h"
#include "host/FrameRates.h"
#include "tools/Md5.h"
#include "tools/PluginHost.h"
#include "tools/Probe.h"

using Corvidane::IndexEntry;
using Corvidane::MediaFileReader;

bool VideoFrames::isPastTheEnd(unsigned frame) const
{
    Corvidane::MediaFileReader& reader = *m_file.containerReader();
    Corvidane::IndexEntry past;
    return reader.isFragmented() && reader.getIndexEntry(frame, past) == HandleEOF;
}

bool VideoFrames::read(unsigned frame, std::string& error)
{
    m_buffers.clear();
    m_samples.clear();
    m_types.clear();
    Ptr<IndexInfoRep> index;
    m_file.hcFileIxCache_open(index, frame);
    m_index = index;
    Ptr<VideoReadRequest> request(new VideoReadRequest(m_file.videoMetadata(), frame, index));
    Ptr<FrameBufferRep> out;
    if (m_file.readVideo(out, request) != VideoReadDone || !out) {
        error = "frame " + std::to_string(frame) + ": " + narrow(m_file.containerReader()->getLastError());
        return false;
    }
    for (size_t i = 0; i < out->buffers.size(); ++i) {
        auto* buffer = dynamic_cast<ByteBufferImpl*>(out->buffers[i].get());
        if (!buffer)
            continue;
        m_buffers.push_back(Ptr<ByteBufferImpl>(buffer));
        // A block's samples come in coded order from its first; a frame
        // alone is its own sample.
        m_samples.push_back(index && i < index->decodeOrder.size() ? index->decodeOrder[i] : frame + unsigned(i));
    }
    // The frame types as the container's index has them, asked while the
    // picture stream is the reader's current one.
    m_types.clear();
    for (unsigned sample : m_samples) {
        Corvidane::IndexEntry entry;
        m_types.push_back(isSuccess(m_file.containerReader()->getIndexEntry(sample, entry)) ? entry.frameType
                                                                                          : uint32_t(Corvidane::FrameKey));
    }
    return true;
}

unsigned short VideoFrames::frameType(unsigned sample) const
{
    for (size_t i = 0; i < m_samples.size() && i < m_types.size(); ++i)
        if (m_samples[i] == sample)
            return m_types[i];
    return Corvidane::FrameKey;
}

unsigned VideoFrames::shownAs(unsigned sample) const
{
    if (m_index)
        for (size_t i = 0; i < m_index->decodeOrder.size() && i < m_index->presentationOrder.size(); ++i)
            if (m_index->decodeOrder[i] == sample)
                return m_index->presentationOrder[i];
    return sample;
}

const ByteBufferImpl* VideoFrames::sample(unsigned sample) const
{
    for (size_t i = 0; i < m_samples.size(); ++i)
        if (m_samples[i] == sample)
            return m_buffers[i].get();
    return nullptr;
}

int readFrames(Hc::FileReaderResource& resource, const std::wstring& path, bool alternate)
{
    std::string name = narrow(path);
    std::unique_ptr<FileReadInstance> file = openClip(resource, path);
    if (!file)
        return 1;
    MediaFileReader& reader = *file->containerReader();
    const int video = file->videoStream();
    const int audio = alternate ? file->firstAudioStream() : -1;
    if (video < 0 || (alternate && audio < 0)) {
        std::fprintf(stderr, "cvtool: %s: no %s stream\n", name.c_str(), video < 0 ? "video" : "audio");
        return 1;
    }
    unsigned frames = unsigned(std::max<int64_t>(file->videoMetadata().length, 0)) + file->getVideoOrigin();
    // The editor's audio goes with its frames by time: each frame takes the
    // sample groups up to its end.
    const PlayFileMetadataRep& metadata = file->videoMetadata();
    const double rate = metadata.captureRate > 0 ? metadata.captureRate : Hc::getFramesPerSecond(metadata.frameRate);
    const Aud::Metadata* sound = audio >= 0 && !file->audioMetadata().empty() ? &file->audioMetadata()[0] : nullptr;
    const double samplesPerFrame = sound && rate > 0 ? sound->sampleRate / rate : 0;
    uint64_t taken = 0;
    VideoFrames pictures(*file);
    uint64_t videoBytes = 0, audioBytes = 0;
    // Each sample is counted once, though a long-GOP block holds a GOP's.
    unsigned counted = 0;
    for (unsigned frame = file->getVideoOrigin(); frame < frames; ++frame) {
        std::string error;
        if (frame >= counted) {
            if (!pictures.read(frame, error)) {
                if (pictures.isPastTheEnd(frame)) {
                    frames = frame;
                    break;
                }
                std::fprintf(stderr, "cvtool: %s: %s\n", name.c_str(), error.c_str());
                return 1;
            }
            for (unsigned sample : pictures.samples())
                if (sample >= counted) {
                    videoBytes += pictures.sample(sample)->size();
                    counted = sample + 1;
                }
        }
        if (!sound)
            continue;
        const uint64_t end = std::min<uint64_t>(uint64_t(std::llround((frame + 1 - file->getVideoOrigin()) * samplesPerFrame)),
                                                uint64_t(std::max<int64_t>(sound->length, 0)));
        if (end <= taken)
            continue;
        const uint64_t first = taken;
        const unsigned count = unsigned(end - taken);
        taken = end;
        Ptr<ByteBufferImpl> buffer;
        Ptr<AudioReadRequest> request(new AudioReadRequest(0, first, count));
        const int code = file->readAudio(buffer, request);
        if (code != 1 && code != 11) {
            std::fprintf(stderr, "cvtool: %s: audio at %llu: %s\n", name.c_str(), static_cast<unsigned long long>(first),
                         narrow(reader.getLastError()).c_str());
            return 1;
        }
        audioBytes += buffer ? buffer->size() : 0;
    }
    std::printf("frames %u video_bytes %llu audio_samples %llu audio_bytes %llu\n", frames - file->getVideoOrigin(),
                static_cast<unsigned long long>(videoBytes), static_cast<unsigned long long>(taken),
                static_cast<unsigned long long>(audioBytes));
    return 0;
}

int readOneFrame(Hc::FileReaderResource& resource, const std::wstring& path, unsigned frame)
{
    std::string name = narrow(path);
    std::unique_ptr<FileReadInstance> file = openClip(resource, path);
    if (!file)
        return 1;
    MediaFileReader& reader = *file->containerReader();
    const int video = file->videoStream();
    if (video < 0) {
        std::fprintf(stderr, "cvtool: %s: no video stream\n", name.c_str());
        return 1;
    }
    // The sample as the container stores it...
    IndexEntry entry;
    std::vector<unsigned char> stored;
    unsigned offset = 0, size = 0;
    CvResult result = reader.essenceOpen(unsigned(video));
    if (isSuccess(result))
        result = reader.getIndexEntry(frame, entry);
    if (isSuccess(result)) {
        stored.resize(size_t(entry.size) + 2 * 65536);
        result = reader.essenceRead(frame, 1, stored.data(), unsigned(stored.size()), offset, size);
    }
    if (!isSuccess(result) || uint64_t(offset) + size > stored.size()) {
        std::fprintf(stderr, "cvtool: %s: frame %u: %s\n", name.c_str(), frame, narrow(reader.getLastError()).c_str());
        return 1;
    }
    Md5 md5;
    md5.update(stored.data() + offset, size);
    // ...and as the editor receives it.
    VideoFrames pictures(*file);
    std::string error;
    const ByteBufferImpl* received = pictures.read(frame, error) ? pictures.sample(frame) : nullptr;
    if (!received) {
        std::fprintf(stderr, "cvtool: %s: %s\n", name.c_str(), error.empty() ? "frame not among those read" : error.c_str());
        return 1;
    }
    Md5 host;
    host.update(received->content(), received->size());
    unsigned long long position = entry.offset;
    std::printf("frame %u pos %llu size %u key %d md5 %s host_size %zu host_md5 %s\n", frame, position, size,
                isKeyFrame(entry) ? 1 : 0, md5.hexDigest().c_str(), received->size(), host.hexDigest().c_str());
    return 0;
}
