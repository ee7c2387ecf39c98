#pragma once
#include <string>

#include "frame/CvResult.h"

namespace Corvidane {

// The last-error text of one container object. Messages pile up behind each
// other until the text would pass 1024 characters, then start anew, so a
// failure deep in a load keeps the context of the steps above it.
class Base {
public:
    Base() = default;
    Base(const Base& other) : m_lastError(other.m_lastError) {}
    Base& operator=(const Base& other)
    {
        m_lastError = other.m_lastError;
        return *this;
    }
    virtual ~Base() = default;

    virtual void setLastError(const std::wstring& text);
    // The text, a blank, and the result's name.
    virtual void setLastError(const std::wstring& text, CvResult code);
    // Appends the formatted message and the result's name to the text.
    void setLastError(CvResult code, const wchar_t* format = nullptr, ...);

    const wchar_t* getLastError() const { return m_lastError.c_str(); }
    void clearLastError() { m_lastError.clear(); }

    void setDebugLogFile(const wchar_t* path) { m_debugLogFile = path ? path : L""; }
    bool isDebugLogFileSet() const { return !m_debugLogFile.empty(); }

private:
    std::wstring m_lastError;
    std::wstring m_debugLogFile;
};

} // namespace Corvidane
