#pragma once
#include <cstdint>
#include <cstddef>

#include "host/Ptr.h"

// An open file of the host's file service. Positions and sizes are 64-bit.
class iFile : public RefCounted {
public:
    // How open() treats a path that exists or not.
    enum eOpenBehaviour : unsigned { OpenExisting = 0, CreateNew = 1, OpenAlways = 2, CreateAlways = 3 };
    // Sharing bits: 1 others may read, 2 others may write, 4 others may delete.
    enum eShareMode : unsigned { ShareNone = 0, ShareRead = 1, ShareWrite = 2, ShareDelete = 4 };
    // Access bits: 1 read, 2 write.
    enum eAccess : unsigned { AccessRead = 1, AccessWrite = 2, AccessReadWrite = 3 };
    // Open flags as the container code passes them around.
    enum eFlags : unsigned { Buffered = 0, Unbuffered = 1, Growing = 128, UnbufferedGrowing = 129 };

    // Reads at the current position; 0 at failure (errno set) or at end of file (errno 0).
    virtual size_t read(void* buffer, size_t size) = 0;
    // Reads at a position without moving the current one.
    virtual size_t read(uint64_t position, void* buffer, size_t size) = 0;
    virtual bool write(const void* buffer, size_t size) = 0;
    virtual bool setPosition(uint64_t position) = 0;
    virtual uint64_t getPosition() const = 0;
    // Size as last measured.
    virtual uint64_t getSize() const = 0;
    // Measures again a file that another process may be extending. The base does
    // nothing; hasRecalculateSize() tells callers whether a file overrides it.
    virtual void recalculateSize() {}
    virtual bool hasRecalculateSize() const { return false; }
};

// A file that keeps its own current position and reads there through the
// positioned read, the usual way to implement iFile.
class PositionedFile : public iFile {
public:
    using iFile::read;
    size_t read(void* buffer, size_t size) override
    {
        size_t got = read(m_position, buffer, size);
        m_position += got;
        return got;
    }
    bool setPosition(uint64_t position) override
    {
        m_position = position;
        return true;
    }
    uint64_t getPosition() const override { return m_position; }

protected:
    uint64_t m_position = 0;
};

// The drive a path lies on; asked for its sector size only.
class iDiskDrive : public RefCounted {
public:
    virtual unsigned sectorSize() const = 0;
};
