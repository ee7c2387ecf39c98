#include "growing/BinaryIndexer.h"

#include <algorithm>
#include <cstddef>
#include <cstring>

#include "frame/CvFileIOFactory.h"
#include "frame/FourCC.h"

namespace Corvidane::ExternalIndexer {

namespace {

// Holds the cache's spin lock for a scope: only for a swap or a one-entry copy.
class SpinGuard {
public:
    explicit SpinGuard(std::atomic_flag& flag) : m_flag(flag)
    {
        while (m_flag.test_and_set(std::memory_order_acquire)) {
        }
    }
    ~SpinGuard() { m_flag.clear(std::memory_order_release); }
    SpinGuard(const SpinGuard&) = delete;
    SpinGuard& operator=(const SpinGuard&) = delete;

private:
    std::atomic_flag& m_flag;
};

// The header fields that the first track of a new index describes.
void describeFirstTrack(IndexFileHeader& header, const TrackStructuralData& track)
{
    switch (track.streamType) {
    case StreamAudio: {
        const AudioStructuralData& audio = track.audio;
        header.firstTrackFCC = audio.format;
        header.channelCount = static_cast<uint8_t>(audio.channels);
        header.bitsPerSample = static_cast<uint8_t>(audio.bitsPerSample);
        header.sampleRate = audio.sampleRate;
        header.rate = audio.sampleRate;
        header.scale = audio.format == fourCC("mp4a") ? 1024 : 1;
        break;
    }
    case StreamAncillary: header.firstTrackFCC = track.anc.sampleEntryFourcc; break;
    case StreamVideo: {
        const VideoStructuralData& video = track.video;
        header.firstTrackFCC = video.fourcc;
        header.bitsPerSample = static_cast<uint8_t>(video.bitsPerPixel);
        header.rate = video.rateNumerator;
        header.scale = video.rateDenominator;
        header.width = video.width;
        header.height = video.height;
        header.gopLength = static_cast<uint8_t>(video.gopSize);
        header.polarity = static_cast<uint8_t>(video.frameLayout);
        break;
    }
    default: break;
    }
}

} // namespace

BinaryIndexer::BinaryIndexer() = default;

BinaryIndexer::~BinaryIndexer() { close(); }

CvResult BinaryIndexer::fail(CvResult code, const wchar_t* text) const
{
    std::lock_guard<std::mutex> guard(m_errorLock);
    m_lastError = text;
    return code;
}

std::wstring BinaryIndexer::getLastError() const
{
    std::lock_guard<std::mutex> guard(m_errorLock);
    return m_lastError;
}

CvResult BinaryIndexer::create(const std::wstring& path, const std::vector<TrackStructuralData>& tracks)
{
    if (CvFileIOFactoryProvider::exists(path.c_str()) && !CvFileIOFactoryProvider::deleteFile(path.c_str()))
        return fail(FileExists, L"File already exists");
    if (tracks.empty() || tracks.size() > maxTracks)
        return fail(InvalidArg, L"Invalid track count");
    m_file = CvFileIOFactoryProvider::open(path.c_str(), iFile::AccessReadWrite, iFile::CreateNew,
                                           iFile::eShareMode(iFile::ShareRead | iFile::ShareWrite), iFile::Growing);
    if (!m_file)
        return fail(Fail, L"Failed to create file");
    m_path = path;

    m_header = IndexFileHeader{};
    std::memcpy(m_header.magic, "CVIX", 4);
    m_header.version = 1;
    m_header.audioSamplesIndex = -1;
    m_header.gopLength = 1;
    m_header.trackCount = static_cast<uint32_t>(tracks.size());
    describeFirstTrack(m_header, tracks[0]);
    m_trackTypes.clear();
    for (size_t t = 0; t < tracks.size(); ++t) {
        m_header.trackTypes[t] = static_cast<uint8_t>(tracks[t].streamType);
        m_trackTypes.push_back(tracks[t].streamType);
    }

    if (!m_file->setPosition(0) || !m_file->write(&m_header, headerSize)) {
        m_file.reset();
        CvFileIOFactoryProvider::deleteFile(path.c_str());
        m_path.clear();
        return fail(Fail, L"Failed to write header");
    }
    m_lastNumber = 0xFFFFFFFF;
    m_nextTrack = 0;
    m_pending.clear();
    m_pendingRows = 0;
    m_flushRows = blockRows;
    m_rowsEnd = headerSize;
    return OK;
}

CvResult BinaryIndexer::open(const std::wstring& path)
{
    if (!CvFileIOFactoryProvider::exists(path.c_str()))
        return fail(FileNotFound, L"File not found");
    Ptr<iFile> file = CvFileIOFactoryProvider::open(
        path.c_str(), iFile::AccessRead, iFile::OpenExisting,
        iFile::eShareMode(iFile::ShareRead | iFile::ShareWrite | iFile::ShareDelete), iFile::Growing);
    if (!file)
        return fail(Fail, L"Failed to open index file");
    if (file->getSize() == 0)
        return fail(Fail, L"File size was zero");
    IndexFileHeader header{};
    if (file->read(0, &header, headerSize) != headerSize || std::memcmp(header.magic, "CVIX", 4) != 0)
        return fail(Fail, L"Unexpected file format");
    if (header.version != 1)
        return fail(Fail, L"Unexpected index file version");
    // The row size divides the file size; a header that names no track, or
    // more than it has room to type, describes no rows.
    if (header.trackCount == 0 || header.trackCount > maxTracks)
        return fail(Fail, L"Unexpected file format");

    m_file = file;
    m_header = header;
    m_trackTypes.clear();
    for (unsigned t = 0; t < header.trackCount; ++t)
        m_trackTypes.push_back(static_cast<StreamType>(header.trackTypes[t]));
    m_path = path;
    if (getNumEntries() == 0) {
        // Nothing of a failed open stays behind, so closing never deletes
        // the file of a capture that hasn't written its first row yet.
        m_file.reset();
        m_path.clear();
        m_trackTypes.clear();
        return fail(Fail, L"No entries found in index file");
    }
    {
        SpinGuard guard(m_cacheLock);
        m_cache.clear();
        m_cacheStart = 0;
    }
    return OK;
}

CvResult BinaryIndexer::add(unsigned track, unsigned number, const IndexEntry& entry)
{
    if (number != m_lastNumber + 1)
        return Unexpected;
    m_lastNumber = number;
    return append(track, entry);
}

CvResult BinaryIndexer::append(unsigned track, const IndexEntry& entry)
{
    if (track != m_nextTrack)
        return fail(Fail, L"Invalid track index");
    m_pending.push_back(entry);
    if (++m_nextTrack == numTracks()) {
        ++m_pendingRows;
        m_nextTrack = 0;
        return flush();
    }
    return OK;
}

CvResult BinaryIndexer::flush()
{
    if (m_pendingRows == 0 || m_pendingRows < m_flushRows)
        return OK;
    // The block goes where the last whole row ended, not at the file's size:
    // a failed write may have left part of it there, and the rows, kept, are
    // written again over those bytes (the same bytes, so a reader that already
    // counted whole rows of them read the right entries).
    size_t bytes = m_pending.size() * entrySize;
    if (!m_file || !m_file->setPosition(m_rowsEnd) || !m_file->write(m_pending.data(), bytes))
        return fail(Fail, L"Failed to write index data");
    m_rowsEnd += bytes;
    m_pending.clear();
    m_pendingRows = 0;
    return OK;
}

void BinaryIndexer::close()
{
    m_flushRows = 0;
    flush();
    m_flushRows = blockRows; // a file created next is written in blocks again
    m_file.reset();
    if (m_deleteFile && !m_path.empty())
        CvFileIOFactoryProvider::deleteFile(m_path.c_str());
    m_path.clear();
}

void BinaryIndexer::recalculateSize()
{
    if (m_file)
        m_file->recalculateSize();
}

unsigned BinaryIndexer::getNumEntries() const
{
    if (!m_file || rowSize() == 0)
        return 0;
    uint64_t size = m_file->getSize();
    if (size < headerSize)
        return 0;
    uint64_t rows = (size - headerSize) / rowSize();
    return static_cast<unsigned>(std::min<uint64_t>(rows, 0xFFFFFFFFu));
}

unsigned BinaryIndexer::getLength() const
{
    unsigned count = getNumEntries();
    if (count == 0)
        return 0;
    // The capture marks a sample it hasn't finished with bit 128; the first
    // entry of the last row is only looked at when more bytes follow it.
    uint64_t position = headerSize + uint64_t(count - 1) * rowSize();
    if (position + entrySize >= m_file->getSize())
        return count;
    IndexEntry entry;
    if (m_file->read(position, &entry, entrySize) != entrySize) {
        fail(Fail, L"Failed to read expected count");
        entry = IndexEntry{};
    }
    return (entry.frameType & FrameIncomplete) ? count - 1 : count;
}

unsigned BinaryIndexer::cacheRows() const { return std::max(1u, m_cacheBytes / rowSize()); }

CvResult BinaryIndexer::readRange(unsigned track, unsigned first, unsigned count)
{
    if (track >= numTracks())
        return fail(InvalidArg, L"Track index out of range");
    unsigned rows = count;
    if (count == 0) {
        unsigned available = getNumEntries();
        rows = first < available ? std::min(cacheRows(), available - first) : 0;
    } else {
        // However many rows are asked for, the cache stays within its bytes.
        rows = std::min(rows, cacheRows());
    }
    if (rows == 0)
        return fail(InvalidArg, L"Invalid count (Zero or less)");
    return fillCache(first, rows, first, nullptr);
}

CvResult BinaryIndexer::fillCache(unsigned first, unsigned rows, unsigned number, IndexEntry* entry)
{
    // The memory of the cache before last is read into again: a fresh
    // megabyte for every refill would cost more than the read itself.
    Rows entries;
    {
        SpinGuard guard(m_cacheLock);
        entries.swap(m_spare);
    }
    entries.resize(size_t(rows) * numTracks());
    size_t wanted = size_t(rows) * rowSize();
    size_t got = m_file ? m_file->read(headerSize + uint64_t(first) * rowSize(), entries.data(), wanted) : 0;
    if (got == wanted) {
        // The caller's entry is taken before the rows are shared: another
        // thread may swap them out as soon as the lock is let go. It is the
        // one that a get finds in these rows once they are the cache.
        if (entry)
            *entry = entries[number - first];
        SpinGuard guard(m_cacheLock);
        m_cache.swap(entries);
        m_cacheStart = first;
        m_spare.swap(entries);
        return OK;
    }
    CvResult result = got > rowSize() ? PartialCopy : fail(Fail, L"Failed to read expected count");
    SpinGuard guard(m_cacheLock);
    if (m_spare.empty())
        m_spare.swap(entries);
    return result;
}

CvResult BinaryIndexer::get(unsigned track, unsigned number, IndexEntry& entry)
{
    if (track >= numTracks())
        return NotImpl;
    uint64_t cachedFirst = 0, cachedEnd = 0;
    {
        // The entry index counts from the first cached row; the sidecars
        // read through get hold one track each, where both are the same.
        SpinGuard guard(m_cacheLock);
        if (number >= m_cacheStart && number - m_cacheStart < m_cache.size()) {
            entry = m_cache[number - m_cacheStart];
            return OK;
        }
        cachedFirst = m_cacheStart;
        cachedEnd = m_cacheStart + uint64_t(m_cache.size());
    }
    unsigned available = getNumEntries();
    if (number >= available)
        return Range;

    // Which rows to read. Far from the cache, the whole rows of the page of
    // the file that holds the sample: a seek costs one small read, one page
    // from the page cache, and the key-frame search that follows it mostly
    // stays inside. Next to the cache, on the side the caller is walking,
    // twice the rows the cache holds, up to its megabyte: reading in order,
    // forward as playback does or backward as the key-frame search does,
    // reads each row about once, in few reads.
    const uint64_t rowBytes = rowSize();
    uint64_t cached = cachedEnd - cachedFirst;
    bool forward = cached && number == cachedEnd;
    bool backward = cached && uint64_t(number) + 1 == cachedFirst;
    const uint64_t small = std::max<uint64_t>(1, windowBytes / rowBytes);
    uint64_t first = number, rows = small;
    if (forward || backward) {
        rows = std::min<uint64_t>(cacheRows(), std::max(small, 2 * cached));
        if (backward) {
            rows = std::min<uint64_t>(rows, uint64_t(number) + 1); // the rows before the cache, no more
            first = uint64_t(number) + 1 - rows;
        }
    } else if (numTracks() == 1) {
        uint64_t at = headerSize + uint64_t(number) * rowBytes;
        uint64_t pageStart = at / windowBytes * windowBytes;
        uint64_t pageEnd = pageStart + windowBytes;
        first = pageStart <= headerSize ? 0 : (pageStart - headerSize + rowBytes - 1) / rowBytes;
        uint64_t end = std::max<uint64_t>(number + 1, (pageEnd - headerSize) / rowBytes);
        rows = end - first;
    }
    // With more than one track the entry index is a row index (above), so the
    // rows start at the sample's, and the answer is that row's first entry, as
    // it was: forward from it, as many rows as one track would read.
    if (numTracks() > 1)
        first = number;
    rows = std::min<uint64_t>(rows, available - first);
    return fillCache(static_cast<unsigned>(first), static_cast<unsigned>(rows), number, &entry);
}

CvResult BinaryIndexer::setOption(Option option, const std::wstring& value)
{
    if (option != DeleteOnClose)
        return NotImpl;
    m_deleteFile = value == L"yes";
    return OK;
}

CvResult BinaryIndexer::readHeader(IndexFileHeader& header) const
{
    if (!m_file)
        return Fail;
    return m_file->read(0, &header, headerSize) == headerSize ? OK : Fail;
}

template <class Change>
CvResult BinaryIndexer::rewriteHeader(Change change)
{
    if (!m_file)
        return Fail;
    uint64_t position = m_file->getPosition();
    IndexFileHeader header;
    if (readHeader(header) != OK) {
        m_file->setPosition(position);
        return Fail;
    }
    change(header);
    if (!m_file->setPosition(0) || !m_file->write(&header, headerSize) || !m_file->setPosition(position))
        return Fail;
    return OK;
}

CvResult BinaryIndexer::setDecoderConfig(const unsigned char* data, unsigned char size)
{
    if (!data && size)
        return InvalidArg;
    return rewriteHeader([&](IndexFileHeader& header) {
        // A configuration longer than its field runs on over the fields behind
        // it; 255 bytes from offset 49 still end inside the header.
        header.decoderConfigSize = size;
        std::memcpy(reinterpret_cast<unsigned char*>(&header) + offsetof(IndexFileHeader, decoderConfig), data,
                    size);
    });
}

CvResult BinaryIndexer::setAudioSamplesIndex(signed char index)
{
    return rewriteHeader([&](IndexFileHeader& header) { header.audioSamplesIndex = index; });
}

CvResult BinaryIndexer::getDecoderConfig(CByteBuffer& data)
{
    IndexFileHeader header;
    if (readHeader(header) != OK)
        return Fail;
    unsigned size = header.decoderConfigSize;
    if (size == 0)
        return OK;
    if (data.capacity() - data.used() < size && !data.inflate(data.used() + size))
        return OutOfMemory;
    const unsigned char* config = reinterpret_cast<const unsigned char*>(&header) + offsetof(IndexFileHeader, decoderConfig);
    data.append(config, size);
    return OK;
}

CvResult BinaryIndexer::getAudioSamplesIndex(signed char& index)
{
    IndexFileHeader header;
    if (readHeader(header) != OK)
        return Fail;
    index = header.audioSamplesIndex;
    return OK;
}

CvResult BinaryIndexer::test(const std::wstring& directory, std::wstring& error)
{
    std::wstring path = directory + L"/BinaryIndexerTest.cvindex";
    CvFileIOFactoryProvider::deleteFile(path.c_str());
    BinaryIndexer indexer;
    auto failed = [&](CvResult code) {
        error = indexer.getLastError();
        return code;
    };

    TrackStructuralData video{};
    video.streamType = StreamVideo;
    CvResult result = indexer.create(path, {video});
    if (result != OK)
        return failed(result);

    const unsigned count = 3000000;
    std::vector<IndexEntry> entries(count);
    for (unsigned i = 0; i < count; ++i)
        entries[i] = IndexEntry{1000, i, FrameIntra, i, i};
    for (const IndexEntry& entry : entries)
        if ((result = indexer.append(0, entry)) != OK)
            return failed(result);

    indexer.close();
    if ((result = indexer.open(path)) != OK)
        return failed(result);
    for (unsigned i = 0; i < indexer.getNumEntries();) {
        if ((result = indexer.readRange(0, i, 0)) != OK)
            return failed(result);
        for (const IndexEntry& cached : indexer.m_cache) {
            if (i >= entries.size())
                return Fail;
            const IndexEntry& expected = entries[i++];
            if (cached.offset != expected.offset || cached.size != expected.size ||
                cached.frameType != expected.frameType || cached.presentationIndex != expected.presentationIndex ||
                cached.decodeIndex != expected.decodeIndex)
                return Fail;
        }
    }
    indexer.close();
    return OK;
}

} // namespace Corvidane::ExternalIndexer
