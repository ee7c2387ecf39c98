#pragma once
#include <cstdint>
#include <vector>

#include "frame/MediaFileReader.h"

namespace Corvidane::Avi {

// The index entries of one stream that are in memory: all of an idx1, or the
// one standard index of an OpenDML file that covers a range of samples.
// Video samples are entries; an audio entry is a chunk holding size /
// blockAlign sound samples.
class IndexWindow {
public:
    // Empties the window and notes the range of samples it is to cover.
    void reset(uint64_t first, uint64_t samples);
    // Ends filling: from here on audio lookups count `blockAlign` bytes a sample.
    void finish(unsigned blockAlign);

    bool loaded() const { return m_loaded; }
    void unload() { m_loaded = false; }
    bool covers(uint64_t sample) const { return m_loaded && sample >= m_first && sample - m_first < m_samples; }
    uint64_t first() const { return m_first; }
    uint64_t samples() const { return m_samples; }
    void setSamples(uint64_t samples) { m_samples = samples; }

    std::vector<IndexEntry>& entries() { return m_entries; }
    const std::vector<IndexEntry>& entries() const { return m_entries; }
    // The longest distance between key frames, when above 2; else 1.
    int gopLength() const { return m_gopLength; }
    bool hasPredictedFrames() const { return m_predicted; }

    // The entry of a video sample, or null.
    const IndexEntry* videoEntry(uint64_t sample) const;
    // The chunk that holds an audio sample: its entry, the first sample in it
    // and the samples from `sample` to its end.
    const IndexEntry* audioEntry(uint64_t sample, uint64_t& chunkFirst, uint64_t& remaining) const;

private:
    std::vector<IndexEntry> m_entries;
    // For audio: the first sample of each entry, and one past the last.
    std::vector<uint64_t> m_entryFirst;
    uint64_t m_first = 0;
    uint64_t m_samples = 0;
    int m_gopLength = 1;
    bool m_predicted = false;
    bool m_loaded = false;
};

// An empty chunk in a video index is a repeated (or dropped) frame of a
// capture: it shows the frame before it, so its entry takes that frame's
// offset, size and type. `before` is the frame ahead of the first entry, if
// any; empty entries with no frame before them stay empty.
void repeatIntoEmptyFrames(std::vector<IndexEntry>& entries, const IndexEntry* before);
// The last entry that has bytes, into `found`; false when none has.
bool lastFrameWithData(const std::vector<IndexEntry>& entries, IndexEntry& found);

} // namespace Corvidane::Avi
