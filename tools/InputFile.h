#pragma once
#include <string>

// Why a file named on the command line can't be read, in the user's words:
// "no such file", "is a directory", "is not a regular file", "permission
// denied" or "is empty"; empty when it can be read.
std::string unreadableReason(const std::string& path);
