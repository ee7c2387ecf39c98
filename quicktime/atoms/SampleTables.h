#pragma once
#include <cstdint>
#include <vector>

#include "quicktime/atoms/QTList.h"

// The run-length sample tables, which stay small however long the movie:
// they are parsed whole. Lookups run on prefix sums built on first use, so a
// walk through every sample costs a binary search each, not a table walk.
namespace Corvidane::QuickTime {

// The entries of the tables, each described once for reading and writing.
struct Time2SampleItem {
    static constexpr size_t wireSize = 8;
    template <class Item, class Fields> static bool describe(Item& item, Fields& fields)
    {
        return fields.u32(item.count) && fields.u32(item.duration);
    }
    uint32_t count = 0;
    uint32_t duration = 0;
};

struct CTTSItem {
    static constexpr size_t wireSize = 8;
    template <class Item, class Fields> static bool describe(Item& item, Fields& fields)
    {
        return fields.u32(item.count) && fields.s32(item.offset);
    }
    uint32_t count = 0;
    int32_t offset = 0;
};

struct Sample2ChunkItem {
    static constexpr size_t wireSize = 12;
    template <class Item, class Fields> static bool describe(Item& item, Fields& fields)
    {
        return fields.u32(item.firstChunk) && fields.u32(item.samplesPerChunk) &&
               fields.u32(item.sampleDescriptionId);
    }
    uint32_t firstChunk = 0;
    uint32_t samplesPerChunk = 0;
    uint32_t sampleDescriptionId = 0;
};

struct EditListItem {
    static constexpr size_t wireSize = 12;
    template <class Item, class Fields> static bool describe(Item& item, Fields& fields)
    {
        return fields.u32(item.trackDuration) && fields.u32(item.mediaTime) && fields.fixed16(item.rate);
    }
    uint32_t trackDuration = 0;
    uint32_t mediaTime = 0;
    float rate = 1.0f;
};

// Where a sample falls in a run-length table: the entry, and the samples and
// time (or other sum) up to the entry's start.
struct RunPosition {
    size_t entry = 0;
    uint64_t samplesBefore = 0;
    uint64_t timeBefore = 0;
};

// stts
class Time2SampleList : public QTRecordList<Time2SampleItem> {
public:
    // False past the table.
    bool find(uint64_t sample, RunPosition& position) const;
    // Media time at which a sample starts, 32-bit; 0 past the table.
    uint32_t getSampleTime(uint32_t sample) const;
    // The duration of the run that holds the sample, 0 past the table.
    uint32_t getSampleDuration(uint32_t sample) const;
    // Media time at which a sample starts, 64-bit; the table's end for a
    // sample at or past it.
    uint64_t startTime(uint64_t sample) const;
    uint64_t totalSamples() const;
    uint64_t totalDuration() const;
    // The samples that start before a media time.
    uint64_t samplesStartingBefore(uint64_t time) const;

private:
    void buildSums() const;
    mutable std::vector<uint64_t> m_endSample;
    mutable std::vector<uint64_t> m_endTime;
};

// ctts
class CTTSList : public QTRecordList<CTTSItem> {
public:
    // The offset of the run holding the sample as a 32-bit pattern; 0xFFFFFFFF
    // past the table or for an empty one.
    uint32_t getSampleOffset(uint32_t sample) const;
    // Makes every offset zero or above by taking off the most negative one.
    void fix();

private:
    mutable std::vector<uint64_t> m_endSample;
};

// stsc
class Sample2ChunkList : public QTRecordList<Sample2ChunkItem> {
public:
    // The chunk holding a sample, counted from 0, with the sample's place in
    // it and the chunk's sample count. `chunkCount` is the length of the chunk
    // offset table, which ends the last of several runs. False when no chunk
    // holds it, or for a run of 0 samples a chunk.
    bool locate(uint64_t sample, uint64_t chunkCount, uint64_t& chunk, uint32_t& indexInChunk,
                uint32_t& samplesInChunk) const;

private:
    mutable std::vector<uint64_t> m_firstSample;
    mutable uint64_t m_sumsForChunkCount = UINT64_MAX;
};

// elst: empty edits (media time 0xFFFFFFFF) are dropped as they are parsed.
// Version 1 entries carry 64-bit times; they are held in the 32-bit fields,
// a time too large for them held at the largest one that is not an empty edit.
class EditList : public QTRecordList<EditListItem> {
public:
    size_t AddItem(EditListItem** item, const unsigned char* data, size_t length) override;
    bool isValid(const EditListItem* item) const override { return item->mediaTime != 0xFFFFFFFF; }

protected:
    size_t itemWireSize() const override { return isVersion1() ? wideEntrySize : EditListItem::wireSize; }

private:
    static constexpr size_t wideEntrySize = 20;
};

} // namespace Corvidane::QuickTime
