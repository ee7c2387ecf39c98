#pragma once
#include <cstdint>

#include "frame/TrackRecords.h"
#include "mxf/model/Labels.h"

// The writer's tables of coding formats: what a four character code makes of
// a file, the essence key of each kind of track, and the sizes of constant
// edit units. Codes have their first letter in the low byte.
namespace Corvidane::MXF {

enum WriterFileType : int {
    FileTypeNone = 0,
    FileTypeIMX = 1,
    FileTypeDV25 = 2,
    FileTypeDV50 = 3,
    FileTypeDVCPro = 4,
    FileTypeDVCProHD = 5,
    FileTypeMpegIFrame = 6,
    FileTypeMpegLongGop = 7,
    FileTypeProxy = 8,
    FileTypeAudio = 9,
    FileTypeDNxHD = 10,
    FileTypeAvcIntra = 11,
    FileTypeAncillary = 12,
    FileTypeAvidProxy = 13,
    FileTypeDNxHR = 14,
};

// How `create` renames the first video track's code, and whether the file
// is then an XDCAM file.
struct CodeRename {
    unsigned to;  // 0: the code stays
    bool xdcam;
};
bool renameForCreate(unsigned fcc, CodeRename& rename);

// The file type a video code makes; `gopSize` tells I-frame from long-GOP
// MPEG. FileTypeNone for a code the writer doesn't take.
int fileTypeOfCode(unsigned fcc, uint32_t gopSize);

// Codes that only OP-Atom takes, with the words of the refusal in OP1a.
// Null for a code OP1a takes.
const wchar_t* op1aRefusal(unsigned fcc);

// Ancillary data and VBI lines, which only OP-Atom files carry.
bool isAncillaryTrack(const TrackStructuralData& track);

bool isDnxhdDataRate(uint32_t dataRate);
bool isImxDataRate(uint32_t dataRate);

// The first twelve bytes of every essence element key this writer makes.
MXFUL essenceKeyPrefix();

// The picture element's slot in a constant OP1a edit unit at 25 or 29.97
// frames a second, before alignment; 0 when the code has none.
uint32_t fixedPictureElementSize(unsigned fcc, uint32_t dataRate, bool ntsc, bool clipWrapped);

} // namespace Corvidane::MXF
