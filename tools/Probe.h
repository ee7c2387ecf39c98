#pragma once
#include <string>

#include "host/FileReaderResource.h"

struct ProbeOptions {
    bool packets = false;
    bool hashMd5 = false;
};

// The UTF-8 form of a wide text, for printing.
std::string narrow(const std::wstring& text);

// Prints what the plug-in reads of a file as ffprobe-style JSON on standard
// output. Returns the process exit code; errors go to standard error.
int probeFile(Hc::FileReaderResource& reader, const std::wstring& path, const ProbeOptions& options);
