#pragma once
#include <cstdint>

// The host's knowledge of picture and sound codings, as far as the read front
// end asks for it. Codes are four character codes, first letter in the low byte.
namespace Hc {

// QuickTime's names of uncompressed YUV layouts, as the host names them.
uint32_t mapQuicktimeUncompressedFCC(uint32_t format);
// The coding the host plays a format as: "avc1" for every AVC name but the
// AVC-Intra ones, otherwise the format itself.
uint32_t lookupPlayoutFCC(uint32_t format);
bool isAvcIntraFormat(uint32_t format);
// MPEG-1 and MPEG-2 video, CineForm, ProRes RAW and DNx: formats whose first
// frame the host looks at to learn what the container doesn't say.
bool isMpegFormat(uint32_t format);
bool needsFirstFrameProbe(uint32_t format);
bool hasAlphaChannel(uint32_t format);
bool is444Format(uint32_t format);
bool isTenBitCompressedFormat(uint32_t format);

// Bits per component and per pixel of a coding by its family: 8/16 unless the
// family says 10/20 (10-bit 4:2:2), 8/24 (4:4:4) or 8/32 (with alpha).
struct FormatBits {
    unsigned bits;
    unsigned bitsPerPixel;
};
bool formatGroupBits(uint32_t format, FormatBits& bits);

// Bytes per line of a Matrox uncompressed picture.
unsigned getMatroxStride(uint32_t format, unsigned width, unsigned bits);

// The host's number for a PCM layout: bytes a sample, representation
// (1 integer, 2 floating point) and byte order together.
unsigned calculateSampleTypeNumber(unsigned bitsPerSample, unsigned representation, bool bigEndian);

} // namespace Hc
