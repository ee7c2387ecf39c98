#pragma once
#include <cstddef>
#include <cstdint>
#include <vector>

#include "mxf/model/Labels.h"

// D-10's sound element: a 4-byte head (the five-frame sequence number, the
// samples per channel, the channels in use), then for every sample eight AES3
// subframes of 4 bytes, little-endian, whatever the channels in use. A
// subframe holds its channel's number in bits 0 to 3 and the 24-bit sample in
// bits 4 to 27; the V, U, C and P bits above are left 0.
namespace Corvidane::MXF {

extern const MXFUL d10SoundElementKey;

constexpr unsigned d10SoundHeadSize = 4;
constexpr unsigned d10SoundChannels = 8;
constexpr unsigned d10SubframeSize = 4;

// The element's value size for `samples` samples per channel.
constexpr uint64_t d10SoundElementSize(uint64_t samples)
{
    return d10SoundHeadSize + samples * d10SoundChannels * d10SubframeSize;
}

// Appends the value of the element carrying interleaved little-endian PCM of
// `channels` channels (1 to 8) of 16 or 24 bits; only whole samples of `pcm`
// are taken. `sequence` is the frame's place in the five-frame sound cadence
// of 525-line video, 1 to 5, or 0 at other rates. False for a layout that
// D-10 can't carry.
bool appendD10SoundElement(std::vector<unsigned char>& out, const unsigned char* pcm, size_t bytes,
                           unsigned channels, unsigned bitsPerSample, unsigned sequence);

} // namespace Corvidane::MXF
