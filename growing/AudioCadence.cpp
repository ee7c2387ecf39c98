#include "growing/AudioCadence.h"

#include <iterator>

namespace Corvidane::ExternalIndexer {

namespace {

const AudioCadence cadences[] = {
    {{1920, 1920, 1920, 1920, 1920}, {1920, 3840, 5760, 7680, 9600}},
    {{1602, 1601, 1602, 1601, 1602}, {1602, 3203, 4805, 6406, 8008}}, // 48 kHz at 29.97
    {{2002, 2002, 2002, 2002, 2002}, {2002, 4004, 6006, 8008, 10010}},
    {{960, 960, 960, 960, 960}, {960, 1920, 2880, 3840, 4800}},
    {{801, 801, 800, 801, 801}, {801, 1602, 2402, 3203, 4004}},
    {{2000, 2000, 2000, 2000, 2000}, {2000, 4000, 6000, 8000, 10000}},
    {{800, 800, 800, 800, 800}, {800, 1600, 2400, 3200, 4000}},
    {{1600, 1600, 1600, 1600, 1600}, {1600, 3200, 4800, 6400, 8000}},
    {{480, 480, 480, 480, 480}, {480, 960, 1440, 1920, 2400}},
    {{400, 401, 400, 401, 400}, {400, 801, 1201, 1602, 2002}},
    {{200, 200, 201, 200, 200}, {200, 400, 601, 801, 1001}},
    {{1001, 1001, 1001, 1001, 1001}, {1001, 2002, 3003, 4004, 5005}},
    {{3203, 3203, 3204, 3203, 3203}, {3203, 6406, 9610, 12813, 16016}},
};

} // namespace

const AudioCadence* audioCadence(int row)
{
    return row >= 0 && size_t(row) < std::size(cadences) ? &cadences[row] : nullptr;
}

int audioCadenceRowOfFrameRate(uint32_t numerator, uint32_t denominator)
{
    // Frame rates in thousandths, in the order of the first rows.
    static const uint32_t rates[] = {25000, 29970, 23976, 50000, 59940, 24000, 60000, 30000};
    if (denominator == 0)
        return -1;
    const uint64_t milli = (uint64_t(numerator) * 1000 + denominator / 2) / denominator;
    for (int row = 0; row < int(std::size(rates)); ++row)
        if (milli == rates[row])
            return row;
    return -1;
}

} // namespace Corvidane::ExternalIndexer
