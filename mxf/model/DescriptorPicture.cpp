#include "mxf/model/DescriptorPicture.h"

#include <cstring>

namespace Corvidane::MXF {

namespace {

// A property known by its 16-byte Avid identifier rather than a register label.
template <class Set, class Field>
SetItem identifiedItem(const char* identifier, const char* name, Field Set::*member)
{
    SetItem item = memberItem(0, "", name, ItemType::UInt32, member);
    item.label = labelFromText(identifier);
    return item;
}

// The first two lines of the map, the second at the batch's item size;
// a map of one line or none leaves them as they were.
SetItem videoLineMapItem()
{
    using S = CMxf_SM_DescriptorPicture;
    SetItem item = ignoredItem(0x320D, "02.04.01.03.02.05.00.00.00", "VideoLineMap", ItemType::UInt32Batch);
    item.anyItemSize = true;
    item.store = [](CMxf_SM_BaseSet& set, const ItemValue& v) {
        const std::vector<uint32_t>& lines = std::get<std::vector<uint32_t>>(v);
        if (lines.size() < 2)
            return;
        static_cast<S&>(set).videoLineMap[0] = lines[0];
        static_cast<S&>(set).videoLineMap[1] = lines[1];
    };
    item.load = [](const CMxf_SM_BaseSet& set) {
        const S& picture = static_cast<const S&>(set);
        return ItemValue(std::vector<uint32_t>{picture.videoLineMap[0], picture.videoLineMap[1]});
    };
    return item;
}

} // namespace

void CMxf_SM_DescriptorPicture::assign(const CMxf_SM_DescriptorPicture& other)
{
    if (&other == this)
        throwSelfAssignment("CMxf_SM_DescriptorPicture");
    CMxf_SM_DescriptorGeneric::assign(other);
    signalStandard = other.signalStandard;
    frameLayout = other.frameLayout;
    storedHeight = other.storedHeight;
    storedWidth = other.storedWidth;
    storedF2Offset = other.storedF2Offset;
    sampledWidth = other.sampledWidth;
    sampledHeight = other.sampledHeight;
    sampledXOffset = other.sampledXOffset;
    sampledYOffset = other.sampledYOffset;
    displayHeight = other.displayHeight;
    displayWidth = other.displayWidth;
    displayXOffset = other.displayXOffset;
    displayYOffset = other.displayYOffset;
    displayF2Offset = other.displayF2Offset;
    aspectRatio = other.aspectRatio;
    activeFormatDescriptor = other.activeFormatDescriptor;
    std::memcpy(videoLineMap, other.videoLineMap, sizeof videoLineMap);
    alphaTransparency = other.alphaTransparency;
    transferCharacteristic = other.transferCharacteristic;
    codingEquations = other.codingEquations;
    colorPrimaries = other.colorPrimaries;
    imageAlignmentOffset = other.imageAlignmentOffset;
    imageStartOffset = other.imageStartOffset;
    imageEndOffset = other.imageEndOffset;
    fieldDominance = other.fieldDominance;
    pictureEssenceCoding = other.pictureEssenceCoding;
    avidResolutionID = other.avidResolutionID;
    avidImageSize = other.avidImageSize;
    avidFrameSampleSize = other.avidFrameSampleSize;
}

const SetDescription& CMxf_SM_DescriptorPicture::description()
{
    using S = CMxf_SM_DescriptorPicture;
    static const SetDescription items("GenericPictureEssenceDescriptor", &CMxf_SM_DescriptorGeneric::description(),
        {
            memberItem(0x3215, "05.04.05.01.13.00.00.00.00", "SignalStandard", ItemType::UInt8, &S::signalStandard),
            memberItem(0x320C, "01.04.01.03.01.04.00.00.00", "FrameLayout", ItemType::UInt8, &S::frameLayout),
            // The register's stored width is 04.01.05.02.02 and its height 04.01.05.02.01.
            memberItem(0x3203, "01.04.01.05.02.02.00.00.00", "StoredWidth", ItemType::UInt32, &S::storedWidth),
            memberItem(0x3202, "01.04.01.05.02.01.00.00.00", "StoredHeight", ItemType::UInt32, &S::storedHeight),
            memberItem(0x3216, "05.04.01.03.02.08.00.00.00", "StoredF2Offset", ItemType::Int32, &S::storedF2Offset),
            memberItem(0x3205, "01.04.01.05.01.08.00.00.00", "SampledWidth", ItemType::UInt32, &S::sampledWidth),
            memberItem(0x3204, "01.04.01.05.01.07.00.00.00", "SampledHeight", ItemType::UInt32, &S::sampledHeight),
            memberItem(0x3206, "01.04.01.05.01.09.00.00.00", "SampledXOffset", ItemType::Int32, &S::sampledXOffset),
            memberItem(0x3207, "01.04.01.05.01.0A.00.00.00", "SampledYOffset", ItemType::Int32, &S::sampledYOffset),
            memberItem(0x3208, "01.04.01.05.01.0B.00.00.00", "DisplayHeight", ItemType::UInt32, &S::displayHeight),
            memberItem(0x3209, "01.04.01.05.01.0C.00.00.00", "DisplayWidth", ItemType::UInt32, &S::displayWidth),
            memberItem(0x320A, "01.04.01.05.01.0D.00.00.00", "DisplayXOffset", ItemType::Int32, &S::displayXOffset),
            memberItem(0x320B, "01.04.01.05.01.0E.00.00.00", "DisplayYOffset", ItemType::Int32, &S::displayYOffset),
            memberItem(0x3217, "05.04.01.03.02.07.00.00.00", "DisplayF2Offset", ItemType::Int32, &S::displayF2Offset),
            memberItem(0x320E, "01.04.01.01.01.01.00.00.00", "AspectRatio", ItemType::Rational, &S::aspectRatio),
            memberItem(0x3218, "05.04.01.03.02.09.00.00.00", "ActiveFormatDescriptor", ItemType::UInt8,
                       &S::activeFormatDescriptor),
            videoLineMapItem(),
            memberItem(0x320F, "02.05.20.01.02.00.00.00.00", "AlphaTransparency", ItemType::UInt8,
                       &S::alphaTransparency),
            memberItem(0x3210, "02.04.01.02.01.01.01.02.00", "TransferCharacteristic", ItemType::Label,
                       &S::transferCharacteristic),
            memberItem(0x321A, "02.04.01.02.01.01.03.01.00", "CodingEquations", ItemType::Label, &S::codingEquations),
            memberItem(0x3219, "09.04.01.02.01.01.06.01.00", "ColorPrimaries", ItemType::Label, &S::colorPrimaries),
            memberItem(0x3211, "02.04.18.01.01.00.00.00.00", "ImageAlignmentOffset", ItemType::UInt32,
                       &S::imageAlignmentOffset),
            memberItem(0x3213, "02.04.18.01.02.00.00.00.00", "ImageStartOffset", ItemType::UInt32,
                       &S::imageStartOffset),
            memberItem(0x3214, "02.04.18.01.03.00.00.00.00", "ImageEndOffset", ItemType::UInt32, &S::imageEndOffset),
            memberItem(0x3212, "02.04.01.03.01.06.00.00.00", "FieldDominance", ItemType::UInt8, &S::fieldDominance),
            memberItem(0x3201, "02.04.01.06.01.00.00.00.00", "PictureEssenceCoding", ItemType::Label,
                       &S::pictureEssenceCoding),
            identifiedItem("A0.24.00.60.94.EB.75.CB.CE.2A.CA.4D.51.AB.11.D3", "ResolutionID", &S::avidResolutionID),
            identifiedItem("A0.24.00.60.94.EB.75.CB.CE.2A.CA.4F.51.AB.11.D3", "ImageSize", &S::avidImageSize),
            identifiedItem("A0.24.00.60.94.EB.75.CB.CE.2A.CA.50.51.AB.11.D3", "FrameSampleSize",
                           &S::avidFrameSampleSize),
        });
    return items;
}

void CMxf_SM_DescriptorPictureCDCI::assign(const CMxf_SM_DescriptorPictureCDCI& other)
{
    if (&other == this)
        throwSelfAssignment("CMxf_SM_DescriptorPictureCDCI");
    CMxf_SM_DescriptorPicture::assign(other);
    componentDepth = other.componentDepth;
    horizontalSubsampling = other.horizontalSubsampling;
    verticalSubsampling = other.verticalSubsampling;
    colorSiting = other.colorSiting;
    reversedByteOrder = other.reversedByteOrder;
    paddingBits = other.paddingBits;
    alphaSampleDepth = other.alphaSampleDepth;
    blackRefLevel = other.blackRefLevel;
    whiteRefLevel = other.whiteRefLevel;
    colorRange = other.colorRange;
}

const SetDescription& CMxf_SM_DescriptorPictureCDCI::description()
{
    using S = CMxf_SM_DescriptorPictureCDCI;
    static const SetDescription items("CDCIEssenceDescriptor", &CMxf_SM_DescriptorPicture::description(),
        {
            memberItem(0x3301, "02.04.01.05.03.0A.00.00.00", "ComponentDepth", ItemType::UInt32, &S::componentDepth),
            memberItem(0x3302, "01.04.01.05.01.05.00.00.00", "HorizontalSubsampling", ItemType::UInt32,
                       &S::horizontalSubsampling),
            memberItem(0x3308, "02.04.01.05.01.10.00.00.00", "VerticalSubsampling", ItemType::UInt32,
                       &S::verticalSubsampling),
            memberItem(0x3303, "01.04.01.05.01.06.00.00.00", "ColorSiting", ItemType::UInt8, &S::colorSiting),
            memberItem(0x330B, "05.03.01.02.01.0A.00.00.00", "ReversedByteOrder", ItemType::Boolean,
                       &S::reversedByteOrder),
            memberItem(0x3307, "02.04.18.01.04.00.00.00.00", "PaddingBits", ItemType::UInt16, &S::paddingBits),
            memberItem(0x3309, "02.04.01.05.03.07.00.00.00", "AlphaSampleDepth", ItemType::UInt32,
                       &S::alphaSampleDepth),
            memberItem(0x3304, "01.04.01.05.03.03.00.00.00", "BlackRefLevel", ItemType::UInt32, &S::blackRefLevel),
            memberItem(0x3305, "01.04.01.05.03.04.00.00.00", "WhiteRefLevel", ItemType::UInt32, &S::whiteRefLevel),
            memberItem(0x3306, "02.04.01.05.03.05.00.00.00", "ColorRange", ItemType::UInt32, &S::colorRange),
        });
    return items;
}

void CMxf_SM_DescriptorPictureMPEG2::assign(const CMxf_SM_DescriptorPictureMPEG2& other)
{
    if (&other == this)
        throwSelfAssignment("CMxf_SM_DescriptorPictureMPEG2");
    CMxf_SM_DescriptorPictureCDCI::assign(other);
    singleSequence = other.singleSequence;
    constantBFrames = other.constantBFrames;
    codedContentType = other.codedContentType;
    lowDelay = other.lowDelay;
    closedGOP = other.closedGOP;
    identicalGOP = other.identicalGOP;
    maxGOP = other.maxGOP;
    maxBPictureCount = other.maxBPictureCount;
    profileAndLevel = other.profileAndLevel;
    bitRate = other.bitRate;
}

const SetDescription& CMxf_SM_DescriptorPictureMPEG2::description()
{
    using S = CMxf_SM_DescriptorPictureMPEG2;
    static const SetDescription items = [] {
        // Only the three content types the register defines are kept.
        SetItem contentType =
            memberItem(0, "01.04.01.06.02.01.04.00.00", "CodedContentType", ItemType::UInt8, &S::codedContentType);
        contentType.store = [](CMxf_SM_BaseSet& set, const ItemValue& v) {
            const uint64_t type = std::get<uint64_t>(v);
            if (type >= 1 && type <= 3)
                static_cast<S&>(set).codedContentType = static_cast<uint8_t>(type);
        };
        // Their local tags are dynamic: the file's primer gives them.
        return SetDescription("MPEG2VideoDescriptor", &CMxf_SM_DescriptorPictureCDCI::description(),
            {
                memberItem(0, "01.04.01.06.02.01.02.00.00", "SingleSequence", ItemType::Boolean, &S::singleSequence),
                memberItem(0, "01.04.01.06.02.01.03.00.00", "ConstantBFrames", ItemType::Boolean,
                           &S::constantBFrames),
                contentType,
                memberItem(0, "01.04.01.06.02.01.05.00.00", "LowDelay", ItemType::Boolean, &S::lowDelay),
                memberItem(0, "01.04.01.06.02.01.06.00.00", "ClosedGOP", ItemType::Boolean, &S::closedGOP),
                memberItem(0, "01.04.01.06.02.01.07.00.00", "IdenticalGOP", ItemType::Boolean, &S::identicalGOP),
                memberItem(0, "01.04.01.06.02.01.08.00.00", "MaxGOP", ItemType::UInt16, &S::maxGOP),
                memberItem(0, "01.04.01.06.02.01.09.00.00", "BPictureCount", ItemType::UInt16, &S::maxBPictureCount),
                memberItem(0, "01.04.01.06.02.01.0A.00.00", "ProfileAndLevel", ItemType::UInt8, &S::profileAndLevel),
                memberItem(0, "01.04.01.06.02.01.0B.00.00", "BitRate", ItemType::UInt32, &S::bitRate),
            });
    }();
    return items;
}

void CMxf_SM_DescriptorPictureRGBA::assign(const CMxf_SM_DescriptorPictureRGBA& other)
{
    if (&other == this)
        throwSelfAssignment("CMxf_SM_DescriptorPictureRGBA");
    CMxf_SM_DescriptorPicture::assign(other);
    componentDepth = other.componentDepth;
    componentMinRef = other.componentMinRef;
    pixelLayout = other.pixelLayout;
    blackRefLevel = other.blackRefLevel;
}

const SetDescription& CMxf_SM_DescriptorPictureRGBA::description()
{
    using S = CMxf_SM_DescriptorPictureRGBA;
    static const SetDescription items = [] {
        // Reading a layout forgets the black level.
        SetItem layout = memberItem(0x3401, "02.04.01.05.03.06.00.00.00", "PixelLayout", ItemType::Bytes,
                                    &S::pixelLayout);
        layout.store = [](CMxf_SM_BaseSet& set, const ItemValue& v) {
            S& rgba = static_cast<S&>(set);
            rgba.pixelLayout = std::get<std::vector<unsigned char>>(v);
            rgba.blackRefLevel = 0;
        };
        return SetDescription("RGBAEssenceDescriptor", &CMxf_SM_DescriptorPicture::description(),
            {
                memberItem(0x3406, "05.04.01.05.03.0B.00.00.00", "ComponentMaxRef", ItemType::UInt32,
                           &S::componentDepth),
                memberItem(0x3407, "05.04.01.05.03.0C.00.00.00", "ComponentMinRef", ItemType::UInt32,
                           &S::componentMinRef),
                layout,
            });
    }();
    return items;
}

} // namespace Corvidane::MXF
