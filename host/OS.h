#pragma once
#include <cstdint>
#include <memory>
#include <string>

#include "host/iFile.h"

// The host's file service. Paths are 8-bit (UTF-8) texts at this boundary.
class iFileService {
public:
    virtual ~iFileService() = default;
    // Opens or creates a file; null with errno set on failure. Access, behaviour,
    // share and flags take the values of iFile's enumerations.
    virtual Ptr<iFile> open(const std::string& path, unsigned access, unsigned behaviour,
                            unsigned share, unsigned flags) = 0;
    virtual bool exists(const std::string& path) = 0;
    virtual bool deleteFile(const std::string& path) = 0;
    // The drive of the path, for its sector size; null when unknown.
    virtual Ptr<iDiskDrive> openDrive(const std::string& path) = 0;
    virtual uint64_t getSize(const std::string& path) = 0;
};

// The host's operating-system services. Tests replace the file service to
// inject short reads and write failures.
class HcOS {
public:
    iFileService& fileService() const { return *m_files; }
    // Installs a service; null restores the default POSIX one.
    void setFileService(std::shared_ptr<iFileService> service);

private:
    friend HcOS& OS();
    HcOS();
    std::shared_ptr<iFileService> m_files;
};

HcOS& OS();

// The POSIX file service that OS() starts with.
std::shared_ptr<iFileService> makePosixFileService();
