#include "tools/MxfExportCoding.h"

#include <cmath>
#include <initializer_list>

#include "frame/BigEndian.h"
#include "frame/FourCC.h"
#include "mxf/model/EssenceCodingTables.h"

using Corvidane::fourCC;

namespace {

// The families of codings the editor exports to MXF, by the names readers
// give them.
enum Family { Other, Dv, Imx, Xdcam35, Xdcam50, Mpeg2, AvcIntra50, AvcIntra100, Dnx };

struct NameRow {
    std::initializer_list<uint32_t> names;
    Family family;
};

const NameRow nameRows[] = {
    {{fourCC("dvsd"), fourCC("dvc "), fourCC("dvcp"), fourCC("dvpp"), fourCC("dvpn"), fourCC("dv25"), fourCC("dv5p"),
      fourCC("dv5n"), fourCC("dv50"), fourCC("dvh1"), fourCC("dvh2"), fourCC("dvh3"), fourCC("dvh5"), fourCC("dvh6"),
      fourCC("dvhp"), fourCC("dvhq"), fourCC("dvhd"), fourCC("dvsl"), fourCC("AVdv"), fourCC("AVd1")},
     Dv},
    {{fourCC("GIMX"), fourCC("mx5p"), fourCC("mx5n"), fourCC("mx4p"), fourCC("mx4n"), fourCC("mx3p"), fourCC("mx3n")},
     Imx},
    {{fourCC("xd35"), fourCC("xdv1"), fourCC("xdv2"), fourCC("xdv3"), fourCC("xdv4"), fourCC("xdv5"), fourCC("xdv6"),
      fourCC("xdv7"), fourCC("xdv8"), fourCC("xdv9"), fourCC("xdva"), fourCC("xdvb"), fourCC("xdvc"), fourCC("xdvd"),
      fourCC("xdve"), fourCC("xdvf")},
     Xdcam35},
    {{fourCC("xd50"), fourCC("xd51"), fourCC("xd54"), fourCC("xd55"), fourCC("xd59"), fourCC("xd5a"), fourCC("xd5b"),
      fourCC("xd5c"), fourCC("xd5d"), fourCC("xd5e"), fourCC("xd5f")},
     Xdcam50},
    {{fourCC("MMES"), fourCC("M701"), fourCC("m2v1"), fourCC("mpg2"), fourCC("mp2v"), fourCC("MPEG")}, Mpeg2},
    {{fourCC("avc5"), fourCC("ai5p"), fourCC("ai5q"), fourCC("ai52"), fourCC("ai53"), fourCC("ai55"), fourCC("ai56")},
     AvcIntra50},
    {{fourCC("avc6"), fourCC("ai1p"), fourCC("ai1q"), fourCC("ai12"), fourCC("ai13"), fourCC("ai15"), fourCC("ai16")},
     AvcIntra100},
    {{fourCC("AVdn"), fourCC("AVdh"), fourCC("AVdx")}, Dnx},
};

Family familyOf(uint32_t format)
{
    for (const NameRow& row : nameRows)
        for (uint32_t name : row.names)
            if (name == format)
                return row.family;
    return Other;
}

// DNxHR's compression identifiers, and the MXF writer's codes for them.
struct DnxhrRow {
    uint32_t compressionId;
    uint32_t code;
};

const DnxhrRow dnxhrRows[] = {
    {1274, fourCC("cv21")},  // LB
    {1273, fourCC("cv22")},  // SQ
    {1272, fourCC("cv23")},  // HQ
    {1271, fourCC("cv24")},  // HQX
    {1270, fourCC("cv25")},  // 444
};

// A DV frame is one DIF sequence set of 12000 bytes (625 lines) or 10000
// (525) per ten lines' channel: 25 Mbit/s codings have 12 or 10 of them,
// DVCPRO 50 twice as many. Its header's application type is 0 for DV and 1
// for DVCPRO.
MxfExportCoding dvCoding(double framesPerSecond, unsigned height, const unsigned char* frame, size_t size)
{
    if (height >= 720)
        return {fourCC("dvh1"), 100000};
    const size_t single = framesPerSecond < 27 ? 144000 : 120000;
    if (size >= 2 * single)
        return {fourCC("dv50"), 50000};
    const bool dvcpro = size > 4 && (frame[4] & 7) != 0;
    return {dvcpro ? fourCC("dv25") : fourCC("dvsd"), 25000};
}

// The rate a constant frame size makes, to the nearest whole megabit.
unsigned constantRate(double framesPerSecond, size_t size)
{
    return unsigned(std::lround(double(size) * 8 * framesPerSecond / 1e6)) * 1000;
}

} // namespace

MxfExportCoding mxfExportCoding(uint32_t format, double framesPerSecond, unsigned width, unsigned height,
                                const unsigned char* frame, size_t size)
{
    switch (familyOf(format)) {
    case Dv:
        return dvCoding(framesPerSecond, height, frame, size);
    case Imx:
        return {fourCC("GIMX"), constantRate(framesPerSecond, size)};
    case Xdcam35:
        return {fourCC("xd35"), 35000};
    case Xdcam50:
        return {fourCC("xd50"), 50000};
    case Mpeg2:
        return {width <= 720 ? fourCC("MMES") : fourCC("M701"), 0};
    case AvcIntra50:
        return {fourCC("avc5"), 50000};
    case AvcIntra100:
        return {fourCC("avc6"), 100000};
    case Dnx: {
        // Every frame's header has the compression identifier at 0x28 and
        // an interlaced flag in bit 1 of its sixth byte.
        const uint32_t id = size >= 0x2C ? Corvidane::readBE32(frame + 0x28) : 0;
        const unsigned scanMode = size >= 0x2C ? (frame[5] & 2 ? 1 : 3) : 0;
        for (const DnxhrRow& row : dnxhrRows)
            if (row.compressionId == id)
                return {row.code, 0, scanMode};
        return {fourCC("AVdn"), Corvidane::MXF::dataRateFromResolutionId(int32_t(id), framesPerSecond), scanMode};
    }
    case Other:
        break;
    }
    return {format, 0};
}
