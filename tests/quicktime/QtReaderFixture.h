#pragma once
#include <memory>
#include <string>

#include "frame/Utf8.h"
#include "quicktime/read/FileReader.h"
#include "support/DriverFixture.h"
#include "support/TempDir.h"

// Opens movies written to a temporary folder as the front end does: loadFile
// with the unbuffered flag, then parseMetadata.
class QtReaderFixture : public DriverFixture {
protected:
    struct Opened {
        std::unique_ptr<Corvidane::QuickTime::FileReader> reader;
        CvResult load = OK;
        CvResult parse = OK;
        std::wstring error() const { return reader->getLastError(); }
        bool ok() const { return isSuccess(load) && isSuccess(parse); }
    };

    Opened openPath(const std::string& path)
    {
        Opened opened;
        opened.reader = std::make_unique<Corvidane::QuickTime::FileReader>();
        opened.load = opened.reader->loadFile(Corvidane::fromUtf8(path), iFile::Unbuffered);
        opened.parse = isSuccess(opened.load) ? opened.reader->parseMetadata() : opened.load;
        return opened;
    }

    Opened open(const std::string& bytes, const std::string& name = "movie.mov")
    {
        writeFile(m_dir.file(name), bytes);
        return openPath(m_dir.file(name));
    }

    TempDir m_dir;
};
