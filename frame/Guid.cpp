#include "frame/Guid.h"

#include <cstring>

#include <uuid/uuid.h>

namespace Corvidane {

bool operator==(const GUID& a, const GUID& b)
{
    return a.Data1 == b.Data1 && a.Data2 == b.Data2 && a.Data3 == b.Data3
        && std::memcmp(a.Data4, b.Data4, sizeof a.Data4) == 0;
}

bool operator!=(const GUID& a, const GUID& b)
{
    return !(a == b);
}

long UuidCreate(GUID* guid)
{
    if (!guid)
        return -1;
    uuid_t bytes;
    uuid_generate(bytes);
    guid->Data1 = static_cast<std::uint32_t>(bytes[0]) << 24 | static_cast<std::uint32_t>(bytes[1]) << 16
                | static_cast<std::uint32_t>(bytes[2]) << 8 | bytes[3];
    guid->Data2 = static_cast<std::uint16_t>(bytes[4] << 8 | bytes[5]);
    guid->Data3 = static_cast<std::uint16_t>(bytes[6] << 8 | bytes[7]);
    std::memcpy(guid->Data4, bytes + 8, sizeof guid->Data4);
    return 0;
}

} // namespace Corvidane
