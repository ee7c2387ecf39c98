#include "mxf/model/SourceClip.h"

namespace Corvidane::MXF {

void BaseSourceClip::assign(const BaseSourceClip& other)
{
    if (&other == this)
        throwSelfAssignment("BaseSourceClip");
    CMxf_SM_BaseSet::assign(other);
    dataDefinition = other.dataDefinition;
    startPosition = other.startPosition;
    duration = other.duration;
}

const SetDescription& BaseSourceClip::componentDescription()
{
    using S = BaseSourceClip;
    static const SetDescription items("StructuralComponent", &CMxf_SM_BaseSet::description(),
        {
            memberItem(0x0201, "02.04.07.01.00.00.00.00.00", "DataDefinition", ItemType::Label, &S::dataDefinition),
            memberItem(0x0202, "02.07.02.02.01.01.03.00.00", "Duration", ItemType::Int64, &S::duration),
        });
    return items;
}

const SetDescription& BaseSourceClip::description()
{
    static const SetDescription items("SourceReference", &componentDescription(),
        {
            memberItem(0x1201, "02.07.02.01.03.01.04.00.00", "StartPosition", ItemType::Int64,
                       &BaseSourceClip::startPosition),
        });
    return items;
}

void CMxf_SM_SourceClip::assign(const CMxf_SM_SourceClip& other)
{
    if (&other == this)
        throwSelfAssignment("CMxf_SM_SourceClip");
    BaseSourceClip::assign(other);
    sourcePackageID = other.sourcePackageID;
    sourceTrackID = other.sourceTrackID;
    timecode = other.timecode;
}

const SetDescription& CMxf_SM_SourceClip::description()
{
    using S = CMxf_SM_SourceClip;
    static const SetDescription items("SourceClip", &BaseSourceClip::description(),
        {
            memberItem(0x1101, "02.06.01.01.03.01.00.00.00", "SourcePackageID", ItemType::Umid, &S::sourcePackageID),
            memberItem(0x1102, "02.06.01.01.03.02.00.00.00", "SourceTrackID", ItemType::UInt32, &S::sourceTrackID),
        });
    return items;
}

namespace {

// An item of the clip's timecode detail, which the clip makes when it has none.
template <class Field>
SetItem timecodeItem(uint16_t tag, const char* tail, const char* name, ItemType type,
                     Field _SRC_CLIP_DETAIL_TC::*member)
{
    SetItem item = ignoredItem(tag, tail, name, type);
    item.store = [member](CMxf_SM_BaseSet& set, const ItemValue& v) {
        auto& clip = static_cast<CMxf_SM_SourceClip&>(set);
        if (!clip.timecode)
            clip.timecode = std::make_shared<_SRC_CLIP_DETAIL_TC>();
        fromItemValue(v, (*clip.timecode).*member);
    };
    item.load = [member](const CMxf_SM_BaseSet& set) {
        const auto& clip = static_cast<const CMxf_SM_SourceClip&>(set);
        return clip.timecode ? toItemValue((*clip.timecode).*member) : ItemValue();
    };
    return item;
}

} // namespace

const SetDescription& CMxf_SM_SourceClip::timecodeDescription()
{
    using T = _SRC_CLIP_DETAIL_TC;
    static const SetDescription items("TimecodeComponent", &BaseSourceClip::componentDescription(),
        {
            timecodeItem(0x1502, "02.04.04.01.01.02.06.00.00", "RoundedTimecodeBase", ItemType::UInt16,
                         &T::roundedTimecodeBase),
            timecodeItem(0x1501, "02.07.02.01.03.01.05.00.00", "StartTimecode", ItemType::Int64, &T::startTimecode),
            timecodeItem(0x1503, "01.04.04.01.01.05.00.00.00", "DropFrame", ItemType::Boolean, &T::dropFrame),
        });
    return items;
}

void DMSegment::assign(const DMSegment& other)
{
    if (&other == this)
        throwSelfAssignment("DMSegment");
    BaseSourceClip::assign(other);
    eventComment = other.eventComment;
    dmFramework = other.dmFramework;
}

const SetDescription& DMSegment::description()
{
    static const SetDescription items("DMSegment", &BaseSourceClip::description(),
        {
            memberItem(0x0602, "05.05.30.04.04.01.00.00.00", "EventComment", ItemType::Utf16,
                       &DMSegment::eventComment),
            memberItem(0x6101, "05.06.01.01.04.02.0C.00.00", "DMFramework", ItemType::Reference,
                       &DMSegment::dmFramework),
            ignoredItem(0x6102, "05.01.07.01.05.00.00.00.00", "TrackIDs", ItemType::UInt32Batch),
        });
    return items;
}

} // namespace Corvidane::MXF
