#include "mxf/model/EssenceID.h"

#include <cstring>

#include "frame/FourCC.h"
#include "mxf/model/EssenceCodingTables.h"

namespace Corvidane::MXF {

namespace {

const MXFUL& aafPrivateLabel()
{
    static const MXFUL label = labelFromText("06.0E.2B.34.01.01.01.FF.4B.46.41.41.00.0D.4D.4F");
    return label;
}

// Byte 15 or 14 as a wrapping: only frame (1) and clip (2) are kept.
int32_t wrapping(unsigned char byte) { return byte == 1 || byte == 2 ? byte : -1; }

bool isDvMapping(unsigned char byte)
{
    static const unsigned char mappings[] = {1, 2, 3, 4, 63, 64, 65, 80, 81, 96, 97, 98, 99, 127};
    for (unsigned char mapping : mappings)
        if (byte == mapping)
            return true;
    return false;
}

// How byte 13 of a container label sets the kind, mapping and wrapping.
struct CodecRow {
    unsigned char byte13;
    void (*set)(CMxf_GC_EssenceID& id);
};

const CodecRow codecRows[] = {
    {1, [](CMxf_GC_EssenceID& id) { id.SetParams_IMX(); }},
    {2,
     [](CMxf_GC_EssenceID& id) {
         id.codec = EssenceDV;
         id.wrapType = wrapping(id.label[15]);
         if (isDvMapping(id.label[14]))
             id.mappingSubtype = id.label[14];
     }},
    {5, [](CMxf_GC_EssenceID& id) { id.SetParams_UNCOMPRESSED(); }},
    {6, [](CMxf_GC_EssenceID& id) { id.SetParams_AES(); }},
    {12,
     [](CMxf_GC_EssenceID& id) {
         id.codec = EssenceJpeg2000;
         id.wrapType = wrapping(id.label[14]);
     }},
    {13,
     [](CMxf_GC_EssenceID& id) {
         id.codec = EssenceAncOrVbi;
         id.wrapType = 1;
         id.dataKind = 13;
     }},
    {14,
     [](CMxf_GC_EssenceID& id) {
         id.codec = EssenceAncOrVbi;
         id.wrapType = 1;
         id.dataKind = 14;
     }},
    {15,
     [](CMxf_GC_EssenceID& id) {
         id.codec = EssenceAvidProxy;
         id.wrapType = 2;
     }},
    {16,
     [](CMxf_GC_EssenceID& id) {
         id.codec = EssenceAVC;
         id.wrapType = wrapping(id.label[15]);
     }},
    {17,
     [](CMxf_GC_EssenceID& id) {
         id.codec = EssenceVC3;
         id.wrapType = wrapping(id.label[14]);
     }},
    {28,
     [](CMxf_GC_EssenceID& id) {
         id.codec = EssenceProRes;
         id.wrapType = wrapping(id.label[14]);
     }},
    {30,
     [](CMxf_GC_EssenceID& id) {
         id.codec = EssenceAvid;
         id.wrapType = wrapping(id.label[14]);
     }},
};

void setMpeg2(CMxf_GC_EssenceID& id)
{
    id.codec = EssenceMPEG2;
    id.wrapType = wrapping(id.label[15]);
    id.mappingSubtype = id.label[13];
}

// The base of the labels made from a four character code.
MXFUL containerLabel(unsigned char byte13, unsigned char byte14, unsigned char byte15)
{
    MXFUL ul = labelFromText("06.0E.2B.34.04.01.01.01.0D.01.03.01.02.00.00.00");
    ul[13] = byte13;
    ul[14] = byte14;
    ul[15] = byte15;
    return ul;
}

bool isRate2997(int32_t num, int32_t den)
{
    if (den <= 0)
        return false;
    const double rate = double(num) / den;
    return rate > 29.96 && rate < 29.98;
}

// Inputs of `setFromFCC`.
struct FccRequest {
    int32_t rateNum, rateDen;
    unsigned dataRate;
    int32_t wrap, polarity;
};

struct FccRow {
    unsigned fcc;
    bool (*set)(CMxf_GC_EssenceID& id, unsigned fcc, const FccRequest& r);
};

bool fromLabel(CMxf_GC_EssenceID& id, const MXFUL& ul) { return id.setCodec(ul); }

bool dv25(CMxf_GC_EssenceID& id, unsigned, const FccRequest& r)
{
    return fromLabel(id, containerLabel(0x02, isRate2997(r.rateNum, r.rateDen) ? 1 : 2, r.wrap));
}

bool dv50(CMxf_GC_EssenceID& id, unsigned, const FccRequest& r)
{
    return fromLabel(id, containerLabel(0x02, isRate2997(r.rateNum, r.rateDen) ? 0x50 : 0x51, r.wrap));
}

bool imx(CMxf_GC_EssenceID& id, unsigned, const FccRequest& r)
{
    // D-10 at 50, 40 and 30 Mbit/s; the odd mapping of each pair is 625/50, the even 525/59.94.
    static const struct {
        unsigned dataRate;
        unsigned char ntsc, other;
    } rates[] = {{50000, 1, 2}, {40000, 3, 4}, {30000, 5, 6}};
    for (const auto& row : rates)
        if (row.dataRate == r.dataRate)
            return fromLabel(id, containerLabel(0x01, isRate2997(r.rateNum, r.rateDen) ? row.ntsc : row.other, r.wrap));
    return false;
}

bool mpeg2(CMxf_GC_EssenceID& id, unsigned, const FccRequest& r)
{
    return fromLabel(id, containerLabel(0x04, 0x00, r.wrap));
}

bool avc(CMxf_GC_EssenceID& id, unsigned, const FccRequest& r)
{
    MXFUL ul = containerLabel(0x10, 0x60, r.wrap);
    ul[7] = 0x0A;
    return fromLabel(id, ul);
}

bool vc3(CMxf_GC_EssenceID& id, unsigned fcc, const FccRequest& r)
{
    const bool interlaced = r.polarity != 4;
    const unsigned char third = fcc == fourCC("AVdx") ? 1 : (interlaced != (r.dataRate >= 180001) ? 3 : 2);
    MXFUL ul = containerLabel(0x06, r.polarity == 4 ? 3 : 2, third);
    ul[8] = 0x0E;
    ul[9] = 0x04;
    id.label = ul;
    id.codec = EssenceVC3;
    id.wrapType = wrapping(static_cast<unsigned char>(r.wrap));
    return true;
}

bool wave(CMxf_GC_EssenceID& id, unsigned, const FccRequest& r)
{
    const unsigned char mapping = r.wrap == 1 ? 3 : 4;
    id.label = containerLabel(0x06, mapping, 0x00);
    id.codec = EssenceWave;
    id.mappingSubtype = mapping;
    id.wrapType = wrapping(static_cast<unsigned char>(r.wrap));
    return true;
}

bool uncompressed(CMxf_GC_EssenceID& id, unsigned, const FccRequest& r)
{
    MXFUL ul = containerLabel(0, 0, 0);
    static const unsigned char tail[] = {0x04, 0x01, 0x02, 0x02, 0x00, 0x20, 0x02, 0x04};
    std::memcpy(ul.bytes + 8, tail, sizeof tail);
    id.label = ul;
    id.codec = EssenceUncompressed;
    id.wrapType = wrapping(static_cast<unsigned char>(r.wrap));
    return true;
}

bool avid(CMxf_GC_EssenceID& id, unsigned, const FccRequest& r)
{
    id.label = containerLabel(0, 0, 0);
    id.codec = EssenceAvid;
    id.wrapType = wrapping(static_cast<unsigned char>(r.wrap));
    return true;
}

bool anc(CMxf_GC_EssenceID& id, unsigned, const FccRequest&)
{
    id.label = containerLabel(0x0E, 0x00, 0x00);
    id.codec = EssenceAncOrVbi;
    id.wrapType = 1;
    id.dataKind = 14;
    return true;
}

const FccRow fccRows[] = {
    {fourCC("dvsd"), dv25}, {fourCC("dvcp"), dv25},         {fourCC("dv50"), dv50}, {fourCC("GIMX"), imx},
    {fourCC("MMES"), mpeg2}, {fourCC("M701"), mpeg2},       {fourCC("avc6"), avc},  {fourCC("AVdn"), vc3},
    {fourCC("AVdx"), vc3},  {fourCC("WAVE"), wave},         {fourCC("WAVS"), wave}, {fourCC("AES3"), wave},
    {fourCC("pxya"), uncompressed}, {fourCC("AVdu"), avid}, {fourCC("anc1"), anc},
};

} // namespace

bool CMxf_GC_EssenceID::setFromUL(const MXFUL& ul)
{
    if (!hasSmptePrefix(ul.bytes))
        return false;
    const bool container = ul[4] == 0x04 && ul[5] == 0x01 && ul[6] == 0x01 && ul[8] == 0x0D && ul[9] == 0x01 &&
                           ul[10] == 0x03 && ul[11] == 0x01 && ul[12] == 0x02;
    if (!container && ul != aafPrivateLabel())
        return false;
    return setCodec(ul);
}

bool CMxf_GC_EssenceID::setCodec(const MXFUL& ul)
{
    label = ul;
    if (ul == aafPrivateLabel()) {
        codec = EssenceAafPrivate;
        wrapType = 2;
        return true;
    }
    const unsigned char byte13 = ul[13];
    if (byte13 == 4 || byte13 == 7 || byte13 == 8 || byte13 == 9) {
        setMpeg2(*this);
        return true;
    }
    for (const CodecRow& row : codecRows)
        if (row.byte13 == byte13) {
            row.set(*this);
            return true;
        }
    return false;
}

bool CMxf_GC_EssenceID::setFromFCC(unsigned fcc, int32_t rateNum, int32_t rateDen, unsigned dataRate, int32_t wrap,
                                   int32_t polarity)
{
    const FccRequest request{rateNum, rateDen, dataRate, wrap, polarity};
    for (const FccRow& row : fccRows)
        if (row.fcc == fcc)
            return row.set(*this, fcc, request);
    return false;
}

void CMxf_GC_EssenceID::setMultipleDescriptor()
{
    label = labelFromText("06.0E.2B.34.04.01.01.03.0D.01.03.01.02.7F.01.00");
}

void CMxf_GC_EssenceID::SetParams_IMX()
{
    // D-10 content packages are always frame wrapped.
    codec = EssenceIMX;
    wrapType = 1;
    mappingSubtype = label[14];
}

void CMxf_GC_EssenceID::SetParams_UNCOMPRESSED()
{
    codec = EssenceUncompressed;
    wrapType = wrapping(label[15]);
}

void CMxf_GC_EssenceID::SetParams_AES()
{
    // Byte 14: 1 and 2 wave, 3 and 4 AES3, each frame then clip wrapped.
    const unsigned char mapping = label[14];
    codec = mapping == 3 || mapping == 4 ? EssenceAES3 : EssenceWave;
    wrapType = mapping >= 1 && mapping <= 4 ? (mapping % 2 ? 1 : 2) : -1;
    mappingSubtype = mapping;
}

} // namespace Corvidane::MXF
