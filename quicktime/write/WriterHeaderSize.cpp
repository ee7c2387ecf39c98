// How much room the header region takes: the movie header with its index
// tables sized for the longest file the writer accepts.
#include <algorithm>
#include <cmath>

#include "frame/FourCC.h"
#include "quicktime/write/FileWriter.h"

namespace Corvidane::QuickTime {

uint64_t FileWriter::roundToSector(uint64_t value) const
{
    return (value + m_sectorSize - 1) / m_sectorSize * m_sectorSize;
}

void FileWriter::getChunkDetails(unsigned track, uint64_t& chunks, uint64_t& total, bool& hasPartialChunk) const
{
    const Track& t = m_tracks[track];
    hasPartialChunk = false;
    uint64_t divisor = 0;
    if (t.data.streamType == StreamVideo) {
        total = m_maxFileAtoms;
        divisor = uint64_t(std::max(t.essence.samplesPerChunk, 1));
    } else if (t.data.streamType == StreamAudio) {
        total = uint64_t(double(t.data.audio.sampleRate) * m_maxDuration);
        divisor = uint64_t(std::max(t.essence.samplesPerChunk, 1)) / 2;
    } else {
        return;
    }
    if (divisor < 2) {
        chunks = divisor == 0 ? total : total / divisor;
        if (divisor == 0)
            chunks = 1;
        if (divisor == 1)
            chunks = total;
        return;
    }
    chunks = total / divisor;
    if (total % divisor) {
        ++chunks, ++total;
        hasPartialChunk = true;
    }
}

namespace {
unsigned gopValue(unsigned gopSize) { return (gopSize + 1 - (gopSize % 2 == 0 ? 1 : 0)) >> 1; }
} // namespace

uint64_t FileWriter::getStssSize(unsigned frames) const
{
    const Track* v = firstVideo();
    if (!v || v->data.video.gopSize < 2)
        return 0;
    unsigned divisor = v->data.video.fourcc == fourCC("mp4v") ? 1 : gopValue(v->data.video.gopSize);
    return uint64_t(frames / std::max(divisor, 1u)) * 4 + 16;
}

uint64_t FileWriter::getStpsSize(unsigned frames) const
{
    const Track* v = firstVideo();
    if (!v || v->data.video.gopSize < 2)
        return 0;
    return uint64_t(frames / std::max(gopValue(v->data.video.gopSize), 1u)) * 4 + 16;
}

uint64_t FileWriter::getCtssSize(unsigned frames) const
{
    const Track* v = firstVideo();
    if (!v || v->data.video.gopSize < 2 || v->data.video.gopPeriod < 1)
        return 0;
    return uint64_t(frames) * 8 + 16;
}

uint64_t FileWriter::getSdtpSize(unsigned frames) const { return isOpenGOP() ? uint64_t(frames) + 20 : 0; }

uint64_t FileWriter::getOpenGopMaxChunks(unsigned frames) const
{
    uint64_t a = m_chunkCycle.size() > 0 ? std::max(m_chunkCycle[0], 1u) : 1;
    uint64_t b = m_chunkCycle.size() > 1 ? std::max(m_chunkCycle[1], 1u) : 1;
    uint64_t f = frames;
    return (f * a / (a + b) + 1) / a + (f * b / (a + b) + 1) / b + 2;
}

uint64_t FileWriter::calcHeaderSize(unsigned maxFrames)
{
    const Track* video = firstVideo();
    double rate = video ? videoRate() : 25.0;
    if (rate <= 0)
        rate = 25.0;
    if (maxFrames == 0)
        m_maxFileAtoms = unsigned(m_maxFileAtoms * rate / 25.0);
    else if (maxFrames < m_maxFileAtoms)
        m_maxFileAtoms = maxFrames + (video && video->data.video.gopSize > 1 ? video->data.video.gopSize : 0);
    bool perChunk = maxFrames == 0 || !video || !(video->data.video.flags & VideoFollowGuidelines);
    unsigned frames = m_maxFileAtoms;
    m_maxDuration = frames / rate;
    if (!(m_maxDuration > 0))
        m_maxDuration = 1.0;
    uint64_t stss = getStssSize(frames), ctts = getCtssSize(frames), stps = getStpsSize(frames),
             sdtp = getSdtpSize(frames);

    // The cfg operations tell the chunking; what they record is cleared after.
    m_maxChunks.assign(m_tracks.size(), 0);
    m_maxChunkOffsets.assign(m_tracks.size(), 0);
    m_headerAtomSizes.clear();
    unsigned videoCount = 0, audioCount = 0, ccCount = 0, tcCount = 0;
    for (unsigned i = 0; i < m_tracks.size(); ++i) {
        Track& t = m_tracks[i];
        uint64_t chunks = 1, total = 0;
        bool partial = false;
        HeaderAtomSizes sizes;
        if (t.data.streamType == StreamVideo) {
            ++videoCount;
            cfgVideo(i);
            getChunkDetails(i, chunks, total, partial);
            uint64_t maxChunks = chunks, maxOffsets = chunks;
            if (isOpenGOP()) {
                maxChunks = maxOffsets = getOpenGopMaxChunks(frames) + 1;
            } else if (t.data.video.gopSize > 1) {
                maxOffsets += t.data.video.gopSize;
            }
            unsigned spc = unsigned(std::max(t.essence.samplesPerChunk, 1));
            sizes.stco = maxOffsets * 8 + 16;
            sizes.stsc = perChunk ? maxChunks * 12 + 16 : (maxChunks > 1 && frames % spc != 0 ? 40 : 28);
            sizes.stsz = t.essence.variableSizes ? uint64_t(frames) * 4 + (perChunk ? 24 : 20) : 24;
            sizes.stts = 24;
            sizes.stss = stss, sizes.ctts = ctts, sizes.stps = stps, sizes.sdtp = sdtp;
            m_maxChunks[i] = uint32_t(std::min<uint64_t>(maxChunks, UINT32_MAX));
            m_maxChunkOffsets[i] = uint32_t(std::min<uint64_t>(maxOffsets, UINT32_MAX));
        } else if (t.data.streamType == StreamAudio) {
            ++audioCount;
            cfgAudio(i);
            getChunkDetails(i, chunks, total, partial);
            uint64_t maxChunks = chunks, maxOffsets = chunks;
            if (isAac(i)) {
                uint64_t samples = uint64_t(t.data.audio.sampleRate * m_maxDuration);
                sizes.stsz = ((samples >> 10) + 1) * 4 + 24;
                maxChunks = uint64_t(std::ceil(m_maxDuration)) + 1;
                maxOffsets = 2 * maxChunks;
            } else {
                sizes.stsz = 24;
                if (isOpenGOP())
                    maxChunks = maxOffsets = uint64_t(std::max(m_maxDuration, 30.0) * rate);
            }
            double secondsPerChunkCheck = std::fmod(frames / std::ceil(rate), 0.5);
            sizes.stsc = perChunk ? maxChunks * 12 + 16 : (maxChunks > 1 && secondsPerChunkCheck != 0 ? 40 : 28);
            sizes.stco = maxOffsets * 8 + 16;
            sizes.stts = 24;
            m_maxChunks[i] = uint32_t(std::min<uint64_t>(maxChunks, UINT32_MAX));
            m_maxChunkOffsets[i] = uint32_t(std::min<uint64_t>(maxOffsets, UINT32_MAX));
        } else if (t.data.streamType == StreamTimecode) {
            ++tcCount;
            cfgTimecode(i);
            sizes.stsc = 28, sizes.stsz = 24, sizes.stco = 24, sizes.stts = 24;
            m_maxChunks[i] = m_maxChunkOffsets[i] = 1;
        } else if (t.data.streamType == StreamAncillary) {
            ++ccCount;
            cfgAnc(i);
            if (t.data.anc.fixedSampleSize) {
                m_maxChunks[i] = 1, m_maxChunkOffsets[i] = frames;
                sizes.stsc = 28, sizes.stsz = 24;
            } else {
                m_maxChunks[i] = m_maxChunkOffsets[i] = frames;
                sizes.stsc = 28 + uint64_t(frames) * 12, sizes.stsz = 24 + uint64_t(frames) * 4;
            }
            sizes.stco = uint64_t(frames) * 8 + 16;
            sizes.stts = 24;
        } else {
            continue;
        }
        alignSampleSizeMode(i);
        // Tracks of one type share reserved sizes; the largest of them
        // stands, so that no track's table is cut (docs/decisions.md).
        auto found = m_headerAtomSizes.find(t.data.streamType);
        if (found == m_headerAtomSizes.end()) {
            m_headerAtomSizes[t.data.streamType] = sizes;
        } else {
            HeaderAtomSizes& kept = found->second;
            auto keepLarger = [](uint64_t& a, uint64_t b) {
                if (a == HeaderAtomSizes::unset || (b != HeaderAtomSizes::unset && b > a))
                    a = b;
            };
            keepLarger(kept.stsc, sizes.stsc), keepLarger(kept.stsz, sizes.stsz), keepLarger(kept.stco, sizes.stco);
            keepLarger(kept.stts, sizes.stts), keepLarger(kept.stss, sizes.stss), keepLarger(kept.ctts, sizes.ctts);
            keepLarger(kept.stps, sizes.stps), keepLarger(kept.sdtp, sizes.sdtp);
        }
    }
    // What the cfg calls recorded is forgotten; buildMovie runs them again.
    m_sampleSizeMode.clear();
    for (Track& t : m_tracks)
        t.essence = TrackEssenceBuffer{};

    auto v = [](uint64_t x) { return x == HeaderAtomSizes::unset ? 0 : x; };
    uint64_t total = 2048;
    if (videoCount) {
        const HeaderAtomSizes& s = m_headerAtomSizes[StreamVideo];
        total += videoCount * (v(s.stss) + v(s.ctts) + v(s.stps) + v(s.sdtp) + v(s.stco) + v(s.stsz) + v(s.stsc) + 1048);
    }
    if (audioCount) {
        const HeaderAtomSizes& s = m_headerAtomSizes[StreamAudio];
        total += audioCount * (v(s.stsc) + v(s.stco) + v(s.stsz) + 1048);
    }
    if (ccCount) {
        const HeaderAtomSizes& s = m_headerAtomSizes[StreamAncillary];
        total += ccCount * (v(s.stco) + v(s.stsc) + v(s.stsz) + 1048);
    }
    total += tcCount * 1124;
    return std::max<uint64_t>(total, 0x10000);
}

void FileWriter::alignSampleSizeMode(unsigned track)
{
    // A cfg call that records no entry of its own ("dvh1" at other heights,
    // an audio format of no known kind) leaves the track the last entry's
    // rule; a copy of it keeps the list indexed by track.
    while (m_sampleSizeMode.size() < size_t(track) + 1)
        m_sampleSizeMode.push_back(m_sampleSizeMode.empty() ? allOnes : m_sampleSizeMode.back());
    TrackEssenceBuffer& e = m_tracks[track].essence;
    if (m_sampleSizeMode[track] == allOnes)
        e.variableSizes = true;
}

} // namespace Corvidane::QuickTime
