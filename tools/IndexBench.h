#pragma once
#include <string>
#include <vector>

// `cvtool indexbench [--rows N] [--gets N] FOLDER`: writes FOLDER/indexbench.mov.0.cvindex
// and prints nanoseconds per appended row and per get, sequential and at
// random from one and two threads, and per seek (a random get and the search
// back to a key frame 1,000 and 99,999 frames before) when there are more
// than 100,000 rows. Returns the exit code; 2 for arguments it doesn't take.
int indexBench(const std::vector<std::string>& args);
