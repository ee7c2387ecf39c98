#pragma once
#include "frame/Guid.h"
#include "mxf/model/SetDescription.h"

namespace Corvidane::MXF {

// What every set of the header metadata has: the identifier that other sets
// refer to it by, and the identification of the application that wrote it.
class CMxf_SM_BaseSet {
public:
    CMxf_SM_BaseSet() = default;
    CMxf_SM_BaseSet(const CMxf_SM_BaseSet& other) { assign(other); }
    CMxf_SM_BaseSet& operator=(const CMxf_SM_BaseSet& other)
    {
        assign(other);
        return *this;
    }
    virtual ~CMxf_SM_BaseSet() = default;

    // Throws string_exception when handed itself.
    void assign(const CMxf_SM_BaseSet& other);
    void put_InstanceUUID(const GUID& uuid) { instanceUUID = uuid; }
    void put_GenerationUUID(const GUID& uuid) { generationUUID = uuid; }

    static const SetDescription& description();

    GUID instanceUUID{};
    GUID generationUUID{};
};

// A locator of external essence, held in a descriptor's list.
class CMxfLocator : public CMxf_SM_BaseSet {
public:
    CMxfLocator() = default;
    CMxfLocator(const CMxfLocator& other) : CMxf_SM_BaseSet() { assign(other); }
    CMxfLocator& operator=(const CMxfLocator& other)
    {
        assign(other);
        return *this;
    }
    void assign(const CMxfLocator& other);
};

// The text of the exception that copying a set into itself throws.
[[noreturn]] void throwSelfAssignment(const char* className);

} // namespace Corvidane::MXF
