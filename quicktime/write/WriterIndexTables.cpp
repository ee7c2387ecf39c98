// The index tables that grow as chunks reach the disk, and the track
// durations that follow them.
#include <algorithm>

#include "frame/FourCC.h"
#include "quicktime/write/FileWriter.h"

namespace Corvidane::QuickTime {

namespace {
template <typename List>
bool tableFull(const List* list, size_t entryBytes, size_t head)
{
    return list && list->fixedSize != List::notSet && (list->get_Count() + 1) * entryBytes + head > list->fixedSize;
}
} // namespace

CvResult FileWriter::updateIndexes(unsigned track, const PendingChunk& chunk, bool sizeKnown, bool continueChunk,
                                   bool startNewChunk)
{
    Track& t = m_tracks[track];
    TrackTables& tables = t.tables;
    bool indexFirst = !writingIndexTableAtTheEnd();
    Sample2ChunkItem* last = tables.stsc->get_LastItem();
    bool newEntry = true, addOffset = true;
    uint32_t chunkCount = uint32_t(tables.co64->get_Count());
    if (last && last->samplesPerChunk == chunk.samples && !continueChunk && !startNewChunk) {
        newEntry = false;
    } else if (continueChunk && !startNewChunk && last && chunkCount > 0) {
        newEntry = false;
        if (isOpenGOP())
            addOffset = false;
        if (last->firstChunk == chunkCount) {
            last->samplesPerChunk += chunk.samples;
        } else {
            newEntry = true; // the grown chunk gets an entry of its own
        }
    }
    if (newEntry) {
        if (indexFirst && tables.stsc->get_Count() + 1 > m_maxChunks[track]) {
            setLastError(Fail, L"updateIndexes, not enough room in the header. MaxChunks[%d]=%d count=%d", int(track),
                         int(m_maxChunks[track]), int(tables.stsc->get_Count()));
            return Fail;
        }
        if (continueChunk && !startNewChunk && last && chunkCount > 0)
            tables.stsc->addItem(Sample2ChunkItem{chunkCount, last->samplesPerChunk + chunk.samples, 1});
        else
            tables.stsc->addItem(Sample2ChunkItem{chunkCount + 1, chunk.samples, 1});
    }
    if (addOffset && indexFirst && tables.co64->get_Count() + 1 > m_maxChunkOffsets[track]) {
        setLastError(MaxFileSizeExceeded,
                     L"updateIndexes, not enough room in the header. MaxChunkOffsets[%d]=%d count=%d", int(track),
                     int(m_maxChunkOffsets[track]), int(tables.co64->get_Count()));
        return MaxFileSizeExceeded;
    }
    if (Time2SampleItem* stts = tables.stts->get_LastItem())
        stts->count = t.samplesWritten;
    uint32_t mode = track < m_sampleSizeMode.size() ? m_sampleSizeMode[track] : allOnes;
    if (mode > 0 || sizeKnown)
        updateIndex_stsz(track, chunk.samples, chunk.sizes);
    if (t.data.streamType == StreamVideo) {
        CvResult result = updateIndex_sync(track, chunk);
        if (isSuccess(result))
            result = updateIndex_ctts(track, chunk);
        if (!isSuccess(result))
            return result;
        updateIndex_sdtp(track, chunk);
    }
    if (addOffset)
        tables.co64->addItem(static_cast<unsigned long>(chunk.offset));

    if (writingIndexTableAtTheEnd() && t.indexer) {
        bool perCall = t.data.streamType == StreamAudio && !isAac(track);
        uint64_t at = chunk.offset;
        if (perCall) {
            // One entry a call, numbered in order: the indexer takes each
            // row's number as the one after the last.
            for (uint32_t size : chunk.callSizes) {
                uint32_t number = t.externalEntries++;
                addExternalIndex(track, at, size, number, number, 0);
                at += size;
            }
        } else {
            uint32_t first = t.samplesWritten - chunk.samples;
            for (uint32_t i = 0; i < chunk.samples; ++i) {
                uint32_t size = chunk.sizes.size() > i ? chunk.sizes[i] : chunk.sizes.empty() ? 0 : chunk.sizes[0];
                uint32_t type = i < chunk.frameTypes.size() ? chunk.frameTypes[i] : HalcIFrame;
                uint32_t shown = i < chunk.presentation.size() ? chunk.presentation[i] : first + i;
                addExternalIndex(track, at, size, shown, first + i, type);
                at += size;
            }
        }
        t.pendingSizes.clear();
    }
    return OK;
}

void FileWriter::updateIndex_stsz(unsigned track, uint32_t samples, const std::vector<uint32_t>& sizes)
{
    Track& t = m_tracks[track];
    SampleSizeListEx* stsz = t.tables.stsz;
    stsz->sampleCount += samples;
    bool indexed = t.data.streamType == StreamVideo || t.data.streamType == StreamAncillary || isAac(track);
    if (!indexed)
        return;
    if (m_sampleSizeMode[track] == allOnes) {
        for (uint32_t i = 0; i < samples && i < sizes.size(); ++i)
            stsz->addSize(sizes[i]);
    } else if (!sizes.empty()) {
        stsz->sampleSize = sizes[0];
    }
}

CvResult FileWriter::updateIndex_sync(unsigned track, const PendingChunk& chunk)
{
    Track& t = m_tracks[track];
    uint32_t frame = t.samplesWritten - uint32_t(chunk.frameTypes.size()) + 1;
    for (uint32_t type : chunk.frameTypes) {
        if (type & HalcIFrame) {
            QTListEx<unsigned int>* table = t.tables.stss;
            if (isOpenGOP() && frame > t.data.video.gopSize && t.tables.stps)
                table = t.tables.stps;
            if (table) {
                if (tableFull(table, 4, 16)) {
                    setLastError(Fail, L"updateIndexes, not enough room in the header for the sync sample table.");
                    return Fail;
                }
                table->addItem(frame);
            }
        }
        ++frame;
    }
    return OK;
}

CvResult FileWriter::updateIndex_ctts(unsigned track, const PendingChunk& chunk)
{
    Track& t = m_tracks[track];
    QTListEx<CTTSItem>* ctts = t.tables.ctts;
    if (!ctts)
        return OK;
    uint32_t decode = t.samplesWritten - uint32_t(chunk.presentation.size());
    for (uint32_t shown : chunk.presentation) {
        int32_t offset = int32_t((int64_t(shown) - int64_t(decode)) * int64_t(t.sampleDuration));
        CTTSItem* last = ctts->get_LastItem();
        if (last && last->offset == offset) {
            ++last->count;
        } else {
            if (tableFull(ctts, 8, 16)) {
                setLastError(Fail, L"updateIndexes, not enough room in the header for the composition offsets.");
                return Fail;
            }
            ctts->addItem(CTTSItem{1, offset});
        }
        ++decode;
    }
    return OK;
}

void FileWriter::updateIndex_sdtp(unsigned track, const PendingChunk& chunk)
{
    SampleDependencyList* sdtp = m_tracks[track].tables.sdtp;
    if (!sdtp || !isOpenGOP())
        return;
    for (uint32_t type : chunk.frameTypes) {
        if (type & HalcIFrame)
            sdtp->addItem(0x60);
        else if (type & HalcPFrame)
            sdtp->addItem(0x08);
        else if (type & HalcBFrame)
            sdtp->addItem(0x40);
        else
            break;
    }
}

void FileWriter::updateExistingIndex(unsigned track, uint32_t chunk, uint64_t offset)
{
    m_tracks[track].tables.co64->setValue(chunk, static_cast<unsigned long>(offset));
}

void FileWriter::updateTrackDurations(unsigned track)
{
    Track& t = m_tracks[track];
    uint64_t media = uint64_t(t.samplesWritten) * t.sampleDuration;
    uint64_t movie = t.mediaTimeScale ? media * m_timeScale / t.mediaTimeScale : 0;
    uint32_t movie32 = uint32_t(std::min<uint64_t>(movie, UINT32_MAX));
    if (t.tables.tkhd)
        t.tables.tkhd->Duration = movie32;
    if (t.tables.elst)
        if (EditListItem* edit = t.tables.elst->get_LastItem())
            edit->trackDuration = movie32;
    if (t.tables.mdhd)
        t.tables.mdhd->Duration = uint32_t(std::min<uint64_t>(media, UINT32_MAX));
    int source = firstVideoIndex();
    if (source < 0)
        source = 0;
    if (m_mvhd && unsigned(source) == track)
        m_mvhd->Duration = movie32;
}

CvResult FileWriter::writeInitialTimecode(unsigned track)
{
    Track& t = m_tracks[track];
    uint64_t blockSize = m_sectorSize > 1 ? m_sectorSize : 4;
    std::vector<unsigned char> block(size_t(blockSize), 0);
    writeBE32(block.data(), t.data.timecode.startFrame);
    if (m_hasDiskFile) {
        unsigned written = 0;
        CvResult result = m_file.write(block.data(), unsigned(block.size()), written);
        if (isSuccess(result) && written != block.size())
            result = Fail;
        if (!isSuccess(result)) {
            setLastError(result, L"Failed to write the timecode sample of track %d.", int(track));
            return result;
        }
    }
    t.tables.co64->addItem(static_cast<unsigned long>(essencePosition()));
    t.tables.stsz->sampleCount = 1;
    t.tables.stsz->sampleSize = 4;
    updateMdatSize(blockSize);
    return OK;
}

} // namespace Corvidane::QuickTime
