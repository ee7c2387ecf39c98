#include "host/EsDescriptor.h"

namespace Mov {

namespace {

constexpr unsigned tagEsDescriptor = 3;
constexpr unsigned tagDecoderConfig = 4;
constexpr unsigned tagDecoderSpecificInfo = 5;

const unsigned sampleRates[13] = {96000, 88200, 64000, 48000, 44100, 32000, 24000,
                                  22050, 16000, 12000, 11025, 8000,  7350};

// A descriptor's tag and its size, whose bytes carry 7 bits each while the
// top bit says more follow (at most four of them).
bool descriptorAt(const unsigned char* data, size_t size, size_t& at, unsigned& tag, size_t& length)
{
    if (at >= size)
        return false;
    tag = data[at++];
    length = 0;
    for (int i = 0; i < 4; ++i) {
        if (at >= size)
            return false;
        const unsigned char byte = data[at++];
        length = length << 7 | (byte & 0x7Fu);
        if (!(byte & 0x80))
            return length <= size - at;
    }
    return false;
}

// Bits from the front of a byte run.
class BitReader {
public:
    BitReader(const unsigned char* data, size_t size) : m_data(data), m_size(size) {}
    bool read(unsigned count, unsigned& value)
    {
        value = 0;
        for (unsigned i = 0; i < count; ++i, ++m_bit) {
            if (m_bit / 8 >= m_size)
                return false;
            value = value << 1 | ((m_data[m_bit / 8] >> (7 - m_bit % 8)) & 1u);
        }
        return true;
    }

private:
    const unsigned char* m_data;
    size_t m_size;
    size_t m_bit = 0;
};

} // namespace

bool EsDescriptor::readFromEsds(const unsigned char* data, size_t size)
{
    *this = EsDescriptor();
    size_t at = 4;  // version and flags
    unsigned tag = 0;
    size_t length = 0;
    if (!data || size < at || !descriptorAt(data, size, at, tag, length) || tag != tagEsDescriptor || length < 3)
        return false;
    const size_t esEnd = at + length;
    const unsigned flags = data[at + 2];
    at += 3;
    if (flags & 0x80)
        at += 2;  // depends on another stream
    if (flags & 0x40) {
        if (at >= esEnd)
            return false;
        at += 1 + data[at];  // URL
    }
    if (flags & 0x20)
        at += 2;  // OCR stream
    while (at < esEnd && descriptorAt(data, esEnd, at, tag, length)) {
        const size_t end = at + length;
        if (tag == tagDecoderConfig && length >= 13) {
            m_objectType = data[at];
            size_t inner = at + 13;
            unsigned innerTag = 0;
            size_t innerLength = 0;
            while (inner < end && descriptorAt(data, end, inner, innerTag, innerLength)) {
                if (innerTag == tagDecoderSpecificInfo) {
                    m_configOffset = inner;
                    m_configSize = innerLength;
                    readAudioSpecificConfig(data + inner, innerLength);
                    break;
                }
                inner += innerLength;
            }
            return true;
        }
        at = end;
    }
    return false;
}

void EsDescriptor::readAudioSpecificConfig(const unsigned char* data, size_t size)
{
    BitReader bits(data, size);
    unsigned objectType = 0, rateIndex = 0, channelConfig = 0;
    if (!bits.read(5, objectType))
        return;
    if (objectType == 31 && !bits.read(6, objectType))
        return;
    if (!bits.read(4, rateIndex))
        return;
    unsigned rate = 0;
    if (rateIndex == 15) {
        if (!bits.read(24, rate))
            return;
    } else if (rateIndex < 13) {
        rate = sampleRates[rateIndex];
    }
    if (!bits.read(4, channelConfig))
        return;
    m_sampleRate = rate;
    // Configuration 7 is eight channels; 1 to 6 name their count.
    m_channels = channelConfig == 7 ? 8 : channelConfig <= 6 ? channelConfig : 0;
}

} // namespace Mov
