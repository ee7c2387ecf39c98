#include "quicktime/atoms/Atom.h"

#include <cstring>

namespace Corvidane::QuickTime {

size_t AtomEx<Atom, QTAtomRawEx>::internalWrite(unsigned char* buffer, size_t capacity)
{
    if (capacity < m_block.count)
        return 0;
    std::memcpy(buffer, m_block.data, m_block.count);
    return m_block.count;
}

uint64_t ContainerAtom::atomSize()
{
    uint64_t total = internalSize();
    for (const auto& child : m_children)
        total += child->atomSize();
    return total;
}

// A part that writes fewer bytes than its size says fails the whole atom:
// its siblings would otherwise land where its bytes were meant to be.
size_t ContainerAtom::write(unsigned char* buffer, size_t capacity)
{
    size_t position = internalWrite(buffer, capacity);
    if (position != internalSize())
        return 0;
    for (const auto& child : m_children) {
        const uint64_t size = child->atomSize();
        if (size > capacity - position || child->write(buffer + position, capacity - position) != size)
            return 0;
        position += size_t(size);
    }
    return position;
}

} // namespace Corvidane::QuickTime
