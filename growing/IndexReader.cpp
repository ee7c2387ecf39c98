#include "growing/IndexReader.h"

#include <algorithm>

#include "frame/CvFileIOFactory.h"
#include "growing/AudioCadence.h"

namespace Corvidane::ExternalIndexer {

const std::vector<std::string> MetadataItems = {
    "length",       "is_open_gop",    "keyframe_right",     "keyframe_left",     "nearest_keyframe",
    "avcc_data",    "compression_fcc", "audio_storage_type", "audio_track_count", "bits_per_sample",
    "byte_order",   "rate",           "scale",              "is_video",          "is_audio",
    "is_anc_track", "is_timecode",    "width",              "height",            "gop_length",
    "video_layout", "buffer_size",
};

int matchAudioCadence(const std::vector<unsigned>& samplesPerFrame)
{
    for (int row = 0; audioCadence(row); ++row) {
        bool matches = !samplesPerFrame.empty();
        for (size_t f = 0; f < samplesPerFrame.size() && matches; ++f) {
            unsigned expected = audioCadence(row)->counts[f % 5];
            bool last = f + 1 == samplesPerFrame.size();
            matches = samplesPerFrame[f] == expected || (last && samplesPerFrame[f] < expected);
        }
        if (matches)
            return row;
    }
    return -1;
}

Reader::Reader(const std::shared_ptr<Indexer>& indexer) : m_indexer(indexer) {}

Reader::~Reader() = default;

CvResult Reader::openFile(const std::wstring& path)
{
    m_file = CvFileIOFactoryProvider::open(path.c_str(), iFile::AccessRead, iFile::OpenExisting,
                                           iFile::eShareMode(iFile::ShareRead | iFile::ShareWrite), iFile::Growing);
    if (!m_file)
        return Fail;
    return m_indexer->getAudioSamplesIndex(m_audioIndex);
}

void Reader::recalculateSize()
{
    if (m_file)
        m_file->recalculateSize();
    m_indexer->recalculateSize();
}

bool Reader::setCurrentTrack(const unsigned& track)
{
    if (track >= m_indexer->numTracks())
        return false;
    m_track = track;
    return true;
}

CvResult Reader::row(unsigned sample, IndexEntry& entry)
{
    return m_indexer->get(m_track, sample, entry);
}

CvResult Reader::getIndexEntry(const unsigned& sample, IndexEntry& entry)
{
    CvResult result = row(sample, entry);
    if (result == OK && !essenceHolds(entry))
        return Fail;
    return result;
}

bool Reader::essenceHolds(const IndexEntry& entry)
{
    if (!m_file)
        return false;
    const uint64_t end = uint64_t(entry.offset) + entry.size;
    if (end < entry.offset)
        return false;
    if (end <= m_file->getSize())
        return true;
    // The capture may have written more since the file was last measured.
    m_file->recalculateSize();
    return end <= m_file->getSize();
}

const AudioCadence* Reader::cadence() const
{
    return audioCadence(m_audioIndex);
}

CvResult Reader::getGopAndPresentationOrder(unsigned frame, GOPInfo& info, std::vector<unsigned short>&)
{
    unsigned n = m_indexer->getNumEntries();
    if (n < frame)
        return InvalidArg;
    uint64_t count = std::min<uint64_t>(n - frame, info.count);
    if (count && (!info.decodeOrder || !info.presentationOrder))
        return Pointer;
    for (uint64_t i = 0; i < count; ++i) {
        IndexEntry entry;
        row(static_cast<unsigned>(frame + i), entry);
        info.decodeOrder[i] = static_cast<uint32_t>(frame + i);
        info.presentationOrder[i] = entry.presentationIndex;
    }
    info.count = count;
    return OK;
}

CvResult Reader::entryToRead(uint64_t sample, IndexEntry& entry)
{
    entry = IndexEntry{};
    if (sample > 0xFFFFFFFFu)
        return HandleEOF;
    CvResult result = m_indexer->get(m_track, static_cast<unsigned>(sample), entry);
    if (result == Range)
        return HandleEOF;
    if (result != OK)
        return Fail;
    return (entry.frameType & FrameIncomplete) ? HandleEOF : OK;
}

CvResult Reader::readEssence(uint64_t position, uint64_t size, CByteBuffer& buffer)
{
    if (size > buffer.capacity() - buffer.used())
        return BufferTooSmall;
    if (size == 0)
        return OK;
    if (!m_file || m_file->read(position, buffer.getBufferAtEnd(), size) != size)
        return Fail;
    buffer.append(size);
    return OK;
}

CvResult Reader::readData(const unsigned long& position, const unsigned& count, CByteBuffer& buffer)
{
    uint64_t first = position;
    unsigned samples = count;
    if (m_audioIndex != -1) {
        const AudioCadence* row = cadence();
        if (!row)
            return Unexpected;
        uint64_t q = position / row->period();
        uint64_t r = position % row->period();
        if (position != 0) {
            const unsigned* sum = std::find(row->sums, row->sums + 5, r);
            if (sum != row->sums + 5)
                first = 5 * q + (sum - row->sums) + 1;
            else if (r == 0)
                first = 5 * q;
            else
                return Unexpected;
        } else {
            first = 0;
        }
        if (std::find(row->counts, row->counts + 5, count) == row->counts + 5)
            return Unexpected;
        samples = 1;
    }
    for (unsigned i = 0; i < samples; ++i) {
        IndexEntry entry;
        CvResult result = entryToRead(first + i, entry);
        if (result != OK)
            return result;
        if ((result = readEssence(entry.offset, entry.size, buffer)) != OK)
            return result;
    }
    return OK;
}

CvResult Reader::readData2(const unsigned long& position, const unsigned& count, CByteBuffer& buffer)
{
    if (m_audioIndex == -1)
        return readData(position, count, buffer);
    const AudioCadence* row = cadence();
    if (!row)
        return Unexpected;
    if (count == 0)
        return OK;
    uint64_t bytesPerSample = uint64_t(m_indexer->channelCount()) * m_indexer->bps() / 8;
    uint64_t total = uint64_t(count) * bytesPerSample;

    // Where a sample lies: its frame, and the bytes of that frame to read
    // when it is the first or the last sample of the run.
    struct Place {
        uint64_t frame = 0;
        uint64_t offset = 0;
        uint64_t size = 0;
        bool frameStart = false;
    };
    auto locate = [&](uint64_t p, bool isFirst) {
        Place place;
        uint64_t q = p / row->period();
        uint64_t r = p % row->period();
        if (p == 0) {
            place.frameStart = true;
            place.size = row->counts[0] * bytesPerSample;
            return place;
        }
        for (unsigned j = 0; j < 5; ++j) {
            if (r == row->sums[j]) {
                place.frame = 5 * q + j + 1;
                place.frameStart = true;
                place.size = row->counts[(j + 1) % 5] * bytesPerSample;
                return place;
            }
            if (r < row->sums[j]) {
                place.frame = 5 * q + j;
                uint64_t into = r - row->sumBefore(j);
                if (isFirst) {
                    place.offset = into * bytesPerSample;
                    place.size = row->counts[j] * bytesPerSample - place.offset;
                } else {
                    place.size = (into + 1) * bytesPerSample;
                }
                return place;
            }
        }
        return place; // r is below the period, so a sum above it was found
    };
    Place first = locate(position, true);
    Place last = locate(position + count - 1, false);
    if (last.frameStart)
        last.size = bytesPerSample;
    if (first.frame == last.frame)
        first.size = total; // the whole run lies in one frame

    for (uint64_t frame = first.frame; frame <= last.frame; ++frame) {
        IndexEntry entry;
        CvResult result = entryToRead(frame, entry);
        if (result != OK)
            return result;
        uint64_t offset = 0, size = entry.size;
        if (frame == first.frame) {
            offset = first.offset;
            size = first.size;
        } else if (frame == last.frame) {
            size = last.size;
        }
        if ((result = readEssence(entry.offset + offset, size, buffer)) != OK)
            return result;
    }
    return OK;
}

void Reader::calculateIsOpenGop()
{
    if (m_isOpenGop >= 0)
        return;
    m_isOpenGop = 0;
    unsigned n = std::min(m_indexer->getNumEntries(), 64u);
    for (unsigned i = 0; i < n;) {
        IndexEntry key;
        row(i, key);
        if ((key.frameType & FrameKey) && key.presentationIndex != i && i + 1 < n) {
            // A B picture that follows the key frame in coded order but is
            // shown before it refers to the GOP before: the GOP is open.
            IndexEntry next;
            row(i + 1, next);
            if ((next.frameType & FrameBidirectional) && next.presentationIndex < key.presentationIndex) {
                m_isOpenGop = 1;
                return;
            }
            i += 2;
        } else {
            ++i;
        }
    }
}

bool Reader::findKeyFrames(const unsigned& frame, unsigned& left, bool& hasLeft, unsigned& right, bool& hasRight)
{
    unsigned n = m_indexer->getNumEntries();
    if (frame >= n)
        return false;
    unsigned end = static_cast<unsigned>(std::min<uint64_t>(n, uint64_t(frame) + 64));
    for (unsigned s = frame; s < end; ++s) {
        IndexEntry entry;
        if (row(s, entry) != OK)
            break;
        if (isKeyFrame(entry)) {
            right = s;
            hasRight = true;
            break;
        }
    }
    for (unsigned s = frame;; --s) {
        IndexEntry entry;
        if (row(s, entry) != OK)
            break;
        if (isKeyFrame(entry)) {
            left = s;
            hasLeft = true;
            break;
        }
        if (s == 0)
            break;
    }
    return true;
}

CvResult Reader::getBinaryMetadata(const std::string& key, const long&, CByteBuffer& data)
{
    return key == "avcc_data" ? m_indexer->getDecoderConfig(data) : NotImpl;
}

CvResult Reader::bytesPerAudioSample(unsigned& bytes)
{
    if (m_audioIndex == -1)
        return Unexpected;
    const AudioCadence* row = cadence();
    if (!row)
        return Unexpected;
    // Four entries over a five-frame period: only proportional, which is
    // all that the buffer size needs.
    uint64_t sum = 0;
    for (unsigned i = 0; i < 4; ++i) {
        IndexEntry entry;
        CvResult result = m_indexer->get(m_track, i, entry);
        if (result != OK)
            return result == Range ? HandleEOF : Fail;
        sum += entry.size;
    }
    bytes = static_cast<unsigned>(sum / row->period());
    return OK;
}

unsigned Reader::largestSampleSize()
{
    unsigned largest = 2;
    unsigned n = m_indexer->getNumEntries();
    for (unsigned s = 0; s < n; ++s) {
        IndexEntry entry;
        if (getIndexEntry(s, entry) != OK)
            break;
        largest = std::max(largest, static_cast<unsigned>(entry.size));
    }
    return largest;
}

bool Reader::canHandleItem(const std::string& key) const
{
    return std::find(MetadataItems.begin(), MetadataItems.end(), key) != MetadataItems.end();
}

CvResult Reader::getMetadata(const std::string& key, const long& position, std::wstring& value)
{
    if (!canHandleItem(key))
        return NotImpl;
    auto number = [&](uint64_t n) {
        value = std::to_wstring(n);
        return OK;
    };
    auto flag = [&](unsigned type) {
        if (m_indexer->firstTrackType() == type)
            value = L"yes";
        return OK;
    };
    const Indexer& index = *m_indexer;
    if (key == "length")
        return number(index.getLength());
    if (key == "is_open_gop") {
        calculateIsOpenGop();
        value = m_isOpenGop > 0 ? L"yes" : L"no";
        return OK;
    }
    if (key == "keyframe_right" || key == "keyframe_left" || key == "nearest_keyframe") {
        unsigned frame = static_cast<unsigned>(position);
        unsigned left = 0, right = 0;
        bool hasLeft = false, hasRight = false;
        findKeyFrames(frame, left, hasLeft, right, hasRight);
        if (key == "keyframe_right")
            return hasRight ? number(right) : Range;
        if (key == "keyframe_left")
            return hasLeft ? number(left) : Range;
        if (hasLeft && hasRight)
            return number(right - frame < frame - left ? right : left);
        if (hasLeft || hasRight)
            return number(hasLeft ? left : right);
        return Fail;
    }
    if (key == "compression_fcc")
        return number(index.firstTrackFCC());
    if (key == "audio_storage_type") {
        value = L"raw";
        return OK;
    }
    if (key == "audio_track_count")
        return number(index.channelCount());
    if (key == "bits_per_sample")
        return number(index.bps());
    if (key == "byte_order")
        return number(1);
    if (key == "rate")
        return number(index.rate());
    if (key == "scale")
        return number(index.scale());
    if (key == "is_video")
        return flag(StreamVideo);
    if (key == "is_audio")
        return flag(StreamAudio);
    if (key == "is_anc_track")
        return flag(StreamAncillary);
    if (key == "is_timecode")
        return flag(StreamTimecode);
    if (key == "width")
        return number(index.width());
    if (key == "height")
        return number(index.height());
    if (key == "gop_length")
        return number(index.gopLength());
    if (key == "video_layout") {
        value = index.polarity() == 3 ? L"interlaced" : index.polarity() == 4 ? L"progressive" : L"unknown";
        return OK;
    }
    if (key == "buffer_size") {
        if (m_audioIndex == -1)
            return number(largestSampleSize());
        unsigned bytes = 0;
        if (bytesPerAudioSample(bytes) != OK) {
            value = L"0";
            return OK;
        }
        return number(bytes);
    }
    return InvalidArg;
}

} // namespace Corvidane::ExternalIndexer
