#include "support/FaultyFiles.h"

#include <algorithm>
#include <cerrno>

namespace {

using Faults = FaultyFiles::Faults;

class FaultyFile : public iFile {
public:
    FaultyFile(Ptr<iFile> inner, std::shared_ptr<Faults> faults) : m_inner(std::move(inner)), m_faults(std::move(faults)) {}

    size_t read(void* buffer, size_t size) override
    {
        size_t got = read(m_inner->getPosition(), buffer, size);
        m_inner->setPosition(m_inner->getPosition() + got);
        return got;
    }
    size_t read(uint64_t position, void* buffer, size_t size) override
    {
        if (m_faults->readErrno) {
            errno = m_faults->readErrno;
            return 0;
        }
        if (m_faults->shortReadLimit)
            size = std::min(size, m_faults->shortReadLimit);
        size_t got = m_inner->read(position, buffer, size);
        ++m_faults->reads;
        m_faults->bytesRead += got;
        if (got && m_faults->onRead)
            m_faults->onRead(position, got);
        return got;
    }
    bool write(const void* buffer, size_t size) override
    {
        uint64_t position = m_inner->getPosition();
        if (position + size > m_faults->diskSpace) {
            if (m_faults->partialWrites && position < m_faults->diskSpace)
                m_inner->write(buffer, static_cast<size_t>(m_faults->diskSpace - position));
            errno = ENOSPC;
            return false;
        }
        const bool written = m_inner->write(buffer, size);
        if (written && m_faults->onWrite)
            m_faults->onWrite(position, size);
        return written;
    }
    bool setPosition(uint64_t position) override { return m_inner->setPosition(position); }
    uint64_t getPosition() const override { return m_inner->getPosition(); }
    uint64_t getSize() const override { return m_inner->getSize(); }
    void recalculateSize() override { m_inner->recalculateSize(); }
    bool hasRecalculateSize() const override { return m_inner->hasRecalculateSize(); }

private:
    Ptr<iFile> m_inner;
    std::shared_ptr<Faults> m_faults;
};

class FixedDrive : public iDiskDrive {
public:
    explicit FixedDrive(unsigned size) : m_size(size) {}
    unsigned sectorSize() const override { return m_size; }

private:
    unsigned m_size;
};

class FaultyService : public iFileService {
public:
    explicit FaultyService(std::shared_ptr<Faults> faults) : m_inner(makePosixFileService()), m_faults(std::move(faults)) {}

    Ptr<iFile> open(const std::string& path, unsigned access, unsigned behaviour, unsigned share,
                    unsigned flags) override
    {
        Ptr<iFile> file = m_inner->open(path, access, behaviour, share, flags);
        return file ? Ptr<iFile>(new FaultyFile(file, m_faults)) : nullptr;
    }
    bool exists(const std::string& path) override { return m_inner->exists(path); }
    bool deleteFile(const std::string& path) override { return m_inner->deleteFile(path); }
    Ptr<iDiskDrive> openDrive(const std::string& path) override
    {
        return m_faults->sectorSize ? Ptr<iDiskDrive>(new FixedDrive(m_faults->sectorSize)) : m_inner->openDrive(path);
    }
    uint64_t getSize(const std::string& path) override { return m_inner->getSize(path); }

private:
    std::shared_ptr<iFileService> m_inner;
    std::shared_ptr<Faults> m_faults;
};

} // namespace

FaultyFiles::FaultyFiles() : m_faults(std::make_shared<Faults>())
{
    OS().setFileService(std::make_shared<FaultyService>(m_faults));
}

FaultyFiles::~FaultyFiles() { OS().setFileService(nullptr); }
