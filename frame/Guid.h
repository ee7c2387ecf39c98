#pragma once

#include <cstdint>

namespace Corvidane {

// The Windows GUID layout, fields in host byte order.
struct GUID {
    std::uint32_t Data1;
    std::uint16_t Data2;
    std::uint16_t Data3;
    std::uint8_t Data4[8];
};
static_assert(sizeof(GUID) == 16, "GUID must be 16 bytes");

bool operator==(const GUID& a, const GUID& b);
bool operator!=(const GUID& a, const GUID& b);

// Fills *guid with a fresh random (or time-based, where no random source
// exists) UUID. The fields are read big-endian from the RFC 4122 bytes, so
// writing the first three in network order gives those bytes back. Returns
// 0, or -1 for a null pointer.
long UuidCreate(GUID* guid);

} // namespace Corvidane
