#pragma once
// The writer resources the driver creates.
#include "front/write/AviFileWriter.h"
#include "front/write/FileWriterCommon.h"
#include "front/write/MxfFileWriter.h"
#include "front/write/QtFileWriter.h"
