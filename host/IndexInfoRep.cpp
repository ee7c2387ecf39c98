#include "host/IndexInfoRep.h"

#include <algorithm>

#include "frame/MediaFileReader.h"

void IndexInfoRep::initFrameIndexes()
{
    m_firstValid = m_validCount = 0;
    const size_t count = std::min({decodeOrder.size(), presentationOrder.size(), frameOrder.size()});
    size_t key = 0;
    while (key < count && (frameOrder[key] & Corvidane::FrameKey) == 0)
        ++key;
    if (key == count)
        return;
    m_firstValid = presentationOrder[key];
    std::vector<unsigned> shown;
    for (size_t i = key; i < count; ++i)
        if (presentationOrder[i] >= m_firstValid)
            shown.push_back(presentationOrder[i]);
    std::sort(shown.begin(), shown.end());
    shown.erase(std::unique(shown.begin(), shown.end()), shown.end());
    unsigned run = 0;
    while (run < shown.size() && shown[run] == m_firstValid + run)
        ++run;
    m_validCount = run;
}
