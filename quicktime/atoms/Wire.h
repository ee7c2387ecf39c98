#pragma once
#include <algorithm>
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

// An atom describes its fields once, in file order, as a template over a
// field reader and a field writer (`describe(atom, fields)`), and reads and
// writes through that one description. The two classes below have the same
// operations: the reader fills the variables it is handed, the writer writes
// them. A field that doesn't fit leaves its variable (or the buffer)
// untouched and answers false, so a short atom keeps the defaults of the
// fields it lacks, and a short buffer is never written past.

class FieldReader {
public:
    static constexpr bool writing = false;
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
    bool s32(int32_t& v) { auto p = take(4); return p && (v = static_cast<int32_t>(readBE32(p)), true); }
    bool code(uint32_t& v) { auto p = take(4); return p && (v = readCode(p), true); }
    bool bytes(void* out, size_t count)
    {
        auto p = take(count);
        return p && (std::memcpy(out, p, count), true);
    }
    // Bytes of no meaning: passed over.
    bool reserved(size_t count) { return skip(count); }
    // A 32-bit value, or a 64-bit one when `wide`.
    bool varying(uint64_t& v, bool wide)
    {
        uint32_t narrow = 0;
        if (wide)
            return u64(v);
        return u32(narrow) && (v = narrow, true);
    }
    // A 32-bit field held as a 64-bit number, signed on the wire when `isSigned`.
    bool offset32(int64_t& v, bool isSigned)
    {
        uint32_t word = 0;
        return u32(word) && (v = isSigned ? int64_t(int32_t(word)) : int64_t(word), true);
    }
    // An unsigned number of `count` bytes, at most 4.
    bool number(uint32_t& v, size_t count)
    {
        auto p = count <= 4 ? take(count) : nullptr;
        if (!p)
            return false;
        v = 0;
        for (size_t i = 0; i < count; ++i)
            v = v << 8 | p[i];
        return true;
    }
    bool fixed16(float& v) { auto p = take(4); return p && (v = fixed16ToFloat(readBE32(p)), true); }
    bool fixed8(float& v) { auto p = take(2); return p && (v = fixed8ToFloat(readBE16(p)), true); }
    // A name in a field of `fieldSize` bytes, in either of readNameString's forms.
    bool pascalName(std::string& v, size_t fieldSize)
    {
        if (!has(fieldSize))
            return false;
        bool pascal = false;
        v = readNameString(here(), remaining(), fieldSize, pascal);
        return skip(fieldSize);
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

class FieldWriter {
public:
    static constexpr bool writing = true;
    FieldWriter(unsigned char* data, size_t capacity, size_t position = 0)
        : m_data(data), m_capacity(capacity), m_position(position)
    {
    }
    bool has(size_t count) const { return m_position <= m_capacity && m_capacity - m_position >= count; }
    bool u8(const uint8_t& v) { auto p = take(1); return p && (*p = v, true); }
    bool u16(const uint16_t& v) { auto p = take(2); return p && (writeBE16(p, v), true); }
    bool u32(const uint32_t& v) { auto p = take(4); return p && (writeBE32(p, v), true); }
    bool u64(const uint64_t& v) { auto p = take(8); return p && (writeBE64(p, v), true); }
    bool s32(const int32_t& v) { return u32(static_cast<uint32_t>(v)); }
    bool code(const uint32_t& v) { auto p = take(4); return p && (writeCode(p, v), true); }
    bool bytes(const void* in, size_t count)
    {
        auto p = take(count);
        return p && (std::memcpy(p, in, count), true);
    }
    // Bytes of no meaning: zeros.
    bool reserved(size_t count)
    {
        auto p = take(count);
        return p && (std::memset(p, 0, count), true);
    }
    bool varying(const uint64_t& v, bool wide) { return wide ? u64(v) : u32(static_cast<uint32_t>(v)); }
    bool offset32(const int64_t& v, bool) { return u32(static_cast<uint32_t>(v)); }
    bool number(const uint32_t& v, size_t count)
    {
        auto p = count <= 4 ? take(count) : nullptr;
        if (!p)
            return false;
        uint32_t rest = v;
        for (size_t i = count; i-- > 0; rest >>= 8)
            p[i] = static_cast<unsigned char>(rest);
        return true;
    }
    bool fixed16(const float& v) { return u32(floatToFixed16(v)); }
    bool fixed8(const float& v) { return u16(floatToFixed8(v)); }
    // A Pascal string of at most `fieldSize` - 1 characters, padded with zeros.
    bool pascalName(const std::string& v, size_t fieldSize)
    {
        auto p = fieldSize > 0 ? take(fieldSize) : nullptr;
        if (!p)
            return false;
        const size_t count = std::min(v.size(), fieldSize - 1);
        std::memset(p, 0, fieldSize);
        p[0] = static_cast<unsigned char>(count);
        std::memcpy(p + 1, v.data(), count);
        return true;
    }
    size_t position() const { return m_position; }

private:
    unsigned char* take(size_t count)
    {
        if (!has(count))
            return nullptr;
        unsigned char* p = m_data + m_position;
        m_position += count;
        return p;
    }
    unsigned char* m_data;
    size_t m_capacity;
    size_t m_position;
};

} // namespace Corvidane::QuickTime
