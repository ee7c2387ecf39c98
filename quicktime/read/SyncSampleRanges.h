#pragma once
#include <cstdint>
#include <utility>
#include <vector>

// The sync samples of a stretch of a track, as runs of consecutive sample
// numbers: a fragment may flag millions of samples through one default, and
// none of them is listed one by one.
namespace Corvidane::QuickTime {

class SyncSampleRanges {
public:
    // Adds the samples [first, end); ranges come in ascending order, and one
    // that touches the last is merged with it.
    void add(uint64_t first, uint64_t end);
    // Adds another set's ranges moved on by `shift`.
    void append(const SyncSampleRanges& other, uint64_t shift);
    void clear() { m_ranges.clear(); }
    bool empty() const { return m_ranges.empty(); }
    bool contains(uint64_t sample) const;
    // The first sync sample at or after `sample`; false when there is none.
    bool firstFrom(uint64_t sample, uint64_t& found) const;
    // The last sync sample at or before `sample`; false when there is none.
    bool lastUpTo(uint64_t sample, uint64_t& found) const;

private:
    // The range that ends after `sample`, or end().
    std::vector<std::pair<uint64_t, uint64_t>>::const_iterator rangeEndingAfter(uint64_t sample) const;
    std::vector<std::pair<uint64_t, uint64_t>> m_ranges;
};

} // namespace Corvidane::QuickTime
