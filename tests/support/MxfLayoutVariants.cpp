#include "support/MxfLayoutVariants.h"

#include <cstdint>
#include <vector>

namespace MxfLayoutVariants {

namespace {

const std::string systemItemKey("\x06\x0E\x2B\x34\x02\x05\x01\x01\x0D\x01\x03\x01\x04\x01\x01\x00", 16);
const std::string fillKey("\x06\x0E\x2B\x34\x01\x01\x01\x02\x03\x01\x02\x10\x01\x00\x00\x00", 16);
const std::string primerKey("\x06\x0E\x2B\x34\x02\x05\x01\x01\x0D\x01\x02\x01\x01\x05\x01\x00", 16);
const std::string dictionaryKey("\x06\x0E\x2B\x34\x02\x53\x01\x01\x0D\x01\x01\x01\x02\x25\x00\x00", 16);
const std::string indexSegmentKey("\x06\x0E\x2B\x34\x02\x53\x01\x01\x0D\x01\x02\x01\x01\x10\x01\x00", 16);

uint64_t readBig(const std::string& bytes, size_t at, size_t size)
{
    uint64_t value = 0;
    for (size_t i = 0; i < size; ++i)
        value = value << 8 | uint8_t(bytes[at + i]);
    return value;
}

void writeBig(std::string& bytes, size_t at, size_t size, uint64_t value)
{
    for (size_t i = size; i-- > 0; value >>= 8)
        bytes[at + i] = char(value & 0xFF);
}

// The BER length at `at`: its value, and where the value starts.
uint64_t berLength(const std::string& bytes, size_t at, size_t& value)
{
    uint64_t length = uint8_t(bytes[at]);
    value = at + 1;
    if (length & 0x80) {
        const size_t lengthSize = length & 0x7F;
        length = readBig(bytes, value, lengthSize);
        value += lengthSize;
    }
    return length;
}

} // namespace

std::string withDictionaryAheadOfPreface(std::string bytes)
{
    const size_t primer = bytes.find(primerKey);
    if (primer == std::string::npos)
        return bytes;
    size_t value = 0;
    const uint64_t length = berLength(bytes, primer + 16, value);
    const size_t behind = size_t(value + length);
    if (bytes.compare(behind, 16, fillKey) == 0)
        bytes.replace(behind, 16, dictionaryKey);
    return bytes;
}

std::string withDurationsClaimed(std::string bytes, uint64_t written, uint64_t duration)
{
    // The duration property: local tag 0202, 8 bytes.
    std::string from("\x02\x02\x00\x08", 4), to = from;
    from.append(8, '\0');
    to.append(8, '\0');
    writeBig(from, 4, 8, written);
    writeBig(to, 4, 8, duration);
    for (size_t at = bytes.find(from); at != std::string::npos; at = bytes.find(from, at + to.size()))
        bytes.replace(at, to.size(), to);
    return bytes;
}

std::string withoutSystemItems(std::string bytes)
{
    for (size_t at = bytes.find(systemItemKey); at != std::string::npos; at = bytes.find(systemItemKey, at + 16))
        bytes.replace(at, 16, fillKey);
    return bytes;
}

std::string withDeltaEntriesCut(std::string bytes, unsigned keep, bool entriesAtLastElement)
{
    for (size_t at = bytes.find(indexSegmentKey); at != std::string::npos;
         at = bytes.find(indexSegmentKey, at + 16)) {
        size_t value = 0;
        const uint64_t length = berLength(bytes, at + 16, value);
        const size_t end = std::min<size_t>(bytes.size(), value + length);
        uint64_t lastDelta = 0;
        // Local set items: 2-byte tag, 2-byte length; arrays are count, item size, items.
        for (size_t item = value; item + 4 <= end;) {
            const unsigned tag = unsigned(readBig(bytes, item, 2));
            const size_t itemLength = size_t(readBig(bytes, item + 2, 2));
            const size_t array = item + 4;
            if (array + 8 <= end && (tag == 0x3F09 || tag == 0x3F0A)) {
                const uint64_t count = readBig(bytes, array, 4), itemSize = readBig(bytes, array + 4, 4);
                if (tag == 0x3F09 && count > 0 && itemSize >= 6) {
                    lastDelta = readBig(bytes, array + 8 + (count - 1) * itemSize + 2, 4);
                    writeBig(bytes, array, 4, std::min<uint64_t>(count, keep));
                }
                if (tag == 0x3F0A && entriesAtLastElement && itemSize >= 11)
                    for (uint64_t entry = 0; entry < count && array + 8 + (entry + 1) * itemSize <= end; ++entry) {
                        const size_t offset = size_t(array + 8 + entry * itemSize + 3);
                        writeBig(bytes, offset, 8, readBig(bytes, offset, 8) + lastDelta);
                    }
            }
            item = array + itemLength;
        }
    }
    return bytes;
}

} // namespace MxfLayoutVariants
