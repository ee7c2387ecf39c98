#pragma once
#include <algorithm>

#include "quicktime/atoms/Wire.h"

namespace Corvidane::QuickTime {

template <typename Make>
size_t readChildAtoms(const unsigned char* data, size_t position, size_t end, ExtensionVector& into, Make make)
{
    while (position < end && end - position >= 8) {
        uint32_t length = readBE32(data + position);
        if (length == 0)
            break;
        size_t available = std::min<size_t>(length, end - position);
        std::unique_ptr<QTAtom> child = make(readCode(data + position + 4));
        if (!child)
            child = std::make_unique<QTAtomRaw>();
        child->fromData(data + position, available);
        into.push_back(std::move(child));
        position += available;
    }
    return position;
}

} // namespace Corvidane::QuickTime
