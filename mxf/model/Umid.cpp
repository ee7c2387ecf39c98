#include "mxf/model/Umid.h"

#include <cstdio>
#include <cstring>

#include "frame/Guid.h"

namespace Corvidane::MXF {

void CUmid::setType(UMID* umid, short type) { std::memcpy(umid->bytes + 10, &type, 2); }

void CUmid::Create(UMID* umid, short type)
{
    static const unsigned char head[10] = {0x06, 0x0A, 0x2B, 0x34, 0x01, 0x01, 0x01, 0x05, 0x01, 0x01};
    std::memset(umid->bytes, 0, sizeof umid->bytes);
    std::memcpy(umid->bytes, head, sizeof head);
    setType(umid, type);
    // Byte 11 then names the UUID number method, byte 12 the length of what follows.
    umid->bytes[11] = 0x02;
    umid->bytes[12] = 0x13;
    GUID uuid;
    UuidCreate(&uuid);
    std::memcpy(umid->bytes + 16, &uuid, 16);
}

std::string UMIDToString(const UMID* umid)
{
    std::string text;
    if (!umid)
        return text;
    char hex[4];
    for (size_t i = 0; i < sizeof umid->bytes; ++i) {
        std::snprintf(hex, sizeof hex, i ? ".%02x" : "%02x", umid->bytes[i]);
        text += hex;
    }
    return text;
}

} // namespace Corvidane::MXF
