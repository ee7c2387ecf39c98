#include "mxf/model/Package.h"

namespace Corvidane::MXF {

void CMxf_SM_PackageSet::assign(const CMxf_SM_PackageSet& other)
{
    if (&other == this)
        throwSelfAssignment("CMxf_SM_PackageSet");
    CMxf_SM_BaseSet::assign(other);
    packageUID = other.packageUID;
    creationDate = other.creationDate;
    modifiedDate = other.modifiedDate;
    name = other.name;
}

const SetDescription& CMxf_SM_PackageSet::description()
{
    using S = CMxf_SM_PackageSet;
    static const SetDescription items("GenericPackage", &CMxf_SM_BaseSet::description(),
        {
            memberItem(0x4401, "01.01.01.15.10.00.00.00.00", "PackageUID", ItemType::Umid, &S::packageUID),
            memberItem(0x4402, "01.01.03.03.02.01.00.00.00", "Name", ItemType::Utf16, &S::name),
            memberItem(0x4405, "02.07.02.01.10.01.03.00.00", "PackageCreationDate", ItemType::Timestamp,
                       &S::creationDate),
            memberItem(0x4404, "02.07.02.01.10.02.05.00.00", "PackageModifiedDate", ItemType::Timestamp,
                       &S::modifiedDate),
        });
    return items;
}

void CMxf_SM_Package::assign(const CMxf_SM_Package& other)
{
    if (&other == this)
        throwSelfAssignment("CMxf_SM_Package");
    CMxf_SM_PackageSet::assign(other);
    tracks = other.tracks;
    packageDescriptors = other.packageDescriptors;
    descriptors = other.descriptors;
    comments = other.comments;
}

bool CMxf_SM_Package::hasTapeDescriptor() const
{
    for (const PACKAGE_DESCRIPTOR& slot : packageDescriptors)
        if (slot.aafTape)
            return true;
    return false;
}

int CMxf_SM_Package::findDescriptor(uint32_t trackId) const
{
    for (size_t i = 0; i < descriptors.size(); ++i) {
        const CMxf_SM_DescriptorGeneric* set = descriptors[i].descriptor.get();
        const uint32_t linked = set ? set->linkedTrackID : 0;
        if (linked == trackId || (linked == 0 && descriptors.size() == 1))
            return int(i);
    }
    for (size_t i = 0; i < packageDescriptors.size(); ++i) {
        const CMxf_SM_DescriptorGeneric* set = packageDescriptors[i].placed();
        if (!set) {
            if (trackId == 65535)
                return int(i);
            continue;
        }
        if (set->linkedTrackID == trackId || (set->linkedTrackID == 0 && packageDescriptors.size() == 1))
            return int(i);
    }
    return -1;
}

void CMxf_SM_Package::deleteDescriptors()
{
    descriptors.clear();
    for (PACKAGE_DESCRIPTOR& slot : packageDescriptors) {
        PACKAGE_DESCRIPTOR empty;
        empty.instanceUUID = slot.instanceUUID;
        slot = empty;
    }
}

const SetDescription& CMxf_SM_Package::description()
{
    using S = CMxf_SM_Package;
    static const SetDescription items = [] {
        // One descriptor reference, kept as the first slot of the list.
        SetItem descriptor = ignoredItem(0x4701, "02.06.01.01.04.02.03.00.00", "Descriptor", ItemType::Reference);
        descriptor.store = [](CMxf_SM_BaseSet& set, const ItemValue& v) {
            PACKAGE_DESCRIPTOR slot;
            slot.instanceUUID = std::get<GUID>(v);
            static_cast<S&>(set).packageDescriptors.push_back(slot);
        };
        descriptor.load = [](const CMxf_SM_BaseSet& set) {
            const S& package = static_cast<const S&>(set);
            return package.packageDescriptors.empty() ? ItemValue()
                                                      : ItemValue(package.packageDescriptors.front().instanceUUID);
        };
        SetItem comments = ignoredItem(0x4406, "02.03.02.01.02.0C.00.00.00", "UserComments", ItemType::ReferenceBatch);
        comments.alsoRead = labelFromText("A0.1C.00.04.AC.96.9F.50.60.95.81.83.47.B1.11.D4");
        comments.store = [](CMxf_SM_BaseSet& set, const ItemValue& v) {
            for (const GUID& reference : std::get<std::vector<GUID>>(v))
                static_cast<S&>(set).comments.emplace_back(reference);
        };
        comments.load = [](const CMxf_SM_BaseSet& set) {
            std::vector<GUID> references;
            for (const CategorizedComment& comment : static_cast<const S&>(set).comments)
                references.push_back(comment.instanceUUID);
            return ItemValue(std::move(references));
        };
        return SetDescription("GenericPackage", &CMxf_SM_PackageSet::description(),
                              {
                                  referenceListItem(0x4403, "02.06.01.01.04.06.05.00.00", "Tracks", &S::tracks),
                                  comments,
                                  descriptor,
                              });
    }();
    return items;
}

} // namespace Corvidane::MXF
