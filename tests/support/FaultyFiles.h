#pragma once
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>

#include "host/OS.h"

// Wraps the POSIX file service so that tests can make reads come up short or
// fail and writes fail as on a full disk. Installed in OS() for the lifetime
// of the object.
class FaultyFiles {
public:
    struct Faults {
        // Each read returns at most this many bytes (0: no limit).
        size_t shortReadLimit = 0;
        // Reads fail with this errno (0: they don't).
        int readErrno = 0;
        // Writes that would take the file past this size fail with ENOSPC.
        uint64_t diskSpace = UINT64_MAX;
        // Such a write first writes the bytes that fit below diskSpace, as
        // write(2) does on a full disk, and leaves them in the file.
        bool partialWrites = false;
        // The drive's sector size; 0 asks the real drive.
        unsigned sectorSize = 0;
        // Counted over all files: positioned and plain reads, and their bytes.
        std::atomic<uint64_t> reads{0};
        std::atomic<uint64_t> bytesRead{0};
        // Told of each read that got bytes: where, and how many. Set before
        // the files are opened.
        std::function<void(uint64_t position, size_t got)> onRead;
        // Told of each write that reached the file: where, and how many bytes.
        std::function<void(uint64_t position, size_t size)> onWrite;
    };

    FaultyFiles();
    ~FaultyFiles();
    Faults& faults() { return *m_faults; }

private:
    std::shared_ptr<Faults> m_faults;
};
