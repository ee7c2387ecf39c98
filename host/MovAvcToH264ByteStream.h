#pragma once
#include <cstddef>
#include <vector>

#include "host/ByteBufferImpl.h"
#include "host/Ptr.h"

// Turns AVC samples as MP4 stores them (NAL units behind big-endian lengths,
// parameter sets in the avcC record) into an Annex B byte stream: a start code
// before each unit, and the parameter sets in front of each sample that holds
// an instantaneous decoder refresh, so that a decode can start at any of them.
class MovAvcToH264ByteStream {
public:
    // Takes an avcC record's payload; false, and no configuration, when it is
    // not one.
    bool initAvcc(const unsigned char* data, size_t size);
    // Bytes of the parameter sets in byte-stream form; 0 without a configuration.
    size_t getConfigSize() const { return m_parameterSets.size(); }
    // The sample's content in byte-stream form, in a new buffer; the buffer
    // itself when there is no configuration or its units don't parse.
    Ptr<ByteBufferImpl> transform(unsigned sample, const Ptr<ByteBufferImpl>& buffer) const;

private:
    std::vector<unsigned char> m_parameterSets;
    unsigned m_lengthSize = 4;
};
