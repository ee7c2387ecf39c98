#pragma once
#include <cstdint>
#include <string>
#include <vector>

#include "mxf/model/SourceClip.h"

namespace Corvidane::MXF {

// The components of a track, one after the other.
class CMxf_SM_Sequence : public CMxf_SM_BaseSet, public DataDefinitionKind<CMxf_SM_Sequence> {
public:
    CMxf_SM_Sequence() = default;
    CMxf_SM_Sequence(const CMxf_SM_Sequence& other) : CMxf_SM_BaseSet() { assign(other); }
    CMxf_SM_Sequence& operator=(const CMxf_SM_Sequence& other)
    {
        assign(other);
        return *this;
    }
    void assign(const CMxf_SM_Sequence& other);


    static const SetDescription& description();

    int64_t duration = 0;
    MXFUL dataDefinition;
    std::vector<CMxf_SM_SourceClip> sourceClips;
};

// One track of a package and its sequence.
class CMxf_SM_Track : public CMxf_SM_BaseSet {
public:
    CMxf_SM_Track() = default;
    CMxf_SM_Track(const CMxf_SM_Track& other) : CMxf_SM_BaseSet() { assign(other); }
    CMxf_SM_Track& operator=(const CMxf_SM_Track& other)
    {
        assign(other);
        return *this;
    }
    void assign(const CMxf_SM_Track& other);

    static const SetDescription& description();

    uint32_t trackID = 0;
    uint32_t trackNumber = 0;
    std::wstring trackName;
    MXFRATIONAL editRate;
    int64_t origin = 0;
    CMxf_SM_Sequence sequence;
};

} // namespace Corvidane::MXF
