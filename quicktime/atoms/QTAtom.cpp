#include "quicktime/atoms/QTAtom.h"

#include <algorithm>

#include "frame/FourCC.h"
#include "frame/Text.h"
#include "quicktime/atoms/Described.h"

namespace Corvidane::QuickTime {

QTAtom& QTAtom::operator=(const QTAtom& other)
{
    assign(other);
    return *this;
}

int QTAtom::assign(const QTAtom& other)
{
    if (&other == this)
        return 0;
    size = other.size;
    type = other.type;
    return 1;
}

size_t QTAtom::toData(unsigned char* buffer, size_t capacity) const
{
    return writeDescribed(static_cast<const QTAtom&>(*this), buffer, capacity);
}

size_t QTAtom::fromData(const unsigned char* data, size_t length) { return readDescribed(*this, data, length); }

void QTAtom::dump(std::wstring& text) const
{
    std::string code = fourCCToString(type);
    text += format(L"QTAtom: size=%d type=%c%c%c%c\n", static_cast<int>(size), code[0], code[1], code[2], code[3]);
}

size_t QTHeaderBase1::fromData(const unsigned char* data, size_t length)
{
    size_t consumed = 4;
    if (length >= 8) {
        if (length < 12)
            return 0;
        QTAtom::fromData(data, length);
        data += 8;
        consumed = 12;
    } else if (length < 4) {
        return 0;
    }
    std::memcpy(&versionAndFlags, data, 4);
    return length > consumed ? consumed : 0;
}

size_t QTHeaderBase1::toData(unsigned char* buffer, size_t capacity) const
{
    return writeDescribed(static_cast<const QTHeaderBase1&>(*this), buffer, capacity);
}

uint32_t QTHeaderBase1::flags() const
{
    unsigned char bytes[4];
    std::memcpy(bytes, &versionAndFlags, 4);
    return uint32_t(bytes[1]) << 16 | uint32_t(bytes[2]) << 8 | bytes[3];
}

void QTHeaderBase1::dump(std::wstring& text) const
{
    QTAtom::dump(text);
    text += format(L"QTHeaderBase1: version&Flags=%x\n", versionAndFlags);
}

size_t QTAtomRaw::fromData(const unsigned char* data, size_t length)
{
    if (QTAtom::fromData(data, length) == 0)
        return 0;
    if (size < 9)
        return 8;
    size_t body = std::min<size_t>(size - 8, length - 8);
    m_body.assign(data + 8, data + 8 + body);
    return size;
}

size_t QTAtomExtendable::toData(unsigned char* buffer, size_t capacity) const
{
    if (capacity < 16)
        return 0;
    if (extended) {
        writeBE32(buffer, 1);
        writeCode(buffer + 4, type);
        writeBE64(buffer + 8, size);
    } else {
        writeBE32(buffer, 8);
        writeCode(buffer + 4, fourCC("wide"));
        writeBE32(buffer + 8, static_cast<uint32_t>(size));
        writeCode(buffer + 12, type);
    }
    return 16;
}

} // namespace Corvidane::QuickTime
