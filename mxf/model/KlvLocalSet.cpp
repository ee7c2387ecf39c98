#include "mxf/model/KlvLocalSet.h"

#include <cstring>

#include "frame/BigEndian.h"

namespace Corvidane::MXF {

CvResult CKlvLocalSet::start(const CKlvItem& item)
{
    *this = CKlvLocalSet();
    total = item.length;
    data = item.value;
    getTagAndLenLen(item.key);
    return moveNext(true);
}

bool CKlvLocalSet::getTagAndLenLen(const MXFUL& key)
{
    const unsigned char kind = key[5];
    const unsigned char tags = kind & 0x18, lengths = kind & 0x60;
    // Low three bits 011 mark a local set; bits 3-4 give the tag width, bits 5-6 the length width.
    if ((kind & 0x87) != 0x03 || tags == 0x08)
        return false;
    tagLength = tags == 0x00 ? 1 : tags == 0x10 ? 2 : 4;
    lengthLength = lengths == 0x00 ? -1 : lengths == 0x20 ? 1 : lengths == 0x40 ? 2 : 4;
    return true;
}

namespace {

// A field of 2 or 4 bytes read big-endian; a field of one byte reads as 1
// (such sets don't occur in the files read).
uint64_t readField(const unsigned char* p, uint64_t width)
{
    if (width == 2)
        return readBE16(p);
    if (width == 4)
        return readBE32(p);
    return 1;
}

} // namespace

CvResult CKlvLocalSet::moveNext(bool first)
{
    if (!first) {
        if (itemLength >= total - position || position >= total)
            return HandleEOF;
        position += itemLength;
    }
    tag = 0;
    if (!data || lengthLength < 0 || tagLength == 0 || position >= total)
        return HandleEOF;
    if (total - position < tagLength)
        return HandleEOF;
    tag = static_cast<uint32_t>(readField(data + position, tagLength));
    position += tagLength;
    if (position >= total || total - position < uint64_t(lengthLength))
        return HandleEOF;
    itemLength = readField(data + position, uint64_t(lengthLength));
    position += uint64_t(lengthLength);
    // An empty last item ends the walk before it is delivered.
    if (position >= total)
        return HandleEOF;
    return OK;
}

int CKlvLocalSet::create(const MXFUL& key, unsigned char* buffer, uint64_t capacity, uint64_t tagWidth,
                         int lengthWidth)
{
    data = buffer;
    total = capacity;
    tagLength = tagWidth;
    lengthLength = lengthWidth;
    int head = CKlvItem::create(key, 0, buffer, capacity > 0x7FFFFFFF ? 0x7FFFFFFF : int(capacity));
    if (head <= 0)
        return -1;
    berLength = uint64_t(head) - 16;
    position = written = uint64_t(head);
    return head;
}

int CKlvLocalSet::create(const MXFUL& key, int berSize, unsigned char* buffer, uint64_t capacity)
{
    if (key[4] != 2)
        return -1;
    if (!getTagAndLenLen(key))
        return -2;
    data = buffer;
    total = capacity;
    int head = CKlvItem::create(key, berSize, 0, buffer, capacity > 0x7FFFFFFF ? 0x7FFFFFFF : int(capacity));
    if (head <= 0)
        return -1;
    berLength = uint64_t(head) - 16;
    position = written = uint64_t(head);
    return head;
}

int64_t CKlvLocalSet::Append(uint16_t tagInWireOrder, const void* bytes, uint64_t size)
{
    if (!data || (lengthLength != 1 && lengthLength != 2 && lengthLength != 4))
        return -1;
    if (position >= total)
        return -2;
    std::memcpy(data + position, &tagInWireOrder, 2);
    position += tagLength;
    const uint64_t limit = lengthLength == 1 ? 0xFF : lengthLength == 2 ? 0xFFFF : 0xFFFFFFFFu;
    const uint64_t stored = size < limit ? size : limit;
    for (int i = 0; i < lengthLength; ++i)
        data[position + uint64_t(i)] = static_cast<unsigned char>(stored >> (8 * (lengthLength - 1 - i)));
    position += uint64_t(lengthLength);
    if (size && bytes)
        std::memcpy(data + position, bytes, size);
    position += size;
    const int64_t item = int64_t(tagLength + uint64_t(lengthLength) + size);
    written = position;
    // The pack's length so far, rewritten in place after each item.
    CKlvItem::LengthToBERLength(written - 16 - berLength, int(berLength), data + 16, int(berLength));
    return item;
}

int64_t CKlvLocalSet::append(uint16_t tagInWireOrder, const GUID& value)
{
    unsigned char bytes[16];
    writeBE32(bytes, value.Data1);
    writeBE16(bytes + 4, value.Data2);
    writeBE16(bytes + 6, value.Data3);
    std::memcpy(bytes + 8, value.Data4, 8);
    return Append(tagInWireOrder, bytes, sizeof bytes);
}

int64_t CKlvLocalSet::append(uint16_t tagInWireOrder, uint32_t value)
{
    unsigned char bytes[4];
    writeBE32(bytes, value);
    return Append(tagInWireOrder, bytes, sizeof bytes);
}

int64_t CKlvLocalSet::append(uint16_t tagInWireOrder, const UMID& value)
{
    return Append(tagInWireOrder, value.bytes, sizeof value.bytes);
}

int64_t CKlvLocalSet::append(uint16_t tagInWireOrder, const MXFRATIONAL& value)
{
    unsigned char bytes[8];
    writeBE32(bytes, static_cast<uint32_t>(value.numerator));
    writeBE32(bytes + 4, static_cast<uint32_t>(value.denominator));
    return Append(tagInWireOrder, bytes, sizeof bytes);
}

int64_t CKlvLocalSet::append(uint16_t tagInWireOrder, const MXFUL& value)
{
    return Append(tagInWireOrder, value.bytes, sizeof value.bytes);
}

int64_t CKlvLocalSet::append(uint16_t tagInWireOrder, const std::wstring& value)
{
    std::basic_string<unsigned char> bytes;
    for (wchar_t c : value) {
        bytes.push_back(static_cast<unsigned char>((uint32_t(c) >> 8) & 0xFF));
        bytes.push_back(static_cast<unsigned char>(uint32_t(c) & 0xFF));
    }
    bytes.push_back(0);
    bytes.push_back(0);
    return Append(tagInWireOrder, bytes.data(), bytes.size());
}

int64_t CKlvLocalSet::append2(uint16_t tagInWireOrder, int64_t value)
{
    unsigned char bytes[8];
    writeBE64(bytes, static_cast<uint64_t>(value));
    return Append(tagInWireOrder, bytes, sizeof bytes);
}

} // namespace Corvidane::MXF
