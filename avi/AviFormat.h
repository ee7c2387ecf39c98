#pragma once
#include <cstdint>
#include <cstring>

#include "frame/FourCC.h"

// The RIFF AVI and OpenDML records as they lie on disk. Every number is
// little-endian; the records are filled from bytes with the readers below so
// that no packed struct is cast over file data, and written with the writers.
namespace Corvidane::Avi {

inline uint16_t readLE16(const unsigned char* p) { return static_cast<uint16_t>(p[0] | p[1] << 8); }
inline uint32_t readLE32(const unsigned char* p)
{
    return static_cast<uint32_t>(p[0]) | static_cast<uint32_t>(p[1]) << 8 | static_cast<uint32_t>(p[2]) << 16 |
           static_cast<uint32_t>(p[3]) << 24;
}
inline uint64_t readLE64(const unsigned char* p)
{
    return static_cast<uint64_t>(readLE32(p)) | static_cast<uint64_t>(readLE32(p + 4)) << 32;
}

inline void writeLE16(unsigned char* p, uint16_t value)
{
    p[0] = static_cast<unsigned char>(value);
    p[1] = static_cast<unsigned char>(value >> 8);
}
inline void writeLE32(unsigned char* p, uint32_t value)
{
    writeLE16(p, static_cast<uint16_t>(value));
    writeLE16(p + 2, static_cast<uint16_t>(value >> 16));
}
inline void writeLE64(unsigned char* p, uint64_t value)
{
    writeLE32(p, static_cast<uint32_t>(value));
    writeLE32(p + 4, static_cast<uint32_t>(value >> 32));
}

// The chunk head: fourcc and size.
constexpr unsigned chunkHeadSize = 8;
// Chunks and lists are padded to an even size.
inline uint64_t padToEven(uint64_t size) { return size + (size & 1); }

// avih; the fields behind the 8-byte head.
struct AviMainHeader {
    uint32_t dwMicroSecPerFrame = 0;
    uint32_t dwMaxBytesPerSec = 0;
    uint32_t dwPaddingGranularity = 0;
    uint32_t dwFlags = 0;
    uint32_t dwTotalFrames = 0;
    uint32_t dwInitialFrames = 0;
    uint32_t dwStreams = 0;
    uint32_t dwSuggestedBufferSize = 0;
    uint32_t dwWidth = 0;
    uint32_t dwHeight = 0;

    static constexpr unsigned minimumSize = 56;
    void read(const unsigned char* data)
    {
        uint32_t* fields[] = {&dwMicroSecPerFrame, &dwMaxBytesPerSec, &dwPaddingGranularity, &dwFlags,
                              &dwTotalFrames,      &dwInitialFrames,  &dwStreams,            &dwSuggestedBufferSize,
                              &dwWidth,            &dwHeight};
        for (unsigned i = 0; i < 10; ++i)
            *fields[i] = readLE32(data + 4 * i);
    }
};

// strh.
struct AviStreamHeader {
    uint32_t fccType = 0;
    uint32_t fccHandler = 0;
    uint32_t dwFlags = 0;
    uint16_t wPriority = 0;
    uint16_t wLanguage = 0;
    uint32_t dwInitialFrames = 0;
    uint32_t dwScale = 0;
    uint32_t dwRate = 0;
    uint32_t dwStart = 0;
    uint32_t dwLength = 0;
    uint32_t dwSuggestedBufferSize = 0;
    uint32_t dwQuality = 0;
    uint32_t dwSampleSize = 0;
    int16_t rcFrame[4] = {0, 0, 0, 0};

    static constexpr unsigned minimumSize = 56;
    void read(const unsigned char* data)
    {
        fccType = readLE32(data);
        fccHandler = readLE32(data + 4);
        dwFlags = readLE32(data + 8);
        wPriority = readLE16(data + 12);
        wLanguage = readLE16(data + 14);
        uint32_t* fields[] = {&dwInitialFrames,       &dwScale,   &dwRate,      &dwStart, &dwLength,
                              &dwSuggestedBufferSize, &dwQuality, &dwSampleSize};
        for (unsigned i = 0; i < 8; ++i)
            *fields[i] = readLE32(data + 16 + 4 * i);
        for (unsigned i = 0; i < 4; ++i)
            rcFrame[i] = static_cast<int16_t>(readLE16(data + 48 + 2 * i));
    }
};

// BITMAPINFOHEADER of a video strf.
struct BitmapInfoHeader {
    uint32_t biSize = 0;
    int32_t biWidth = 0;
    int32_t biHeight = 0;
    uint16_t biPlanes = 0;
    uint16_t biBitCount = 0;
    uint32_t biCompression = 0;
    uint32_t biSizeImage = 0;
    int32_t biXPelsPerMeter = 0;
    int32_t biYPelsPerMeter = 0;
    uint32_t biClrUsed = 0;
    uint32_t biClrImportant = 0;

    static constexpr unsigned size = 40;
    void read(const unsigned char* data)
    {
        biSize = readLE32(data);
        biWidth = static_cast<int32_t>(readLE32(data + 4));
        biHeight = static_cast<int32_t>(readLE32(data + 8));
        biPlanes = readLE16(data + 12);
        biBitCount = readLE16(data + 14);
        biCompression = readLE32(data + 16);
        biSizeImage = readLE32(data + 20);
        biXPelsPerMeter = static_cast<int32_t>(readLE32(data + 24));
        biYPelsPerMeter = static_cast<int32_t>(readLE32(data + 28));
        biClrUsed = readLE32(data + 32);
        biClrImportant = readLE32(data + 36);
    }
};

// WAVEFORMAT (14 bytes), and WAVEFORMATEX from 18 bytes on.
struct WaveFormat {
    uint16_t wFormatTag = 0;
    uint16_t nChannels = 0;
    uint32_t nSamplesPerSec = 0;
    uint32_t nAvgBytesPerSec = 0;
    uint16_t nBlockAlign = 0;
    uint16_t wBitsPerSample = 0;
    uint16_t cbSize = 0;

    static constexpr unsigned plainSize = 14;
    static constexpr unsigned extendedSize = 18;
    void readPlain(const unsigned char* data)
    {
        wFormatTag = readLE16(data);
        nChannels = readLE16(data + 2);
        nSamplesPerSec = readLE32(data + 4);
        nAvgBytesPerSec = readLE32(data + 8);
        nBlockAlign = readLE16(data + 12);
    }
    void readExtended(const unsigned char* data)
    {
        readPlain(data);
        wBitsPerSample = readLE16(data + 14);
        cbSize = readLE16(data + 16);
    }
};

enum WaveFormatTag : uint16_t {
    WaveFormatPcm = 0x0001,
    WaveFormatIeeeFloat = 0x0003,
    WaveFormatAac = 0x00FF,
    WaveFormatMpegHeAac = 0x1610,
    WaveFormatAacLatm = 0x706D,
    WaveFormatExtensible = 0xFFFE,
};

// One entry of an OpenDML super index: where a standard index lies, and how
// many samples of the stream it covers.
struct AviSuperIndexEntry {
    uint64_t qwOffset = 0;
    uint32_t dwSize = 0;
    uint32_t dwDuration = 0;
    static constexpr unsigned size = 16;
};

// The head shared by indx and ix## chunks, counted from the chunk's fourcc.
struct AviIndexHead {
    uint16_t wLongsPerEntry = 0;
    uint8_t bIndexSubType = 0;
    uint8_t bIndexType = 0;
    uint32_t nEntriesInUse = 0;
    uint32_t dwChunkId = 0;

    // Super index entries and standard index entries both start here.
    static constexpr unsigned entriesOffset = 32;
    static constexpr unsigned baseOffsetOffset = 20;
    void read(const unsigned char* chunk)
    {
        wLongsPerEntry = readLE16(chunk + 8);
        bIndexSubType = chunk[10];
        bIndexType = chunk[11];
        nEntriesInUse = readLE32(chunk + 12);
        dwChunkId = readLE32(chunk + 16);
    }
};

enum AviIndexType : uint8_t { AviIndexOfIndexes = 0, AviIndexOfChunks = 1 };
enum AviIndexSubType : uint8_t { AviIndexPlain = 0, AviIndexFields = 1, AviIndexIBP = 16 };

// Entry sizes in a standard index, by subtype.
constexpr unsigned stdIndexEntrySize = 8;
constexpr unsigned fieldIndexEntrySize = 12;
constexpr unsigned ibpIndexEntrySize = 24;

// An idx1 entry: ckid, dwFlags, dwChunkOffset, dwChunkLength.
constexpr unsigned idx1EntrySize = 16;
// AVIIF_KEYFRAME in the flags of an idx1 entry.
constexpr uint32_t idx1KeyFrame = 0x10;
// The top bit of a plain or field standard index entry's size: not a key frame.
constexpr uint32_t stdIndexNotKey = 0x80000000u;

} // namespace Corvidane::Avi
