#pragma once

#include "frame/VideoColour.h"
#include "mxf/model/Labels.h"

// The colour modes of a picture descriptor's ColorPrimaries and
// TransferCharacteristic labels, by the SMPTE register's colorimetry labels
// (06.0E.2B.34.04.01.01.xx.04.01.01.01.03.yy and 04.01.01.01.01.yy), compared
// version-blind. A label that no mode stands for, or none at all, is unknown.
namespace Corvidane::MXF {

VideoColourCPMode colourPrimariesMode(const MXFUL& label);
VideoColourTCMode transferCharacteristicMode(const MXFUL& label);

} // namespace Corvidane::MXF
