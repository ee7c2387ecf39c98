#include "host/FormatCodes.h"

#include <algorithm>
#include <initializer_list>

#include "frame/FourCC.h"

using Corvidane::fourCC;

namespace Hc {

namespace {

bool oneOf(uint32_t format, std::initializer_list<uint32_t> codes)
{
    return std::find(codes.begin(), codes.end(), format) != codes.end();
}

} // namespace

uint32_t mapQuicktimeUncompressedFCC(uint32_t format)
{
    if (format == fourCC("2vuy"))
        return fourCC("UYVY");
    if (format == fourCC("yuv2") || format == fourCC("yuvs"))
        return fourCC("YUY2");
    return format;
}

bool isAvcIntraFormat(uint32_t format)
{
    return oneOf(format, {fourCC("ai5p"), fourCC("ai5q"), fourCC("ai12"), fourCC("ai13"), fourCC("ai1p"),
                          fourCC("ai1q"), fourCC("AVin")});
}

uint32_t lookupPlayoutFCC(uint32_t format)
{
    if (oneOf(format, {fourCC("avc1"), fourCC("avc3"), fourCC("H264"), fourCC("h264"), fourCC("x264")}))
        return fourCC("avc1");
    return format;
}

bool isMpegFormat(uint32_t format)
{
    return oneOf(format, {fourCC("mpg2"), fourCC("mpg1"), fourCC("mp2v"), fourCC("mp1v"), fourCC("MPEG"),
                          fourCC("xdvc"), fourCC("xd5c"), fourCC("xd5b"), fourCC("xdv2"), fourCC("mx5p"),
                          fourCC("mx5n"), fourCC("mx4p"), fourCC("mx4n"), fourCC("mx3p"), fourCC("mx3n")});
}

bool needsFirstFrameProbe(uint32_t format)
{
    return oneOf(format, {fourCC("CFHD"), fourCC("aprn"), fourCC("aprh"), fourCC("AVdn"), fourCC("AVdh"),
                          fourCC("AVdv"), fourCC("AVd1")});
}

bool hasAlphaChannel(uint32_t format)
{
    return oneOf(format, {fourCC("RGBA"), fourCC("ARGB"), fourCC("BGRA"), fourCC("ABGR"), fourCC("b64a"),
                          fourCC("r64a"), fourCC("a64r"), fourCC("ap4x")});
}

bool is444Format(uint32_t format)
{
    return oneOf(format, {fourCC("ap4h"), fourCC("ap4x"), fourCC("v410"), fourCC("AVdh")});
}

bool isTenBitCompressedFormat(uint32_t format)
{
    return oneOf(format, {fourCC("ap4h"), fourCC("ap4x"), fourCC("apch"), fourCC("apcn"), fourCC("apcs"),
                          fourCC("apco"), fourCC("AVdh")});
}

bool formatGroupBits(uint32_t format, FormatBits& bits)
{
    struct Group {
        std::initializer_list<uint32_t> formats;
        FormatBits bits;
    };
    static const Group groups[] = {
        {{fourCC("apch"), fourCC("apcn"), fourCC("apcs"), fourCC("apco"), fourCC("v210"), fourCC("AVdh")}, {10, 20}},
        {{fourCC("ap4h"), fourCC("v410"), fourCC("v308")}, {8, 24}},
        {{fourCC("ap4x"), fourCC("v408")}, {8, 32}},
        {{fourCC("avc1"), fourCC("mpg2"), fourCC("jpeg"), fourCC("mjpa"), fourCC("AVdn"), fourCC("hvc1"),
          fourCC("hev1"), fourCC("UYVY"), fourCC("YUY2"), fourCC("2vuy"), fourCC("yuv2")},
         {8, 16}},
    };
    for (const Group& group : groups)
        if (std::find(group.formats.begin(), group.formats.end(), format) != group.formats.end()) {
            bits = group.bits;
            return true;
        }
    return false;
}

unsigned getMatroxStride(uint32_t, unsigned width, unsigned bits)
{
    // Ten-bit lines pack six pixels in 16 bytes, as v210 does.
    return bits == 10 ? (width + 47) / 48 * 128 : width * 2;
}

unsigned calculateSampleTypeNumber(unsigned bitsPerSample, unsigned representation, bool bigEndian)
{
    return bitsPerSample / 8 | (representation == 2 ? 0x10u : 0u) | (bigEndian ? 0x100u : 0u);
}

} // namespace Hc
