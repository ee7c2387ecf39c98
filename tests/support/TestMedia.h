#pragma once
#include <string>

// Test media made by ffmpeg at test time with fixed settings, kept in the
// build tree so that each file is made once. `name` is one of the names that
// tests/media/make_media.sh knows. Throws when the file can't be made.
std::string testMedia(const std::string& name);

// Runs a shell command; its standard output, and the exit status in `status`.
std::string runCommand(const std::string& command, int* status = nullptr);

// Quotes a text for the shell.
std::string shellQuote(const std::string& text);
