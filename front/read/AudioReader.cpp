#include "front/read/AudioReader.h"

#include <algorithm>
#include <cstring>

#include "host/Log.h"

namespace CvWrappers {

namespace {

constexpr int hostBadLength = 23;

void logReaderError(Corvidane::MediaFileReader& reader) { LogBoth("CV API error %ls\n", reader.getLastError()); }

} // namespace

int AudioReader::essenceOpen(unsigned stream)
{
    Corvidane::MediaFileReader* container = reader();
    if (!container)
        return 0;
    if (m_openStream >= 0 && unsigned(m_openStream) == stream)
        return Hc::HostOK;
    const int code = HcErrFromCvResult(container->essenceOpen(stream));
    if (code == Hc::HostOK)
        m_openStream = int(stream);
    return code;
}

bool AudioReader::isVideoFrameWrapped() const
{
    Corvidane::MediaFileReader* container = reader();
    return m_videoRate != 0.0 && container && !container->isClipWrapped();
}

int AudioReader::essenceRead(unsigned audioStream, unsigned long start, unsigned count, Ptr<ByteBufferImpl>& buffer,
                             unsigned& samples)
{
    samples = 0;
    const int opened = essenceOpen(audioStream + m_firstAudioStream);
    if (opened != Hc::HostOK)
        return opened;
    if (audioStream >= m_audio.size())
        return 0;
    const Aud::Metadata& metadata = m_audio[audioStream];
    // One sample of a file not stored per video frame is one coded packet.
    const bool packetMode = count == 1 && !isVideoFrameWrapped();
    if (!buffer) {
        const size_t size = packetMode ? size_t(m_sectorSize) + 2 * size_t(metadata.maximumPacketSize)
                                       : size_t(m_sectorSize) + size_t(metadata.bytesPerGroup()) * count;
        buffer = Ptr<ByteBufferImpl>(new ByteBufferImpl(size));
    }
    Corvidane::MediaFileReader& container = *reader();
    unsigned offset = 0, size = 0;
    size_t room = 0;
    auto read = [&] {
        room = std::min<size_t>(buffer->freeSpace(), UINT32_MAX);
        return HcErrFromCvResult(container.essenceRead(start, count, buffer->end(), unsigned(room), offset, size));
    };
    int code = read();
    if (code == Hc::HostBufferTooSmall) {
        // The reader said what it needs: one more try in a buffer that holds it.
        buffer->clear();
        buffer->reserve(std::max<size_t>(size_t(size) + 1023, buffer->capacity()));
        code = read();
    }
    if (code != Hc::HostOK && code != Hc::HostEndOfData)
        logReaderError(container);
    // A reader that claims more than the room it was given has given nothing.
    if (uint64_t(offset) + size > room)
        offset = size = 0;
    if (offset != 0) {
        if (buffer->used() > 0)
            std::memmove(buffer->end(), buffer->end() + offset, size);
        else
            buffer->setReadOffset(offset);
    }
    if (code == hostBadLength && size > 0)
        code = Hc::HostEndOfData;
    buffer->setUsed(buffer->used() + (buffer->used() == 0 ? offset : 0) + size);
    const unsigned group = metadata.bytesPerGroup();
    samples = packetMode || group == 0 ? 0 : size / group;
    return code;
}

int AudioReader::readAudioByVideoSamples(Ptr<ByteBufferImpl>& buffer, Ptr<AudioReadRequest>& request)
{
    if (!request || request->stream >= m_audio.size() || !reader())
        return 0;
    const unsigned stream = m_firstAudioStream + request->stream;
    const int opened = essenceOpen(stream);
    if (opened != Hc::HostOK)
        return opened;
    const Aud::Metadata& metadata = m_audio[request->stream];
    if (m_videoRate <= 0 || metadata.channels == 0 || metadata.stride == 0)
        return 0;
    const unsigned samplesPerFrame = unsigned(metadata.sampleRate / m_videoRate + 0.5);
    if (samplesPerFrame == 0)
        return 0;
    const uint64_t groupItems = uint64_t(samplesPerFrame) * metadata.channels;
    uint64_t frame = request->start / samplesPerFrame;
    uint64_t skip = request->start % samplesPerFrame;
    const unsigned bytesPerItem = metadata.stride;
    Corvidane::MediaFileReader& container = *reader();
    uint64_t size = (groupItems * (request->count / samplesPerFrame + 2) + skip) * bytesPerItem +
                    container.get_BufferSize(int(m_firstAudioStream));
    const unsigned sector = std::max(m_sectorSize, 1u);
    size += sector - size % sector;
    buffer = Ptr<ByteBufferImpl>(new ByteBufferImpl(size_t(size)));
    if (request->count == 0)
        return Hc::HostOK;
    const uint64_t itemsPerGroup = metadata.channels;
    uint64_t delivered = 0;
    int code = Hc::HostOK;
    while (true) {
        unsigned offset = 0, got = 0;
        const size_t room = std::min<size_t>(buffer->freeSpace(), UINT32_MAX);
        code = HcErrFromCvResult(container.essenceRead(static_cast<unsigned long>(frame + metadata.streamStartOffset),
                                                       1, buffer->end(), unsigned(room), offset, got));
        if (code != Hc::HostOK && code != Hc::HostEndOfData)
            return code;
        if (uint64_t(offset) + got > room)
            return 0;
        const uint64_t items = got / bytesPerItem;
        const uint64_t groups = items / itemsPerGroup;
        const uint64_t skipped = std::min<uint64_t>(uint64_t(bytesPerItem) * itemsPerGroup * skip, got);
        if (skip || offset)
            std::memmove(buffer->end(), buffer->end() + skipped + offset, got - skipped);
        if (items >= itemsPerGroup)
            buffer->setUsed(buffer->used() + size_t(got - skipped));
        if (got < bytesPerItem && code == Hc::HostOK)
            return Hc::HostEndOfData;
        ++frame;
        delivered += groups > skip ? groups - skip : 0;
        skip = 0;
        if (delivered >= request->count || code != Hc::HostOK)
            return code;
    }
}

} // namespace CvWrappers
