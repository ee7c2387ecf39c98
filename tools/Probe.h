#pragma once
#include <string>

#include "host/FileReaderResource.h"
#include "tools/ProbeSelection.h"

struct ProbeOptions {
    bool packets = false;
    bool hashMd5 = false;
    ProbeSelection selection;
};

// The UTF-8 form of a wide text, for printing.
std::string narrow(const std::wstring& text);

// Prints what the plug-in reads of a file as ffprobe-style JSON on standard
// output, as it goes. A read that fails part way still ends the JSON, with
// what was gathered. Returns the process exit code; errors go to standard
// error.
int probeFile(Hc::FileReaderResource& reader, const std::wstring& path, const ProbeOptions& options);
