#include "tools/Extract.h"

#include <cstdio>
#include <cstdlib>
#include <memory>

#include "frame/Utf8.h"
#include "tools/PluginHost.h"
#include "tools/Probe.h"
#include "tools/ReadFrames.h"

namespace {

// Audio is asked for a second of sample groups at a time.
constexpr unsigned groupsPerRequest = 48000;

class Output {
public:
    explicit Output(const std::string& path) : m_file(std::fopen(path.c_str(), "wb")) {}
    ~Output()
    {
        if (m_file)
            std::fclose(m_file);
    }
    bool ok() const { return m_file != nullptr; }
    bool write(const unsigned char* data, size_t size) { return std::fwrite(data, 1, size, m_file) == size; }
    bool close()
    {
        const bool closed = std::fclose(m_file) == 0;
        m_file = nullptr;
        return closed;
    }

private:
    FILE* m_file;
};

bool extractVideo(FileReadInstance& file, Output& out, std::string& error)
{
    const unsigned origin = file.getVideoOrigin();
    const unsigned end = unsigned(std::max<int64_t>(file.videoMetadata().length, 0)) + origin;
    VideoFrames pictures(file);
    // Blocks of a long-GOP stream overlap; each sample goes out once, in
    // coded order.
    unsigned written = origin;
    for (unsigned frame = origin; frame < end; ++frame) {
        if (frame < written)
            continue;
        if (!pictures.read(frame, error))
            return false;
        for (unsigned sample : pictures.samples()) {
            if (sample < written || sample >= end)
                continue;
            const ByteBufferImpl* buffer = pictures.sample(sample);
            if (!out.write(buffer->content(), buffer->size())) {
                error = "cannot write";
                return false;
            }
            written = sample + 1;
        }
    }
    return true;
}

bool extractAudio(FileReadInstance& file, unsigned audioStream, Output& out, std::string& error)
{
    const Aud::Metadata& sound = file.audioMetadata()[audioStream];
    const uint64_t length = uint64_t(std::max<int64_t>(sound.length, 0));
    for (uint64_t at = 0; at < length;) {
        const unsigned count = unsigned(std::min<uint64_t>(groupsPerRequest, length - at));
        Ptr<ByteBufferImpl> buffer;
        Ptr<AudioReadRequest> request(new AudioReadRequest(audioStream, at, count));
        const int code = file.readAudio(buffer, request);
        if (code != 1 && code != 11) {
            error = "audio at " + std::to_string(at) + ": " + narrow(file.containerReader()->getLastError());
            return false;
        }
        // Frame by frame, the reads may give more than asked: a whole frame.
        const size_t group = sound.bytesPerGroup();
        const size_t wanted = group ? std::min<size_t>(buffer ? buffer->size() : 0, size_t(count) * group) : 0;
        if (wanted && !out.write(buffer->content(), wanted)) {
            error = "cannot write";
            return false;
        }
        if (code == 11 || wanted < group)
            break;
        at += wanted / group;
    }
    return true;
}

} // namespace

int extractStream(Hc::FileReaderResource& resource, const std::vector<std::string>& args)
{
    int stream = -1;
    std::vector<std::string> paths;
    for (size_t i = 0; i < args.size(); ++i) {
        if (args[i] == "--stream" && i + 1 < args.size()) {
            char* end = nullptr;
            stream = int(std::strtol(args[++i].c_str(), &end, 10));
            if (*end || stream < 0)
                return 2;
        } else {
            paths.push_back(args[i]);
        }
    }
    if (paths.size() != 2)
        return 2;
    const std::wstring source = Corvidane::fromUtf8(paths[0]);
    std::unique_ptr<FileReadInstance> file = openClip(resource, source);
    if (!file)
        return 1;
    if (stream < 0)
        stream = file->videoStream() >= 0 ? file->videoStream() : file->firstAudioStream();
    const int firstAudio = file->firstAudioStream();
    const bool video = stream >= 0 && stream == file->videoStream();
    const bool audio = firstAudio >= 0 && stream >= firstAudio &&
                       size_t(stream - firstAudio) < file->audioMetadata().size();
    if (!video && !audio) {
        std::fprintf(stderr, "cvtool: %s: stream %d is neither the video nor an audio stream the editor reads\n",
                     paths[0].c_str(), stream);
        return 1;
    }
    Output out(paths[1]);
    if (!out.ok()) {
        std::fprintf(stderr, "cvtool: %s: cannot create\n", paths[1].c_str());
        return 1;
    }
    std::string error;
    const bool done = video ? extractVideo(*file, out, error) : extractAudio(*file, unsigned(stream - firstAudio), out, error);
    if (!done || !out.close()) {
        std::fprintf(stderr, "cvtool: %s: %s\n", paths[0].c_str(), error.empty() ? "cannot write" : error.c_str());
        return 1;
    }
    return 0;
}
