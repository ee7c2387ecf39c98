#include "tools/Rewrap.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <unistd.h>

#include "frame/FourCC.h"
#include "frame/Text.h"
#include "frame/TrackRecords.h"
#include "frame/Utf8.h"
#include "host/FormatCodes.h"
#include "host/FrameRates.h"
#include "tools/Mpeg2Picture.h"
#include "tools/MxfExportCoding.h"
#include "tools/PluginHost.h"
#include "tools/Probe.h"
#include "tools/ReadFrames.h"

namespace {

// The writer resource whose formats hold the output's extension.
Hc::FileWriterResource* writerFor(PluginHost& host, const std::string& output)
{
    std::string extension = std::filesystem::path(output).extension().string();
    extension = Corvidane::toUpper(extension.empty() ? extension : extension.substr(1));
    for (HcComponentBase* resource : host.plugin().resources())
        if (Hc::FileWriterResource* writer = resource->asFileWriter())
            for (const std::string& format : writer->formats())
                if (format == extension)
                    return writer;
    return nullptr;
}

// The host's code of a file without pictures.
constexpr uint32_t noVideo = 0xFFFFFFFFu;

bool writesMxf(const Hc::FileWriterResource& writer)
{
    const std::vector<std::string>& formats = writer.formats();
    return std::find(formats.begin(), formats.end(), "MXF") != formats.end();
}

// The sound streams' samples [from, from + count), little-endian as the
// host's mixer hands them over; false with `error` set.
bool readSound(FileReadInstance& source, const std::vector<unsigned>& streams, uint64_t from, unsigned count,
               std::vector<std::vector<unsigned char>>& buffers, std::string& error)
{
    buffers.assign(streams.size(), {});
    for (size_t i = 0; i < streams.size() && count; ++i) {
        Ptr<ByteBufferImpl> buffer;
        Ptr<AudioReadRequest> request(new AudioReadRequest(streams[i], from, count));
        const int code = source.readAudio(buffer, request);
        if ((code != 1 && code != 11) || !buffer) {
            error = "sound at " + std::to_string(from) + ": " + narrow(source.containerReader()->getLastError());
            return false;
        }
        buffers[i].assign(buffer->content(), buffer->content() + buffer->size());
        const Aud::Metadata& sound = source.audioMetadata()[streams[i]];
        if (sound.bigEndian && sound.stride > 1)
            for (size_t at = 0; at + sound.stride <= buffers[i].size(); at += sound.stride)
                std::reverse(buffers[i].begin() + std::ptrdiff_t(at),
                             buffers[i].begin() + std::ptrdiff_t(at + sound.stride));
    }
    return true;
}

// The writer's frame type bits of a picture. MPEG video names its own
// coding type, as the editor's decoder sees it (a movie's index can't tell P
// from B); otherwise the index entry's bits, where P and B swap places.
uint32_t writerFrameType(unsigned short type, const ByteBufferImpl& picture)
{
    Mpeg2Picture coded;
    if (readMpeg2Picture(picture.content(), picture.size(), coded)) {
        static const uint32_t codingTypes[] = {0, Corvidane::HalcIFrame, Corvidane::HalcPFrame, Corvidane::HalcBFrame};
        return codingTypes[coded.codingType] | (coded.sequenceHeader ? uint32_t(Corvidane::HalcSequenceHeader) : 0u);
    }
    uint32_t bits = 0;
    if (type & Corvidane::FrameSequenceHeader)
        bits |= Corvidane::HalcSequenceHeader;
    if (type & Corvidane::FrameKey)
        bits |= Corvidane::HalcIFrame;
    if (type & Corvidane::FramePredicted)
        bits |= Corvidane::HalcPFrame;
    if (type & Corvidane::FrameBidirectional)
        bits |= Corvidane::HalcBFrame;
    return bits;
}

// What the editor would tell the writer of a file like the source.
Hc::FileWriterParams paramsOf(FileReadInstance& source, std::vector<unsigned>& soundStreams)
{
    const PlayFileMetadataRep& video = source.videoMetadata();
    const bool pictures = source.videoStream() >= 0;
    Hc::FileWriterParams params;
    // The host names a coding by the code it plays it as: every AVC name is
    // "avc1", which the movie writer stores in its own form. Sound alone
    // counts at the project's rate.
    params.compression = pictures ? Hc::lookupPlayoutFCC(video.format) : noVideo;
    params.frameRate = pictures ? video.frameRate : Hc::CurrentProject::getDefaultVideoFrameRate();
    params.width = video.width;
    params.height = video.height;
    params.stride = video.stride;
    params.scanMode = video.scanMode;
    params.aspectRatio = video.aspectRatio;
    params.colorimetry = video.colorimetry;
    params.gopLength = std::max<unsigned>(video.gopLength, 1);
    params.gopAnchorDistance = std::max<unsigned>(video.gopAnchorDistance, 1);
    params.config.set("codec_type", Corvidane::fourCCToString(params.compression));
    std::string reel;
    if (video.config.in("reel_id", reel) == 1 && !reel.empty())
        params.config.set("reelid", reel);
    // The length is known: the index is reserved for it.
    const double rate = Hc::getFramesPerSecond(video.frameRate);
    if (rate > 0 && video.length > 0) {
        char seconds[32];
        std::snprintf(seconds, sizeof seconds, "%.6f", double(video.length) / rate);
        params.config.set("Duration", seconds);
    }
    // A source without timecode starts at 0 at the pictures' rate, as the
    // editor's sequences do.
    const bool timecode = source.timecodeRate() > 0;
    params.config.set("TcFps", std::to_string(timecode ? Hc::getEquivalentHcFrameRate(source.timecodeRate())
                                                       : params.frameRate));
    params.config.set("TcStartFrame", std::to_string(timecode ? source.startTimecode() : 0));
    params.config.set("drop", timecode && source.isDropFrame() ? "1" : "0");
    const std::vector<Aud::Metadata>& audio = source.audioMetadata();
    for (unsigned i = 0; i < audio.size(); ++i) {
        if (!audio[i].isPCM()) {
            std::fprintf(stderr, "cvtool rewrap: sound stream %u isn't PCM, and is left out\n", i);
            continue;
        }
        soundStreams.push_back(i);
        params.audio.push_back({audio[i].channels, audio[i].sampleRate, audio[i].stride, audio[i].bitsPerSample});
    }
    return params;
}

} // namespace

int rewrapFile(PluginHost& host, const std::vector<std::string>& args)
{
    std::vector<std::string> paths;
    bool indexLast = false, opAtom = false;
    for (const std::string& arg : args) {
        if (arg == "--index-last")
            indexLast = true;
        else if (arg == "--op-atom")
            opAtom = true;
        else if (arg.rfind("--", 0) == 0)
            return 2;
        else
            paths.push_back(arg);
    }
    if (paths.size() != 2)
        return 2;
    const std::string& input = paths[0];
    const std::string& output = paths[1];
    Hc::FileReaderResource* reader = host.fileReader();
    Hc::FileWriterResource* writer = writerFor(host, output);
    if (!reader || !writer) {
        std::fprintf(stderr, "cvtool rewrap: the plug-in offers no %s for %s\n", reader ? "writer" : "reader",
                     reader ? output.c_str() : input.c_str());
        return 1;
    }
    if (std::filesystem::exists(output)) {
        std::fprintf(stderr, "cvtool rewrap: %s exists; remove it first\n", output.c_str());
        return 1;
    }
    std::unique_ptr<FileReadInstance> source = openLikeTheEditor(*reader, Corvidane::fromUtf8(input));
    const bool pictures = source && source->videoStream() >= 0;
    if (!source || (!pictures && source->audioMetadata().empty())) {
        std::fprintf(stderr, "cvtool rewrap: %s: %s\n", input.c_str(),
                     source ? "no pictures or sound to write" : "the plug-in can't open this file");
        return 1;
    }
    std::vector<unsigned> soundStreams;
    Hc::FileWriterParams params = paramsOf(*source, soundStreams);
    if (!pictures && soundStreams.empty()) {
        std::fprintf(stderr, "cvtool rewrap: %s: no pictures or PCM sound to write\n", input.c_str());
        return 1;
    }
    const PlayFileMetadataRep& video = source->videoMetadata();
    const unsigned origin = source->getVideoOrigin();
    VideoFrames pictureReader(*source);
    std::string error;
    if (pictures && writesMxf(*writer)) {
        // The editor's MXF encoder names the coding, seen in its first frame.
        if (!pictureReader.read(origin, error)) {
            std::fprintf(stderr, "cvtool rewrap: %s: %s\n", input.c_str(), error.c_str());
            return 1;
        }
        const ByteBufferImpl* first = pictureReader.sample(origin);
        const MxfExportCoding coding =
            mxfExportCoding(params.compression, Hc::getFramesPerSecond(video.frameRate), video.width, video.height,
                            first ? first->content() : nullptr, first ? first->size() : 0);
        params.compression = coding.code;
        params.frameSize = coding.dataRate;
        if (params.scanMode == 0)
            params.scanMode = coding.scanMode;
        params.config.set("codec_type", Corvidane::fourCCToString(coding.code));
    }
    if (indexLast)
        params.config.set("index_last", "1");
    if (opAtom)
        params.multiplexing = 2;
    params.formatType = writer->formats().empty() ? std::string() : writer->formats().front();
    Hc::FileInfoBase* created = nullptr;
    const int opened = writer->openFile(Corvidane::fromUtf8(output), params, created);
    std::unique_ptr<Hc::FileInfoBase> target(created);
    if (opened != 1 || !target) {
        const std::string why = narrow(writer->lastError());
        std::fprintf(stderr, "cvtool rewrap: %s: the writer refused it (%d)%s%s\n", output.c_str(), opened,
                     why.empty() ? "" : ": ", why.c_str());
        return 1;
    }
    const bool terminal = isatty(STDERR_FILENO);
    const auto started = std::chrono::steady_clock::now();
    auto showProgress = [&](uint64_t done, uint64_t total, const char* unit) {
        const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - started).count();
        const double rate = seconds > 0 ? double(done) / seconds : 0;
        std::fprintf(stderr, "\rrewrap: %s %llu of %llu, %.0f %ss/s, %.0f s left   ", unit,
                     static_cast<unsigned long long>(done), static_cast<unsigned long long>(total), rate, unit,
                     rate > 0 ? double(total - done) / rate : 0.0);
    };
    auto refused = [&](const std::string& where) {
        const std::string why = error.empty() ? narrow(target->lastError()) : error;
        std::fprintf(stderr, "\ncvtool rewrap: %s: %s\n", where.c_str(),
                     why.empty() ? "the writer refused it" : why.c_str());
        return 1;
    };

    if (!pictures) {
        // Sound alone goes through the path of files without pictures, a
        // frame's worth at the project's rate a call.
        const Aud::Metadata& first = source->audioMetadata()[soundStreams[0]];
        const uint64_t total = uint64_t(std::max<int64_t>(first.length, 0));
        const unsigned step = unsigned(std::max(1.0, std::ceil(first.sampleRate / Hc::getFramesPerSecond(
                                                                                      params.frameRate))));
        std::vector<std::vector<unsigned char>> buffers;
        for (uint64_t at = 0; at < total; at += step) {
            const unsigned count = unsigned(std::min<uint64_t>(step, total - at));
            if (!readSound(*source, soundStreams, at, count, buffers, error))
                return refused(input);
            if (target->writeAudioSamples(buffers, count * first.channels) != 1)
                return refused("sound at " + std::to_string(at));
            if (terminal && ((at / step) % 25 == 0 || at + count == total))
                showProgress(at + count, total, "sample");
        }
        if (terminal)
            std::fprintf(stderr, "\n");
        target.reset();
        return 0;
    }

    // Each frame takes the sound up to its end time, stream by stream.
    const double rate = Hc::getFramesPerSecond(video.frameRate);
    uint64_t framesGiven = 0, taken = 0;
    target->setAudioSource([&](unsigned& count, std::vector<std::vector<unsigned char>>& buffers) {
        const Aud::Metadata& first = source->audioMetadata()[soundStreams[0]];
        const uint64_t end = std::min<uint64_t>(uint64_t(std::llround(double(++framesGiven) * first.sampleRate / rate)),
                                                uint64_t(std::max<int64_t>(first.length, 0)));
        count = unsigned(end > taken ? end - taken : 0);
        if (!readSound(*source, soundStreams, taken, count, buffers, error))
            return 0;
        taken = end;
        return 1;
    });

    const unsigned end = unsigned(std::max<int64_t>(video.length, 0)) + origin;
    unsigned written = origin;
    for (unsigned frame = origin; frame < end; ++frame) {
        if (frame < written)
            continue;
        if (!pictureReader.read(frame, error)) {
            if (pictureReader.isPastTheEnd(frame))
                break;
            std::fprintf(stderr, "\ncvtool rewrap: %s: %s\n", input.c_str(), error.c_str());
            return 1;
        }
        for (unsigned sample : pictureReader.samples()) {
            if (sample < written || sample >= end)
                continue;
            const ByteBufferImpl* bytes = pictureReader.sample(sample);
            target->setPresentationIndex(pictureReader.shownAs(sample) - origin);
            const int code = target->writeSurface(bytes->content(), unsigned(bytes->size()),
                                                  writerFrameType(pictureReader.frameType(sample), *bytes));
            if (code != 1)
                return refused("frame " + std::to_string(sample));
            written = sample + 1;
            if (terminal && (written % 25 == 0 || written == end))
                showProgress(written - origin, end - origin, "frame");
        }
    }
    if (terminal)
        std::fprintf(stderr, "\n");
    target.reset();
    return 0;
}
