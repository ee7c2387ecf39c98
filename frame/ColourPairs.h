#pragma once

#include "frame/VideoColour.h"

#include <string>
#include <utility>

namespace Corvidane {

// Colour primaries and transfer characteristic of a picture.
using ColourPairT = std::pair<VideoColourCPMode, VideoColourTCMode>;

// The host's colorimetry: 0 unknown, 1 SD (BT.601), 2 BT.709, 3 BT.2020,
// 4 BT.2020 HLG, 5 BT.2020 PQ, 6 DCI-P3, 7 P3 D65.
using VideoColourSpaceMode = int;

// The pair written for a mode; modes without one (0, 1 and any other value)
// give (unknown, unknown).
ColourPairT videoColourPair(VideoColourSpaceMode mode);

// The mode of a pair, 0 when the pair matches none.
VideoColourSpaceMode videoColourSpaceModeHDR(const ColourPairT& pair);
// The mode suggested by the transfer characteristic alone, 0 when none.
VideoColourSpaceMode videoColourSpaceModeHDR(VideoColourTCMode transfer);

// A short name of a mode for display.
std::wstring videoColourSpaceModeHDRString(VideoColourSpaceMode mode);

} // namespace Corvidane
