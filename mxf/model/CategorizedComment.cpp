#include "mxf/model/CategorizedComment.h"

namespace Corvidane::MXF {

void CategorizedComment::assign(const CategorizedComment& other)
{
    if (&other == this)
        throwSelfAssignment("CategorizedComment");
    CMxf_SM_BaseSet::assign(other);
    name = other.name;
    value = other.value;
}

const SetDescription& CategorizedComment::description()
{
    static const SetDescription items("TaggedValue", &CMxf_SM_BaseSet::description(),
        {
            memberItem(0x5003, "02.03.02.01.02.09.01.00.00", "Name", ItemType::Utf16, &CategorizedComment::name),
            memberItem(0x5001, "02.03.02.01.02.0A.01.00.00", "Value", ItemType::IndirectText,
                       &CategorizedComment::value),
        });
    return items;
}

} // namespace Corvidane::MXF
