#include "front/read/FileInfo.h"

#include "avi/FileReader.h"
#include "frame/CvFileIOFactory.h"
#include "frame/Text.h"
#include "frame/Utf8.h"
#include "front/read/IndexExists.h"
#include "growing/EwcFileReader.h"
#include "host/Log.h"
#include "mxf/read/FileReader.h"
#include "quicktime/read/FileReader.h"

namespace CvWrappers {

namespace {

struct ReaderChoice {
    std::unique_ptr<Corvidane::MediaFileReader> reader;
    iFile::eFlags flags = iFile::Buffered;
    // MXF is read through the file cache, a sector at a time of one byte.
    bool throughCache = false;
};

// The container reader for a path, by its extension, and by a sidecar index
// beside it while a capture writes the file.
ReaderChoice chooseReader(const std::wstring& path)
{
    std::wstring extension = Corvidane::toUpper(Hc::getExtension(path));
    ReaderChoice choice;
    // An AVI is never a growing file: no sidecar is looked for.
    if (extension == L"AVI") {
        choice.reader = std::make_unique<Corvidane::Avi::FileReader>();
        choice.flags = iFile::Unbuffered;
    } else if (indexExists(path)) {
        choice.reader = std::make_unique<Corvidane::EWC::FileReader>();
        choice.flags = iFile::UnbufferedGrowing;
    } else if (extension == L"MXF") {
        choice.reader = std::make_unique<Corvidane::MXF::CMxf_FileReader>();
        choice.flags = iFile::Buffered;
        choice.throughCache = true;
    } else if (extension == L"MOV" || extension == L"MP4" || extension == L"M4A" || extension == L"M4V" ||
               extension == L"LRV") {
        choice.reader = std::make_unique<Corvidane::QuickTime::FileReader>();
        choice.flags = iFile::Unbuffered;
    }
    return choice;
}

} // namespace

FileInfo::FileInfo(const std::wstring& path, int, int openType)
    : AudioReader(&m_reader), m_path(path), m_openType(openType)
{
    ReaderChoice choice = chooseReader(path);
    if (choice.flags == iFile::UnbufferedGrowing)
        m_metadata.decompressionFlags |= 1;
    if (choice.throughCache) {
        m_sectorSize = 1;
    } else if (choice.reader) {
        Ptr<iDiskDrive> drive = CvFileIOFactoryProvider::openDrive(path.c_str());
        if (drive)
            m_sectorSize = drive->sectorSize() ? drive->sectorSize() : 512;
    }
    if (!choice.reader)
        return;
    CvResult result = choice.reader->loadFile(path, choice.flags);
    if (HcErrFromCvResult(result) != 1) {
        std::string text;
        Corvidane::toUtf8(choice.reader->getLastError(), text);
        Log("CvWrappers: Failed to open source file %s\n", text.c_str());
        return;
    }
    m_reader = std::move(choice.reader);
}

FileInfo::FileInfo(std::unique_ptr<Corvidane::MediaFileReader> reader, const std::wstring& path, int openType)
    : AudioReader(&m_reader), m_reader(std::move(reader)), m_path(path), m_openType(openType)
{
}

FileInfo::~FileInfo() = default;

} // namespace CvWrappers
