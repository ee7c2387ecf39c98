#pragma once

namespace Hc {

// The host's frame rates, by code: 0 is none. The broadcast rates and their
// doubles, with the NTSC family at 1000/1001 of the whole rates.
enum FrameRate : unsigned {
    NoFrameRate = 0,
    Rate23_976 = 1,
    Rate24 = 2,
    Rate25 = 3,
    Rate29_97 = 4,
    Rate30 = 5,
    Rate47_952 = 6,
    Rate48 = 7,
    Rate50 = 8,
    Rate59_94 = 9,
    Rate60 = 10,
    Rate100 = 11,
    Rate119_88 = 12,
    Rate120 = 13,
};

// The code of a rate within a hundredth of a frame a second; 0 for none.
unsigned getEquivalentHcFrameRate(double rate);
// The frames a second of a code; 0.0 for none.
double getFramesPerSecond(unsigned frameRate);
// A code's rate as a fraction, 30000/1001 for 29.97; false for none.
bool getFrameRateFraction(unsigned frameRate, unsigned& numerator, unsigned& denominator);
// Whole frames in a second: 30 for 29.97.
unsigned ticksPerSecond(unsigned frameRate);

// The project's rate, used where a file names none the host knows.
struct CurrentProject {
    static unsigned getDefaultVideoFrameRate() { return Rate25; }
};

} // namespace Hc
