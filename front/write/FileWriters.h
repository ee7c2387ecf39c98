#pragma once
#include <string>
#include <vector>

#include "front/write/FileWriterCommon.h"
#include "front/write/MxfFileWriter.h"
#include "front/write/QtFileWriter.h"

// The AVI writer resource names itself and its formats; it opens files once
// its container writer is joined to it.
namespace avi {
class FileWriter : public CvWrappers::FileWriterCommon {
public:
    FileWriter() : FileWriterCommon("AVI FileWriter", "AVI ", {"AVI"}) {}
};
} // namespace avi


