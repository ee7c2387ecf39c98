#pragma once
#include <cstdint>
#include <string>

#include "host/FormatMetadata.h"

// How the host lays out a picture of a coding, and how it names a sound
// coding: the two tables of the metadata mapping.
namespace CvWrappers {

// What the picture table gives: bits per component and per pixel, and where a
// row says so, the format the host takes the picture as, the bytes per line
// and the transparency (2 alpha, 3 none).
struct VideoLayout {
    unsigned bits = 0;
    unsigned bitsPerPixel = 0;
    bool setsFormat = false;
    uint32_t format = 0;
    bool setsStride = false;
    unsigned stride = 0;
    unsigned transparency = 0;
};

// What the table looks at: the coding, the compressor's name, the container's
// depth, the width, the container type (2 QuickTime) and the 24 bytes of
// extra data some codings carry (null when there are none).
struct VideoFormatFacts {
    uint32_t format = 0;
    std::wstring compressorName;
    unsigned depth = 0;
    unsigned width = 0;
    int fileType = 0;
    const unsigned char* extraData = nullptr;
};

VideoLayout videoLayoutOf(const VideoFormatFacts& facts);

// The host's data types of sound codings that the read front end names.
constexpr unsigned audioDataTypePcm = 201;
constexpr unsigned audioDataTypeFloat = 2;
constexpr unsigned audioDataTypeAac = 140;
constexpr unsigned audioDataTypeMpeg = 131;

// Sets the data type, byte order and representation of a stream by its
// coding's code (a four character code, or a WAVE format tag).
void applyAudioDataType(uint32_t format, Aud::Metadata& audio);
// Samples the host takes as they are stored.
bool isPcmDataType(const Aud::Metadata& audio);

} // namespace CvWrappers
