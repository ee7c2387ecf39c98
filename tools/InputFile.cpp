#include "tools/InputFile.h"

#include <cerrno>
#include <sys/stat.h>
#include <unistd.h>

std::string unreadableReason(const std::string& path)
{
    struct stat status {};
    if (::stat(path.c_str(), &status) != 0)
        return errno == EACCES ? "permission denied" : "no such file";
    if (S_ISDIR(status.st_mode))
        return "is a directory";
    if (!S_ISREG(status.st_mode))
        return "is not a regular file";
    if (::access(path.c_str(), R_OK) != 0)
        return "permission denied";
    if (status.st_size == 0)
        return "is empty";
    return {};
}
