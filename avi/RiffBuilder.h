#pragma once
#include <cstdint>
#include <string>
#include <vector>

#include "avi/AviFormat.h"

namespace Corvidane::Avi {

// Lays RIFF chunks and lists into a byte block at a moving position, all
// numbers little-endian. Chunks are closed by patching their size field.
class RiffBuilder {
public:
    explicit RiffBuilder(std::vector<unsigned char>& block, size_t position = 0) : m_block(block), m_position(position)
    {
    }

    size_t position() const { return m_position; }
    void u8(uint8_t v) { room(1)[0] = v; }
    void u16(uint16_t v) { writeLE16(room(2), v); }
    void u32(uint32_t v) { writeLE32(room(4), v); }
    void u64(uint64_t v) { writeLE64(room(8), v); }
    void bytes(const unsigned char* data, size_t size)
    {
        unsigned char* p = room(size);
        for (size_t i = 0; i < size; ++i)
            p[i] = data[i];
    }
    void zeros(size_t count)
    {
        unsigned char* p = room(count);
        for (size_t i = 0; i < count; ++i)
            p[i] = 0;
    }
    // Starts a chunk (or, with a list type, a list); the offset of its size field.
    size_t open(uint32_t fourcc, uint32_t listType = 0)
    {
        u32(fourcc);
        size_t sizeField = m_position;
        u32(0);
        if (listType)
            u32(listType);
        return sizeField;
    }
    // Ends the chunk opened at `sizeField`, padding it to an even size.
    void close(size_t sizeField)
    {
        writeLE32(m_block.data() + sizeField, static_cast<uint32_t>(m_position - sizeField - 4));
        if (m_position & 1)
            u8(0);
    }
    // A JUNK chunk from here to `end`, which lies at least 8 bytes on.
    void junkTo(size_t end)
    {
        size_t sizeField = open(fourCC("JUNK"));
        zeros(end - m_position);
        close(sizeField);
    }

private:
    unsigned char* room(size_t count)
    {
        if (m_block.size() < m_position + count)
            m_block.resize(m_position + count);
        unsigned char* p = m_block.data() + m_position;
        m_position += count;
        return p;
    }

    std::vector<unsigned char>& m_block;
    size_t m_position;
};

} // namespace Corvidane::Avi
