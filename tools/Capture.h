#pragma once
#include <string>
#include <vector>

// `cvtool capture [--pace FPS] [--handshake DIR [--step N]] [--times] SOURCE OUTPUT`:
// copies SOURCE into OUTPUT packet by packet with one sidecar index per track
// beside it, printing "TRACK ENTRY MD5" per packet. Returns the exit code; 2
// for arguments it doesn't take.
int captureFile(const std::vector<std::string>& args);
