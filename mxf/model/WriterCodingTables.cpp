#include "mxf/model/WriterCodingTables.h"

#include "frame/FourCC.h"
#include "mxf/model/EssenceCodingTables.h"

namespace Corvidane::MXF {

namespace {

// Rate classes, as bits so that a row may take several.
enum RateBand : unsigned {
    Film = 1,     // 23.97 to 23.99
    Pal = 2,      // 25
    Ntsc = 4,     // 29.96 to 29.98
    Fifty = 8,    // 50
    Ntsc60 = 16,  // 59.93 to 59.95
    AnyRate = 31,
};
const unsigned NtscBands = Ntsc | Ntsc60;
const unsigned OtherBands = Film | Pal | Fifty;

unsigned bandOf(const VideoEncodeParams& p)
{
    if (p.scale <= 0)
        return 0;
    const double rate = double(p.rate) / p.scale;
    if (rate > 23.97 && rate < 23.99)
        return Film;
    if (rate > 29.96 && rate < 29.98)
        return Ntsc;
    if (rate > 59.93 && rate < 59.95)
        return Ntsc60;
    if (p.rate == 25 * p.scale)
        return Pal;
    if (p.rate == 50 * p.scale)
        return Fifty;
    return 0;
}

enum Scan { AnyScan, Interlaced, Progressive };

// What a row asks of the parameters; 0 for a field it doesn't test.
struct Match {
    unsigned fcc;
    int32_t height;
    int32_t width;
    unsigned bands;
    Scan scan;
};

bool matches(const Match& m, const VideoEncodeParams& p)
{
    if (p.fcc != m.fcc)
        return false;
    if ((m.height && m.height != p.height) || (m.width && m.width != p.width))
        return false;
    if (!(m.bands & bandOf(p)))
        return false;
    const bool progressive = p.polarity == 4;
    return m.scan == AnyScan || (m.scan == Progressive) == progressive;
}

// A resolution row also asks that the data rate be the one the reader's
// table gives the identifier at this rate, where it is `byDataRate`.
struct ResolutionRow {
    Match match;
    bool byDataRate;
    int32_t id;
};

// The first row that fits gives the identifier.
const ResolutionRow resolutionRows[] = {
    {{fourCC("dv25"), 0, 0, AnyRate, AnyScan}, false, 140},
    {{fourCC("dvsd"), 0, 0, AnyRate, AnyScan}, false, 141},
    {{fourCC("dv50"), 0, 0, AnyRate, AnyScan}, false, 142},
    {{fourCC("GIMX"), 0, 0, AnyRate, AnyScan}, true, 160},
    {{fourCC("GIMX"), 0, 0, AnyRate, AnyScan}, true, 161},
    {{fourCC("GIMX"), 0, 0, AnyRate, AnyScan}, true, 162},
    {{fourCC("AVdx"), 1080, 0, AnyRate, Progressive}, false, 1235},
    {{fourCC("AVdx"), 1080, 0, AnyRate, Interlaced}, false, 1241},
    {{fourCC("AVdx"), 720, 0, AnyRate, AnyScan}, false, 1250},
    {{fourCC("AVdn"), 1080, 1440, AnyRate, Progressive}, true, 1259},
    {{fourCC("AVdn"), 1080, 1440, AnyRate, Interlaced}, true, 1260},
    {{fourCC("AVdn"), 1080, 1440, AnyRate, Interlaced}, true, 1244},
    {{fourCC("AVdn"), 1080, 0, AnyRate, Progressive}, true, 1238},
    {{fourCC("AVdn"), 1080, 0, AnyRate, Progressive}, true, 1237},
    {{fourCC("AVdn"), 1080, 0, AnyRate, Progressive}, true, 1253},
    {{fourCC("AVdn"), 1080, 0, AnyRate, Interlaced}, true, 1243},
    {{fourCC("AVdn"), 1080, 0, AnyRate, Interlaced}, true, 1242},
    {{fourCC("AVdn"), 720, 960, AnyRate, AnyScan}, true, 1258},
    {{fourCC("AVdn"), 720, 0, AnyRate, AnyScan}, true, 1251},
    {{fourCC("AVdn"), 720, 0, AnyRate, AnyScan}, true, 1252},
    {{fourCC("cv12"), 270, 480, Film, AnyScan}, true, 3484},
    {{fourCC("cv13"), 270, 480, Pal, AnyScan}, true, 3486},
    {{fourCC("cv14"), 270, 480, Ntsc, AnyScan}, true, 3487},
    {{fourCC("cv04"), 0, 0, Pal, AnyScan}, true, 3477},
    {{fourCC("cv02"), 240, 352, Ntsc, AnyScan}, true, 3491},
    {{fourCC("cv00"), 288, 352, Pal, AnyScan}, true, 3492},
    {{fourCC("xd25"), 1080, 0, NtscBands, Interlaced}, false, 4004},
    {{fourCC("xd25"), 1080, 0, OtherBands, Interlaced}, false, 4003},
    {{fourCC("xd25"), 1080, 0, Film, Progressive}, false, 4027},
    {{fourCC("xd25"), 720, 0, Film, AnyScan}, false, 4028},
    {{fourCC("xd25"), 720, 0, Pal, AnyScan}, false, 4062},
    {{fourCC("xd25"), 720, 0, Ntsc, AnyScan}, false, 4002},
    {{fourCC("xd25"), 720, 0, Fifty, AnyScan}, false, 4061},
    {{fourCC("xd35"), 1080, 0, NtscBands, Interlaced}, false, 4044},
    {{fourCC("xd35"), 1080, 0, OtherBands, Interlaced}, false, 4043},
    {{fourCC("xd35"), 1080, 0, Film, Progressive}, false, 4045},
    {{fourCC("xd50"), 720, 0, Pal, AnyScan}, false, 4091},
    {{fourCC("xd50"), 720, 0, Ntsc, AnyScan}, false, 4092},
    {{fourCC("xd50"), 720, 0, Fifty, AnyScan}, false, 4079},
    {{fourCC("xd50"), 720, 0, Ntsc60, AnyScan}, false, 4078},
    {{fourCC("xd50"), 1080, 0, NtscBands, Interlaced}, false, 4073},
    {{fourCC("xd50"), 1080, 0, OtherBands, Interlaced}, false, 4074},
    {{fourCC("xd50"), 1080, 0, Film, Progressive}, false, 4077},
    {{fourCC("xd50"), 1080, 0, Pal, Progressive}, false, 4076},
};

// Picture coding labels of the register (SMPTE RP 224) and Avid's DNxHD label.
struct CodingRow {
    Match match;
    unsigned dataRate;  // 0: any
    const char* label;
};

const CodingRow codingRows[] = {
    {{fourCC("dvsd"), 0, 0, NtscBands, AnyScan}, 0, "06.0E.2B.34.04.01.01.01.04.01.02.02.02.01.01.00"},
    {{fourCC("dvsd"), 0, 0, OtherBands, AnyScan}, 0, "06.0E.2B.34.04.01.01.01.04.01.02.02.02.01.02.00"},
    {{fourCC("dv25"), 0, 0, NtscBands, AnyScan}, 0, "06.0E.2B.34.04.01.01.01.04.01.02.02.02.02.01.00"},
    {{fourCC("dv25"), 0, 0, OtherBands, AnyScan}, 0, "06.0E.2B.34.04.01.01.01.04.01.02.02.02.02.02.00"},
    {{fourCC("dvcp"), 0, 0, NtscBands, AnyScan}, 0, "06.0E.2B.34.04.01.01.01.04.01.02.02.02.02.01.00"},
    {{fourCC("dvcp"), 0, 0, OtherBands, AnyScan}, 0, "06.0E.2B.34.04.01.01.01.04.01.02.02.02.02.02.00"},
    {{fourCC("dv50"), 0, 0, NtscBands, AnyScan}, 0, "06.0E.2B.34.04.01.01.01.04.01.02.02.02.02.03.00"},
    {{fourCC("dv50"), 0, 0, OtherBands, AnyScan}, 0, "06.0E.2B.34.04.01.01.01.04.01.02.02.02.02.04.00"},
    {{fourCC("dvh1"), 1080, 0, NtscBands, AnyScan}, 0, "06.0E.2B.34.04.01.01.01.04.01.02.02.02.02.05.00"},
    {{fourCC("dvh1"), 1080, 0, OtherBands, AnyScan}, 0, "06.0E.2B.34.04.01.01.01.04.01.02.02.02.02.06.00"},
    {{fourCC("dvh1"), 720, 0, NtscBands, AnyScan}, 0, "06.0E.2B.34.04.01.01.01.04.01.02.02.02.02.07.00"},
    {{fourCC("dvh1"), 720, 0, OtherBands, AnyScan}, 0, "06.0E.2B.34.04.01.01.01.04.01.02.02.02.02.08.00"},
    {{fourCC("GIMX"), 0, 0, OtherBands, AnyScan}, 50000, "06.0E.2B.34.04.01.01.01.04.01.02.02.01.02.01.01"},
    {{fourCC("GIMX"), 0, 0, NtscBands, AnyScan}, 50000, "06.0E.2B.34.04.01.01.01.04.01.02.02.01.02.01.02"},
    {{fourCC("GIMX"), 0, 0, OtherBands, AnyScan}, 40000, "06.0E.2B.34.04.01.01.01.04.01.02.02.01.02.01.03"},
    {{fourCC("GIMX"), 0, 0, NtscBands, AnyScan}, 40000, "06.0E.2B.34.04.01.01.01.04.01.02.02.01.02.01.04"},
    {{fourCC("GIMX"), 0, 0, OtherBands, AnyScan}, 30000, "06.0E.2B.34.04.01.01.01.04.01.02.02.01.02.01.05"},
    {{fourCC("GIMX"), 0, 0, NtscBands, AnyScan}, 30000, "06.0E.2B.34.04.01.01.01.04.01.02.02.01.02.01.06"},
    {{fourCC("MMES"), 0, 0, AnyRate, AnyScan}, 0, "06.0E.2B.34.04.01.01.03.04.01.02.02.01.01.11.00"},
    {{fourCC("xd25"), 0, 0, AnyRate, AnyScan}, 0, "06.0E.2B.34.04.01.01.03.04.01.02.02.01.05.03.00"},
    {{fourCC("xd35"), 0, 0, AnyRate, AnyScan}, 0, "06.0E.2B.34.04.01.01.03.04.01.02.02.01.03.03.00"},
    {{fourCC("xd50"), 0, 0, AnyRate, AnyScan}, 0, "06.0E.2B.34.04.01.01.03.04.01.02.02.01.04.03.00"},
};

// Fixed frame sizes by code, or by the resolution identifier of the code's
// parameters where `id` is given.
struct SizeRow {
    Match match;
    int32_t id;  // 0: any
    unsigned size;
};

const SizeRow sizeRows[] = {
    {{fourCC("GIMX"), 0, 0, OtherBands, AnyScan}, 160, 284160},
    {{fourCC("GIMX"), 0, 0, NtscBands, AnyScan}, 160, 236032},
    {{fourCC("dv50"), 0, 0, AnyRate, AnyScan}, 0, 472064},
    {{fourCC("dv25"), 0, 0, AnyRate, AnyScan}, 0, 232448},
    {{fourCC("dvcp"), 0, 0, AnyRate, AnyScan}, 0, 232448},
    {{fourCC("dvsd"), 0, 0, AnyRate, AnyScan}, 0, 116224},
    {{fourCC("AVdn"), 720, 0, AnyRate, AnyScan}, 0, 0x4A000},
    {{fourCC("AVdx"), 720, 0, AnyRate, AnyScan}, 0, 458752},
    {{fourCC("AVdx"), 1080, 0, AnyRate, AnyScan}, 0, 917504},
    {{fourCC("AVdn"), 1080, 0, AnyRate, AnyScan}, 1238, 917504},
    {{fourCC("AVdn"), 1080, 0, AnyRate, AnyScan}, 1243, 917504},
    {{fourCC("AVdn"), 1080, 0, AnyRate, AnyScan}, 1237, 606208},
    {{fourCC("AVdn"), 1080, 0, AnyRate, AnyScan}, 1242, 606208},
    {{fourCC("AVdn"), 1080, 0, AnyRate, AnyScan}, 1244, 606208},
    {{fourCC("AVdn"), 1080, 0, AnyRate, AnyScan}, 1253, 188416},
    {{fourCC("AVdn"), 1080, 0, AnyRate, AnyScan}, 1259, 417792},
    {{fourCC("AVdn"), 1080, 0, AnyRate, AnyScan}, 1260, 417792},
};

// Codes whose frames the dictionary gives no fixed size.
const unsigned variableSizeCodes[] = {
    fourCC("MMES"), fourCC("M701"), fourCC("xd25"), fourCC("xd35"), fourCC("xd50"), fourCC("avc5"),
    fourCC("avc6"), fourCC("pxya"), fourCC("cv00"), fourCC("cv01"), fourCC("cv02"), fourCC("cv03"),
    fourCC("cv04"), fourCC("cv05"), fourCC("cv06"), fourCC("cv07"), fourCC("cv08"), fourCC("cv09"),
    fourCC("cv10"), fourCC("cv11"), fourCC("cv12"), fourCC("cv13"), fourCC("cv14"), fourCC("cv15"),
    fourCC("cv16"), fourCC("cv17"),
};

} // namespace

int32_t resolutionIdFromVideoParams(const VideoEncodeParams& params)
{
    const double rate = params.scale > 0 ? double(params.rate) / params.scale : 0.0;
    for (const ResolutionRow& row : resolutionRows)
        if (matches(row.match, params) && (!row.byDataRate || dataRateFromResolutionId(row.id, rate) == params.dataRate))
            return row.id;
    return 0;
}

MXFUL getEssenceCodingType(const VideoEncodeParams* params)
{
    if (!params)
        return MXFUL();
    // DNxHR (the writer's "cv21" to "cv25") is coded as DNxHD is.
    for (unsigned code : {fourCC("AVdn"), fourCC("AVdx"), fourCC("cv21"), fourCC("cv22"), fourCC("cv23"),
                          fourCC("cv24"), fourCC("cv25")})
        if (params->fcc == code)
            return avidDnxhdCoding();
    for (const CodingRow& row : codingRows)
        if (matches(row.match, *params) && (!row.dataRate || row.dataRate == params->dataRate))
            return labelFromText(row.label);
    return MXFUL();
}

bool getAafSampleSizeFromCompression(const VideoEncodeParams* params, unsigned& size)
{
    size = 0;
    if (!params)
        return false;
    const int32_t id = resolutionIdFromVideoParams(*params);
    for (const SizeRow& row : sizeRows)
        if (matches(row.match, *params) && (!row.id || row.id == id)) {
            size = row.size;
            return true;
        }
    for (unsigned code : variableSizeCodes)
        if (params->fcc == code)
            return true;
    return false;
}

} // namespace Corvidane::MXF
