#pragma once
#include <string>
#include <vector>

// `cvtool aviwritebench SOURCE OUTPUT`: rewraps the first video stream and
// the first audio stream of the AVI file SOURCE into OUTPUT with the AVI
// writer, each frame with its share of the audio, as a writer resource feeds
// it, and prints frames, bytes and seconds. Returns the exit code; 2 for
// arguments it doesn't take.
int aviWriteBench(const std::vector<std::string>& args);
