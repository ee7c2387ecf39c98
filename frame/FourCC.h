#pragma once

#include <string>

namespace Corvidane {

// A four character code is a 32-bit word whose low byte is the first letter,
// so fourCC("xd35") == 'x' | 'd' << 8 | '3' << 16 | '5' << 24.
constexpr unsigned fourCC(const char (&code)[5])
{
    return static_cast<unsigned>(static_cast<unsigned char>(code[0]))
         | static_cast<unsigned>(static_cast<unsigned char>(code[1])) << 8
         | static_cast<unsigned>(static_cast<unsigned char>(code[2])) << 16
         | static_cast<unsigned>(static_cast<unsigned char>(code[3])) << 24;
}

// The four letters of a code, first letter from the low byte. Bytes are
// copied as they are, so the text always has exactly four characters.
inline std::string fourCCToString(unsigned code)
{
    std::string text(4, '\0');
    for (unsigned i = 0; i < 4; ++i)
        text[i] = static_cast<char>((code >> (8 * i)) & 0xFF);
    return text;
}

} // namespace Corvidane
