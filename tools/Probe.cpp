#include "tools/Probe.h"

#include <algorithm>
#include <cstdio>
#include <memory>
#include <numeric>
#include <vector>

#include "frame/FourCC.h"
#include "frame/MediaFileReader.h"
#include "frame/TimeCode.h"
#include "frame/Utf8.h"
#include "host/Json.h"
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

class Prober {
public:
    Prober(MediaFileReader& reader, const ProbeOptions& options) : m_reader(reader), m_options(options) {}

    bool run(JSON::Builder& json)
    {
        int count = m_reader.get_StreamCount();
        std::string fileTimecode;
        for (int stream = 0; stream < count && fileTimecode.empty(); ++stream)
            if (m_reader.get_IsTimeCode(stream))
                fileTimecode = timecodeText(m_reader, stream);

        json.startChild("format");
        json.add("format_name", formatName(m_reader.get_FileType()));
        json.add("nb_streams", count);
        json.startChild("tags");
        if (!fileTimecode.empty())
            json.add("timecode", fileTimecode);
        json.endChild();
        json.endChild();

        json.startArray("streams");
        for (int stream = 0; stream < count; ++stream)
            describeStream(json, stream);
        json.endArray();

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
        bool video = m_reader.get_IsVideo(stream);
        bool audio = m_reader.get_IsAudio(stream);
        json.startChild();
        json.add("index", stream);
        json.add("codec_type", video ? "video" : audio ? "audio" : "data");
        unsigned fcc = 0;
        if (isSuccess(m_reader.get_FCC(stream, fcc)))
            json.add("codec_tag_string", Corvidane::fourCCToString(fcc));
        if (video) {
            json.add("width", m_reader.get_Width(stream));
            json.add("height", m_reader.get_Height(stream));
        }
        int rate = 0, scale = 0;
        if (isSuccess(m_reader.get_RateAndScale(stream, &rate, &scale)) && rate > 0 && scale > 0) {
            int divisor = std::gcd(rate, scale);
            json.add("r_frame_rate", std::to_string(rate / divisor) + "/" + std::to_string(scale / divisor));
        }
        json.add("nb_frames", m_reader.get_Length(stream));
        if (audio) {
            unsigned sampleRate = 0;
            if (isSuccess(m_reader.get_AudioSampleRate(stream, sampleRate)))
                json.add("sample_rate", sampleRate);
            json.add("channels", m_reader.get_ChannelCount(stream));
            json.add("bits_per_sample", m_reader.get_BitsPerSample(stream));
        }
        json.startChild("tags");
        if (m_reader.get_IsTimeCode(stream)) {
            std::string timecode = timecodeText(m_reader, stream);
            if (!timecode.empty())
                json.add("timecode", timecode);
        }
        std::string reel = narrow(m_reader.getSourceTape());
        if (!reel.empty())
            json.add("reel_name", reel);
        json.endChild();
        json.endChild();
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
            json.add("pos", first.offset);
            json.add("size", size);
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
    MediaFileReader& m_reader;
    const ProbeOptions& m_options;
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
    std::unique_ptr<FileReadInstance> file(resource.openFile(path, 0, 0));
    MediaFileReader* reader = file ? file->containerReader() : nullptr;
    if (!reader) {
        std::fprintf(stderr, "cvtool: %s: the plug-in can't open this file\n", name.c_str());
        return 1;
    }
    JSON::Builder json(4);
    Prober prober(*reader, options);
    if (!prober.run(json)) {
        std::fprintf(stderr, "cvtool: %s: %s\n", name.c_str(), prober.error().c_str());
        return 1;
    }
    std::printf("%s\n", json.output().c_str());
    return 0;
}
