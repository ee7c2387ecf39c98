#include "support/TestMedia.h"

#include <cstdio>
#include <filesystem>
#include <mutex>
#include <stdexcept>
#include <sys/wait.h>

std::string shellQuote(const std::string& text)
{
    std::string quoted = "'";
    for (char c : text)
        quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return quoted + "'";
}

std::string runCommand(const std::string& command, int* status)
{
    std::string output;
    FILE* pipe = ::popen(command.c_str(), "r");
    if (!pipe)
        throw std::runtime_error("cannot run " + command);
    char chunk[65536];
    size_t got;
    while ((got = std::fread(chunk, 1, sizeof chunk, pipe)) > 0)
        output.append(chunk, got);
    int code = ::pclose(pipe);
    if (status)
        *status = WIFEXITED(code) ? WEXITSTATUS(code) : -1;
    return output;
}

std::string testMedia(const std::string& name)
{
    static std::mutex making;
    std::lock_guard<std::mutex> lock(making);
    std::string path = std::string(CV_MEDIA_DIR) + "/" + name;
    if (std::filesystem::exists(path))
        return path;
    std::filesystem::create_directories(CV_MEDIA_DIR);
    int status = 0;
    std::string log = runCommand(shellQuote(CV_MEDIA_SCRIPT) + " " + shellQuote(CV_MEDIA_DIR) + " " +
                                     shellQuote(name) + " 2>&1",
                                 &status);
    if (status != 0 || !std::filesystem::exists(path))
        throw std::runtime_error("cannot make test media " + name + ":\n" + log);
    return path;
}
