#pragma once
#include <memory>

#include "mxf/model/BaseSet.h"
#include "mxf/model/SetID.h"

namespace Corvidane::MXF {

// The description of the structural set a key names (descriptors included),
// and a new set of its class; null for sets the model doesn't describe or hold.
const SetDescription* structuralSetDescription(const CMxf_SM_SetID& id);
std::unique_ptr<CMxf_SM_BaseSet> newStructuralSet(const CMxf_SM_SetID& id);

// The description of the descriptive set (DMS-1 or text-based) a key names,
// for the sets the reader takes values from; null for others.
const SetDescription* descriptiveSetDescription(const MXFUL& key);
// The register's name of the descriptive set a key names; null when unnamed.
const char* descriptiveSetName(const MXFUL& key);

} // namespace Corvidane::MXF
