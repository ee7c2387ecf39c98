#include <gtest/gtest.h>

#include <vector>

#include "frame/FourCC.h"
#include "quicktime/MovieBytes.h"
#include "quicktime/atoms/AvidAtoms.h"
#include "quicktime/atoms/SampleDescriptors.h"

using namespace Corvidane::QuickTime;
using namespace movie_bytes;
using Corvidane::fourCC;

namespace {

std::string written(const QTAtom& atom)
{
    std::vector<unsigned char> buffer(size_t(atom.getSize()) + 16, 0xEE);
    size_t count = atom.toData(buffer.data(), buffer.size());
    return std::string(reinterpret_cast<char*>(buffer.data()), count);
}

const unsigned char* bytes(const std::string& s) { return reinterpret_cast<const unsigned char*>(s.data()); }

TEST(QuickTimeDescriptorWriting, VideoEntryWritesExtensionsAndItsTerminator)
{
    VideoDescriptor video(fourCC("apch"));
    video.Width = 1920;
    video.Height = 1080;
    video.Depth = 24;
    video.CompressorName2 = "Apple ProRes 422 HQ";
    std::string bare = written(video);
    ASSERT_EQ(bare.size(), 86u) << "no extensions, no terminator";
    auto fiel = std::make_unique<ImageExtension_fiel>();
    fiel->fields = 2;
    fiel->detail = 9;
    video.extensions.push_back(std::move(fiel));
    video.extensions.push_back(std::make_unique<ImageExtension_colr>());
    video.size = uint32_t(video.getSize());
    std::string full = written(video);
    ASSERT_EQ(full.size(), 86u + 10 + 18 + 4);
    EXPECT_EQ(full.substr(full.size() - 4), be32(0));
    EXPECT_EQ(full.substr(96, 18), be32(18) + "colr" + "nclc" + be16(6) + be16(1) + be16(6));

    VideoDescriptor back;
    EXPECT_EQ(back.fromData(bytes(full), full.size()), full.size());
    EXPECT_EQ(back.Width, 1920);
    EXPECT_EQ(back.Height, 1080);
    EXPECT_FLOAT_EQ(back.HRes, 72.0f);
    EXPECT_EQ(back.CompressorName2, "Apple ProRes 422 HQ");
    EXPECT_EQ(full.substr(20, 4), "appl") << "the vendor, held as a big-endian number";
    ASSERT_EQ(back.extensions.size(), 2u);
    auto readFiel = dynamic_cast<const ImageExtension_fiel*>(back.extension(fourCC("fiel")));
    ASSERT_NE(readFiel, nullptr);
    EXPECT_EQ(readFiel->detail, 9);
}

TEST(QuickTimeDescriptorWriting, AacEntryGetsAnElementaryStreamDescriptor)
{
    SoundDescriptor aac(fourCC("mp4a"));
    aac.Channels = 2;
    aac.SampleSize = 16;
    aac.SampleRate = 48000.0f;
    aac.addExtensions();
    ASSERT_EQ(aac.extensions.size(), 1u);
    EXPECT_EQ(aac.getSize(), 36u + 51 + 4);
    EXPECT_EQ(aac.size, 91u);
    std::string entry = written(aac);
    ASSERT_EQ(entry.size(), 91u);
    std::string esds = entry.substr(36, 51);
    EXPECT_EQ(esds.substr(0, 8), be32(51) + "esds");
    // ES descriptor, decoder configuration, the AudioSpecificConfig, the SL descriptor.
    EXPECT_EQ(esds.substr(12, 5), std::string("\x03\x80\x80\x80\x22", 5));
    EXPECT_EQ(esds.substr(20, 5), std::string("\x04\x80\x80\x80\x14", 5));
    EXPECT_EQ(esds.substr(25, 2), "\x40\x15");
    EXPECT_EQ(esds.substr(38, 7), std::string("\x05\x80\x80\x80\x02\x11\x90", 7));
    EXPECT_EQ(esds.substr(45, 6), std::string("\x06\x80\x80\x80\x01\x02", 6));
    SoundDescriptor back;
    back.fromData(bytes(entry), entry.size());
    EXPECT_EQ(back.Channels, 2);
    EXPECT_FLOAT_EQ(back.SampleRate, 48000.0f);

    SoundDescriptor odd(fourCC("mp4a"));
    odd.SampleRate = 7350.0f;
    odd.addExtensions();
    EXPECT_EQ(odd.getSize(), 36u + 44 + 4) << "a rate outside the table leaves the configuration empty";
    Extension_esds video(Extension_esds::Video);
    std::string visual = written(video);
    ASSERT_EQ(visual.size(), 84u);
    EXPECT_EQ(visual.substr(visual.size() - 3), "\x06\x01\x02");
}

TEST(QuickTimeDescriptorWriting, VersionOneEntryWithAByteOrderGetsAWave)
{
    SoundDescriptorV1 pcm(fourCC("in24"));
    pcm.Version = 1;
    pcm.Channels = 2;
    pcm.SampleSize = 24;
    pcm.SampleRate = 48000.0f;
    pcm.BytesPerFrame = 6;
    pcm.endianType = 1;
    pcm.addExtensions();
    std::string entry = written(pcm);
    ASSERT_EQ(entry.size(), 52u + 8 + 12 + 10 + 4);
    SoundDescriptorV1 back;
    EXPECT_EQ(back.fromData(bytes(entry), entry.size()), entry.size());
    EXPECT_EQ(back.endianType, 1);
    EXPECT_EQ(back.BytesPerFrame, 6u);
    EXPECT_EQ(back.SampleSize, 24);

    // A frma read from a file and written again comes out reversed: the
    // writer only writes those it made.
    std::string frma = atom("frma", "in24");
    SoundExtension_frma readFrma;
    readFrma.fromData(bytes(frma), frma.size());
    EXPECT_EQ(written(readFrma).substr(8), "42ni");
    EXPECT_EQ(written(SoundExtension_frma(fourCC("in24"))).substr(8), "in24");

    SoundDescriptorV2 v2(fourCC("lpcm"));
    EXPECT_EQ(written(v2).size(), 24u) << "a version 2 entry can't be written";
}

TEST(QuickTimeDescriptorWriting, TimecodeAndCaptionEntries)
{
    TimecodeDescriptor timecode;
    timecode.type = fourCC("tmcd");
    timecode.Flags = 1;
    timecode.Timescale = 30000;
    timecode.FrameDuration = 1001;
    timecode.NumberOfFrames = 30;
    timecode.name = "REEL1";
    timecode.size = uint32_t(timecode.getSize());
    std::string entry = written(timecode);
    ASSERT_EQ(entry.size(), 34u + 18);
    EXPECT_EQ(entry.substr(34, 12), be32(18) + "name" + be16(5) + be16(0));
    TimecodeDescriptor back;
    back.fromData(bytes(entry), entry.size());
    EXPECT_EQ(back.name, "REEL1");
    EXPECT_EQ(back.FrameDuration, 1001u);
    EXPECT_EQ(back.NumberOfFrames, 30);

    std::string c608 = atom("c608", std::string(6, '\0') + be16(1) + "extra bytes");
    ClosedCaptionDescriptor caption;
    EXPECT_EQ(caption.fromData(bytes(c608), c608.size()), 16u);
    EXPECT_EQ(caption.size, 16u);
    ClosedCaptionDescriptor c708;
    c708.type = fourCC("c708");
    c708.size = 28;
    EXPECT_EQ(written(c708).substr(16), std::string("\x0C\x00\x00\x00\x6C\x70\x6D\x63\x38\x30\x36\x64", 12));
}

TEST(QuickTimeDescriptorWriting, AvidAtomsFromAFrameHeader)
{
    std::vector<unsigned char> frame(44, 0);
    frame[5] = 2; // interlaced
    frame[40] = 0x00, frame[41] = 0x00, frame[42] = 0x04, frame[43] = 0xD3; // 1235
    AvidAtomBlocks blocks;
    ASSERT_EQ(initialize_avid_atoms(frame.data(), frame.size(), 1920, 1080, blocks), 0);
    EXPECT_EQ(std::string(blocks.aclr.begin(), blocks.aclr.end()), "ACLR0001" + be32(2) + be32(0));
    EXPECT_EQ(std::string(blocks.aprg.begin(), blocks.aprg.end()), "APRG0001" + be32(2) + be32(0));
    ASSERT_EQ(blocks.ares.size(), 112u);
    EXPECT_EQ(std::string(blocks.ares.begin(), blocks.ares.begin() + 32),
              "ARES0001" + be32(1235) + be32(1920) + be32(540) + be32(2) + be32(0) + be32(4));
    frame[5] = 0;
    ASSERT_EQ(initialize_avid_atoms(frame.data(), frame.size(), 1920, 1080, blocks), 0);
    EXPECT_EQ(std::string(blocks.ares.begin() + 16, blocks.ares.begin() + 32), be32(1080) + be32(1) + be32(0) + be32(5));
    EXPECT_EQ(initialize_avid_atoms(frame.data(), 43, 1920, 1080, blocks), -1);

    std::vector<unsigned char> body;
    EXPECT_EQ(initialize_avid_HR_atoms(frame.data(), frame.size(), body, 1270), -1) << "not the frame's id";
    frame[42] = 0x04, frame[43] = 0xF6; // 1270
    ASSERT_EQ(initialize_avid_HR_atoms(frame.data(), frame.size(), body, 1270), 0);
    EXPECT_EQ(std::string(body.begin(), body.end()), "0001" + be32(1270) + be32(2) + be32(3) + be32(0x10000) + be32(0));
}

} // namespace
