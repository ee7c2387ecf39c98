#include <algorithm>

#include "frame/FourCC.h"
#include "quicktime/read/FileReader.h"

// The fragment side of the reader: moof atoms found on demand and kept.
namespace Corvidane::QuickTime {

namespace {

// A fragment's sync samples of a track, with its first sample and sample
// count; false when the fragment has no numbered samples of the track.
bool fragmentSyncSamples(Metadata_moof& moof, uint32_t trackId, SyncSampleRanges& sync, uint32_t& first,
                         uint64_t& count)
{
    sync.clear();
    if (moof.trackSampleStartAndCount(trackId, first, count) != OK || first == Metadata_traf::unset || count == 0)
        return false;
    moof.syncSamples(trackId, sync);
    return true;
}

// A fragment's frames are shown in the order its composition offsets give,
// less the delay of the track's first fragment: a fragment that starts inside
// a GOP has no delay of its own to measure.
void showLikeFirstFragment(Metadata_moof& first, Metadata_moof& moof, uint32_t trackId)
{
    int64_t offset = 0;
    if (first.presentationOffset(trackId, offset) == OK)
        moof.setPresentationOffset(trackId, offset);
}

} // namespace

uint32_t FileReader::movieSampleCount(const Metadata_Track& track)
{
    return track.timeToSample ? track.timeToSample->totalSamples() : 0;
}

CvResult FileReader::findMoof(uint64_t offset, Metadata_moof*& moof)
{
    const uint64_t fileSize = getSize();
    uint64_t window = 1024;
    for (;;) {
        if (offset >= fileSize)
            return Fail;
        uint64_t wanted = std::min(window, fileSize - offset);
        CByteBuffer buffer(wanted + 2 * getSectorSize());
        size_t start = 0, valid = 0;
        if (!isSuccess(readWindow(offset, wanted, buffer, start, valid)))
            return Fail;
        const unsigned char* data = buffer.getBuffer(start);
        size_t held = valid - start;
        if (held < 8)
            return Unexpected;
        uint64_t length = readBE32(data);
        if (length == 1) {
            if (held < 16)
                return Unexpected;
            length = readBE64(data + 8);
        }
        if (length < 8)
            return Unexpected;
        if (readCode(data + 4) != fourCC("moof")) {
            if (length > fileSize - offset)
                return Fail;
            offset += length;
            window = 1024;
            continue;
        }
        auto cached = m_moofs.find(offset);
        if (cached != m_moofs.end()) {
            moof = cached->second.get();
            return OK;
        }
        // A moof that runs past the file or is larger than a movie atom may
        // be is damage, not something to read into memory.
        if (length > fileSize - offset || length >= maxMoovSize) {
            m_damagedMoof = offset;
            return Unexpected;
        }
        if (length > held) {
            window = 2 * length;
            continue;
        }
        auto parsed = std::make_unique<Metadata_moof>(offset, length);
        CvResult result = AtomParser_moof(*parsed, m_movie.trackExtends)
                              .Parse(data, static_cast<size_t>(length), std::wstring(), offset);
        if (result > False) {
            m_damagedMoof = offset;
            return Unexpected;
        }
        moof = parsed.get();
        m_moofs[offset] = std::move(parsed);
        return OK;
    }
}

CvResult FileReader::checkIfIndexedAlready(uint32_t trackId, uint32_t sample, IndexEntry& entry,
                                           Metadata_moof*& from)
{
    from = nullptr;
    auto track = m_trackFragments.find(trackId);
    if (track == m_trackFragments.end())
        return Fail;
    auto at = track->second.upper_bound(sample);
    if (at == track->second.begin())
        return Fail;
    from = m_moofs.at((--at)->second).get();
    return from->findIndexEntry(sample, trackId, entry) == OK ? OK : Fail;
}

CvResult FileReader::cacheMoofsTillSampleAcquired(uint32_t trackId, uint32_t sample, Metadata_moof* from,
                                                  IndexEntry& entry)
{
    uint32_t first = 0;
    uint64_t count = 0, next = m_moovOffset;
    if (!from) {
        // Fragments follow the samples of moov.
        unsigned index = getTrackIndexFromTrackID(trackId);
        Metadata_Track* t = track(static_cast<int>(index));
        if (!t)
            return Fail;
        count = movieSampleCount(*t);
    }
    for (;;) {
        if (from) {
            // A fragment without the track leaves the numbering where the
            // track's last fragment put it.
            uint32_t fromFirst = 0;
            uint64_t fromCount = 0;
            if (from->trackSampleStartAndCount(trackId, fromFirst, fromCount) == OK)
                first = fromFirst, count = fromCount;
            next = from->offset() + from->length();
        }
        Metadata_moof* moof = nullptr;
        CvResult result = findMoof(next, moof);
        if (!isSuccess(result))
            return result;
        from = moof;
        uint64_t nextFirst = uint64_t(first) + count;
        if (nextFirst >= Metadata_traf::unset || moof->setStartSample(trackId, static_cast<uint32_t>(nextFirst)) != OK)
            continue;
        auto& fragments = m_trackFragments[trackId];
        fragments[static_cast<uint32_t>(nextFirst)] = moof->offset();
        showLikeFirstFragment(*m_moofs.at(fragments.begin()->second), *moof, trackId);
        if (sample == Metadata_traf::unset || moof->findIndexEntry(sample, trackId, entry) == OK)
            return OK;
    }
}

Metadata_moof* FileReader::firstMoof(uint32_t trackId)
{
    auto track = m_trackFragments.find(trackId);
    if (track != m_trackFragments.end() && !track->second.empty())
        return m_moofs.at(track->second.begin()->second).get();
    IndexEntry entry;
    if (cacheMoofsTillSampleAcquired(trackId, Metadata_traf::unset, nullptr, entry) != OK)
        return nullptr;
    return m_moofs.at(m_trackFragments[trackId].begin()->second).get();
}

const Metadata_mfra* FileReader::randomAccess()
{
    if (m_mfraRead)
        return m_mfra.get();
    m_mfraRead = true;
    if (m_mfroSize < 16)
        return nullptr;
    CByteBuffer buffer(16 + 2 * getSectorSize());
    size_t start = 0, valid = 0;
    if (!isSuccess(readWindow(m_mfroOffset, 16, buffer, start, valid)) || valid - start < 16)
        return nullptr;
    MovieFragmentRandomAccessOffset mfro;
    if (!mfro.fromData(buffer.getBuffer(start), 16))
        return nullptr;
    // mfra ends with its mfro; a length that can't be is not followed.
    uint64_t end = m_mfroOffset + 16;
    uint64_t length = mfro.mfraLength;
    if (length < 24 || length > end || length >= maxMoovSize)
        return nullptr;
    CByteBuffer mfra(length + 2 * getSectorSize());
    if (!isSuccess(readWindow(end - length, length, mfra, start, valid)) || valid - start < length)
        return nullptr;
    const unsigned char* data = mfra.getBuffer(start);
    if (readBE32(data) != length || readCode(data + 4) != fourCC("mfra"))
        return nullptr;
    auto parsed = std::make_unique<Metadata_mfra>();
    if (AtomParser_mfra(*parsed).Parse(data, static_cast<size_t>(length), std::wstring(), end - length) > False)
        return nullptr;
    m_mfra = std::move(parsed);
    return m_mfra.get();
}

CvResult FileReader::checkIfRandomAccessible(uint32_t trackId, uint32_t sample, IndexEntry& entry)
{
    const Metadata_mfra* mfra = randomAccess();
    const TrackFragmentRandomAccess* table = mfra ? mfra->findTrackFragmentRandomAccess(trackId) : nullptr;
    if (!table || table->entries.empty())
        return Fail;
    // A time leads to a sample number only when the samples are of one
    // duration; the first fragment must bear that out, or the walk decides.
    Metadata_moof* first = firstMoof(trackId);
    uint32_t duration = 0;
    if (!first || first->trackUniformSampleDuration(trackId, duration) != OK || duration == 0)
        return Fail;
    uint64_t time = uint64_t(sample) * duration;
    const auto& entries = table->entries;
    auto after = std::upper_bound(entries.begin(), entries.end(), time,
                                  [](uint64_t t, const TrackFragmentRandomAccessEntry& e) { return t < e.Time; });
    size_t at = after == entries.begin() ? 0 : static_cast<size_t>(after - entries.begin()) - 1;
    // The entry, the one before it, then the one after it.
    for (size_t tryAt : {at, at - 1, at + 1}) {
        if (tryAt >= entries.size())
            continue;
        const TrackFragmentRandomAccessEntry& e = entries[tryAt];
        Metadata_moof* moof = nullptr;
        if (findMoof(e.MoofOffset, moof) != OK)
            continue;
        uint32_t start = 0;
        if (moof->startSample(trackId, start) == OK && start == Metadata_traf::unset) {
            if (moof->setStartSampleIndirect(trackId, e.traf_number, e.trun_number, e.Time) != OK)
                continue;
            moof->startSample(trackId, start);
            m_trackFragments[trackId][start] = moof->offset();
            showLikeFirstFragment(*first, *moof, trackId);
        }
        if (moof->findIndexEntry(sample, trackId, entry) == OK)
            return OK;
    }
    return Fail;
}

CvResult FileReader::findTrackFragmentIndexEntry(uint32_t trackId, uint32_t sample, IndexEntry& entry)
{
    if (!m_movie.isFragmented())
        return Fail;
    Metadata_moof* from = nullptr;
    if (checkIfIndexedAlready(trackId, sample, entry, from) == OK)
        return OK;
    if (checkIfRandomAccessible(trackId, sample, entry) == OK)
        return OK;
    return cacheMoofsTillSampleAcquired(trackId, sample, from, entry) == OK ? OK : HandleEOF;
}

Metadata_moof* FileReader::fragmentHolding(uint32_t trackId, uint32_t sample)
{
    IndexEntry entry;
    Metadata_moof* moof = nullptr;
    if (findTrackFragmentIndexEntry(trackId, sample, entry) != OK ||
        checkIfIndexedAlready(trackId, sample, entry, moof) != OK)
        return nullptr;
    return moof;
}

bool FileReader::findFragmentKeyframe(Metadata_Track& track, unsigned frame, bool forward, unsigned& keyframe)
{
    const uint32_t id = track.trackHeader->TrackID;
    const uint64_t start = track.startSample();
    const uint64_t movieFrames = movieSampleCount(track) > start ? movieSampleCount(track) - start : 0;
    // The answer from a fragment's sync samples, back in frame numbers.
    auto answer = [&](uint64_t sample) {
        if (sample < start)
            return false;
        keyframe = static_cast<unsigned>(sample - start);
        return true;
    };
    uint64_t sample = frame + start;
    if (frame < movieFrames) {
        // The samples of moov answer first; going forward past the last of
        // their key frames, the fragments do.
        if (track.findKeyframe(frame, forward, keyframe))
            return true;
        if (!forward)
            return false;
        sample = start + movieFrames;
    }
    // Each pass moves one fragment on (or back), so the search ends with the
    // file's fragments, or in moov. Fragments without a key frame are passed.
    SyncSampleRanges sync;
    uint32_t first = 0;
    uint64_t count = 0, key = 0;
    while (sample < Metadata_traf::unset) {
        Metadata_moof* moof = fragmentHolding(id, static_cast<uint32_t>(sample));
        if (!moof || !fragmentSyncSamples(*moof, id, sync, first, count))
            return false;
        if (forward) {
            if (sync.firstFrom(sample, key))
                return answer(key);
            sample = first + count;
            continue;
        }
        if (sync.lastUpTo(sample, key))
            return answer(key);
        if (first <= start + movieFrames)
            return movieFrames > 0 && first == start + movieFrames &&
                   track.findKeyframe(static_cast<unsigned>(movieFrames - 1), false, keyframe);
        sample = first - 1;
    }
    return false;
}

int FileReader::fragmentGopLength(Metadata_Track& track)
{
    const uint32_t id = track.trackHeader->TrackID;
    SyncSampleRanges sync;
    uint32_t first = 0;
    uint64_t count = 0, only = 0;
    Metadata_moof* moof = firstMoof(id);
    if (!moof || !fragmentSyncSamples(*moof, id, sync, first, count) || !sync.firstFrom(first, only))
        return 1;
    auto length = [](uint64_t span) { return static_cast<int>(std::clamp<uint64_t>(span, 1, INT32_MAX)); };
    // The distance to the next key frame, in this fragment or a later one.
    const uint64_t start = track.startSample();
    unsigned next = 0;
    if (only >= start && only - start + 1 < UINT32_MAX &&
        findFragmentKeyframe(track, static_cast<unsigned>(only - start + 1), true, next))
        return length(next + start - only);
    // No later key frame: what moov and the fragment's size tell.
    if (track.getLength() > 0 && track.hasSyncSamples() && only > track.firstSyncSample())
        return length(only - track.firstSyncSample());
    return length(count);
}

CvResult FileReader::fragmentIndexEntry(const Metadata_Track& track, uint64_t sample, IndexEntry& entry)
{
    m_damagedMoof = UINT64_MAX;
    CvResult result = sample < Metadata_traf::unset
                          ? findTrackFragmentIndexEntry(track.trackHeader->TrackID, static_cast<uint32_t>(sample), entry)
                          : HandleEOF;
    if (result != OK) {
        if (m_damagedMoof != UINT64_MAX)
            setLastError(result, L"Failed to read essence data, damaged movie fragment at offset %llu.",
                         static_cast<unsigned long long>(m_damagedMoof));
        else
            setLastError(result, L"Failed to read essence data, reached end of file.");
        return result;
    }
    uint64_t offset = entry.offset;
    if (offset > getSize() || entry.size > getSize() - offset) {
        setLastError(BadLength, L"Failed to read essence data, sample %llu lies past the end of the file.",
                     static_cast<unsigned long long>(sample));
        return BadLength;
    }
    return OK;
}

} // namespace Corvidane::QuickTime
