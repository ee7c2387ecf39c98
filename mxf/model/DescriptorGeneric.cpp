#include "mxf/model/DescriptorGeneric.h"

namespace Corvidane::MXF {

void CMxf_SM_DescriptorGeneric::assign(const CMxf_SM_DescriptorGeneric& other)
{
    if (&other == this)
        throwSelfAssignment("CMxf_SM_DescriptorGeneric");
    CMxf_SM_BaseSet::assign(other);
    linkedTrackID = other.linkedTrackID;
    sampleRate = other.sampleRate;
    containerDuration = other.containerDuration;
    essenceContainer = other.essenceContainer;
    codec = other.codec;
    locators = other.locators;
    subDescriptorUIDs = other.subDescriptorUIDs;
}

const SetDescription& CMxf_SM_DescriptorGeneric::description()
{
    using S = CMxf_SM_DescriptorGeneric;
    static const SetDescription items = [] {
        SetItem essenceContainer =
            memberItem(0x3004, "02.06.01.01.04.01.02.00.00", "EssenceContainer", ItemType::Label, &S::essenceContainer);
        essenceContainer.alsoRead = propertyLabel("05.06.01.01.04.01.02.01.00");
        SetItem codec = memberItem(0x3005, "05.06.01.01.04.01.03.01.00", "Codec", ItemType::Label, &S::codec);
        codec.alsoRead = propertyLabel("02.06.01.01.04.01.03.00.00");
        return SetDescription("FileDescriptor", &CMxf_SM_BaseSet::description(),
            {
                memberItem(0x3006, "05.06.01.01.03.05.00.00.00", "LinkedTrackID", ItemType::UInt32, &S::linkedTrackID),
                memberItem(0x3001, "01.04.06.01.01.00.00.00.00", "SampleRate", ItemType::Rational, &S::sampleRate),
                memberItem(0x3002, "01.04.06.01.02.00.00.00.00", "ContainerDuration", ItemType::Int64,
                           &S::containerDuration),
                essenceContainer,
                codec,
                referenceListItem(0x2F01, "02.06.01.01.04.06.03.00.00", "Locators", &S::locators),
                memberItem(0, "09.06.01.01.04.06.10.00.00", "SubDescriptors", ItemType::ReferenceBatch,
                           &S::subDescriptorUIDs),
            });
    }();
    return items;
}

void CMxf_SM_DescriptorMutipleSet::assign(const CMxf_SM_DescriptorMutipleSet& other)
{
    if (&other == this)
        throwSelfAssignment("CMxf_SM_DescriptorMutipleSet");
    CMxf_SM_DescriptorGeneric::assign(other);
}

const SetDescription& CMxf_SM_DescriptorMutipleSet::description()
{
    using S = CMxf_SM_DescriptorMutipleSet;
    static const SetDescription items("MultipleDescriptor", &CMxf_SM_DescriptorGeneric::description(),
        {
            memberItem(0x3F01, "05.06.01.01.04.06.0B.00.00", "SubDescriptorUIDs", ItemType::ReferenceBatch,
                       &S::subDescriptorUIDs),
        });
    return items;
}

template <>
const char* AncDescriptor::className()
{
    return "AncDescriptor";
}

template <>
const char* VbiDescriptor::className()
{
    return "VbiDescriptor";
}

template <>
const char* AafTapeDescriptor::className()
{
    return "AafTapeDescriptor";
}

void CMxf_SM_DescriptorData::assign(const CMxf_SM_DescriptorData& other)
{
    if (&other == this)
        throwSelfAssignment("CMxf_SM_DescriptorData");
    CMxf_SM_DescriptorGeneric::assign(other);
    dataEssenceCoding = other.dataEssenceCoding;
}

const SetDescription& CMxf_SM_DescriptorData::description()
{
    using S = CMxf_SM_DescriptorData;
    static const SetDescription items("GenericDataEssenceDescriptor", &CMxf_SM_DescriptorGeneric::description(),
        {
            memberItem(0x3E01, "03.04.03.03.02.00.00.00.00", "DataEssenceCoding", ItemType::Label,
                       &S::dataEssenceCoding),
        });
    return items;
}

} // namespace Corvidane::MXF
