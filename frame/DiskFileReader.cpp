#include "frame/DiskFileReader.h"

#include <cerrno>
#include <climits>

#include "frame/CvFileIOFactory.h"

namespace Vex {

CvResult CFileReader::load(const std::wstring& path) { return internalOpen(path, iFile::Buffered); }

CvResult CFileReader::internalOpen(const std::wstring& path, const iFile::eFlags& flags)
{
    if (isOpen())
        return InvalidState;
    if (path.empty())
        return InvalidArg;
    errno = 0;
    Ptr<iFile> file = CvFileIOFactoryProvider::open(path.c_str(), iFile::AccessRead, iFile::OpenExisting,
                                                    static_cast<iFile::eShareMode>(iFile::ShareRead | iFile::ShareWrite),
                                                    flags);
    if (!file) {
        // A failure that leaves no error number still is a failure.
        CvResult result = CvResultFromLastError();
        return isSuccess(result) ? Fail : result;
    }
    m_file = file;
    m_filename = path;
    m_sectorSize = flags != 0 ? sectorSizeFromPath(path) : 1;
    return OK;
}

CvResult CFileReader::read(unsigned char* buffer, unsigned size, unsigned& read)
{
    Ptr<iFile> file = m_file;
    if (!file)
        return Fail;
    errno = 0;
    size_t count = file->read(buffer, size);
    if (count == 0)
        return CvResultFromLastError();
    read = static_cast<unsigned>(count);
    return OK;
}

CvResult CFileReaderUnbuffered::load(const std::wstring& path, iFile::eFlags flags)
{
    return internalOpen(path, flags);
}

CvResult CFileReaderUnbuffered::seek(unsigned long position, int origin)
{
    m_alignmentOffset = static_cast<unsigned>(position % m_sectorSize);
    return CFileReader::seek(position - m_alignmentOffset, origin);
}

CvResult CFileReaderUnbuffered::read(unsigned char* buffer, unsigned capacity, unsigned count, unsigned& read,
                                     unsigned& offset)
{
    uint64_t needed = roundUpToSectorBoundary(uint64_t(count) + m_alignmentOffset);
    if (needed > capacity) {
        read = needed > UINT_MAX ? UINT_MAX : static_cast<unsigned>(needed);
        return InsufficientBuffer;
    }
    Ptr<iFile> file = m_file;
    if (!file)
        return Fail;
    errno = 0;
    size_t got = file->read(buffer, static_cast<size_t>(needed));
    if (got == 0)
        return CvResultFromLastError();
    read = static_cast<unsigned>(got);
    offset = m_alignmentOffset;
    return OK;
}

CvResult CFileReaderUnbuffered::alignedRead(unsigned long alignment, unsigned char* buffer, unsigned capacity,
                                            unsigned count, unsigned& read, unsigned& offset)
{
    if (alignment == 0)
        return InvalidArg;
    unsigned long r = m_alignmentOffset % alignment;
    unsigned shift = 0;
    if (r != 0) {
        if (alignment - r > capacity)
            return InsufficientBuffer;
        shift = static_cast<unsigned>(alignment - r);
        buffer += shift;
        capacity -= shift;
    }
    CvResult result = this->read(buffer, capacity, count, read, offset);
    if (isSuccess(result))
        offset += shift;
    return result;
}

} // namespace Vex
