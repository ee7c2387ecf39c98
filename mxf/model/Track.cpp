#include "mxf/model/Track.h"

namespace Corvidane::MXF {

void CMxf_SM_Sequence::assign(const CMxf_SM_Sequence& other)
{
    if (&other == this)
        throwSelfAssignment("CMxf_SM_Sequence");
    CMxf_SM_BaseSet::assign(other);
    duration = other.duration;
    dataDefinition = other.dataDefinition;
    sourceClips = other.sourceClips;
}

const SetDescription& CMxf_SM_Sequence::description()
{
    using S = CMxf_SM_Sequence;
    static const SetDescription items("Sequence", &CMxf_SM_BaseSet::description(),
        {
            memberItem(0x0201, "02.04.07.01.00.00.00.00.00", "DataDefinition", ItemType::Label, &S::dataDefinition),
            memberItem(0x0202, "02.07.02.02.01.01.03.00.00", "Duration", ItemType::Int64, &S::duration),
            referenceListItem(0x1001, "02.06.01.01.04.06.09.00.00", "StructuralComponents", &S::sourceClips),
        });
    return items;
}

void CMxf_SM_Track::assign(const CMxf_SM_Track& other)
{
    if (&other == this)
        throwSelfAssignment("CMxf_SM_Track");
    CMxf_SM_BaseSet::assign(other);
    trackID = other.trackID;
    trackNumber = other.trackNumber;
    trackName = other.trackName;
    editRate = other.editRate;
    origin = other.origin;
    sequence = other.sequence;
}

const SetDescription& CMxf_SM_Track::description()
{
    using S = CMxf_SM_Track;
    static const SetDescription items("Track", &CMxf_SM_BaseSet::description(),
        {
            memberItem(0x4801, "02.01.07.01.01.00.00.00.00", "TrackID", ItemType::UInt32, &S::trackID),
            memberItem(0x4804, "02.01.04.01.03.00.00.00.00", "TrackNumber", ItemType::UInt32, &S::trackNumber),
            memberItem(0x4802, "02.01.07.01.02.01.00.00.00", "TrackName", ItemType::Utf16, &S::trackName),
            memberItem(0x4B01, "02.05.30.04.05.00.00.00.00", "EditRate", ItemType::Rational, &S::editRate),
            memberItem(0x4B02, "02.07.02.01.03.01.03.00.00", "Origin", ItemType::Int64, &S::origin),
            referenceItem(0x4803, "02.06.01.01.04.02.04.00.00", "Sequence", &S::sequence),
        });
    return items;
}

} // namespace Corvidane::MXF
