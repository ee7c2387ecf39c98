// Index loading: the standard index of an OpenDML super index that covers a
// sample, or the whole idx1 of a classic file.
#include <algorithm>

#include "avi/FileReader.h"

namespace Corvidane::Avi {

namespace {

// No index or audio chunk is read in one piece beyond this size.
constexpr uint64_t largestRead = 256 << 20;
// idx1 is read in blocks of this many bytes, whatever its size.
constexpr uint64_t idx1Block = 1 << 20;
// Largest chunk that a plain standard index may describe.
constexpr uint32_t largestPlainEntry = 0x1000000;
// A chunk this many times larger than the one before is damage.
constexpr uint64_t corruptGrowth = 100;

uint16_t ibpFrameType(uint32_t sizeAndType)
{
    uint32_t frameClass = sizeAndType >> 29;
    if (frameClass & 4)
        return FrameIntra;
    switch (frameClass) {
    case 0: return FrameKey;
    case 1: return FramePredicted;
    default: return FrameBidirectional;
    }
}

} // namespace

CvResult FileReader::readAt(uint64_t position, uint64_t size, std::vector<unsigned char>& data, unsigned& offset)
{
    if (position > m_fileSize || size > m_fileSize - position || size > largestRead)
        return Fail;
    if (!isSuccess(m_file.seek(position, 0)))
        return Abort;
    uint64_t capacity = m_file.roundUpToSectorBoundary(size + m_file.getAlignmentOffset());
    if (data.size() < capacity)
        data.resize(capacity);
    unsigned read = 0;
    CvResult result =
        m_file.read(data.data(), static_cast<unsigned>(data.size()), static_cast<unsigned>(size), read, offset);
    if (!isSuccess(result) || read < offset + size)
        return Fail;
    return OK;
}

CvResult FileReader::readStandardIndex(unsigned streamIndex, size_t item, uint64_t first,
                                      std::vector<IndexEntry>& entries)
{
    const AviSuperIndexEntry& super = m_streams[streamIndex].superIndex[item];
    std::vector<unsigned char> data;
    unsigned offset = 0;
    CvResult result = super.dwSize < AviIndexHead::entriesOffset ? Fail : readAt(super.qwOffset, super.dwSize, data, offset);
    if (result == Abort)
        return fail(Fail, L"Failed to seek to indx entry.");
    if (!isSuccess(result))
        return fail(Fail, L"Failed to read indx data.");
    const unsigned char* chunk = data.data() + offset;
    AviIndexHead head;
    head.read(chunk);
    if (head.bIndexSubType > AviIndexFields && head.bIndexSubType != AviIndexIBP)
        return fail(Fail, L"LoadINDX Error: unknown chunk type");
    if (head.bIndexType != AviIndexOfChunks)
        return fail(Fail, L"LoadINDX Error: index type not AVI_INDEX_OF_CHUNKS");

    unsigned entrySize = head.bIndexSubType == AviIndexIBP    ? ibpIndexEntrySize
                         : head.bIndexSubType == AviIndexFields ? fieldIndexEntrySize
                                                                : stdIndexEntrySize;
    // Never more entries than the chunk holds, whatever its count says.
    uint32_t count = static_cast<uint32_t>(
        std::min<uint64_t>(head.nEntriesInUse, (super.dwSize - AviIndexHead::entriesOffset) / entrySize));
    entries.resize(count);
    const unsigned char* item0 = chunk + AviIndexHead::entriesOffset;

    if (head.bIndexSubType == AviIndexIBP) {
        for (uint32_t i = 0; i < count; ++i) {
            const unsigned char* raw = item0 + uint64_t(i) * entrySize;
            uint32_t sizeAndType = readLE32(raw + 8);
            IndexEntry& entry = entries[i];
            entry.offset = readLE64(raw);
            entry.size = sizeAndType & 0x1FFFFFFF;
            entry.frameType = ibpFrameType(sizeAndType);
            entry.presentationIndex = readLE32(raw + 12);
            entry.decodeIndex = readLE32(raw + 16);
        }
        if (m_temporalReordering) {
            std::vector<uint64_t> offsets(count);
            for (uint32_t i = 0; i < count; ++i)
                offsets[i] = entries[i].offset;
            for (uint32_t i = 0; i < count; ++i) {
                IndexEntry& entry = entries[i];
                if (entry.presentationIndex == first + i)
                    continue;
                uint64_t stored = uint64_t(entry.decodeIndex) - first;
                if (entry.decodeIndex < first || stored >= count) {
                    return fail(Fail, L"A corrupt indx index entry was found.");
                }
                entry.offset = offsets[stored];
            }
        }
        return OK;
    }
    uint64_t base = readLE64(chunk + AviIndexHead::baseOffsetOffset);
    uint32_t previous = 0;
    for (uint32_t i = 0; i < count; ++i) {
        const unsigned char* raw = item0 + uint64_t(i) * entrySize;
        uint32_t size = readLE32(raw + 4);
        // The top bit of the size marks a frame that is not a key frame, in
        // plain and in field indexes alike; every sound chunk is one.
        bool key = (size & stdIndexNotKey) == 0 || !isVideo(m_streams[streamIndex]);
        size &= ~stdIndexNotKey;
        if (head.bIndexSubType == AviIndexPlain && size > largestPlainEntry) {
            return fail(Fail, L"LoadINDX invalid entry size.");
        }
        if (previous && size > corruptGrowth * previous) {
            return fail(Fail, L"A corrupt indx index entry was found.");
        }
        if (size)
            previous = size;
        IndexEntry& entry = entries[i];
        entry.offset = base + readLE32(raw);
        entry.size = size;
        entry.frameType = key ? FrameIntra : FramePredicted;
        entry.presentationIndex = entry.decodeIndex = static_cast<uint32_t>(first + i);
    }
    return OK;
}

CvResult FileReader::LoadINDX(unsigned streamIndex, uint64_t sample)
{
    Stream& stream = m_streams[streamIndex];
    uint64_t first = 0;
    size_t item = 0;
    for (; item < stream.superIndex.size(); ++item) {
        if (sample - first < stream.superIndex[item].dwDuration)
            break;
        first += stream.superIndex[item].dwDuration;
    }
    if (item == stream.superIndex.size())
        return fail(Fail, L"Failed to find superindex.");

    IndexWindow& window = stream.window;
    window.reset(first, stream.superIndex[item].dwDuration);
    CvResult result = readStandardIndex(streamIndex, item, first, window.entries());
    if (!isSuccess(result))
        return result;
    if (isVideo(stream)) {
        // Empty chunks at the start of this index repeat the last frame of an
        // index before it.
        std::vector<IndexEntry>& entries = window.entries();
        IndexEntry before;
        bool found = false;
        if (!entries.empty() && entries[0].size == 0) {
            uint64_t earlierFirst = first;
            std::vector<IndexEntry> earlier;
            for (size_t back = item; back-- > 0 && !found;) {
                earlierFirst -= stream.superIndex[back].dwDuration;
                if (!isSuccess(readStandardIndex(streamIndex, back, earlierFirst, earlier)))
                    break;
                found = lastFrameWithData(earlier, before);
            }
        }
        repeatIntoEmptyFrames(entries, found ? &before : nullptr);
    }
    window.finish(isAudio(stream) ? stream.blockAlign() : 0);
    stream.predicted = stream.predicted || window.hasPredictedFrames();
    return OK;
}

CvResult FileReader::LoadIDX1()
{
    uint64_t start = m_idx1Offset + chunkHeadSize;
    uint64_t size = start < m_fileSize ? std::min(m_idx1Size, m_fileSize - start) : 0;
    size -= size % idx1EntrySize;

    std::vector<Stream*> byNumber = streamsWithoutOpenDmlIndex();
    std::vector<uint64_t> samples(m_streams.size(), 0);

    bool decided = false, relative = false;
    std::vector<unsigned char> data;
    for (uint64_t done = 0; done < size;) {
        uint64_t block = std::min(idx1Block, size - done);
        unsigned offset = 0;
        CvResult result = readAt(start + done, block, data, offset);
        if (result == Abort)
            return fail(Fail, L"Failed to seek to idx1 offset.");
        if (!isSuccess(result))
            return fail(Fail, L"Failed to read idx1 data.");
        for (uint64_t at = 0; at < block; at += idx1EntrySize) {
            const unsigned char* raw = data.data() + offset + at;
            uint32_t ckid = readLE32(raw);
            uint32_t chunkOffset = readLE32(raw + 8);
            uint32_t length = readLE32(raw + 12);
            if (ckid == fourCC("rec "))
                continue;
            if (!decided && length) {
                // Offsets that begin below the movi list count from it;
                // others are file positions of the chunk heads.
                relative = m_moviOffset > chunkOffset;
                decided = true;
            }
            int number = GetStreamIndexFromChunkId(ckid);
            if (number < 0 || static_cast<size_t>(number) >= byNumber.size() || !byNumber[number])
                continue;
            Stream& stream = *byNumber[number];
            std::vector<IndexEntry>& entries = stream.window.entries();
            IndexEntry entry;
            if (relative) {
                entry.offset = chunkOffset + m_moviOffset + 16;
                entry.size = length;
            } else {
                // The length is taken less the head here, as other readers
                // of such files do.
                entry.offset = uint64_t(chunkOffset) + chunkHeadSize;
                entry.size = length >= chunkHeadSize ? length - chunkHeadSize : 0;
            }
            // Writers leave the key flag off sound chunks, which are all key frames.
            bool key = (readLE32(raw + 4) & idx1KeyFrame) || !isVideo(stream);
            entry.frameType = key ? FrameIntra : FramePredicted;
            entry.presentationIndex = entry.decodeIndex = static_cast<uint32_t>(entries.size());
            entries.push_back(entry);
            samples[number] += isAudio(stream) ? length / stream.blockAlign() : 1;
        }
        done += block;
    }
    finishWindows(byNumber, samples);
    return OK;
}

std::vector<FileReader::Stream*> FileReader::streamsWithoutOpenDmlIndex()
{
    std::vector<Stream*> byNumber(m_streams.size(), nullptr);
    for (size_t i = 0; i < m_streams.size(); ++i) {
        if (!m_streams[i].superIndex.empty())
            continue;
        byNumber[i] = &m_streams[i];
        m_streams[i].window.reset(0, 0);
    }
    return byNumber;
}

void FileReader::finishWindows(const std::vector<Stream*>& byNumber, const std::vector<uint64_t>& samples)
{
    for (size_t i = 0; i < byNumber.size(); ++i) {
        Stream* stream = byNumber[i];
        if (!stream)
            continue;
        if (isVideo(*stream))
            repeatIntoEmptyFrames(stream->window.entries(), nullptr);
        stream->window.setSamples(samples[i]);
        stream->window.finish(isAudio(*stream) ? stream->blockAlign() : 0);
        stream->predicted = stream->predicted || stream->window.hasPredictedFrames();
    }
}

bool FileReader::ensureSampleInRam(uint64_t sample)
{
    Stream* stream = openStream();
    if (!stream)
        return false;
    if (stream->window.covers(sample))
        return true;
    if (!isSuccess(LoadINDX(m_openStream, sample)))
        return false;
    return stream->window.covers(sample);
}

const IndexEntry* FileReader::getIndexEntryV(uint64_t sample)
{
    return ensureSampleInRam(sample) ? openStream()->window.videoEntry(sample) : nullptr;
}

const IndexEntry* FileReader::getIndexEntryA(uint64_t sample, uint64_t& remaining, uint64_t& first)
{
    return ensureSampleInRam(sample) ? openStream()->window.audioEntry(sample, first, remaining) : nullptr;
}

} // namespace Corvidane::Avi
