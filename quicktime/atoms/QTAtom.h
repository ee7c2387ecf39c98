#pragma once
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace Corvidane::QuickTime {

// One atom of a file as a record. fromData parses a buffer that starts at the
// atom's header and returns the bytes consumed (0 when it can't); toData writes
// the record and returns the bytes written (0 when the capacity is short);
// getSize says how many bytes toData writes. An atom of fixed fields describes
// them once, from its header on, in `describe(atom, fields)` over a
// FieldReader or a FieldWriter, and reads and writes through it.
class QTAtom {
public:
    QTAtom() = default;
    QTAtom(uint32_t atomSize, uint32_t atomType) : size(atomSize), type(atomType) {}
    QTAtom(const QTAtom& other) = default;
    virtual ~QTAtom() = default;
    virtual QTAtom& operator=(const QTAtom& other);
    // 0 on self assignment, 1 otherwise.
    virtual int assign(const QTAtom& other);
    virtual size_t toData(unsigned char* buffer, size_t capacity) const;
    virtual uint64_t getSize() const { return 8; }
    virtual size_t fromData(const unsigned char* data, size_t length);
    virtual void dump(std::wstring& text) const;
    template <class Atom, class Fields> static bool describe(Atom& atom, Fields& fields)
    {
        return fields.u32(atom.size) && fields.code(atom.type);
    }

    uint32_t size = 0;
    uint32_t type = 0;
};

// An atom with version and flags, held as they lie in the file: the low byte
// of the word is the version, and its low bit selects the 64-bit layouts.
class QTHeaderBase1 : public QTAtom {
public:
    using QTAtom::QTAtom;
    QTHeaderBase1(uint32_t atomSize, uint32_t atomType, uint32_t rawVersionAndFlags)
        : QTAtom(atomSize, atomType), versionAndFlags(rawVersionAndFlags)
    {
    }
    // With 8 bytes or more the buffer starts at the header; with fewer it
    // starts at the version. The result is 12 (or 4), or 0 when nothing
    // follows the fields read: a result says that a payload follows.
    size_t fromData(const unsigned char* data, size_t length) override;
    size_t toData(unsigned char* buffer, size_t capacity) const override;
    uint64_t getSize() const override { return 12; }
    void dump(std::wstring& text) const override;
    // The header and the word of version and flags, kept as it lies.
    template <class Atom, class Fields> static bool describe(Atom& atom, Fields& fields)
    {
        return QTAtom::describe(atom, fields) && fields.bytes(&atom.versionAndFlags, 4);
    }
    bool isVersion1() const { return (versionAndFlags & 1) != 0; }
    // Bytes 1 to 3 of the file's field, the flags, as a number.
    uint32_t flags() const;

    uint32_t versionAndFlags = 0;
};

// An atom whose body is kept as bytes. Read only: toData writes nothing.
class QTAtomRaw : public QTAtom {
public:
    QTAtomRaw() = default;
    QTAtomRaw(const QTAtomRaw&) = delete;
    QTAtomRaw& operator=(const QTAtomRaw&) = delete;
    // Trusts `size` as far as `length` allows: a body that runs past the
    // buffer is cut at its end.
    size_t fromData(const unsigned char* data, size_t length) override;
    size_t toData(unsigned char*, size_t) const override { return 0; }
    const std::vector<unsigned char>& body() const { return m_body; }

private:
    std::vector<unsigned char> m_body;
};

// An atom the writer already holds in wire form.
struct QTAtomRawEx {
    const unsigned char* data = nullptr;
    size_t count = 0;
};

// The header of an atom whose length is known only at the end: 16 bytes in
// both forms, so the short form (a "wide" atom then the header) can turn into
// the 64-bit form without moving the payload.
class QTAtomExtendable {
public:
    QTAtomExtendable() = default;
    explicit QTAtomExtendable(uint32_t atomType) : type(atomType) {}
    virtual ~QTAtomExtendable() = default;
    virtual uint64_t getSize() const { return 16; }
    virtual size_t toData(unsigned char* buffer, size_t capacity) const;

    uint64_t size = 0;
    uint32_t type = 0;
    bool extended = false;
};

} // namespace Corvidane::QuickTime
