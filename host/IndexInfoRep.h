#pragma once
#include <cstdint>
#include <vector>

#include "host/Ptr.h"

// The host's account of one block of a long-GOP stream: the samples read in
// coded order from a key frame, the frame each shows, and the reader's third
// word for each (a frame type, or a place in the block, by container). A frame
// is valid when it can be decoded from the block alone: from the place the key
// frame shows on, up to the last place shown without a gap.
class IndexInfoRep : public RefCounted {
public:
    std::vector<unsigned> decodeOrder;
    std::vector<unsigned> presentationOrder;
    std::vector<unsigned short> frameOrder;
    // Frames shown before the block's key frame: an open GOP's leading
    // frames, which need the GOP before.
    unsigned leadingFrames = 0;

    // Works out the valid frames once the arrays are filled.
    void initFrameIndexes();
    bool containsValidFrame(unsigned frame) const
    {
        return m_validCount && frame >= m_firstValid && frame - m_firstValid < m_validCount;
    }
    unsigned getNumValidFrames() const { return m_validCount; }
    unsigned getFirstValidFrame() const { return m_firstValid; }
    unsigned getNumGopFrames() const { return unsigned(decodeOrder.size()); }
    // The first sample read, in coded order.
    unsigned getStartGopFrameIndex() const { return decodeOrder.empty() ? 0 : decodeOrder.front(); }

private:
    unsigned m_firstValid = 0;
    unsigned m_validCount = 0;
};
