#include "quicktime/read/SyncSampleRanges.h"

#include <algorithm>

namespace Corvidane::QuickTime {

void SyncSampleRanges::add(uint64_t first, uint64_t end)
{
    if (first >= end)
        return;
    if (!m_ranges.empty() && m_ranges.back().second >= first)
        m_ranges.back().second = std::max(m_ranges.back().second, end);
    else
        m_ranges.emplace_back(first, end);
}

void SyncSampleRanges::append(const SyncSampleRanges& other, uint64_t shift)
{
    for (const auto& [first, end] : other.m_ranges)
        add(first + shift, end + shift);
}

std::vector<std::pair<uint64_t, uint64_t>>::const_iterator SyncSampleRanges::rangeEndingAfter(uint64_t sample) const
{
    return std::upper_bound(m_ranges.begin(), m_ranges.end(), sample,
                            [](uint64_t s, const std::pair<uint64_t, uint64_t>& range) { return s < range.second; });
}

bool SyncSampleRanges::contains(uint64_t sample) const
{
    auto range = rangeEndingAfter(sample);
    return range != m_ranges.end() && range->first <= sample;
}

bool SyncSampleRanges::firstFrom(uint64_t sample, uint64_t& found) const
{
    auto range = rangeEndingAfter(sample);
    if (range == m_ranges.end())
        return false;
    found = std::max(range->first, sample);
    return true;
}

bool SyncSampleRanges::lastUpTo(uint64_t sample, uint64_t& found) const
{
    auto range = rangeEndingAfter(sample);
    if (range != m_ranges.end() && range->first <= sample) {
        found = sample;
        return true;
    }
    if (range == m_ranges.begin())
        return false;
    found = std::prev(range)->second - 1;
    return true;
}

} // namespace Corvidane::QuickTime
