#pragma once
#include <string>
#include <vector>

#include "front/write/FileWriterCommon.h"
#include "front/write/QtFileWriter.h"

// The AVI and MXF writer resources name themselves and their formats; they
// open files once their container writers are joined to them.
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

