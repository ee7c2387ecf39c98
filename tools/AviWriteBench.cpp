// `cvtool aviwritebench`: the AVI writer's throughput on real essence, read
// from an AVI file by the AVI reader in the same process.
#include "tools/AviWriteBench.h"

#include <chrono>
#include <cstdio>

#include "avi/FileReader.h"
#include "avi/FileWriter.h"
#include "frame/Utf8.h"
#include "tools/AudioPacing.h"
#include "tools/DriverRegistration.h"
#include "tools/Probe.h"

using namespace Corvidane;

namespace {

// Timecode, then video, then audio when the source has it: the rows the
// writer resources hand over.
std::vector<TrackStructuralData> tracksOf(MediaFileReader& reader, int video, int audio)
{
    std::vector<TrackStructuralData> tracks(audio >= 0 ? 3 : 2, TrackStructuralData{});
    tracks[0].streamType = StreamTimecode;
    tracks[1].streamType = StreamVideo;
    VideoStructuralData& v = tracks[1].video;
    v = VideoStructuralData{};
    int rate = 0, scale = 0;
    reader.get_RateAndScale(video, &rate, &scale);
    unsigned fcc = 0;
    reader.get_FCC(video, fcc);
    v.fourcc = fcc;
    v.width = static_cast<uint32_t>(reader.get_Width(video));
    v.height = static_cast<uint32_t>(reader.get_Height(video));
    v.bitsPerPixel = static_cast<uint32_t>(reader.get_BitsPerSample(video));
    v.rateNumerator = static_cast<uint32_t>(rate);
    v.rateDenominator = static_cast<uint32_t>(scale ? scale : 1);
    v.frameLayout = 4;
    tracks[0].timecode = TimecodeStructuralData{v.rateNumerator, v.rateDenominator, 0, 0};
    if (audio >= 0) {
        tracks[2].streamType = StreamAudio;
        AudioStructuralData& a = tracks[2].audio;
        a = AudioStructuralData{};
        unsigned sampleRate = 0;
        reader.get_AudioSampleRate(audio, sampleRate);
        a.format = 1;
        a.channels = static_cast<uint16_t>(reader.get_ChannelCount(audio));
        a.sampleRate = sampleRate;
        a.bitsPerSample = static_cast<uint16_t>(reader.get_BitsPerSample(audio));
        a.blockAlign = static_cast<uint16_t>(a.channels * ((a.bitsPerSample + 7) / 8));
        a.bytesPerSecond = a.sampleRate * a.blockAlign;
    }
    return tracks;
}

} // namespace

int aviWriteBench(const std::vector<std::string>& args)
{
    if (args.size() != 2)
        return 2;
    DriverRegistration files;
    Avi::FileReader reader;
    if (!isSuccess(reader.loadFile(fromUtf8(args[0]), iFile::Unbuffered))) {
        std::fprintf(stderr, "cvtool: %s: %s\n", args[0].c_str(), narrow(reader.getLastError()).c_str());
        return 1;
    }
    const int video = firstStream(reader, true), audio = firstStream(reader, false);
    if (video < 0) {
        std::fprintf(stderr, "cvtool: %s: no video stream\n", args[0].c_str());
        return 1;
    }
    std::vector<TrackStructuralData> tracks = tracksOf(reader, video, audio);
    const auto started = std::chrono::steady_clock::now();
    Avi::FileWriter writer;
    if (!isSuccess(writer.create(fromUtf8(args[1]), tracks.data(), unsigned(tracks.size())))) {
        std::fprintf(stderr, "cvtool: %s: %s\n", args[1].c_str(), narrow(writer.getLastError()).c_str());
        return 1;
    }
    const unsigned frames = reader.get_Length(video);
    AudioPacing pacing(reader, video, audio);
    std::vector<unsigned char> picture(std::max(reader.get_BufferSize(video), 1u << 20) * 2);
    std::vector<unsigned char> sound(audio >= 0 ? std::max(reader.get_BufferSize(audio), 1u << 20) * 2 : 0);
    const uint32_t zero = 0;
    uint64_t bytes = 0;
    for (unsigned frame = 0; frame < frames; ++frame) {
        std::vector<TrackData> rows(tracks.size(), TrackData{nullptr, 0, 0, 0});
        rows[0] = TrackData{reinterpret_cast<const unsigned char*>(&zero), 4, 0, 0};
        unsigned offset = 0, size = 0;
        if (!isSuccess(reader.essenceOpen(static_cast<unsigned>(video))) ||
            !isSuccess(reader.essenceRead(frame, 1, picture.data(), unsigned(picture.size()), offset, size))) {
            std::fprintf(stderr, "cvtool: frame %u: %s\n", frame, narrow(reader.getLastError()).c_str());
            return 1;
        }
        rows[1] = TrackData{picture.data() + offset, size, frame, HalcIFrame};
        unsigned first = 0, count = 0;
        if (audio >= 0 && pacing.span(frame, first, count)) {
            unsigned soundOffset = 0, soundSize = 0;
            if (!isSuccess(reader.essenceOpen(static_cast<unsigned>(audio))) ||
                !isSuccess(reader.essenceRead(first, count, sound.data(), unsigned(sound.size()), soundOffset,
                                              soundSize))) {
                std::fprintf(stderr, "cvtool: audio at %u: %s\n", first, narrow(reader.getLastError()).c_str());
                return 1;
            }
            rows[2] = TrackData{sound.data() + soundOffset, soundSize, 0, 0};
        }
        if (!isSuccess(writer.WriteSamples(rows.data(), unsigned(rows.size())))) {
            std::fprintf(stderr, "cvtool: %s: %s\n", args[1].c_str(), narrow(writer.getLastError()).c_str());
            return 1;
        }
        for (const TrackData& row : rows)
            bytes += row.size;
    }
    if (!isSuccess(writer.close())) {
        std::fprintf(stderr, "cvtool: %s: %s\n", args[1].c_str(), narrow(writer.getLastError()).c_str());
        return 1;
    }
    const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - started).count();
    std::printf("frames %u audio_samples %u bytes %llu seconds %.3f\n", frames, pacing.taken(),
                static_cast<unsigned long long>(bytes), seconds);
    return 0;
}
