#pragma once
#include <memory>
#include <type_traits>
#include <vector>

#include "quicktime/atoms/QTAtom.h"
#include "quicktime/atoms/Wire.h"

namespace Corvidane::QuickTime {

// A table atom: the version header, a 32-bit entry count, then the entries.
// The list owns its items; the count is not stored but taken from them.
template <typename T>
class QTList : public QTHeaderBase1 {
public:
    using QTHeaderBase1::QTHeaderBase1;
    QTList(const QTList&) = delete;
    QTList& operator=(const QTList&) = delete;
    ~QTList() override = default;

    size_t fromData(const unsigned char* data, size_t length) override
    {
        size_t p = length < 8 ? 4 : 12;
        if (length < p + 4)
            return 0;
        QTHeaderBase1::fromData(data, length);
        uint32_t count = readBE32(data + p);
        p += 4;
        if (length <= p)
            return 0;
        if (uint64_t(count) * itemWireSize() > length - p)
            return 0;
        for (uint32_t i = 0; i < count; ++i) {
            T* item = nullptr;
            size_t used = AddItem(&item, data + p, length - p);
            std::unique_ptr<T> owned(item);
            if (used == 0)
                return 0;
            if (owned && isValid(owned.get()))
                m_items.push_back(std::move(owned));
            p += used;
            if (p > length)
                return 0;
        }
        return p;
    }

    // Parses one entry into a new *item and returns the bytes it took.
    virtual size_t AddItem(T** item, const unsigned char* data, size_t length) = 0;
    virtual bool isValid(const T*) const { return true; }
    virtual size_t get_Count() const { return m_items.size(); }

    const T* item(size_t index) const { return index < m_items.size() ? m_items[index].get() : nullptr; }
    const std::vector<std::unique_ptr<T>>& items() const { return m_items; }

protected:
    // Bytes of one entry on the wire, for the count check before parsing.
    virtual size_t itemWireSize() const = 0;
    std::vector<std::unique_ptr<T>> m_items;
};

// A list parsed by its record type: T::wireSize bytes an entry, read through
// T::describe.
template <typename T>
class QTRecordList : public QTList<T> {
public:
    using QTList<T>::QTList;
    size_t AddItem(T** item, const unsigned char* data, size_t length) override
    {
        T entry;
        FieldReader in(data, length);
        if (!T::describe(entry, in))
            return 0;
        *item = new T(entry);
        return in.position();
    }

protected:
    size_t itemWireSize() const override { return T::wireSize; }
};

} // namespace Corvidane::QuickTime
