#include "front/write/FileWriterCommon.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "frame/ColourPairs.h"
#include "frame/FourCC.h"
#include "frame/Rates.h"
#include "frame/Utf8.h"
#include "host/FrameRates.h"

namespace CvWrappers {

void FileWriterCommon::addMetadata(std::wstring& xml, const configb& config, const std::string& key,
                                   const std::string& tag)
{
    std::string value;
    if (config.in(key, value) != 1)
        value.clear();
    const std::wstring wide = Corvidane::fromUtf8(value);
    if (wide.empty())
        return;
    const std::wstring name = Corvidane::fromUtf8(tag);
    xml += L"<" + name + L">" + wide + L"</" + name + L">";
}

void FileWriterCommon::assignXMLMetadata(const std::wstring& text, Corvidane::TrackStructuralData& track)
{
    // The size field is 16 bits wide: a longer fragment does not fit it.
    const size_t bytes = 4 * (text.size() + 1);
    track.extendedDataSize = static_cast<uint16_t>(bytes);
    const size_t allocated = bytes % 65536;
    track.extendedData = static_cast<unsigned char*>(std::calloc(allocated ? allocated : 1, 1));
    if (!track.extendedData) {
        track.extendedDataSize = 0;
        return;
    }
    for (size_t i = 0; i < text.size() + 1 && 4 * (i + 1) <= allocated; ++i) {
        const uint32_t c = i < text.size() ? uint32_t(text[i]) : 0;
        std::memcpy(track.extendedData + 4 * i, &c, 4);
    }
}

std::string FileWriterCommon::setting(const configb& config, const char* key)
{
    std::string value;
    return config.in(key, value) == 1 ? value : std::string();
}

unsigned FileWriterCommon::settingNumber(const configb& config, const char* key)
{
    return unsigned(std::strtoul(setting(config, key).c_str(), nullptr, 10));
}

uint32_t FileWriterCommon::codeOf(const std::string& text, uint32_t fallback)
{
    if (text.size() != 4)
        return fallback;
    return uint32_t(uint8_t(text[0])) | uint32_t(uint8_t(text[1])) << 8 | uint32_t(uint8_t(text[2])) << 16 |
           uint32_t(uint8_t(text[3])) << 24;
}

Corvidane::TrackStructuralData FileWriterCommon::timecodeTrack(const configb& config)
{
    Corvidane::TrackStructuralData track{};
    track.streamType = Corvidane::StreamTimecode;
    Hc::getFrameRateFraction(settingNumber(config, "TcFps"), track.timecode.rateNumerator,
                             track.timecode.rateDenominator);
    track.timecode.startFrame = settingNumber(config, "TcStartFrame");
    track.timecode.dropFrame = uint8_t(settingNumber(config, "drop") != 0);
    return track;
}

Corvidane::TrackStructuralData FileWriterCommon::soundTrack(const Hc::AudioStreamDescription& stream)
{
    Corvidane::TrackStructuralData track{};
    track.streamType = Corvidane::StreamAudio;
    track.audio.format = 1;
    track.audio.channels = uint16_t(stream.channels);
    track.audio.sampleRate = stream.sampleRate;
    track.audio.bitsPerSample = uint16_t(stream.bitsPerSample);
    track.audio.samplesPerPacket = 1;
    track.audio.blockAlign = uint16_t(stream.channels * stream.bytesPerSample);
    track.audio.bytesPerSecond = uint32_t(track.audio.blockAlign) * stream.sampleRate;
    return track;
}

void FileWriterCommon::setAspectAndColour(const Hc::FileWriterParams& params, Corvidane::VideoStructuralData& video)
{
    video.aspect = params.aspectRatio == 1 ? 0x00040003u : params.aspectRatio == 2 ? 0x00100009u : 0x00010001u;
    const Corvidane::ColourPairT colour =
        Corvidane::videoColourPair(params.colorimetry >= 1 && params.colorimetry <= 7 ? params.colorimetry : 0);
    video.colourPrimaries = uint32_t(colour.first);
    video.transferCharacteristic = uint32_t(colour.second);
}

namespace {

// The matrix that goes with each set of primaries, by their code.
uint32_t matrixFor(uint32_t primaries)
{
    static const uint32_t matrices[] = {1, 0, 0, 2, 3, 3};
    return primaries >= 1 && primaries <= 6 ? matrices[primaries - 1] : 0;
}

} // namespace

void FileWriterCommon::setFrameFields(const Hc::FileWriterParams& params, Corvidane::VideoStructuralData& v)
{
    v.stride = params.stride;
    v.frameLayout = params.scanMode == 3 || params.scanMode == 4 ? 4 : 3;
    Hc::getFrameRateFraction(params.frameRate, v.rateNumerator, v.rateDenominator);
    // The host's own encoders are intra-only; a long-GOP coding it hands
    // over (a rewrap) names its GOP.
    v.gopSize = std::max(params.gopLength, 1u);
    v.gopPeriod = std::max(params.gopAnchorDistance, 1u);
    v.dataRate = params.frameSize;
}

Corvidane::TrackStructuralData FileWriterCommon::pictureTrack(const Hc::FileWriterParams& params, uint32_t fourcc)
{
    using Corvidane::fourCC;
    Corvidane::TrackStructuralData track{};
    track.streamType = Corvidane::StreamVideo;
    Corvidane::VideoStructuralData& v = track.video;
    v.fourcc = fourcc;
    v.height = params.height;
    if (fourcc == fourCC("GIMX") && params.height == 486)
        v.height = 512;
    else if (fourcc == fourCC("GIMX") && params.height == 576)
        v.height = 608;
    else if ((fourcc == fourCC("dvsd") || fourcc == fourCC("dv25") || fourcc == fourCC("dv50") ||
              fourcc == fourCC("PPG2")) &&
             params.height == 486)
        v.height = 480;
    v.width = params.compression == 1244 || params.compression == 1259 || params.compression == 1260 ? 1440
                                                                                                      : params.width;
    v.bitsPerPixel = Corvidane::getBppForFCC(fourcc);
    setFrameFields(params, v);
    setAspectAndColour(params, v);
    v.matrixCoefficients = matrixFor(v.colourPrimaries);
    return track;
}

WriteLoop::WriteLoop(std::vector<Corvidane::TrackStructuralData> tracks, const Hc::FileWriterParams& params,
                     Layout layout)
    : m_tracks(std::move(tracks)), m_rows(m_tracks.size(), Corvidane::TrackData{}), m_params(params), m_layout(layout),
      m_swapped(params.audio.size())
{
    // The timecode row only moves the track on (its start is in the track):
    // a 4-byte zero, set once for every path.
    if (m_layout.timecodeRow < m_rows.size())
        m_rows[m_layout.timecodeRow] = {reinterpret_cast<const unsigned char*>(&m_timecodeSample), 4, 0, 0};
}

WriteLoop::~WriteLoop()
{
    for (Corvidane::TrackStructuralData& track : m_tracks)
        Corvidane::freeExtendedData(track);
}

int WriteLoop::writeSurface(const unsigned char* bytes, unsigned size, uint32_t frameType)
{
    m_rows[m_layout.videoRow] = {bytes, size, presentationIndex(), frameType};
    const size_t streams = m_params.audio.size();
    if (streams) {
        unsigned count = 0;
        const int ready = getNextAudioBuffers(count);
        if (ready != 1)
            return ready;
        count *= m_params.getTotalChannels();
        // Every row takes the first description's sample size and all the
        // channels, as the host lays its buffers out.
        const unsigned bytesPerSample = m_params.audio[0].bytesPerSample;
        for (size_t i = 0; i < streams; ++i) {
            const std::vector<unsigned char>& buffer = audioBuffer(i);
            const size_t wanted = std::min<size_t>(size_t(count) * bytesPerSample, buffer.size());
            const unsigned char* data = buffer.data();
            if (m_layout.swap24BitSound && m_params.audio[0].bitsPerSample == 24) {
                std::vector<unsigned char>& swapped = m_swapped[i];
                swapped.assign(buffer.begin(), buffer.begin() + std::ptrdiff_t(wanted));
                for (size_t at = 0; at + 3 <= swapped.size(); at += 3)
                    std::swap(swapped[at], swapped[at + 2]);
                data = swapped.data();
            }
            m_rows[m_layout.firstAudioRow + i] = {data, uint32_t(wanted), 0, 0};
        }
    }
    return HcErrFromCvResult(writeRows(m_rows.data(), unsigned(m_rows.size())));
}

} // namespace CvWrappers
