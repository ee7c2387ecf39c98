#pragma once
#include <cstdint>
#include <mutex>
#include <set>

#include "host/Config.h"

// The host's description of a file's video, as far as the reader resource
// looks at it to answer what it can play.
struct PlayFileMetadataRep {
    // Four character code of the coding, first letter in the low byte; 0 for
    // uncompressed pictures.
    uint32_t format = 0;
    unsigned bitsPerPixel = 0;
    configb config;
};

namespace Aud {

// The host's description of one audio stream.
struct Metadata {
    bool pcm = false;
    // The host's number for a PCM sample layout.
    unsigned sampleType = 0;
    bool decodable = false;
    bool isPCM() const { return pcm; }
};

} // namespace Aud

namespace Hc {

// The host's catalogue of picture decoders. Without the host it knows the
// codings the editor decodes itself; tests may add more.
class DecoderInfo {
public:
    static DecoderInfo& instance();
    bool canDecode(uint32_t format) const;
    void addDecoder(uint32_t format);

private:
    DecoderInfo();
    mutable std::mutex m_mutex;
    std::set<uint32_t> m_formats;
};

// Codings of the two families the editor handles without asking a decoder.
bool isJpegFormat(uint32_t format);
bool isH264Format(uint32_t format);

} // namespace Hc
