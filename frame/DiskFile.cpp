#include "frame/DiskFile.h"

#include <cstdio>

#include "frame/CvFileIOFactory.h"
#include "frame/Utf8.h"

namespace Vex {

void CDiskFile::close()
{
    closeFile();
    m_filename.clear();
}

void CDiskFile::closeFile() { m_file.reset(); }

CvResult CDiskFile::seek(unsigned long position, int origin)
{
    Ptr<iFile> file = m_file;
    if (!file)
        return Fail;
    uint64_t target;
    switch (origin) {
    case 0: target = position; break;
    case 1: target = file->getPosition() + position; break;
    case 2: target = file->getSize() + position; break;
    default: return InvalidArg;
    }
    return file->setPosition(target) ? OK : Fail;
}

uint64_t CDiskFile::getSize() const
{
    Ptr<iFile> file = m_file;
    return file ? file->getSize() : 0;
}

uint64_t CDiskFile::getPos() const
{
    Ptr<iFile> file = m_file;
    return file ? file->getPosition() : 0;
}

uint64_t CDiskFile::roundUpToSectorBoundary(uint64_t value) const
{
    uint64_t sector = m_sectorSize ? m_sectorSize : 1;
    return (value + sector - 1) / sector * sector;
}

bool CDiskFile::exists(const std::wstring& path) { return CvFileIOFactoryProvider::exists(path.c_str()); }

bool CDiskFile::remove(const std::wstring& path)
{
    std::string narrow;
    return Corvidane::toUtf8(path, narrow) && std::remove(narrow.c_str()) == 0;
}

unsigned CDiskFile::sectorSizeFromPath(const std::wstring& path)
{
    Ptr<iDiskDrive> drive = CvFileIOFactoryProvider::openDrive(getDrive(path).c_str());
    // A drive that reports no size is treated as one of 512-byte sectors: the
    // sector arithmetic divides by it.
    unsigned size = drive ? drive->sectorSize() : 0;
    return size ? size : 512;
}

} // namespace Vex
