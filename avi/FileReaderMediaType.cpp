// The media types that the host's decoders are given for video streams.
#include <cstring>

#include "avi/FileReader.h"

namespace Corvidane::Avi {

namespace {

// VIDEOINFOHEADER: rcSource, rcTarget, dwBitRate, dwBitErrorRate,
// AvgTimePerFrame, then the BITMAPINFOHEADER.
constexpr size_t videoInfoHeaderSize = 88;
constexpr size_t avgTimePerFrameOffset = 40;
constexpr size_t bitmapOffset = 48;
// VIDEOINFO: the header with room for a palette and colour masks.
constexpr size_t videoInfoSize = 1124;

// The MPEG-2 media type record behind the bitmap header: its format type and
// the 136-byte MPEG2VIDEOINFO from byte 76.
constexpr size_t mmesFormatType = 48;
constexpr size_t mmesFormat = 76;
constexpr size_t mmesFormatSize = 136;
constexpr size_t mpeg2AvgTimePerFrame = 40;
constexpr size_t mpeg2Height = 80;

// 100-nanosecond units per frame.
uint64_t averageTimePerFrame(const AviStreamHeader& header)
{
    return header.dwRate ? uint64_t(10000000) * header.dwScale / header.dwRate : 0;
}

} // namespace

void FileReader::STRF_MakeTypeMMES(const Stream& stream)
{
    const std::vector<unsigned char>& record = stream.extraData;
    if (record.size() < 80 || !namesMpeg2Video(record.data(), record.size()) ||
        readGuid(record.data() + mmesFormatType) != FORMAT_MPEG2_VIDEO) {
        makeTypeOther(stream);
        return;
    }
    m_mediaType.majorType = MEDIATYPE_Video;
    m_mediaType.subType = MEDIASUBTYPE_MPEG2_VIDEO;
    m_mediaType.formatType = FORMAT_MPEG2_VIDEO;
    m_mediaType.format.assign(mmesFormatSize, 0);
    std::memcpy(m_mediaType.format.data(), record.data() + mmesFormat,
                std::min(mmesFormatSize, record.size() - mmesFormat));
    if (readLE32(m_mediaType.format.data() + mpeg2Height) == 576)
        writeLE64(m_mediaType.format.data() + mpeg2AvgTimePerFrame, 400000);
    m_mediaType.temporalCompression = true;
}

void FileReader::STRF_MakeTypeMJPEG(const Stream& stream, const unsigned char* data)
{
    m_mediaType.majorType = MEDIATYPE_Video;
    m_mediaType.subType = subtypeFromFourCC(fourCC("MJPG"));
    m_mediaType.formatType = FORMAT_VideoInfo;
    m_mediaType.format.assign(videoInfoHeaderSize, 0);
    writeLE64(m_mediaType.format.data() + avgTimePerFrameOffset, averageTimePerFrame(stream.header));
    std::memcpy(m_mediaType.format.data() + bitmapOffset, data, BitmapInfoHeader::size);
}

void FileReader::STRF_MakeTypeDV(const Stream& stream, uint32_t subtype)
{
    m_mediaType.majorType = MEDIATYPE_Video;
    m_mediaType.subType = subtypeFromFourCC(subtype);
    m_mediaType.formatType = FORMAT_VideoInfo;
    m_mediaType.format.assign(videoInfoHeaderSize, 0);
    unsigned char* format = m_mediaType.format.data();
    writeLE64(format + avgTimePerFrameOffset, averageTimePerFrame(stream.header));
    writeLE32(format + bitmapOffset, BitmapInfoHeader::size);
    writeLE32(format + bitmapOffset + 4, static_cast<uint32_t>(stream.bitmap.biWidth));
    writeLE32(format + bitmapOffset + 8, static_cast<uint32_t>(stream.bitmap.biHeight));
    writeLE32(format + bitmapOffset + 12, 1 | uint32_t(stream.bitmap.biBitCount) << 16);
    writeLE32(format + bitmapOffset + 16, subtype);
    writeLE32(format + bitmapOffset + 20, stream.bitmap.biSizeImage);
    // DV frames are of one size for a standard.
    m_mediaType.sampleSize = stream.bitmap.biSizeImage;
}

void FileReader::makeTypeYuv(const Stream& stream)
{
    uint32_t width = static_cast<uint32_t>(stream.bitmap.biWidth);
    uint32_t height = static_cast<uint32_t>(stream.bitmap.biHeight < 0 ? -stream.bitmap.biHeight
                                                                        : stream.bitmap.biHeight);
    m_mediaType.majorType = MEDIATYPE_Video;
    m_mediaType.subType = subtypeFromFourCC(stream.bitmap.biCompression);
    m_mediaType.formatType = FORMAT_VideoInfo;
    m_mediaType.format.assign(videoInfoSize, 0);
    unsigned char* format = m_mediaType.format.data();
    writeLE64(format + avgTimePerFrameOffset, averageTimePerFrame(stream.header));
    writeLE32(format + bitmapOffset, BitmapInfoHeader::size);
    writeLE32(format + bitmapOffset + 4, width);
    writeLE32(format + bitmapOffset + 8, height);
    writeLE32(format + bitmapOffset + 12, 1 | 16u << 16);
    writeLE32(format + bitmapOffset + 16, stream.bitmap.biCompression);
    m_mediaType.sampleSize = width * height * 2;
    writeLE32(format + bitmapOffset + 20, m_mediaType.sampleSize);
}

void FileReader::makeTypeOther(const Stream& stream)
{
    m_mediaType = MediaType();
    m_mediaType.majorType = MEDIATYPE_Video;
    m_mediaType.subType = subtypeFromFourCC(stream.bitmap.biCompression);
}

} // namespace Corvidane::Avi
