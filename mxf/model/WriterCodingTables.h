#pragma once
#include <cstdint>

#include "mxf/model/Labels.h"

// What the writer states of a picture compression for Avid's readers: the
// picture coding label, the Avid resolution identifier and the fixed frame
// size of the AAF dictionary. The reading side is EssenceCodingTables.
namespace Corvidane::MXF {

// The writer's description of a compression.
struct VideoEncodeParams {
    unsigned fcc = 0;  // first letter in the low byte
    int32_t width = 0;
    int32_t height = 0;
    int32_t rate = 0;   // frames per second are rate / scale
    int32_t scale = 1;
    int32_t polarity = 0;  // 4 progressive; others interlaced
    unsigned dataRate = 0;  // in the units of the data rate fields
};

// The picture coding label for a code, height, rate and data rate; the zero
// label for a code the writer states none for.
MXFUL getEssenceCodingType(const VideoEncodeParams* params);
// The fixed frame size, 0 for codes whose frames vary; false for a code the
// table doesn't know, `size` then 0.
bool getAafSampleSizeFromCompression(const VideoEncodeParams* params, unsigned& size);
// The Avid resolution identifier; 0 when none fits.
int32_t resolutionIdFromVideoParams(const VideoEncodeParams& params);

} // namespace Corvidane::MXF
