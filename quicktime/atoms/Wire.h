#pragma once
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>

#include "frame/BigEndian.h"

// Fields of QuickTime atoms, big-endian. Four character codes are kept in file
// byte order, so a code read from a file compares equal to fourCC("moov").
namespace Corvidane::QuickTime {

using Corvidane::readBE16;
using Corvidane::readBE32;
using Corvidane::readBE64;
using Corvidane::writeBE16;
using Corvidane::writeBE32;
using Corvidane::writeBE64;

inline uint32_t readCode(const unsigned char* p)
{
    uint32_t code;
    std::memcpy(&code, p, 4);
    return code;
}

inline void writeCode(unsigned char* p, uint32_t code) { std::memcpy(p, &code, 4); }

// Reads fields in order from a buffer. A field that doesn't fit leaves its
// variable untouched and answers false, so a short atom keeps the defaults of
// the fields it lacks.
class FieldReader {
public:
    FieldReader(const unsigned char* data, size_t length, size_t position = 0)
        : m_data(data), m_length(length), m_position(position)
    {
    }
    bool has(size_t count) const { return m_position <= m_length && m_length - m_position >= count; }
    bool skip(size_t count) { return take(count) != nullptr; }
    bool u8(uint8_t& v) { auto p = take(1); return p && (v = *p, true); }
    bool u16(uint16_t& v) { auto p = take(2); return p && (v = readBE16(p), true); }
    bool u32(uint32_t& v) { auto p = take(4); return p && (v = readBE32(p), true); }
    bool u64(uint64_t& v) { auto p = take(8); return p && (v = readBE64(p), true); }
    bool code(uint32_t& v) { auto p = take(4); return p && (v = readCode(p), true); }
    bool bytes(void* out, size_t count)
    {
        auto p = take(count);
        return p && (std::memcpy(out, p, count), true);
    }
    // A 32-bit value, or a 64-bit one when `wide`.
    bool varying(uint64_t& v, bool wide)
    {
        uint32_t narrow = 0;
        if (wide)
            return u64(v);
        return u32(narrow) && (v = narrow, true);
    }
    size_t position() const { return m_position; }
    const unsigned char* here() const { return m_data + m_position; }
    size_t remaining() const { return m_position < m_length ? m_length - m_position : 0; }

private:
    const unsigned char* take(size_t count)
    {
        if (!has(count))
            return nullptr;
        const unsigned char* p = m_data + m_position;
        m_position += count;
        return p;
    }
    const unsigned char* m_data;
    size_t m_length;
    size_t m_position;
};

// Fixed-point fields are read through their decimal text, "whole.fraction",
// as the files' other readers have always done: 0x00018000 reads as 1.32768.
float fixedToFloat(unsigned whole, unsigned fraction);
inline float fixed16ToFloat(uint32_t value) { return fixedToFloat(value >> 16, value & 0xFFFF); }
inline float fixed8ToFloat(uint16_t value) { return fixedToFloat(value >> 8, value & 0xFF); }
// The whole part, and the fractional part times ten, truncated.
uint32_t floatToFixed16(float value);
uint16_t floatToFixed8(float value);

// A name field: a Pascal string (length byte, text), or, since some writers put
// a C string there, the NUL-terminated text after a length byte that is 0 or
// runs past the data, as long as no more than 4,096 bytes remain. At most
// `maxChars` characters are kept. `isPascal` tells which form was read.
std::string readNameString(const unsigned char* data, size_t length, size_t maxChars, bool& isPascal);

} // namespace Corvidane::QuickTime
