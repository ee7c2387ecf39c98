#pragma once
#include <string>
#include <vector>

// `cvtool indexbench [--rows N] [--gets N] FOLDER`: writes FOLDER/indexbench.mov.0.cvindex
// and prints nanoseconds per appended row and per get, sequential and at
// random from one and two threads. Returns the exit code; 2 for arguments it
// doesn't take.
int indexBench(const std::vector<std::string>& args);
