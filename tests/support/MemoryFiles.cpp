#include "support/MemoryFiles.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace {

using FileMap = std::map<std::string, std::shared_ptr<const std::string>>;

class MemoryFile : public PositionedFile {
public:
    explicit MemoryFile(std::shared_ptr<const std::string> bytes) : m_bytes(std::move(bytes)) {}

    using PositionedFile::read;
    size_t read(uint64_t position, void* buffer, size_t size) override
    {
        errno = 0;
        if (position >= m_bytes->size())
            return 0;
        size_t got = std::min<uint64_t>(size, m_bytes->size() - position);
        std::memcpy(buffer, m_bytes->data() + position, got);
        return got;
    }
    bool write(const void*, size_t) override
    {
        errno = EROFS;
        return false;
    }
    uint64_t getSize() const override { return m_bytes->size(); }

private:
    std::shared_ptr<const std::string> m_bytes;
};

class SectorDrive : public iDiskDrive {
public:
    unsigned sectorSize() const override { return 512; }
};

class MemoryFileService : public iFileService {
public:
    explicit MemoryFileService(std::shared_ptr<FileMap> files) : m_files(std::move(files)) {}

    Ptr<iFile> open(const std::string& path, unsigned access, unsigned, unsigned, unsigned) override
    {
        auto it = m_files->find(path);
        if (it == m_files->end()) {
            errno = ENOENT;
            return nullptr;
        }
        if (access & iFile::AccessWrite) {
            errno = EROFS;
            return nullptr;
        }
        return Ptr<iFile>(new MemoryFile(it->second));
    }
    bool exists(const std::string& path) override { return m_files->count(path) != 0; }
    bool deleteFile(const std::string& path) override { return m_files->erase(path) != 0; }
    Ptr<iDiskDrive> openDrive(const std::string&) override { return Ptr<iDiskDrive>(new SectorDrive); }
    uint64_t getSize(const std::string& path) override
    {
        auto it = m_files->find(path);
        return it == m_files->end() ? 0 : it->second->size();
    }

private:
    std::shared_ptr<FileMap> m_files;
};

} // namespace

MemoryFiles::MemoryFiles() : m_files(std::make_shared<FileMap>())
{
    OS().setFileService(std::make_shared<MemoryFileService>(m_files));
}

MemoryFiles::~MemoryFiles() { OS().setFileService(nullptr); }

void MemoryFiles::put(const std::string& path, std::string bytes)
{
    (*m_files)[path] = std::make_shared<const std::string>(std::move(bytes));
}

void MemoryFiles::remove(const std::string& path) { m_files->erase(path); }
