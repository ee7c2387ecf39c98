#include "mxf/model/KlvItem.h"

#include <cstdlib>
#include <cstring>
#include <new>

namespace Corvidane::MXF {

CKlvItem& CKlvItem::operator=(const CKlvItem& other)
{
    if (this != &other)
        Assign(other);
    return *this;
}

void CKlvItem::Assign(const CKlvItem& other)
{
    if (this == &other)
        return;
    FreeValue();
    key = other.key;
    length = other.length;
    lengthLength = other.lengthLength;
    isUniversalSet = other.isUniversalSet;
    itemKind = other.itemKind;
    if (other.value)
        SetValue(other.value, true);
}

void CKlvItem::FreeValue()
{
    if (ownsValue)
        std::free(value);
    value = nullptr;
    ownsValue = false;
}

bool CKlvItem::SetValue(unsigned char* p, bool copy)
{
    FreeValue();
    if (!copy) {
        value = p;
        return true;
    }
    if (length > 0xFFFFFFFFu)
        return false;
    // calloc(0) may give null: one byte keeps "has a value" true for an empty item.
    auto* owned = static_cast<unsigned char*>(std::calloc(length ? length : 1, 1));
    if (!owned)
        return false;
    if (p && length)
        std::memcpy(owned, p, length);
    value = owned;
    ownsValue = true;
    return true;
}

void CKlvItem::classify()
{
    const unsigned char category = key[4], group = key[5];
    isUniversalSet = false;
    switch (category) {
    case 1:
        itemKind = group >= 1 && group <= 4 ? group + 1 : 1;
        break;
    case 2:
        switch (group) {
        case 0x01:
            itemKind = 7;
            isUniversalSet = true;
            break;
        case 0x02: case 0x22: case 0x42: case 0x62:
            itemKind = 8;
            break;
        case 0x03: case 0x13: case 0x1B: case 0x23: case 0x33: case 0x3B:
        case 0x43: case 0x53: case 0x5B: case 0x63: case 0x73: case 0x7B:
            itemKind = 9;
            break;
        case 0x04: case 0x24: case 0x44: case 0x64:
            itemKind = 10;
            break;
        case 0x05:
            itemKind = 11;
            break;
        default:
            itemKind = 6;
        }
        break;
    case 3:
        itemKind = group == 1 ? 13 : group == 2 ? 14 : 12;
        break;
    case 4:
        itemKind = group == 1 ? 16 : 15;
        break;
    default:
        itemKind = -1;
    }
}

bool CKlvItem::setKey(unsigned char* p, bool strict)
{
    if (!p || (strict && !hasSmptePrefix(p)))
        return false;
    std::memcpy(key.bytes, p, 16);
    classify();
    return true;
}

bool CKlvItem::SetLength(unsigned char* p, int* lengthLengthOut)
{
    if (!p || p[0] == 0x80)
        return false;
    if (p[0] < 0x80) {
        length = p[0];
        lengthLength = 1;
    } else {
        // The mask is 0x3F, not 0x7F: a first byte of 0xC0 and above counts its low six bits.
        unsigned count = p[0] & 0x3F;
        if (count > 8)
            return false;
        uint64_t read = 0;
        for (unsigned i = 1; i <= count; ++i)
            read = read << 8 | p[i];
        length = read;
        lengthLength = static_cast<uint8_t>(count + 1);
    }
    if (lengthLengthOut)
        *lengthLengthOut = lengthLength;
    return true;
}

bool CKlvItem::setKLV(unsigned char** pp, bool strict)
{
    if (!pp || !*pp)
        return false;
    unsigned char* p = *pp;
    if (!setKey(p, strict))
        return false;
    int size = 0;
    if (!SetLength(p + 16, &size))
        return false;
    SetValue(p + 16 + size, false);
    *pp = p + 16 + size + length;
    return true;
}

void CKlvItem::Reset()
{
    FreeValue();
    key = MXFUL();
    length = 0;
    lengthLength = 0;
    isUniversalSet = false;
    itemKind = -1;
}

int CKlvItem::LengthToBERLength(uint64_t length, int size, unsigned char* dst, int max)
{
    if (!dst)
        return size;
    if (size < 1 || size > 9 || size > max)
        return 0;
    dst[0] = static_cast<unsigned char>(0x80 + size - 1);
    for (int i = size - 1; i >= 1; --i, length >>= 8)
        dst[i] = static_cast<unsigned char>(length);
    return size;
}

int CKlvItem::naturalBERSize(uint64_t length)
{
    if (length <= 0xFFFFFFull)
        return 4;
    if (length <= 0xFFFFFFFFull)
        return 5;
    if (length <= 0xFFFFFFFFFFull)
        return 6;
    if (length <= 0xFFFFFFFFFFFFull)
        return 7;
    if (length <= 0xFFFFFFFFFFFFFFull)
        return 8;
    return 9;
}

int CKlvItem::LengthToBERLength(uint64_t length, unsigned char* dst, int max)
{
    return LengthToBERLength(length, naturalBERSize(length), dst, max);
}

int CKlvItem::create(const MXFUL& key, int berSize, uint64_t length, unsigned char* dst, int max)
{
    const int natural = naturalBERSize(length);
    if (!dst && max == 0)
        return 16 + natural;
    int size = berSize == 0 ? natural : berSize;
    if (natural > size || !dst || max < 16 + size)
        return 0;
    std::memcpy(dst, key.bytes, 16);
    return LengthToBERLength(length, size, dst + 16, max - 16) == size ? 16 + size : 0;
}

int64_t CKlvItem::ToStream(unsigned char* dst, int dstSize)
{
    if (!value)
        return -1;
    lengthLength = static_cast<uint8_t>(naturalBERSize(length));
    const uint64_t total = 16 + lengthLength + length;
    if (!dst || dstSize == 0)
        return static_cast<int64_t>(total);
    if (dstSize < 0 || uint64_t(dstSize) < total)
        return -2;
    std::memcpy(dst, key.bytes, 16);
    if (LengthToBERLength(length, dst + 16, dstSize - 16) != lengthLength)
        return -4;
    std::memcpy(dst + 16 + lengthLength, value, length);
    return static_cast<int64_t>(total);
}

} // namespace Corvidane::MXF
