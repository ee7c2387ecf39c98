#pragma once
#include <string>

#include "host/FileReaderResource.h"

struct FollowOptions {
    std::string handshake;  // the folder of the named pipes shared with a capture; empty to poll
    unsigned pollMilliseconds = 20;
    double timeoutSeconds = 60;
    bool times = false;
    std::string file;
};

// `cvtool follow`: reads a file that is being captured through the plug-in
// while it grows, printing "STREAM ENTRY MD5" per frame; a file whose capture
// is over is read to its end. Returns the exit code.
int followFile(Hc::FileReaderResource& resource, const FollowOptions& options);
