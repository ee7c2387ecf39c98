#include "quicktime/read/Fragments.h"

#include <algorithm>

#include "frame/FourCC.h"

namespace Corvidane::QuickTime {

void Metadata_traf::setHeader(const TrackFragmentHeader& header)
{
    m_header = header;
    m_hasHeader = true;
    for (const TrackExtends& extends : m_extends)
        if (extends.track_id == header.track_id)
            m_defaults = extends;
}

uint64_t Metadata_traf::sampleCount() const
{
    uint64_t count = 0;
    for (const auto& run : runs)
        count += run.sampleCount();
    return count;
}

uint64_t Metadata_traf::endSample() const
{
    return m_startSample == unset ? unset : m_startSample + sampleCount();
}

bool Metadata_traf::holdsSample(uint32_t sample) const
{
    return m_startSample != unset && sample >= m_startSample && sample - m_startSample < sampleCount();
}

void Metadata_traf::cacheRunStarts()
{
    if (m_runsCached)
        return;
    uint64_t first = 0;
    for (const auto& run : runs) {
        m_runFirst.push_back(first);
        first += run.sampleCount();
    }
    m_runsCached = true;
}

size_t Metadata_traf::findRun(uint64_t index, uint64_t& inRun)
{
    cacheRunStarts();
    // The last run starting at or before the sample; empty runs are passed over.
    auto at = std::upper_bound(m_runFirst.begin(), m_runFirst.end(), index);
    if (at == m_runFirst.begin())
        return runs.size();
    size_t run = static_cast<size_t>(at - m_runFirst.begin()) - 1;
    inRun = index - m_runFirst[run];
    return inRun < runs[run].sampleCount() ? run : runs.size();
}

uint32_t Metadata_traf::sampleSize(uint64_t index)
{
    uint64_t inRun = 0;
    size_t run = findRun(index, inRun);
    if (run == runs.size())
        return 0;
    if (runs[run].has(TrackRunSampleList::hasSize))
        return runs[run].samples[inRun].sample_size;
    return defaultSampleSize();
}

uint32_t Metadata_traf::defaultSampleSize() const
{
    return m_header.has(TrackFragmentHeader::hasSize) ? m_header.default_sample_size : m_defaults.default_sample_size;
}

void Metadata_traf::cacheOffsetsAndSizes()
{
    if (m_offsetsCached)
        return;
    const uint64_t base = m_header.has(TrackFragmentHeader::hasBaseDataOffset) ? m_header.base_data_offset
                          : m_header.has(TrackFragmentHeader::defaultBaseIsMoof) ? m_moofOffset
                                                                                  : m_implicitBase;
    // A run without a data offset follows the run before it.
    uint64_t end = base;
    for (const auto& run : runs) {
        uint64_t start = run.has(TrackRunSampleList::hasDataOffset)
                             ? base + static_cast<uint64_t>(static_cast<int64_t>(run.data_offset))
                             : end;
        m_runStart.push_back(start);
        std::vector<uint64_t> offsets;
        uint64_t bytes = 0;
        if (run.has(TrackRunSampleList::hasSize)) {
            offsets.reserve(run.samples.size());
            for (const auto& sample : run.samples) {
                offsets.push_back(bytes);
                bytes += sample.sample_size;
            }
        } else {
            bytes = uint64_t(run.sampleCount()) * defaultSampleSize();
        }
        m_runOffsets.push_back(std::move(offsets));
        end = start + bytes;
    }
    m_dataEnd = end;
    m_offsetsCached = true;
}

uint64_t Metadata_traf::dataEnd()
{
    cacheOffsetsAndSizes();
    return m_dataEnd;
}

uint64_t Metadata_traf::sampleOffset(uint64_t index)
{
    uint64_t inRun = 0;
    size_t run = findRun(index, inRun);
    if (run == runs.size())
        return 0;
    cacheOffsetsAndSizes();
    const auto& offsets = m_runOffsets[run];
    // Runs without sizes of their own hold samples of one size.
    return m_runStart[run] + (offsets.empty() ? inRun * sampleSize(index) : offsets[inRun]);
}

uint32_t Metadata_traf::sampleDuration(uint64_t index)
{
    uint64_t inRun = 0;
    size_t run = findRun(index, inRun);
    if (run < runs.size() && runs[run].has(TrackRunSampleList::hasDuration))
        return runs[run].samples[inRun].sample_duration;
    return m_header.has(TrackFragmentHeader::hasDuration) ? m_header.default_sample_duration
                                                          : m_defaults.default_sample_duration;
}

bool Metadata_traf::hasUniformDuration()
{
    if (m_uniformity == Uniformity::unknown) {
        cacheRunStarts();
        m_uniformity = Uniformity::uniform;
        const uint32_t first = sampleDuration(0);
        for (size_t run = 0; run < runs.size() && m_uniformity == Uniformity::uniform; ++run) {
            const auto& r = runs[run];
            if (!r.has(TrackRunSampleList::hasDuration)) {
                if (r.sampleCount() > 0 && sampleDuration(m_runFirst[run]) != first)
                    m_uniformity = Uniformity::varied;
                continue;
            }
            for (const auto& sample : r.samples)
                if (sample.sample_duration != first) {
                    m_uniformity = Uniformity::varied;
                    break;
                }
        }
    }
    return m_uniformity == Uniformity::uniform;
}

int64_t Metadata_traf::sampleCompositionOffset(uint64_t index)
{
    uint64_t inRun = 0;
    size_t run = findRun(index, inRun);
    if (run == runs.size() || !runs[run].has(TrackRunSampleList::hasCompositionOffset))
        return 0;
    return runs[run].samples[inRun].sample_composition_time_offsets;
}

bool Metadata_traf::hasCompositionOffsets() const
{
    for (const auto& run : runs)
        if (run.sampleCount() > 0)
            return run.has(TrackRunSampleList::hasCompositionOffset);
    return false;
}

uint32_t Metadata_traf::sampleFlags(size_t run, uint64_t inRun) const
{
    const auto& r = runs[run];
    if (r.has(TrackRunSampleList::hasFlags))
        return r.samples[inRun].sample_flags;
    if (inRun == 0 && r.has(TrackRunSampleList::hasFirstSampleFlags))
        return r.first_sample_flags;
    return defaultSampleFlags();
}

uint32_t Metadata_traf::defaultSampleFlags() const
{
    return m_header.has(TrackFragmentHeader::hasFlags) ? m_header.default_sample_flags
                                                       : m_defaults.default_sample_flags;
}

const SyncSampleRanges& Metadata_traf::syncSamples()
{
    if (m_syncCached)
        return m_sync;
    cacheRunStarts();
    // Every sample has flags: its own, the run's first sample's, or the
    // defaults of tfhd or trex. A run without flags of its own holds one
    // flagged sample at most, then samples of the default.
    const bool defaultIsSync = SampleFlags::isSync(defaultSampleFlags());
    for (size_t run = 0; run < runs.size(); ++run) {
        const auto& r = runs[run];
        const uint64_t first = m_runFirst[run], count = r.sampleCount();
        const uint64_t listed = r.has(TrackRunSampleList::hasFlags) ? count : std::min<uint64_t>(1, count);
        for (uint64_t i = 0; i < listed; ++i)
            if (SampleFlags::isSync(sampleFlags(run, i)))
                m_sync.add(first + i, first + i + 1);
        if (defaultIsSync)
            m_sync.add(first + listed, first + count);
    }
    m_syncCached = true;
    return m_sync;
}

uint16_t Metadata_traf::getSampleType(uint32_t sample)
{
    if (syncSamples().contains(sample - m_startSample))
        return FrameIntra;
    uint64_t inRun = 0;
    size_t run = findRun(sample - m_startSample, inRun);
    if (run < runs.size() && SampleFlags::isDependedOn(sampleFlags(run, inRun)) == 2)
        return FrameBidirectional;
    return FramePredicted;
}

int64_t Metadata_traf::presentationOffset()
{
    if (m_presentationCached || !hasCompositionOffsets())
        return m_presentationOffset;
    // The earliest of the first samples in display order, in samples.
    int64_t time = 0;
    bool any = false;
    uint64_t count = std::min<uint64_t>(10, sampleCount());
    for (uint64_t i = 0; i < count; ++i) {
        int64_t duration = sampleDuration(i);
        if (duration > 0) {
            int64_t shown = (time + sampleCompositionOffset(i)) / duration;
            m_presentationOffset = any ? std::min(m_presentationOffset, shown) : shown;
            any = true;
        }
        time += duration;
    }
    m_presentationCached = true;
    return m_presentationOffset;
}

CvResult Metadata_traf::getIndexEntry(uint32_t sample, IndexEntry& entry)
{
    if (!holdsSample(sample))
        return Fail;
    uint64_t index = sample - m_startSample;
    entry.offset = sampleOffset(index);
    entry.size = sampleSize(index);
    entry.decodeIndex = sample;
    entry.presentationIndex = sample;
    entry.frameType = getSampleType(sample);
    uint32_t duration = sampleDuration(index);
    if (hasCompositionOffsets() && duration > 0) {
        int64_t shown = int64_t(sample) + sampleCompositionOffset(index) / duration;
        int64_t offset = presentationOffset();
        if (offset <= shown)
            shown -= offset;
        if (shown >= 0 && shown <= int64_t(UINT32_MAX))
            entry.presentationIndex = static_cast<uint32_t>(shown);
    }
    return OK;
}

uint64_t Metadata_traf::samplesBeforeRun(uint32_t number) const
{
    uint64_t count = 0;
    for (size_t run = 0; run + 1 < number && run < runs.size(); ++run)
        count += runs[run].sampleCount();
    return count;
}

CvResult Metadata_moof::trackSampleCount(uint32_t trackId, uint64_t& count) const
{
    uint32_t first = 0;
    return trackSampleStartAndCount(trackId, first, count);
}

CvResult Metadata_moof::trackSampleStartAndCount(uint32_t trackId, uint32_t& first, uint64_t& count) const
{
    bool found = false;
    count = 0;
    for (const auto& traf : trafs) {
        if (traf->trackId() != trackId)
            continue;
        if (!found)
            first = traf->startSample();
        found = true;
        count += traf->sampleCount();
    }
    return found ? OK : Fail;
}

CvResult Metadata_moof::trackSampleDuration(uint32_t trackId, uint32_t& duration)
{
    for (const auto& traf : trafs)
        if (traf->trackId() == trackId) {
            duration = traf->sampleDuration(0);
            return OK;
        }
    return Fail;
}

CvResult Metadata_moof::trackUniformSampleDuration(uint32_t trackId, uint32_t& duration)
{
    if (trackSampleDuration(trackId, duration) != OK)
        return Fail;
    for (const auto& traf : trafs)
        if (traf->trackId() == trackId && (!traf->hasUniformDuration() || traf->sampleDuration(0) != duration))
            return Fail;
    return OK;
}

CvResult Metadata_moof::startSample(uint32_t trackId, uint32_t& sample) const
{
    uint64_t count = 0;
    return trackSampleStartAndCount(trackId, sample, count);
}

CvResult Metadata_moof::setStartSample(uint32_t trackId, uint32_t first)
{
    uint64_t next = first;
    bool found = false;
    for (const auto& traf : trafs) {
        if (traf->trackId() != trackId)
            continue;
        if (next >= Metadata_traf::unset)
            return Fail;
        traf->setStartSample(static_cast<uint32_t>(next));
        next += traf->sampleCount();
        found = true;
    }
    return found ? OK : Fail;
}

CvResult Metadata_moof::setStartSampleIndirect(uint32_t trackId, uint32_t trafNumber, uint32_t trunNumber,
                                              uint64_t time)
{
    if (trafNumber == 0 || trafNumber > trafs.size())
        return Fail;
    Metadata_traf& traf = *trafs[trafNumber - 1];
    if (traf.trackId() != trackId)
        return Fail;
    uint64_t run = traf.samplesBeforeRun(trunNumber);
    uint32_t duration = traf.sampleDuration(run);
    if (duration == 0)
        return Fail;
    int64_t decoded = int64_t(time) - (traf.hasCompositionOffsets() ? traf.sampleCompositionOffset(run) : 0);
    int64_t first = decoded / duration - int64_t(run);
    // The track's trafs ahead of this one come first.
    for (size_t i = 0; i + 1 < trafNumber; ++i)
        if (trafs[i]->trackId() == trackId)
            first -= static_cast<int64_t>(trafs[i]->sampleCount());
    if (first < 0 || first >= int64_t(Metadata_traf::unset))
        return Fail;
    return setStartSample(trackId, static_cast<uint32_t>(first));
}

CvResult Metadata_moof::findIndexEntry(uint32_t sample, uint32_t trackId, IndexEntry& entry)
{
    bool found = false;
    for (const auto& traf : trafs) {
        if (traf->trackId() != trackId)
            continue;
        found = true;
        if (traf->holdsSample(sample))
            return traf->getIndexEntry(sample, entry);
    }
    return found ? Fail : NotFound;
}

CvResult Metadata_moof::presentationOffset(uint32_t trackId, int64_t& offset)
{
    for (const auto& traf : trafs)
        if (traf->trackId() == trackId) {
            offset = traf->presentationOffset();
            return OK;
        }
    return Fail;
}

void Metadata_moof::setPresentationOffset(uint32_t trackId, int64_t offset)
{
    for (const auto& traf : trafs)
        if (traf->trackId() == trackId)
            traf->setPresentationOffset(offset);
}

CvResult Metadata_moof::syncSamples(uint32_t trackId, SyncSampleRanges& list)
{
    bool found = false;
    for (const auto& traf : trafs) {
        if (traf->trackId() != trackId)
            continue;
        found = true;
        if (traf->startSample() != Metadata_traf::unset)
            list.append(traf->syncSamples(), traf->startSample());
    }
    return found ? OK : Fail;
}

const TrackFragmentRandomAccess* Metadata_mfra::findTrackFragmentRandomAccess(uint32_t trackId) const
{
    for (const auto& table : tables)
        if (table->track_id == trackId)
            return table.get();
    return nullptr;
}

CvResult AtomParser_mvex::OnAtom(const uint32_t* type, const unsigned char* data, size_t length)
{
    if (*type == fourCC("mehd")) {
        auto header = std::make_unique<MovieExtendsHeader>();
        if (header->fromData(data, length))
            m_header = std::move(header);
    } else if (*type == fourCC("trex")) {
        TrackExtends extends;
        if (extends.fromData(data, length))
            m_extends.push_back(extends);
    }
    return OK;
}

CvResult AtomParser_moof::OnAtom(const uint32_t* type, const unsigned char* data, size_t length)
{
    if (*type == fourCC("mfhd")) {
        m_hasHeader = m_moof.header.fromData(data, length);
        return m_hasHeader ? OK : Unexpected;
    }
    if (*type == fourCC("traf")) {
        m_moof.trafs.push_back(std::make_unique<Metadata_traf>(m_moof.offset(), m_extends));
        return AtomParser_traf(*m_moof.trafs.back()).Parse(data, length, filename, fileOffset);
    }
    return OK;
}

CvResult AtomParser_moof::OnParseEnd()
{
    if (!m_hasHeader)
        return Unexpected;
    auto& trafs = m_moof.trafs;
    for (size_t i = 1; i < trafs.size(); ++i) {
        const TrackFragmentHeader& header = trafs[i]->header();
        if (!header.has(TrackFragmentHeader::hasBaseDataOffset) && !header.has(TrackFragmentHeader::defaultBaseIsMoof))
            trafs[i]->setImplicitBase(trafs[i - 1]->dataEnd());
    }
    return OK;
}

CvResult AtomParser_traf::OnAtom(const uint32_t* type, const unsigned char* data, size_t length)
{
    if (*type == fourCC("tfhd")) {
        TrackFragmentHeader header;
        if (!header.fromData(data, length))
            return Unexpected;
        m_traf.setHeader(header);
    } else if (*type == fourCC("trun")) {
        TrackRunSampleList run;
        if (!run.fromData(data, length))
            return Unexpected;
        m_traf.runs.push_back(std::move(run));
    }
    return OK;
}

CvResult AtomParser_mfra::OnAtom(const uint32_t* type, const unsigned char* data, size_t length)
{
    if (*type == fourCC("tfra")) {
        auto table = std::make_unique<TrackFragmentRandomAccess>();
        if (!table->fromData(data, length))
            return Unexpected;
        m_mfra.tables.push_back(std::move(table));
    }
    return OK;
}

} // namespace Corvidane::QuickTime
