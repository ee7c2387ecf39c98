// `cvtool qtwritebench`: the QuickTime writer's throughput on real essence,
// read from a movie by the QuickTime reader in the same process.
#include "tools/QtWriteBench.h"

#include <chrono>
#include <cstdio>

#include "frame/Utf8.h"
#include "quicktime/read/FileReader.h"
#include "quicktime/write/FileWriter.h"
#include "tools/AudioPacing.h"
#include "tools/DriverRegistration.h"
#include "tools/Probe.h"

using namespace Corvidane;

namespace {

// Video, then audio when the source has it: the QuickTime row order.
std::vector<TrackStructuralData> tracksOf(MediaFileReader& reader, int video, int audio)
{
    std::vector<TrackStructuralData> tracks(audio >= 0 ? 2 : 1, TrackStructuralData{});
    tracks[0].streamType = StreamVideo;
    VideoStructuralData& v = tracks[0].video;
    v = VideoStructuralData{};
    int rate = 0, scale = 0;
    reader.get_RateAndScale(video, &rate, &scale);
    unsigned fcc = 0;
    reader.get_FCC(video, fcc);
    v.fourcc = fcc;
    v.width = static_cast<uint32_t>(reader.get_Width(video));
    v.height = static_cast<uint32_t>(reader.get_Height(video));
    v.rateNumerator = static_cast<uint32_t>(rate);
    v.rateDenominator = static_cast<uint32_t>(scale ? scale : 1);
    v.frameLayout = 4;
    v.gopSize = v.gopPeriod = 1;
    if (audio >= 0) {
        tracks[1].streamType = StreamAudio;
        AudioStructuralData& a = tracks[1].audio;
        a = AudioStructuralData{};
        unsigned sampleRate = 0;
        reader.get_AudioSampleRate(audio, sampleRate);
        a.format = 1;
        a.channels = static_cast<uint16_t>(reader.get_ChannelCount(audio));
        a.sampleRate = sampleRate;
        a.bitsPerSample = static_cast<uint16_t>(reader.get_BitsPerSample(audio));
        a.blockAlign = static_cast<uint16_t>(a.channels * ((a.bitsPerSample + 7) / 8));
        a.bytesPerSecond = a.sampleRate * a.blockAlign;
        a.samplesPerPacket = 1;
        a.byteOrder = 1;
    }
    return tracks;
}

int fail(const std::string& what, const wchar_t* text)
{
    std::fprintf(stderr, "cvtool: %s: %s\n", what.c_str(), narrow(text ? text : L"").c_str());
    return 1;
}

} // namespace

int qtWriteBench(const std::vector<std::string>& args)
{
    if (args.size() != 2)
        return 2;
    DriverRegistration files;
    QuickTime::FileReader reader;
    if (!isSuccess(reader.loadFile(fromUtf8(args[0]), iFile::Unbuffered)) || !isSuccess(reader.parseMetadata()))
        return fail(args[0], reader.getLastError());
    const int video = firstStream(reader, true), audio = firstStream(reader, false);
    if (video < 0) {
        std::fprintf(stderr, "cvtool: %s: no video stream\n", args[0].c_str());
        return 1;
    }
    std::vector<TrackStructuralData> tracks = tracksOf(reader, video, audio);
    const auto started = std::chrono::steady_clock::now();
    QuickTime::FileWriter writer;
    writer.setOverwriteExistingFile(true);
    if (!isSuccess(writer.create(fromUtf8(args[1]), tracks.data(), int(tracks.size()), 0, true)))
        return fail(args[1], writer.getLastError());
    const unsigned frames = reader.get_Length(video);
    AudioPacing pacing(reader, video, audio);
    std::vector<unsigned char> picture(std::max(reader.get_BufferSize(video), 1u << 20) * 2);
    std::vector<unsigned char> sound(audio >= 0 ? std::max(reader.get_BufferSize(audio), 1u << 20) * 2 : 0);
    uint64_t bytes = 0;
    for (unsigned frame = 0; frame < frames; ++frame) {
        std::vector<TrackData> rows(tracks.size(), TrackData{nullptr, 0, 0, 0});
        unsigned offset = 0, size = 0;
        if (!isSuccess(reader.essenceOpen(static_cast<unsigned>(video))) ||
            !isSuccess(reader.essenceRead(frame, 1, picture.data(), unsigned(picture.size()), offset, size)))
            return fail("frame " + std::to_string(frame), reader.getLastError());
        rows[0] = TrackData{picture.data() + offset, size, frame, HalcIFrame};
        unsigned first = 0, count = 0;
        if (audio >= 0 && pacing.span(frame, first, count)) {
            unsigned soundOffset = 0, soundSize = 0;
            if (!isSuccess(reader.essenceOpen(static_cast<unsigned>(audio))) ||
                !isSuccess(reader.essenceRead(first, count, sound.data(), unsigned(sound.size()), soundOffset,
                                              soundSize)))
                return fail("audio at " + std::to_string(first), reader.getLastError());
            rows[1] = TrackData{sound.data() + soundOffset, soundSize, 0, 0};
        }
        if (!isSuccess(writer.writeSamples(rows.data(), int(rows.size()))))
            return fail(args[1], writer.getLastError());
        for (const TrackData& row : rows)
            bytes += row.size;
    }
    if (!isSuccess(writer.close()))
        return fail(args[1], writer.getLastError());
    const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - started).count();
    std::printf("frames %u audio_samples %u bytes %llu seconds %.3f\n", frames, pacing.taken(),
                static_cast<unsigned long long>(bytes), seconds);
    return 0;
}
