#pragma once
#include <cstdint>
#include <string>

#include "frame/CvResult.h"
#include "host/iFile.h"

namespace Vex {

// A file of the disk layer. Files are opened through CvFileIOFactoryProvider,
// so the host (or a test) decides what a path means.
class CDiskFile {
public:
    CDiskFile() = default;
    CDiskFile(const CDiskFile&) = delete;
    CDiskFile& operator=(const CDiskFile&) = delete;
    virtual ~CDiskFile() { close(); }

    virtual void close();
    // Origin 0 from the start, 1 from the current position, 2 from the end.
    virtual CvResult seek(unsigned long position, int origin);
    virtual void closeFile();
    virtual void setFilename(std::wstring name) { m_filename = std::move(name); }

    uint64_t getSize() const;
    const std::wstring& getFilename() const { return m_filename; }
    bool isOpen() const { return static_cast<bool>(m_file); }
    uint64_t getPos() const;
    void setFilePtr(Ptr<iFile> file) { m_file = std::move(file); }
    const Ptr<iFile>& getFilePtr() const { return m_file; }
    unsigned getSectorSize() const { return m_sectorSize; }
    uint64_t roundUpToSectorBoundary(uint64_t value) const;

    static bool exists(const std::wstring& path);
    // Removes through the C library, not through the file service.
    static bool remove(const std::wstring& path);
    // The sector size of the path's drive; 512 when no drive is known.
    static unsigned sectorSizeFromPath(const std::wstring& path);

protected:
    std::wstring m_filename;
    unsigned m_sectorSize = 512;
    Ptr<iFile> m_file;
};

// On this platform a drive is named by any path on it.
inline std::wstring getDrive(const std::wstring& path) { return path; }

} // namespace Vex
