#include "mxf/model/EssenceCodingTables.h"

#include "frame/FourCC.h"

namespace Corvidane::MXF {

namespace {

struct CodingRow {
    unsigned char family;    // byte 12
    unsigned char lowest13;  // byte 13, a range
    unsigned char highest13;
    int byte14;  // -1: any
    unsigned fcc;
};

// The first row that matches gives the code.
const CodingRow codingRows[] = {
    {1, 0x01, 0x01, -1, fourCC("MMES")},   {1, 0x02, 0x02, 0x01, fourCC("GIMX")},
    {1, 0x02, 0x02, -1, fourCC("MMES")},   {1, 0x03, 0x05, 0x02, fourCC("M701")},
    {1, 0x03, 0x05, 0x03, fourCC("xd50")}, {1, 0x20, 0x20, 0x10, fourCC("SSSP")},
    {2, 0x01, 0x01, 0x01, fourCC("dvsd")}, {2, 0x01, 0x01, 0x02, fourCC("dvsd")},
    {2, 0x01, 0x01, 0x03, fourCC("dvsd")}, {2, 0x01, 0x01, 0x04, fourCC("dvsd")},
    {2, 0x02, 0x02, 0x01, fourCC("dv25")}, {2, 0x02, 0x02, 0x02, fourCC("dv25")},
    {2, 0x02, 0x02, 0x03, fourCC("dv50")}, {2, 0x02, 0x02, 0x04, fourCC("dv50")},
    {2, 0x02, 0x02, 0x05, fourCC("dvh1")}, {2, 0x02, 0x02, 0x06, fourCC("dvh1")},
    {2, 0x02, 0x02, 0x07, fourCC("dvh1")}, {2, 0x02, 0x02, 0x08, fourCC("dvh1")},
};

// Identifiers from `first` to `last`, with the code and the data rates at
// 29.97 or 59.94 (`ntsc`) and at other rates; a rate of 0 where none is known.
struct ResolutionRow {
    int32_t first;
    int32_t last;
    unsigned fcc;
    unsigned ntsc;
    unsigned other;
};

const ResolutionRow resolutionRows[] = {
    {-12, -12, fourCC("xd25"), 0, 0},
    {-11, -11, fourCC("xd25"), 25000, 25000},
    {-10, -9, fourCC("xd35"), 35000, 35000},
    {140, 140, fourCC("dv25"), 25000, 25000},
    {141, 141, fourCC("dvsd"), 25000, 25000},
    {142, 142, fourCC("dv50"), 50000, 50000},
    {144, 144, fourCC("dvsd"), 25000, 25000},
    {160, 160, fourCC("GIMX"), 50000, 50000},
    {161, 161, fourCC("GIMX"), 40000, 40000},
    {162, 162, fourCC("GIMX"), 30000, 30000},
    {1235, 1235, fourCC("AVdx"), 220000, 185000},
    {1237, 1237, fourCC("AVdn"), 145000, 120000},
    {1238, 1238, fourCC("AVdn"), 220000, 185000},
    {1241, 1241, fourCC("AVdx"), 220000, 185000},
    {1242, 1242, fourCC("AVdn"), 145000, 120000},
    {1243, 1243, fourCC("AVdn"), 220000, 185000},
    {1244, 1244, fourCC("AVdn"), 145000, 120000},
    {1250, 1250, fourCC("AVdx"), 220000, 175000},
    {1251, 1251, fourCC("AVdn"), 220000, 175000},
    {1252, 1252, fourCC("AVdn"), 145000, 115000},
    {1253, 1253, fourCC("AVdn"), 45000, 36000},
    {1258, 1260, fourCC("AVdn"), 100000, 100000},
    {3400, 3400, fourCC("avc5"), 50000, 50000},
    {3404, 3408, fourCC("avc5"), 50000, 50000},
    {3410, 3412, fourCC("avc6"), 100000, 100000},
    {3414, 3419, fourCC("avc6"), 100000, 100000},
    {3470, 3470, fourCC("cv03"), 800, 800},
    {3471, 3471, fourCC("cv01"), 800, 800},
    {3472, 3472, fourCC("cv11"), 800, 800},
    {3473, 3473, fourCC("cv05"), 800, 800},
    {3474, 3474, fourCC("cv10"), 800, 800},
    {3475, 3475, fourCC("cv07"), 800, 800},
    {3476, 3476, fourCC("cv08"), 2000, 2000},
    {3477, 3477, fourCC("cv04"), 2000, 2000},
    {3478, 3478, fourCC("cv09"), 2000, 2000},
    {3479, 3479, fourCC("cv06"), 2000, 2000},
    {3484, 3484, fourCC("cv12"), 800, 800},
    {3486, 3486, fourCC("cv13"), 800, 800},
    {3487, 3487, fourCC("cv14"), 800, 800},
    {3488, 3488, fourCC("cv15"), 800, 800},
    {3489, 3489, fourCC("cv16"), 800, 800},
    {3490, 3490, fourCC("cv17"), 800, 800},
    {3491, 3491, fourCC("cv02"), 1500, 1500},
    {3492, 3492, fourCC("cv00"), 1500, 1500},
    {3710, 3710, fourCC("apcn"), 175000, 175000},
    {3752, 3752, fourCC("apcn"), 100000, 100000},
    {4002, 4004, fourCC("xd25"), 25000, 25000},
    {4027, 4027, fourCC("xd25"), 0, 0},
    {4028, 4029, fourCC("xd25"), 25000, 25000},
    {4043, 4044, fourCC("xd35"), 35000, 35000},
    {4045, 4045, fourCC("xd35"), 0, 0},
    {4051, 4051, fourCC("xd17"), 17500, 17500},
    {4061, 4062, fourCC("xd25"), 25000, 25000},
    {4073, 4079, fourCC("xd50"), 50000, 50000},
    {4080, 4089, fourCC("xd35"), 35000, 35000},
    {4091, 4092, fourCC("xd50"), 50000, 50000},
};

const ResolutionRow* resolutionRow(int32_t id)
{
    for (const ResolutionRow& row : resolutionRows)
        if (id >= row.first && id <= row.last)
            return &row;
    return nullptr;
}

} // namespace

unsigned fccFromEssenceCodingType(const MXFUL& ul)
{
    if (!hasSmptePrefix(ul.bytes) || ul[8] != 0x04 || ul[9] != 0x01 || ul[10] != 0x02 || ul[11] != 0x02)
        return 0;
    for (const CodingRow& row : codingRows)
        if (ul[12] == row.family && ul[13] >= row.lowest13 && ul[13] <= row.highest13 &&
            (row.byte14 < 0 || ul[14] == row.byte14))
            return row.fcc;
    return 0;
}

unsigned fccFromResolutionId(int32_t id)
{
    const ResolutionRow* row = resolutionRow(id);
    return row ? row->fcc : 0;
}

const MXFUL& avidDnxhdCoding()
{
    static const MXFUL label = labelFromText("06.0E.2B.34.04.01.01.01.0E.04.02.01.02.04.01.00");
    return label;
}

bool isNtscRate(double rate) { return (rate > 29.96 && rate < 29.98) || (rate > 59.93 && rate < 59.95); }

unsigned dataRateFromResolutionId(int32_t id, double rate)
{
    const ResolutionRow* row = resolutionRow(id);
    if (!row)
        return 0;
    return isNtscRate(rate) ? row->ntsc : row->other;
}

} // namespace Corvidane::MXF
