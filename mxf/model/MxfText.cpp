#include "mxf/model/MxfText.h"

#include <cstdio>
#include <cstring>
#include <utf8.h>
#include <vector>

#include "frame/BigEndian.h"
#include "host/Log.h"

namespace Corvidane::MXF {

std::wstring StringFromUTF16(const unsigned char* data, uint64_t length)
{
    std::wstring text;
    if (!data)
        return text;
    for (uint64_t i = 0; i + 1 < length; i += 2) {
        uint16_t unit = readBE16(data + i);
        if (unit == 0)
            break;
        text.push_back(static_cast<wchar_t>(unit));
    }
    return text;
}

std::wstring StringFromUTF8String(const unsigned char* data, size_t n)
{
    std::wstring text;
    if (!data || n == 0)
        return text;
    std::vector<uint16_t> units;
    const unsigned char* p = data;
    const unsigned char* end = data + n;
    while (p < end) {
        uint32_t c = utf8::next(p, end);
        if (c > 0xFFFF) {
            units.push_back(static_cast<uint16_t>((c >> 10) + 0xD7C0));
            units.push_back(static_cast<uint16_t>((c & 0x3FF) + 0xDC00));
        } else {
            units.push_back(static_cast<uint16_t>(c));
        }
    }
    for (size_t counter = 0, i = 0; counter < n && i < units.size() && units[i] != 0; counter += 2, ++i)
        text.push_back(static_cast<wchar_t>(units[i]));
    return text;
}

GUID readGUID(const unsigned char* p)
{
    GUID guid;
    guid.Data1 = readBE32(p);
    guid.Data2 = readBE16(p + 4);
    guid.Data3 = readBE16(p + 6);
    std::memcpy(guid.Data4, p + 8, 8);
    return guid;
}

std::string StringFromUuid(const GUID* guid)
{
    if (!guid)
        return std::string();
    unsigned char b[16];
    std::memcpy(b, guid, 16);
    char text[40];
    std::snprintf(text, sizeof text, "%02x%02x%02x%02x-%02x%02x-%02x%02x-%02x%02x-%02x%02x%02x%02x%02x%02x", b[0],
                  b[1], b[2], b[3], b[4], b[5], b[6], b[7], b[8], b[9], b[10], b[11], b[12], b[13], b[14], b[15]);
    return text;
}

MXFRATIONAL readRational(const unsigned char* p)
{
    MXFRATIONAL r;
    r.numerator = static_cast<int32_t>(readBE32(p));
    r.denominator = static_cast<int32_t>(readBE32(p + 4));
    return r;
}

double MXFRATIONALToDouble(const MXFRATIONAL& r) { return double(r.numerator) / double(r.denominator); }

MXFTIMESTAMP readTimestamp(const unsigned char* p)
{
    MXFTIMESTAMP t;
    t.year = readBE16(p);
    t.month = p[2];
    t.day = p[3];
    t.hour = p[4];
    t.minute = p[5];
    t.second = p[6];
    t.quarterMilliseconds = p[7];
    return t;
}

time_t timeFromMxfTime(const MXFTIMESTAMP& stamp)
{
    std::tm calendar{};
    calendar.tm_year = int(stamp.year) - 1900;
    calendar.tm_mon = int(stamp.month) - 1;
    calendar.tm_mday = stamp.day;
    calendar.tm_hour = stamp.hour;
    calendar.tm_min = stamp.minute;
    calendar.tm_sec = stamp.second;
    calendar.tm_isdst = -1;
    return std::mktime(&calendar);
}

std::string labelToString(const MXFUL& ul)
{
    char text[48];
    const unsigned char* b = ul.bytes;
    std::snprintf(text, sizeof text,
                  "%02X.%02X.%02X.%02X.%02X.%02X.%02X.%02X.%02X.%02X.%02X.%02X.%02X.%02X.%02X.%02X", b[0], b[1],
                  b[2], b[3], b[4], b[5], b[6], b[7], b[8], b[9], b[10], b[11], b[12], b[13], b[14], b[15]);
    return text;
}

void printInfo(const char* label, const MXFUL& ul, uint64_t size)
{
    Log("%s.UL: %s. Length: %lu bytes", label ? label : "", labelToString(ul).c_str(),
        static_cast<unsigned long>(size));
}

} // namespace Corvidane::MXF
