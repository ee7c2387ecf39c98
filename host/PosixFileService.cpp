#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <fstream>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include "host/OS.h"

namespace {

// Bytes handed out by every read of the process. With CV_IO_STATS set in the
// environment they are told on standard error when the process ends, so that
// benchmarks can weigh what a reader takes from the disk.
class ReadCounter {
public:
    ~ReadCounter()
    {
        const char* wanted = std::getenv("CV_IO_STATS");
        if (wanted && *wanted)
            std::fprintf(stderr, "bytes read: %llu\n", static_cast<unsigned long long>(m_bytes.load()));
    }
    void add(size_t bytes) { m_bytes.fetch_add(bytes, std::memory_order_relaxed); }

private:
    std::atomic<uint64_t> m_bytes{0};
};

ReadCounter readCounter;

class PosixFile : public PositionedFile {
public:
    PosixFile(int fd, uint64_t size) : m_fd(fd), m_size(size) {}
    ~PosixFile() override { ::close(m_fd); }

    using PositionedFile::read;
    size_t read(uint64_t position, void* buffer, size_t size) override
    {
        // pread may return less than asked for large requests; a short count
        // other than at end of file is continued here, so callers see one read.
        errno = 0;
        size_t total = 0;
        auto* out = static_cast<unsigned char*>(buffer);
        while (total < size) {
            ssize_t n = ::pread(m_fd, out + total, size - total, static_cast<off_t>(position + total));
            if (n < 0) {
                if (errno == EINTR)
                    continue;
                return total;
            }
            if (n == 0) {
                errno = 0;
                break;
            }
            total += static_cast<size_t>(n);
        }
        readCounter.add(total);
        return total;
    }

    bool write(const void* buffer, size_t size) override
    {
        auto* in = static_cast<const unsigned char*>(buffer);
        size_t done = 0;
        while (done < size) {
            ssize_t n = ::pwrite(m_fd, in + done, size - done, static_cast<off_t>(m_position + done));
            if (n < 0) {
                if (errno == EINTR)
                    continue;
                break;
            }
            if (n == 0) {
                errno = ENOSPC;
                break;
            }
            done += static_cast<size_t>(n);
        }
        m_position += done;
        if (m_position > m_size.load(std::memory_order_relaxed))
            m_size.store(m_position, std::memory_order_relaxed);
        return done == size;
    }

    bool setPosition(uint64_t position) override
    {
        if (position > static_cast<uint64_t>(INT64_MAX)) {
            errno = EINVAL;
            return false;
        }
        return PositionedFile::setPosition(position);
    }
    uint64_t getSize() const override { return m_size.load(std::memory_order_relaxed); }

    void recalculateSize() override
    {
        struct stat st;
        if (::fstat(m_fd, &st) == 0)
            m_size.store(static_cast<uint64_t>(st.st_size), std::memory_order_relaxed);
    }
    bool hasRecalculateSize() const override { return true; }

private:
    int m_fd;
    // Refreshed by one thread while others read a growing file.
    std::atomic<uint64_t> m_size;
};

class PosixDrive : public iDiskDrive {
public:
    explicit PosixDrive(unsigned sectorSize) : m_sectorSize(sectorSize) {}
    unsigned sectorSize() const override { return m_sectorSize; }

private:
    unsigned m_sectorSize;
};

// The logical block size of the block device holding the path, from sysfs;
// a partition keeps it in its parent's queue folder.
unsigned logicalBlockSize(dev_t device)
{
    std::string base = "/sys/dev/block/" + std::to_string(major(device)) + ":" + std::to_string(minor(device));
    for (const char* tail : {"/queue/logical_block_size", "/../queue/logical_block_size"}) {
        std::ifstream in(base + tail);
        unsigned size = 0;
        if (in >> size && size >= 512 && (size & (size - 1)) == 0)
            return size;
    }
    return 0;
}

class PosixFileService : public iFileService {
public:
    Ptr<iFile> open(const std::string& path, unsigned access, unsigned behaviour, unsigned share,
                    unsigned flags) override
    {
        int mode = (access & iFile::AccessWrite) ? ((access & iFile::AccessRead) ? O_RDWR : O_WRONLY) : O_RDONLY;
        switch (behaviour) {
        case iFile::OpenExisting: break;
        case iFile::CreateNew: mode |= O_CREAT | O_EXCL; break;
        case iFile::OpenAlways: mode |= O_CREAT; break;
        case iFile::CreateAlways: mode |= O_CREAT | O_TRUNC; break;
        default: errno = EINVAL; return nullptr;
        }
        int fd = ::open(path.c_str(), mode | O_CLOEXEC, 0666);
        if (fd < 0)
            return nullptr;
        struct stat st;
        int error = ::fstat(fd, &st) != 0 ? errno : (S_ISDIR(st.st_mode) ? EISDIR : 0);
        if (error) {
            ::close(fd);
            errno = error;
            return nullptr;
        }
        if (flags & iFile::Unbuffered)
            ::posix_fadvise(fd, 0, 0, POSIX_FADV_SEQUENTIAL);
        errno = 0;
        return Ptr<iFile>(new PosixFile(fd, static_cast<uint64_t>(st.st_size)));
    }

    bool exists(const std::string& path) override { return ::access(path.c_str(), F_OK) == 0; }
    bool deleteFile(const std::string& path) override { return ::unlink(path.c_str()) == 0; }

    Ptr<iDiskDrive> openDrive(const std::string& path) override
    {
        // A file about to be created lies on the drive of its folder.
        struct stat st;
        if (::stat(path.c_str(), &st) != 0) {
            auto slash = path.find_last_of('/');
            std::string folder = slash == std::string::npos ? "." : path.substr(0, slash + 1);
            if (::stat(folder.c_str(), &st) != 0)
                return nullptr;
        }
        unsigned size = logicalBlockSize(st.st_dev);
        return Ptr<iDiskDrive>(new PosixDrive(size ? size : 512));
    }

    uint64_t getSize(const std::string& path) override
    {
        struct stat st;
        return ::stat(path.c_str(), &st) == 0 ? static_cast<uint64_t>(st.st_size) : 0;
    }
};

} // namespace

std::shared_ptr<iFileService> makePosixFileService()
{
    return std::make_shared<PosixFileService>();
}
