#pragma once
#include <string>

#include "frame/DeviceDriver.h"
#include "support/MemoryFiles.h"

// Opens bytes as a file of one kind through the plug-in's open dispatch,
// from memory, and drives the whole reader contract over what opens. The kind
// is a media extension ("mov", "avi"), or "cvindex" for a sidecar index that
// lies beside fixed essence. Installs the in-memory file service and silences
// the log for its lifetime. For fuzzers and for replaying their finds.
class InputHarness {
public:
    InputHarness();
    ~InputHarness();
    InputHarness(const InputHarness&) = delete;
    InputHarness& operator=(const InputHarness&) = delete;

    // False when no reader opened the input.
    bool run(const std::string& kind, const std::string& bytes);

private:
    CvWrappers::DeviceDriver m_driver;
    MemoryFiles m_files;
};
