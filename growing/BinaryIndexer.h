#pragma once
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <new>
#include <vector>

#include "growing/Indexer.h"
#include "host/iFile.h"

namespace Corvidane::ExternalIndexer {

#pragma pack(push, 1)
// The 512-byte head of a ".cvindex" file, little-endian. It holds what a
// reader would otherwise learn from the container of the essence.
struct IndexFileHeader {
    char magic[4];                  // "CVIX"
    uint32_t version;               // 1
    uint32_t reserved0;
    uint32_t trackCount;            // entries per row
    uint8_t trackTypes[32];         // a StreamType per track
    uint8_t decoderConfigSize;
    uint8_t decoderConfig[100];     // e.g. the body of an "avcC" or "esds" atom
    int8_t audioSamplesIndex;       // cadence row of the audio; -1 for none
    uint32_t firstTrackFCC;
    uint8_t channelCount;
    uint8_t bitsPerSample;
    uint32_t sampleRate;
    uint32_t rate;
    uint32_t scale;
    uint32_t width;
    uint32_t height;
    uint8_t gopLength;
    uint8_t polarity;
    uint8_t reserved1[334];
};
#pragma pack(pop)
static_assert(sizeof(IndexFileHeader) == 512, "the index file header is 512 bytes");

// Memory for the rows of the cache that starts half way into a page of 4096
// bytes. A get that misses copies one page of the file's rows, starting
// within 22 bytes of a page boundary. Copied to a destination at about the
// same place in its page, as the page-aligned blocks of large allocations
// are, it runs at half speed on x86 (4K aliasing of the loads and stores):
// 2.3 against 1.1 us a get.
template <class T>
struct HalfPageAllocator {
    using value_type = T;
    static constexpr size_t page = 4096;
    HalfPageAllocator() = default;
    template <class U>
    HalfPageAllocator(const HalfPageAllocator<U>&) {}
    T* allocate(size_t n)
    {
        char* memory = static_cast<char*>(::operator new(n * sizeof(T) + page / 2, std::align_val_t(page)));
        return reinterpret_cast<T*>(memory + page / 2);
    }
    void deallocate(T* p, size_t)
    {
        ::operator delete(reinterpret_cast<char*>(p) - page / 2, std::align_val_t(page));
    }
    template <class U>
    bool operator==(const HalfPageAllocator<U>&) const { return true; }
    template <class U>
    bool operator!=(const HalfPageAllocator<U>&) const { return false; }
};

// The ".cvindex" file: a header, then rows of one 22-byte IndexEntry per
// track. The writer appends whole rows in blocks; a reader in another process
// counts only the whole rows that the file size it last measured holds, so
// the two need no lock between them.
class BinaryIndexer : public Indexer {
public:
    static constexpr unsigned headerSize = sizeof(IndexFileHeader);
    static constexpr unsigned entrySize = sizeof(IndexEntry);
    static constexpr unsigned maxTracks = sizeof(IndexFileHeader::trackTypes);
    // Rows a writer gathers before it writes them in one block.
    static constexpr unsigned blockRows = 30;
    // A get that misses the cache far from it reads the whole rows of the
    // page of this many bytes, aligned in the file, that holds the sample.
    static constexpr unsigned windowBytes = 4096;

    BinaryIndexer();
    ~BinaryIndexer() override;

    CvResult open(const std::wstring& path) override;
    CvResult create(const std::wstring& path, const std::vector<TrackStructuralData>& tracks) override;
    CvResult add(unsigned track, unsigned number, const IndexEntry& entry) override;
    CvResult update(unsigned track, unsigned number, unsigned, const IndexEntry& entry) override { return NotImpl; }
    void recalculateSize() override;
    CvResult get(unsigned track, unsigned number, IndexEntry& entry) override;
    unsigned getNumEntries() const override;
    unsigned getLength() const override;
    unsigned numTracks() const override { return static_cast<unsigned>(m_trackTypes.size()); }
    CvResult getMetadata(const std::wstring&, int, std::wstring&) const override { return NotImpl; }
    CvResult setOption(Option option, const std::wstring& value) override;
    CvResult setDecoderConfig(const unsigned char* data, unsigned char size) override;
    CvResult getDecoderConfig(CByteBuffer& data) override;
    CvResult setAudioSamplesIndex(signed char index) override;
    CvResult getAudioSamplesIndex(signed char& index) override;
    unsigned firstTrackFCC() const override { return m_header.firstTrackFCC; }
    unsigned channelCount() const override { return m_header.channelCount; }
    unsigned bps() const override { return m_header.bitsPerSample; }
    unsigned sampleRate() const override { return m_header.sampleRate; }
    unsigned rate() const override { return m_header.rate; }
    unsigned scale() const override { return m_header.scale; }
    unsigned firstTrackType() const override { return m_header.trackTypes[0]; }
    unsigned width() const override { return m_header.width; }
    unsigned height() const override { return m_header.height; }
    unsigned gopLength() const override { return m_header.gopLength; }
    unsigned polarity() const override { return m_header.polarity; }
    unsigned getScanMode() const override { return m_header.polarity == 4 ? 3 : 0; }
    std::wstring getLastError() const override;

    // Appends the entry of the next track of the current row; entries come in
    // track order, and a finished row is written with its block.
    CvResult append(unsigned track, const IndexEntry& entry);
    // Writes what is pending, drops the file, and deletes it unless told not to.
    // The indexer can then create or open another file, with blocks of 30 rows.
    void close();
    // Fills the cache with `count` rows from row `first`; 0 asks for as many
    // rows as the cache holds and the file has.
    CvResult readRange(unsigned track, unsigned first, unsigned count);

    // Self-check: writes 3,000,000 entries into DIRECTORY/BinaryIndexerTest.cvindex,
    // closes, opens and compares them. The indexer deletes its file on close
    // by default, so as it stands the open fails with "File not found".
    static CvResult test(const std::wstring& directory, std::wstring& error);

private:
    // Sets the last error under its lock; safe from several threads.
    CvResult fail(CvResult code, const wchar_t* text) const;
    CvResult flush();
    // Rows that the cache holds at most.
    unsigned cacheRows() const;
    // Reads `rows` rows from row `first` into the cache; when asked, gives the
    // entry that a get of `number` finds in them.
    CvResult fillCache(unsigned first, unsigned rows, unsigned number, IndexEntry* entry);
    // Reads the header as the file holds it now; a writer may have changed it.
    CvResult readHeader(IndexFileHeader& header) const;
    // Reads the header, lets `change` edit it, and writes it back in place.
    template <class Change>
    CvResult rewriteHeader(Change change);
    unsigned rowSize() const { return numTracks() * entrySize; }

    Ptr<iFile> m_file;
    std::wstring m_path;
    std::vector<StreamType> m_trackTypes;
    IndexFileHeader m_header{};
    mutable std::wstring m_lastError;
    mutable std::mutex m_errorLock; // guards m_lastError: a failing get may run on several threads
    // Write side.
    unsigned m_lastNumber = 0xFFFFFFFF;
    unsigned m_nextTrack = 0;
    std::vector<IndexEntry> m_pending;
    unsigned m_pendingRows = 0;
    unsigned m_flushRows = blockRows;
    // Where the last whole row written ends: the next block goes there, over
    // any part of a block that a failed write left behind.
    uint64_t m_rowsEnd = headerSize;
    // Read side.
    using Rows = std::vector<IndexEntry, HalfPageAllocator<IndexEntry>>;
    Rows m_cache;
    Rows m_spare; // memory for the next refill
    unsigned m_cacheStart = 0;
    unsigned m_cacheBytes = 1048576;
    std::atomic_flag m_cacheLock = ATOMIC_FLAG_INIT;
    bool m_deleteFile = true;
};

} // namespace Corvidane::ExternalIndexer
