#include "mxf/model/ContentStorage.h"

namespace Corvidane::MXF {

void CMxf_SM_ContentStorageSet::assign(const CMxf_SM_ContentStorageSet& other)
{
    if (&other == this)
        throwSelfAssignment("CMxf_SM_ContentStorageSet");
    CMxf_SM_BaseSet::assign(other);
    packages = other.packages;
    essenceContainerData = other.essenceContainerData;
}

const SetDescription& CMxf_SM_ContentStorageSet::description()
{
    using S = CMxf_SM_ContentStorageSet;
    static const SetDescription items = [] {
        SetItem packages =
            memberItem(0x1901, "02.06.01.01.04.05.01.00.00", "Packages", ItemType::ReferenceBatch, &S::packages);
        packages.alsoRead = propertyLabel("02.06.01.01.04.05.00.00.00");
        return SetDescription("ContentStorage", &CMxf_SM_BaseSet::description(),
                              {packages, memberItem(0x1902, "02.06.01.01.04.05.02.00.00", "EssenceContainerData",
                                                    ItemType::ReferenceBatch, &S::essenceContainerData)});
    }();
    return items;
}

} // namespace Corvidane::MXF
