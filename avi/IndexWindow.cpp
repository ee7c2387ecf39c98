#include "avi/IndexWindow.h"

#include <algorithm>

namespace Corvidane::Avi {

void IndexWindow::reset(uint64_t first, uint64_t samples)
{
    m_entries.clear();
    m_entryFirst.clear();
    m_first = first;
    m_samples = samples;
    m_gopLength = 1;
    m_loaded = false;
}

void IndexWindow::finish(unsigned blockAlign)
{
    m_entryFirst.clear();
    if (blockAlign) {
        // Running sample counts make an audio lookup a binary search rather
        // than a walk over every chunk before it.
        m_entryFirst.reserve(m_entries.size() + 1);
        uint64_t sample = m_first;
        for (const IndexEntry& entry : m_entries) {
            m_entryFirst.push_back(sample);
            sample += entry.size / blockAlign;
        }
        m_entryFirst.push_back(sample);
    }
    m_loaded = true;
}

const IndexEntry* IndexWindow::videoEntry(uint64_t sample) const
{
    if (sample < m_first || sample - m_first >= m_entries.size())
        return nullptr;
    return &m_entries[sample - m_first];
}

const IndexEntry* IndexWindow::audioEntry(uint64_t sample, uint64_t& chunkFirst, uint64_t& remaining) const
{
    if (m_entryFirst.empty() || sample < m_first || sample >= m_entryFirst.back())
        return nullptr;
    // The last entry starting at or before the sample; chunks too small to
    // hold a whole sample start where the next one does and are passed over.
    auto next = std::upper_bound(m_entryFirst.begin(), m_entryFirst.end() - 1, sample);
    size_t index = static_cast<size_t>(next - m_entryFirst.begin()) - 1;
    chunkFirst = m_entryFirst[index];
    remaining = m_entryFirst[index + 1] - sample;
    return &m_entries[index];
}

} // namespace Corvidane::Avi
