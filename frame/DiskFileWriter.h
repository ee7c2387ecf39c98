#pragma once
#include "frame/DiskFile.h"

namespace Vex {

// Writes a file at its current position.
class CFileWriter : public CDiskFile {
public:
    // Creates a new file; fails when it exists.
    virtual CvResult create(const std::wstring& path);
    // Opens an existing file for writing.
    virtual CvResult open(const std::wstring& path);
    virtual CvResult write(const unsigned char* buffer, unsigned size, unsigned& written);
    virtual CvResult internalCreate(const std::wstring& path, const iFile::eOpenBehaviour& behaviour,
                                    const iFile::eFlags& flags);
};

// Writes whole sectors only, at sector-aligned positions.
class CFileWriterUnbuffered : public CFileWriter {
public:
    using CFileWriter::create;
    using CDiskFile::seek;
    CvResult write(const unsigned char* buffer, unsigned size, unsigned& written) override;
    virtual CvResult create(std::wstring path, iFile::eFlags flags, iFile::eOpenBehaviour behaviour);
    // Seeks to a sector boundary; `previous`, when given, receives the position before.
    virtual CvResult seek(unsigned long position, unsigned long* previous, int origin);
};

} // namespace Vex
