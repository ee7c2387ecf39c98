#include "avi/IndexWindow.h"

#include <algorithm>
#include <climits>

namespace Corvidane::Avi {

void IndexWindow::reset(uint64_t first, uint64_t samples)
{
    m_entries.clear();
    m_entryFirst.clear();
    m_first = first;
    m_samples = samples;
    m_gopLength = 1;
    m_predicted = false;
    m_loaded = false;
}

void IndexWindow::finish(unsigned blockAlign)
{
    m_entryFirst.clear();
    m_gopLength = 1;
    m_predicted = false;
    size_t lastKey = 0;
    for (size_t i = 0; i < m_entries.size(); ++i) {
        if (!isKeyFrame(m_entries[i])) {
            m_predicted = true;
            continue;
        }
        if (i - lastKey > 2 && i - lastKey > static_cast<size_t>(m_gopLength))
            m_gopLength = static_cast<int>(std::min<size_t>(i - lastKey, INT_MAX));
        lastKey = i;
    }
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

void repeatIntoEmptyFrames(std::vector<IndexEntry>& entries, const IndexEntry* before)
{
    bool haveFrame = before != nullptr;
    IndexEntry shown = haveFrame ? *before : IndexEntry();
    for (IndexEntry& entry : entries) {
        if (entry.size) {
            shown = entry;
            haveFrame = true;
            continue;
        }
        if (!haveFrame)
            continue;
        entry.offset = shown.offset;
        entry.size = shown.size;
        entry.frameType = shown.frameType;
    }
}

bool lastFrameWithData(const std::vector<IndexEntry>& entries, IndexEntry& found)
{
    for (size_t i = entries.size(); i-- > 0;) {
        if (entries[i].size) {
            found = entries[i];
            return true;
        }
    }
    return false;
}

} // namespace Corvidane::Avi
