#pragma once
#include <cstdint>
#include <string>

#include "host/iFile.h"

namespace Corvidane {

// A block of memory with a capacity, a start offset of the content and a used
// size counted from the start of the memory. It owns its memory, or borrows a
// caller's: the (data, size) constructor borrows and leaves the memory alone on
// destruction; attach() on an existing buffer takes ownership, so a caller that
// lends memory that way must detach() before the buffer dies.
class CByteBuffer {
public:
    CByteBuffer() = default;
    explicit CByteBuffer(unsigned long size);
    CByteBuffer(unsigned char* data, unsigned long size);
    CByteBuffer(const CByteBuffer& other);
    CByteBuffer& operator=(const CByteBuffer& other);
    ~CByteBuffer();

    // Copies the other's whole capacity, offset and used size.
    bool assign(const CByteBuffer& other);
    bool alloc(uint64_t size);
    void reset();
    void attach(unsigned char* data, uint64_t size);
    void detach();
    void clear() { m_offset = 0; m_used = 0; }
    void flush(unsigned char value);
    void flush(unsigned char value, uint64_t size);
    // Grows the memory to `size`, keeping content, offset and used size; false
    // when it is big enough already or memory is short.
    bool inflate(uint64_t size);

    bool empty() const { return m_used == 0; }
    uint64_t capacity() const { return m_capacity; }
    uint64_t offset() const { return m_offset; }
    uint64_t used() const { return m_used; }
    bool owned() const { return m_owned; }

    unsigned char* getBuffer(uint64_t offset = 0) const { return offset < m_capacity ? m_data + offset : nullptr; }
    unsigned char* getBufferAtOffset() const { return getBuffer(m_offset); }
    unsigned char* getBufferAtEnd() const { return getBuffer(m_used); }
    bool setOffset(uint64_t offset);
    bool setUsed(uint64_t used);
    bool append(uint64_t count) { return setUsed(m_used + count); }
    // Copies behind the used bytes. When the bytes don't fit, nothing is
    // copied and the answer is still true: callers test for a source and memory.
    bool append(const unsigned char* data, uint64_t count);
    bool append(const CByteBuffer& other);
    bool append3(unsigned char value, uint64_t count);
    unsigned char at(uint64_t index) const { return index < m_capacity ? m_data[index] : 0; }
    // The content bytes, from the offset on.
    uint64_t contentSize() const;
    void copyTo(unsigned char* destination) const;

    // 0 with `written` set, or the HRESULT of errno.
    int32_t write(Ptr<iFile>& file, unsigned* written) const;
    int32_t writeAt(Ptr<iFile>& file, uint64_t position, unsigned* written) const;
    // Reads `size` bytes at a position into a new block (32 bytes of slack
    // behind them); the count read, or the HRESULT of errno.
    int64_t fromFile(Ptr<iFile>& file, uint64_t position, uint64_t size);
    // Reads a whole file; a file larger than a non-zero limit gives 0x80004005.
    int64_t fromFile(const wchar_t* path, uint64_t limit);
    // 1 on success, else the HRESULT of errno.
    int32_t toFile(const wchar_t* path) const;

    static unsigned char* allocateMemory(uint64_t size, uint64_t& actual);
    static void freeMemory(unsigned char* memory);

private:
    uint64_t m_capacity = 0;
    unsigned char* m_data = nullptr;
    uint64_t m_offset = 0;
    uint64_t m_used = 0;
    bool m_owned = true;
};

} // namespace Corvidane
