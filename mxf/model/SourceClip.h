#pragma once
#include <cstdint>
#include <memory>
#include <string>

#include "mxf/model/BaseSet.h"
#include "mxf/model/DataDefinitionKind.h"

namespace Corvidane::MXF {

// What the components of a sequence share: what kind of data, where it
// starts and how long it runs.
class BaseSourceClip : public CMxf_SM_BaseSet, public DataDefinitionKind<BaseSourceClip> {
public:
    BaseSourceClip() = default;
    BaseSourceClip(const BaseSourceClip& other) : CMxf_SM_BaseSet() { assign(other); }
    BaseSourceClip& operator=(const BaseSourceClip& other)
    {
        assign(other);
        return *this;
    }
    void assign(const BaseSourceClip& other);


    // Data definition and duration: the items of every structural component.
    static const SetDescription& componentDescription();
    static const SetDescription& description();

    MXFUL dataDefinition;
    int64_t startPosition = 0;
    int64_t duration = 0;
};

// The timecode of a timecode component.
struct _SRC_CLIP_DETAIL_TC {
    uint16_t roundedTimecodeBase = 0;
    int64_t startTimecode = 0;
    bool dropFrame = false;
};

// A clip of another package's track; a timecode component is held as a clip
// with timecode detail and no source package.
class CMxf_SM_SourceClip : public BaseSourceClip {
public:
    CMxf_SM_SourceClip() = default;
    CMxf_SM_SourceClip(const CMxf_SM_SourceClip& other) : BaseSourceClip() { assign(other); }
    CMxf_SM_SourceClip& operator=(const CMxf_SM_SourceClip& other)
    {
        assign(other);
        return *this;
    }
    void assign(const CMxf_SM_SourceClip& other);

    static const SetDescription& description();
    static const SetDescription& timecodeDescription();

    UMID sourcePackageID;
    uint32_t sourceTrackID = 0;
    std::shared_ptr<_SRC_CLIP_DETAIL_TC> timecode;
};

// A segment of descriptive metadata on a DM track.
class DMSegment : public BaseSourceClip {
public:
    DMSegment() = default;
    DMSegment(const DMSegment& other) : BaseSourceClip() { assign(other); }
    DMSegment& operator=(const DMSegment& other)
    {
        assign(other);
        return *this;
    }
    void assign(const DMSegment& other);

    static const SetDescription& description();

    std::wstring eventComment;
    GUID dmFramework{};
};

} // namespace Corvidane::MXF
