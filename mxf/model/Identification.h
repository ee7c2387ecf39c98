#pragma once
#include <string>

#include "mxf/model/BaseSet.h"

namespace Corvidane::MXF {

// The application that wrote or last changed the file. Its generation
// identifier (ThisGenerationUID) is the base's generationUUID.
class CMxf_SM_IdSet : public CMxf_SM_BaseSet {
public:
    CMxf_SM_IdSet() = default;
    CMxf_SM_IdSet(const CMxf_SM_IdSet& other) : CMxf_SM_BaseSet() { assign(other); }
    CMxf_SM_IdSet& operator=(const CMxf_SM_IdSet& other)
    {
        assign(other);
        return *this;
    }
    void assign(const CMxf_SM_IdSet& other);

    static const SetDescription& description();

    std::wstring companyName;
    std::wstring productName;
    std::wstring versionString;
    MXFUL productUID;  // 16 bytes as on the wire
    MXFTIMESTAMP modificationDate;
    ProductVersionValue productVersion{};
    ProductVersionValue toolkitVersion{};
    std::wstring platform;
};

} // namespace Corvidane::MXF
