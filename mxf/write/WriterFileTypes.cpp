#include "mxf/write/WriterFileTypes.h"

#include "frame/FourCC.h"

namespace Corvidane::MXF {

namespace {

struct RenameRow {
    unsigned from;
    CodeRename rename;
};

const RenameRow renameRows[] = {
    {fourCC("xd50"), {0, true}},
    {fourCC("hdv2"), {fourCC("xd25"), true}},
    {fourCC("hdv3"), {fourCC("xd25"), true}},
    {fourCC("xdv2"), {fourCC("xd35"), true}},
    {fourCC("xdv3"), {fourCC("xd35"), true}},
    {fourCC("xd35"), {fourCC("xd35"), true}},
    {fourCC("xdvb"), {fourCC("xd35"), true}},
    {fourCC("xdvc"), {fourCC("xd35"), true}},
    {fourCC("avca"), {fourCC("avc5"), false}},
    {fourCC("avcb"), {fourCC("avc5"), false}},
    {fourCC("avcc"), {fourCC("avc6"), false}},
    {fourCC("avcd"), {fourCC("avc6"), false}},
};

struct TypeRow {
    unsigned fcc;
    int fileType;
};

const TypeRow typeRows[] = {
    {fourCC("GIMX"), FileTypeIMX},         {fourCC("dvsd"), FileTypeDV25},     {fourCC("dv50"), FileTypeDV50},
    {fourCC("dv25"), FileTypeDVCPro},      {fourCC("dvcp"), FileTypeDVCPro},   {fourCC("dvh1"), FileTypeDVCProHD},
    {fourCC("xd25"), FileTypeMpegIFrame},  {fourCC("xd35"), FileTypeMpegIFrame}, {fourCC("xd50"), FileTypeMpegIFrame},
    {fourCC("M701"), FileTypeMpegIFrame},  {fourCC("MMES"), FileTypeMpegIFrame}, {fourCC("pxya"), FileTypeProxy},
    {fourCC("AVdn"), FileTypeDNxHD},       {fourCC("AVdx"), FileTypeDNxHD},    {fourCC("avc5"), FileTypeAvcIntra},
    {fourCC("avc6"), FileTypeAvcIntra},
};

struct RefusalRow {
    unsigned fcc;
    const wchar_t* text;
};

const RefusalRow refusalRows[] = {
    {fourCC("AVdn"), L"DNxHD requires opatom"}, {fourCC("AVdx"), L"DNxHD requires opatom"},
    {fourCC("cv21"), L"DNxHR requires opatom"}, {fourCC("cv22"), L"DNxHR requires opatom"},
    {fourCC("cv23"), L"DNxHR requires opatom"}, {fourCC("cv24"), L"DNxHR requires opatom"},
    {fourCC("cv25"), L"DNxHR requires opatom"}, {fourCC("dvcp"), L"%ls requires opatom"},
    {fourCC("dvh1"), L"%ls requires opatom"},
};

const uint32_t dnxhdDataRates[] = {36000,  40000,  45000,  50000,  60000,  75000,  80000,  85000,
                                   90000,  100000, 110000, 115000, 120000, 145000, 165000, 175000,
                                   185000, 200000, 220000, 240000, 290000, 440000};

struct FixedSizeRow {
    unsigned fcc;
    uint32_t dataRate;  // 0: any
    uint32_t at25, at2997;
    uint32_t clipAt25, clipAt2997;  // 0: as frame wrapped
};

const FixedSizeRow fixedSizeRows[] = {
    {fourCC("dvsd"), 0, 144896, 120832, 144000, 120000},
    {fourCC("dv25"), 0, 144032, 120032, 0, 0},
    {fourCC("dvcp"), 0, 144032, 120032, 0, 0},
    {fourCC("dv50"), 0, 288032, 240032, 0, 0},
    {fourCC("GIMX"), 30000, 150032, 125157, 0, 0},
    {fourCC("GIMX"), 40000, 200032, 166865, 0, 0},
    {fourCC("GIMX"), 50000, 250032, 208573, 0, 0},
};

bool isAvidProxyCode(unsigned fcc)
{
    const char c0 = char(fcc & 0xFF), c1 = char(fcc >> 8 & 0xFF), c2 = char(fcc >> 16 & 0xFF), c3 = char(fcc >> 24);
    if (c0 != 'c' || c1 != 'v' || c2 < '0' || c2 > '2' || c3 < '0' || c3 > '9')
        return false;
    const int n = (c2 - '0') * 10 + (c3 - '0');
    return n <= 17;
}

bool isDnxhrCode(unsigned fcc)
{
    for (unsigned code : {fourCC("cv21"), fourCC("cv22"), fourCC("cv23"), fourCC("cv24"), fourCC("cv25")})
        if (fcc == code)
            return true;
    return false;
}

} // namespace

bool renameForCreate(unsigned fcc, CodeRename& rename)
{
    for (const RenameRow& row : renameRows)
        if (row.from == fcc) {
            rename = row.rename;
            return true;
        }
    return false;
}

int fileTypeOfCode(unsigned fcc, uint32_t gopSize)
{
    if (isAvidProxyCode(fcc))
        return FileTypeAvidProxy;
    if (isDnxhrCode(fcc))
        return FileTypeDNxHR;
    for (const TypeRow& row : typeRows)
        if (row.fcc == fcc)
            return row.fileType == FileTypeMpegIFrame && gopSize >= 2 ? FileTypeMpegLongGop : row.fileType;
    return FileTypeNone;
}

const wchar_t* op1aRefusal(unsigned fcc)
{
    for (const RefusalRow& row : refusalRows)
        if (row.fcc == fcc)
            return row.text;
    return nullptr;
}

bool isAncillaryTrack(const TrackStructuralData& track)
{
    return track.streamType == StreamAncillary || int(track.streamType) == 6;
}

bool isDnxhdDataRate(uint32_t dataRate)
{
    for (uint32_t rate : dnxhdDataRates)
        if (rate == dataRate)
            return true;
    return false;
}

bool isImxDataRate(uint32_t dataRate) { return dataRate == 30000 || dataRate == 40000 || dataRate == 50000; }

MXFUL essenceKeyPrefix() { return labelFromText("06.0E.2B.34.01.02.01.01.0D.01.03.01.00.00.00.00"); }

uint32_t fixedPictureElementSize(unsigned fcc, uint32_t dataRate, bool ntsc, bool clipWrapped)
{
    for (const FixedSizeRow& row : fixedSizeRows) {
        if (row.fcc != fcc || (row.dataRate && row.dataRate != dataRate))
            continue;
        if (clipWrapped && row.clipAt25)
            return ntsc ? row.clipAt2997 : row.clipAt25;
        return ntsc ? row.at2997 : row.at25;
    }
    return 0;
}

} // namespace Corvidane::MXF
