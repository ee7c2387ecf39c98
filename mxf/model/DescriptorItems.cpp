#include "mxf/model/DescriptorItems.h"

#include "mxf/model/BaseSet.h"

namespace Corvidane::MXF {

namespace {

// A property known by its 16-byte identifier rather than a register label
// (Avid's), under a tag that the file's primer assigns.
SetItem identifiedItem(const char* identifier, const char* name, ItemType type)
{
    SetItem item;
    item.label = labelFromText(identifier);
    item.name = name;
    item.type = type;
    return item;
}

SetItem withAlsoRead(SetItem item, const char* tail)
{
    item.alsoRead = propertyLabel(tail);
    return item;
}

const SetDescription& generic()
{
    static const SetDescription items("GenericDescriptor", &CMxf_SM_BaseSet::description(),
        {
            ignoredItem(0x2F01, "02.06.01.01.04.06.03.00.00", "Locators", ItemType::ReferenceBatch),
            ignoredItem(0, "09.06.01.01.04.06.10.00.00", "SubDescriptors", ItemType::ReferenceBatch),
        });
    return items;
}

const SetDescription& file()
{
    static const SetDescription items("FileDescriptor", &generic(),
        {
            ignoredItem(0x3006, "05.06.01.01.03.05.00.00.00", "LinkedTrackID", ItemType::UInt32),
            ignoredItem(0x3001, "01.04.06.01.01.00.00.00.00", "SampleRate", ItemType::Rational),
            ignoredItem(0x3002, "01.04.06.01.02.00.00.00.00", "ContainerDuration", ItemType::Int64),
            withAlsoRead(ignoredItem(0x3004, "02.06.01.01.04.01.02.00.00", "EssenceContainer", ItemType::Label),
                         "05.06.01.01.04.01.02.01.00"),
            withAlsoRead(ignoredItem(0x3005, "02.06.01.01.04.01.03.00.00", "Codec", ItemType::Label),
                         "05.06.01.01.04.01.03.01.00"),
        });
    return items;
}

const SetDescription& picture()
{
    static const SetDescription items("GenericPictureEssenceDescriptor", &file(),
        {
            ignoredItem(0x3215, "05.04.05.01.13.00.00.00.00", "SignalStandard", ItemType::UInt8),
            ignoredItem(0x320C, "01.04.01.03.01.04.00.00.00", "FrameLayout", ItemType::UInt8),
            ignoredItem(0x3203, "01.04.01.05.02.02.00.00.00", "StoredWidth", ItemType::UInt32),
            ignoredItem(0x3202, "01.04.01.05.02.01.00.00.00", "StoredHeight", ItemType::UInt32),
            ignoredItem(0x3216, "05.04.01.03.02.08.00.00.00", "StoredF2Offset", ItemType::Int32),
            ignoredItem(0x3205, "01.04.01.05.01.08.00.00.00", "SampledWidth", ItemType::UInt32),
            ignoredItem(0x3204, "01.04.01.05.01.07.00.00.00", "SampledHeight", ItemType::UInt32),
            ignoredItem(0x3206, "01.04.01.05.01.09.00.00.00", "SampledXOffset", ItemType::Int32),
            ignoredItem(0x3207, "01.04.01.05.01.0A.00.00.00", "SampledYOffset", ItemType::Int32),
            ignoredItem(0x3208, "01.04.01.05.01.0B.00.00.00", "DisplayHeight", ItemType::UInt32),
            ignoredItem(0x3209, "01.04.01.05.01.0C.00.00.00", "DisplayWidth", ItemType::UInt32),
            ignoredItem(0x320A, "01.04.01.05.01.0D.00.00.00", "DisplayXOffset", ItemType::Int32),
            ignoredItem(0x320B, "01.04.01.05.01.0E.00.00.00", "DisplayYOffset", ItemType::Int32),
            ignoredItem(0x3217, "05.04.01.03.02.07.00.00.00", "DisplayF2Offset", ItemType::Int32),
            ignoredItem(0x320E, "01.04.01.01.01.01.00.00.00", "AspectRatio", ItemType::Rational),
            ignoredItem(0x3218, "05.04.01.03.02.09.00.00.00", "ActiveFormatDescriptor", ItemType::UInt8),
            ignoredItem(0x320D, "02.04.01.03.02.05.00.00.00", "VideoLineMap", ItemType::UInt32Batch),
            ignoredItem(0x320F, "02.05.20.01.02.00.00.00.00", "AlphaTransparency", ItemType::UInt8),
            ignoredItem(0x3210, "02.04.01.02.01.01.01.02.00", "TransferCharacteristic", ItemType::Label),
            ignoredItem(0x321A, "02.04.01.02.01.01.03.01.00", "CodingEquations", ItemType::Label),
            ignoredItem(0x3219, "09.04.01.02.01.01.06.01.00", "ColorPrimaries", ItemType::Label),
            ignoredItem(0x3211, "02.04.18.01.01.00.00.00.00", "ImageAlignmentOffset", ItemType::UInt32),
            ignoredItem(0x3213, "02.04.18.01.02.00.00.00.00", "ImageStartOffset", ItemType::UInt32),
            ignoredItem(0x3214, "02.04.18.01.03.00.00.00.00", "ImageEndOffset", ItemType::UInt32),
            ignoredItem(0x3212, "02.04.01.03.01.06.00.00.00", "FieldDominance", ItemType::UInt8),
            ignoredItem(0x3201, "02.04.01.06.01.00.00.00.00", "PictureEssenceCoding", ItemType::Label),
            identifiedItem("A0.24.00.60.94.EB.75.CB.CE.2A.CA.4D.51.AB.11.D3", "ResolutionID", ItemType::UInt32),
            identifiedItem("A0.24.00.60.94.EB.75.CB.CE.2A.CA.4F.51.AB.11.D3", "ImageSize", ItemType::UInt32),
            identifiedItem("A0.24.00.60.94.EB.75.CB.CE.2A.CA.50.51.AB.11.D3", "FrameSampleSize", ItemType::UInt32),
        });
    return items;
}

const SetDescription& cdci()
{
    static const SetDescription items("CDCIEssenceDescriptor", &picture(),
        {
            ignoredItem(0x3301, "02.04.01.05.03.0A.00.00.00", "ComponentDepth", ItemType::UInt32),
            ignoredItem(0x3302, "01.04.01.05.01.05.00.00.00", "HorizontalSubsampling", ItemType::UInt32),
            ignoredItem(0x3308, "02.04.01.05.01.10.00.00.00", "VerticalSubsampling", ItemType::UInt32),
            ignoredItem(0x3303, "01.04.01.05.01.06.00.00.00", "ColorSiting", ItemType::UInt8),
            ignoredItem(0x330B, "05.03.01.02.01.0A.00.00.00", "ReversedByteOrder", ItemType::Boolean),
            ignoredItem(0x3307, "02.04.18.01.04.00.00.00.00", "PaddingBits", ItemType::UInt16),
            ignoredItem(0x3309, "02.04.01.05.03.07.00.00.00", "AlphaSampleDepth", ItemType::UInt32),
            ignoredItem(0x3304, "01.04.01.05.03.03.00.00.00", "BlackRefLevel", ItemType::UInt32),
            ignoredItem(0x3305, "01.04.01.05.03.04.00.00.00", "WhiteRefLevel", ItemType::UInt32),
            ignoredItem(0x3306, "02.04.01.05.03.05.00.00.00", "ColorRange", ItemType::UInt32),
        });
    return items;
}

const SetDescription& mpeg2()
{
    // Their local tags are dynamic: the file's primer gives them.
    static const SetDescription items("MPEG2VideoDescriptor", &cdci(),
        {
            ignoredItem(0, "01.04.01.06.02.01.02.00.00", "SingleSequence", ItemType::Boolean),
            ignoredItem(0, "01.04.01.06.02.01.03.00.00", "ConstantBFrames", ItemType::Boolean),
            ignoredItem(0, "01.04.01.06.02.01.04.00.00", "CodedContentType", ItemType::UInt8),
            ignoredItem(0, "01.04.01.06.02.01.05.00.00", "LowDelay", ItemType::Boolean),
            ignoredItem(0, "01.04.01.06.02.01.06.00.00", "ClosedGOP", ItemType::Boolean),
            ignoredItem(0, "01.04.01.06.02.01.07.00.00", "IdenticalGOP", ItemType::Boolean),
            ignoredItem(0, "01.04.01.06.02.01.08.00.00", "MaxGOP", ItemType::UInt16),
            ignoredItem(0, "01.04.01.06.02.01.09.00.00", "BPictureCount", ItemType::UInt16),
            ignoredItem(0, "01.04.01.06.02.01.0A.00.00", "ProfileAndLevel", ItemType::UInt8),
            ignoredItem(0, "01.04.01.06.02.01.0B.00.00", "BitRate", ItemType::UInt32),
        });
    return items;
}

const SetDescription& rgba()
{
    static const SetDescription items("RGBAEssenceDescriptor", &picture(),
        {
            ignoredItem(0x3406, "05.04.01.05.03.0B.00.00.00", "ComponentMaxRef", ItemType::UInt32),
            ignoredItem(0x3407, "05.04.01.05.03.0C.00.00.00", "ComponentMinRef", ItemType::UInt32),
            ignoredItem(0x3401, "02.04.01.05.03.06.00.00.00", "PixelLayout", ItemType::Bytes),
        });
    return items;
}

const SetDescription& sound()
{
    static const SetDescription items("GenericSoundEssenceDescriptor", &file(),
        {
            withAlsoRead(
                ignoredItem(0x3D03, "05.04.02.03.01.01.01.00.00", "AudioSamplingRate", ItemType::Rational),
                "01.04.02.03.01.01.00.00.00"),
            ignoredItem(0x3D02, "04.04.02.03.01.04.00.00.00", "Locked", ItemType::Boolean),
            ignoredItem(0x3D04, "01.04.02.01.01.03.00.00.00", "AudioRefLevel", ItemType::Int8),
            ignoredItem(0x3D05, "01.04.02.01.01.01.00.00.00", "ElectroSpatialFormulation", ItemType::UInt8),
            ignoredItem(0x3D07, "05.04.02.01.01.04.00.00.00", "ChannelCount", ItemType::UInt32),
            ignoredItem(0x3D01, "04.04.02.03.03.04.00.00.00", "QuantizationBits", ItemType::UInt32),
            ignoredItem(0x3D0C, "05.04.02.07.01.00.00.00.00", "DialNorm", ItemType::Int8),
            ignoredItem(0x3D06, "02.04.02.04.02.00.00.00.00", "SoundEssenceCoding", ItemType::Label),
        });
    return items;
}

const SetDescription& wave()
{
    static const SetDescription items("WAVEPCMDescriptor", &sound(),
        {
            ignoredItem(0x3D0A, "05.04.02.03.02.01.00.00.00", "BlockAlign", ItemType::UInt16),
            ignoredItem(0x3D0B, "05.04.02.03.02.02.00.00.00", "SequenceOffset", ItemType::UInt8),
            ignoredItem(0x3D09, "05.04.02.03.03.05.00.00.00", "AvgBps", ItemType::UInt32),
            ignoredItem(0x3D29, "05.04.02.03.01.05.00.00.00", "PeakEnvelopeData", ItemType::Bytes),
            ignoredItem(0x3D32, "07.04.02.01.01.05.00.00.00", "ChannelAssignment", ItemType::Label),
        });
    return items;
}

const SetDescription& aes3()
{
    static const SetDescription items("AES3PCMDescriptor", &wave(),
        {
            ignoredItem(0x3D0D, "05.04.02.05.01.06.00.00.00", "Emphasis", ItemType::UInt8),
            ignoredItem(0x3D0F, "05.04.02.03.02.03.00.00.00", "BlockStartOffset", ItemType::UInt16),
            ignoredItem(0x3D08, "05.04.02.05.01.01.00.00.00", "AuxBitsMode", ItemType::UInt8),
            ignoredItem(0x3D10, "05.04.02.05.01.02.00.00.00", "ChannelStatusMode", ItemType::Bytes),
            ignoredItem(0x3D11, "05.04.02.05.01.03.00.00.00", "FixedChannelStatusData", ItemType::Bytes),
            ignoredItem(0x3D12, "05.04.02.05.01.04.00.00.00", "UserDataMode", ItemType::Bytes),
            ignoredItem(0x3D13, "05.04.02.05.01.05.00.00.00", "FixedUserData", ItemType::Bytes),
        });
    return items;
}

const SetDescription& multiple()
{
    static const SetDescription items("MultipleDescriptor", &file(),
        {
            withAlsoRead(
                ignoredItem(0x3F01, "05.06.01.01.04.06.0B.00.00", "SubDescriptorUIDs", ItemType::ReferenceBatch),
                "05.06.01.01.04.06.10.00.00"),
        });
    return items;
}

const SetDescription& data()
{
    static const SetDescription items("GenericDataEssenceDescriptor", &file(),
        {
            ignoredItem(0x3E01, "03.04.03.03.02.00.00.00.00", "DataEssenceCoding", ItemType::Label),
        });
    return items;
}

struct DescriptorRow {
    long id;
    const SetDescription& (*description)();
};

const DescriptorRow descriptors[] = {
    {14, file},  {15, picture}, {16, cdci}, {17, rgba},  {18, sound}, {19, data},
    {20, multiple}, {25, aes3}, {26, wave}, {27, mpeg2}, {28, data},  {29, data}, {30, generic},
};

} // namespace

const SetDescription* descriptorDescription(const CMxf_SM_SetID& id)
{
    for (const DescriptorRow& row : descriptors)
        if (row.id == id.get())
            return &row.description();
    return nullptr;
}

} // namespace Corvidane::MXF
