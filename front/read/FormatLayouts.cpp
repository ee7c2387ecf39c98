#include "front/read/FormatLayouts.h"

#include <algorithm>
#include <initializer_list>

#include "frame/FourCC.h"
#include "host/FormatCodes.h"

using Corvidane::fourCC;

namespace CvWrappers {

namespace {

bool oneOf(uint32_t format, std::initializer_list<uint32_t> codes)
{
    return std::find(codes.begin(), codes.end(), format) != codes.end();
}

bool nameHas(const std::wstring& name, const wchar_t* text) { return name.find(text) != std::wstring::npos; }

// Codings of 8-bit 4:2:2 pictures the host decodes into a buffer of its own.
bool isEightBitVideoCoding(uint32_t format)
{
    static const uint32_t codes[] = {
        fourCC("dvsd"), fourCC("dvcp"), fourCC("dvc "), fourCC("dv50"), fourCC("dvhp"), fourCC("dvhq"),
        fourCC("dvh1"), fourCC("dvh2"), fourCC("dvh3"), fourCC("dvh4"), fourCC("dvh5"), fourCC("dvh6"),
        fourCC("hdv1"), fourCC("hdv2"), fourCC("hdv3"), fourCC("hdv4"), fourCC("hdv5"), fourCC("hdv6"),
        fourCC("hdv7"), fourCC("hdv8"), fourCC("mx3n"), fourCC("mx4n"), fourCC("mx5n"), fourCC("mx3p"),
        fourCC("mx4p"), fourCC("mx5p"), fourCC("mjpa"), fourCC("mjpb"), fourCC("hdva"), fourCC("dv5n"),
        fourCC("dv5p"), fourCC("dvpn"), fourCC("dvpp"), fourCC("dvcn"), fourCC("M701"), fourCC("M703"),
        fourCC("M704"), fourCC("M705"), fourCC("MMES")};
    return std::find(std::begin(codes), std::end(codes), format) != std::end(codes);
}

VideoLayout rgb(unsigned bits, unsigned bitsPerPixel, const char (&format)[5])
{
    VideoLayout layout;
    layout.bits = bits;
    layout.bitsPerPixel = bitsPerPixel;
    layout.setsFormat = true;
    layout.format = fourCC(format);
    return layout;
}

VideoLayout plain(unsigned bits, unsigned bitsPerPixel)
{
    VideoLayout layout;
    layout.bits = bits;
    layout.bitsPerPixel = bitsPerPixel;
    return layout;
}

VideoLayout layoutByRow(const VideoFormatFacts& facts)
{
    const uint32_t format = facts.format;
    const unsigned depth = facts.depth;
    const std::wstring& name = facts.compressorName;
    if (format == fourCC("raw ")) {
        if (nameHas(name, L"RGBA"))
            return rgb(8, 32, "ARGB");
        if (nameHas(name, L"RGB") || (name.empty() && depth == 24))
            return rgb(8, 24, " BGR");
        if (nameHas(name, L"BGR"))
            return rgb(8, 24, " RGB");
        if (name.empty() && depth == 32)
            return rgb(8, 32, "ARGB");
    }
    if (format == 32)
        return rgb(8, 32, "ARGB");
    if (format == 24)
        return rgb(8, 24, " BGR");
    if (format == 0 || format == fourCC("DIB ")) {
        VideoLayout layout = depth < 24 ? plain(8, depth) : depth == 24 ? rgb(8, depth, " BGR") : rgb(8, depth, "BGRA");
        if (depth < 24) {
            layout.setsFormat = true;
            layout.format = 0;
        } else if (depth > 24) {
            layout.setsStride = true;
        }
        return layout;
    }
    if (format == fourCC("rle ")) {
        VideoLayout layout = plain(8, depth);
        layout.transparency = depth == 32 ? 2 : 3;
        return layout;
    }
    if (oneOf(format, {fourCC("RGBA"), fourCC("ARGB"), fourCC("BGRA"), fourCC("ABGR")}))
        return plain(8, 32);
    if (format == fourCC("24BG"))
        return rgb(8, 24, " BGR");
    if (format == fourCC("b48r"))
        return rgb(16, 48, " RGB");
    if (format == fourCC("b64a"))
        return rgb(16, 64, "BGRA");
    if (format == fourCC("r64a"))
        return rgb(16, 64, "ABGR");
    if (format == fourCC("a64r"))
        return rgb(16, 64, "RGBA");
    if (format == fourCC("v210")) {
        VideoLayout layout = plain(10, 20);
        layout.setsStride = true;
        layout.stride = (facts.width + 47) / 48 * 128;
        return layout;
    }
    if (format == fourCC("v216"))
        return rgb(16, 32, "UYVY");
    if (oneOf(format, {fourCC("M101"), fourCC("m101"), fourCC("M102"), fourCC("m102"), fourCC("M103"), fourCC("m103")})) {
        // The extra data's first byte names the bits when the file has it.
        unsigned bits = facts.extraData ? facts.extraData[0] : depth == 30 ? 10 : 8;
        if (bits != 10)
            bits = 8;
        VideoLayout layout = plain(bits, bits == 10 ? 20 : 16);
        layout.setsStride = true;
        layout.stride = Hc::getMatroxStride(format, facts.width, bits);
        return layout;
    }
    if (isEightBitVideoCoding(format)) {
        VideoLayout layout = plain(8, 16);
        layout.setsStride = true;
        return layout;
    }
    if (oneOf(format, {fourCC("ap4h"), fourCC("ap4x")})) {
        VideoLayout layout = plain(depth, depth * 2);
        if (depth == 32 && facts.fileType == 2)
            layout.transparency = 2;
        return layout;
    }
    VideoLayout layout = plain(depth, depth * 2);
    Hc::FormatBits group{};
    if (Hc::formatGroupBits(format, group)) {
        layout.bits = group.bits;
        layout.bitsPerPixel = group.bitsPerPixel;
    }
    return layout;
}

} // namespace

VideoLayout videoLayoutOf(const VideoFormatFacts& facts)
{
    VideoLayout layout = layoutByRow(facts);
    if (Hc::is444Format(facts.format) && Hc::isTenBitCompressedFormat(facts.format))
        layout.bits = 10;
    if (Hc::hasAlphaChannel(facts.format))
        layout.transparency = 2;
    return layout;
}

namespace {

// A code and its bytes the other way round: QuickTime files of either byte
// order name their sample entries so.
bool eitherOrder(uint32_t format, const char (&code)[5])
{
    const uint32_t forward = fourCC(code);
    const uint32_t reversed = forward >> 24 | (forward >> 8 & 0xFF00u) | (forward << 8 & 0xFF0000u) | forward << 24;
    return format == forward || format == reversed;
}

} // namespace

void applyAudioDataType(uint32_t format, Aud::Metadata& audio)
{
    audio.representation = 0;
    if (format == 1 || format == fourCC("WAVE")) {
        audio.dataType = audioDataTypePcm;
    } else if (format == 2 || format == 0x0200736D) {
        audio.dataType = 233;
    } else if (oneOf(format, {0x11, 0x1A736D, 0x20736D, 0x0F00736D, 0x1100736D, 0x5500736D})) {
        audio.dataType = 232;
    } else if (format == 3) {
        audio.dataType = audioDataTypeFloat;
    } else if (format == 0x50 || format == 0x55) {
        audio.dataType = audioDataTypeMpeg;
        audio.bigEndian = false;
    } else if (format == fourCC("ac-3")) {
        audio.dataType = 150;
    } else if (format == fourCC("ima4") || format == fourCC("4ami")) {
        audio.dataType = 4;
        audio.imaAdpcm = true;
    } else if (eitherOrder(format, "fl32") || eitherOrder(format, "fl64")) {
        audio.dataType = audioDataTypeFloat;
        audio.representation = 2;
    } else if (eitherOrder(format, "in24") || eitherOrder(format, "in32") || eitherOrder(format, "NONE") ||
               eitherOrder(format, "twos") || eitherOrder(format, "sowt") || format == fourCC("lpcm") ||
               format == fourCC("mcpl")) {
        audio.dataType = audioDataTypePcm;
        audio.representation = 1;
    } else if (format == fourCC("ipcm")) {
        audio.dataType = audioDataTypePcm;
        audio.bigEndian = true;
    } else if (format == fourCC("samr")) {
        audio.dataType = 160;
    } else if (format == fourCC("mp4a")) {
        audio.dataType = audioDataTypeAac;
        audio.bigEndian = false;
    } else if (format == fourCC("alac")) {
        audio.dataType = 173;
    } else if (oneOf(format, {fourCC("ulaw"), fourCC("walu"), fourCC("ULAW")})) {
        audio.dataType = 242;
    } else if (oneOf(format, {fourCC("alaw"), fourCC("wala"), fourCC("ALAW")})) {
        audio.dataType = 241;
    } else if (format == fourCC(" raw")) {
        audio.dataType = audioDataTypePcm;
        audio.representation = 1;
    } else {
        audio.dataType = 0;
    }
}

bool isPcmDataType(const Aud::Metadata& audio)
{
    return audio.dataType == audioDataTypePcm || audio.dataType == audioDataTypeFloat || audio.dataType == 232 ||
           audio.dataType == 233 || audio.representation != 0;
}

} // namespace CvWrappers
