#pragma once
#include <map>
#include <memory>
#include <string>

#include "host/OS.h"

// A file service that serves files from memory, installed in OS() for the
// lifetime of the object: fuzzers and truncation sweeps open thousands of
// variants of a file without touching the disk. Files are read-only.
class MemoryFiles {
public:
    MemoryFiles();
    ~MemoryFiles();
    MemoryFiles(const MemoryFiles&) = delete;
    MemoryFiles& operator=(const MemoryFiles&) = delete;

    void put(const std::string& path, std::string bytes);
    void remove(const std::string& path);

private:
    std::shared_ptr<std::map<std::string, std::shared_ptr<const std::string>>> m_files;
};
