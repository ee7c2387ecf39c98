#include "quicktime/atoms/SampleTables.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <memory>

namespace Corvidane::QuickTime {

namespace {

// Index of the first run whose end lies past `sample`, or the run count.
size_t runOf(const std::vector<uint64_t>& ends, uint64_t sample)
{
    return static_cast<size_t>(std::upper_bound(ends.begin(), ends.end(), sample) - ends.begin());
}

} // namespace

size_t EditList::AddItem(EditListItem** item, const unsigned char* data, size_t length)
{
    if (!isVersion1())
        return QTRecordList::AddItem(item, data, length);
    if (length < wideEntrySize)
        return 0;
    uint64_t duration = readBE64(data);
    auto mediaTime = static_cast<int64_t>(readBE64(data + 8));
    auto edit = std::make_unique<EditListItem>();
    edit->trackDuration = static_cast<uint32_t>(std::min<uint64_t>(duration, UINT32_MAX));
    edit->mediaTime = mediaTime < 0 ? 0xFFFFFFFF : static_cast<uint32_t>(std::min<uint64_t>(mediaTime, 0xFFFFFFFE));
    edit->rate = fixed16ToFloat(readBE32(data + 16));
    *item = edit.release();
    return wideEntrySize;
}

void Time2SampleList::buildSums() const
{
    if (m_endSample.size() == m_items.size())
        return;
    m_endSample.clear();
    m_endTime.clear();
    uint64_t samples = 0, time = 0;
    for (const auto& item : m_items) {
        samples += item->count;
        time += uint64_t(item->count) * item->duration;
        m_endSample.push_back(samples);
        m_endTime.push_back(time);
    }
}

bool Time2SampleList::find(uint64_t sample, RunPosition& position) const
{
    buildSums();
    size_t entry = runOf(m_endSample, sample);
    if (entry >= m_items.size())
        return false;
    position.entry = entry;
    position.samplesBefore = entry ? m_endSample[entry - 1] : 0;
    position.timeBefore = entry ? m_endTime[entry - 1] : 0;
    return true;
}

uint32_t Time2SampleList::getSampleTime(uint32_t sample) const
{
    RunPosition at;
    if (!find(sample, at))
        return 0;
    return static_cast<uint32_t>(at.timeBefore + (sample - at.samplesBefore) * m_items[at.entry]->duration);
}

uint32_t Time2SampleList::getSampleDuration(uint32_t sample) const
{
    RunPosition at;
    return find(sample, at) ? m_items[at.entry]->duration : 0;
}

uint64_t Time2SampleList::startTime(uint64_t sample) const
{
    RunPosition at;
    if (!find(sample, at))
        return totalDuration();
    return at.timeBefore + (sample - at.samplesBefore) * m_items[at.entry]->duration;
}

uint64_t Time2SampleList::totalSamples() const
{
    buildSums();
    return m_endSample.empty() ? 0 : m_endSample.back();
}

uint64_t Time2SampleList::totalDuration() const
{
    buildSums();
    return m_endTime.empty() ? 0 : m_endTime.back();
}

uint64_t Time2SampleList::samplesStartingBefore(uint64_t time) const
{
    buildSums();
    // The first run that ends at or after the time holds the last such sample.
    size_t entry = static_cast<size_t>(std::lower_bound(m_endTime.begin(), m_endTime.end(), time) - m_endTime.begin());
    if (entry >= m_items.size())
        return totalSamples();
    uint64_t samplesBefore = entry ? m_endSample[entry - 1] : 0;
    uint64_t timeBefore = entry ? m_endTime[entry - 1] : 0;
    const Time2SampleItem& run = *m_items[entry];
    if (time <= timeBefore || run.duration == 0)
        return samplesBefore;
    return samplesBefore + std::min<uint64_t>(run.count, (time - timeBefore + run.duration - 1) / run.duration);
}

uint32_t CTTSList::getSampleOffset(uint32_t sample) const
{
    if (m_endSample.size() != m_items.size()) {
        m_endSample.clear();
        uint64_t samples = 0;
        for (const auto& item : m_items)
            m_endSample.push_back(samples += item->count);
    }
    size_t entry = runOf(m_endSample, sample);
    return entry < m_items.size() ? static_cast<uint32_t>(m_items[entry]->offset) : 0xFFFFFFFF;
}

void CTTSList::fix()
{
    int32_t lowest = 0;
    for (const auto& item : m_items)
        lowest = std::min(lowest, item->offset);
    if (lowest < 0)
        for (auto& item : m_items)
            item->offset = static_cast<int32_t>(static_cast<int64_t>(item->offset) - lowest);
}

bool Sample2ChunkList::locate(uint64_t sample, uint64_t chunkCount, uint64_t& chunk, uint32_t& indexInChunk,
                              uint32_t& samplesInChunk) const
{
    if (m_items.empty())
        return false;
    // One run covers the whole track whatever the chunk table's length: a
    // timecode track addresses its samples past a short table this way.
    if (m_items.size() == 1) {
        samplesInChunk = m_items[0]->samplesPerChunk;
        if (samplesInChunk == 0)
            return false;
        chunk = sample / samplesInChunk;
        indexInChunk = static_cast<uint32_t>(sample % samplesInChunk);
        return true;
    }
    // Each run starts at its first chunk (from 1) and ends at the next run's
    // first chunk, the last at the end of the chunk offset table. A table that
    // does not ascend gives empty runs rather than wrapped counts.
    if (m_sumsForChunkCount != chunkCount || m_firstSample.size() != m_items.size() + 1) {
        m_firstSample.assign(1, 0);
        for (size_t i = 0; i < m_items.size(); ++i) {
            uint64_t first = m_items[i]->firstChunk;
            uint64_t end = i + 1 < m_items.size() ? m_items[i + 1]->firstChunk : chunkCount + 1;
            uint64_t chunks = end > first ? end - first : 0;
            m_firstSample.push_back(m_firstSample.back() + chunks * m_items[i]->samplesPerChunk);
        }
        m_sumsForChunkCount = chunkCount;
    }
    size_t run = runOf(m_firstSample, sample);
    if (run == 0 || run > m_items.size())
        return false;
    const Sample2ChunkItem& item = *m_items[run - 1];
    uint64_t within = sample - m_firstSample[run - 1];
    if (item.samplesPerChunk == 0 || item.firstChunk == 0)
        return false;
    chunk = item.firstChunk - 1 + within / item.samplesPerChunk;
    indexInChunk = static_cast<uint32_t>(within % item.samplesPerChunk);
    samplesInChunk = item.samplesPerChunk;
    return true;
}

} // namespace Corvidane::QuickTime
