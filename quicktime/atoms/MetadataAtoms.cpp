#include "quicktime/atoms/MetadataAtoms.h"

#include <algorithm>

#include "quicktime/atoms/Wire.h"

namespace Corvidane::QuickTime {

size_t Metadata_keys::fromData(const unsigned char* data, size_t length)
{
    if (length < 16 || QTHeaderBase1::fromData(data, length) == 0)
        return 0;
    uint32_t count = readBE32(data + 12);
    size_t end = std::min<size_t>(size, length);
    size_t p = 16;
    // Each key is its length, its namespace, then the name's text.
    for (uint32_t i = 0; i < count && p + 8 <= end; ++i) {
        uint32_t keyLength = readBE32(data + p);
        if (keyLength < 8 || keyLength > end - p)
            break;
        keys.push_back({readCode(data + p + 4), std::string(reinterpret_cast<const char*>(data + p + 8), keyLength - 8)});
        p += keyLength;
    }
    return p;
}

size_t QTValueAtom::fromData(const unsigned char* data, size_t length)
{
    if (length < 16 || QTAtom::fromData(data, length) == 0)
        return 0;
    valueType = readBE32(data + 8);
    locale = readBE32(data + 12);
    size_t end = std::min<size_t>(size, length);
    if (end > 16)
        value.assign(data + 16, data + end);
    return std::max<size_t>(end, 16);
}

} // namespace Corvidane::QuickTime
