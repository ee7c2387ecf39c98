#pragma once
#include <string>
#include <vector>

#include "host/FileReaderResource.h"

namespace CvWrappers {

// What the three writer resources share. Until the container writers are
// built, a writer resource names itself and its formats and opens no file.
class FileWriterCommon : public Hc::FileWriterResource {
public:
    FileWriterCommon(std::string name, std::string code, std::vector<std::string> formats)
        : FileWriterResource(std::move(formats)), m_name(std::move(name)), m_code(std::move(code))
    {
    }
    std::string resourceName() const override { return m_name; }
    std::string resourceCode() const override { return m_code; }

private:
    std::string m_name;
    std::string m_code;
};

} // namespace CvWrappers

namespace avi {
class FileWriter : public CvWrappers::FileWriterCommon {
public:
    FileWriter() : FileWriterCommon("AVI FileWriter", "AVI ", {"AVI"}) {}
};
} // namespace avi

namespace mxf {
class FileWriter : public CvWrappers::FileWriterCommon {
public:
    FileWriter() : FileWriterCommon("Mxf FileWriter", "MXF ", {"MXF"}) {}
};
} // namespace mxf

namespace qt {
class FileWriter : public CvWrappers::FileWriterCommon {
public:
    FileWriter() : FileWriterCommon("Qt FileWriter", "QT  ", {"MOV"}) {}
};
} // namespace qt
