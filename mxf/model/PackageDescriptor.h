#pragma once
#include <cstdint>
#include <memory>

#include "frame/Guid.h"

namespace Corvidane::MXF {

class CMxf_SM_DescriptorGeneric;
class CMxf_SM_DescriptorPicture;
class CMxf_SM_DescriptorSound;
class CMxf_SM_DescriptorPictureCDCI;
class CMxf_SM_DescriptorPictureRGBA;
class CMxf_SM_DescriptorSoundWave;
class CMxf_SM_DescriptorSoundAES3;
class CMxf_SM_DescriptorPictureMPEG2;
class AncDescriptor;
class VbiDescriptor;
class AafTapeDescriptor;

// A descriptor as read, before it is placed: its kind and the set.
class CDescriptor {
public:
    void clear()
    {
        type = 0;
        descriptor.reset();
    }

    int32_t type = 0;
    std::shared_ptr<CMxf_SM_DescriptorGeneric> descriptor;
};

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
};

} // namespace Corvidane::MXF
