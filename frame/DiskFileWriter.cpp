#include "frame/DiskFileWriter.h"

#include <cerrno>

#include "frame/CvFileIOFactory.h"

namespace Vex {

CvResult CFileWriter::create(const std::wstring& path)
{
    return internalCreate(path, iFile::CreateNew, iFile::Buffered);
}

CvResult CFileWriter::open(const std::wstring& path)
{
    return internalCreate(path, iFile::OpenExisting, iFile::Buffered);
}

CvResult CFileWriter::internalCreate(const std::wstring& path, const iFile::eOpenBehaviour& behaviour,
                                     const iFile::eFlags& flags)
{
    if (isOpen())
        return InvalidState;
    // The shortest path a writer takes is three characters, unlike the reader's one.
    if (path.size() < 3)
        return InvalidArg;
    errno = 0;
    Ptr<iFile> file = CvFileIOFactoryProvider::open(path.c_str(), iFile::AccessWrite, behaviour, iFile::ShareRead, flags);
    if (!file) {
        CvResult result = CvResultFromLastError();
        return isSuccess(result) ? Fail : result;
    }
    m_file = file;
    m_filename = path;
    m_sectorSize = flags != 0 ? 512 : 1;
    return OK;
}

CvResult CFileWriter::write(const unsigned char* buffer, unsigned size, unsigned& written)
{
    Ptr<iFile> file = m_file;
    if (!file)
        return Fail;
    errno = 0;
    if (file->write(buffer, size)) {
        written = size;
        return OK;
    }
    CvResult result = CvResultFromLastError();
    return isSuccess(result) ? Fail : result;
}

CvResult CFileWriterUnbuffered::create(std::wstring path, iFile::eFlags flags, iFile::eOpenBehaviour behaviour)
{
    return internalCreate(path, behaviour, flags);
}

CvResult CFileWriterUnbuffered::write(const unsigned char* buffer, unsigned size, unsigned& written)
{
    if (size % m_sectorSize != 0)
        return InvalidArg;
    return CFileWriter::write(buffer, size, written);
}

CvResult CFileWriterUnbuffered::seek(unsigned long position, unsigned long* previous, int origin)
{
    if (position % m_sectorSize != 0)
        return InvalidArg;
    if (previous)
        *previous = getPos();
    return CDiskFile::seek(position, origin);
}

} // namespace Vex
