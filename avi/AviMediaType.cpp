#include "avi/AviMediaType.h"

#include <cstring>

#include "avi/AviFormat.h"

namespace Corvidane::Avi {

const GUID MEDIATYPE_Video = {0x73646976, 0x0000, 0x0010, {0x80, 0x00, 0x00, 0xAA, 0x00, 0x38, 0x9B, 0x71}};
const GUID MEDIASUBTYPE_MPEG2_VIDEO = {0xE06D8026, 0xDB46, 0x11CF, {0xB4, 0xD1, 0x00, 0x80, 0x5F, 0x6C, 0xBB, 0xEA}};
const GUID FORMAT_MPEG2_VIDEO = {0xE06D80E3, 0xDB46, 0x11CF, {0xB4, 0xD1, 0x00, 0x80, 0x5F, 0x6C, 0xBB, 0xEA}};
const GUID FORMAT_VideoInfo = {0x05589F80, 0xC356, 0x11CE, {0xBF, 0x01, 0x00, 0xAA, 0x00, 0x55, 0x59, 0x5A}};
const GUID FORMAT_DvInfo = {0x05589F84, 0xC356, 0x11CE, {0xBF, 0x01, 0x00, 0xAA, 0x00, 0x55, 0x59, 0x5A}};

GUID subtypeFromFourCC(uint32_t fourcc)
{
    GUID guid = MEDIATYPE_Video;
    guid.Data1 = fourcc;
    return guid;
}

GUID readGuid(const unsigned char* data)
{
    GUID guid;
    guid.Data1 = readLE32(data);
    guid.Data2 = readLE16(data + 4);
    guid.Data3 = readLE16(data + 6);
    std::memcpy(guid.Data4, data + 8, sizeof guid.Data4);
    return guid;
}

bool namesMpeg2Video(const unsigned char* record, size_t size)
{
    return record && size >= mmesSubType + 16 && readGuid(record + mmesMajorType) == MEDIATYPE_Video &&
           readGuid(record + mmesSubType) == MEDIASUBTYPE_MPEG2_VIDEO;
}

} // namespace Corvidane::Avi
