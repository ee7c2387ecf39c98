#pragma once
#include <cstdint>

#include "frame/CvResult.h"
#include "host/iFile.h"

namespace Corvidane::MXF {

// An owned, zeroed read buffer, sized in whole granules.
class CRawData {
public:
    explicit CRawData(uint64_t granularity = 4096) : granularity(granularity ? granularity : 1) {}
    ~CRawData() { Free(); }
    CRawData(const CRawData&) = delete;
    CRawData& operator=(const CRawData&) = delete;

    // Frees, then allocates `n` rounded up to the granularity; false (errno
    // EMFILE) for n == 0 or when the memory can't be had.
    bool Allocate(uint64_t n);
    unsigned char* Allocate2(uint64_t n) { return Allocate(n) ? data : nullptr; }
    // Reads `n` bytes at `offset` into a fresh buffer: OK, PartialCopy on a
    // short read (the buffer freed), or the error of the seek or allocation.
    CvResult AllocateFromFile(iFile& file, uint64_t offset, uint64_t n);
    void Free();

    unsigned char* data = nullptr;
    uint64_t size = 0;
    uint64_t granularity;
};

} // namespace Corvidane::MXF
