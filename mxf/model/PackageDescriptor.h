#pragma once
#include <cstdint>
#include <memory>

#include "frame/Guid.h"
#include "mxf/model/DescriptorPicture.h"
#include "mxf/model/DescriptorSound.h"

namespace Corvidane::MXF {

// The descriptor a package refers to: the reference as read, and the set
// under its exact class once it is placed; one slot at most is filled.
struct PACKAGE_DESCRIPTOR {
    GUID instanceUUID{};
    std::shared_ptr<CMxf_SM_DescriptorPicture> picture;
    std::shared_ptr<CMxf_SM_DescriptorSound> sound;
    std::shared_ptr<CMxf_SM_DescriptorPictureCDCI> cdci;
    std::shared_ptr<CMxf_SM_DescriptorPictureRGBA> rgba;
    std::shared_ptr<CMxf_SM_DescriptorSoundWave> wave;
    std::shared_ptr<CMxf_SM_DescriptorSoundAES3> aes3;
    std::shared_ptr<CMxf_SM_DescriptorPictureMPEG2> mpeg2;
    std::shared_ptr<AncDescriptor> anc;
    std::shared_ptr<VbiDescriptor> vbi;
    std::shared_ptr<AafTapeDescriptor> aafTape;

    // The set placed, looked for in the order anc, vbi, picture, sound, cdci,
    // rgba, wave, aes3, mpeg2; null when none is (a tape descriptor isn't looked for).
    const CMxf_SM_DescriptorGeneric* placed() const;
};

// The kind a descriptor class is held as; 0 for classes that are none.
template <class Descriptor> struct DescriptorType { static constexpr int32_t value = 0; };
template <> struct DescriptorType<CMxf_SM_DescriptorPicture> { static constexpr int32_t value = 1; };
template <> struct DescriptorType<CMxf_SM_DescriptorSound> { static constexpr int32_t value = 2; };
template <> struct DescriptorType<CMxf_SM_DescriptorPictureCDCI> { static constexpr int32_t value = 3; };
template <> struct DescriptorType<CMxf_SM_DescriptorPictureRGBA> { static constexpr int32_t value = 4; };
template <> struct DescriptorType<CMxf_SM_DescriptorSoundWave> { static constexpr int32_t value = 5; };
template <> struct DescriptorType<CMxf_SM_DescriptorSoundAES3> { static constexpr int32_t value = 6; };
template <> struct DescriptorType<CMxf_SM_DescriptorPictureMPEG2> { static constexpr int32_t value = 7; };
template <> struct DescriptorType<CMxf_SM_DescriptorMutipleSet> { static constexpr int32_t value = 8; };
template <> struct DescriptorType<AncDescriptor> { static constexpr int32_t value = 9; };
template <> struct DescriptorType<VbiDescriptor> { static constexpr int32_t value = 10; };
template <> struct DescriptorType<AafTapeDescriptor> { static constexpr int32_t value = 11; };

// A descriptor as read, before it is placed: its kind and a shared copy of the set.
class CDescriptor {
public:
    CDescriptor() = default;
    template <class Descriptor, class = std::enable_if_t<DescriptorType<Descriptor>::value != 0>>
    CDescriptor(const Descriptor& set) : type(DescriptorType<Descriptor>::value), descriptor(std::make_shared<Descriptor>(set))
    {
    }
    template <class Descriptor, class = std::enable_if_t<DescriptorType<Descriptor>::value != 0>>
    CDescriptor& operator=(const Descriptor& set)
    {
        type = DescriptorType<Descriptor>::value;
        descriptor = std::make_shared<Descriptor>(set);
        return *this;
    }

    void clear()
    {
        type = 0;
        descriptor.reset();
    }
    // A copy of its own of the other's set, not a share of it.
    void CopyFrom(const CDescriptor& other);
    // The zero identifier when empty.
    GUID get_InstanceUUID() const;
    // Stores the set in the slot of its kind; false for a kind no slot holds
    // (0, the multiple descriptor 8, or above 11).
    bool toPACKAGE_DESCRIPTOR(PACKAGE_DESCRIPTOR& slot) const;

    int32_t type = 0;
    std::shared_ptr<CMxf_SM_DescriptorGeneric> descriptor;
};

} // namespace Corvidane::MXF
