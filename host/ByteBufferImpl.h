#pragma once
#include <algorithm>
#include <cstddef>
#include <memory>
#include <new>

#include "host/Ptr.h"

// The host's memory holder: a block of bytes that a reader fills.
class iMemHolder : public RefCounted {
public:
    virtual unsigned char* data() = 0;
    virtual size_t capacity() const = 0;
};

// The host's byte buffer: content lies from the read offset up to the used
// size, so that a reader can read whole sectors and name where the data starts.
class ByteBufferImpl : public iMemHolder {
public:
    // No coded sample or run of sound comes near this; a size past it comes
    // from a damaged index, and gets no memory.
    static constexpr size_t largest = size_t(1) << 28;

    // The memory is not cleared: a reader fills what it uses. Memory that
    // can't be had leaves a buffer of no capacity, which no read fits.
    explicit ByteBufferImpl(size_t capacity = 0)
        : m_bytes(capacity && capacity <= largest ? new (std::nothrow) unsigned char[capacity] : nullptr),
          m_capacity(m_bytes ? capacity : 0)
    {
    }

    unsigned char* data() override { return m_bytes.get(); }
    size_t capacity() const override { return m_capacity; }
    // Grows the memory, keeping what it holds.
    void reserve(size_t capacity)
    {
        if (capacity <= m_capacity || capacity > largest)
            return;
        std::unique_ptr<unsigned char[]> bytes(new (std::nothrow) unsigned char[capacity]);
        if (!bytes)
            return;
        std::copy(m_bytes.get(), m_bytes.get() + m_used, bytes.get());
        m_bytes = std::move(bytes);
        m_capacity = capacity;
    }

    size_t readOffset() const { return m_readOffset; }
    void setReadOffset(size_t offset) { m_readOffset = offset; }
    // Bytes used from the start of the memory, the read offset included.
    size_t used() const { return m_used; }
    void setUsed(size_t used) { m_used = used; }
    void clear() { m_readOffset = m_used = 0; }

    // The content, and its size.
    const unsigned char* content() const { return m_bytes.get() + m_readOffset; }
    size_t size() const { return m_used > m_readOffset ? m_used - m_readOffset : 0; }
    // Where the next bytes go, and the room left there.
    unsigned char* end() { return m_bytes.get() + m_used; }
    size_t freeSpace() const { return m_capacity - m_used; }

private:
    std::unique_ptr<unsigned char[]> m_bytes;
    size_t m_capacity = 0;
    size_t m_readOffset = 0;
    size_t m_used = 0;
};
