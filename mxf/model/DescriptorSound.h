#pragma once
#include <cstdint>
#include <vector>

#include "mxf/model/DescriptorGeneric.h"

namespace Corvidane::MXF {

// A sound track's essence: rate, channels, sample size and coding.
class CMxf_SM_DescriptorSound : public CMxf_SM_DescriptorGeneric {
public:
    CMxf_SM_DescriptorSound() = default;
    CMxf_SM_DescriptorSound(const CMxf_SM_DescriptorSound& other) : CMxf_SM_DescriptorGeneric() { assign(other); }
    CMxf_SM_DescriptorSound& operator=(const CMxf_SM_DescriptorSound& other)
    {
        assign(other);
        return *this;
    }
    void assign(const CMxf_SM_DescriptorSound& other);

    static const SetDescription& description();

    MXFRATIONAL audioSamplingRate;
    bool locked = false;
    int8_t audioRefLevel = 0;
    uint8_t electroSpatialFormulation = 0;
    uint32_t channelCount = 0;
    uint32_t quantizationBits = 0;
    uint8_t dialNorm = 0;
    MXFUL soundEssenceCompression;
    // Two properties of Avid's writers, kept as read to be written again.
    std::vector<unsigned char> soundCompressionKind;
    std::vector<unsigned char> soundCompressionParameters;
    // Set before reading a Sony DV file, whose sound descriptors repeat the
    // channel count label for the quantization bits.
    bool repeatedChannelCountIsBits = false;
};

// PCM sound as a wave file holds it.
class CMxf_SM_DescriptorSoundWave : public CMxf_SM_DescriptorSound {
public:
    CMxf_SM_DescriptorSoundWave() = default;
    CMxf_SM_DescriptorSoundWave(const CMxf_SM_DescriptorSoundWave& other) : CMxf_SM_DescriptorSound()
    {
        assign(other);
    }
    CMxf_SM_DescriptorSoundWave& operator=(const CMxf_SM_DescriptorSoundWave& other)
    {
        assign(other);
        return *this;
    }
    void assign(const CMxf_SM_DescriptorSoundWave& other);

    static const SetDescription& description();

    uint16_t blockAlign = 0;
    uint8_t sequenceOffset = 0;
    uint32_t avgBps = 0;
    std::vector<unsigned char> peakEnvelopeData;
    MXFUL channelAssignment;
};

// PCM sound in AES3 subframes, with its channel status and user data modes.
class CMxf_SM_DescriptorSoundAES3 : public CMxf_SM_DescriptorSoundWave {
public:
    CMxf_SM_DescriptorSoundAES3() = default;
    CMxf_SM_DescriptorSoundAES3(const CMxf_SM_DescriptorSoundAES3& other) : CMxf_SM_DescriptorSoundWave()
    {
        assign(other);
    }
    CMxf_SM_DescriptorSoundAES3& operator=(const CMxf_SM_DescriptorSoundAES3& other)
    {
        assign(other);
        return *this;
    }
    void assign(const CMxf_SM_DescriptorSoundAES3& other);

    static const SetDescription& description();

    uint8_t emphasis = 0;
    uint16_t blockStartOffset = 0;
    uint8_t auxBitsMode = 0;
    std::vector<unsigned char> channelStatusMode;
    std::vector<unsigned char> fixedChannelStatusData;
    std::vector<unsigned char> userDataMode;
    std::vector<unsigned char> fixedUserData;
};

} // namespace Corvidane::MXF
