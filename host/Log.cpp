#include "host/Log.h"

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <vector>

namespace {
std::mutex logMutex;
std::function<void(const std::string&)>& logSink()
{
    static std::function<void(const std::string&)> sink;
    return sink;
}

void writeLine(const char* format, va_list args)
{
    va_list copy;
    va_copy(copy, args);
    int length = std::vsnprintf(nullptr, 0, format, copy);
    va_end(copy);
    std::string line;
    if (length > 0) {
        std::vector<char> text(static_cast<size_t>(length) + 1);
        std::vsnprintf(text.data(), text.size(), format, args);
        line.assign(text.data(), static_cast<size_t>(length));
    }

    std::lock_guard<std::mutex> lock(logMutex);
    if (logSink()) {
        logSink()(line);
        return;
    }
    const char* path = std::getenv("HC_LOG_FILE");
    FILE* out = path && *path ? std::fopen(path, "a") : nullptr;
    std::fputs(line.c_str(), out ? out : stderr);
    if (out)
        std::fclose(out);
}

} // namespace

void Log(const char* format, ...)
{
    va_list args;
    va_start(args, format);
    writeLine(format, args);
    va_end(args);
}

void LogBoth(const char* format, ...)
{
    va_list args;
    va_start(args, format);
    writeLine(format, args);
    va_end(args);
}

void setLogSink(std::function<void(const std::string&)> sink)
{
    std::lock_guard<std::mutex> lock(logMutex);
    logSink() = std::move(sink);
}
