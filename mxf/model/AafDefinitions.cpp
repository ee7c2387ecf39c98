#include "mxf/model/AafDefinitions.h"

namespace Corvidane::MXF {

void CMxf_AafDefinition::assign(const CMxf_AafDefinition& other)
{
    if (&other == this)
        throwSelfAssignment("CMxf_AafDefinition");
    CMxf_SM_BaseSet::assign(other);
    identification = other.identification;
    name = other.name;
    text = other.text;
}

const SetDescription& CMxf_AafDefinition::description()
{
    using S = CMxf_AafDefinition;
    static const SetDescription items("DefinitionObject", &CMxf_SM_BaseSet::description(),
        {
            memberItem(0x1B01, "02.01.01.15.03.00.00.00.00", "Identification", ItemType::Label, &S::identification),
            memberItem(0x1B02, "02.01.07.01.02.03.01.00.00", "Name", ItemType::Utf16, &S::name),
            memberItem(0x1B03, "02.03.02.03.01.02.01.00.00", "Description", ItemType::Utf16, &S::text),
        });
    return items;
}

const MXFUL& CMxf_AafDefinition::dataDefinitionKey()
{
    static const MXFUL key = labelFromText("06.0E.2B.34.02.53.01.01.0D.01.01.01.01.01.1B.00");
    return key;
}

void CMxf_AafDictionary::assign(const CMxf_AafDictionary& other)
{
    if (&other == this)
        throwSelfAssignment("CMxf_AafDictionary");
    CMxf_SM_BaseSet::assign(other);
    dataDefinitions = other.dataDefinitions;
}

const SetDescription& CMxf_AafDictionary::description()
{
    using S = CMxf_AafDictionary;
    static const SetDescription items("Dictionary", &CMxf_SM_BaseSet::description(),
        {
            memberItem(0x2605, "02.06.01.01.04.05.05.00.00", "DataDefinitions", ItemType::ReferenceBatch,
                       &S::dataDefinitions),
        });
    return items;
}

const MXFUL& CMxf_AafDictionary::key()
{
    static const MXFUL key = labelFromText("06.0E.2B.34.02.53.01.01.0D.01.01.01.01.01.22.00");
    return key;
}

const SetDescription& CMxf_AafMetaDictionary::description()
{
    static const SetDescription items("MetaDictionary", &CMxf_SM_BaseSet::description(), {});
    return items;
}

const MXFUL& CMxf_AafMetaDictionary::key()
{
    static const MXFUL key = labelFromText("06.0E.2B.34.02.53.01.01.0D.01.01.01.02.25.00.00");
    return key;
}

} // namespace Corvidane::MXF
