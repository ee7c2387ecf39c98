// writeSamples, the AVC first frame and the open GOP interleave, and the AVC
// helpers.
#include <algorithm>
#include <cstring>

#include "frame/FourCC.h"
#include "quicktime/atoms/AvidAtoms.h"
#include "quicktime/write/FileWriter.h"

namespace Corvidane::QuickTime {

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
