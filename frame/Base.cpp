#include "frame/Base.h"

#include <cstdarg>
#include <cwchar>

namespace Corvidane {

namespace {
constexpr size_t formatLimit = 512;
constexpr size_t pileLimit = 1024;
} // namespace

void Base::setLastError(const std::wstring& text) { m_lastError = text; }

void Base::setLastError(const std::wstring& text, CvResult code)
{
    setLastError(text);
    m_lastError += L' ';
    m_lastError += getErrorText(code);
}

void Base::setLastError(CvResult code, const wchar_t* format, ...)
{
    const wchar_t* name = getErrorText(code);
    if (!*name)
        return;
    std::wstring message;
    if (format) {
        wchar_t printed[formatLimit];
        va_list args;
        va_start(args, format);
        int length = std::vswprintf(printed, formatLimit, format, args);
        va_end(args);
        if (length < 0)
            return;
        message = printed;
        message += L' ';
    }
    message += name;
    if (m_lastError.size() + message.size() < pileLimit + 1) {
        m_lastError += L' ';
        m_lastError += message;
    } else {
        m_lastError = message;
    }
}

} // namespace Corvidane
