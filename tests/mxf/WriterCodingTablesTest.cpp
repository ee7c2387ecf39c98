#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "frame/FourCC.h"
#include "mxf/model/DescriptorReaders.h"
#include "mxf/model/EssenceCodingTables.h"
#include "mxf/model/WriterCodingTables.h"
#include "support/MxfMetadataFile.h"
#include "support/TestMedia.h"

using namespace Corvidane;
using namespace Corvidane::MXF;

namespace {

VideoEncodeParams params(const char* fcc, int32_t width, int32_t height, int32_t rate, int32_t scale,
                         int32_t polarity, unsigned dataRate)
{
    VideoEncodeParams p;
    p.fcc = fourCC(*reinterpret_cast<const char(*)[5]>(fcc));
    p.width = width;
    p.height = height;
    p.rate = rate;
    p.scale = scale;
    p.polarity = polarity;
    p.dataRate = dataRate;
    return p;
}

struct ResolutionCase {
    const char* fcc;
    int32_t width, height, rate, scale, polarity;
    unsigned dataRate;
    int32_t id;
};

// Identifiers chosen for a compression; each names the code again, at the
// data rate asked for, through the reader's tables.
TEST(MxfWriterCodingTables, ResolutionIdsOfCompressions)
{
    const std::vector<ResolutionCase> cases = {
        {"dv25", 720, 480, 30000, 1001, 3, 25000, 140},
        {"dv50", 720, 576, 25, 1, 3, 50000, 142},
        {"dvsd", 720, 576, 25, 1, 3, 25000, 141},
        {"GIMX", 720, 608, 25, 1, 3, 50000, 160},
        {"GIMX", 720, 512, 30000, 1001, 3, 30000, 162},
        {"GIMX", 720, 608, 25, 1, 3, 35000, 0},
        {"cv12", 480, 270, 24000, 1001, 4, 800, 3484},
        {"cv12", 480, 270, 25, 1, 4, 800, 0},
        {"cv12", 480, 272, 24000, 1001, 4, 800, 0},
        {"cv12", 480, 270, 24000, 1001, 4, 1500, 0},
        {"cv04", 960, 540, 25, 1, 3, 2000, 3477},
        {"cv04", 960, 540, 25, 1, 3, 800, 0},
        {"cv04", 960, 540, 30000, 1001, 3, 2000, 0},
        {"cv02", 352, 240, 30000, 1001, 3, 1500, 3491},
        {"cv00", 352, 288, 25, 1, 3, 1500, 3492},
        {"xd25", 1440, 1080, 30000, 1001, 3, 25000, 4004},
        {"xd25", 1440, 1080, 25, 1, 3, 25000, 4003},
        {"xd25", 1440, 1080, 24000, 1001, 4, 0, 4027},
        {"xd25", 1280, 720, 24000, 1001, 4, 25000, 4028},
        {"xd25", 1280, 720, 25, 1, 4, 25000, 4062},
        {"xd25", 1280, 720, 30000, 1001, 4, 25000, 4002},
        {"xd25", 1280, 720, 50, 1, 4, 25000, 4061},
        {"xd50", 1280, 720, 25, 1, 4, 50000, 4091},
        {"xd50", 1280, 720, 30000, 1001, 4, 50000, 4092},
        {"xd50", 1280, 720, 50, 1, 4, 50000, 4079},
        {"xd50", 1280, 720, 60000, 1001, 4, 50000, 4078},
        {"xd50", 1920, 1080, 30000, 1001, 3, 50000, 4073},
        {"xd50", 1920, 1080, 25, 1, 3, 50000, 4074},
        {"xd50", 1920, 1080, 24000, 1001, 4, 50000, 4077},
        {"xd50", 1920, 1080, 25, 1, 4, 50000, 4076},
        {"xd50", 1920, 1080, 12, 1, 4, 50000, 0},
        {"AVdn", 1920, 1080, 25, 1, 4, 185000, 1238},
        {"AVdn", 1920, 1080, 30000, 1001, 4, 145000, 1237},
        {"AVdn", 1920, 1080, 25, 1, 4, 36000, 1253},
        {"AVdn", 1920, 1080, 25, 1, 3, 120000, 1242},
        {"AVdn", 1440, 1080, 25, 1, 3, 120000, 1244},
        {"AVdn", 1280, 720, 50, 1, 4, 115000, 1252},
        {"AVdn", 1280, 720, 60000, 1001, 4, 220000, 1251},
        {"AVdn", 1920, 1080, 25, 1, 4, 99999, 0},
        {"AVdx", 1920, 1080, 25, 1, 3, 185000, 1241},
        {"AVdx", 1280, 720, 50, 1, 4, 175000, 1250},
        {"mjpg", 720, 576, 25, 1, 3, 0, 0},
    };
    for (const ResolutionCase& c : cases) {
        const VideoEncodeParams p = params(c.fcc, c.width, c.height, c.rate, c.scale, c.polarity, c.dataRate);
        const int32_t id = resolutionIdFromVideoParams(p);
        EXPECT_EQ(id, c.id) << c.fcc << " " << c.width << "x" << c.height << " " << c.rate << "/" << c.scale;
        if (!id)
            continue;
        EXPECT_EQ(fourCCToString(fccFromResolutionId(id)), c.fcc) << id;
        if (c.dataRate) {
            EXPECT_EQ(dataRateFromResolutionId(id, double(c.rate) / c.scale), c.dataRate) << id;
        }
    }
}

struct CodingCase {
    const char* fcc;
    int32_t height, rate, scale;
    unsigned dataRate;
    const char* readBack;  // the code the reader's table gives the label; empty: the label is zero
};

// Picture coding labels the writer states, read back by the reader's tables.
TEST(MxfWriterCodingTables, CodingLabelsReadBackAsTheirCodes)
{
    const std::vector<CodingCase> cases = {
        {"dvsd", 480, 30000, 1001, 25000, "dvsd"}, {"dvsd", 576, 25, 1, 25000, "dvsd"},
        {"dv25", 480, 30000, 1001, 25000, "dv25"}, {"dvcp", 576, 25, 1, 25000, "dv25"},
        {"dv50", 576, 25, 1, 50000, "dv50"},       {"dvh1", 1080, 25, 1, 100000, "dvh1"},
        {"dvh1", 720, 60000, 1001, 100000, "dvh1"}, {"GIMX", 608, 25, 1, 50000, "GIMX"},
        {"GIMX", 512, 30000, 1001, 30000, "GIMX"}, {"MMES", 576, 25, 1, 8000, "MMES"},
        {"xd50", 1080, 25, 1, 50000, "xd50"},      {"GIMX", 608, 25, 1, 35000, ""},
        {"avc6", 1080, 25, 1, 100000, ""},
    };
    for (const CodingCase& c : cases) {
        const VideoEncodeParams p = params(c.fcc, 0, c.height, c.rate, c.scale, 3, c.dataRate);
        const MXFUL label = getEssenceCodingType(&p);
        const unsigned code = fccFromEssenceCodingType(label);
        EXPECT_EQ(code ? fourCCToString(code) : "", c.readBack) << c.fcc << " " << c.height;
        if (!*c.readBack) {
            EXPECT_EQ(label, MXFUL()) << c.fcc;
        }
    }
    const VideoEncodeParams dnxhd = params("AVdn", 1920, 1080, 25, 1, 3, 120000);
    EXPECT_EQ(getEssenceCodingType(&dnxhd), avidDnxhdCoding());
}

struct FfmpegCodingCase {
    const char* file;
    const char* fcc;
    unsigned dataRate;
};

// ffmpeg states the same picture coding for its DV and D-10 files.
TEST(MxfWriterCodingTables, CodingLabelsAgreeWithFfmpeg)
{
    const std::vector<FfmpegCodingCase> cases = {
        {"mxf_op1a_dv.mxf", "dvsd", 25000},
        {"mxf_d10.mxf", "GIMX", 30000},
    };
    for (const FfmpegCodingCase& c : cases) {
        MxfMetadataFile file(testMedia(c.file));
        SetReadContext context(file.primer);
        size_t pictures = 0;
        for (const MxfMetadataFile::Set& set : file.sets) {
            CKlvLocalSet items(set.item);
            CDescriptor descriptor;
            if (readDescriptor(items, CMxf_SM_SetID(set.item.key), &descriptor, context) != OK)
                continue;
            auto* picture = dynamic_cast<const CMxf_SM_DescriptorPicture*>(descriptor.descriptor.get());
            if (!picture)
                continue;
            ++pictures;
            const VideoEncodeParams p = params(c.fcc, picture->storedWidth, picture->storedHeight,
                                               picture->sampleRate.numerator, picture->sampleRate.denominator, 3,
                                               c.dataRate);
            EXPECT_TRUE(versionBlindEqual(getEssenceCodingType(&p), picture->pictureEssenceCoding)) << c.file;
        }
        EXPECT_EQ(pictures, 1u) << c.file;
    }
}

struct SizeCase {
    const char* fcc;
    int32_t width, height, rate, scale, polarity;
    unsigned dataRate;
    bool known;
    unsigned size;
};

// Fixed frame sizes of the AAF dictionary; 0 where frames vary.
TEST(MxfWriterCodingTables, AafSampleSizes)
{
    const std::vector<SizeCase> cases = {
        {"GIMX", 720, 608, 25, 1, 3, 50000, true, 284160},
        {"GIMX", 720, 512, 30000, 1001, 3, 50000, true, 236032},
        {"dv50", 720, 576, 25, 1, 3, 50000, true, 472064},
        {"dvcp", 720, 576, 25, 1, 3, 25000, true, 232448},
        {"dvsd", 720, 480, 30000, 1001, 3, 25000, true, 116224},
        {"AVdn", 1280, 720, 50, 1, 4, 115000, true, 0x4A000},
        {"AVdn", 1920, 1080, 25, 1, 4, 185000, true, 917504},
        {"AVdn", 1920, 1080, 25, 1, 3, 120000, true, 606208},
        {"cv12", 480, 270, 24000, 1001, 4, 800, true, 0},
        {"pxya", 1920, 1080, 25, 1, 4, 0, true, 0},
        {"avc6", 1920, 1080, 25, 1, 3, 100000, true, 0},
        {"mjpg", 720, 576, 25, 1, 3, 0, false, 0},
    };
    for (const SizeCase& c : cases) {
        const VideoEncodeParams p = params(c.fcc, c.width, c.height, c.rate, c.scale, c.polarity, c.dataRate);
        unsigned size = 1;
        EXPECT_EQ(getAafSampleSizeFromCompression(&p, size), c.known) << c.fcc;
        EXPECT_EQ(size, c.size) << c.fcc << " " << c.height;
    }
}

} // namespace
