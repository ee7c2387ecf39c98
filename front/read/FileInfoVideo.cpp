// The video read path: frames by number, a long-GOP stream's blocks through
// the index cache, one fresh buffer per sample; and the measure of a file
// that is still growing.
#include <algorithm>

#include "front/read/FileInfo.h"
#include "host/FrameRates.h"
#include "host/Log.h"

namespace CvWrappers {

namespace {

constexpr size_t loggedErrorLength = 80;

} // namespace

Ptr<IndexInfoRep> FileInfo::readBlock(unsigned start, unsigned count)
{
    Ptr<IndexInfoRep> block(new IndexInfoRep);
    if (!isSuccess(m_reader->getGopAndPresentationOrder(start, count, block->decodeOrder, block->presentationOrder,
                                                        block->frameOrder)))
        return nullptr;
    block->initFrameIndexes();
    return block;
}

void FileInfo::hcFileIxCache_open(Ptr<IndexInfoRep>& out, unsigned frame)
{
    if (m_metadata.gopLength < 2 || m_metadata.fixedGop || !m_reader)
        return;
    CriticalSection::Lock lock(m_criticalSection);
    for (const Ptr<IndexInfoRep>& block : m_indexCache)
        if (block->containsValidFrame(frame)) {
            out = block;
            return;
        }
    if (essenceOpen(unsigned(m_videoStream)) != 1)
        return;
    Corvidane::MediaFileReader& reader = *m_reader;
    const unsigned length = unsigned(std::max<int64_t>(m_metadata.length + m_videoOrigin, 0));
    unsigned start = 0, next = 0;
    reader.getNearestKeyFrame(frame, Corvidane::KeyframeBefore, start);
    if (!isSuccess(reader.getNearestKeyFrame(frame + 1, Corvidane::KeyframeAfter, next)))
        next = length;
    unsigned count = next > start ? next - start : 0;
    if (next == start) {
        count = length > start ? length - start : 0;
        if (count == 0)
            return;
    }
    // An open GOP's last frames wait for the next GOP's anchor; the stream's
    // end bounds the block, whatever the reader would give past it.
    if (reader.getIsOpenGop(m_videoStream)) {
        m_metadata.fixedGop = false;
        count += m_metadata.gopAnchorDistance;
    }
    const unsigned samples = reader.get_Length(m_videoStream);
    count = std::min(count, samples > start ? samples - start : 0u);
    if (count == 0)
        return;
    Ptr<IndexInfoRep> block = readBlock(start, count);
    if (!block)
        return;
    // A frame shown before its GOP's key frame needs the GOP before it.
    const unsigned leading = block->getNumValidFrames() && block->getFirstValidFrame() > start
                                 ? block->getFirstValidFrame() - start
                                 : 0;
    if (start > m_videoOrigin) {
        unsigned previous = 0, previousNext = 0;
        if (!isSuccess(reader.getNearestKeyFrame(start - 1, Corvidane::KeyframeBefore, previous)) ||
            !isSuccess(reader.getNearestKeyFrame(previous + 1, Corvidane::KeyframeAfter, previousNext)))
            return;
        if (leading && frame >= start && frame - start < leading) {
            Ptr<IndexInfoRep> before = readBlock(previous, start - previous + m_metadata.gopAnchorDistance);
            if (before)
                block = before;
        }
    }
    block->leadingFrames = leading;
    if (block->getNumValidFrames() == 0)
        return;
    m_indexCache.push_back(block);
    // Past the end of a stream whose length is nominal (a live fragmented
    // movie) the last GOP is no answer: the frame's own read says the end.
    if (block->containsValidFrame(frame) || !reader.isFragmented())
        out = block;
}

int FileInfo::readVideo(std::vector<Ptr<iMemHolder>>& buffers, unsigned frame, Ptr<IndexInfoRep>& index,
                        unsigned& extra)
{
    unsigned count = m_metadata.gopLength;
    if (count == 0 || !m_reader)
        return 0;
    if (!index) {
        if (m_metadata.fixedGop)
            frame -= frame % count;
    } else {
        count = index->getNumGopFrames();
        frame = index->getStartGopFrameIndex();
        if (count == 0)
            return 0;
    }
    Corvidane::MediaFileReader& reader = *m_reader;
    // A GOP read without its block stops at the stream's end.
    const unsigned samples = reader.get_Length(m_videoStream);
    count = std::min(count, samples > frame ? samples - frame : 0u);
    int code = 1;
    for (unsigned i = 0; i < count; ++i) {
        const unsigned sample = frame + i;
        Corvidane::IndexEntry entry{};
        // A constant-size MXF index answers False: a place worked out, not
        // listed, and as good for reading.
        const CvResult found = reader.getIndexEntry(sample, entry);
        code = isSuccess(found) ? 1 : HcErrFromCvResult(found);
        if (code != 1)
            return code;
        size_t capacity = size_t(entry.size) + 2 * size_t(m_sectorSize) + 3 * getConfigSize();
        Ptr<ByteBufferImpl> buffer(new ByteBufferImpl(capacity));
        unsigned offset = 0, size = 0;
        code = HcErrFromCvResult(reader.essenceRead(sample, 1, buffer->data(),
                                                    unsigned(std::min<size_t>(buffer->capacity(), UINT32_MAX)), offset, size));
        // An MXF element's place in the index covers its key and fill too:
        // the reader says what it needs, and gets it once.
        if (code == Hc::HostBufferTooSmall && size > entry.size) {
            capacity = size_t(size) + 2 * size_t(m_sectorSize) + 3 * getConfigSize();
            buffer = Ptr<ByteBufferImpl>(new ByteBufferImpl(capacity));
            code = HcErrFromCvResult(reader.essenceRead(sample, 1, buffer->data(),
                                                        unsigned(std::min<size_t>(buffer->capacity(), UINT32_MAX)), offset, size));
        }
        if (code != 1 || uint64_t(offset) + size > buffer->capacity()) {
            std::wstring text = reader.getLastError();
            if (text.size() > loggedErrorLength)
                text.resize(loggedErrorLength);
            LogBoth("CV API error %ls\n", text.c_str());
            code = code == 1 ? 0 : code;
            continue;
        }
        buffer->setReadOffset(offset);
        buffer->setUsed(size_t(offset) + size);
        if (getConfigSize() != 0)
            buffer = transform(sample, buffer);
        buffers.push_back(Ptr<iMemHolder>(buffer.get()));
    }
    return code;
}

int FileInfo::readVideo(Ptr<FrameBufferRep>& out, Ptr<VideoReadRequest>& request)
{
    if (!request || !m_reader || m_videoStream < 0)
        return VideoReadFailed;
    CriticalSection::Lock lock(m_criticalSection);
    if (essenceOpen(unsigned(m_videoStream)) != 1)
        return VideoReadFailed;
    std::vector<Ptr<iMemHolder>> buffers;
    unsigned extra = 0;
    Ptr<IndexInfoRep> index = request->index;
    if (readVideo(buffers, request->frame, index, extra) != 1 || buffers.empty())
        return VideoReadFailed;
    Ptr<FrameBufferRep> frame(new FrameBufferRep);
    frame->frame = request->frame;
    frame->index = index;
    const PlayFileMetadataRep& metadata = request->metadata;
    frame->format = metadata.format;
    frame->width = metadata.width;
    frame->height = metadata.height;
    frame->stride = metadata.stride;
    frame->scanMode = metadata.scanMode;
    frame->frameRate = metadata.frameRate;
    if (metadata.format == 0 || metadata.format == 0xFFFFFFFFu) {
        // An uncompressed picture is the request's result itself.
        request->setUncompressedResult(Ptr<ByteBufferImpl>(dynamic_cast<ByteBufferImpl*>(buffers.front().get())));
        frame->buffers.push_back(buffers.front());
    } else {
        frame->buffers = std::move(buffers);
    }
    out = frame;
    return VideoReadDone;
}

void FileInfo::recalculateSize(unsigned length, unsigned& newLength)
{
    CriticalSection::Lock lock(m_criticalSection);
    newLength = length;
    if (!m_reader)
        return;
    Corvidane::MediaFileReader& reader = *m_reader;
    reader.recalculateSize();
    const int streams = reader.get_StreamCount();
    for (int i = 0; i < streams && m_videoStream >= 0; ++i)
        length = std::min(length, reader.get_Length(m_videoStream));
    // The last two seconds stay unread: the writer may not have finished them.
    const int64_t margin = 2 * int64_t(Hc::ticksPerSecond(m_metadata.frameRate));
    int64_t usable = int64_t(length) - margin;
    usable = usable > 0 ? usable : 0;
    usable = usable > m_videoOrigin ? usable - m_videoOrigin : 0;
    m_metadata.length = usable;
    newLength = unsigned(usable);
    if (m_audio.empty())
        return;
    Aud::Metadata& audio = m_audio[0];
    const bool fromVideo = reader.get_FileType() == 6 || (!reader.isClipWrapped() && m_videoStream >= 0);
    if (fromVideo && m_videoRate > 0)
        audio.length = int64_t(std::min(double(usable) * audio.sampleRate / m_videoRate + 0.5, 9e18));
    else if (!fromVideo)
        audio.length = int64_t(reader.get_Length(int(m_firstAudioStream))) - audio.streamStartOffset;
}

} // namespace CvWrappers
