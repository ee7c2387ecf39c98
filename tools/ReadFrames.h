#pragma once
#include <string>

#include "host/FileReaderResource.h"

// Reads every frame of the first video stream with one essenceRead each; with
// `alternate`, the audio of each frame of the first audio stream is read
// between frames, switching stream every time, as a player does. Prints the
// counts read. Returns the process exit code; errors go to standard error.
int readFrames(Hc::FileReaderResource& reader, const std::wstring& path, bool alternate);

// Reads one frame of the first video stream and prints its place, size, key
// flag and MD5 (as ffprobe's data_hash gives it).
int readOneFrame(Hc::FileReaderResource& reader, const std::wstring& path, unsigned frame);
