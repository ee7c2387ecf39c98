// Create, the samples of each call staged into chunks, the AVC
// first frame, the open GOP interleave, flushing and close.
#include <algorithm>
#include <cmath>
#include <cstring>
#include <new>

#include "frame/CvFileIOFactory.h"
#include "frame/FourCC.h"
#include "quicktime/atoms/AvidAtoms.h"
#include "quicktime/write/FileWriter.h"

namespace Corvidane::QuickTime {

FileWriter::FileWriter() { initVariables(); }

FileWriter::~FileWriter() { close(); }

void FileWriter::initVariables()
{
    m_filename.clear();
    m_hasDiskFile = false;
    m_sectorSize = 512;
    m_flags = 0;
    m_samplesSinceFlush = 0;
    m_maxFileAtoms = m_callerMaxFileAtoms;
    m_maxDuration = defaultMaxFileAtoms / 25.0;
    m_timeScale = 2500;
    m_nextRealLocation = allOnes;
    m_videoFramesWritten = 0;
    m_tracks.clear();
    m_sampleSizeMode.clear();
    m_maxChunks.clear();
    m_maxChunkOffsets.clear();
    m_headerAtomSizes.clear();
    m_mvhd = nullptr;
    m_moov.reset();
    m_rawBlocks.clear();
    m_headerBuffer.reset();
    m_headerOnDisk.clear();
    m_headerOnDisk.shrink_to_fit();
    m_ftyp.clear();
    m_moovPosition = m_mdatOffset = m_dataStart = m_mdatPayload = 0;
    m_mdatBlock.clear();
    m_mdatBlockStart = 0;
    m_anythingWritten = false;
    m_nalBuffer.clear();
    m_nalBuffer.shrink_to_fit();
    m_firstFrameDone = false;
    m_chunkCycle.clear();
    m_chunkCycleAt = 0;
    m_chunkCycleCounter = 0;
    m_bufferedAudio.clear();
    m_bufferedAnc.clear();
}

const FileWriter::Track* FileWriter::firstVideo() const
{
    int index = firstVideoIndex();
    return index < 0 ? nullptr : &m_tracks[size_t(index)];
}

int FileWriter::firstVideoIndex() const
{
    for (size_t i = 0; i < m_tracks.size(); ++i)
        if (m_tracks[i].data.streamType == StreamVideo)
            return int(i);
    return -1;
}

double FileWriter::videoRate() const
{
    const Track* video = firstVideo();
    if (!video || !video->data.video.rateDenominator)
        return 0.0;
    return double(video->data.video.rateNumerator) / video->data.video.rateDenominator;
}

bool FileWriter::isAac(unsigned track) const
{
    return m_tracks[track].data.streamType == StreamAudio && m_tracks[track].data.audio.format == fourCC("mp4a");
}

void FileWriter::freeTracks()
{
    for (Track& t : m_tracks)
        freeExtendedData(t.data);
    m_tracks.clear();
}

// --- create ----------------------------------------------------------------

CvResult FileWriter::create(const std::wstring& filename, const TrackStructuralData* tracks, int trackCount,
                            unsigned maxFrames, bool reserveIndex)
{
    if (m_file.isOpen() || !m_tracks.empty())
        close();
    // The caller's choices of brand and of a file without a disk stay; the
    // rest of the flag word is the file's own.
    uint32_t keptFlags = m_flags & (FlagNoDiskFile | FlagMP4);
    initVariables();
    m_flags = keptFlags;
    clearLastError();
    if (trackCount < 1 || !tracks) {
        setLastError(InvalidArg, L"Invalid number of tracks");
        return InvalidArg;
    }
    // Only the tracks that a track writer exists for can be built.
    for (int i = 0; i < trackCount; ++i) {
        StreamType type = tracks[i].streamType;
        if (type != StreamVideo && type != StreamAudio && type != StreamTimecode && type != StreamAncillary) {
            setLastError(InvalidArg, L"Track %d has stream type %d, which the QuickTime writer cannot write.", i,
                         int(type));
            return InvalidArg;
        }
        if (type == StreamVideo && (tracks[i].video.rateNumerator == 0 || tracks[i].video.rateDenominator == 0 ||
                                    tracks[i].video.width == 0 || tracks[i].video.height == 0)) {
            setLastError(InvalidArg, L"Video track %d has no frame rate or no picture size (%u/%u, %ux%u).", i,
                         tracks[i].video.rateNumerator, tracks[i].video.rateDenominator, tracks[i].video.width,
                         tracks[i].video.height);
            return InvalidArg;
        }
        if (type == StreamAudio && (tracks[i].audio.sampleRate == 0 || tracks[i].audio.blockAlign == 0)) {
            setLastError(InvalidArg, L"Audio track %d has no sample rate or no block size.", i);
            return InvalidArg;
        }
        uint32_t format = tracks[i].audio.format;
        if (type == StreamAudio && format != 1 && format != fourCC("pcm ") && format != fourCC("sowt") &&
            format != fourCC("twos") && format != fourCC("in24") && format != fourCC("in32") &&
            format != fourCC("mp4a")) {
            std::string code = fourCCToString(format);
            for (char& c : code)
                if (c < 0x20 || c > 0x7E)
                    c = '?';
            setLastError(InvalidArg, L"Audio track %d has format \"%s\" (%x), which the QuickTime writer cannot write.",
                         i, code.c_str(), format);
            return InvalidArg;
        }
        if (type == StreamAncillary && tracks[i].anc.fourcc != fourCC("c608") &&
            tracks[i].anc.fourcc != fourCC("c708")) {
            setLastError(InvalidArg, L"Invalid anc fcc (%x). Only c608 or c708 is supported.", tracks[i].anc.fourcc);
            return InvalidArg;
        }
    }
    m_tracks.resize(size_t(trackCount));
    for (int i = 0; i < trackCount; ++i)
        m_tracks[size_t(i)].data = copyTrackStructuralData(tracks[i]);

    const Track* video = firstVideo();
    if (video) {
        uint32_t fcc = video->data.video.fourcc;
        if (fcc == fourCC("xd35") || fcc == fourCC("xd50"))
            setFlag(FlagOpenGOP);
        if (fcc == fourCC("avc1")) {
            try {
                m_nalBuffer.reserve(size_t(video->data.video.width) * video->data.video.height * 30 / 8);
            } catch (const std::exception&) {
                setLastError(OutOfMemory, L"Can't allocate nalProcessBuffer");
                freeTracks();
                return OutOfMemory;
            }
        }
    }

    if (filename.empty()) {
        if (!isFlagSet(FlagNoDiskFile)) {
            setLastError(InvalidArg, L"Empty filename");
            freeTracks();
            return InvalidArg;
        }
    } else {
        CvResult result = m_file.create(filename, iFile::Unbuffered,
                                        m_overwrite ? iFile::CreateAlways : iFile::CreateNew);
        if (!isSuccess(result)) {
            setLastError(result, L"Can't create CFileWriterUnbuffered");
            freeTracks();
            return result;
        }
        m_hasDiskFile = true;
        m_filename = filename;
        m_sectorSize = std::max(m_file.getSectorSize(), 1u);
    }

    if (!reserveIndex && !(video && (video->data.video.flags & VideoIndexAhead)))
        setFlag(FlagIndexAtEnd);

    if (!video) {
        m_timeScale = 600;
        for (const Track& t : m_tracks)
            if (t.data.streamType == StreamAudio) {
                m_timeScale = t.data.audio.sampleRate;
                break;
            }
    } else {
        uint32_t duration = 0;
        getTimeScaleFromRate(video->data.video.rateNumerator, video->data.video.rateDenominator, m_timeScale,
                             duration);
    }

    uint64_t headerSize = 0;
    if (!writingIndexTableAtTheEnd())
        headerSize = calcHeaderSize(maxFrames);
    setFileBrand(m_ftyp);
    buildMovie();

    CvResult result = OK;
    if (writingIndexTableAtTheEnd()) {
        result = doInitialSetupForMoovAfterMdat();
        if (!isSuccess(result))
            setLastError(result,
                         L"Failed in initial setup for 'moov' before 'mdat' (when index table is at the end)");
    } else {
        result = doInitialSetupForMoovBeforeMdat(headerSize);
        if (!isSuccess(result)) {
            setLastError(result,
                         L"Failed in initial setup for 'moov' before 'mdat' (when index table is at the beginning)");
        } else if (m_hasDiskFile) {
            // The essence starts behind the region.
            result = m_file.seek(m_dataStart, nullptr, 0);
        }
    }
    // The timecode sample goes first, so that the first header on disk
    // already describes it (docs/decisions.md).
    for (unsigned i = 0; isSuccess(result) && i < m_tracks.size(); ++i)
        if (m_tracks[i].data.streamType == StreamTimecode)
            result = writeInitialTimecode(i);
    if (isSuccess(result) && !writingIndexTableAtTheEnd()) {
        result = writeHeader();
        if (!isSuccess(result))
            setLastError(result, L"Failed writing header");
    }
    if (!isSuccess(result)) {
        std::wstring name = m_filename;
        m_file.close();
        if (!name.empty())
            CvFileIOFactoryProvider::deleteFile(name.c_str());
        freeTracks();
        std::wstring text = getLastError();
        initVariables();
        clearLastError();
        setLastError(text);
        return result;
    }
    return OK;
}

CvResult FileWriter::createFixedSize(const std::wstring& filename, const TrackStructuralData* tracks, int trackCount,
                                     TrackData* samples, unsigned frames)
{
    CvResult result = create(filename, tracks, trackCount, frames, false);
    if (!isSuccess(result))
        return result;
    for (unsigned i = 0; i < frames; ++i) {
        result = writeSamples(samples, trackCount, -1);
        if (!isSuccess(result))
            return result;
    }
    return flush();
}

// --- Track writers -----------------------------------------------------------

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

// --- writeSamples --------------------------------------------------------------

CvResult FileWriter::writeSamples(TrackData* rows, int trackCount, int frameIndex)
{
    if (!rows || trackCount != int(m_tracks.size()) || m_tracks.empty()) {
        setLastError(InvalidArg, L"WriteSamples, input track count=%d, expected track count=%d", trackCount,
                     int(m_tracks.size()));
        return InvalidArg;
    }
    int videoIndex = firstVideoIndex();
    uint32_t videoFrames = videoIndex >= 0 ? m_tracks[size_t(videoIndex)].samplesWritten : 0;
    if (!writingIndexTableAtTheEnd()) {
        bool hasPicture = videoIndex >= 0 && rows[videoIndex].size > 0;
        if (frameIndex < 0 && hasPicture && videoFrames + 1 > m_maxFileAtoms) {
            setLastError(MaxFileSizeExceeded, L"WriteSamples - maximum file frames reached.");
            return MaxFileSizeExceeded;
        }
        if (frameIndex >= 0 && videoFrames != m_maxFileAtoms) {
            setLastError(Unexpected, L"WriteSamples - frames written does not match max file frames.");
            return Unexpected;
        }
    }
    bool noPicture = videoIndex >= 0 && rows[videoIndex].size == 0;
    uint32_t samplesDone = 0;
    CvResult result = OK;
    for (unsigned i = 0; i < m_tracks.size(); ++i) {
        TrackData& row = rows[i];
        StreamType type = m_tracks[i].data.streamType;
        if (int(i) == videoIndex && row.size > 0) {
            if (!m_firstFrameDone && !isSuccess(extractFirstFrameData(row)))
                return Fail;
            if (m_tracks[i].data.video.fourcc == fourCC("avc1")) {
                uint32_t size = avc_parse_nal_units(row.data, row.size, m_nalBuffer);
                row.data = m_nalBuffer.data();
                row.size = size;
            }
        }
        if (row.size == 0 || !row.data)
            continue;
        if (type == StreamTimecode && noPicture)
            continue;
        uint32_t before = samplesDone;
        if (isOpenGOP())
            result = writeOpenGopRow(row, i, frameIndex, samplesDone);
        else
            result = writeTrack(row, i, frameIndex, samplesDone, false, false);
        if (!isSuccess(result))
            return result;
        if (frameIndex < 0)
            updateTrackDurations(i);
        // Video frames alone count towards the flush period.
        if (videoIndex >= 0 && int(i) != videoIndex)
            samplesDone = before;
    }
    if (isOpenGOP())
        ++m_chunkCycleCounter;
    // A flush that fails is the call's failure: the caller learns that the
    // file no longer grows readable (docs/decisions.md).
    CvResult flushed = attemptFlushSamples(samplesDone);
    return isSuccess(flushed) ? result : flushed;
}

CvResult FileWriter::writeOpenGopRow(TrackData& row, unsigned track, int frameIndex, uint32_t& samplesDone)
{
    StreamType type = m_tracks[track].data.streamType;
    uint32_t cycle = m_chunkCycle.empty() ? 1 : std::max(m_chunkCycle[m_chunkCycleAt % m_chunkCycle.size()], 1u);
    if (m_chunkCycleCounter >= cycle) {
        CvResult result = flushBuffered(true);
        if (isSuccess(result))
            result = flushBuffered(false);
        if (!isSuccess(result))
            return result;
        m_chunkCycleCounter = 0;
        if (!m_chunkCycle.empty())
            m_chunkCycleAt = (m_chunkCycleAt + 1) % m_chunkCycle.size();
    }
    if (type == StreamVideo) {
        // A run of the cycle is one chunk: its frames gather in the buffer
        // and reach the disk together, so that the offsets of the frames
        // after the first follow from the sizes (docs/decisions.md).
        cycle = m_chunkCycle.empty() ? 1 : std::max(m_chunkCycle[m_chunkCycleAt % m_chunkCycle.size()], 1u);
        m_tracks[track].essence.samplesPerChunk = int32_t(cycle);
        return writeTrack(row, track, frameIndex, samplesDone, false, false);
    }
    if (type == StreamAudio || type == StreamAncillary) {
        TrackDataBufferedAndContext held;
        try {
            held.data.assign(row.data, row.data + row.size);
        } catch (const std::exception&) {
            setLastError(OutOfMemory, L"WriteSamples, Failed to allocate buffer to allow buffering ");
            return OutOfMemory;
        }
        held.size = row.size, held.presentationIndex = row.presentationIndex, held.frameType = row.frameType;
        held.chunkCycleIndex = uint32_t(m_chunkCycleAt), held.track = track;
        (type == StreamAudio ? m_bufferedAudio : m_bufferedAnc).emplace(track, std::move(held));
        return OK;
    }
    return writeTrack(row, track, frameIndex, samplesDone, false, false);
}

CvResult FileWriter::flushBuffered(bool audio)
{
    auto& held = audio ? m_bufferedAudio : m_bufferedAnc;
    CvResult result = OK;
    std::vector<unsigned> touched;
    for (auto& [track, sample] : held) {
        if (!isSuccess(result))
            break;
        TrackData row{sample.data.data(), sample.size, sample.presentationIndex, sample.frameType};
        uint32_t done = 0;
        result = writeTrack(row, track, -1, done, false, false);
        touched.push_back(track);
    }
    held.clear();
    // Each run of audio ends its chunk, so that the interleave holds.
    for (unsigned track : touched)
        if (isSuccess(result))
            result = flushRemainingEssence(track, false, false, false);
    return result;
}

CvResult FileWriter::attemptFlushSamples(uint32_t samples)
{
    if (samples == 0 || m_flushPeriod == 0)
        return OK;
    m_samplesSinceFlush += samples;
    if (m_samplesSinceFlush < m_flushPeriod)
        return OK;
    const Track* video = firstVideo();
    if (video && video->data.video.gopSize > 1) {
        const Track& v = *video;
        uint32_t written = v.samplesWritten;
        bool boundary = false;
        const QTListEx<unsigned int>* stps = v.tables.stps;
        const QTListEx<unsigned int>* stss = v.tables.stss;
        if (stps && stps->get_Count())
            boundary = written == stps->values().back() - 1 + v.data.video.gopSize;
        else if (stss && stss->get_Count())
            boundary = written == stss->values().back() - 1 + v.data.video.gopSize;
        else
            boundary = true;
        // A GOP that never ends where its length says (a scene cut) would
        // hold the flush back for ever; twice the period forces it.
        if (!boundary && m_samplesSinceFlush < 2 * m_flushPeriod)
            return OK;
    }
    m_samplesSinceFlush = 0;
    return flush();
}

// --- First frame ---------------------------------------------------------------

CvResult FileWriter::extractFirstFrameData(const TrackData& row)
{
    int videoIndex = firstVideoIndex();
    Track& t = m_tracks[size_t(videoIndex)];
    TrackTables& tables = t.tables;
    if (tables.avcC) {
        std::vector<unsigned char> config;
        uint32_t size = extractavcCData(row.data, row.size, config);
        if (size < 32 || size > 1024) {
            setLastError(Fail, L"WriteSamples, the first H.264 frame gives a decoder configuration of %u bytes "
                               L"(it needs a sequence parameter set, and 32 to 1024 bytes).",
                         size);
            return Fail;
        }
        tables.avcC->setData(config.data(), size);
        if (writingIndexTableAtTheEnd() && t.indexer && size <= 255)
            t.indexer->setDecoderConfig(config.data(), static_cast<unsigned char>(size));
        tables.avcC = nullptr;
    }
    if (tables.ares && tables.aclr && tables.aprg) {
        AvidAtomBlocks blocks;
        if (row.size < 44 ||
            initialize_avid_atoms(row.data, row.size, t.data.video.width, t.data.video.height, blocks) != 0) {
            setLastError(Fail, L"WriteSamples, the first DNxHD frame has %u bytes, too few for its header.", row.size);
            return Fail;
        }
        tables.ares->setData(blocks.ares.data(), blocks.ares.size());
        tables.aclr->setData(blocks.aclr.data(), blocks.aclr.size());
        tables.aprg->setData(blocks.aprg.data(), blocks.aprg.size());
        if (tables.adhr) {
            std::vector<unsigned char> block;
            if (initialize_avid_HR_atoms(row.data, row.size, block, t.data.video.resolutionId) != 0) {
                setLastError(Fail, L"WriteSamples, the first DNxHR frame is not of resolution %u.",
                             t.data.video.resolutionId);
                return Fail;
            }
            tables.adhr->setData(block.data(), block.size());
        }
        tables.ares = tables.aclr = tables.aprg = tables.adhr = nullptr;
    }
    if (tables.description)
        tables.description->size = uint32_t(tables.description->getSize());
    m_firstFrameDone = true;
    return OK;
}

// --- Flush, insert, close ----------------------------------------------------------

CvResult FileWriter::flushEssence()
{
    CvResult result = OK;
    for (unsigned i = 0; i < m_tracks.size() && isSuccess(result); ++i)
        result = flushRemainingEssence(i, false, false, true);
    return result;
}

CvResult FileWriter::flush()
{
    if (m_tracks.empty())
        return OK;
    CvResult result = flushEssence();
    if (isSuccess(result) && !writingIndexTableAtTheEnd())
        result = writeHeader();
    return result;
}

CvResult FileWriter::insertSamples(unsigned frame, TrackData* rows, int trackCount)
{
    if (!writingIndexTableAtTheEnd() && frame >= m_maxFileAtoms) {
        setLastError(InvalidArg, L"InsertSamples frame is more than file frame count.");
        return InvalidArg;
    }
    if (!m_hasDiskFile)
        return OK;
    unsigned long start = 0;
    if (trackCount < 1) {
        m_file.seek(m_file.getPos(), &start, 0);
        return OK;
    }
    if (!rows || trackCount != int(m_tracks.size())) {
        setLastError(InvalidArg, L"WriteSamples, input track count=%d, expected track count=%d", trackCount,
                     int(m_tracks.size()));
        return InvalidArg;
    }
    uint64_t resume = m_file.getPos();
    CvResult result = OK;
    for (unsigned i = 0; i < m_tracks.size() && isSuccess(result); ++i) {
        const TrackData& row = rows[i];
        if (!row.data || row.size == 0)
            continue;
        const auto& offsets = m_tracks[i].tables.co64->values();
        if (frame >= offsets.size()) {
            setLastError(InvalidArg, L"InsertSamples frame is more than index frame count.");
            result = InvalidArg;
            break;
        }
        uint64_t rounded = roundToSector(row.size);
        std::vector<unsigned char> block(size_t(rounded), 0);
        std::memcpy(block.data(), row.data, row.size);
        result = m_file.seek(offsets[frame], nullptr, 0);
        if (!isSuccess(result)) {
            setLastError(Fail, L"InsertSamples - Failed to seek to insert position");
            result = Fail;
            break;
        }
        unsigned written = 0;
        result = m_file.write(block.data(), unsigned(rounded), written);
        if (!isSuccess(result)) {
            setLastError(Fail, L"InsertSamples - Failed to write to file");
            result = Fail;
        } else if (written != rounded) {
            setLastError(Fail, L"InsertSamples - Failed to write correct bytes");
            result = Fail;
        }
    }
    m_file.seek(resume, nullptr, 0);
    return result;
}

CvResult FileWriter::close()
{
    if (m_tracks.empty()) {
        if (m_file.isOpen())
            m_file.close();
        return OK;
    }
    CvResult result = flushBuffered(true);
    CvResult step = flushBuffered(false);
    if (isSuccess(result))
        result = step;
    step = flush();
    if (isSuccess(result))
        result = step;
    if (writingIndexTableAtTheEnd() && m_anythingWritten) {
        step = writeHeader();
        if (isSuccess(result))
            result = step;
    }
    std::wstring name = m_filename;
    m_file.close();
    if (!name.empty() && !m_anythingWritten)
        CvFileIOFactoryProvider::deleteFile(name.c_str());
    closeIndexers();
    freeTracks();
    std::wstring text = getLastError();
    // The caller's settings (flush period, overwrite, frame limit, brand)
    // stay for the next file.
    uint32_t keep = m_flags & (FlagNoDiskFile | FlagMP4);
    initVariables();
    m_flags = keep;
    if (!isSuccess(result)) {
        clearLastError();
        setLastError(text);
    }
    return result;
}

CvResult FileWriter::skipEssenceForTest(uint64_t bytes)
{
    bytes = roundToSector(bytes);
    if (m_hasDiskFile) {
        CvResult result = m_file.seek(essencePosition() + bytes, nullptr, 0);
        if (!isSuccess(result))
            return result;
    }
    updateMdatSize(bytes);
    return OK;
}

// --- External index --------------------------------------------------------------

void FileWriter::setExternalIndexer(std::shared_ptr<ExternalIndexer::Indexer> indexer, unsigned track)
{
    if (track >= m_tracks.size())
        return;
    closeIndexer(track);
    m_tracks[track].indexer = std::move(indexer);
    const Track& t = m_tracks[track];
    if (t.indexer && t.data.streamType == StreamAudio && !isAac(track) && firstVideo()) {
        double rate = videoRate();
        signed char code = -1;
        struct Band {
            double low, high;
            signed char code;
        };
        static const Band bands[] = {{24.999, 25.001, 0},   {29.96, 29.98, 1},     {23.97, 23.99, 2},
                                     {49.999, 50.001, 3},   {59.93, 59.95, 4},     {23.9999, 24.00001, 5},
                                     {59.9999, 60.00001, 6}, {29.9999, 30.00001, 7}, {99.999, 100.001, 8},
                                     {119.87, 119.89, 9},    {239.75, 239.77, 10},  {47.94, 47.96, 11},
                                     {14.98, 14.99, 12}};
        for (const Band& band : bands)
            if (rate > band.low && rate < band.high) {
                code = band.code;
                break;
            }
        t.indexer->setAudioSamplesIndex(code);
    }
}

std::shared_ptr<ExternalIndexer::Indexer> FileWriter::externalIndexer(unsigned track) const
{
    return track < m_tracks.size() ? m_tracks[track].indexer : nullptr;
}

CvResult FileWriter::addExternalIndex(unsigned track, uint64_t offset, uint32_t size, uint32_t presentation,
                                      uint32_t decode, uint32_t frameType)
{
    if (track >= m_tracks.size() || !m_tracks[track].indexer)
        return OK;
    const Track& t = m_tracks[track];
    IndexEntry entry{};
    entry.offset = offset;
    entry.size = size;
    entry.frameType = indexFrameType(frameType);
    entry.decodeIndex = decode;
    entry.presentationIndex = presentation;
    if (t.tables.ctts && presentation != decode) {
        uint32_t shown = decode + 1;
        unsigned period = t.data.video.gopPeriod;
        if (period && shown % period == 0)
            shown -= period;
        entry.presentationIndex = shown;
    }
    return t.indexer->add(0, decode, entry);
}

void FileWriter::closeIndexer(unsigned track)
{
    if (track < m_tracks.size())
        m_tracks[track].indexer.reset();
}

void FileWriter::closeIndexers()
{
    for (unsigned i = 0; i < m_tracks.size(); ++i)
        closeIndexer(i);
}

// --- AVC -------------------------------------------------------------------------

const unsigned char* avc_find_startcode(const unsigned char* begin, const unsigned char* end)
{
    for (const unsigned char* p = begin; p + 2 < end; ++p)
        if (p[0] == 0 && p[1] == 0 && p[2] == 1)
            return p;
    return end;
}

namespace {
// Calls `unit` with each NAL unit of Annex B data, trailing zeros cut.
template <typename F>
void forEachNal(const unsigned char* data, uint32_t size, F unit)
{
    const unsigned char* end = data + size;
    const unsigned char* start = avc_find_startcode(data, end);
    while (start < end) {
        start += 3;
        const unsigned char* next = avc_find_startcode(start, end);
        const unsigned char* last = next;
        while (last > start && last[-1] == 0)
            --last;
        if (last > start)
            unit(start, uint32_t(last - start));
        start = next;
    }
}
} // namespace

uint32_t avc_parse_nal_units(const unsigned char* data, uint32_t size, std::vector<unsigned char>& buffer)
{
    uint64_t measure = 0;
    forEachNal(data, size, [&](const unsigned char*, uint32_t n) { measure += uint64_t(n) + 4; });
    if (buffer.size() < measure)
        buffer.resize(size_t(measure + 1024));
    unsigned char* out = buffer.data();
    forEachNal(data, size, [&](const unsigned char* p, uint32_t n) {
        out[0] = uint8_t(n >> 24), out[1] = uint8_t(n >> 16), out[2] = uint8_t(n >> 8), out[3] = uint8_t(n);
        std::memcpy(out + 4, p, n);
        out += 4 + n;
    });
    return uint32_t(measure);
}

uint32_t extractavcCData(const unsigned char* data, uint32_t size, std::vector<unsigned char>& out)
{
    std::vector<std::pair<const unsigned char*, uint32_t>> sps, pps;
    forEachNal(data, size, [&](const unsigned char* p, uint32_t n) {
        unsigned type = p[0] & 0x1F;
        if (type == 7 && n >= 4)
            sps.emplace_back(p, n);
        else if (type == 8)
            pps.emplace_back(p, n);
    });
    out.clear();
    if (sps.empty())
        return 0;
    out.push_back(1);
    out.insert(out.end(), sps[0].first + 1, sps[0].first + 4);
    out.push_back(0xFF);
    out.push_back(uint8_t(0xE0 | (sps.size() & 0x1F)));
    for (auto& [p, n] : sps) {
        out.push_back(uint8_t(n >> 8)), out.push_back(uint8_t(n));
        out.insert(out.end(), p, p + n);
    }
    out.push_back(uint8_t(pps.size()));
    for (auto& [p, n] : pps) {
        out.push_back(uint8_t(n >> 8)), out.push_back(uint8_t(n));
        out.insert(out.end(), p, p + n);
    }
    return uint32_t(out.size());
}

} // namespace Corvidane::QuickTime
