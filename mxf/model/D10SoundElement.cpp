#include "mxf/model/D10SoundElement.h"

namespace Corvidane::MXF {

const MXFUL d10SoundElementKey = labelFromText("06.0E.2B.34.01.02.01.01.0D.01.03.01.06.01.10.00");

bool appendD10SoundElement(std::vector<unsigned char>& out, const unsigned char* pcm, size_t bytes,
                           unsigned channels, unsigned bitsPerSample, unsigned sequence)
{
    if (channels == 0 || channels > d10SoundChannels || (bitsPerSample != 16 && bitsPerSample != 24) ||
        sequence > 5)
        return false;
    const unsigned sampleBytes = bitsPerSample / 8;
    const size_t samples = bytes / (size_t(channels) * sampleBytes);
    if (samples > 0xFFFF)
        return false;
    const size_t start = out.size();
    out.resize(start + size_t(d10SoundElementSize(samples)));
    unsigned char* at = out.data() + start;
    *at++ = static_cast<unsigned char>(sequence);
    *at++ = static_cast<unsigned char>(samples & 0xFF);
    *at++ = static_cast<unsigned char>(samples >> 8);
    *at++ = static_cast<unsigned char>((1u << channels) - 1);
    for (size_t s = 0; s < samples; ++s)
        for (unsigned channel = 0; channel < d10SoundChannels; ++channel) {
            uint32_t value = 0;
            if (channel < channels) {
                const unsigned char* in = pcm + (s * channels + channel) * sampleBytes;
                // The sample's top bit lands on bit 27 whatever its depth.
                value = sampleBytes == 2 ? uint32_t(in[0]) << 8 | uint32_t(in[1]) << 16
                                         : uint32_t(in[0]) | uint32_t(in[1]) << 8 | uint32_t(in[2]) << 16;
            }
            const uint32_t subframe = value << 4 | channel;
            *at++ = static_cast<unsigned char>(subframe);
            *at++ = static_cast<unsigned char>(subframe >> 8);
            *at++ = static_cast<unsigned char>(subframe >> 16);
            *at++ = static_cast<unsigned char>(subframe >> 24);
        }
    return true;
}

} // namespace Corvidane::MXF
