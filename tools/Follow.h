#pragma once
#include <string>
#include <vector>

#include "host/FileReaderResource.h"

// `cvtool follow [--handshake DIR] [--poll-ms N] [--timeout S] [--times] FILE`:
// reads a file that is being captured through the plug-in while it grows,
// printing "STREAM ENTRY MD5" per frame. Returns the exit code; 2 for
// arguments it doesn't take.
int followFile(Hc::FileReaderResource& resource, const std::vector<std::string>& args);
