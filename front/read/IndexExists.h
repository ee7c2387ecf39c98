#pragma once
#include <string>

namespace CvWrappers {

// True while a capture writes the file: a sidecar index of its first tracks
// (0 or 1, for MXF 1 or 2, whose track 0 is the timecode) lies beside it.
bool indexExists(const std::wstring& path);

} // namespace CvWrappers
