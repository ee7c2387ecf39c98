#include "mxf/model/DescriptorSound.h"

namespace Corvidane::MXF {

void CMxf_SM_DescriptorSound::assign(const CMxf_SM_DescriptorSound& other)
{
    if (&other == this)
        throwSelfAssignment("CMxf_SM_DescriptorSound");
    CMxf_SM_DescriptorGeneric::assign(other);
    audioSamplingRate = other.audioSamplingRate;
    locked = other.locked;
    audioRefLevel = other.audioRefLevel;
    electroSpatialFormulation = other.electroSpatialFormulation;
    channelCount = other.channelCount;
    quantizationBits = other.quantizationBits;
    dialNorm = other.dialNorm;
    soundEssenceCompression = other.soundEssenceCompression;
    soundCompressionKind = other.soundCompressionKind;
    soundCompressionParameters = other.soundCompressionParameters;
    repeatedChannelCountIsBits = other.repeatedChannelCountIsBits;
}

const SetDescription& CMxf_SM_DescriptorSound::description()
{
    using S = CMxf_SM_DescriptorSound;
    static const SetDescription items = [] {
        SetItem rate = memberItem(0x3D03, "05.04.02.03.01.01.01.00.00", "AudioSamplingRate", ItemType::Rational,
                                  &S::audioSamplingRate);
        rate.alsoRead = propertyLabel("01.04.02.03.01.01.00.00.00");
        SetItem channels =
            memberItem(0x3D07, "05.04.02.01.01.04.00.00.00", "ChannelCount", ItemType::UInt32, &S::channelCount);
        channels.store = [](CMxf_SM_BaseSet& set, const ItemValue& v) {
            S& sound = static_cast<S&>(set);
            const uint32_t value = static_cast<uint32_t>(std::get<uint64_t>(v));
            (sound.channelCount && sound.repeatedChannelCountIsBits ? sound.quantizationBits : sound.channelCount) =
                value;
        };
        return SetDescription("GenericSoundEssenceDescriptor", &CMxf_SM_DescriptorGeneric::description(),
            {
                rate,
                memberItem(0x3D02, "04.04.02.03.01.04.00.00.00", "Locked", ItemType::Boolean, &S::locked),
                // Found at any register version.
                memberItem(0x3D04, "01.04.02.01.01.03.00.00.00", "AudioRefLevel", ItemType::Int8, &S::audioRefLevel),
                memberItem(0x3D05, "01.04.02.01.01.01.00.00.00", "ElectroSpatialFormulation", ItemType::UInt8,
                           &S::electroSpatialFormulation),
                channels,
                memberItem(0x3D01, "04.04.02.03.03.04.00.00.00", "QuantizationBits", ItemType::UInt32,
                           &S::quantizationBits),
                memberItem(0x3D0C, "05.04.02.07.01.00.00.00.00", "DialNorm", ItemType::UInt8, &S::dialNorm),
                memberItem(0x3D06, "02.04.02.04.02.00.00.00.00", "SoundEssenceCoding", ItemType::Label,
                           &S::soundEssenceCompression),
                memberItem(0, "03.04.02.04.02.01.00.00.00", "SoundCompressionKind", ItemType::Bytes,
                           &S::soundCompressionKind),
                memberItem(0, "03.04.02.04.02.02.00.00.00", "SoundCompressionParameters", ItemType::Bytes,
                           &S::soundCompressionParameters),
            });
    }();
    return items;
}

void CMxf_SM_DescriptorSoundWave::assign(const CMxf_SM_DescriptorSoundWave& other)
{
    if (&other == this)
        throwSelfAssignment("CMxf_SM_DescriptorSoundWave");
    CMxf_SM_DescriptorSound::assign(other);
    blockAlign = other.blockAlign;
    sequenceOffset = other.sequenceOffset;
    avgBps = other.avgBps;
    peakEnvelopeData = other.peakEnvelopeData;
    channelAssignment = other.channelAssignment;
}

const SetDescription& CMxf_SM_DescriptorSoundWave::description()
{
    using S = CMxf_SM_DescriptorSoundWave;
    static const SetDescription items("WAVEPCMDescriptor", &CMxf_SM_DescriptorSound::description(),
        {
            memberItem(0x3D0A, "05.04.02.03.02.01.00.00.00", "BlockAlign", ItemType::UInt16, &S::blockAlign),
            memberItem(0x3D0B, "05.04.02.03.02.02.00.00.00", "SequenceOffset", ItemType::UInt8, &S::sequenceOffset),
            memberItem(0x3D09, "05.04.02.03.03.05.00.00.00", "AvgBps", ItemType::UInt32, &S::avgBps),
            memberItem(0x3D29, "05.04.02.03.01.05.00.00.00", "PeakEnvelopeData", ItemType::Bytes,
                       &S::peakEnvelopeData),
            memberItem(0x3D32, "07.04.02.01.01.05.00.00.00", "ChannelAssignment", ItemType::Label,
                       &S::channelAssignment),
        });
    return items;
}

void CMxf_SM_DescriptorSoundAES3::assign(const CMxf_SM_DescriptorSoundAES3& other)
{
    if (&other == this)
        throwSelfAssignment("CMxf_SM_DescriptorSoundAES3");
    CMxf_SM_DescriptorSoundWave::assign(other);
    emphasis = other.emphasis;
    blockStartOffset = other.blockStartOffset;
    auxBitsMode = other.auxBitsMode;
    channelStatusMode = other.channelStatusMode;
    fixedChannelStatusData = other.fixedChannelStatusData;
    userDataMode = other.userDataMode;
    fixedUserData = other.fixedUserData;
}

const SetDescription& CMxf_SM_DescriptorSoundAES3::description()
{
    using S = CMxf_SM_DescriptorSoundAES3;
    static const SetDescription items("AES3PCMDescriptor", &CMxf_SM_DescriptorSoundWave::description(),
        {
            memberItem(0x3D0D, "05.04.02.05.01.06.00.00.00", "Emphasis", ItemType::UInt8, &S::emphasis),
            memberItem(0x3D0F, "05.04.02.03.02.03.00.00.00", "BlockStartOffset", ItemType::UInt16,
                       &S::blockStartOffset),
            memberItem(0x3D08, "05.04.02.05.01.01.00.00.00", "AuxBitsMode", ItemType::UInt8, &S::auxBitsMode),
            memberItem(0x3D10, "05.04.02.05.01.02.00.00.00", "ChannelStatusMode", ItemType::Bytes,
                       &S::channelStatusMode),
            memberItem(0x3D11, "05.04.02.05.01.03.00.00.00", "FixedChannelStatusData", ItemType::Bytes,
                       &S::fixedChannelStatusData),
            memberItem(0x3D12, "05.04.02.05.01.04.00.00.00", "UserDataMode", ItemType::Bytes, &S::userDataMode),
            memberItem(0x3D13, "05.04.02.05.01.05.00.00.00", "FixedUserData", ItemType::Bytes, &S::fixedUserData),
        });
    return items;
}

} // namespace Corvidane::MXF
