#include "mxf/model/DescriptorReaders.h"

#include "mxf/model/MxfResults.h"

namespace Corvidane::MXF {

namespace {

template <class Descriptor>
CvResult readAs(CKlvLocalSet& set, CDescriptor* descriptor, SetReadContext& context,
                const SetDescription& description = Descriptor::description())
{
    Descriptor read;
    CvResult result = fillSet(read, description, set, context);
    if (succeeded(result) && descriptor)
        *descriptor = read;
    return result;
}

} // namespace

CvResult Descriptor_Picture(CKlvLocalSet& set, CDescriptor* descriptor, SetReadContext& context)
{
    return readAs<CMxf_SM_DescriptorPicture>(set, descriptor, context);
}

CvResult Descriptor_Picture_CDCI(CKlvLocalSet& set, CDescriptor* descriptor, SetReadContext& context)
{
    return readAs<CMxf_SM_DescriptorPictureCDCI>(set, descriptor, context);
}

CvResult Descriptor_Picture_RGBA(CKlvLocalSet& set, CDescriptor* descriptor, SetReadContext& context)
{
    return readAs<CMxf_SM_DescriptorPictureRGBA>(set, descriptor, context);
}

CvResult Descriptor_Picture_MPEG2(CKlvLocalSet& set, CDescriptor* descriptor, SetReadContext& context)
{
    return readAs<CMxf_SM_DescriptorPictureMPEG2>(set, descriptor, context);
}

namespace {

template <class Sound>
CvResult readSound(CKlvLocalSet& set, CDescriptor* descriptor, SetReadContext& context)
{
    Sound read;
    read.repeatedChannelCountIsBits = context.repeatedChannelCountIsBits;
    CvResult result = fillSet(read, Sound::description(), set, context);
    read.repeatedChannelCountIsBits = false;
    if (succeeded(result) && descriptor)
        *descriptor = read;
    return result;
}

} // namespace

CvResult Descriptor_Sound(CKlvLocalSet& set, CDescriptor* descriptor, SetReadContext& context)
{
    return readSound<CMxf_SM_DescriptorSound>(set, descriptor, context);
}

CvResult Descriptor_Sound_Wave(CKlvLocalSet& set, CDescriptor* descriptor, SetReadContext& context)
{
    return readSound<CMxf_SM_DescriptorSoundWave>(set, descriptor, context);
}

CvResult Descriptor_Sound_AES3(CKlvLocalSet& set, CDescriptor* descriptor, SetReadContext& context)
{
    return readSound<CMxf_SM_DescriptorSoundAES3>(set, descriptor, context);
}

CvResult Descriptor_MultipleSet(CKlvLocalSet& set, CDescriptor* descriptor, SetReadContext& context)
{
    CMxf_SM_DescriptorMutipleSet read;
    CvResult result =
        fillSet(read, CMxf_SM_DescriptorMutipleSet::description(), set, context, L"Descriptor_MultipleSet");
    if (!succeeded(result))
        return result;
    if (read.subDescriptorUIDs.empty()) {
        context.errorText.clear();
        return MxfNoSubDescriptors;
    }
    if (descriptor)
        *descriptor = read;
    return result;
}

CvResult Descriptor_AafTape(CKlvLocalSet& set, CDescriptor* descriptor, SetReadContext& context)
{
    return readAs<AafTapeDescriptor>(set, descriptor, context, CMxf_SM_DescriptorGeneric::description());
}

CvResult Descriptor_AncData(CKlvLocalSet& set, bool isVbi, CDescriptor* descriptor, SetReadContext& context)
{
    return isVbi ? readAs<VbiDescriptor>(set, descriptor, context, CMxf_SM_DescriptorData::description())
                 : readAs<AncDescriptor>(set, descriptor, context, CMxf_SM_DescriptorData::description());
}

namespace {

CvResult readVbi(CKlvLocalSet& set, CDescriptor* descriptor, SetReadContext& context)
{
    return Descriptor_AncData(set, true, descriptor, context);
}

CvResult readAnc(CKlvLocalSet& set, CDescriptor* descriptor, SetReadContext& context)
{
    return Descriptor_AncData(set, false, descriptor, context);
}

const struct {
    long id;
    CvResult (*read)(CKlvLocalSet&, CDescriptor*, SetReadContext&);
} readers[] = {
    {15, Descriptor_Picture},      {16, Descriptor_Picture_CDCI}, {17, Descriptor_Picture_RGBA},
    {18, Descriptor_Sound},        {20, Descriptor_MultipleSet},  {25, Descriptor_Sound_AES3},
    {26, Descriptor_Sound_Wave},   {27, Descriptor_Picture_MPEG2}, {28, readVbi},
    {29, readAnc},                 {30, Descriptor_AafTape},
};

} // namespace

CvResult readDescriptor(CKlvLocalSet& set, const CMxf_SM_SetID& id, CDescriptor* descriptor, SetReadContext& context)
{
    for (const auto& row : readers)
        if (row.id == id.get())
            return row.read(set, descriptor, context);
    return MxfNoDescriptor;
}

} // namespace Corvidane::MXF
