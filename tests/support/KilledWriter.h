#pragma once
#include <functional>

// Runs `write` in a child process, which then waits; kills the child with
// SIGKILL once it has written. True when `write` succeeded. What `write`
// writes with must outlive it (left to the kill), or closing would finish
// the file.
bool writtenThenKilled(const std::function<bool()>& write);
