#pragma once
#include "mxf/model/SetDescription.h"
#include "mxf/model/SetID.h"

namespace Corvidane::MXF {

// The properties of the essence descriptors, by class, each after those of
// the class it derives from: what they are called and how their values read.
// Null for a set that is no descriptor.
const SetDescription* descriptorDescription(const CMxf_SM_SetID& id);

} // namespace Corvidane::MXF
