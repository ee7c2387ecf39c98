#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "frame/Utf8.h"
#include "mxf/read/FileReader.h"
#include "support/DriverFixture.h"
#include "support/TestMedia.h"

using namespace Corvidane;
using namespace Corvidane::MXF;

// A D-10 sound element holds, behind its 4-byte head, eight AES3 subframes of
// 4 bytes per sample, little-endian, the sample's 24 bits in bits 4 to 27.
// The reader hands the editor those subframes; the PCM that ffmpeg decodes
// from the file must be the top bits of the named channels.
namespace {

class D10Sound : public DriverFixture {};

std::string utf8(const std::wstring& text)
{
    std::string out;
    toUtf8(text, out);
    return out;
}

TEST_F(D10Sound, SubframesCarryThePcmFfmpegDecodes)
{
    const std::string path = testMedia("mxf_d10.mxf");
    CMxf_FileReader reader;
    ASSERT_TRUE(isSuccess(reader.loadFile(fromUtf8(path), iFile::Buffered))) << utf8(reader.getLastError());
    int stream = 0;
    while (stream < reader.get_StreamCount() && !reader.get_IsAudio(stream))
        ++stream;
    ASSERT_LT(stream, reader.get_StreamCount());
    const int channels = reader.get_ChannelCount(stream);
    ASSERT_EQ(reader.get_BitsPerSample(stream), 16);
    ASSERT_GT(channels, 0);
    ASSERT_LE(channels, 8);
    ASSERT_TRUE(isSuccess(reader.essenceOpen(unsigned(stream)))) << utf8(reader.getLastError());

    std::string pcm;
    std::vector<unsigned char> buffer(1 << 20);
    for (unsigned frame = 0; frame < reader.get_Length(stream); ++frame) {
        unsigned offset = 0, size = 0;
        ASSERT_EQ(reader.essenceRead(frame, 1, buffer.data(), unsigned(buffer.size()), offset, size), OK)
            << utf8(reader.getLastError());
        ASSERT_EQ(size % 32, 0u) << "frame " << frame;
        for (unsigned sample = offset; sample < offset + size; sample += 32)
            for (int channel = 0; channel < channels; ++channel) {
                const unsigned char* word = &buffer[sample + 4 * channel];
                const uint32_t subframe = word[0] | word[1] << 8 | word[2] << 16 | uint32_t(word[3]) << 24;
                const uint32_t value = subframe >> 12 & 0xFFFF;
                pcm += char(value & 0xFF);
                pcm += char(value >> 8);
            }
    }
    const std::string decoded = runCommand("ffmpeg -v error -i " + shellQuote(path) + " -map 0:a -f s16le -");
    ASSERT_FALSE(decoded.empty());
    EXPECT_EQ(pcm.size(), decoded.size());
    EXPECT_TRUE(pcm == decoded);
}

} // namespace
