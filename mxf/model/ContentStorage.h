#pragma once
#include <vector>

#include "mxf/model/BaseSet.h"

namespace Corvidane::MXF {

// The packages of the file and the essence containers that hold their
// essence, by the instance identifiers of their sets.
class CMxf_SM_ContentStorageSet : public CMxf_SM_BaseSet {
public:
    CMxf_SM_ContentStorageSet() = default;
    CMxf_SM_ContentStorageSet(const CMxf_SM_ContentStorageSet& other) : CMxf_SM_BaseSet() { assign(other); }
    CMxf_SM_ContentStorageSet& operator=(const CMxf_SM_ContentStorageSet& other)
    {
        assign(other);
        return *this;
    }
    void assign(const CMxf_SM_ContentStorageSet& other);

    size_t GetPackageCount() const { return packages.size(); }

    static const SetDescription& description();

    std::vector<GUID> packages;
    std::vector<GUID> essenceContainerData;
};

} // namespace Corvidane::MXF
