#include "tools/PluginLog.h"

#include <cstdlib>
#include <sys/mman.h>
#include <unistd.h>

#include "host/Log.h"

PluginLogCapture::PluginLogCapture()
{
    const char* destination = std::getenv("HC_LOG_FILE");
    m_hadDestination = destination != nullptr;
    m_destination = destination ? destination : "";
    m_file = ::memfd_create("cvtool-plugin-log", MFD_CLOEXEC);
    // Without a file in memory the lines simply go where they always go.
    if (m_file >= 0)
        ::setenv("HC_LOG_FILE", ("/proc/self/fd/" + std::to_string(m_file)).c_str(), 1);
}

PluginLogCapture::~PluginLogCapture() { take(); }

std::string PluginLogCapture::take()
{
    if (m_file < 0)
        return {};
    if (m_hadDestination)
        ::setenv("HC_LOG_FILE", m_destination.c_str(), 1);
    else
        ::unsetenv("HC_LOG_FILE");
    std::string text;
    char chunk[4096];
    for (off_t at = 0;;) {
        const ssize_t got = ::pread(m_file, chunk, sizeof chunk, at);
        if (got <= 0)
            break;
        text.append(chunk, size_t(got));
        at += got;
    }
    ::close(m_file);
    m_file = -1;
    return text;
}

void PluginLogCapture::passOn()
{
    const std::string text = take();
    if (!text.empty())
        Log("%s", text.c_str());
}
