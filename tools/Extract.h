#pragma once
#include <string>
#include <vector>

#include "host/FileReaderResource.h"

// cvtool extract [--stream N] SOURCE OUTPUT: one stream's essence as the
// editor receives it, written back to back: video samples in coded order (AVC
// from MP4 as a byte stream with its parameter sets), audio as its samples.
// Without --stream, the video, else the first audio stream. Returns the
// process exit code; 2 for arguments it can't take.
int extractStream(Hc::FileReaderResource& reader, const std::vector<std::string>& args);
