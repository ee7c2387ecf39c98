#include "frame/ByteBuffer.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "frame/CvFileIOFactory.h"
#include "frame/CvResult.h"

namespace Corvidane {

CByteBuffer::CByteBuffer(unsigned long size)
{
    if (size)
        alloc(size);
}

CByteBuffer::CByteBuffer(unsigned char* data, unsigned long size)
    : m_capacity(data ? size : 0), m_data(data), m_owned(false)
{
}

CByteBuffer::CByteBuffer(const CByteBuffer& other) { assign(other); }

CByteBuffer& CByteBuffer::operator=(const CByteBuffer& other)
{
    assign(other);
    return *this;
}

CByteBuffer::~CByteBuffer()
{
    if (!m_owned)
        detach();
    reset();
}

unsigned char* CByteBuffer::allocateMemory(uint64_t size, uint64_t& actual)
{
    auto* memory = size <= SIZE_MAX ? static_cast<unsigned char*>(std::malloc(static_cast<size_t>(size))) : nullptr;
    actual = memory ? size : 0;
    return memory;
}

void CByteBuffer::freeMemory(unsigned char* memory) { std::free(memory); }

void CByteBuffer::reset()
{
    // Borrowed memory is the lender's to free.
    if (m_owned)
        freeMemory(m_data);
    m_data = nullptr;
    m_capacity = m_offset = m_used = 0;
    m_owned = true;
}

void CByteBuffer::attach(unsigned char* data, uint64_t size)
{
    reset();
    m_data = data;
    m_capacity = data ? size : 0;
}

void CByteBuffer::detach()
{
    m_data = nullptr;
    m_capacity = m_offset = m_used = 0;
}

bool CByteBuffer::alloc(uint64_t size)
{
    reset();
    if (size == 0)
        return true;
    uint64_t actual = 0;
    m_data = allocateMemory(size, actual);
    m_capacity = actual;
    return m_data != nullptr;
}

bool CByteBuffer::assign(const CByteBuffer& other)
{
    if (&other == this)
        return true;
    if (!other.m_data) {
        reset();
        return true;
    }
    if (m_capacity < other.m_capacity && !alloc(other.m_capacity))
        return false;
    std::memcpy(m_data, other.m_data, static_cast<size_t>(other.m_capacity));
    m_offset = other.m_offset;
    m_used = other.m_used;
    return true;
}

void CByteBuffer::flush(unsigned char value) { flush(value, m_capacity); }

void CByteBuffer::flush(unsigned char value, uint64_t size)
{
    if (m_data)
        std::memset(m_data, value, static_cast<size_t>(std::min(size, m_capacity)));
    clear();
}

bool CByteBuffer::inflate(uint64_t size)
{
    if (m_capacity >= size)
        return false;
    uint64_t actual = 0;
    unsigned char* block = allocateMemory(size, actual);
    if (!block)
        return false;
    if (m_data)
        std::memcpy(block, m_data, static_cast<size_t>(m_capacity));
    if (m_owned)
        freeMemory(m_data);
    m_data = block;
    m_capacity = actual;
    m_owned = true;
    return true;
}

bool CByteBuffer::setOffset(uint64_t offset)
{
    if (offset >= m_capacity)
        return false;
    m_offset = offset;
    return true;
}

bool CByteBuffer::setUsed(uint64_t used)
{
    if (used > m_capacity)
        return false;
    m_used = used;
    return true;
}

bool CByteBuffer::append(const unsigned char* data, uint64_t count)
{
    if (!data || !m_data)
        return false;
    if (count > m_capacity - m_used)
        return true;
    std::memcpy(m_data + m_used, data, static_cast<size_t>(count));
    m_used += count;
    return true;
}

bool CByteBuffer::append(const CByteBuffer& other)
{
    return append(other.getBufferAtOffset(), other.contentSize());
}

bool CByteBuffer::append3(unsigned char value, uint64_t count)
{
    if (!m_data || count > m_capacity - m_used)
        return false;
    std::memset(m_data + m_used, value, static_cast<size_t>(count));
    m_used += count;
    return true;
}

uint64_t CByteBuffer::contentSize() const
{
    // The used size counts from the start of the memory; the content is what
    // lies from the offset up to it.
    return m_used > m_offset ? m_used - m_offset : 0;
}

void CByteBuffer::copyTo(unsigned char* destination) const
{
    if (destination && m_data)
        std::memcpy(destination, getBufferAtOffset(), static_cast<size_t>(contentSize()));
}

int32_t CByteBuffer::write(Ptr<iFile>& file, unsigned* written) const
{
    if (!file)
        return static_cast<int32_t>(0x80004005u);
    uint64_t size = contentSize();
    errno = 0;
    if (size && !file->write(getBufferAtOffset(), static_cast<size_t>(size))) {
        int32_t hr = HRFromLastError();
        return hr ? hr : static_cast<int32_t>(0x80004005u);
    }
    if (written)
        *written = static_cast<unsigned>(size);
    return 0;
}

int32_t CByteBuffer::writeAt(Ptr<iFile>& file, uint64_t position, unsigned* written) const
{
    if (!file || !file->setPosition(position))
        return static_cast<int32_t>(0x80004005u);
    return write(file, written);
}

int64_t CByteBuffer::fromFile(Ptr<iFile>& file, uint64_t position, uint64_t size)
{
    if (!file || !file->setPosition(position) || !alloc(size + 32))
        return static_cast<int32_t>(0x80004005u);
    errno = 0;
    size_t got = size ? file->read(m_data, static_cast<size_t>(size)) : 0;
    if (got == 0 && size) {
        int32_t hr = HRFromLastError();
        if (hr)
            return hr;
    }
    m_used = got;
    return static_cast<int64_t>(got);
}

int64_t CByteBuffer::fromFile(const wchar_t* path, uint64_t limit)
{
    errno = 0;
    Ptr<iFile> file = CvFileIOFactoryProvider::open(path, iFile::AccessRead, iFile::OpenExisting, iFile::ShareRead, 0);
    if (!file) {
        int32_t hr = HRFromLastError();
        return hr ? hr : static_cast<int32_t>(0x80004005u);
    }
    uint64_t size = file->getSize();
    if (limit && size > limit)
        return static_cast<int32_t>(0x80004005u);
    return fromFile(file, 0, size);
}

int32_t CByteBuffer::toFile(const wchar_t* path) const
{
    errno = 0;
    Ptr<iFile> file = CvFileIOFactoryProvider::open(path, iFile::AccessWrite, iFile::CreateAlways, iFile::ShareNone, 0);
    if (file && write(file, nullptr) == 0)
        return 1;
    int32_t hr = HRFromLastError();
    return hr ? hr : static_cast<int32_t>(0x80004005u);
}

} // namespace Corvidane
