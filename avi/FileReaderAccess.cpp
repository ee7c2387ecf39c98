// Essence reads, index entries and the GOP queries of the open stream.
#include <algorithm>
#include <climits>
#include <cstring>

#include "avi/FileReader.h"

namespace Corvidane::Avi {

CvResult FileReader::getIndexEntry(unsigned sample, IndexEntry& entry)
{
    Stream* stream = openStream();
    if (!m_file.isOpen() || !stream)
        return fail(InvalidState, L"no file loaded.");
    if (isAudio(*stream)) {
        uint64_t remaining = 0, first = 0;
        const IndexEntry* chunk = getIndexEntryA(sample, remaining, first);
        if (!chunk) {
            setLastError(Fail, L"No index entry for sample %u.", sample);
            return Fail;
        }
        // One sound sample inside its chunk.
        entry = *chunk;
        entry.offset += (sample - first) * stream->blockAlign();
        entry.size = stream->blockAlign();
        entry.frameType = FrameIntra;
        entry.presentationIndex = entry.decodeIndex = sample;
        return OK;
    }
    const IndexEntry* found = getIndexEntryV(sample);
    if (!found) {
        setLastError(Fail, L"No index entry for sample %u.", sample);
        return Fail;
    }
    entry = *found;
    return OK;
}

CvResult FileReader::essenceRead(unsigned long start, unsigned count, unsigned char* buffer, unsigned capacity,
                                 unsigned& offset, unsigned& size)
{
    Stream* stream = openStream();
    if (!m_file.isOpen() || !stream || !stream->window.loaded())
        return fail(InvalidState, L"no file loaded.");
    if (isVideo(*stream)) {
        if (count != 1)
            return fail(InvalidArg, L"Only one video frame is read at a time.");
        std::vector<unsigned> offsets, sizes;
        CvResult result = ReadVideo(start, 1, buffer, capacity, offsets, sizes);
        if (result == BufferTooSmall)
            size = sizes.empty() ? 0 : sizes[0];
        if (!isSuccess(result))
            return result;
        offset = offsets[0];
        size = sizes[0];
        return result;
    }
    if (isAudio(*stream))
        return ReadAudio(start, count, buffer, capacity, offset, size);
    return fail(Unexpected, L"Failed to read data of this stream type.");
}

CvResult FileReader::essenceRead(unsigned long start, unsigned count, unsigned char* buffer, unsigned capacity,
                                 std::vector<unsigned>& offsets, std::vector<unsigned>& sizes)
{
    Stream* stream = openStream();
    if (!m_file.isOpen() || !stream || !stream->window.loaded())
        return fail(InvalidState, L"no file loaded.");
    if (!isVideo(*stream))
        return fail(NotImpl, L"Failed to read non video data. ");
    return ReadVideo(start, count, buffer, capacity, offsets, sizes);
}

CvResult FileReader::ReadVideo(unsigned long position, unsigned count, unsigned char* buffer, unsigned size,
                               std::vector<unsigned>& offsets, std::vector<unsigned>& sizes)
{
    offsets.clear();
    sizes.clear();
    Stream* stream = openStream();
    if (!m_file.isOpen() || !stream)
        return fail(InvalidState, L"no file loaded.");
    unsigned length = get_Length(static_cast<int>(m_openStream));
    if (position >= length) {
        setLastError(HandleEOF, L"FileReader::ReadVideo: Frame[%lu] is past the end. ", position);
        return HandleEOF;
    }
    // Gather the frames; the read spans from the first to the end of the last.
    std::vector<IndexEntry> frames;
    for (unsigned i = 0; i < count && position + i < length; ++i) {
        const IndexEntry* entry = getIndexEntryV(position + i);
        if (!entry)
            break;
        frames.push_back(*entry);
    }
    if (frames.empty()) {
        setLastError(Fail, L"FileReader::ReadVideo: Frame[%lu] is not in the index. ", position);
        return Fail;
    }
    uint64_t first = UINT64_MAX, end = 0;
    for (const IndexEntry& frame : frames) {
        // Copies: the packed record's fields can't be bound to references.
        uint64_t offset = frame.offset, frameEnd = frame.offset + frame.size;
        first = std::min(first, offset);
        end = std::max(end, frameEnd);
    }
    uint64_t span = end - first;
    uint64_t alignment = first % m_file.getSectorSize();
    uint64_t needed = m_file.roundUpToSectorBoundary(span + alignment);
    if (needed > size) {
        sizes.push_back(needed > UINT_MAX ? UINT_MAX : static_cast<unsigned>(needed));
        return fail(BufferTooSmall, L"Buffer too small");
    }
    if (!isSuccess(m_file.seek(first, 0))) {
        setLastError(Fail, L"FileReader::ReadVideo: Frame[%u] Failed to seek to %llu. ",
                     static_cast<unsigned>(position), static_cast<unsigned long long>(first));
        return Fail;
    }
    unsigned read = 0, offset = 0;
    CvResult result = m_file.read(buffer, size, static_cast<unsigned>(span), read, offset);
    if (!isSuccess(result) || read < offset + span) {
        setLastError(Fail, L"FileReader::ReadVideo: Frame[%u] Failed to read from disk. ",
                     static_cast<unsigned>(position));
        return Fail;
    }
    for (const IndexEntry& frame : frames) {
        offsets.push_back(static_cast<unsigned>(offset + (frame.offset - first)));
        sizes.push_back(static_cast<unsigned>(frame.size));
    }
    return OK;
}

CvResult FileReader::ReadAudio(unsigned long sample, unsigned count, unsigned char* buffer, unsigned size,
                               unsigned& offset, unsigned& used)
{
    Stream& stream = *openStream();
    uint64_t bytesPerSample = stream.blockAlign();
    uint64_t wanted = count * bytesPerSample;
    if (wanted > size) {
        used = wanted > UINT_MAX ? UINT_MAX : static_cast<unsigned>(wanted);
        return fail(BufferTooSmall, L"Buffer too small");
    }
    uint64_t copied = 0;
    uint64_t next = sample;
    uint64_t end = uint64_t(sample) + count;
    while (next < end) {
        bool cached = m_audioBufferStream == static_cast<int>(m_openStream) && next >= m_audioBufferFirst &&
                      next - m_audioBufferFirst < m_audioBufferSamples;
        if (!cached) {
            CvResult result = CacheAudioData(next);
            if (!isSuccess(result))
                return result;
        }
        uint64_t take = std::min(end - next, m_audioBufferFirst + m_audioBufferSamples - next);
        std::memcpy(buffer + copied, m_audioBuffer.data() + m_audioBufferStart + (next - m_audioBufferFirst) * bytesPerSample,
                    take * bytesPerSample);
        copied += take * bytesPerSample;
        next += take;
    }
    offset = 0;
    used = static_cast<unsigned>(copied);
    return OK;
}

CvResult FileReader::CacheAudioData(uint64_t sample)
{
    Stream& stream = *openStream();
    uint64_t remaining = 0, first = 0;
    const IndexEntry* chunk = getIndexEntryA(sample, remaining, first);
    if (!chunk) {
        if (sample < get_Length(static_cast<int>(m_openStream))) {
            setLastError(Fail, L"Failed to find audio sample %llu.", static_cast<unsigned long long>(sample));
            return Fail;
        }
        setLastError(HandleEOF, L"Audio sample %llu is past the end.", static_cast<unsigned long long>(sample));
        return HandleEOF;
    }
    m_audioBufferStream = -1;
    unsigned start = 0;
    if (!isSuccess(readAt(chunk->offset, chunk->size, m_audioBuffer, start))) {
        setLastError(Fail, L"Failed to read audio data at %llu.", static_cast<unsigned long long>(chunk->offset));
        return Fail;
    }
    m_audioBufferStart = start;
    m_audioBufferFirst = first;
    m_audioBufferSamples = chunk->size / stream.blockAlign();
    m_audioBufferStream = static_cast<int>(m_openStream);
    return OK;
}

CvResult FileReader::getPresentationOrder(unsigned first, unsigned count, std::vector<unsigned>& out)
{
    Stream* stream = openStream();
    if (!stream || !stream->window.loaded())
        return fail(IndexAbsent, L"No index table.");
    out.resize(count);
    bool reordered = getGopLength(static_cast<int>(m_openStream)) > 1;
    for (unsigned i = 0; i < count; ++i) {
        if (!reordered) {
            out[i] = first + i;
            continue;
        }
        const IndexEntry* entry = getIndexEntryV(uint64_t(first) + i);
        if (!entry) {
            setLastError(Fail, L"No index entry for sample %u.", first + i);
            return Fail;
        }
        out[i] = entry->presentationIndex;
    }
    return OK;
}

CvResult FileReader::collectGop(unsigned frame, unsigned count, std::vector<IndexEntry>& gop)
{
    gop.clear();
    Stream* stream = openStream();
    if (!stream)
        return fail(IndexAbsent, L"No index table.");
    unsigned length = get_Length(static_cast<int>(m_openStream));
    for (uint64_t at = frame; at < length && (count == 0 || gop.size() < count); ++at) {
        const IndexEntry* entry = getIndexEntryV(at);
        if (!entry)
            return fail(NotFound, L"get_GopAndPresentationOrder failed to retrieve index entry.");
        bool intra = (entry->frameType & FrameIntra) != 0;
        if (gop.empty() && !intra)
            return fail(Fail, L"get_GopAndPresentationOrder failed, supplied index is not a keyframe.");
        if (!gop.empty() && intra)
            break;
        gop.push_back(*entry);
    }
    if (gop.empty())
        return fail(NotFound, L"get_GopAndPresentationOrder failed to retrieve index entry.");
    return OK;
}

CvResult FileReader::getGopAndPresentationOrder(unsigned frame, unsigned count, std::vector<unsigned>& decode,
                                                std::vector<unsigned>& presentation,
                                                std::vector<unsigned short>& order)
{
    std::vector<IndexEntry> gop;
    CvResult result = collectGop(frame, count, gop);
    if (!isSuccess(result))
        return result;
    decode.clear();
    presentation.clear();
    order.clear();
    for (const IndexEntry& entry : gop) {
        decode.push_back(+entry.decodeIndex);
        presentation.push_back(+entry.presentationIndex);
        order.push_back(static_cast<unsigned short>(entry.presentationIndex - frame));
    }
    return OK;
}

CvResult FileReader::getGopAndPresentationOrder(unsigned frame, GOPInfo& info, std::vector<unsigned short>& order,
                                                bool)
{
    std::vector<IndexEntry> gop;
    CvResult result = collectGop(frame, 0, gop);
    if (!isSuccess(result))
        return result;
    if (info.count < gop.size() || !info.decodeOrder || !info.presentationOrder)
        return fail(InsufficientBuffer, L"GetGopAndPresentationOrder failed, insufficient space.");
    order.clear();
    for (size_t i = 0; i < gop.size(); ++i) {
        info.decodeOrder[i] = gop[i].decodeIndex;
        info.presentationOrder[i] = gop[i].presentationIndex;
        order.push_back(static_cast<unsigned short>(gop[i].presentationIndex - frame));
    }
    info.count = gop.size();
    return OK;
}

bool FileReader::findKeyframe(unsigned frame, bool forward, unsigned& keyframe)
{
    Stream* stream = openStream();
    if (!stream || !isVideo(*stream))
        return false;
    unsigned length = get_Length(static_cast<int>(m_openStream));
    for (int64_t at = frame; at >= 0 && at < length; at += forward ? 1 : -1) {
        const IndexEntry* entry = getIndexEntryV(static_cast<uint64_t>(at));
        if (!entry)
            return false;
        if (isKeyFrame(*entry)) {
            keyframe = static_cast<unsigned>(at);
            return true;
        }
    }
    return false;
}

} // namespace Corvidane::Avi
