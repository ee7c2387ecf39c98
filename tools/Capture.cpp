// `cvtool capture`: plays a capturing process. It copies a finished file made
// by ffmpeg into a new file packet by packet, in file order and at a pace,
// and writes beside it one sidecar index per track as a capture does, so
// that other processes can read the copy while it grows. The packets' places
// come from ffprobe, so no container reader of ours is involved. When the
// copy is complete its sidecars are removed, and what is left is a byte for
// byte copy of the source that its container reader can open.
#include "tools/Capture.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <map>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

#include "frame/FourCC.h"
#include "frame/Utf8.h"
#include "growing/Indexer.h"
#include "growing/IndexReader.h"
#include "tools/DriverRegistration.h"
#include "tools/Handshake.h"
#include "tools/Md5.h"

using namespace Corvidane;

namespace {

using Record = std::map<std::string, std::string>;

std::string quote(const std::string& text)
{
    std::string quoted = "'";
    for (char c : text)
        quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return quoted + "'";
}

// ffprobe's answer for the entries, one record of key=value pairs per line.
bool probeRecords(const std::string& source, const std::string& entries, std::vector<Record>& records)
{
    std::string command = "ffprobe -v error -show_entries " + entries + " -of compact=p=0 " + quote(source);
    std::FILE* pipe = ::popen(command.c_str(), "r");
    if (!pipe)
        return false;
    std::string line;
    int c;
    while ((c = std::fgetc(pipe)) != EOF) {
        if (c != '\n') {
            line += static_cast<char>(c);
            continue;
        }
        Record record;
        size_t start = 0;
        while (start <= line.size()) {
            size_t bar = line.find('|', start);
            std::string field = line.substr(start, bar == std::string::npos ? std::string::npos : bar - start);
            size_t equals = field.find('=');
            if (equals != std::string::npos)
                record[field.substr(0, equals)] = field.substr(equals + 1);
            if (bar == std::string::npos)
                break;
            start = bar + 1;
        }
        records.push_back(record);
        line.clear();
    }
    return ::pclose(pipe) == 0;
}

unsigned long long number(const Record& record, const char* key)
{
    auto it = record.find(key);
    return it == record.end() ? 0 : std::strtoull(it->second.c_str(), nullptr, 10);
}

std::string text(const Record& record, const char* key)
{
    auto it = record.find(key);
    return it == record.end() ? std::string() : it->second;
}

// The codec as a four character code: the file's own tag when it has one.
unsigned videoFourCC(const Record& stream)
{
    std::string tag = text(stream, "codec_tag_string");
    if (tag.size() == 4 && std::all_of(tag.begin(), tag.end(), [](char c) { return c > ' ' && c < 127; }))
        return fourCC({tag[0], tag[1], tag[2], tag[3], 0});
    static const std::map<std::string, unsigned> byName = {
        {"mpeg2video", fourCC("mpg2")}, {"h264", fourCC("avc1")}, {"mjpeg", fourCC("mjpg")},
        {"prores", fourCC("apcn")},     {"dnxhd", fourCC("AVdn")}, {"dvvideo", fourCC("dvc ")},
    };
    auto it = byName.find(text(stream, "codec_name"));
    return it == byName.end() ? 0 : it->second;
}

struct Packet {
    unsigned track;      // row of the sidecar list: video 0, audio 1
    long long pts;
    uint64_t pos;
    uint32_t size;
    bool key;
    IndexEntry entry;
};

struct Options {
    double pace = 0;
    std::string handshake;
    unsigned step = 10;
    bool times = false;
    std::string source, output;
};

class Capture {
public:
    explicit Capture(const Options& options) : m_options(options) {}
    ~Capture()
    {
        if (m_in >= 0)
            ::close(m_in);
        if (m_out >= 0)
            ::close(m_out);
    }

    int run()
    {
        if (!openSource() || !describe() || !openOutputs())
            return 1;
        if (!m_options.handshake.empty() && !m_handshake.open(m_options.handshake, Handshake::Capture)) {
            std::fprintf(stderr, "cvtool capture: no handshake pipes in %s\n", m_options.handshake.c_str());
            return 1;
        }
        auto start = std::chrono::steady_clock::now();
        unsigned frames = 0;
        for (Packet& packet : m_packets) {
            if (!copyTo(packet.pos + packet.size) || !index(packet))
                return 1;
            if (packet.track != 0)
                continue;
            ++frames;
            if (m_options.pace > 0)
                std::this_thread::sleep_until(start + std::chrono::duration<double>(frames / m_options.pace));
            if (!m_options.handshake.empty() && frames % m_options.step == 1 && !turn("rows" + rowsOnDisk()))
                return 1;
        }
        if (!copyTo(m_sourceSize))
            return 1;
        // Closing the indexers writes their last rows and deletes the sidecars.
        m_indexers.clear();
        if (!m_options.handshake.empty() && !turn("end"))
            return 1;
        return 0;
    }

private:
    // The streams and packets of the source: the first video stream, and the
    // first audio stream when its packets follow a frame cadence.
    bool describe()
    {
        std::vector<Record> streams, packets;
        const std::string& source = m_options.source;
        if (!probeRecords(source,
                          "stream=index,codec_type,codec_name,codec_tag_string,width,height,r_frame_rate,"
                          "sample_rate,channels,bits_per_sample,field_order",
                          streams) ||
            !probeRecords(source, "packet=stream_index,pts,pos,size,flags", packets)) {
            std::fprintf(stderr, "cvtool capture: ffprobe can't read %s\n", source.c_str());
            return false;
        }
        const Record* video = nullptr;
        const Record* audio = nullptr;
        for (const Record& stream : streams) {
            if (!video && text(stream, "codec_type") == "video")
                video = &stream;
            if (!audio && text(stream, "codec_type") == "audio")
                audio = &stream;
        }
        if (!video) {
            std::fprintf(stderr, "cvtool capture: %s has no video\n", source.c_str());
            return false;
        }
        for (const Record& record : packets) {
            unsigned long long stream = number(record, "stream_index");
            if (stream != number(*video, "index") && !(audio && stream == number(*audio, "index")))
                continue;
            Packet packet{stream == number(*video, "index") ? 0u : 1u, std::atoll(text(record, "pts").c_str()),
                          number(record, "pos"), static_cast<uint32_t>(number(record, "size")),
                          text(record, "flags").find('K') != std::string::npos, {}};
            m_packets.push_back(packet);
        }

        m_tracks.push_back(videoTrack(*video));
        if (audio && describeAudio(*audio))
            m_tracks.push_back(audioTrack(*audio));
        else
            m_packets.erase(std::remove_if(m_packets.begin(), m_packets.end(), [](const Packet& p) { return p.track; }),
                            m_packets.end());
        for (Packet& packet : m_packets)
            if (!findPayload(packet))
                return false;
        numberVideoFrames();
        // Packets go to the file in the order in which they lie in the source.
        std::stable_sort(m_packets.begin(), m_packets.end(),
                         [](const Packet& a, const Packet& b) { return a.pos < b.pos; });
        return true;
    }

    // ffprobe places an MXF packet at its KLV key; the essence starts behind
    // the 16-byte key and the BER length, which must give the packet's size.
    bool findPayload(Packet& packet)
    {
        unsigned char klv[16 + 9];
        ssize_t got = ::pread(m_in, klv, sizeof klv, static_cast<off_t>(packet.pos));
        static const unsigned char ulPrefix[4] = {0x06, 0x0E, 0x2B, 0x34};
        if (got < ssize_t(sizeof klv) || std::memcmp(klv, ulPrefix, 4) != 0)
            return true;
        unsigned lengthBytes = klv[16] < 0x80 ? 0 : klv[16] & 0x7F;
        if (lengthBytes > 8)
            return false;
        uint64_t length = lengthBytes ? 0 : klv[16];
        for (unsigned i = 0; i < lengthBytes; ++i)
            length = length << 8 | klv[17 + i];
        if (length != packet.size) {
            std::fprintf(stderr, "cvtool capture: the KLV at %llu doesn't hold its packet\n",
                         static_cast<unsigned long long>(packet.pos));
            return false;
        }
        packet.pos += 17 + lengthBytes;
        return true;
    }

    TrackStructuralData videoTrack(const Record& video)
    {
        TrackStructuralData track{};
        track.streamType = StreamVideo;
        track.video.width = static_cast<uint32_t>(number(video, "width"));
        track.video.height = static_cast<uint32_t>(number(video, "height"));
        track.video.bitsPerPixel = 24;
        track.video.fourcc = videoFourCC(video);
        std::string rate = text(video, "r_frame_rate");
        track.video.rateNumerator = static_cast<uint32_t>(std::strtoul(rate.c_str(), nullptr, 10));
        size_t slash = rate.find('/');
        track.video.rateDenominator =
            slash == std::string::npos ? 1 : static_cast<uint32_t>(std::strtoul(rate.c_str() + slash + 1, nullptr, 10));
        track.video.frameLayout = text(video, "field_order") == "progressive" ? 4 : 3;
        // The distance between the first two key frames; 1 for intra-only essence.
        unsigned frame = 0, firstKey = 0, gop = 1;
        bool seenKey = false;
        for (const Packet& packet : m_packets) {
            if (packet.track != 0)
                continue;
            if (packet.key && seenKey) {
                gop = frame - firstKey;
                break;
            }
            if (packet.key && !seenKey) {
                seenKey = true;
                firstKey = frame;
            }
            ++frame;
        }
        track.video.gopSize = gop;
        track.video.gopPeriod = 1;
        return track;
    }

    TrackStructuralData audioTrack(const Record& audio)
    {
        TrackStructuralData track{};
        track.streamType = StreamAudio;
        track.audio.format = 1;
        track.audio.channels = static_cast<uint16_t>(number(audio, "channels"));
        track.audio.sampleRate = static_cast<uint32_t>(number(audio, "sample_rate"));
        track.audio.bitsPerSample = static_cast<uint16_t>(number(audio, "bits_per_sample"));
        track.audio.blockAlign = static_cast<uint16_t>(track.audio.channels * track.audio.bitsPerSample / 8);
        track.audio.bytesPerSecond = track.audio.blockAlign * track.audio.sampleRate;
        track.audio.samplesPerPacket = 1;
        track.audio.byteOrder = 1;
        return track;
    }

    // Audio is captured one video frame's worth of samples per entry, which
    // is how the growing-file reader addresses it; anything else is left out.
    bool describeAudio(const Record& audio)
    {
        unsigned blockAlign = static_cast<unsigned>(number(audio, "channels") * number(audio, "bits_per_sample") / 8);
        std::vector<unsigned> samples;
        for (const Packet& packet : m_packets)
            if (packet.track == 1)
                samples.push_back(blockAlign ? packet.size / blockAlign : 0);
        m_audioCadence = ExternalIndexer::matchAudioCadence(samples);
        if (m_audioCadence < 0)
            std::fprintf(stderr, "cvtool capture: the audio of %s isn't one frame per packet; only video is captured\n",
                         m_options.source.c_str());
        return m_audioCadence >= 0;
    }

    // Decode numbers, display ranks and picture types of the video packets.
    void numberVideoFrames()
    {
        std::vector<long long> shown;
        for (const Packet& packet : m_packets)
            if (packet.track == 0)
                shown.push_back(packet.pts);
        std::sort(shown.begin(), shown.end());
        unsigned decode[2] = {0, 0};
        long long latest = 0;
        for (Packet& packet : m_packets) {
            IndexEntry& entry = packet.entry;
            entry.offset = packet.pos;
            entry.size = packet.size;
            entry.decodeIndex = decode[packet.track]++;
            entry.presentationIndex = entry.decodeIndex;
            if (packet.track != 0)
                continue;
            entry.presentationIndex =
                static_cast<uint32_t>(std::lower_bound(shown.begin(), shown.end(), packet.pts) - shown.begin());
            if (packet.key)
                entry.frameType = FrameIntra | FrameRandomAccess;
            else
                entry.frameType = packet.pts < latest ? FrameBidirectional : FramePredicted;
            latest = entry.decodeIndex == 0 ? packet.pts : std::max(latest, packet.pts);
        }
    }

    bool openSource()
    {
        m_in = ::open(m_options.source.c_str(), O_RDONLY | O_CLOEXEC);
        struct stat st;
        if (m_in < 0 || ::fstat(m_in, &st) != 0) {
            std::fprintf(stderr, "cvtool capture: can't read %s: %s\n", m_options.source.c_str(), std::strerror(errno));
            return false;
        }
        m_sourceSize = static_cast<uint64_t>(st.st_size);
        return true;
    }

    bool openOutputs()
    {
        // The sidecars come first: a reader that sees the file also sees them.
        std::wstring output = fromUtf8(m_options.output);
        bool isMxf = output.size() >= 4 && (output.compare(output.size() - 4, 4, L".mxf") == 0 ||
                                            output.compare(output.size() - 4, 4, L".MXF") == 0);
        for (size_t t = 0; t < m_tracks.size(); ++t) {
            int number = static_cast<int>(t) + (isMxf ? 1 : 0);
            m_sidecars.push_back(m_options.output + "." + std::to_string(number) + ".cvindex");
            auto indexer = ExternalIndexer::createIndexer(ExternalIndexer::BinaryIndexerType);
            if (indexer->create(ExternalIndexer::getFilename(output, number), {m_tracks[t]}) != OK) {
                std::string error;
                toUtf8(indexer->getLastError(), error);
                std::fprintf(stderr, "cvtool capture: %s: %s\n", m_sidecars.back().c_str(), error.c_str());
                return false;
            }
            if (m_tracks[t].streamType == StreamAudio)
                indexer->setAudioSamplesIndex(static_cast<signed char>(m_audioCadence));
            m_indexers.push_back(indexer);
        }
        m_out = ::open(m_options.output.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
        if (m_out < 0) {
            std::fprintf(stderr, "cvtool capture: can't write %s: %s\n", m_options.output.c_str(),
                         std::strerror(errno));
            return false;
        }
        return true;
    }

    // Copies the source up to `end` into the output, behind what is there.
    bool copyTo(uint64_t end)
    {
        std::vector<unsigned char> chunk(1 << 20);
        while (m_written < end) {
            size_t want = static_cast<size_t>(std::min<uint64_t>(chunk.size(), end - m_written));
            ssize_t got = ::pread(m_in, chunk.data(), want, static_cast<off_t>(m_written));
            if (got <= 0 || ::pwrite(m_out, chunk.data(), static_cast<size_t>(got), static_cast<off_t>(m_written)) != got) {
                std::fprintf(stderr, "cvtool capture: copy failed at %llu\n", static_cast<unsigned long long>(m_written));
                return false;
            }
            m_written += static_cast<uint64_t>(got);
        }
        return true;
    }

    // Adds the packet's row, once its bytes are in the file, and prints its hash.
    bool index(const Packet& packet)
    {
        ExternalIndexer::Indexer& indexer = *m_indexers[packet.track];
        if (indexer.add(0, packet.entry.decodeIndex, packet.entry) != OK) {
            std::string error;
            toUtf8(indexer.getLastError(), error);
            std::fprintf(stderr, "cvtool capture: index: %s\n", error.c_str());
            return false;
        }
        std::vector<unsigned char> bytes(packet.size);
        if (::pread(m_in, bytes.data(), bytes.size(), static_cast<off_t>(packet.pos)) != ssize_t(bytes.size()))
            return false;
        Md5 md5;
        md5.update(bytes.data(), bytes.size());
        std::printf("%u %u %s", packet.track, packet.entry.decodeIndex, md5.hexDigest().c_str());
        if (m_options.times)
            std::printf(" %lld", monotonicNanoseconds());
        std::printf("\n");
        return true;
    }

    // The whole rows each sidecar holds on disk now, in track order.
    std::string rowsOnDisk() const
    {
        std::string rows;
        for (const std::string& sidecar : m_sidecars) {
            struct stat st;
            uint64_t size = ::stat(sidecar.c_str(), &st) == 0 ? static_cast<uint64_t>(st.st_size) : 0;
            rows += " " + std::to_string(size > 512 ? (size - 512) / 22 : 0);
        }
        return rows;
    }

    // Tells the follower where the capture stands and waits for its answer.
    bool turn(const std::string& line)
    {
        std::fflush(stdout);
        std::string answer;
        if (!m_handshake.send(line) || !m_handshake.receive(answer) || answer != "ok") {
            std::fprintf(stderr, "cvtool capture: the follower answered \"%s\" to \"%s\"\n", answer.c_str(),
                         line.c_str());
            return false;
        }
        return true;
    }

    const Options& m_options;
    std::vector<Packet> m_packets;
    std::vector<TrackStructuralData> m_tracks;
    int m_audioCadence = -1;
    DriverRegistration m_files; // before the indexers, which close through it
    std::vector<std::shared_ptr<ExternalIndexer::Indexer>> m_indexers;
    std::vector<std::string> m_sidecars;
    Handshake m_handshake;
    int m_in = -1;
    int m_out = -1;
    uint64_t m_sourceSize = 0;
    uint64_t m_written = 0;
};

} // namespace

int captureFile(const std::vector<std::string>& args)
{
    Options options;
    for (size_t i = 0; i < args.size(); ++i) {
        bool hasValue = i + 1 < args.size();
        if (args[i] == "--pace" && hasValue)
            options.pace = std::atof(args[++i].c_str());
        else if (args[i] == "--handshake" && hasValue)
            options.handshake = args[++i];
        else if (args[i] == "--step" && hasValue)
            options.step = static_cast<unsigned>(std::max(1, std::atoi(args[++i].c_str())));
        else if (args[i] == "--times")
            options.times = true;
        else if (options.source.empty() && args[i].rfind("--", 0) != 0)
            options.source = args[i];
        else if (options.output.empty() && args[i].rfind("--", 0) != 0)
            options.output = args[i];
        else
            return 2;
    }
    if (options.source.empty() || options.output.empty())
        return 2;
    // The file service that writes the sidecars takes absolute paths only.
    options.output = std::filesystem::absolute(options.output).string();
    Capture capture(options);
    int result = capture.run();
    std::fflush(stdout);
    return result;
}
