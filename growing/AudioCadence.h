#pragma once
#include <cstdint>

namespace Corvidane::ExternalIndexer {

// Audio samples of five consecutive video frames, and their running sums;
// the last sum is the period after which the pattern repeats.
struct AudioCadence {
    unsigned counts[5];
    unsigned sums[5];
    unsigned period() const { return sums[4]; }
    unsigned sumBefore(unsigned j) const { return j ? sums[j - 1] : 0; }
};

// A cadence row by number; null past the table. Rows 0 to 7 are the frame
// rates 25, 29.97, 23.98, 50, 59.94, 24, 60 and 30 at 48 kHz.
const AudioCadence* audioCadence(int row);

// The row of a frame rate among the first eight, or -1.
int audioCadenceRowOfFrameRate(uint32_t numerator, uint32_t denominator);

} // namespace Corvidane::ExternalIndexer
