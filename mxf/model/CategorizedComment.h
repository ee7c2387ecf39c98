#pragma once
#include <string>

#include "mxf/model/BaseSet.h"

namespace Corvidane::MXF {

// A named comment of a package (Avid's categorized comments, the register's
// tagged values): the package refers to it by identifier, and its name and
// value arrive with the comment's own set.
class CategorizedComment : public CMxf_SM_BaseSet {
public:
    CategorizedComment() = default;
    explicit CategorizedComment(const GUID& uuid) { instanceUUID = uuid; }
    CategorizedComment(const CategorizedComment& other) : CMxf_SM_BaseSet() { assign(other); }
    CategorizedComment& operator=(const CategorizedComment& other)
    {
        assign(other);
        return *this;
    }
    // Throws string_exception when handed itself.
    void assign(const CategorizedComment& other);

    // The name (UTF-16 big-endian) and the value (an indirect text); a label
    // that isn't the comment's ends the set.
    static const SetDescription& description();

    std::wstring name;
    std::wstring value;
};

} // namespace Corvidane::MXF
