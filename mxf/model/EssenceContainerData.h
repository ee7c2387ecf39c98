#pragma once
#include <cstdint>

#include "mxf/model/BaseSet.h"

namespace Corvidane::MXF {

// Ties a file package to the essence container (body and index stream) that
// holds its essence.
class CMxf_SM_EssenceContainerDataSet : public CMxf_SM_BaseSet {
public:
    CMxf_SM_EssenceContainerDataSet() = default;
    CMxf_SM_EssenceContainerDataSet(const CMxf_SM_EssenceContainerDataSet& other) : CMxf_SM_BaseSet()
    {
        assign(other);
    }
    CMxf_SM_EssenceContainerDataSet& operator=(const CMxf_SM_EssenceContainerDataSet& other)
    {
        assign(other);
        return *this;
    }
    void assign(const CMxf_SM_EssenceContainerDataSet& other);

    static const SetDescription& description();

    UMID linkedPackageUID;
    uint32_t indexSID = 0;
    uint32_t bodySID = 0;
};

} // namespace Corvidane::MXF
