#include "host/AudioReader.h"

namespace Hc {

int AudioReader::readAudio(Ptr<ByteBufferImpl>& buffer, Ptr<AudioReadRequest>& request)
{
    if (!request || request->stream >= m_audio.size())
        return 0;
    if (isVideoFrameWrapped())
        return readAudioByVideoSamples(buffer, request);
    // Requests count from the stream's first sample to show, as its length does.
    const uint64_t start = request->start + m_audio[request->stream].streamStartOffset;
    unsigned samples = 0;
    return essenceRead(request->stream, static_cast<unsigned long>(start), request->count, buffer, samples);
}

int AudioReader::initAudioCodec(unsigned, const std::vector<unsigned char>&) { return HostNoCodec; }

} // namespace Hc
