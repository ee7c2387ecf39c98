#include "frame/Text.h"

#include <cctype>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cwchar>
#include <cwctype>
#include <memory>

#include <sys/stat.h>
#include <unistd.h>

namespace Corvidane {

namespace {

constexpr std::size_t conversionError = static_cast<std::size_t>(-1);

template <typename S>
std::vector<S> splitPieces(const S& text, typename S::value_type separator)
{
    std::vector<S> pieces;
    if (text.empty())
        return pieces;
    std::size_t start = 0;
    for (;;) {
        const std::size_t pos = text.find(separator, start);
        if (pos == S::npos) {
            pieces.push_back(text.substr(start));
            return pieces;
        }
        pieces.push_back(text.substr(start, pos - start));
        start = pos + 1;
    }
}

template <typename S>
S joinPieces(const std::vector<S>& list, typename S::value_type separator)
{
    S joined;
    for (std::size_t i = 0; i < list.size(); ++i) {
        if (i != 0 && separator != 0)
            joined += separator;
        joined += list[i];
    }
    return joined;
}

template <typename S>
S replaceVars(const S& text)
{
    const auto percent = static_cast<typename S::value_type>('%');
    S result;
    std::size_t pos = 0;
    while (pos < text.size()) {
        const std::size_t open = text.find(percent, pos);
        const std::size_t close = open == S::npos ? S::npos : text.find(percent, open + 1);
        if (close == S::npos) {
            // No complete %NAME% left: the rest stays as it is.
            result.append(text, pos, S::npos);
            break;
        }
        result.append(text, pos, open - pos);
        result += getenv(text.substr(open + 1, close - open - 1));
        pos = close + 1;
    }
    return result;
}

std::FILE* openFile(const std::wstring& path, const char* mode)
{
    const std::string narrow = convertString(path);
    return narrow.empty() ? nullptr : std::fopen(narrow.c_str(), mode);
}

} // namespace

std::wstring toLower(const std::wstring& text)
{
    std::wstring result(text);
    for (wchar_t& c : result)
        c = static_cast<wchar_t>(std::towlower(static_cast<std::wint_t>(c)));
    return result;
}

std::wstring toUpper(const std::wstring& text)
{
    std::wstring result(text);
    for (wchar_t& c : result)
        c = static_cast<wchar_t>(std::towupper(static_cast<std::wint_t>(c)));
    return result;
}

std::string toLower(const std::string& text)
{
    std::string result(text);
    for (char& c : result)
        c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return result;
}

std::string toUpper(const std::string& text)
{
    std::string result(text);
    for (char& c : result)
        c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    return result;
}

std::string convertString(const wchar_t* text)
{
    if (!text)
        return {};
    const std::size_t length = std::wcstombs(nullptr, text, 0);
    if (length == conversionError || length == 0)
        return {};
    // With a limit of exactly the measured length no terminator is written.
    std::string result(length, '\0');
    const std::size_t written = std::wcstombs(&result[0], text, length);
    if (written == conversionError)
        return {};
    result.resize(written);
    return result;
}

std::string convertString(const std::wstring& text)
{
    return convertString(text.c_str());
}

std::wstring convertString(const char* text)
{
    if (!text)
        return {};
    const std::size_t length = std::mbstowcs(nullptr, text, 0);
    if (length == conversionError || length == 0)
        return {};
    std::wstring result(length, L'\0');
    const std::size_t written = std::mbstowcs(&result[0], text, length);
    if (written == conversionError)
        return {};
    result.resize(written);
    return result;
}

std::wstring convertString(const std::string& text)
{
    return convertString(text.c_str());
}

std::wstring convertString(const unsigned& value)
{
    return std::to_wstring(value);
}

std::wstring convertString(const int& value)
{
    return std::to_wstring(value);
}

std::wstring vformat(const wchar_t* fmt, std::va_list args)
{
    if (!fmt)
        return {};
    // A wide memory stream grows as needed; vswprintf can't report the length
    // it would need, and its failure on a short buffer looks like an encoding
    // error.
    wchar_t* buffer = nullptr;
    std::size_t size = 0;
    std::FILE* stream = open_wmemstream(&buffer, &size);
    if (!stream)
        return {};
    const int printed = std::vfwprintf(stream, fmt, args);
    const int closed = std::fclose(stream);
    std::wstring result;
    if (printed >= 0 && closed == 0 && buffer)
        result.assign(buffer, size);
    std::free(buffer);
    return result;
}

std::wstring format(const wchar_t* fmt, ...)
{
    std::va_list args;
    va_start(args, fmt);
    std::wstring result = vformat(fmt, args);
    va_end(args);
    return result;
}

std::vector<std::wstring> splitString(const std::wstring& text, wchar_t separator)
{
    return splitPieces(text, separator);
}

std::vector<std::string> splitString(const std::string& text, char separator)
{
    return splitPieces(text, separator);
}

std::wstring joinString(const std::vector<std::wstring>& list, wchar_t separator)
{
    return joinPieces(list, separator);
}

std::string joinString(const std::vector<std::string>& list, char separator)
{
    return joinPieces(list, separator);
}

std::string getenv(const std::string& name)
{
    const char* value = std::getenv(name.c_str());
    return value ? std::string(value) : std::string();
}

std::wstring getenv(const std::wstring& name)
{
    const std::string narrow = convertString(name);
    if (narrow.empty())
        return {};
    return convertString(getenv(narrow));
}

std::wstring replaceEnvVars(const std::wstring& text)
{
    return replaceVars(text);
}

std::string replaceEnvVars(const std::string& text)
{
    return replaceVars(text);
}

bool readAsciiFileToLines(const std::wstring& path, std::vector<std::string>& lines)
{
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(openFile(path, "rb"), std::fclose);
    if (!file)
        return false;
    std::string content;
    char chunk[65536];
    std::size_t got;
    while ((got = std::fread(chunk, 1, sizeof chunk, file.get())) > 0)
        content.append(chunk, got);
    if (std::ferror(file.get()))
        return false;

    lines.clear();
    std::size_t start = 0;
    while (start < content.size()) {
        std::size_t end = content.find('\n', start);
        const std::size_t next = end == std::string::npos ? content.size() : end + 1;
        if (end == std::string::npos)
            end = content.size();
        if (end > start && content[end - 1] == '\r')
            --end;
        lines.push_back(content.substr(start, end - start));
        start = next;
    }
    return true;
}

bool writeAsciiFile(const std::wstring& path, const std::vector<std::string>& lines)
{
    std::FILE* file = openFile(path, "wb");
    if (!file)
        return false;
    bool ok = true;
    for (const std::string& line : lines) {
        if (std::fwrite(line.data(), 1, line.size(), file) != line.size()
            || std::fwrite("\r\n", 1, 2, file) != 2) {
            ok = false;
            break;
        }
    }
    // A failed close may mean buffered data never reached the disk.
    if (std::fclose(file) != 0)
        ok = false;
    return ok;
}

std::wstring getCwd()
{
    std::vector<char> buffer(256);
    for (;;) {
        if (::getcwd(buffer.data(), buffer.size()))
            return convertString(buffer.data());
        if (errno != ERANGE)
            return {};
        buffer.resize(buffer.size() * 2);
    }
}

bool chdir(const std::wstring& path)
{
    const std::string narrow = convertString(path);
    return !narrow.empty() && ::chdir(narrow.c_str()) == 0;
}

bool mkdir(const std::wstring& path)
{
    const std::string narrow = convertString(path);
    return !narrow.empty() && ::mkdir(narrow.c_str(), 0777) == 0;
}

bool isIpv4Address(const std::wstring& text)
{
    std::size_t pos = 0;
    for (int part = 0; part < 4; ++part) {
        if (part != 0) {
            if (pos >= text.size() || text[pos] != L'.')
                return false;
            ++pos;
        }
        unsigned value = 0;
        int digits = 0;
        while (pos < text.size() && text[pos] >= L'0' && text[pos] <= L'9') {
            if (++digits > 3)
                return false;
            value = value * 10 + static_cast<unsigned>(text[pos] - L'0');
            ++pos;
        }
        if (digits == 0 || value > 255)
            return false;
    }
    return pos == text.size();
}

namespace XML {

std::wstring xmlAttributePair(const std::wstring& name, const std::wstring& value)
{
    return name + L"=\"" + value + L"\"";
}

std::wstring makeElement(const std::wstring& name, const std::wstring& value)
{
    return L"<" + name + L">" + value + L"</" + name + L">";
}

std::wstring makeElement(const std::wstring& name, bool value)
{
    return makeElement(name, std::wstring(value ? L"true" : L"false"));
}

std::wstring makeElementFromAttributes(const std::wstring& name,
                                       const std::vector<std::wstring>& attributes)
{
    std::wstring element = L"<" + name;
    for (const std::wstring& attribute : attributes)
        element += L" " + attribute;
    element += L"/>";
    return element;
}

bool findXMLTagData(const std::wstring& text, const std::wstring& tag, std::wstring& value)
{
    value.clear();
    const std::wstring open = L"<" + tag + L">";
    const std::size_t openPos = text.find(open);
    if (openPos == std::wstring::npos)
        return false;
    const std::size_t start = openPos + open.size();
    const std::size_t closePos = text.find(L"</" + tag + L">", start);
    if (closePos == std::wstring::npos)
        return false;
    value = text.substr(start, closePos - start);
    return true;
}

bool findXMLTagData(const wchar_t* text, const std::wstring& tag, std::wstring& value)
{
    if (!text) {
        value.clear();
        return false;
    }
    return findXMLTagData(std::wstring(text), tag, value);
}

} // namespace XML

} // namespace Corvidane
