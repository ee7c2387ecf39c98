#include "host/FrameRates.h"

#include <cmath>
#include <iterator>

namespace Hc {

namespace {

struct RateRow {
    unsigned code;
    unsigned numerator;
    unsigned denominator;
};

const RateRow rates[] = {
    {Rate23_976, 24000, 1001}, {Rate24, 24, 1},        {Rate25, 25, 1},         {Rate29_97, 30000, 1001},
    {Rate30, 30, 1},           {Rate47_952, 48000, 1001}, {Rate48, 48, 1},      {Rate50, 50, 1},
    {Rate59_94, 60000, 1001},  {Rate60, 60, 1},        {Rate100, 100, 1},       {Rate119_88, 120000, 1001},
    {Rate120, 120, 1},
};

} // namespace

unsigned getEquivalentHcFrameRate(double rate)
{
    for (const RateRow& row : rates)
        if (std::fabs(rate - double(row.numerator) / row.denominator) < 0.01)
            return row.code;
    return NoFrameRate;
}

double getFramesPerSecond(unsigned frameRate)
{
    for (const RateRow& row : rates)
        if (row.code == frameRate)
            return double(row.numerator) / row.denominator;
    return 0.0;
}

bool getFrameRateFraction(unsigned frameRate, unsigned& numerator, unsigned& denominator)
{
    for (const RateRow& row : rates)
        if (row.code == frameRate) {
            numerator = row.numerator;
            denominator = row.denominator;
            return true;
        }
    return false;
}

unsigned ticksPerSecond(unsigned frameRate)
{
    return unsigned(std::ceil(getFramesPerSecond(frameRate)));
}

} // namespace Hc
