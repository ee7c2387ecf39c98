#include "mxf/model/PackageDescriptor.h"

namespace Corvidane::MXF {

namespace {

template <class Descriptor, std::shared_ptr<Descriptor> PACKAGE_DESCRIPTOR::*slot>
bool place(const std::shared_ptr<CMxf_SM_DescriptorGeneric>& set, PACKAGE_DESCRIPTOR& out)
{
    std::shared_ptr<Descriptor> exact = std::dynamic_pointer_cast<Descriptor>(set);
    if (!exact)
        return false;
    out.*slot = exact;
    return true;
}

template <class Descriptor>
std::shared_ptr<CMxf_SM_DescriptorGeneric> copyOf(const std::shared_ptr<CMxf_SM_DescriptorGeneric>& set)
{
    std::shared_ptr<Descriptor> exact = std::dynamic_pointer_cast<Descriptor>(set);
    return exact ? std::make_shared<Descriptor>(*exact) : nullptr;
}

struct KindRow {
    int32_t type;
    bool (*place)(const std::shared_ptr<CMxf_SM_DescriptorGeneric>&, PACKAGE_DESCRIPTOR&);
    std::shared_ptr<CMxf_SM_DescriptorGeneric> (*copy)(const std::shared_ptr<CMxf_SM_DescriptorGeneric>&);
};

using P = PACKAGE_DESCRIPTOR;
const KindRow kinds[] = {
    {1, place<CMxf_SM_DescriptorPicture, &P::picture>, copyOf<CMxf_SM_DescriptorPicture>},
    {2, place<CMxf_SM_DescriptorSound, &P::sound>, copyOf<CMxf_SM_DescriptorSound>},
    {3, place<CMxf_SM_DescriptorPictureCDCI, &P::cdci>, copyOf<CMxf_SM_DescriptorPictureCDCI>},
    {4, place<CMxf_SM_DescriptorPictureRGBA, &P::rgba>, copyOf<CMxf_SM_DescriptorPictureRGBA>},
    {5, place<CMxf_SM_DescriptorSoundWave, &P::wave>, copyOf<CMxf_SM_DescriptorSoundWave>},
    {6, place<CMxf_SM_DescriptorSoundAES3, &P::aes3>, copyOf<CMxf_SM_DescriptorSoundAES3>},
    {7, place<CMxf_SM_DescriptorPictureMPEG2, &P::mpeg2>, copyOf<CMxf_SM_DescriptorPictureMPEG2>},
    {8, nullptr, copyOf<CMxf_SM_DescriptorMutipleSet>},
    {9, place<AncDescriptor, &P::anc>, copyOf<AncDescriptor>},
    {10, place<VbiDescriptor, &P::vbi>, copyOf<VbiDescriptor>},
    {11, place<AafTapeDescriptor, &P::aafTape>, copyOf<AafTapeDescriptor>},
};

const KindRow* kindOf(int32_t type)
{
    for (const KindRow& row : kinds)
        if (row.type == type)
            return &row;
    return nullptr;
}

} // namespace

const CMxf_SM_DescriptorGeneric* PACKAGE_DESCRIPTOR::placed() const
{
    const CMxf_SM_DescriptorGeneric* inOrder[] = {anc.get(),  vbi.get(),  picture.get(), sound.get(), cdci.get(),
                                                  rgba.get(), wave.get(), aes3.get(),    mpeg2.get()};
    for (const CMxf_SM_DescriptorGeneric* set : inOrder)
        if (set)
            return set;
    return nullptr;
}

void CDescriptor::CopyFrom(const CDescriptor& other)
{
    const KindRow* kind = kindOf(other.type);
    std::shared_ptr<CMxf_SM_DescriptorGeneric> copy = kind ? kind->copy(other.descriptor) : nullptr;
    type = copy ? other.type : 0;
    descriptor = copy;
}

GUID CDescriptor::get_InstanceUUID() const { return descriptor ? descriptor->instanceUUID : GUID{}; }

bool CDescriptor::toPACKAGE_DESCRIPTOR(PACKAGE_DESCRIPTOR& slot) const
{
    const KindRow* kind = kindOf(type);
    return kind && kind->place && kind->place(descriptor, slot);
}

} // namespace Corvidane::MXF
