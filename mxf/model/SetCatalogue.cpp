#include "mxf/model/SetCatalogue.h"

#include "mxf/model/AafDefinitions.h"
#include "mxf/model/AvcSubDescriptor.h"
#include "mxf/model/CategorizedComment.h"
#include "mxf/model/DescriptiveSetID.h"
#include "mxf/model/DescriptiveSets.h"
#include "mxf/model/EssenceContainerData.h"
#include "mxf/model/Package.h"
#include "mxf/model/PackageDescriptor.h"
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
    {14, CMxf_SM_DescriptorGeneric::description, make<CMxf_SM_DescriptorGeneric>},
    {15, CMxf_SM_DescriptorPicture::description, make<CMxf_SM_DescriptorPicture>},
    {16, CMxf_SM_DescriptorPictureCDCI::description, make<CMxf_SM_DescriptorPictureCDCI>},
    {17, CMxf_SM_DescriptorPictureRGBA::description, make<CMxf_SM_DescriptorPictureRGBA>},
    {18, CMxf_SM_DescriptorSound::description, make<CMxf_SM_DescriptorSound>},
    {19, CMxf_SM_DescriptorData::description, nullptr},
    {20, CMxf_SM_DescriptorMutipleSet::description, make<CMxf_SM_DescriptorMutipleSet>},
    {21, CMxf_SM_BaseSet::description, make<CMxfLocator>},
    {22, CMxf_SM_BaseSet::description, make<CMxfLocator>},
    {25, CMxf_SM_DescriptorSoundAES3::description, make<CMxf_SM_DescriptorSoundAES3>},
    {26, CMxf_SM_DescriptorSoundWave::description, make<CMxf_SM_DescriptorSoundWave>},
    {27, CMxf_SM_DescriptorPictureMPEG2::description, make<CMxf_SM_DescriptorPictureMPEG2>},
    {28, CMxf_SM_DescriptorData::description, make<VbiDescriptor>},
    {29, CMxf_SM_DescriptorData::description, make<AncDescriptor>},
    {30, CMxf_SM_DescriptorGeneric::description, make<AafTapeDescriptor>},
    {31, CategorizedComment::description, make<CategorizedComment>},
    // AAF's dictionary and data definitions: named and shown, kept by no reader.
    {32, CMxf_AafDictionary::description, nullptr},
    {35, CMxf_AafDefinition::description, nullptr},
};

// Sets the key table leaves unlisted, by the key's set byte.
struct UnlistedRow {
    unsigned char yy;
    CatalogueRow row;
};

const UnlistedRow unlisted[] = {
    {0x6E, {CMxf_SM_SetID::Unlisted, AvcSubDescriptor::description, make<AvcSubDescriptor>}},
};

const CatalogueRow* rowOf(const CMxf_SM_SetID& id)
{
    for (const CatalogueRow& row : catalogue)
        if (row.id == id.get())
            return &row;
    if (id.get() == CMxf_SM_SetID::Unlisted)
        for (const UnlistedRow& other : unlisted)
            if (other.yy == id.key()[14])
                return &other.row;
    return nullptr;
}

// The descriptive sets the reader takes values from, by class and identifier.
struct DescriptiveRow {
    bool textBased;
    long id;
    const SetDescription& (*description)();
};

const DescriptiveRow descriptive[] = {
    {false, 0x0102, DMClipFrameWork::description},   {false, 0x1801, DMParticipantSet::description},
    {false, 0x1901, DMContactsListSet::description}, {false, 0x1A02, DMPersonSet::description},
    {false, 0x2002, DMProjectSet::description},      {true, 0x0101, TBDMTextBasedFrameWork::description},
    {true, 0x0202, TBDMUTF8TextBased::description},
};

} // namespace

const SetDescription* descriptiveSetDescription(const MXFUL& key)
{
    const CMxf_DM_SetID dms1(key);
    const CMxf_TBDM_SetID textBased(key);
    for (const DescriptiveRow& row : descriptive)
        if (row.id == (row.textBased ? textBased : static_cast<const DescriptiveSetID&>(dms1)).get())
            return &row.description();
    return nullptr;
}

const char* descriptiveSetName(const MXFUL& key)
{
    const char* name = CMxf_DM_SetID(key).className();
    return name ? name : CMxf_TBDM_SetID(key).className();
}

const SetDescription* structuralSetDescription(const CMxf_SM_SetID& id)
{
    const CatalogueRow* row = rowOf(id);
    return row ? &row->description() : nullptr;
}

std::unique_ptr<CMxf_SM_BaseSet> newStructuralSet(const CMxf_SM_SetID& id)
{
    const CatalogueRow* row = rowOf(id);
    return row && row->make ? row->make() : nullptr;
}

} // namespace Corvidane::MXF
