#pragma once
#include <cstddef>
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
        // The drive's sector size; 0 asks the real drive.
        unsigned sectorSize = 0;
    };

    FaultyFiles();
    ~FaultyFiles();
    Faults& faults() { return *m_faults; }

private:
    std::shared_ptr<Faults> m_faults;
};
