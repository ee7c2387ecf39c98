#include "quicktime/atoms/Wire.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>

namespace Corvidane::QuickTime {

float fixedToFloat(unsigned whole, unsigned fraction)
{
    char text[16];
    std::snprintf(text, sizeof text, "%d.%d", static_cast<int>(whole), static_cast<int>(fraction));
    return std::strtof(text, nullptr);
}

uint32_t floatToFixed16(float value)
{
    unsigned whole = static_cast<unsigned>(value);
    unsigned fraction = static_cast<unsigned>((value - static_cast<float>(whole)) * 10);
    return (whole & 0xFFFF) << 16 | (fraction & 0xFFFF);
}

uint16_t floatToFixed8(float value)
{
    unsigned whole = static_cast<unsigned>(value);
    unsigned fraction = static_cast<unsigned>((value - static_cast<float>(whole)) * 10);
    return static_cast<uint16_t>((whole & 0xFF) << 8 | (fraction & 0xFF));
}

std::string readNameString(const unsigned char* data, size_t length, size_t maxChars, bool& isPascal)
{
    isPascal = false;
    if (length == 0)
        return {};
    size_t count = data[0];
    size_t remaining = length - 1;
    if (count != 0 && count <= remaining) {
        isPascal = true;
        return std::string(reinterpret_cast<const char*>(data + 1), std::min(count, maxChars));
    }
    if (remaining > 4096)
        return {};
    size_t end = 0;
    while (end < remaining && data[1 + end] != 0)
        ++end;
    return std::string(reinterpret_cast<const char*>(data + 1), std::min(end, maxChars));
}

} // namespace Corvidane::QuickTime
