#pragma once
#include <cstdint>
#include <string>
#include <vector>

#include "frame/CvResult.h"

// Per-sample and per-chunk tables (stsz, stco, co64, stss, stps, sdtp), whose
// length grows with the movie. A list holds one page of at most 15,000 entries
// and reads other pages from the file when they are asked for, through a file
// handle of its own, so the reader's position is never disturbed.
namespace Corvidane::QuickTime {

class IndexListBase {
public:
    static constexpr uint32_t pageEntries = 15000;
    // A page starts this far behind the entry that faulted it in, since access
    // runs forward but may step back.
    static constexpr uint32_t pageLead = 1875;

    IndexListBase(std::wstring file, uint64_t offset, uint64_t bytesPerEntry, uint64_t extraHeader = 0)
        : filename(std::move(file)), atomOffset(offset), entrySize(bytesPerEntry), headerExtra(extraHeader)
    {
    }
    virtual ~IndexListBase() = default;
    // The first read, from the atom's bytes as they lie in the movie atom.
    // `length` is what the parent holds of the atom; the table is never taken
    // to reach past it.
    virtual size_t fromData(const unsigned char* data, size_t length);
    // Brings the page holding `index` into memory.
    CvResult loadFromDisk(uint32_t index);
    // The count in the atom.
    uint32_t getEntriesOnDisk() const { return entriesOnDisk; }
    // The entries that the atom's bytes can hold, at most the count.
    uint32_t entriesPresent() const;

protected:
    virtual void clearPage() = 0;
    virtual size_t heldEntries() const = 0;
    virtual void appendEntry(const unsigned char* bytes) = 0;
    void fillPage(const unsigned char* data, size_t length, size_t position);
    bool holds(uint32_t index) const { return index >= firstEntry && index - firstEntry < heldEntries(); }
    // Reads the first page; the table's count and data offset are set.
    void readFirstPage(const unsigned char* data, size_t length);

    std::wstring filename;
    uint32_t entriesOnDisk = 0;
    uint32_t firstEntry = 0;
    uint64_t atomOffset = 0;
    uint64_t atomSize = 0;
    uint64_t entrySize = 0;
    uint64_t dataOffset = 0;
    uint64_t headerExtra = 0;
};

template <typename T>
class CIndexList : public IndexListBase {
public:
    CIndexList(std::wstring file, uint64_t offset, uint64_t extraHeader = 0)
        : IndexListBase(std::move(file), offset, sizeof(T) >= 8 ? 8 : sizeof(T) == 1 ? 1 : 4, extraHeader)
    {
    }
    // False when the entry can't be had: past the table, or a failed page read.
    bool getItem(uint32_t index, T& value)
    {
        if (!holds(index) && (!isSuccess(loadFromDisk(index)) || !holds(index)))
            return false;
        value = entries[index - firstEntry];
        return true;
    }
    // The entry, or 0 when it can't be had.
    T get_Item(uint32_t index)
    {
        T value = 0;
        return getItem(index, value) ? value : 0;
    }

protected:
    void clearPage() override { entries.clear(); }
    size_t heldEntries() const override { return entries.size(); }
    void appendEntry(const unsigned char* bytes) override
    {
        uint64_t value = 0;
        for (uint64_t i = 0; i < entrySize; ++i)
            value = value << 8 | bytes[i];
        entries.push_back(static_cast<T>(value));
    }

    std::vector<T> entries;
};

using ChunkOffsetList = CIndexList<unsigned int>;
using ChunkOffset64List = CIndexList<unsigned long>;
using SyncSampleList = CIndexList<unsigned int>;

// stsz: a constant size for every sample, or a size per sample.
class SampleSizeList : public CIndexList<unsigned int> {
public:
    SampleSizeList(std::wstring file, uint64_t offset) : CIndexList(std::move(file), offset, 4) {}
    size_t fromData(const unsigned char* data, size_t length) override;
    // A constant table answers every index with its constant.
    unsigned get_SampleSize(uint32_t index);
    bool isFixedSampleSize() const { return fixedSampleSize; }
    // The constant, or the largest size in the table, which reads all of it.
    unsigned largestSampleSize();

private:
    bool fixedSampleSize = false;
};

// sdtp: one byte of dependency flags per sample, no count field.
class CSdtpIndexList : public CIndexList<unsigned char> {
public:
    CSdtpIndexList(std::wstring file, uint64_t offset) : CIndexList(std::move(file), offset) {}
    size_t fromData(const unsigned char* data, size_t length) override;
};

} // namespace Corvidane::QuickTime
