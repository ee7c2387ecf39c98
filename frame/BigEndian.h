#pragma once
#include <cstdint>

// Big-endian fields, as QuickTime atoms and MXF packs store them.
namespace Corvidane {

inline uint16_t readBE16(const unsigned char* p) { return static_cast<uint16_t>(p[0] << 8 | p[1]); }
inline uint32_t readBE32(const unsigned char* p)
{
    return uint32_t(p[0]) << 24 | uint32_t(p[1]) << 16 | uint32_t(p[2]) << 8 | uint32_t(p[3]);
}
inline uint64_t readBE64(const unsigned char* p) { return uint64_t(readBE32(p)) << 32 | readBE32(p + 4); }

inline void writeBE16(unsigned char* p, uint16_t v)
{
    p[0] = static_cast<unsigned char>(v >> 8);
    p[1] = static_cast<unsigned char>(v);
}
inline void writeBE32(unsigned char* p, uint32_t v)
{
    writeBE16(p, static_cast<uint16_t>(v >> 16));
    writeBE16(p + 2, static_cast<uint16_t>(v));
}
inline void writeBE64(unsigned char* p, uint64_t v)
{
    writeBE32(p, static_cast<uint32_t>(v >> 32));
    writeBE32(p + 4, static_cast<uint32_t>(v));
}

} // namespace Corvidane
