#include "mxf/model/SetCatalogue.h"

#include "mxf/model/DescriptorItems.h"
#include "mxf/model/EssenceContainerData.h"
#include "mxf/model/Package.h"
#include "mxf/model/Preface.h"

namespace Corvidane::MXF {

namespace {

struct CatalogueRow {
    long id;
    const SetDescription& (*description)();
    std::unique_ptr<CMxf_SM_BaseSet> (*make)();
};

template <class Set>
std::unique_ptr<CMxf_SM_BaseSet> make()
{
    return std::make_unique<Set>();
}

const CatalogueRow catalogue[] = {
    {0, CMxf_SM_PrefaceSet::description, make<CMxf_SM_PrefaceSet>},
    {1, CMxf_SM_IdSet::description, make<CMxf_SM_IdSet>},
    {2, CMxf_SM_ContentStorageSet::description, make<CMxf_SM_ContentStorageSet>},
    {3, CMxf_SM_EssenceContainerDataSet::description, make<CMxf_SM_EssenceContainerDataSet>},
    {4, CMxf_SM_Package::description, make<CMxf_SM_Package>},
    {5, CMxf_SM_Package::description, make<CMxf_SM_Package>},
    {6, CMxf_SM_Track::description, make<CMxf_SM_Track>},
    {8, CMxf_SM_Track::description, make<CMxf_SM_Track>},
    {9, CMxf_SM_Sequence::description, make<CMxf_SM_Sequence>},
    {10, CMxf_SM_SourceClip::description, make<CMxf_SM_SourceClip>},
    {11, CMxf_SM_SourceClip::timecodeDescription, make<CMxf_SM_SourceClip>},
    {12, DMSegment::description, make<DMSegment>},
    {21, CMxf_SM_BaseSet::description, make<CMxfLocator>},
    {22, CMxf_SM_BaseSet::description, make<CMxfLocator>},
};

const CatalogueRow* rowOf(const CMxf_SM_SetID& id)
{
    for (const CatalogueRow& row : catalogue)
        if (row.id == id.get())
            return &row;
    return nullptr;
}

} // namespace

const SetDescription* structuralSetDescription(const CMxf_SM_SetID& id)
{
    const CatalogueRow* row = rowOf(id);
    return row ? &row->description() : descriptorDescription(id);
}

std::unique_ptr<CMxf_SM_BaseSet> newStructuralSet(const CMxf_SM_SetID& id)
{
    const CatalogueRow* row = rowOf(id);
    return row ? row->make() : nullptr;
}

} // namespace Corvidane::MXF
