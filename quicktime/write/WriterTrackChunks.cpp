// The track writers: the samples of each call staged into chunks.
#include <algorithm>
#include <cstring>

#include "quicktime/write/FileWriter.h"

namespace Corvidane::QuickTime {

uint32_t FileWriter::getNumberOfInputSamples(unsigned track, uint32_t size) const
{
    const Track& t = m_tracks[track];
    if (t.data.streamType == StreamAudio && !isAac(track))
        return size / std::max<uint32_t>(t.data.audio.blockAlign, 1);
    return 1;
}

uint64_t FileWriter::getMemoryAllocationSize(unsigned track, uint32_t size) const
{
    const Track& t = m_tracks[track];
    if (t.data.streamType == StreamAudio)
        return roundToSector(t.data.audio.bytesPerSecond);
    return roundToSector((uint64_t(size) + m_sectorSize) * 2) * uint64_t(std::max(t.essence.samplesPerChunk, 1));
}

void FileWriter::resetEssenceData(unsigned track)
{
    TrackEssenceBuffer& e = m_tracks[track].essence;
    e.buffer.clear();
    e.samplesInBuffer = 0;
    e.frameTypes.clear();
    e.presentation.clear();
    if (e.variableSizes)
        e.sampleSizes.clear();
}

CvResult FileWriter::writeChunk(unsigned track, uint64_t bytes, uint32_t samples, bool replacing, int frameIndex,
                                bool continueChunk, bool startNewChunk)
{
    Track& t = m_tracks[track];
    TrackEssenceBuffer& e = t.essence;
    uint64_t rounded = roundToSector(bytes);
    if (rounded == 0)
        rounded = roundToSector(1);

    // Overflow samples wait outside the chunk.
    uint64_t used = e.buffer.used();
    std::vector<unsigned char> overflow;
    if (used > bytes)
        overflow.assign(e.buffer.getBuffer(bytes), e.buffer.getBuffer(bytes) + (used - bytes));
    if (e.buffer.capacity() < rounded && !e.buffer.inflate(rounded)) {
        setLastError(OutOfMemory, L"TrackWriterBase::writeTrack, Failed to allocate essence data buffer.");
        return OutOfMemory;
    }
    // The padding is zeros, not whatever the buffer held (docs/decisions.md).
    if (rounded > bytes)
        std::memset(e.buffer.getBuffer(bytes), 0, size_t(rounded - bytes));

    PendingChunk chunk;
    chunk.samples = samples;
    chunk.offset = essencePosition();
    chunk.firstInput = t.inputSampleCount;
    for (uint32_t s : t.pendingSizes)
        chunk.firstInput -= std::min(chunk.firstInput, getNumberOfInputSamples(track, s));
    // The rows in this chunk; the part of the last one that overflows is
    // the next chunk's first.
    uint64_t left = bytes;
    for (uint32_t size : t.pendingSizes) {
        if (left == 0)
            break;
        uint32_t take = uint32_t(std::min<uint64_t>(size, left));
        chunk.callSizes.push_back(take);
        left -= take;
    }
    if (e.variableSizes)
        chunk.sizes.assign(e.sampleSizes.begin(), e.sampleSizes.begin() + std::min<size_t>(samples, e.sampleSizes.size()));
    else if (!e.sampleSizes.empty())
        chunk.sizes.push_back(e.sampleSizes[0]);
    size_t typed = std::min<size_t>(samples, e.frameTypes.size());
    chunk.frameTypes.assign(e.frameTypes.begin(), e.frameTypes.begin() + typed);
    chunk.presentation.assign(e.presentation.begin(), e.presentation.begin() + std::min<size_t>(samples, e.presentation.size()));

    if (m_hasDiskFile) {
        unsigned written = 0;
        CvResult result = m_file.write(e.buffer.getBuffer(), unsigned(rounded), written);
        if (!isSuccess(result) || written != rounded) {
            setLastError(Fail, L"Failed to write %llu bytes of essence of track %d: %ls",
                         (unsigned long long)rounded, int(track), getErrorText(isSuccess(result) ? Fail : result));
            // The staged samples are dropped, and no longer counted, so that
            // the tables describe what reached the disk before.
            if (!replacing) {
                t.samplesWritten -= std::min(t.samplesWritten, e.samplesInBuffer);
                t.inputSampleCount -= std::min(t.inputSampleCount, e.samplesInBuffer);
            }
            resetEssenceData(track);
            t.pendingSizes.clear();
            if (Time2SampleItem* stts = t.tables.stts->get_LastItem())
                if (t.data.streamType != StreamTimecode && stts->count > t.samplesWritten)
                    stts->count = t.samplesWritten;
            updateTrackDurations(track);
            return Fail;
        }
    }
    m_anythingWritten = true;

    // The rest of the staged samples stay for the next chunk.
    std::vector<uint32_t> restSizes, restTypes, restShown;
    if (e.variableSizes && e.sampleSizes.size() > samples)
        restSizes.assign(e.sampleSizes.begin() + samples, e.sampleSizes.end());
    if (e.frameTypes.size() > typed)
        restTypes.assign(e.frameTypes.begin() + typed, e.frameTypes.end());
    if (e.presentation.size() > chunk.presentation.size())
        restShown.assign(e.presentation.begin() + chunk.presentation.size(), e.presentation.end());
    uint32_t restSamples = e.samplesInBuffer > samples ? e.samplesInBuffer - samples : 0;
    resetEssenceData(track);
    t.pendingSizes.clear();
    if (!overflow.empty()) {
        e.buffer.append(overflow.data(), overflow.size());
        t.pendingSizes.push_back(uint32_t(overflow.size()));
    }
    e.samplesInBuffer = restSamples;
    if (e.variableSizes)
        e.sampleSizes = restSizes;
    e.frameTypes = restTypes;
    e.presentation = restShown;

    CvResult result = OK;
    if (replacing) {
        uint32_t spc = uint32_t(std::max(e.samplesPerChunk, 1));
        updateExistingIndex(track, uint32_t(frameIndex) / spc, chunk.offset);
    } else {
        result = updateIndexes(track, chunk, false, continueChunk, startNewChunk);
    }
    updateMdatSize(rounded);
    return result;
}

CvResult FileWriter::writeTrack(const TrackData& row, unsigned track, int frameIndex, uint32_t& samplesDone,
                                bool continueChunk, bool startNewChunk)
{
    Track& t = m_tracks[track];
    TrackEssenceBuffer& e = t.essence;
    StreamType type = t.data.streamType;
    uint32_t mode = m_sampleSizeMode[track];

    if (type != StreamTimecode && (e.variableSizes || mode == 1) &&
        row.size > e.buffer.capacity() - e.buffer.used()) {
        uint64_t want = std::max<uint64_t>(getMemoryAllocationSize(track, row.size),
                                           roundToSector(e.buffer.used() + row.size + m_sectorSize));
        if (want > e.buffer.capacity() && !e.buffer.inflate(want)) {
            setLastError(OutOfMemory, L"TrackWriterBase::writeTrack, Failed to allocate essence data buffer.");
            return OutOfMemory;
        }
    }
    if (mode == 1) {
        updateFixedSampleSize(track, row.size);
    } else if (mode >= 2 && mode != allOnes && row.size > mode) {
        setLastError(InvalidArg,
                     L"TrackWriterBase::writeTrack, supplied sample size does not match expected previous value. "
                     L"Track[%d] expected %u got %u",
                     int(track), mode, row.size);
        return InvalidArg;
    }
    uint32_t samples = getNumberOfInputSamples(track, row.size);

    // executeInitialStepAndContinue
    if (type == StreamVideo) {
        uint32_t shown = row.presentationIndex;
        if (m_nextRealLocation != allOnes) {
            shown = m_nextRealLocation;
            m_nextRealLocation = allOnes;
        }
        e.frameTypes.push_back(row.frameType);
        e.presentation.push_back(shown);
    }
    if (frameIndex < 0)
        t.samplesWritten += samples;
    if (type == StreamTimecode) {
        // The one timecode sample lasts as long as the frames counted.
        if (Time2SampleItem* stts = t.tables.stts->get_LastItem())
            stts->count = std::max<uint32_t>(t.samplesWritten, 1);
        return OK;
    }
    if (samples == 0) {
        if (type == StreamVideo)
            e.frameTypes.pop_back(), e.presentation.pop_back();
        setLastError(Unexpected, L"TrackWriterBase::writeTrack, no input samples.");
        return Unexpected;
    }

    if (e.buffer.capacity() - e.buffer.used() < row.size) {
        if (!e.buffer.inflate(roundToSector((e.buffer.used() + row.size) * 2))) {
            setLastError(OutOfMemory, L"TrackWriterBase::writeTrack, Failed to allocate essence data buffer.");
            return OutOfMemory;
        }
    }
    e.buffer.append(row.data, row.size);
    e.samplesInBuffer += samples;
    t.pendingSizes.push_back(row.size);
    t.inputSampleCount += samples;
    if (e.variableSizes)
        e.sampleSizes.push_back(row.size);

    uint32_t spc = uint32_t(std::max(e.samplesPerChunk, 1));
    bool aacFull = isAac(track) && uint64_t(e.samplesInBuffer) * 1024 >= spc;
    if (e.samplesInBuffer < spc && !aacFull)
        return OK;
    uint32_t chunkSamples = aacFull ? e.samplesInBuffer : spc;
    uint64_t bytes = 0;
    if (e.variableSizes) {
        for (uint32_t i = 0; i < chunkSamples && i < e.sampleSizes.size(); ++i)
            bytes += e.sampleSizes[i];
    } else {
        bytes = uint64_t(chunkSamples) * (e.sampleSizes.empty() ? 0 : e.sampleSizes[0]);
    }
    CvResult result = writeChunk(track, bytes, chunkSamples, frameIndex >= 0, frameIndex, continueChunk, startNewChunk);
    if (isSuccess(result))
        samplesDone += chunkSamples;
    return result;
}

CvResult FileWriter::flushRemainingEssence(unsigned track, bool continueChunk, bool startNewChunk, bool force)
{
    Track& t = m_tracks[track];
    TrackEssenceBuffer& e = t.essence;
    if (e.samplesInBuffer == 0 || t.data.streamType == StreamTimecode)
        return OK;
    if (!force) {
        uint32_t spc = uint32_t(std::max(e.samplesPerChunk, 1));
        bool go = e.samplesInBuffer >= spc;
        if (t.data.streamType == StreamAudio)
            go = isOpenGOP() || (isAac(track) ? uint64_t(e.samplesInBuffer) * 1024 >= spc : go);
        if (!go)
            return OK;
    }
    CvResult result = writeChunk(track, e.buffer.used(), e.samplesInBuffer, false, -1, continueChunk, startNewChunk);
    if (!isSuccess(result)) {
        std::wstring text = getLastError();
        clearLastError();
        setLastError(Fail, L"flushEssence failed to write data. %ls", text.c_str());
        return Fail;
    }
    updateTrackDurations(track);
    return OK;
}

} // namespace Corvidane::QuickTime
