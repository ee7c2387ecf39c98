#pragma once
#include <cstdint>
#include <ctime>
#include <string>

#include "frame/Guid.h"
#include "mxf/model/Labels.h"

// Values of MXF sets turned into the host's forms: text, GUIDs, rationals
// and time stamps.
namespace Corvidane::MXF {

// Big-endian 16-bit units up to `length` bytes or the first zero unit, one
// wide character each; surrogate pairs stay two characters.
std::wstring StringFromUTF16(const unsigned char* data, uint64_t length);

// UTF-8 decoded into 16-bit units, of which only the first ceil(n / 2)
// arrive: the count runs in bytes of the input over units of the output, and
// readers of these properties rely on that. Throws utf8cpp's exceptions on
// bad input.
std::wstring StringFromUTF8String(const unsigned char* data, size_t n);

// A GUID from its wire form: the first three parts big-endian, the rest raw.
GUID readGUID(const unsigned char* p);
// The record's 16 bytes in memory order as 8-4-4-4-12 hex: on a
// little-endian machine the first three parts of a wire GUID show reversed.
std::string StringFromUuid(const GUID* guid);

MXFRATIONAL readRational(const unsigned char* p);
double MXFRATIONALToDouble(const MXFRATIONAL& r);
MXFTIMESTAMP readTimestamp(const unsigned char* p);
// The stamp taken as local time; quarter-milliseconds dropped.
time_t timeFromMxfTime(const MXFTIMESTAMP& stamp);

// A debug line naming a label and a size.
void printInfo(const char* label, const MXFUL& ul, uint64_t size);
std::string labelToString(const MXFUL& ul);

} // namespace Corvidane::MXF
