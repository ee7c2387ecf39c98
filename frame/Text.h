#pragma once

#include <cstdarg>
#include <string>
#include <type_traits>
#include <vector>

namespace Corvidane {

// Case mapping, one character at a time, in the current locale.
std::wstring toLower(const std::wstring& text);
std::wstring toUpper(const std::wstring& text);
std::string toLower(const std::string& text);
std::string toUpper(const std::string& text);

// Wide <-> 8-bit through the C library, so the 8-bit side is in the encoding
// of the current locale. A text that the locale cannot represent, or a null
// pointer, gives an empty result. Conversion stops at an embedded zero.
std::string convertString(const wchar_t* text);
std::string convertString(const std::wstring& text);
std::wstring convertString(const char* text);
std::wstring convertString(const std::string& text);

// Decimal text of a number.
std::wstring convertString(const unsigned& value);
std::wstring convertString(const int& value);

// printf-like formatting into a wide string of any length. %s takes an
// 8-bit string, %ls a wide one. A null format or a conversion error (an
// argument that the locale cannot convert) gives an empty string.
std::wstring format(const wchar_t* fmt, ...);
std::wstring vformat(const wchar_t* fmt, std::va_list args);

// The pieces between separators, empty pieces included ("a,,b" gives three
// pieces, "a," two). An empty text gives an empty vector.
std::vector<std::wstring> splitString(const std::wstring& text, wchar_t separator);
std::vector<std::string> splitString(const std::string& text, char separator);

// The items with the separator between them. A separator of 0 concatenates.
std::wstring joinString(const std::vector<std::wstring>& list, wchar_t separator);
std::string joinString(const std::vector<std::string>& list, char separator);

// The value of an environment variable; empty when it isn't set.
std::wstring getenv(const std::wstring& name);
std::string getenv(const std::string& name);

// Replaces every %NAME% by the value of NAME; an unset NAME (or %%) leaves
// nothing. A '%' without a closing '%' and the rest behind it are kept.
std::wstring replaceEnvVars(const std::wstring& text);
std::string replaceEnvVars(const std::string& text);

// Reads a text file into lines, replacing the content of lines. Lines may
// end in "\n" or "\r\n"; a last line without an end is kept, and an end of
// line at the end of the file adds no empty line. False if the file can't be
// read.
bool readAsciiFileToLines(const std::wstring& path, std::vector<std::string>& lines);

// Writes each line followed by "\r\n", replacing the file. False on failure.
bool writeAsciiFile(const std::wstring& path, const std::vector<std::string>& lines);

// Working directory and directory creation through the C library, paths
// converted to 8 bits. getCwd gives an empty string on failure; chdir and
// mkdir give true on success (mkdir of an existing directory fails).
std::wstring getCwd();
bool chdir(const std::wstring& path);
bool mkdir(const std::wstring& path);

// A dotted quad: exactly four decimal numbers, each 0 to 255 and of at most
// three digits, and nothing else.
bool isIpv4Address(const std::wstring& text);

namespace XML {

// Numbers are printed in decimal. The integer overloads are templates so that
// no integer type is ambiguous with bool, and the const wchar_t* overloads
// keep a string literal from converting to bool.
template <typename T>
using IfInteger = std::enable_if_t<std::is_integral_v<T> && !std::is_same_v<T, bool>, int>;

// name="value"
std::wstring xmlAttributePair(const std::wstring& name, const std::wstring& value);
inline std::wstring xmlAttributePair(const std::wstring& name, const wchar_t* value)
{
    return xmlAttributePair(name, std::wstring(value ? value : L""));
}
template <typename T, IfInteger<T> = 0>
std::wstring xmlAttributePair(const std::wstring& name, T value)
{
    return xmlAttributePair(name, std::to_wstring(value));
}

// <name>value</name>; a bool prints "true" or "false". Values are copied as
// they are, without escaping.
std::wstring makeElement(const std::wstring& name, const std::wstring& value);
std::wstring makeElement(const std::wstring& name, bool value);
inline std::wstring makeElement(const std::wstring& name, const wchar_t* value)
{
    return makeElement(name, std::wstring(value ? value : L""));
}
template <typename T, IfInteger<T> = 0>
std::wstring makeElement(const std::wstring& name, T value)
{
    return makeElement(name, std::to_wstring(value));
}

// <name a="1" b="2"/> from pairs made by xmlAttributePair.
std::wstring makeElementFromAttributes(const std::wstring& name,
                                       const std::vector<std::wstring>& attributes);

// What stands between the first <tag> and the first </tag> behind it, found
// by plain text search: no parsing, entities or attributes. Gives false and
// an empty value when either tag is missing. A null text finds nothing.
bool findXMLTagData(const std::wstring& text, const std::wstring& tag, std::wstring& value);
bool findXMLTagData(const wchar_t* text, const std::wstring& tag, std::wstring& value);

} // namespace XML

} // namespace Corvidane
