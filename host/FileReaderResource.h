#pragma once
#include <string>
#include <vector>

#include "host/FormatMetadata.h"
#include "host/Plugin.h"

namespace Corvidane {
class MediaFileReader;
}

// One file opened by a reader resource.
class FileReadInstance {
public:
    virtual ~FileReadInstance() = default;
    // Reads what the file holds; the host's success code is 1.
    virtual int readMetadata() = 0;
    // The container reader behind the file. The command-line host reads samples
    // through it; the editor reaches them through the request records instead.
    virtual Corvidane::MediaFileReader* containerReader() = 0;
};

namespace Hc {

// A resource that opens files of the extensions it lists.
class FileReaderResource : public HcComponentBase {
public:
    explicit FileReaderResource(std::vector<std::string> extensions) : m_extensions(std::move(extensions)) {}
    FileReaderResource* asFileReader() override { return this; }

    const std::vector<std::string>& extensions() const { return m_extensions; }
    virtual int priority() const { return 100; }
    virtual int getMaxRequests() const { return 1; }
    // True when the path's extension is one of the list, whatever its case.
    virtual bool isFileTypeSupported(const std::wstring& path, int openType) const;
    // What the host can do with a file of this description: bit 1 the video
    // can be played, bit 2 the audio needs converting.
    virtual int isFileFormatSupported(const std::wstring& path, int openType, const PlayFileMetadataRep& video,
                                      const Aud::Metadata& audio) const
    {
        return isFileTypeSupported(path, openType) ? 1 : 0;
    }
    // A new open file, or null; the caller owns it.
    virtual FileReadInstance* openFile(const std::wstring& path, int format, int openType) = 0;

private:
    std::vector<std::string> m_extensions;
};

// A resource that creates files of the formats it lists.
class FileWriterResource : public HcComponentBase {
public:
    explicit FileWriterResource(std::vector<std::string> formats) : m_formats(std::move(formats)) {}
    FileWriterResource* asFileWriter() override { return this; }
    const std::vector<std::string>& formats() const { return m_formats; }

private:
    std::vector<std::string> m_formats;
};

// The extension of a path without the dot, or empty.
std::wstring getExtension(const std::wstring& path);

} // namespace Hc

#include <memory>

namespace Hc {

// A reader resource whose open files are objects of one class, built from the
// path and kept when they read their metadata.
template <class Info>
class FileReaderCommon : public FileReaderResource {
public:
    using FileReaderResource::FileReaderResource;
    FileReadInstance* openFile(const std::wstring& path, int format, int openType) override
    {
        auto info = std::make_unique<Info>(path, format, openType);
        return info->readMetadata() == 1 ? info.release() : nullptr;
    }
};

} // namespace Hc
