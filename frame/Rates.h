#pragma once

#include <string>
#include <vector>

namespace Corvidane {

// "rate/scale", e.g. "30000/1001". True when a text was made.
bool getWStringFromFrameRateAndScale(unsigned rate, unsigned scale, std::wstring& text);

// Parses the decimal numbers on both sides of the first '/', blanks around
// them allowed. False, leaving rate and scale untouched, when there is no
// '/' or a side is not a number that fits 32 bits.
bool getRateAndScaleFromWString(const std::wstring& text, unsigned& rate, unsigned& scale);

// Aspect ratios are held as width << 16 | height.
constexpr unsigned aspectRatio16x9 = 0x00100009;
constexpr unsigned aspectRatio4x3 = 0x00040003;
constexpr unsigned aspectRatio14x9 = 0x000E0009;

// "16-9", "4-3" and "14-9"; any other text is taken as 16:9.
unsigned aspectRatioFromString(const std::wstring& text);
// The inverse; any other value gives "16-9".
std::wstring aspectRatioToString(unsigned value);
// 16:9, 4:3, 14:9 in that order.
const std::vector<unsigned>& aspectRatios();

// Kilobits per second of the codecs with one fixed rate; 0 for others. The
// two further arguments are not used, since each listed codec has one rate.
unsigned getBitrateForFCC(unsigned fcc, unsigned, unsigned);
// Bits per pixel as written to a file: 24 for every codec.
unsigned getBppForFCC(unsigned fcc);
// IMX (D-10) comes at 30, 40 or 50 Mbit/s.
bool isValidIMXBitrate(unsigned rate);

} // namespace Corvidane
