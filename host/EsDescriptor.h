#pragma once
#include <cstddef>
#include <cstdint>

namespace Mov {

// The elementary stream descriptor of an 'esds' atom (its payload, version
// and flags first): the decoder configuration's object type, and for MPEG-4
// audio the channels and rate its audio specific configuration gives.
class EsDescriptor {
public:
    // False when the bytes hold no elementary stream descriptor.
    bool readFromEsds(const unsigned char* data, size_t size);

    unsigned objectProfileIndication() const { return m_objectType; }
    // From the audio specific configuration; 0 when it gives none.
    unsigned channels() const { return m_channels; }
    unsigned sampleRate() const { return m_sampleRate; }
    // Where the audio specific configuration starts in the bytes read, and
    // its size; 0 when there is none.
    size_t audioSpecificConfigOffset() const { return m_configOffset; }
    size_t audioSpecificConfigSize() const { return m_configSize; }

private:
    void readAudioSpecificConfig(const unsigned char* data, size_t size);

    unsigned m_objectType = 0;
    unsigned m_channels = 0;
    unsigned m_sampleRate = 0;
    size_t m_configOffset = 0;
    size_t m_configSize = 0;
};

} // namespace Mov
