#include "front/read/FileInfo.h"

#include "frame/CvFileIOFactory.h"
#include "frame/Utf8.h"
#include "host/Log.h"

namespace CvWrappers {

namespace {

struct ReaderChoice {
    std::unique_ptr<Corvidane::MediaFileReader> reader;
    iFile::eFlags flags = iFile::Buffered;
    bool askDrive = true;
};

// The container reader for a path, by its extension. No container reader has
// been built into the plug-in yet, so every path is left without one.
ReaderChoice chooseReader(const std::wstring& path)
{
    (void)path;
    return {};
}

} // namespace

FileInfo::FileInfo(const std::wstring& path, int, int)
{
    ReaderChoice choice = chooseReader(path);
    if (!choice.reader)
        return;
    if (choice.askDrive) {
        Ptr<iDiskDrive> drive = CvFileIOFactoryProvider::openDrive(path.c_str());
        if (drive)
            m_sectorSize = drive->sectorSize() ? drive->sectorSize() : 512;
    }
    CvResult result = choice.reader->loadFile(path, choice.flags);
    if (HcErrFromCvResult(result) != 1) {
        std::string text;
        Corvidane::toUtf8(choice.reader->getLastError(), text);
        Log("CvWrappers: Failed to open source file %s\n", text.c_str());
        return;
    }
    m_reader = std::move(choice.reader);
}

FileInfo::~FileInfo() = default;

int FileInfo::readMetadata() { return m_reader ? 1 : 0; }

} // namespace CvWrappers
