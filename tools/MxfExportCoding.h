#pragma once
#include <cstddef>
#include <cstdint>

// How the editor names a coding it exports to MXF: the code of its MXF
// encoder and the data rate that encoder states, in kilobits a second (0
// where it states none). Containers name codings their own way (QuickTime's
// "dvcp" is DV, the MXF writer's is DVCPRO), and a code alone doesn't tell DV
// from DVCPRO or one DNxHD rate from another: the first coded frame does.
struct MxfExportCoding {
    uint32_t code;
    unsigned dataRate;
    // The host's scan mode where the frame tells it (3 progressive, 1
    // interlaced); 0 where it doesn't.
    unsigned scanMode = 0;
};

// `format` is the source's code as the reader gives it, `framesPerSecond`
// and `width` and `height` the picture's; `frame` holds the first coded
// frame. A format the table doesn't know keeps its code.
MxfExportCoding mxfExportCoding(uint32_t format, double framesPerSecond, unsigned width, unsigned height,
                                const unsigned char* frame, size_t size);
