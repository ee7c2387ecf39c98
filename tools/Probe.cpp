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
#include "tools/ProbePackets.h"

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
// A drop-frame count runs at 29.97 or 59.94 frames a second, whatever whole
// number of frames the source names.
std::string timecodeText(unsigned start, double rate, bool drop)
{
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

// A timecode track's start; empty when the reader gives none.
std::string timecodeText(MediaFileReader& reader, int stream)
{
    unsigned start = 0;
    if (!isSuccess(reader.get_TimeCode(stream, 0, &start)))
        return {};
    return timecodeText(start, reader.get_Rate(stream), reader.get_IsDropFrame(stream));
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
    const double rate = file.timecodeRate();
    if (rate <= 0)
        return {};
    return timecodeText(unsigned(file.startTimecode()), rate, file.isDropFrame());
}

// The members of one section that the selection shows; a section that isn't
// shown takes its members and writes nothing.
class Section {
public:
    Section(JSON::Builder& json, const ProbeSelection& selection, ProbeSelection::Section section, bool shown)
        : m_json(json), m_selection(selection), m_section(section), m_shown(shown)
    {
    }

    template <class Value>
    void add(const std::string& key, const Value& value)
    {
        if (m_shown && m_selection.shows(m_section, key))
            m_json.add(key, value);
    }
    void start(const std::string& name = {})
    {
        if (m_shown)
            m_json.startChild(name);
    }
    void end()
    {
        if (m_shown)
            m_json.endChild();
    }

private:
    JSON::Builder& m_json;
    const ProbeSelection& m_selection;
    ProbeSelection::Section m_section;
    bool m_shown;
};

class Prober {
public:
    Prober(FileReadInstance& file, const std::wstring& path, const ProbeOptions& options)
        : m_file(file), m_reader(*file.containerReader()), m_path(path), m_options(options)
    {
    }

    // Writes the document out as it goes; false when a read failed, with
    // the document ended after what was gathered.
    bool run()
    {
        const ProbeSelection& selection = m_options.selection;
        const int count = m_reader.get_StreamCount();
        std::string fileTimecode;
        for (int stream = 0; stream < count && fileTimecode.empty(); ++stream)
            if (m_reader.get_IsTimeCode(stream))
                fileTimecode = timecodeText(m_reader, stream);

        // Every stream is described, shown or not: the format's duration is
        // the longest of them, and each gives its packets' time base.
        const bool showStreams = selection.shows(ProbeSelection::Streams, m_options.packets);
        if (showStreams)
            m_json.startArray("streams");
        int numberOfKind[128] = {};
        for (int stream = 0; stream < count; ++stream) {
            const char kind = codecType(stream)[0];
            if (selection.selects(stream, kind, numberOfKind[int(kind)]++)) {
                m_selected.push_back(stream);
                describeStream(stream, showStreams);
            } else {
                describeStream(stream, false);
            }
        }
        if (showStreams)
            m_json.endArray();

        Section format(m_json, selection, ProbeSelection::Format, selection.shows(ProbeSelection::Format, false));
        format.start("format");
        format.add("format_name", formatName(m_reader.get_FileType()));
        format.add("nb_streams", count);
        std::error_code error;
        const uint64_t size = std::filesystem::file_size(narrow(m_path), error);
        format.add("duration", secondsText(m_longest));
        if (!error) {
            format.add("size", std::to_string(size));
            if (m_longest > 0)
                format.add("bit_rate", std::to_string(llround(double(size) * 8 / m_longest)));
        }
        Section tags(m_json, selection, ProbeSelection::FormatTags,
                     selection.shows(ProbeSelection::Format, false) && selection.shows(ProbeSelection::FormatTags, false));
        tags.start("tags");
        if (!fileTimecode.empty())
            tags.add("timecode", fileTimecode);
        if (m_file.videoMetadata().creationTime > 0)
            tags.add("creation_time", creationTimeText(m_file.videoMetadata().creationTime));
        tags.end();
        format.end();
        flush();

        return !selection.shows(ProbeSelection::Packets, m_options.packets) || listPackets();
    }

    // The rest of the document, every open object and array closed.
    std::string ending() const { return m_json.output(); }
    const std::string& error() const { return m_error; }

private:
    void flush() { std::fputs(m_json.drain().c_str(), stdout); }

    const char* codecType(int stream)
    {
        return m_reader.get_IsVideo(stream) ? "video" : m_reader.get_IsAudio(stream) ? "audio" : "data";
    }

    void describeStream(int stream, bool shown)
    {
        const bool video = m_reader.get_IsVideo(stream);
        const bool audio = m_reader.get_IsAudio(stream);
        Section out(m_json, m_options.selection, ProbeSelection::Streams, shown);
        out.start();
        out.add("index", stream);
        out.add("codec_type", codecType(stream));
        unsigned fcc = 0;
        if (isSuccess(m_reader.get_FCC(stream, fcc)))
            out.add("codec_tag_string", Corvidane::fourCCToString(fcc));
        int rate = 0, scale = 0;
        const bool rated = isSuccess(m_reader.get_RateAndScale(stream, &rate, &scale)) && rate > 0 && scale > 0;
        const int divisor = rated ? std::gcd(rate, scale) : 1;
        m_containerRate = rated ? std::to_string(rate / divisor) + "/" + std::to_string(scale / divisor) : "0/0";
        // Pictures count in the container's units, one a sample; sound in
        // samples of its rate, whose own samples may hold many. What a data
        // sample lasts isn't told.
        PacketStream packets{stream, video && rated ? 1 : 0};
        if (audio) {
            // Sound has no frame rate for ffprobe; its time counts in samples.
            out.add("r_frame_rate", "0/0");
        } else if (rated) {
            out.add("r_frame_rate", m_containerRate);
            out.add("time_base", std::to_string(scale / divisor) + "/" + std::to_string(rate / divisor));
        }
        if (stream == m_file.videoStream()) {
            describeVideo(out);
        } else if (audio && m_file.firstAudioStream() >= 0 && stream >= m_file.firstAudioStream() &&
                   size_t(stream - m_file.firstAudioStream()) < m_file.audioMetadata().size()) {
            const Aud::Metadata& sound = m_file.audioMetadata()[size_t(stream - m_file.firstAudioStream())];
            describeAudio(out, sound, stream);
            const double perSample = rated ? double(sound.sampleRate) * scale / rate : 0;
            if (perSample >= 1 && std::fabs(perSample - std::round(perSample)) < 1e-6)
                packets.ticksPerSample = llround(perSample);
        } else {
            describeOther(out, stream, video);
        }
        m_packetStreams.push_back(packets);
        Section tags(m_json, m_options.selection, ProbeSelection::StreamTags,
                     shown && m_options.selection.shows(ProbeSelection::StreamTags, false));
        tags.start("tags");
        std::string timecode = m_reader.get_IsTimeCode(stream) ? timecodeText(m_reader, stream)
                               : stream == m_file.videoStream() ? editorTimecodeText(m_file)
                                                                 : std::string();
        if (!timecode.empty())
            tags.add("timecode", timecode);
        std::string reel = narrow(m_reader.getSourceTape());
        if (!reel.empty())
            tags.add("reel_name", reel);
        if (m_file.videoMetadata().creationTime > 0)
            tags.add("creation_time", creationTimeText(m_file.videoMetadata().creationTime));
        tags.end();
        out.end();
    }

    // The video as the editor sees it, with the container's own values beside
    // those the front end repaired.
    void describeVideo(Section& out)
    {
        const PlayFileMetadataRep& video = m_file.videoMetadata();
        out.add("width", video.width);
        out.add("height", video.height);
        const double rate = video.captureRate > 0 ? video.captureRate : Hc::getFramesPerSecond(video.frameRate);
        out.add("avg_frame_rate", rateText(rate));
        if (video.containerRate > 0 && std::fabs(video.containerRate - rate) > 0.001)
            out.add("cv_container_frame_rate", m_containerRate);
        out.add("nb_frames", std::to_string(video.length));
        if (video.containerLength != video.length)
            out.add("cv_container_nb_frames", std::to_string(video.containerLength));
        const double seconds = rate > 0 ? double(video.length) / rate : 0;
        out.add("duration", secondsText(seconds));
        if (video.containerRate > 0 && std::fabs(video.containerRate - rate) > 0.001)
            out.add("cv_container_duration", secondsText(double(video.containerLength) / video.containerRate));
        m_longest = std::max(m_longest, seconds);
        if (const char* order = fieldOrderName(video.scanMode))
            out.add("field_order", order);
        const long long n = video.pixelAspectNumerator > 0 ? video.pixelAspectNumerator : 1;
        const long long d = video.pixelAspectDenominator > 0 ? video.pixelAspectDenominator : 1;
        out.add("sample_aspect_ratio", ratioText(n, d));
        out.add("display_aspect_ratio", ratioText(n * video.width, d * video.height));
        if (const char* primaries = primariesName(video.colourPrimaries))
            out.add("color_primaries", primaries);
        if (const char* transfer = transferName(video.transferCharacteristic))
            out.add("color_transfer", transfer);
    }

    // A stream the editor doesn't play (a second picture, timecode, data):
    // what the container says.
    void describeOther(Section& out, int stream, bool video)
    {
        if (video) {
            out.add("width", m_reader.get_Width(stream));
            out.add("height", m_reader.get_Height(stream));
        }
        out.add("nb_frames", std::to_string(m_reader.get_Length(stream)));
    }

    void describeAudio(Section& out, const Aud::Metadata& audio, int stream)
    {
        out.add("avg_frame_rate", "0/0");
        if (audio.sampleRate)
            out.add("time_base", "1/" + std::to_string(audio.sampleRate));
        out.add("sample_rate", std::to_string(audio.sampleRate));
        out.add("channels", audio.channels);
        out.add("bits_per_sample", audio.bitsPerSample);
        out.add("nb_frames", std::to_string(m_reader.get_Length(stream)));
        // An AAC frame holds 1024 samples; other codings count samples.
        const double samples = double(audio.length) * (audio.dataType == 140 ? 1024 : 1);
        const double seconds = audio.sampleRate ? samples / audio.sampleRate : 0;
        out.add("duration", secondsText(seconds));
        m_longest = std::max(m_longest, seconds);
    }

    bool listPackets()
    {
        std::vector<PacketStream> streams;
        for (int stream : m_selected)
            streams.push_back(m_packetStreams[size_t(stream)]);
        PacketLister lister(m_reader, streams, m_options.hashMd5);
        m_json.startArray("packets");
        Section out(m_json, m_options.selection, ProbeSelection::Packets, true);
        for (ProbePacket packet; lister.next(packet);) {
            out.start();
            out.add("codec_type", codecType(packet.stream));
            out.add("stream_index", packet.stream);
            if (packet.timed) {
                out.add("pts", packet.pts);
                out.add("dts", packet.dts);
                out.add("duration", packet.duration);
            }
            out.add("pos", std::to_string(packet.pos));
            out.add("size", std::to_string(packet.size));
            out.add("flags", packet.key ? "K_" : "__");
            if (m_options.hashMd5)
                out.add("data_hash", "MD5:" + packet.md5);
            out.end();
            flush();
        }
        m_error = lister.error();
        return m_error.empty();
    }

    FileReadInstance& m_file;
    MediaFileReader& m_reader;
    const std::wstring& m_path;
    const ProbeOptions& m_options;
    JSON::Builder m_json{4};
    double m_longest = 0;
    // The stream's rate as its container names it, "0/0" for none.
    std::string m_containerRate;
    std::vector<int> m_selected;
    std::vector<PacketStream> m_packetStreams;
    std::string m_error;
};

} // namespace

int probeFile(Hc::FileReaderResource& resource, const std::wstring& path, const ProbeOptions& options)
{
    std::unique_ptr<FileReadInstance> file = openClip(resource, path);
    if (!file)
        return 1;
    Prober prober(*file, path, options);
    const bool done = prober.run();
    std::printf("%s\n", prober.ending().c_str());
    std::fflush(stdout);
    if (!done) {
        std::fprintf(stderr, "cvtool: %s: %s\n", narrow(path).c_str(), prober.error().c_str());
        return 1;
    }
    return 0;
}
