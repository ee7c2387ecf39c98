#pragma once
#include <algorithm>
#include <memory>
#include <type_traits>

#include "frame/FourCC.h"

#include "quicktime/atoms/QTList.h"

namespace Corvidane::QuickTime {

// The writable form of a table. Numbers (unsigned char, int, long) are held
// in a vector of values; records and sample descriptions as owned items.
// With fixedSize set the atom keeps that length on disk however many entries
// it holds, which is how the writer reserves a table ahead of time.
template <typename T>
class QTListEx : public QTList<T> {
public:
    static constexpr uint64_t notSet = UINT64_MAX;
    static constexpr bool holdsNumbers = std::is_arithmetic_v<T>;

    using QTList<T>::QTList;

    // Appends a record the caller made and returns 0: this list writes, it
    // does not parse.
    size_t AddItem(T** item, const unsigned char*, size_t) override
    {
        if (item && *item) {
            this->m_items.emplace_back(*item);
            *item = nullptr;
        }
        return 0;
    }
    // Appends a number or a record by value. A sample description is a class
    // of many shapes: a copy into the base would slice it, so it can only be
    // handed over whole.
    template <typename U = T, std::enable_if_t<!std::is_polymorphic_v<U>, int> = 0>
    void addItem(const T& value)
    {
        if constexpr (holdsNumbers)
            m_values.push_back(value);
        else
            this->m_items.push_back(std::make_unique<T>(value));
    }
    void addItem(std::unique_ptr<T> item)
    {
        if (item)
            this->m_items.push_back(std::move(item));
    }
    size_t get_Count() const override { return holdsNumbers ? m_values.size() : this->m_items.size(); }
    virtual T* get_LastItem() { return this->m_items.empty() ? nullptr : this->m_items.back().get(); }
    const std::vector<T>& values() const { return m_values; }
    // Rewrites one number of a list of numbers; false past its end.
    bool setValue(size_t index, T value)
    {
        if (index >= m_values.size())
            return false;
        m_values[index] = value;
        return true;
    }

    uint64_t getSize() const override
    {
        if (fixedSize != notSet)
            return fixedSize;
        uint64_t total = 16;
        if constexpr (holdsNumbers) {
            total += m_values.size() * numberWidth();
        } else {
            for (const auto& item : this->m_items)
                total += entrySize(*item);
        }
        return total;
    }

    size_t toData(unsigned char* buffer, size_t capacity) const override
    {
        uint64_t size = getSize();
        if (size > capacity || capacity < 16)
            return 0;
        QTHeaderBase1::toData(buffer, capacity);
        writeBE32(buffer + 12, static_cast<uint32_t>(get_Count()));
        size_t position = 16;
        uint64_t end = fixedSize != notSet ? fixedSize : capacity;
        if constexpr (holdsNumbers) {
            for (T value : m_values) {
                if (position + numberWidth() > end)
                    break;
                writeNumber(buffer + position, value);
                position += numberWidth();
            }
        } else {
            for (const auto& item : this->m_items) {
                uint64_t bytes = entrySize(*item);
                if (position + bytes > end)
                    break;
                position += writeEntry(*item, buffer + position, static_cast<size_t>(end - position));
            }
        }
        return fixedSize != notSet ? static_cast<size_t>(fixedSize) : position;
    }

    uint64_t fixedSize = notSet;

protected:
    size_t itemWireSize() const override
    {
        if constexpr (holdsNumbers)
            return numberWidth();
        else if constexpr (std::is_base_of_v<QTAtom, T>)
            return 16;
        else
            return T::wireSize;
    }

private:
    static constexpr size_t numberWidth() { return sizeof(T) >= 8 ? 8 : sizeof(T) == 1 ? 1 : 4; }
    static void writeNumber(unsigned char* p, T value)
    {
        uint64_t v = static_cast<uint64_t>(value);
        for (size_t i = numberWidth(); i-- > 0; v >>= 8)
            p[i] = static_cast<unsigned char>(v);
    }
    static uint64_t entrySize(const T& item)
    {
        if constexpr (std::is_base_of_v<QTAtom, T>)
            return item.getSize();
        else
            return T::wireSize;
    }
    static size_t writeEntry(const T& item, unsigned char* p, size_t capacity)
    {
        if constexpr (std::is_base_of_v<QTAtom, T>) {
            return item.toData(p, capacity);
        } else {
            FieldWriter out(p, capacity);
            return T::describe(item, out) ? out.position() : 0;
        }
    }

    std::vector<T> m_values;
};

} // namespace Corvidane::QuickTime

namespace Corvidane::QuickTime {

// stsz as the writer makes it: one constant size, or a size per sample.
class SampleSizeListEx : public QTListEx<unsigned int> {
public:
    SampleSizeListEx() : QTListEx(0, fourCC("stsz")) {}
    void addSize(unsigned size) { m_sizes.push_back(size); }
    size_t get_Count() const override { return m_sizes.size(); }
    uint64_t getSize() const override
    {
        if (fixedSize != notSet)
            return fixedSize;
        return sampleSize ? 20 : 20 + 4 * uint64_t(m_sizes.size());
    }
    size_t toData(unsigned char* buffer, size_t capacity) const override
    {
        if (getSize() > capacity || capacity < 20)
            return 0;
        QTHeaderBase1::toData(buffer, capacity);
        writeBE32(buffer + 12, sampleSize);
        writeBE32(buffer + 16, sampleCount);
        if (sampleSize)
            return fixedSize != notSet ? static_cast<size_t>(fixedSize) : 20;
        uint64_t end = fixedSize != notSet ? fixedSize : capacity;
        size_t position = 20;
        for (size_t i = 0; i < sampleCount && i < m_sizes.size() && position + 4 <= end; ++i, position += 4)
            writeBE32(buffer + position, m_sizes[i]);
        return fixedSize != notSet ? static_cast<size_t>(fixedSize) : position;
    }

    unsigned sampleSize = 0;
    unsigned sampleCount = 0;

private:
    std::vector<unsigned> m_sizes;
};

// sdtp as the writer makes it: one byte a sample and no count.
class SampleDependencyList : public QTListEx<unsigned char> {
public:
    SampleDependencyList() : QTListEx(0, fourCC("sdtp")) {}
    uint64_t getSize() const override { return fixedSize != notSet ? fixedSize : 12 + values().size(); }
    size_t toData(unsigned char* buffer, size_t capacity) const override
    {
        if (getSize() > capacity || capacity < 12)
            return 0;
        QTHeaderBase1::toData(buffer, capacity);
        size_t count = values().size();
        if (fixedSize != notSet)
            count = std::min<size_t>(count, static_cast<size_t>(fixedSize - 12));
        std::copy(values().begin(), values().begin() + static_cast<long>(count), buffer + 12);
        if (fixedSize == notSet)
            return 12 + count;
        // A reserved table keeps its length, the room behind the entries zero.
        std::fill(buffer + 12 + count, buffer + fixedSize, 0);
        return static_cast<size_t>(fixedSize);
    }
};

} // namespace Corvidane::QuickTime
