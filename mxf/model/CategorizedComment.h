#pragma once
#include <string>

#include "frame/Guid.h"

namespace Corvidane::MXF {

// A named comment of a package (Avid's categorized comments): its name and
// value arrive with the comment's own set, found by the identifier.
class CategorizedComment {
public:
    CategorizedComment() = default;
    explicit CategorizedComment(const GUID& uuid) : instanceUUID(uuid) {}

    std::wstring name;
    std::wstring value;
    GUID instanceUUID{};
};

} // namespace Corvidane::MXF
