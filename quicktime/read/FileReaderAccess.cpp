// Samples of the current stream: index entries and essence reads.
#include "quicktime/read/FileReader.h"

#include <algorithm>

namespace Corvidane::QuickTime {

CvResult FileReader::essenceOpen(unsigned stream)
{
    if (m_current && stream == m_currentStream)
        return OK;
    if (getFilename().empty())
        return InvalidState;
    m_current = track(static_cast<int>(stream));
    m_currentStream = stream;
    if (!m_current)
        return Fail;
    Metadata_Track& t = *m_current;
    if (t.editList && t.editList->get_Count() > 1) {
        setLastError(Fail, L"Failed to open essence data, more than one edit list.");
        return Fail;
    }
    if (t.editList && !t.timeToSample) {
        setLastError(Fail, L"Failed to open essence data, there is an edit list but no time to sample list.");
        return Fail;
    }
    // A variable frame rate is tolerated and only noted.
    if (t.isVideo() && t.startSample() == 0 && (!t.timeToSample || t.timeToSample->get_Count() != 1))
        setLastError(OK, L"Failed to open essence data, samples are not of uniform duration.");
    m_externalFile.reset();
    if (!t.essenceFile().empty()) {
        auto external = std::make_unique<Vex::CFileReaderUnbuffered>();
        CvResult result = external->load(t.essenceFile(), iFile::Unbuffered);
        if (!isSuccess(result)) {
            setLastError(result, L"Failed to load external essence file. '%ls' ", t.essenceFile().c_str());
            return result;
        }
        m_externalFile = std::move(external);
    }
    // Reads number samples from the track's first, so the count ends where
    // the frames behind the start sample end.
    m_essenceSampleCount = m_movie.isFragmented()          ? get_Length(static_cast<int>(stream)) + t.startSample()
                           : get_isAACAudio(static_cast<int>(stream)) ? t.getSampleLength()
                                                                    : t.getLength() + t.startSample();
    return OK;
}

CvResult FileReader::getIndexEntry(unsigned sample, IndexEntry& entry)
{
    if (!m_current)
        return reportNoTrack(L"getIndexEntry");
    Metadata_Track& t = *m_current;
    if (inFragments(t, uint64_t(sample) + t.startSample())) {
        CvResult result = fragmentIndexEntry(t, uint64_t(sample) + t.startSample(), entry);
        entry.decodeIndex -= t.startSample();
        unsigned shown = entry.presentationIndex;
        entry.presentationIndex = shown >= t.startSample() ? shown - t.startSample() : 0;
        return result;
    }
    uint64_t offset = 0;
    uint32_t size = 0;
    if (!t.getSampleOffsetAndSize(sample + t.startSample(), offset, size)) {
        if (sample >= t.getLength()) {
            setLastError(HandleEOF, L"Failed to read essence data, reached end of file.");
            return HandleEOF;
        }
        setLastError(InvalidState, L"Failed to read essence data, failed to find sample.");
        return InvalidState;
    }
    entry.offset = offset;
    entry.size = size;
    entry.presentationIndex = sample;
    entry.decodeIndex = sample;
    entry.frameType = FrameIntra;
    // The frame type is that of the sample in the track, not of its frame
    // number behind the start sample.
    const uint32_t real = sample + t.startSample();
    if (t.hasSyncSamples()) {
        uint32_t previous = 0;
        entry.frameType = t.getFrameType(real, previous);
    }
    // Display order is the order of composition times.
    uint32_t rank = 0;
    if (t.hasSampleTimeInfo() && t.getPresentationRank(sample, rank))
        entry.presentationIndex = rank;
    return OK;
}

bool FileReader::essenceIsPresent(int stream)
{
    Metadata_Track* t = track(stream);
    if (!t)
        return false;
    // A fragmented movie whose moov holds no samples of the track has them
    // once its first fragment of the track is written.
    if (isFragmented() && t->getLength() == 0 && t->trackHeader) {
        IndexEntry first;
        if (findTrackFragmentIndexEntry(t->trackHeader->TrackID, 0, first) != OK)
            return false;
        const uint64_t offset = first.offset;
        const uint32_t size = first.size;
        return offset + size <= getSize();
    }
    if (!get_HasIndexTable(stream) || t->getLength() == 0)
        return false;
    uint64_t offset = 0;
    uint32_t size = 0;
    if (!t->getSampleOffsetAndSize(t->getLength() / 2, offset, size))
        return false;
    if (!t->essenceFile().empty())
        return Vex::CDiskFile::exists(t->essenceFile());
    return offset + size <= getSize();
}

unsigned FileReader::get_BufferSize(int stream)
{
    Metadata_Track* t = track(stream);
    if (!t || !t->sampleSizes)
        return 0;
    uint64_t largest = t->sampleSizes->largestSampleSize();
    return static_cast<unsigned>(roundUpToSectorBoundary(largest + getSectorSize()));
}

CvResult FileReader::essenceRead(unsigned long start, unsigned count, unsigned char* buffer, unsigned capacity,
                                 unsigned& offset, unsigned& size)
{
    if (!m_current) {
        setLastError(InvalidState, L"Failed to read essence data, no current track. ");
        return InvalidState;
    }
    Metadata_Track& t = *m_current;
    uint64_t pos = start + t.startSample();
    if (pos >= m_essenceSampleCount)
        return HandleEOF;
    if (count == 0) {
        offset = size = 0;
        return OK;
    }
    if (count >= 2 && m_readBuffer.capacity() == 0)
        m_readBuffer.alloc(0x40000);
    Vex::CFileReaderUnbuffered& file = essenceFile();
    uint64_t total = 0;
    uint64_t end = pos + count;
    while (pos < end) {
        uint64_t sampleOffset = 0;
        uint32_t sampleSize = 0, left = 0;
        if (inFragments(t, pos)) {
            // A fragment's samples are taken one at a time.
            IndexEntry entry;
            CvResult result = fragmentIndexEntry(t, pos, entry);
            if (!isSuccess(result)) {
                offset = 0;
                size = static_cast<unsigned>(total);
                return result;
            }
            sampleOffset = entry.offset;
            sampleSize = entry.size;
            left = 1;
        } else if (pos > UINT32_MAX ||
                   !t.getSampleOffsetAndSize2(static_cast<uint32_t>(pos), sampleOffset, sampleSize, left)) {
            offset = 0;
            size = static_cast<unsigned>(total);
            if (pos >= uint64_t(t.getLength()) + t.startSample()) {
                setLastError(HandleEOF, L"Failed to read essence data, reached end of file.");
                return HandleEOF;
            }
            setLastError(BadLength, L"Failed to read essence data, failed to find sample.");
            return BadLength;
        }
        CvResult result = file.seek(sampleOffset, 0);
        if (!isSuccess(result)) {
            setLastError(result, L"Failed to read essence data, seek. ");
            return result;
        }
        unsigned got = 0, at = 0;
        if (count == 1) {
            if (sampleSize > capacity) {
                setLastError(BufferTooSmall, L"Failed to read essence data, buffer too small. ");
                return BufferTooSmall;
            }
            result = file.read(buffer, capacity, sampleSize, got, at);
            if (isSuccess(result) && got < uint64_t(at) + sampleSize)
                result = HandleEOF;
            if (!isSuccess(result)) {
                if (result != InsufficientBuffer)
                    setLastError(result, L"Failed to read essence data, read. ");
                return result;
            }
            offset = at;
            size = sampleSize;
            return result;
        }
        // Runs of samples, as audio comes: one read a chunk, samples of a
        // chunk taken to be of one size.
        uint64_t n = std::min<uint64_t>(end - pos, left);
        uint64_t bytes = uint64_t(sampleSize) * n;
        // Nothing is read, nor memory taken, for bytes the caller has no room for.
        uint64_t room = file.roundUpToSectorBoundary(bytes + file.getAlignmentOffset());
        if (total + bytes > capacity || (room > m_readBuffer.capacity() && !m_readBuffer.alloc(room))) {
            setLastError(BufferTooSmall, L"Failed to read essence data, buffer too small. ");
            return BufferTooSmall;
        }
        result = file.read(m_readBuffer.getBuffer(), static_cast<unsigned>(m_readBuffer.capacity()),
                           static_cast<unsigned>(bytes), got, at);
        if (isSuccess(result) && got < at + bytes)
            result = HandleEOF;
        if (!isSuccess(result)) {
            setLastError(result, L"Failed to read essence data, read. ");
            return result;
        }
        std::copy(m_readBuffer.getBuffer(at), m_readBuffer.getBuffer(at) + bytes, buffer + total);
        total += bytes;
        pos += n;
    }
    offset = 0;
    size = static_cast<unsigned>(total);
    return OK;
}

CvResult FileReader::essenceRead(unsigned frame, unsigned count, unsigned char* buffer, unsigned capacity,
                                 std::vector<unsigned>& offsets, std::vector<unsigned>& sizes)
{
    if (!m_current) {
        setLastError(InvalidState, L"Failed to read essence data, no current track. ");
        return InvalidState;
    }
    Metadata_Track& t = *m_current;
    if (!t.isVideo() && !t.isAnc()) {
        setLastError(NotImpl, L"Failed to read non video data. ");
        return NotImpl;
    }
    uint64_t pos = uint64_t(frame) + t.startSample();
    if (pos >= m_essenceSampleCount)
        return HandleEOF;
    uint64_t length = get_Length(static_cast<int>(m_currentStream)) + uint64_t(t.startSample());
    if (pos >= length) {
        setLastError(HandleEOF, L"Failed to read essence data. Reached end of file.");
        return HandleEOF;
    }
    uint64_t end = std::min<uint64_t>(pos + count, length);
    if (end <= pos)
        return Fail;
    struct Place {
        uint64_t offset;
        uint32_t size;
    };
    std::vector<Place> places;
    uint64_t total = 0;
    CvResult missing = OK;
    for (uint64_t sample = pos; sample < end; ++sample) {
        Place place{0, 0};
        if (inFragments(t, sample)) {
            IndexEntry entry;
            missing = fragmentIndexEntry(t, sample, entry);
            if (!isSuccess(missing))
                break;
            place = {entry.offset, entry.size};
        } else if (!t.getSampleOffsetAndSize(static_cast<uint32_t>(sample), place.offset, place.size)) {
            missing = sample >= length ? HandleEOF : InvalidState;
            setLastError(missing, L"Failed to read essence data.%ls",
                         missing == HandleEOF ? L"Reached end of file." : L"Failed to find sample.");
            break;
        }
        places.push_back(place);
        sizes.push_back(place.size);
        total += place.size;
    }
    if (places.empty())
        return missing != OK ? missing : Fail;
    if (total > capacity)
        return BufferTooSmall;
    CvResult result = OK;
    uint64_t used = 0;
    for (const Place& place : places) {
        result = seek(place.offset, 0);
        if (!isSuccess(result)) {
            setLastError(result, L"Failed to read essence data ( seek failed ).");
            return result;
        }
        unsigned got = 0, at = 0;
        if (used >= capacity)
            return BufferTooSmall;
        result = read(buffer + used, static_cast<unsigned>(capacity - used), place.size, got, at);
        if (isSuccess(result) && got < uint64_t(at) + place.size)
            result = HandleEOF;
        if (!isSuccess(result))
            return result;
        offsets.push_back(static_cast<unsigned>(used + at));
        used += at + place.size;
    }
    return result;
}

} // namespace Corvidane::QuickTime
