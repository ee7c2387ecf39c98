#pragma once
#include <cstddef>

#include "quicktime/atoms/Wire.h"

// Reading and writing an atom through its one description of its fields,
// `Atom::describe(atom, fields)`, which starts at the atom's header.
namespace Corvidane::QuickTime {

// The position after the fields, or 0 when one doesn't fit.
template <class Atom> size_t readDescribed(Atom& atom, const unsigned char* data, size_t length)
{
    FieldReader in(data, length);
    return Atom::describe(atom, in) ? in.position() : 0;
}

// For atoms whose fields are optional: `whole` once the header is read, a
// short atom keeping the defaults of the fields it lacks; 0 without a header.
template <class Atom> size_t readKeepingDefaults(Atom& atom, const unsigned char* data, size_t length, size_t whole)
{
    if (length < 8)
        return 0;
    readDescribed(atom, data, length);
    return whole;
}

// The bytes written, or 0 when the atom's size is more than the capacity.
template <class Atom> size_t writeDescribed(const Atom& atom, unsigned char* buffer, size_t capacity)
{
    if (atom.getSize() > capacity)
        return 0;
    FieldWriter out(buffer, capacity);
    return Atom::describe(atom, out) ? out.position() : 0;
}

} // namespace Corvidane::QuickTime
