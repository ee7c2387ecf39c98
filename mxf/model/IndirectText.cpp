#include "mxf/model/IndirectText.h"

#include <cstring>

namespace Corvidane::MXF {

namespace {

const unsigned char stringHeader[stringHeaderSize] = {0x4C, 0x00, 0x02, 0x10, 0x01, 0x00, 0x00, 0x00, 0x00,
                                                      0x06, 0x0E, 0x2B, 0x34, 0x01, 0x04, 0x01, 0x01};

std::wstring utf16(const unsigned char* p, uint64_t size, bool bigEndian)
{
    std::wstring text;
    for (uint64_t i = 0; i + 1 < size; i += 2) {
        const uint16_t unit = bigEndian ? uint16_t(p[i] << 8 | p[i + 1]) : uint16_t(p[i + 1] << 8 | p[i]);
        if (unit == 0)
            break;
        text.push_back(static_cast<wchar_t>(unit));
    }
    return text;
}

} // namespace

uint64_t getStringHeader(unsigned char* dst, uint64_t size)
{
    if (!dst)
        return stringHeaderSize;
    if (size < stringHeaderSize)
        return 0;
    std::memcpy(dst, stringHeader, stringHeaderSize);
    return stringHeaderSize;
}

bool isStringHeader(const unsigned char* data, uint64_t size)
{
    return data && size >= stringHeaderSize && std::memcmp(data + 9, stringHeader + 9, 8) == 0;
}

bool isLittleEndian(const unsigned char* data) { return data && data[0] == 'B'; }

std::wstring indirectTextFromData(const unsigned char* data, uint64_t size)
{
    if (!data)
        return std::wstring();
    if (isStringHeader(data, size))
        return utf16(data + stringHeaderSize, size - stringHeaderSize, isLittleEndian(data));
    return utf16(data, size, false);
}

std::vector<unsigned char> indirectTextToData(const std::wstring& text)
{
    std::vector<unsigned char> out(stringHeaderSize);
    getStringHeader(out.data(), out.size());
    for (wchar_t c : text) {
        out.push_back(static_cast<unsigned char>(uint32_t(c) & 0xFF));
        out.push_back(static_cast<unsigned char>((uint32_t(c) >> 8) & 0xFF));
    }
    out.push_back(0);
    out.push_back(0);
    return out;
}

} // namespace Corvidane::MXF
