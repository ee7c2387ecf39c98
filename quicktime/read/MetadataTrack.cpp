#include "quicktime/read/MetadataTrack.h"

#include <climits>
#include <algorithm>
#include <map>

#include "frame/FourCC.h"

namespace Corvidane::QuickTime {

void Metadata_Track::setType(uint32_t subtype)
{
    static const std::pair<uint32_t, Type> types[] = {
        {fourCC("vide"), Video}, {fourCC("soun"), Audio},         {fourCC("tmcd"), Timecode},
        {fourCC("meta"), Meta},  {fourCC("clcp"), ClosedCaption}, {fourCC("text"), Text},
    };
    m_type = Unknown;
    for (const auto& [code, type] : types)
        if (code == subtype)
            m_type = type;
}

const TimecodeDescriptor* Metadata_Track::getTimecodeDescriptor() const
{
    return isTimecode() ? dynamic_cast<const TimecodeDescriptor*>(firstDescriptor()) : nullptr;
}

uint32_t Metadata_Track::getSampleOffset(uint32_t sample) const
{
    return compositionOffsets ? compositionOffsets->getSampleOffset(sample) : 0xFFFFFFFF;
}

uint32_t Metadata_Track::getSampleDuration(uint32_t sample) const
{
    return timeToSample ? timeToSample->getSampleDuration(sample) : 0;
}

int Metadata_Track::getTime2SampleEntryIndex(uint32_t sample, uint64_t& samples, uint64_t& time) const
{
    RunPosition at;
    if (!timeToSample || !timeToSample->find(sample, at))
        return -1;
    const Time2SampleItem& item = *timeToSample->item(at.entry);
    samples = at.samplesBefore + item.count;
    time = at.timeBefore + uint64_t(item.count) * item.duration;
    return static_cast<int>(at.entry);
}

uint32_t Metadata_Track::getEditListMediaTime() const
{
    const EditListItem* edit = editList ? editList->item(0) : nullptr;
    return edit ? edit->mediaTime : 0;
}

int64_t Metadata_Track::getEditListTrackDuration() const
{
    const EditListItem* edit = editList ? editList->item(0) : nullptr;
    return edit ? edit->trackDuration : -1;
}

void Metadata_Track::getTimeToSampleList(std::vector<TimeToSampleItem>& items) const
{
    items.clear();
    if (timeToSample)
        for (const auto& item : timeToSample->items())
            items.push_back({item->count, item->duration});
}

bool Metadata_Track::getRateAndScaleLimits(unsigned& minimum, unsigned& maximum, unsigned& timeScale,
                                           unsigned& count) const
{
    if (isTimecode() || !mediaHeader || !timeToSample || m_maxSampleDuration == 0)
        return false;
    minimum = m_minSampleDuration;
    maximum = m_maxSampleDuration;
    timeScale = mediaHeader->TimeScale;
    count = static_cast<unsigned>(timeToSample->get_Count());
    return true;
}

void Metadata_Track::combineSyncSampleLists()
{
    m_syncList.clear();
    // Entries the atom can't hold are not asked for: a count in the file
    // never decides how much is read.
    for (auto [list, partial] : {std::pair{syncSamples.get(), false}, std::pair{partialSyncSamples.get(), true}}) {
        if (!list)
            continue;
        uint32_t count = list->entriesPresent();
        m_syncList.reserve(m_syncList.size() + count);
        for (uint32_t i = 0; i < count; ++i) {
            unsigned number = 0;
            bool read = list->getItem(i, number);
            m_syncList.push_back({read ? number - 1 : 0xFFFFFFFF, partial});
        }
    }
    std::sort(m_syncList.begin(), m_syncList.end(),
              [](const SyncSampleItem& a, const SyncSampleItem& b) { return a.sample < b.sample; });
}

void Metadata_Track::findStartSample()
{
    if (!editList || !timeToSample)
        return;
    uint64_t time = getEditListMediaTime();
    uint64_t passed = 0;
    const Time2SampleItem* run = nullptr;
    for (const auto& item : timeToSample->items()) {
        uint64_t span = uint64_t(item->count) * item->duration;
        if (time < span) {
            run = item.get();
            break;
        }
        time -= span;
        passed += item->count;
    }
    if (!run)
        return;
    m_startSample = static_cast<uint32_t>(passed + time / run->duration);
    if (compositionOffsets && m_compositionStart == 0xFFFFFFFF) {
        // The earliest composition time among the first samples: an edit that
        // hides a composition delay starts the movie at sample 0.
        uint64_t lowest = 65535, running = 0;
        for (uint32_t sample = 0; sample < 10; ++sample) {
            uint32_t offset = getSampleOffset(sample);
            if (offset != 0xFFFFFFFF)
                lowest = std::min<uint64_t>(lowest, uint64_t(offset) + running);
            running += getSampleDuration(sample);
        }
        if (lowest == 0) {
            m_compositionStart = 0;
            return;
        }
        m_compositionStart = static_cast<uint32_t>(lowest / run->duration);
    }
    if (m_compositionStart <= m_startSample)
        m_startSample -= m_compositionStart;
}

namespace {

// Composition offsets move a frame a few places from where it is coded (3 in
// the phone and camera files seen); searches around a time look this far
// either way, so no table's counts decide how long they take.
constexpr uint64_t reorderWindow = 32;

} // namespace

void Metadata_Track::startAtKeyFrame()
{
    if (!isVideo() || !editList || !timeToSample)
        return;
    // The first frame in decode order that is still on screen when the edit
    // starts; frames coded before it may only be needed to decode it.
    const int64_t editStart = getEditListMediaTime();
    const uint64_t total = tabledSampleCount();
    uint64_t coded = timeToSample->samplesStartingBefore(uint64_t(editStart) + 1);
    coded = coded ? coded - 1 : 0;
    uint64_t first = coded > reorderWindow ? coded - reorderWindow : 0;
    const uint64_t last = std::min(total, coded + reorderWindow + 1);
    while (first < last && compositionTime(first) + getSampleDuration(static_cast<uint32_t>(first)) <= editStart)
        ++first;
    if (first >= total)
        return;
    uint32_t key = 0;
    m_startSample = findKeyframe(static_cast<uint32_t>(first), false, key) ? key : 0;
}

uint64_t Metadata_Track::tabledSampleCount() const
{
    if (!timeToSample)
        return 0;
    uint64_t count = timeToSample->totalSamples();
    if (sampleSizes)
        count = std::min<uint64_t>(count, sampleSizes->isFixedSampleSize() ? sampleSizes->getEntriesOnDisk()
                                                                            : sampleSizes->entriesPresent());
    return std::min<uint64_t>(count, UINT32_MAX);
}

int64_t Metadata_Track::compositionTime(uint64_t sample) const
{
    RunPosition at;
    if (!timeToSample || !timeToSample->find(sample, at))
        return INT64_MAX;
    // Damaged tables may sum past 63 bits; such times sort last.
    const uint32_t duration = timeToSample->item(at.entry)->duration;
    unsigned __int128 decode = at.timeBefore + static_cast<unsigned __int128>(sample - at.samplesBefore) * duration;
    if (decode > INT64_MAX / 2)
        return INT64_MAX / 2;
    int32_t offset = compositionOffsets ? static_cast<int32_t>(getSampleOffset(static_cast<uint32_t>(sample))) : 0;
    return static_cast<int64_t>(decode) + offset;
}

uint32_t Metadata_Track::countShownSamples() const
{
    const uint64_t total = tabledSampleCount();
    uint64_t end = total;
    if (editList && total) {
        // A frame that starts before the edit ends is shown, the last one in
        // part. Frames coded from `coded` on start after it, unless reordered.
        const int64_t editEnd = int64_t(getEditListMediaTime()) + static_cast<int64_t>(getTrackDuration());
        const uint64_t coded = std::min(total, timeToSample->samplesStartingBefore(uint64_t(editEnd)));
        const uint64_t lowest = std::max<uint64_t>(m_startSample, coded > reorderWindow ? coded - reorderWindow : 0);
        end = coded;
        while (end > lowest && compositionTime(end - 1) >= editEnd)
            --end;
        for (uint64_t sample = coded; sample < std::min(total, coded + reorderWindow); ++sample)
            if (compositionTime(sample) < editEnd)
                end = sample + 1;
    }
    return end > m_startSample ? static_cast<uint32_t>(end - m_startSample) : 0;
}

bool Metadata_Track::getPresentationRank(uint32_t frame, uint32_t& rank) const
{
    const uint64_t sample = uint64_t(frame) + m_startSample;
    const uint64_t total = tabledSampleCount();
    if (sample >= total)
        return false;
    // Its place in decode order, less the frames coded before it but shown
    // after it, plus those coded after it but shown before it.
    const int64_t shown = compositionTime(sample);
    uint64_t place = frame;
    const uint64_t before = std::max<uint64_t>(m_startSample, sample > reorderWindow ? sample - reorderWindow : 0);
    for (uint64_t other = before; other < sample; ++other)
        if (compositionTime(other) > shown)
            --place;
    const uint64_t after = std::min(total, sample + reorderWindow + 1);
    for (uint64_t other = sample + 1; other < after; ++other)
        if (compositionTime(other) < shown)
            ++place;
    rank = static_cast<uint32_t>(place);
    return true;
}

uint64_t Metadata_Track::getTrackMediaDuration() const
{
    if (!mediaHeader)
        return 0;
    if (mediaHeader->duration() > 0)
        return mediaHeader->duration();
    return timeToSample ? timeToSample->totalDuration() : 0;
}

uint64_t Metadata_Track::getTrackDuration() const
{
    if (!mediaHeader || !timeToSample)
        return 0;
    if (!editList)
        return timeToSample->totalDuration();
    uint64_t duration = static_cast<uint64_t>(getEditListTrackDuration());
    if (m_movieTimeScale == 0)
        return duration;
    return duration * mediaHeader->TimeScale / m_movieTimeScale;
}

uint64_t Metadata_Track::tableSampleCount() const
{
    uint64_t count = timeToSample ? timeToSample->totalSamples() : 0;
    if (sampleSizes)
        count = std::min<uint64_t>(count, sampleSizes->isFixedSampleSize() ? sampleSizes->getEntriesOnDisk()
                                                                          : sampleSizes->entriesPresent());
    return count;
}

uint64_t Metadata_Track::presentedAudioSamples() const
{
    uint64_t end = tableSampleCount();
    if (editList) {
        uint64_t from = getEditListMediaTime();
        if (from >= timeToSample->totalDuration())
            return 0;
        // The edit's length in media units, rounded up: a sample that starts
        // inside its last fraction of a unit is still shown.
        uint64_t shown = static_cast<uint64_t>(getEditListTrackDuration()) * mediaHeader->TimeScale;
        if (m_movieTimeScale)
            shown = (shown + m_movieTimeScale - 1) / m_movieTimeScale;
        // An edit that reaches the table's end shows the rest of it, samples
        // of no duration at the very end included.
        if (from + shown < timeToSample->totalDuration())
            end = std::min(end, timeToSample->samplesStartingBefore(from + shown));
    }
    return end > m_startSample ? end - m_startSample : 0;
}

// Sound comes in packets of one duration, give or take a first packet that
// carries priming or a last one cut short: the scale is the duration that
// most of the packets shown have, and the length the packets shown.
bool Metadata_Track::getAudioRateAndScale(int& rate, int& scale)
{
    uint64_t count = presentedAudioSamples();
    if (count == 0)
        return false;
    uint64_t first = m_startSample, end = first + count;
    RunPosition from, to;
    if (!timeToSample->find(first, from) || !timeToSample->find(end - 1, to))
        return false;
    std::map<uint32_t, uint64_t> samplesByDuration;
    for (size_t i = from.entry; i <= to.entry; ++i) {
        const Time2SampleItem& run = *timeToSample->item(i);
        m_minSampleDuration = std::min(m_minSampleDuration, run.duration);
        m_maxSampleDuration = std::max(m_maxSampleDuration, run.duration);
        // Only the part of the first and the last run that is shown counts.
        uint64_t runStart = i == from.entry ? first - from.samplesBefore : 0;
        uint64_t runEnd = i == to.entry ? end - to.samplesBefore : run.count;
        if (run.duration)
            samplesByDuration[run.duration] += runEnd - runStart;
    }
    auto most = std::max_element(samplesByDuration.begin(), samplesByDuration.end(),
                                 [](const auto& a, const auto& b) { return a.second < b.second; });
    if (most == samplesByDuration.end() || most->first > INT_MAX)
        return false;
    rate = static_cast<int>(mediaHeader->TimeScale);
    scale = static_cast<int>(most->first);
    return true;
}

bool Metadata_Track::getRateAndScale(int& rate, int& scale)
{
    if (isTimecode()) {
        const TimecodeDescriptor* timecode = getTimecodeDescriptor();
        rate = timecode ? timecode->NumberOfFrames : 0;
        // Drop frame counts 30 (or 60) labels a second; some writers put the
        // 29.97 (59.94) rate's whole part instead.
        if (timecode && (timecode->Flags & 1) && (rate == 29 || rate == 59))
            ++rate;
        scale = 1;
        return true;
    }
    if (!mediaHeader || !timeToSample)
        return false;
    if (isAudio())
        return getAudioRateAndScale(rate, scale);
    const int64_t D = static_cast<int64_t>(getTrackDuration());
    const int64_t m = getEditListMediaTime();
    uint64_t samples = 0, time = 0;
    int first = getTime2SampleEntryIndex(m_startSample, samples, time);
    if (first < 0)
        return false;
    int64_t n = static_cast<int64_t>(samples) - m_startSample;
    int64_t t = static_cast<int64_t>(time) - m;
    bool reached = false;
    const auto& items = timeToSample->items();
    for (size_t i = static_cast<size_t>(first); i < items.size(); ++i) {
        if (i > static_cast<size_t>(first)) {
            // Counts and durations are 32-bit each; a damaged table can make
            // their sums leave 64 bits, so they stop at the largest value.
            int64_t span = 0;
            if (__builtin_mul_overflow(int64_t(items[i]->count), int64_t(items[i]->duration), &span) ||
                __builtin_add_overflow(t, span, &t))
                t = INT64_MAX;
            if (__builtin_add_overflow(n, int64_t(items[i]->count), &n))
                n = INT64_MAX;
        }
        m_minSampleDuration = std::min(m_minSampleDuration, items[i]->duration);
        m_maxSampleDuration = std::max(m_maxSampleDuration, items[i]->duration);
        if (t >= D) {
            if (t > D)
                n = t > 0 ? static_cast<int64_t>(static_cast<__int128>(n) * D / t) : 0;
            reached = true;
            break;
        }
    }
    // An edit that runs past the table: the table's own duration is trusted.
    if (!reached && D > t && uint64_t(D) != uint32_t(m + t) && isVideo() && items.size() < 3) {
        if (n <= 0)
            return false;
        rate = static_cast<int>(mediaHeader->TimeScale);
        scale = static_cast<int>(m_maxSampleDuration);
        return true;
    }
    if (n <= 0)
        return false;
    rate = static_cast<int>(mediaHeader->TimeScale);
    scale = static_cast<int>(D / n);
    return true;
}

uint32_t Metadata_Track::getLength()
{
    if (!m_haveLength) {
        int rate = 0, scale = 0;
        // Durations vary and edits end inside frames: pictures and data are
        // counted in the tables, not divided out of a duration.
        if (!isAudio() && !isTimecode())
            m_length = countShownSamples();
        else if (!getRateAndScale(rate, scale) || scale <= 0)
            m_length = 0;
        else if (isAudio())
            m_length = static_cast<uint32_t>(presentedAudioSamples());
        else
            m_length = static_cast<uint32_t>(getTrackDuration() / scale);
        m_haveLength = true;
    }
    return m_length;
}

uint32_t Metadata_Track::getSampleLength()
{
    if (!m_haveSampleLength) {
        int rate = 0, scale = 0;
        uint32_t length = getRateAndScale(rate, scale) && scale > 0
                              ? static_cast<uint32_t>(getTrackMediaDuration() / scale)
                              : 0;
        m_sampleLength = length == getLength() ? length + 2 : length;
        // Every sample shown can be read, also where the edit runs past the
        // media's duration.
        m_sampleLength = static_cast<uint32_t>(
            std::max<uint64_t>(m_sampleLength, uint64_t(m_startSample) + getLength()));
        m_haveSampleLength = true;
    }
    return m_sampleLength;
}

bool Metadata_Track::chunkOffset(uint64_t chunk, uint64_t& offset)
{
    offset = 0;
    if (chunkOffsets) {
        // A timecode track addresses its samples past its short table.
        if (isTimecode() && chunk >= chunkOffsets->entriesPresent())
            chunk = 0;
        unsigned value = 0;
        // A chunk past the table holds no sample.
        if (chunk > UINT32_MAX || !chunkOffsets->getItem(static_cast<uint32_t>(chunk), value))
            return false;
        offset = value;
        // An offset of 0 counts from the start of this file, which an
        // external essence file can't use.
        return offset != 0 || m_essenceFile.empty();
    }
    unsigned long value = 0;
    if (chunk > UINT32_MAX || !chunkOffsets64->getItem(static_cast<uint32_t>(chunk), value))
        return false;
    offset = value;
    // In a 64-bit table it is the other way round: 0 is only usable as an
    // offset into an external essence file.
    return offset != 0 || !m_essenceFile.empty();
}

uint64_t Metadata_Track::bytesBefore(uint64_t chunk, uint32_t firstSampleOfChunk, uint32_t sample)
{
    if (m_walk.chunk != chunk || m_walk.sample > sample) {
        m_walk.chunk = chunk;
        m_walk.sample = firstSampleOfChunk;
        m_walk.bytes = 0;
    }
    for (; m_walk.sample < sample; ++m_walk.sample)
        m_walk.bytes += sampleSizes->get_SampleSize(m_walk.sample);
    return m_walk.bytes;
}

bool Metadata_Track::getSampleOffsetAndSize2(uint32_t sample, uint64_t& offset, uint32_t& size,
                                             uint32_t& samplesLeftInChunk)
{
    if (!sampleToChunk || !sampleSizes || (!chunkOffsets && !chunkOffsets64))
        return false;
    // A timecode track addresses frames past its short tables: they read its
    // first sample, whether its sizes are a constant or a list.
    if (isTimecode() && !sampleSizes->isFixedSampleSize() && sample >= sampleSizes->entriesPresent())
        sample = 0;
    size = sampleSizes->get_SampleSize(sample);
    if (size == 0)
        return false;
    samplesLeftInChunk = 1;
    uint32_t block = 0;
    if (isAudio() && sampleDescriptions) {
        block = sampleDescriptions->getAudioBlockSize(0);
        // PCM tables that count bytes rather than frames.
        if (block > size)
            size = block;
        else
            block = 0;
    }
    uint64_t chunkCount = chunkOffsets ? chunkOffsets->entriesPresent() : chunkOffsets64->entriesPresent();
    uint64_t chunk = 0;
    uint32_t skip = 0, samplesInChunk = 0;
    if (!sampleToChunk->locate(sample, chunkCount, chunk, skip, samplesInChunk))
        return false;
    if (sampleToChunk->get_Count() > 1 || samplesInChunk >= 2)
        samplesLeftInChunk = samplesInChunk - skip;
    uint64_t within = 0;
    if (block)
        within = uint64_t(block) * skip;
    else if (sampleSizes->isFixedSampleSize())
        within = uint64_t(skip) * sampleSizes->get_SampleSize(0);
    else
        within = bytesBefore(chunk, sample - skip, sample);
    uint64_t base = 0;
    if (!chunkOffset(chunk, base))
        return false;
    offset = base + within;
    return true;
}

bool Metadata_Track::getSampleOffsetAndSize(uint32_t sample, uint64_t& offset, uint32_t& size)
{
    uint32_t left = 0;
    return getSampleOffsetAndSize2(sample, offset, size, left);
}

std::vector<SyncSampleItem>::const_iterator Metadata_Track::firstSyncAtOrAfter(uint32_t sample) const
{
    return std::lower_bound(m_syncList.begin(), m_syncList.end(), sample,
                            [](const SyncSampleItem& item, uint32_t value) { return item.sample < value; });
}

uint16_t Metadata_Track::getFrameType(uint32_t sample, uint32_t& previousSync)
{
    if (m_syncList.empty())
        return FrameIntra;
    auto at = firstSyncAtOrAfter(sample);
    if (at != m_syncList.begin())
        previousSync = std::prev(at)->sample;
    // Without sdtp a frame that is no sync frame counts as bidirectional.
    uint16_t type = at != m_syncList.end() && at->sample == sample ? FrameIntra : FrameBidirectional;
    if (openGops()) {
        uint16_t dependency = getSdtpFrameType(sample);
        if (dependency)
            type = dependency;
    }
    return type;
}

uint16_t Metadata_Track::getSdtpFrameType(uint32_t sample)
{
    unsigned char flags = 0;
    if (!sampleDependency || !sampleDependency->getItem(sample, flags))
        return 0;
    switch (flags) {
    case 0x54:
    case 0x40: return FramePredicted;
    case 0x60:
    case 0x64: return FrameIntra;
    case 0x18:
    case 0x08: return FrameBidirectional;
    default: return 0;
    }
}

int Metadata_Track::getGopLength()
{
    if (m_gopLength > 0)
        return m_gopLength;
    if (m_syncList.size() < 2) {
        m_gopLength = 1;
        return 1;
    }
    int longest = 1;
    uint32_t previous = 0;
    size_t count = std::min<size_t>(m_syncList.size(), 64);
    for (size_t i = 1; i < count; ++i) {
        uint32_t s = m_syncList[i].sample;
        uint32_t f = s ? s - 1 : 0;
        if (f < previous)
            break;
        longest = std::max<int>(longest, static_cast<int>(std::min<uint32_t>(f - previous, INT32_MAX)));
        previous = f;
    }
    m_gopLength = longest;
    return longest;
}

bool Metadata_Track::findKeyframe(uint32_t sample, bool forward, uint32_t& result)
{
    if (m_syncList.empty()) {
        result = sample;
        return true;
    }
    auto at = firstSyncAtOrAfter(sample);
    if (at != m_syncList.end() && at->sample == sample) {
        result = sample;
        return true;
    }
    if (at != m_syncList.end() && forward) {
        result = at->sample;
        return true;
    }
    if (at == m_syncList.begin())
        return false;
    if (forward)
        return false;
    auto taken = std::prev(at);
    // A frame shown before the open GOP's entry point belongs to the previous GOP.
    if (taken != m_syncList.begin() && taken->partial && compositionOffsets) {
        int32_t o = static_cast<int32_t>(getSampleOffset(sample));
        if (o < 0) {
            uint32_t d = getSampleDuration(sample);
            int32_t os = static_cast<int32_t>(getSampleOffset(taken->sample));
            uint32_t ds = getSampleDuration(taken->sample);
            if (d && ds && int64_t(sample) + o / int64_t(d) < int64_t(taken->sample) + os / int64_t(ds))
                taken = std::prev(taken);
        }
    }
    result = taken->sample;
    return true;
}

} // namespace Corvidane::QuickTime
