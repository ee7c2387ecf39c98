#include <gtest/gtest.h>

#include "frame/FourCC.h"
#include "quicktime/MovieBytes.h"
#include "quicktime/QtReaderFixture.h"
#include "quicktime/atoms/SampleDescriptors.h"

using namespace movie_bytes;
using Corvidane::fourCC;
using namespace Corvidane::QuickTime;

namespace {

const unsigned char* bytes(const std::string& s) { return reinterpret_cast<const unsigned char*>(s.data()); }

class QuickTimeSampleDescriptions : public QtReaderFixture {
protected:
    Corvidane::QuickTime::FileReader& load(const std::string& entry, const std::string& header = {})
    {
        Track t;
        t.sizes = {4};
        t.chunkOffsets = {mdatPayloadOffset};
        t.sampleEntry = entry;
        t.header = header;
        m_opened = open(file("data", moov(trak(t))));
        EXPECT_TRUE(m_opened.ok()) << m_opened.error();
        return *m_opened.reader;
    }
    Opened m_opened;
};

TEST_F(QuickTimeSampleDescriptions, ImageExtensionsAnswerScanColourAspectAndAvidQueries)
{
    std::string extensions = atom("fiel", std::string("\x02\x0e", 2)) + atom("colr", "nclc" + be16(1) + be16(1) + be16(1)) +
                             atom("colr", "nclc" + be16(9) + be16(16) + be16(9)) + atom("pasp", be32(4) + be32(3)) +
                             atom("clap", std::string(32, '\0')) + atom("ARES", "ARES0001" + be32(1235)) +
                             atom("avcC", "\x01\x64\x00\x1f");
    auto& reader = load(videoEntry("AVdn", 720, 576, extensions));
    EXPECT_EQ(reader.getFramePolarity(0), 6) << "two fields, detail 14";
    EXPECT_EQ(reader.getScanMode(0), 0);
    Corvidane::VideoColourCPMode primaries{};
    Corvidane::VideoColourTCMode transfer{};
    EXPECT_EQ(reader.get_ColourPrimaries(0, primaries), OK);
    EXPECT_EQ(int(primaries), 4) << "the last colr wins";
    EXPECT_EQ(reader.get_TransferCharacteristic(0, transfer), OK);
    EXPECT_EQ(int(transfer), 3);
    int numerator = 0, denominator = 0;
    EXPECT_EQ(reader.getPixelAspect(0, numerator, denominator), OK);
    EXPECT_EQ(numerator, 4);
    EXPECT_EQ(denominator, 3);
    EXPECT_EQ(reader.getAvidResolutionId(0), 1235);
    Corvidane::CByteBuffer avcC;
    ASSERT_TRUE(reader.getExtensionItem(0, fourCC("avcC"), avcC));
    EXPECT_EQ(std::string(reinterpret_cast<char*>(avcC.getBuffer()), avcC.used()), "\x01\x64\x00\x1f");
    EXPECT_FALSE(reader.getExtensionItem(0, fourCC("pasp"), avcC)) << "only raw extensions are handed out";
    EXPECT_FALSE(reader.getExtensionItem(0, fourCC("btrt"), avcC));
}

TEST_F(QuickTimeSampleDescriptions, SizeOf720pIsProgressiveWhateverFielSays)
{
    auto& reader = load(videoEntry("avc1", 1280, 720, atom("fiel", std::string("\x02\x09", 2))));
    EXPECT_EQ(reader.getFramePolarity(0), 4);
    int numerator = 9, denominator = 9;
    EXPECT_EQ(reader.getPixelAspect(0, numerator, denominator), False);
    EXPECT_EQ(numerator, 9);
}

TEST_F(QuickTimeSampleDescriptions, AvidHighResolutionAtomGivesTheIdWithoutAres)
{
    auto& reader = load(videoEntry("AVdh", 1920, 1080, atom("ADHR", "0001" + be32(0) + be32(7) + be32(1271) + be32(3) + be32(0))));
    EXPECT_EQ(reader.getAvidResolutionId(0), 1271);
    EXPECT_EQ(reader.getFramePolarity(0), 0) << "no fiel";
}

TEST_F(QuickTimeSampleDescriptions, RotationMatrixGivesTheOrientation)
{
    auto& turned = load(videoEntry("avc1", 64, 48), tkhd(1, 40, 64, 48, {0, 0x10000, 0, 0xFFFF0000, 0, 0, 0, 0, 0x40000000}));
    EXPECT_EQ(turned.get_Orientation(0), 5u);
    auto& flipped = load(videoEntry("avc1", 64, 48), tkhd(1, 40, 64, 48, {0xFFFF0000, 0, 0, 0, 0xFFFF0000, 0, 0, 0, 0x40000000}));
    EXPECT_EQ(flipped.get_Orientation(0), 4u);
    auto& plain = load(videoEntry("avc1", 64, 48));
    EXPECT_EQ(plain.get_Orientation(0), 1u);
}

TEST(QuickTimeSampleDescriptionList, CompressorNameFallsBackToACString)
{
    std::string name = std::string(1, char(200)) + "A C string name that runs on past thirty-two characters";
    std::string entry = videoEntry("apch", 64, 48, "", name);
    std::string list = stsd(entry);
    SampleDescriptionList descriptions(Corvidane::StreamVideo);
    descriptions.fromData(bytes(list), list.size());
    auto video = dynamic_cast<const VideoDescriptor*>(descriptions.item(0));
    ASSERT_NE(video, nullptr);
    // The text runs to the NUL of the depth field behind the 32-byte name.
    EXPECT_EQ(video->CompressorName2, "A C string name that runs on pa");
    EXPECT_EQ(video->Width, 64);
}

std::string soundEntry(const std::string& format, uint16_t version, uint16_t bits, uint16_t compressionId,
                       const std::string& tail = {})
{
    std::string body = std::string(6, '\0') + be16(1) + be16(version) + be16(0) + be32(0) + be16(2) + be16(bits) +
                       be16(compressionId) + be16(0) + be32(48000u << 16);
    if (version == 1)
        body += be32(1) + be32(bits / 8) + be32(bits / 4) + be32(bits / 8);
    return atom(format, body + tail);
}

TEST(QuickTimeSampleDescriptionList, SoundEntriesTellBitsRateAndByteOrder)
{
    std::string list = stsd(soundEntry("in24", 0, 16, 0) + soundEntry("sowt", 1, 16, 0) +
                                soundEntry("lpcm", 0, 16, 0, atom("wave", atom("frma", "lpcm") + atom("enda", be16(1))) +
                                                                  std::string(28, '\0')) +
                                soundEntry("twos", 1, 16, 0, atom("wave", atom("enda", be16(0))) + be32(0)),
                            4);
    SampleDescriptionList sound(Corvidane::StreamAudio);
    sound.fromData(bytes(list), list.size());
    ASSERT_EQ(sound.get_Count(), 4u);
    EXPECT_EQ(sound.getBitsPerSample(0), 24) << "in24 whatever the field says";
    EXPECT_EQ(sound.getAudioBlockSize(0), 6u);
    EXPECT_EQ(sound.getAudioByteOrder(0), 2);
    EXPECT_EQ(sound.getAudioSampleRate(0), 48000u);
    EXPECT_EQ(sound.getAudioChannelCount(0), 2u);
    EXPECT_EQ(sound.getAudioByteOrder(1), 1) << "sowt in a version 1 entry";
    EXPECT_EQ(sound.getAudioBlockSize(1), 4u) << "bytes per frame of a version 1 entry";
    auto v0 = dynamic_cast<const SoundDescriptor*>(sound.item(2));
    ASSERT_NE(v0, nullptr);
    EXPECT_EQ(v0->endianType, 1) << "enda found inside the wave of a version 0 entry";
    EXPECT_EQ(sound.getAudioByteOrder(3), 2) << "twos stays big-endian";
    EXPECT_EQ(sound.getFcc(9), 0u);
    EXPECT_EQ(sound.getBitsPerSample(9), 0);

    SampleDescriptionList unknown(0);
    unknown.fromData(bytes(list), list.size());
    EXPECT_EQ(unknown.get_Count(), 0u) << "entries of a track of no known type are stepped over";
}

TEST(QuickTimeSampleDescriptionList, VersionTwoSoundReadsItsDoubleRate)
{
    std::string body = std::string(6, '\0') + be16(1) + be16(2) + be16(0) + be32(0) + be16(3) + be16(16) + be16(0xFFFE) +
                       be16(0) + be32(0x10000) + be32(72);
    uint64_t rate;
    double value = 96000.0;
    std::memcpy(&rate, &value, 8);
    body += be64(rate) + be32(6) + be32(0x7F000000) + be32(32) + be32(1 | 2) + be32(24) + be32(1);
    std::string list = stsd(atom("lpcm", body));
    SampleDescriptionList sound(Corvidane::StreamAudio);
    sound.fromData(bytes(list), list.size());
    EXPECT_EQ(sound.getAudioSampleRate(0), 96000u);
    EXPECT_EQ(sound.getAudioChannelCount(0), 6u);
    EXPECT_EQ(sound.getBitsPerSample(0), 32);
    EXPECT_EQ(sound.getAudioBlockSize(0), 24u);
    EXPECT_EQ(sound.getAudioByteOrder(0), 2);
}

} // namespace
