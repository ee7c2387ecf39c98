#include "front/write/AviFileWriter.h"

#include <algorithm>
#include <cstring>

#include "avi/AviMediaType.h"
#include "frame/FourCC.h"
#include "host/FrameRates.h"
#include "host/Log.h"

using Corvidane::fourCC;

namespace avi {

namespace {

void put32(std::vector<unsigned char>& bytes, size_t at, uint32_t value)
{
    for (int i = 0; i < 4; ++i)
        bytes[at + size_t(i)] = static_cast<unsigned char>(value >> (8 * i));
}

void putGuid(std::vector<unsigned char>& bytes, size_t at, const Corvidane::GUID& guid)
{
    put32(bytes, at, guid.Data1);
    bytes[at + 4] = static_cast<unsigned char>(guid.Data2), bytes[at + 5] = static_cast<unsigned char>(guid.Data2 >> 8);
    bytes[at + 6] = static_cast<unsigned char>(guid.Data3), bytes[at + 7] = static_cast<unsigned char>(guid.Data3 >> 8);
    std::memcpy(bytes.data() + at + 8, guid.Data4, 8);
}

} // namespace

std::vector<unsigned char> FileWriter::mpeg2MediaType(const Hc::FileWriterParams& params, unsigned width,
                                                      unsigned height)
{
    std::vector<unsigned char> type(212, 0);
    put32(type, 0, 44);
    putGuid(type, 4, Corvidane::Avi::MEDIATYPE_Video);
    putGuid(type, 20, Corvidane::Avi::MEDIASUBTYPE_MPEG2_VIDEO);
    putGuid(type, 48, Corvidane::Avi::FORMAT_MPEG2_VIDEO);
    put32(type, 68, 136);
    put32(type, 108, params.frameSize * 1000);  // kilobits a second, as bits
    const double rate = Hc::getFramesPerSecond(params.frameRate);
    const uint64_t duration = rate > 0 ? uint64_t(10000000.0 / rate + 0.5) : 0;
    put32(type, 116, uint32_t(duration));
    put32(type, 120, uint32_t(duration >> 32));
    put32(type, 148, 40);
    put32(type, 152, width);
    put32(type, 156, height);
    put32(type, 160, 0x00180001);
    put32(type, 164, width <= 720 ? fourCC("MMES") : fourCC("M701"));
    put32(type, 196, 6);
    put32(type, 200, width <= 720 ? 2 : 4);
    return type;
}

int FileWriter::openFile(const std::wstring& name, const Hc::FileWriterParams& params, Hc::FileInfoBase*& file)
{
    file = nullptr;
    const unsigned audioCount = unsigned(params.audio.size());
    const unsigned count = audioCount + 2;
    std::vector<Corvidane::TrackStructuralData> tracks(count, Corvidane::TrackStructuralData{});
    const configb& config = params.config;

    // The timecode track gives the rate; the file starts at 0.
    Corvidane::TrackStructuralData& timecode = tracks[0];
    timecode.streamType = Corvidane::StreamTimecode;
    Hc::getFrameRateFraction(params.frameRate, timecode.timecode.rateNumerator, timecode.timecode.rateDenominator);

    Corvidane::TrackStructuralData& picture = tracks[1];
    picture = pictureTrack(params, codeOf(setting(config, "codec_type"), params.compression));
    const Corvidane::VideoStructuralData& v = picture.video;
    if (v.fourcc == fourCC("MMES") || v.fourcc == fourCC("M701")) {
        const std::vector<unsigned char> type = mpeg2MediaType(params, v.width, v.height);
        picture.extendedData = static_cast<unsigned char*>(std::malloc(type.size()));
        if (picture.extendedData) {
            std::memcpy(picture.extendedData, type.data(), type.size());
            picture.extendedDataSize = uint16_t(type.size());
        }
    }
    for (unsigned i = 0; i < audioCount; ++i)
        tracks[2 + i] = soundTrack(params.audio[i]);

    auto writer = std::make_unique<Corvidane::Avi::FileWriter>();
    const CvResult created = writer->create(name, tracks.data(), count);
    setLastError(isSuccess(created) ? std::wstring() : std::wstring(writer->getLastError()));
    if (!isSuccess(created)) {
        for (Corvidane::TrackStructuralData& track : tracks)
            Corvidane::freeExtendedData(track);
        return HcErrFromCvResult(created);
    }
    file = new FileInfo(std::move(writer), std::move(tracks), params, CvWrappers::WriteLoop::Layout{0, 1, 2, false},
                        v.fourcc == fourCC("BGRA") && params.bitsPerComponent == 10);
    return file->initialise();
}

int FileWriter::FileInfo::writeSurface(const unsigned char* bytes, unsigned size, uint32_t frameType)
{
    if (!m_reverseWords)
        return WriteLoop::writeSurface(bytes, size, frameType);
    // The host's buffer stays as it was handed over: the words are reversed
    // in a copy of their own.
    m_reversed.assign(bytes, bytes + size);
    for (size_t at = 0; at + 4 <= m_reversed.size(); at += 4)
        std::reverse(m_reversed.begin() + std::ptrdiff_t(at), m_reversed.begin() + std::ptrdiff_t(at + 4));
    return WriteLoop::writeSurface(m_reversed.data(), size, frameType);
}

CvResult FileWriter::FileInfo::writeRows(Corvidane::TrackData* rows, unsigned count)
{
    const CvResult result = m_writer->WriteSamples(rows, count & 0xFFFF);
    if (!isSuccess(result))
        Log("%ls\n", m_writer->getLastError());
    return result;
}

} // namespace avi
