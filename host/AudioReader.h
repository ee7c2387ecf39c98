#pragma once
#include <vector>

#include "host/ByteBufferImpl.h"
#include "host/FormatMetadata.h"
#include "host/Ptr.h"
#include "host/ReadRequests.h"

namespace Hc {

// The host's audio reader: it owns the audio streams' descriptions, and asks
// its plug-in side for bytes either as runs of samples or frame by frame.
// Without the host there are no codecs: samples reach the caller as stored.
class AudioReader {
public:
    virtual ~AudioReader() = default;

    // Reads a request into `buffer`: the host's code (1 done, 11 end of data).
    virtual int readAudio(Ptr<ByteBufferImpl>& buffer, Ptr<AudioReadRequest>& request);
    virtual int essenceRead(unsigned audioStream, unsigned long start, unsigned count, Ptr<ByteBufferImpl>& buffer,
                            unsigned& samples) = 0;
    virtual bool isVideoFrameWrapped() const = 0;
    // Sets up a decoder for a compressed stream: 5 when the host has none.
    virtual int initAudioCodec(unsigned audioStream, const std::vector<unsigned char>& configuration);
    virtual int readAudioByVideoSamples(Ptr<ByteBufferImpl>& buffer, Ptr<AudioReadRequest>& request) = 0;

    const std::vector<Aud::Metadata>& audioMetadata() const { return m_audio; }
    unsigned sectorSize() const { return m_sectorSize; }

protected:
    std::vector<Aud::Metadata> m_audio;
    unsigned m_sectorSize = 512;
};

// The host's codes that the read paths pass on.
enum HostCode { HostOK = 1, HostBufferTooSmall = 8, HostEndOfData = 11, HostNoCodec = 5 };

} // namespace Hc
