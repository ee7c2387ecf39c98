#pragma once
#include <string>
#include <vector>

#include "mxf/model/BaseSet.h"

// AAF's dictionary objects as the register keys them: the definitions of data
// kinds, the dictionary that lists them, and the meta-dictionary that an
// AAF-minded reader looks for beside them.
namespace Corvidane::MXF {

// A definition object: the label it defines, and its name.
class CMxf_AafDefinition : public CMxf_SM_BaseSet {
public:
    CMxf_AafDefinition() = default;
    CMxf_AafDefinition(const CMxf_AafDefinition& other) : CMxf_SM_BaseSet() { assign(other); }
    CMxf_AafDefinition& operator=(const CMxf_AafDefinition& other)
    {
        assign(other);
        return *this;
    }
    void assign(const CMxf_AafDefinition& other);
    static const SetDescription& description();
    static const MXFUL& dataDefinitionKey();

    MXFUL identification;
    std::wstring name;
    std::wstring text;  // the definition's description
};

// The dictionary: references to the data definitions.
class CMxf_AafDictionary : public CMxf_SM_BaseSet {
public:
    CMxf_AafDictionary() = default;
    CMxf_AafDictionary(const CMxf_AafDictionary& other) : CMxf_SM_BaseSet() { assign(other); }
    CMxf_AafDictionary& operator=(const CMxf_AafDictionary& other)
    {
        assign(other);
        return *this;
    }
    void assign(const CMxf_AafDictionary& other);
    static const SetDescription& description();
    static const MXFUL& key();

    std::vector<GUID> dataDefinitions;
};

// The meta-dictionary, known here by its identifier alone.
class CMxf_AafMetaDictionary : public CMxf_SM_BaseSet {
public:
    static const SetDescription& description();
    static const MXFUL& key();
};

} // namespace Corvidane::MXF
