#include "tools/Mpeg2Picture.h"

namespace {

const unsigned char pictureStart = 0x00;
const unsigned char sequenceStart = 0xB3;
const unsigned char gopStart = 0xB8;

bool startCodeAt(const unsigned char* data, size_t size, size_t at)
{
    return at + 4 <= size && data[at] == 0 && data[at + 1] == 0 && data[at + 2] == 1;
}

} // namespace

bool readMpeg2Picture(const unsigned char* data, size_t size, Mpeg2Picture& picture)
{
    picture = Mpeg2Picture{};
    if (!data || !startCodeAt(data, size, 0) ||
        (data[3] != sequenceStart && data[3] != gopStart && data[3] != pictureStart))
        return false;
    picture.sequenceHeader = data[3] == sequenceStart;
    for (size_t at = 0; at + 6 <= size; ++at) {
        if (!startCodeAt(data, size, at) || data[at + 3] != pictureStart)
            continue;
        // Ten bits of temporal reference, then three of the coding type.
        const unsigned type = (data[at + 5] >> 3) & 7;
        if (type < 1 || type > 3)
            return false;
        picture.codingType = type;
        return true;
    }
    return false;
}
