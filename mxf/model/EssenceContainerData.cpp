#include "mxf/model/EssenceContainerData.h"

namespace Corvidane::MXF {

void CMxf_SM_EssenceContainerDataSet::assign(const CMxf_SM_EssenceContainerDataSet& other)
{
    if (&other == this)
        throwSelfAssignment("CMxf_SM_EssenceContainerDataSet");
    CMxf_SM_BaseSet::assign(other);
    linkedPackageUID = other.linkedPackageUID;
    indexSID = other.indexSID;
    bodySID = other.bodySID;
}

const SetDescription& CMxf_SM_EssenceContainerDataSet::description()
{
    using S = CMxf_SM_EssenceContainerDataSet;
    static const SetDescription items("EssenceContainerData", &CMxf_SM_BaseSet::description(),
        {
            memberItem(0x2701, "02.06.01.01.06.01.00.00.00", "LinkedPackageUID", ItemType::Umid,
                       &S::linkedPackageUID),
            memberItem(0x3F06, "04.01.03.04.05.00.00.00.00", "IndexSID", ItemType::UInt32, &S::indexSID),
            memberItem(0x3F07, "04.01.03.04.04.00.00.00.00", "BodySID", ItemType::UInt32, &S::bodySID),
        });
    return items;
}

} // namespace Corvidane::MXF
