#pragma once
#include "frame/DiskFile.h"

namespace Vex {

// Reads a file at its current position.
class CFileReader : public CDiskFile {
public:
    virtual CvResult load(const std::wstring& path);
    // One read of the file. At end of file the result is OK and `read` is left
    // untouched, so callers set it to 0 first.
    virtual CvResult read(unsigned char* buffer, unsigned size, unsigned& read);
    virtual CvResult internalOpen(const std::wstring& path, const iFile::eFlags& flags);
};

// Reads whole sectors straight into the caller's buffer. A seek lands on the
// sector boundary at or before the wanted byte and remembers the distance;
// a read reports where in the buffer the wanted bytes begin. No byte is moved
// after it is read.
class CFileReaderUnbuffered : public CFileReader {
public:
    using CFileReader::load;
    using CFileReader::read;
    CvResult seek(unsigned long position, int origin) override;
    virtual CvResult load(const std::wstring& path, iFile::eFlags flags);
    // Reads `count` wanted bytes from the last seek. Needs capacity for them
    // plus the distance in front, rounded up to whole sectors; when short, the
    // needed capacity is stored in `read` and the result is InsufficientBuffer.
    virtual CvResult read(unsigned char* buffer, unsigned capacity, unsigned count, unsigned& read,
                          unsigned& offset);
    // As read, with the wanted bytes placed on a multiple of `alignment` in memory.
    virtual CvResult alignedRead(unsigned long alignment, unsigned char* buffer, unsigned capacity, unsigned count,
                                 unsigned& read, unsigned& offset);

    unsigned getAlignmentOffset() const { return m_alignmentOffset; }

protected:
    unsigned m_alignmentOffset = 0;
};

} // namespace Vex
