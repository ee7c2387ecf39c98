#pragma once
#include <string>

#include "mxf/model/Labels.h"

namespace Corvidane::MXF {

// Makes and marks SMPTE 330 UMIDs.
class CUmid {
public:
    // A basic UMID of the given type with a fresh UUID as its material number.
    static void Create(UMID* umid, short type);
    // Stores `type` at bytes 10 and 11, as the host's 16-bit value lies in memory.
    static void setType(UMID* umid, short type);
};

// The 32 bytes as lower-case hex separated by points.
std::string UMIDToString(const UMID* umid);

} // namespace Corvidane::MXF
