#pragma once
#include <cstdint>
#include <cstring>
#include <string>

// Builds ".cvindex" files byte by byte, at the offsets of the format, so that
// the reader is tested against the layout rather than against our writer.
class SidecarBytes {
public:
    // A header for `tracks` tracks of `type`, version 1, no cadence.
    explicit SidecarBytes(unsigned tracks = 1, uint8_t type = 1) : m_bytes(512, '\0')
    {
        std::memcpy(&m_bytes[0], "CVIX", 4);
        put32(4, 1);
        put32(12, tracks);
        for (unsigned t = 0; t < tracks && t < 32; ++t)
            m_bytes[16 + t] = static_cast<char>(type);
        m_bytes[149] = static_cast<char>(0xFF);
        m_bytes[176] = 1;
    }

    SidecarBytes& put8(size_t at, uint8_t value)
    {
        m_bytes[at] = static_cast<char>(value);
        return *this;
    }
    SidecarBytes& put32(size_t at, uint32_t value)
    {
        for (int i = 0; i < 4; ++i)
            m_bytes[at + i] = static_cast<char>((value >> (8 * i)) & 0xFF);
        return *this;
    }
    // One 22-byte record: offset, size, frame type, presentation and decode index.
    SidecarBytes& record(uint64_t offset, uint32_t size, uint16_t frameType, uint32_t presentation, uint32_t decode)
    {
        std::string r(22, '\0');
        for (int i = 0; i < 8; ++i)
            r[i] = static_cast<char>((offset >> (8 * i)) & 0xFF);
        for (int i = 0; i < 4; ++i) {
            r[8 + i] = static_cast<char>((size >> (8 * i)) & 0xFF);
            r[14 + i] = static_cast<char>((presentation >> (8 * i)) & 0xFF);
            r[18 + i] = static_cast<char>((decode >> (8 * i)) & 0xFF);
        }
        r[12] = static_cast<char>(frameType & 0xFF);
        r[13] = static_cast<char>(frameType >> 8);
        m_bytes += r;
        return *this;
    }
    SidecarBytes& tail(size_t count)
    {
        m_bytes.append(count, '\x5A');
        return *this;
    }
    const std::string& bytes() const { return m_bytes; }

private:
    std::string m_bytes;
};

// Bytes that differ from their neighbours, to stand for essence.
inline std::string essenceBytes(size_t size)
{
    std::string bytes(size, '\0');
    for (size_t i = 0; i < size; ++i)
        bytes[i] = static_cast<char>((i * 131 + i / 7) & 0xFF);
    return bytes;
}

// Little-endian fields of a file's bytes.
inline uint32_t le32(const std::string& bytes, size_t at)
{
    uint32_t value = 0;
    for (int i = 3; i >= 0; --i)
        value = value << 8 | static_cast<unsigned char>(bytes.at(at + i));
    return value;
}
