#pragma once
#include <memory>
#include <string>

#include "frame/MediaFileReader.h"
#include "host/CriticalSection.h"
#include "host/FileReaderResource.h"

namespace CvWrappers {

// One open source file: the container reader that fits it, chosen and loaded
// when the object is built.
class FileInfo : public FileReadInstance {
public:
    FileInfo(const std::wstring& path, int format, int openType);
    ~FileInfo() override;

    int readMetadata() override;
    Corvidane::MediaFileReader* containerReader() override { return m_reader.get(); }
    unsigned sectorSize() const { return m_sectorSize; }

private:
    std::unique_ptr<Corvidane::MediaFileReader> m_reader;
    CriticalSection m_criticalSection;
    unsigned m_sectorSize = 512;
};

} // namespace CvWrappers
