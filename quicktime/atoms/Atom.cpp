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

size_t ContainerAtom::write(unsigned char* buffer, size_t capacity)
{
    size_t position = internalWrite(buffer, capacity);
    for (const auto& child : m_children) {
        if (position > capacity)
            break;
        position += child->write(buffer + position, capacity - position);
    }
    return position;
}

} // namespace Corvidane::QuickTime
