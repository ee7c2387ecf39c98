#include "host/IndexInfoRep.h"

#include <algorithm>


void IndexInfoRep::initFrameIndexes()
{
    m_firstValid = m_validCount = 0;
    const size_t count = std::min(decodeOrder.size(), presentationOrder.size());
    if (count == 0)
        return;
    // A block starts at a key frame in coded order; what it shows first is
    // the first place from which every frame can be decoded.
    m_firstValid = presentationOrder[0];
    std::vector<unsigned> shown;
    for (size_t i = 0; i < count; ++i)
        if (presentationOrder[i] >= m_firstValid)
            shown.push_back(presentationOrder[i]);
    std::sort(shown.begin(), shown.end());
    shown.erase(std::unique(shown.begin(), shown.end()), shown.end());
    unsigned run = 0;
    while (run < shown.size() && shown[run] == m_firstValid + run)
        ++run;
    m_validCount = run;
}
