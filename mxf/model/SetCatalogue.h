#pragma once
#include <memory>

#include "mxf/model/BaseSet.h"
#include "mxf/model/SetID.h"

namespace Corvidane::MXF {

// The description of the structural set a key names (descriptors included),
// and a new set of its class; null for sets the model doesn't describe or hold.
const SetDescription* structuralSetDescription(const CMxf_SM_SetID& id);
std::unique_ptr<CMxf_SM_BaseSet> newStructuralSet(const CMxf_SM_SetID& id);

} // namespace Corvidane::MXF
