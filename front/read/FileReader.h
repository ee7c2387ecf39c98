#pragma once
#include "front/read/FileInfo.h"
#include "host/FileReaderResource.h"

namespace CvWrappers {

// The reader resource the host sees: it takes the plug-in's extensions and
// opens each file as a FileInfo.
class FileReader : public Hc::FileReaderCommon<FileInfo> {
public:
    FileReader() : FileReaderCommon({"AVI", "MXF", "MOV", "MP4", "M4V", "M4A", "LRV"}) {}
    std::string resourceName() const override { return "CvWrapper FileReader"; }
    std::string resourceCode() const override { return "CVRD"; }
    int priority() const override { return 200; }
    int getMaxRequests() const override { return 32; }
    int isFileFormatSupported(const std::wstring& path, int openType, const PlayFileMetadataRep& video,
                              const Aud::Metadata& audio) const override;
};

} // namespace CvWrappers
