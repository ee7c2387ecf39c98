#include "mxf/model/RawData.h"

#include <cerrno>
#include <cstdlib>

namespace Corvidane::MXF {

void CRawData::Free()
{
    std::free(data);
    data = nullptr;
    size = 0;
}

bool CRawData::Allocate(uint64_t n)
{
    Free();
    if (n == 0 || n > UINT64_MAX - granularity) {
        errno = EMFILE;
        return false;
    }
    uint64_t rounded = (n + granularity - 1) / granularity * granularity;
    if (rounded > SIZE_MAX)
        return errno = ENOMEM, false;
    data = static_cast<unsigned char*>(std::calloc(static_cast<size_t>(rounded), 1));
    if (!data)
        return errno = ENOMEM, false;
    size = rounded;
    return true;
}

namespace {

CvResult lastErrorOr16()
{
    CvResult result = CvResultFromLastError();
    return result == OK ? InvalidFunction : result;
}

} // namespace

CvResult CRawData::AllocateFromFile(iFile& file, uint64_t offset, uint64_t n)
{
    Free();
    if (!file.setPosition(offset) || !Allocate(n))
        return lastErrorOr16();
    if (n > SIZE_MAX || file.read(data, static_cast<size_t>(n)) != n) {
        Free();
        return PartialCopy;
    }
    return OK;
}

} // namespace Corvidane::MXF
