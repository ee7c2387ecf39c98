#pragma once
#include <memory>
#include <vector>

#include "quicktime/atoms/QTListEx.h"

// The writer's tree of atoms: sizes are computed from the bottom up and the
// whole tree is serialised into one buffer. Every size passes through the
// 32-bit length field, so only QTAtomExtendable holds a longer atom.
namespace Corvidane::QuickTime {

class Atom {
public:
    virtual ~Atom() = default;
    virtual uint64_t atomSize() { return internalSize(); }
    virtual size_t write(unsigned char* buffer, size_t capacity) { return internalWrite(buffer, capacity); }
    // A leaf has no children: a child handed to it is dropped.
    virtual void appendAtom(std::unique_ptr<Atom> child) {}

protected:
    virtual uint64_t internalSize() = 0;
    virtual size_t internalWrite(unsigned char* buffer, size_t capacity) = 0;
};

template <typename Base, typename T>
class AtomEx;

// A leaf that owns one record and stores its size before writing it.
template <typename T>
class AtomEx<Atom, T> : public Atom {
public:
    explicit AtomEx(std::unique_ptr<T> record = std::make_unique<T>()) : m_record(std::move(record)) {}
    T& record() { return *m_record; }

protected:
    uint64_t internalSize() override { return m_record->getSize(); }
    size_t internalWrite(unsigned char* buffer, size_t capacity) override
    {
        m_record->size = static_cast<decltype(m_record->size)>(internalSize());
        return m_record->toData(buffer, capacity);
    }
    std::unique_ptr<T> m_record;
};

// A block already in wire form.
template <>
class AtomEx<Atom, QTAtomRawEx> : public Atom {
public:
    explicit AtomEx(QTAtomRawEx block) : m_block(block) {}

protected:
    uint64_t internalSize() override { return m_block.count; }
    size_t internalWrite(unsigned char* buffer, size_t capacity) override;

private:
    QTAtomRawEx m_block;
};

// A leaf owning a table.
template <typename Base, typename T>
class AtomEx_List : public AtomEx<Atom, QTListEx<T>> {
public:
    using AtomEx<Atom, QTListEx<T>>::AtomEx;
};

template <typename Base, typename T>
class AtomEx2;

// The mdat header: its length is the payload's, which the writer sets itself,
// so writing leaves it alone.
template <>
class AtomEx2<Atom, QTAtomExtendable> : public AtomEx<Atom, QTAtomExtendable> {
public:
    using AtomEx::AtomEx;

protected:
    size_t internalWrite(unsigned char* buffer, size_t capacity) override { return m_record->toData(buffer, capacity); }
};

// An atom with children, written after its own header in order of appending.
class ContainerAtom : public Atom {
public:
    uint64_t atomSize() override;
    size_t write(unsigned char* buffer, size_t capacity) override;
    void appendAtom(std::unique_ptr<Atom> child) override { m_children.push_back(std::move(child)); }

private:
    std::vector<std::unique_ptr<Atom>> m_children;
};

// A container whose header is a plain atom record: its length is the total.
template <>
class AtomEx<ContainerAtom, QTAtom> : public ContainerAtom {
public:
    explicit AtomEx(uint32_t type) : m_header(8, type) {}
    QTAtom& record() { return m_header; }

protected:
    uint64_t internalSize() override { return m_header.getSize(); }
    size_t internalWrite(unsigned char* buffer, size_t capacity) override
    {
        m_header.size = static_cast<uint32_t>(atomSize());
        return m_header.toData(buffer, capacity);
    }

private:
    QTAtom m_header;
};

} // namespace Corvidane::QuickTime
