#pragma once
#include <cstdint>
#include <vector>

#include "mxf/model/DescriptorGeneric.h"

namespace Corvidane::MXF {

// A picture track's essence: sizes, layout, colour, coding, and the Avid
// resolution and frame sizes.
class CMxf_SM_DescriptorPicture : public CMxf_SM_DescriptorGeneric {
public:
    CMxf_SM_DescriptorPicture() = default;
    CMxf_SM_DescriptorPicture(const CMxf_SM_DescriptorPicture& other) : CMxf_SM_DescriptorGeneric() { assign(other); }
    CMxf_SM_DescriptorPicture& operator=(const CMxf_SM_DescriptorPicture& other)
    {
        assign(other);
        return *this;
    }
    void assign(const CMxf_SM_DescriptorPicture& other);

    static const SetDescription& description();

    uint8_t signalStandard = 0;
    uint8_t frameLayout = 0;
    uint32_t storedHeight = 0;
    uint32_t storedWidth = 0;
    int32_t storedF2Offset = 0;
    uint32_t sampledWidth = 0;
    uint32_t sampledHeight = 0;
    int32_t sampledXOffset = 0;
    int32_t sampledYOffset = 0;
    uint32_t displayHeight = 0;
    uint32_t displayWidth = 0;
    int32_t displayXOffset = 0;
    int32_t displayYOffset = 0;
    int32_t displayF2Offset = 0;
    MXFRATIONAL aspectRatio;
    uint8_t activeFormatDescriptor = 0;
    uint32_t videoLineMap[2] = {0, 0};
    uint8_t alphaTransparency = 0;
    MXFUL transferCharacteristic;
    MXFUL codingEquations;
    MXFUL colorPrimaries;
    uint32_t imageAlignmentOffset = 0;
    uint32_t imageStartOffset = 0;
    uint32_t imageEndOffset = 0;
    uint8_t fieldDominance = 0;
    MXFUL pictureEssenceCoding;
    uint32_t avidResolutionID = 0;
    uint32_t avidImageSize = 0;
    uint32_t avidFrameSampleSize = 0;
};

// Colour-difference component pictures (Y'CbCr).
class CMxf_SM_DescriptorPictureCDCI : public CMxf_SM_DescriptorPicture {
public:
    CMxf_SM_DescriptorPictureCDCI() = default;
    CMxf_SM_DescriptorPictureCDCI(const CMxf_SM_DescriptorPictureCDCI& other) : CMxf_SM_DescriptorPicture()
    {
        assign(other);
    }
    CMxf_SM_DescriptorPictureCDCI& operator=(const CMxf_SM_DescriptorPictureCDCI& other)
    {
        assign(other);
        return *this;
    }
    void assign(const CMxf_SM_DescriptorPictureCDCI& other);

    static const SetDescription& description();

    uint32_t componentDepth = 0;
    uint32_t horizontalSubsampling = 0;
    uint32_t verticalSubsampling = 0;
    uint8_t colorSiting = 0;
    bool reversedByteOrder = false;
    uint16_t paddingBits = 0;
    uint32_t alphaSampleDepth = 0;
    uint32_t blackRefLevel = 0;
    uint32_t whiteRefLevel = 0;
    uint32_t colorRange = 0;
};

// MPEG-2 video: the CDCI picture with the stream's GOP and rate properties.
class CMxf_SM_DescriptorPictureMPEG2 : public CMxf_SM_DescriptorPictureCDCI {
public:
    CMxf_SM_DescriptorPictureMPEG2() = default;
    CMxf_SM_DescriptorPictureMPEG2(const CMxf_SM_DescriptorPictureMPEG2& other) : CMxf_SM_DescriptorPictureCDCI()
    {
        assign(other);
    }
    CMxf_SM_DescriptorPictureMPEG2& operator=(const CMxf_SM_DescriptorPictureMPEG2& other)
    {
        assign(other);
        return *this;
    }
    void assign(const CMxf_SM_DescriptorPictureMPEG2& other);

    static const SetDescription& description();

    bool singleSequence = false;
    bool constantBFrames = false;
    uint8_t codedContentType = 0;  // 1 progressive, 2 interlaced, 3 mixed; 0 unknown
    bool lowDelay = false;
    bool closedGOP = false;
    bool identicalGOP = false;
    uint16_t maxGOP = 0;
    uint16_t maxBPictureCount = 0;
    uint8_t profileAndLevel = 0;
    uint32_t bitRate = 0;
};

// RGB pictures. The component maximum reference is held where a CDCI
// picture holds its depth.
class CMxf_SM_DescriptorPictureRGBA : public CMxf_SM_DescriptorPicture {
public:
    CMxf_SM_DescriptorPictureRGBA() = default;
    CMxf_SM_DescriptorPictureRGBA(const CMxf_SM_DescriptorPictureRGBA& other) : CMxf_SM_DescriptorPicture()
    {
        assign(other);
    }
    CMxf_SM_DescriptorPictureRGBA& operator=(const CMxf_SM_DescriptorPictureRGBA& other)
    {
        assign(other);
        return *this;
    }
    void assign(const CMxf_SM_DescriptorPictureRGBA& other);

    static const SetDescription& description();

    uint32_t componentDepth = 0;
    uint32_t componentMinRef = 0;
    std::vector<unsigned char> pixelLayout;
    uint32_t blackRefLevel = 0;  // cleared by a pixel layout
};

} // namespace Corvidane::MXF
