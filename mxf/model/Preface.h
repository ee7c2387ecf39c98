#pragma once
#include <cstdint>
#include <string>
#include <vector>

#include "mxf/model/ContentStorage.h"
#include "mxf/model/Identification.h"
#include "mxf/model/OperationalPattern.h"

namespace Corvidane::MXF {

// The root of the header metadata.
class CMxf_SM_PrefaceSet : public CMxf_SM_BaseSet {
public:
    CMxf_SM_PrefaceSet() { Reset(); }
    CMxf_SM_PrefaceSet(const CMxf_SM_PrefaceSet& other) : CMxf_SM_BaseSet() { assign(other); }
    CMxf_SM_PrefaceSet& operator=(const CMxf_SM_PrefaceSet& other)
    {
        assign(other);
        return *this;
    }
    void assign(const CMxf_SM_PrefaceSet& other);

    // Version 1.2 and object model 1, everything else cleared.
    void Reset();
    // The identification whose generation, or else instance, identifier is `uuid`.
    CMxf_SM_IdSet* FindIdSetFromUUID(const GUID& uuid);

    static const SetDescription& description();

    uint16_t version = 0;  // the two wire bytes as they stand
    MXFTIMESTAMP lastModifiedDate;
    CMxfOperationalPattern operationalPattern;
    CMxf_SM_ContentStorageSet contentStorage;
    std::vector<MXFUL> essenceContainers;
    std::vector<MXFUL> dmSchemes;
    std::vector<CMxf_SM_IdSet> identifications;
    GUID primaryPackage{};
    uint32_t objectModelVersion = 1;
    uint16_t byteOrder = 0x4949;  // the register's big-endian mark
    // Avid's items of an OP-Atom preface: two identifiers and a number of the
    // writer's, and the project's name.
    GUID dictionary{};  // the AAF dictionary an OP-Atom file carries
    GUID avidIdentifier{};
    uint32_t avidNumber = 0;
    GUID avidSecondIdentifier{};
    std::wstring projectName;
};

} // namespace Corvidane::MXF
