#pragma once
#include <string>
#include <vector>

// `cvtool qtwritebench SOURCE OUTPUT`: rewraps the first video stream and
// the first audio stream of the QuickTime file SOURCE (an intra codec, so that
// frames pass as they are) into OUTPUT with the QuickTime writer, index
// first, each frame with its share of the audio, as the writer resource feeds
// it, and prints frames, bytes and seconds. Returns the exit code; 2 for
// arguments it doesn't take.
int qtWriteBench(const std::vector<std::string>& args);
