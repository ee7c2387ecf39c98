#include "tools/Probe.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <ctime>
#include <filesystem>
#include <memory>
#include <numeric>
#include <vector>

#include "frame/FourCC.h"
#include "frame/MediaFileReader.h"
#include "frame/TimeCode.h"
#include "frame/Utf8.h"
#include "host/FrameRates.h"
#include "host/Json.h"
#include "tools/PluginHost.h"
#include "tools/Md5.h"

using Corvidane::MediaFileReader;

std::string narrow(const std::wstring& text)
{
    std::string out;
    Corvidane::toUtf8(text, out);
    return out;
}

namespace {

const char* formatName(int fileType)
{
    switch (fileType) {
    case 0: return "avi";
    case 2: return "mov";
    case 3: return "mxf";
    case 6: return "growing";
    default: return "unknown";
    }
}

// "HH:MM:SS:FF" as ffprobe prints it: ';' before the frames for drop frame.
std::string timecodeText(MediaFileReader& reader, int stream)
{
    unsigned start = 0;
    if (!isSuccess(reader.get_TimeCode(stream, 0, &start)))
        return {};
    bool drop = reader.get_IsDropFrame(stream);
    // A drop-frame count runs at 29.97 or 59.94 frames a second, whatever
    // whole number of frames the track names.
    double rate = reader.get_Rate(stream);
    if (drop && (rate == 30.0 || rate == 60.0))
        rate = rate * 1000.0 / 1001.0;
    Corvidane::CTimeCodeEx timecode(start, rate, drop);
    short hours = 0, minutes = 0, seconds = 0, frames = 0;
    if (!timecode.isValid() || !timecode.toHHMMSSFF(hours, minutes, seconds, frames, drop))
        return {};
    char text[32];
    std::snprintf(text, sizeof text, "%02d:%02d:%02d%c%02d", hours, minutes, seconds, drop ? ';' : ':', frames);
    return text;
}

// A rate as ffprobe writes one, "30000/1001"; "0/0" for none.
std::string rateText(double rate)
{
    if (rate <= 0)
        return "0/0";
    // Rates of the NTSC family are whole rates times 1000/1001.
    const double ntsc = rate * 1001.0 / 1000.0;
    if (std::fabs(ntsc - std::round(ntsc)) < 0.001 && std::fabs(rate - std::round(rate)) > 0.001)
        return std::to_string(llround(ntsc) * 1000) + "/1001";
    for (long long scale : {1LL, 2LL, 4LL, 5LL, 8LL, 10LL, 100LL, 1000LL})
        if (std::fabs(rate * scale - std::round(rate * scale)) < 1e-6) {
            const long long numerator = llround(rate * scale);
            const long long divisor = std::gcd(numerator, scale);
            return std::to_string(numerator / divisor) + "/" + std::to_string(scale / divisor);
        }
    return std::to_string(llround(rate * 1000)) + "/1000";
}

std::string ratioText(long long numerator, long long denominator)
{
    const long long divisor = std::gcd(numerator, denominator);
    return divisor ? std::to_string(numerator / divisor) + ":" + std::to_string(denominator / divisor) : "0:1";
}

// Seconds as ffprobe writes them, with six decimals, as a string.
std::string secondsText(double seconds)
{
    char text[64];
    std::snprintf(text, sizeof text, "%.6f", seconds);
    return text;
}

// "2024-05-01T12:00:00.000000Z" of seconds since 1970.
std::string creationTimeText(int64_t seconds)
{
    const std::time_t time = std::time_t(seconds);
    std::tm parts{};
    if (!gmtime_r(&time, &parts))
        return {};
    char text[64];
    std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%S.000000Z", &parts);
    return text;
}

// The names ffprobe gives colour primaries and transfer characteristics.
const char* primariesName(Corvidane::VideoColourCPMode mode)
{
    switch (mode) {
    case Corvidane::CPMode1: return "bt709";
    case Corvidane::CPMode2: return "bt470bg";
    case Corvidane::CPMode3: return "smpte170m";
    case Corvidane::CPMode4: return "bt2020";
    case Corvidane::CPMode5: return "smpte431";
    case Corvidane::CPMode6: return "smpte432";
    default: return nullptr;
    }
}

const char* transferName(Corvidane::VideoColourTCMode mode)
{
    switch (mode) {
    case Corvidane::TCMode1: return "bt709";
    case Corvidane::TCMode3: return "smpte2084";
    case Corvidane::TCMode4: return "arib-std-b67";
    case Corvidane::TCMode5: return "smpte428";
    default: return nullptr;
    }
}

const char* fieldOrderName(unsigned scanMode)
{
    switch (scanMode) {
    case 1: return "tt";
    case 2: return "bb";
    case 3: return "progressive";
    default: return nullptr;
    }
}

// The editor's start timecode of the file as text; empty without one.
std::string editorTimecodeText(const FileReadInstance& file)
{
    double rate = file.timecodeRate();
    if (rate <= 0)
        return {};
    const bool drop = file.isDropFrame();
    if (drop && (rate == 30.0 || rate == 60.0))
        rate = rate * 1000.0 / 1001.0;
    Corvidane::CTimeCodeEx timecode(unsigned(file.startTimecode()), rate, drop);
    short hours = 0, minutes = 0, seconds = 0, frames = 0;
    if (!timecode.isValid() || !timecode.toHHMMSSFF(hours, minutes, seconds, frames, drop))
        return {};
    char text[32];
    std::snprintf(text, sizeof text, "%02d:%02d:%02d%c%02d", hours, minutes, seconds, drop ? ';' : ':', frames);
    return text;
}

class Prober {
public:
    Prober(FileReadInstance& file, const std::wstring& path, const ProbeOptions& options)
        : m_file(file), m_reader(*file.containerReader()), m_path(path), m_options(options)
    {
    }

    bool run(JSON::Builder& json)
    {
        int count = m_reader.get_StreamCount();
        std::string fileTimecode;
        for (int stream = 0; stream < count && fileTimecode.empty(); ++stream)
            if (m_reader.get_IsTimeCode(stream))
                fileTimecode = timecodeText(m_reader, stream);

        json.startArray("streams");
        for (int stream = 0; stream < count; ++stream)
            describeStream(json, stream);
        json.endArray();

        json.startChild("format");
        json.add("format_name", formatName(m_reader.get_FileType()));
        json.add("nb_streams", count);
        std::error_code error;
        const uint64_t size = std::filesystem::file_size(std::filesystem::path(m_path), error);
        json.add("duration", secondsText(m_longest));
        if (!error) {
            json.add("size", std::to_string(size));
            if (m_longest > 0)
                json.add("bit_rate", std::to_string(llround(double(size) * 8 / m_longest)));
        }
        json.startChild("tags");
        if (!fileTimecode.empty())
            json.add("timecode", fileTimecode);
        if (m_file.videoMetadata().creationTime > 0)
            json.add("creation_time", creationTimeText(m_file.videoMetadata().creationTime));
        json.endChild();
        json.endChild();

        if (!m_options.packets)
            return true;
        json.startArray("packets");
        for (int stream = 0; stream < count; ++stream)
            if (!listPackets(json, stream))
                return false;
        json.endArray();
        return true;
    }

    std::string error() const { return m_error; }

private:
    void describeStream(JSON::Builder& json, int stream)
    {
        const bool video = m_reader.get_IsVideo(stream);
        const bool audio = m_reader.get_IsAudio(stream);
        json.startChild();
        json.add("index", stream);
        json.add("codec_type", video ? "video" : audio ? "audio" : "data");
        unsigned fcc = 0;
        if (isSuccess(m_reader.get_FCC(stream, fcc)))
            json.add("codec_tag_string", Corvidane::fourCCToString(fcc));
        int rate = 0, scale = 0;
        const bool rated = isSuccess(m_reader.get_RateAndScale(stream, &rate, &scale)) && rate > 0 && scale > 0;
        const int divisor = rated ? std::gcd(rate, scale) : 1;
        m_containerRate = rated ? std::to_string(rate / divisor) + "/" + std::to_string(scale / divisor) : "0/0";
        if (audio) {
            // Sound has no frame rate for ffprobe; its time counts in samples.
            json.add("r_frame_rate", "0/0");
        } else if (rated) {
            json.add("r_frame_rate", m_containerRate);
            json.add("time_base", std::to_string(scale / divisor) + "/" + std::to_string(rate / divisor));
        }
        if (stream == m_file.videoStream())
            describeVideo(json);
        else if (audio && m_file.firstAudioStream() >= 0 && stream >= m_file.firstAudioStream() &&
                 size_t(stream - m_file.firstAudioStream()) < m_file.audioMetadata().size())
            describeAudio(json, m_file.audioMetadata()[size_t(stream - m_file.firstAudioStream())], stream);
        else
            describeOther(json, stream, video);
        json.startChild("tags");
        std::string timecode = m_reader.get_IsTimeCode(stream) ? timecodeText(m_reader, stream)
                               : stream == m_file.videoStream() ? editorTimecodeText(m_file)
                                                                 : std::string();
        if (!timecode.empty())
            json.add("timecode", timecode);
        std::string reel = narrow(m_reader.getSourceTape());
        if (!reel.empty())
            json.add("reel_name", reel);
        if (m_file.videoMetadata().creationTime > 0)
            json.add("creation_time", creationTimeText(m_file.videoMetadata().creationTime));
        json.endChild();
        json.endChild();
    }

    // The video as the editor sees it, with the container's own values beside
    // those the front end repaired.
    void describeVideo(JSON::Builder& json)
    {
        const PlayFileMetadataRep& video = m_file.videoMetadata();
        json.add("width", video.width);
        json.add("height", video.height);
        const double rate = video.captureRate > 0 ? video.captureRate : Hc::getFramesPerSecond(video.frameRate);
        json.add("avg_frame_rate", rateText(rate));
        if (video.containerRate > 0 && std::fabs(video.containerRate - rate) > 0.001)
            json.add("cv_container_frame_rate", m_containerRate);
        json.add("nb_frames", std::to_string(video.length));
        if (video.containerLength != video.length)
            json.add("cv_container_nb_frames", std::to_string(video.containerLength));
        const double seconds = rate > 0 ? double(video.length) / rate : 0;
        json.add("duration", secondsText(seconds));
        if (video.containerRate > 0 && std::fabs(video.containerRate - rate) > 0.001)
            json.add("cv_container_duration", secondsText(double(video.containerLength) / video.containerRate));
        m_longest = std::max(m_longest, seconds);
        if (const char* order = fieldOrderName(video.scanMode))
            json.add("field_order", order);
        const long long n = video.pixelAspectNumerator > 0 ? video.pixelAspectNumerator : 1;
        const long long d = video.pixelAspectDenominator > 0 ? video.pixelAspectDenominator : 1;
        json.add("sample_aspect_ratio", ratioText(n, d));
        json.add("display_aspect_ratio", ratioText(n * video.width, d * video.height));
        if (const char* primaries = primariesName(video.colourPrimaries))
            json.add("color_primaries", primaries);
        if (const char* transfer = transferName(video.transferCharacteristic))
            json.add("color_transfer", transfer);
    }

    // A stream the editor doesn't play (a second picture, timecode, data):
    // what the container says.
    void describeOther(JSON::Builder& json, int stream, bool video)
    {
        if (video) {
            json.add("width", m_reader.get_Width(stream));
            json.add("height", m_reader.get_Height(stream));
        }
        json.add("nb_frames", std::to_string(m_reader.get_Length(stream)));
    }

    void describeAudio(JSON::Builder& json, const Aud::Metadata& audio, int stream)
    {
        json.add("avg_frame_rate", "0/0");
        if (audio.sampleRate)
            json.add("time_base", "1/" + std::to_string(audio.sampleRate));
        json.add("sample_rate", std::to_string(audio.sampleRate));
        json.add("channels", audio.channels);
        json.add("bits_per_sample", audio.bitsPerSample);
        json.add("nb_frames", std::to_string(m_reader.get_Length(stream)));
        // An AAC frame holds 1024 samples; other codings count samples.
        const double samples = double(audio.length) * (audio.dataType == 140 ? 1024 : 1);
        const double seconds = audio.sampleRate ? samples / audio.sampleRate : 0;
        json.add("duration", secondsText(seconds));
        m_longest = std::max(m_longest, seconds);
    }

    // One packet per sample, with two exceptions that give ffprobe's packets:
    // audio samples are single sound frames, so a run of them lying back to
    // back in the file is one packet, as the file's chunks are; and a data
    // sample that stands for many units of time (a timecode sample) is
    // listed once, not once per unit.
    bool listPackets(JSON::Builder& json, int stream)
    {
        // A timecode track whose values live in the headers (MXF) has no
        // samples to list; ffprobe lists no packet for it either.
        const bool timecode = m_reader.get_IsTimeCode(stream);
        if (!isSuccess(m_reader.essenceOpen(static_cast<unsigned>(stream)))) {
            m_error = "cannot open stream " + std::to_string(stream) + readerError();
            return timecode;
        }
        bool audio = m_reader.get_IsAudio(stream);
        bool data = !audio && !m_reader.get_IsVideo(stream);
        unsigned length = m_reader.get_Length(stream);
        unsigned sample = 0;
        while (sample < length) {
            Corvidane::IndexEntry first;
            CvResult found = m_reader.getIndexEntry(sample, first);
            // A fragmented movie's length is nominal: the reads mark its end.
            if (found == HandleEOF && m_reader.isFragmented())
                break;
            if (!isSuccess(found)) {
                m_error = "no index entry for sample " + std::to_string(sample) + " of stream " + std::to_string(stream) +
                          readerError();
                return timecode;
            }
            unsigned count = 1;
            uint64_t size = first.size;
            while ((audio || data) && sample + count < length && size < maxAudioPacket) {
                Corvidane::IndexEntry next;
                if (!isSuccess(m_reader.getIndexEntry(sample + count, next)))
                    break;
                if (audio && next.offset == first.offset + size)
                    size += next.size;
                else if (!(data && next.offset == first.offset && next.size == first.size))
                    break;
                ++count;
            }
            std::string hash;
            if (m_options.hashMd5 && !hashSamples(sample, data ? 1 : count, hash))
                return timecode;
            json.startChild();
            json.add("stream_index", stream);
            json.add("pos", std::to_string(first.offset));
            json.add("size", std::to_string(size));
            json.add("flags", Corvidane::isKeyFrame(first) ? "K_" : "__");
            if (m_options.hashMd5)
                json.add("data_hash", "MD5:" + hash);
            json.endChild();
            sample += count;
        }
        return true;
    }

    // Samples are read one at a time: a reader may take the samples of a run
    // to be of one size, which holds for PCM only.
    bool hashSamples(unsigned start, unsigned count, std::string& hash)
    {
        Md5 md5;
        for (unsigned sample = start; sample < start + count; ++sample)
            if (!readSample(sample, md5))
                return false;
        hash = md5.hexDigest();
        return true;
    }

    bool readSample(unsigned sample, Md5& md5)
    {
        // Made at the first read, so that a probe without hashes doesn't pay for it.
        if (m_buffer.empty())
            m_buffer.resize(firstBuffer);
        for (int attempt = 0; attempt < 8; ++attempt) {
            unsigned offset = 0, size = 0;
            CvResult result = m_reader.essenceRead(sample, 1, m_buffer.data(), static_cast<unsigned>(m_buffer.size()),
                                                   offset, size);
            if (result == InsufficientBuffer || result == BufferTooSmall) {
                // The reader asks for more room than its sector arithmetic allows for.
                size_t wanted = std::max<size_t>(m_buffer.size() * 2, size_t(size) + 2 * 65536);
                if (wanted > maxBuffer)
                    break;
                m_buffer.resize(wanted);
                continue;
            }
            if (!isSuccess(result) || uint64_t(offset) + size > m_buffer.size()) {
                m_error = "cannot read sample " + std::to_string(sample) + readerError();
                return false;
            }
            md5.update(m_buffer.data() + offset, size);
            return true;
        }
        m_error = "the reader wants an ever larger buffer for sample " + std::to_string(sample);
        return false;
    }

    // The reader's own account of a failure, when it gave one.
    std::string readerError() const
    {
        std::string text = narrow(m_reader.getLastError());
        size_t start = text.find_first_not_of(' ');
        return start == std::string::npos ? std::string() : ": " + text.substr(start);
    }

    static constexpr uint64_t maxAudioPacket = 1 << 20;
    static constexpr size_t firstBuffer = size_t(4) << 20;
    static constexpr size_t maxBuffer = size_t(1) << 30;
    FileReadInstance& m_file;
    MediaFileReader& m_reader;
    const std::wstring& m_path;
    const ProbeOptions& m_options;
    double m_longest = 0;
    // The stream's rate as its container names it, "0/0" for none.
    std::string m_containerRate;
    std::vector<unsigned char> m_buffer;
    std::string m_error;
};

} // namespace

int probeFile(Hc::FileReaderResource& resource, const std::wstring& path, const ProbeOptions& options)
{
    std::string name = narrow(path);
    if (!resource.isFileTypeSupported(path, 0)) {
        std::fprintf(stderr, "cvtool: %s: not a file type the plug-in reads\n", name.c_str());
        return 2;
    }
    std::unique_ptr<FileReadInstance> file = openLikeTheEditor(resource, path);
    MediaFileReader* reader = file ? file->containerReader() : nullptr;
    if (!reader) {
        std::fprintf(stderr, "cvtool: %s: the plug-in can't open this file\n", name.c_str());
        return 1;
    }
    JSON::Builder json(4);
    Prober prober(*file, path, options);
    if (!prober.run(json)) {
        std::fprintf(stderr, "cvtool: %s: %s\n", name.c_str(), prober.error().c_str());
        return 1;
    }
    std::printf("%s\n", json.output().c_str());
    return 0;
}
