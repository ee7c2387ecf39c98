#include <gtest/gtest.h>

#include <cstdlib>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "frame/FourCC.h"
#include "mxf/model/DescriptorReaders.h"
#include "mxf/model/EssenceCodingTables.h"
#include "mxf/model/EssenceElement.h"
#include "mxf/model/EssenceID.h"
#include "mxf/model/EssenceIdentification.h"
#include "mxf/model/KlvBufferWalk.h"
#include "mxf/model/MxfResults.h"
#include "mxf/model/Package.h"
#include "mxf/model/SetCatalogue.h"
#include "mxf/model/SystemItem.h"
#include "support/MxfMetadataFile.h"
#include "support/TempDir.h"
#include "support/TestMedia.h"

using namespace Corvidane;
using namespace Corvidane::MXF;

namespace {

using Bytes = std::vector<unsigned char>;

// A file, and what the register's labels say of its essence: the kinds of
// its picture and sound containers (-1: none), and the code of its picture
// coding label (empty: a label outside the MPEG-2 and DV families).
struct EssenceCase {
    const char* file;
    int pictureKind;
    int soundKind;
    const char* fcc;
};

const EssenceCase essenceCases[] = {
    {"mxf_op1a_mpeg2_pcm24.mxf", EssenceMPEG2, EssenceAES3, "MMES"},
    {"mxf_op1a_dv.mxf", EssenceDV, EssenceAES3, "dvsd"},
    {"mxf_op1a_dnxhd.mxf", EssenceVC3, EssenceAES3, ""},
    {"mxf_opatom_dnxhd.mxf", EssenceVC3, -1, ""},
    {"mxf_opatom_pcm24.mxf", -1, EssenceWave, ""},
    {"mxf_d10.mxf", EssenceIMX, EssenceIMX, "GIMX"},
    {"mxf_prores.mxf", EssenceProRes, -1, ""},
    {"mxf_jpeg2000.mxf", EssenceJpeg2000, -1, ""},
    {"mxf_h264.mxf", EssenceAVC, -1, ""},
};

// ffprobe's view of the first stream of a type ("v" or "a"): key=value pairs.
std::map<std::string, std::string> probe(const std::string& path, const char* type)
{
    std::map<std::string, std::string> values;
    std::istringstream lines(runCommand(std::string("ffprobe -v error -select_streams ") + type +
                                        ":0 -show_entries stream -of default=nw=1 " + shellQuote(path)));
    std::string line;
    while (std::getline(lines, line))
        if (size_t eq = line.find('='); eq != std::string::npos)
            values.emplace(line.substr(0, eq), line.substr(eq + 1));
    return values;
}

std::string rateText(const MXFRATIONAL& rate)
{
    return std::to_string(rate.numerator) + "/" + std::to_string(rate.denominator);
}

// The descriptors of a file as the descriptor readers read them.
std::vector<CDescriptor> readDescriptors(const MxfMetadataFile& file)
{
    std::vector<CDescriptor> descriptors;
    SetReadContext context(file.primer);
    for (const MxfMetadataFile::Set& set : file.sets) {
        CKlvLocalSet items(set.item);
        CDescriptor descriptor;
        CvResult result = readDescriptor(items, CMxf_SM_SetID(set.item.key), &descriptor, context);
        if (result == MxfNoDescriptor)
            continue;
        EXPECT_EQ(result, OK) << "descriptor at " << set.offset;
        descriptors.push_back(descriptor);
    }
    return descriptors;
}

class MxfDescriptors : public ::testing::TestWithParam<EssenceCase> {};

// Every set is named, and every property is one its class knows.
TEST_P(MxfDescriptors, NoSetOrPropertyFallsThroughAsUnknown)
{
    MxfMetadataFile file(testMedia(GetParam().file));
    ASSERT_FALSE(file.sets.empty());
    for (const MxfMetadataFile::Set& set : file.sets) {
        CMxf_SM_SetID id(set.item.key);
        ASSERT_NE(id.className(), nullptr) << "set at " << set.offset;
        const SetDescription* description = structuralSetDescription(id);
        ASSERT_NE(description, nullptr) << id.className();
        CKlvLocalSet items(set.item);
        do {
            const MXF_TAG2UL* entry = file.primer.FindTag(static_cast<uint16_t>(items.getTag()));
            ASSERT_NE(entry, nullptr) << id.className();
            EXPECT_NE(description->find(entry->ul), nullptr) << id.className() << " tag " << items.getTag();
        } while (items.moveNext() == OK);
    }
}

// Sizes, rates, channels and bits as ffprobe has them; container labels
// give the essence kinds, coding labels the codes.
TEST_P(MxfDescriptors, ValuesAgreeWithFfprobe)
{
    const EssenceCase& c = GetParam();
    const std::string path = testMedia(c.file);
    std::vector<CDescriptor> descriptors = readDescriptors(MxfMetadataFile(path));
    size_t pictures = 0, sounds = 0;
    for (const CDescriptor& descriptor : descriptors) {
        PACKAGE_DESCRIPTOR slot;
        if (!descriptor.toPACKAGE_DESCRIPTOR(slot))
            continue;
        CMxf_GC_EssenceID id;
        ASSERT_TRUE(id.setFromUL(descriptor.descriptor->essenceContainer));
        EXPECT_EQ(id.wrapType, 1);
        if (auto* picture = dynamic_cast<const CMxf_SM_DescriptorPicture*>(descriptor.descriptor.get())) {
            ++pictures;
            std::map<std::string, std::string> v = probe(path, "v");
            EXPECT_EQ(std::to_string(picture->displayWidth), v["width"]);
            // Heights of a frame; a layout of separate fields gives them per field.
            const unsigned fields = picture->frameLayout == 1 ? 2 : 1;
            const std::set<std::string> heights = {std::to_string(picture->displayHeight * fields),
                                                   std::to_string(picture->storedHeight * fields)};
            EXPECT_TRUE(heights.count(v["height"])) << v["height"];
            EXPECT_EQ(rateText(picture->sampleRate), v["r_frame_rate"]);
            auto* cdci = dynamic_cast<const CMxf_SM_DescriptorPictureCDCI*>(picture);
            if (cdci && v["bits_per_raw_sample"] != "N/A") {
                EXPECT_EQ(std::to_string(cdci->componentDepth), v["bits_per_raw_sample"]);
            }
            EXPECT_EQ(id.codec, c.pictureKind);
            const unsigned fcc = fccFromEssenceCodingType(picture->pictureEssenceCoding);
            EXPECT_EQ(fcc ? fourCCToString(fcc) : "", c.fcc);
        }
        if (auto* sound = dynamic_cast<const CMxf_SM_DescriptorSound*>(descriptor.descriptor.get())) {
            ++sounds;
            std::map<std::string, std::string> a = probe(path, "a");
            EXPECT_EQ(std::to_string(sound->channelCount), a["channels"]);
            EXPECT_EQ(rateText(sound->audioSamplingRate), a["sample_rate"] + "/1");
            // pcm_s16le, pcm_s24le: the bits stand in the codec's name.
            EXPECT_EQ(std::to_string(sound->quantizationBits), a["codec_name"].substr(5, 2));
            EXPECT_EQ(id.codec, c.soundKind);
        }
    }
    EXPECT_EQ(pictures, c.pictureKind < 0 ? 0u : 1u);
    EXPECT_EQ(sounds, c.soundKind < 0 ? 0u : 1u);
}

// The essence kinds that name what ffprobe calls a codec.
bool kindNamesCodec(int kind, const std::string& codec)
{
    static const std::multimap<std::string, int> kinds = {
        {"mpeg2video", EssenceMPEG2}, {"mpeg2video", EssenceIMX}, {"dvvideo", EssenceDV},
        {"dnxhd", EssenceVC3},        {"prores", EssenceProRes},  {"jpeg2000", EssenceJpeg2000},
        {"h264", EssenceAVC},         {"pcm_s16le", EssenceWave}, {"pcm_s16le", EssenceAES3},
        {"pcm_s16le", EssenceIMX},    {"pcm_s24le", EssenceWave}, {"pcm_s24le", EssenceAES3},
    };
    auto [first, last] = kinds.equal_range(codec);
    for (auto it = first; it != last; ++it)
        if (it->second == kind)
            return true;
    return false;
}

// Each stream's essence is named as ffprobe names its codec: by the
// descriptor's container label, by the partition's when the descriptor's is
// lost, and with both lost by the picture coding label at the heights that
// have container labels, or as wave for sound.
TEST_P(MxfDescriptors, EssenceIsNamedAsFfprobeNamesTheCodec)
{
    const EssenceCase& c = GetParam();
    const std::string path = testMedia(c.file);
    for (const CDescriptor& descriptor : readDescriptors(MxfMetadataFile(path))) {
        PACKAGE_DESCRIPTOR slot;
        if (!descriptor.toPACKAGE_DESCRIPTOR(slot))
            continue;
        const bool isVideo = dynamic_cast<const CMxf_SM_DescriptorPicture*>(descriptor.descriptor.get()) != nullptr;
        std::map<std::string, std::string> stream = probe(path, isVideo ? "v" : "a");
        const int height = isVideo ? std::stoi(stream["height"]) : 0;
        const bool standardHeight = std::set<int>{480, 486, 576, 720, 1080}.count(height) != 0;
        const MXFUL written = descriptor.descriptor->essenceContainer;
        CDescriptor lost;
        lost.CopyFrom(descriptor);
        lost.descriptor->essenceContainer = MXFUL();

        for (const MXFUL* partition : {&written, static_cast<const MXFUL*>(nullptr)}) {
            const bool byLabel = partition != nullptr;
            StreamEssenceFacts facts;
            facts.descriptor = lost.descriptor.get();
            facts.partitionContainer = partition;
            facts.isVideo = isVideo;
            facts.rate = descriptor.descriptor->sampleRate;
            facts.height = height;
            CMxf_GC_EssenceID id;
            unsigned fcc = 0;
            std::wstring error;
            const bool named = essenceIDFromDescriptor(facts, id, fcc, error);
            if (named) {
                EXPECT_TRUE(kindNamesCodec(id.codec, stream["codec_name"])) << stream["codec_name"];
            }
            if (byLabel || !isVideo) {
                EXPECT_TRUE(named) << stream["codec_name"];
                continue;
            }
            if (*c.fcc) {
                EXPECT_EQ(named, standardHeight) << c.fcc;
                EXPECT_EQ(fourCCToString(fcc), c.fcc);
            }
            if (!error.empty()) {
                EXPECT_FALSE(named);
                EXPECT_EQ(error, L"essenceIDFromUL failed due to invalid height " + std::to_wstring(height));
            }
        }
        StreamEssenceFacts asWritten;
        asWritten.descriptor = descriptor.descriptor.get();
        asWritten.isVideo = isVideo;
        CMxf_GC_EssenceID id;
        unsigned fcc = 0;
        std::wstring error;
        ASSERT_TRUE(essenceIDFromDescriptor(asWritten, id, fcc, error));
        EXPECT_TRUE(kindNamesCodec(id.codec, stream["codec_name"])) << stream["codec_name"];
        EXPECT_EQ(id.label, written);
    }
}

// Essence element keys carry the track numbers of the file package's
// tracks, one per stream, pictures as pictures; system items (ffmpeg writes
// them in OP1a files too) count the
// content packages from 0.
TEST_P(MxfDescriptors, EssenceElementKeysNameTheTracks)
{
    const std::string path = testMedia(GetParam().file);
    MxfMetadataFile file(path);
    std::set<uint32_t> trackNumbers;
    for (const MxfMetadataFile::Set* set : file.setsOf(0x3B)) {
        CMxf_SM_Track track;
        CKlvLocalSet items(set->item);
        SetReadContext context(file.primer);
        ASSERT_EQ(readTrack(items, track, context), OK);
        if (track.trackNumber)
            trackNumbers.insert(track.trackNumber);
    }
    std::set<uint32_t> elements, pictureElements;
    std::vector<uint16_t> continuity;
    CKlvBufferWalk walk(file.bytes.data(), file.bytes.size());
    CKlvItem item;
    while (walk.next(item)) {
        CMxf_GC_EssenceElement element(item.key);
        if (element.IsValid()) {
            EXPECT_FALSE(element.IsGC_Timecode());
            elements.insert(element.GetTrackNumber());
            // DV is a compound of picture and its own sound.
            if (element.IsGC_Picture() || element.IsCP_Picture() || element.IsGC_Compound())
                pictureElements.insert(element.GetTrackNumber());
        }
        CMxf_GC_SystemItem system;
        if (system.SetKLV(item)) {
            continuity.push_back(system.continuityCount);
            // An essence container label 06.0E.2B.34.04.01.01.xx.0D.01.03.01.02.
            const MXFUL& ul = system.essenceContainer;
            EXPECT_TRUE(hasSmptePrefix(ul.bytes) && ul[4] == 4 && ul[8] == 0x0D && ul[10] == 3 && ul[12] == 2);
        }
    }
    EXPECT_EQ(elements, trackNumbers);
    const std::string streams = runCommand("ffprobe -v error -show_entries format=nb_streams -of csv=p=0 " +
                                           shellQuote(path));
    EXPECT_EQ(std::to_string(elements.size()), streams.substr(0, streams.find('\n')));
    EXPECT_EQ(pictureElements.size(), GetParam().pictureKind < 0 ? 0u : 1u);
    for (size_t i = 0; i < continuity.size(); ++i)
        EXPECT_EQ(continuity[i], i);
    if (!continuity.empty()) {
        const std::string frames = runCommand("ffprobe -v error -count_packets -select_streams v:0 -show_entries "
                                              "stream=nb_read_packets -of csv=p=0 " + shellQuote(path));
        EXPECT_EQ(std::to_string(continuity.size()), frames.substr(0, frames.find_first_of(",\n")));
    }
}

INSTANTIATE_TEST_SUITE_P(FfmpegFiles, MxfDescriptors, ::testing::ValuesIn(essenceCases),
                         [](const ::testing::TestParamInfo<EssenceCase>& info) {
                             std::string name = info.param.file;
                             return name.substr(0, name.find('.'));
                         });

// Descriptors changed and written again in place of ffmpeg's are read by
// mediainfo with the values put in.
TEST(MxfDescriptorWrite, DescriptorsWeWriteAreReadByMediainfo)
{
    MxfMetadataFile file(testMedia("mxf_op1a_mpeg2_pcm24.mxf"));
    Bytes bytes = file.bytes;
    SetReadContext context(file.primer);
    size_t changed = 0;
    for (const MxfMetadataFile::Set* set : file.setsOf(0x51)) {
        CMxf_SM_DescriptorPictureMPEG2 mpeg2;
        CKlvLocalSet items(set->item);
        ASSERT_EQ(fillSet(mpeg2, CMxf_SM_DescriptorPictureMPEG2::description(), items, context), OK);
        mpeg2.bitRate = 2345678;
        mpeg2.maxGOP = 12;
        mpeg2.videoLineMap[0] = 21;
        mpeg2.videoLineMap[1] = 284;
        Bytes value = rewriteSet(mpeg2, CMxf_SM_DescriptorPictureMPEG2::description(), set->item, file.primer);
        ASSERT_EQ(value.size(), set->item.length);
        replaceEverywhere(bytes, set->item, value);
        ++changed;
    }
    for (const MxfMetadataFile::Set* set : file.setsOf(0x47)) {
        CMxf_SM_DescriptorSoundAES3 aes3;
        CKlvLocalSet items(set->item);
        ASSERT_EQ(fillSet(aes3, CMxf_SM_DescriptorSoundAES3::description(), items, context), OK);
        aes3.avgBps = 123456;
        Bytes value = rewriteSet(aes3, CMxf_SM_DescriptorSoundAES3::description(), set->item, file.primer);
        ASSERT_EQ(value.size(), set->item.length);
        replaceEverywhere(bytes, set->item, value);
        ++changed;
    }
    ASSERT_EQ(changed, 2u);
    TempDir dir;
    const std::string path = dir.path() + "/rewritten.mxf";
    writeFile(path, std::string(bytes.begin(), bytes.end()));
    const std::string details = runCommand("mediainfo --Details=1 " + shellQuote(path));
    for (const char* expected : {"Maximum bit rate - 2345678 ", "VideoLineMapEntry:                    21 ",
                                 "VideoLineMapEntry:                    284 ",
                                 "Maximum occurring spacing between I frames - 12 ",
                                 "Average Bytes per second - 123456 "})
        EXPECT_NE(details.find(expected), std::string::npos) << expected;
}

struct ResolutionCase {
    int32_t id;
    const char* fcc;
    unsigned rate25;
    unsigned rate2997;
};

// Avid resolution identifiers: codes, and data rates at 25 and at 29.97.
TEST(MxfEssenceTables, ResolutionIdsGiveCodesAndDataRates)
{
    const std::vector<ResolutionCase> cases = {
        {-12, "xd25", 0, 0},          {-11, "xd25", 25000, 25000},   {-9, "xd35", 35000, 35000},
        {140, "dv25", 25000, 25000},  {141, "dvsd", 25000, 25000},   {142, "dv50", 50000, 50000},
        {143, "", 0, 0},              {144, "dvsd", 25000, 25000},   {160, "GIMX", 50000, 50000},
        {161, "GIMX", 40000, 40000},  {162, "GIMX", 30000, 30000},   {1235, "AVdx", 185000, 220000},
        {1237, "AVdn", 120000, 145000}, {1238, "AVdn", 185000, 220000}, {1250, "AVdx", 175000, 220000},
        {1251, "AVdn", 175000, 220000}, {1252, "AVdn", 115000, 145000}, {1253, "AVdn", 36000, 45000},
        {1259, "AVdn", 100000, 100000}, {3400, "avc5", 50000, 50000}, {3403, "", 0, 0},
        {3413, "", 0, 0},             {3419, "avc6", 100000, 100000}, {3470, "cv03", 800, 800},
        {3476, "cv08", 2000, 2000},   {3484, "cv12", 800, 800},      {3485, "", 0, 0},
        {3491, "cv02", 1500, 1500},   {3492, "cv00", 1500, 1500},    {3710, "apcn", 175000, 175000},
        {3752, "apcn", 100000, 100000}, {4027, "xd25", 0, 0},        {4029, "xd25", 25000, 25000},
        {4045, "xd35", 0, 0},         {4051, "xd17", 17500, 17500},  {4079, "xd50", 50000, 50000},
        {4085, "xd35", 35000, 35000}, {4090, "", 0, 0},              {4092, "xd50", 50000, 50000},
    };
    for (const ResolutionCase& c : cases) {
        const unsigned fcc = fccFromResolutionId(c.id);
        EXPECT_EQ(fcc ? fourCCToString(fcc) : "", c.fcc) << c.id;
        EXPECT_EQ(dataRateFromResolutionId(c.id, 25.0), c.rate25) << c.id;
        EXPECT_EQ(dataRateFromResolutionId(c.id, 30000.0 / 1001), c.rate2997) << c.id;
    }
    EXPECT_EQ(dataRateFromResolutionId(1238, 60000.0 / 1001), 220000u);
}

// Picture coding labels of the MPEG-2 and DV families.
TEST(MxfEssenceTables, CodingLabelsGiveCodes)
{
    const std::vector<std::pair<const char*, const char*>> cases = {
        {"06.0E.2B.34.04.01.01.03.04.01.02.02.01.01.11.00", "MMES"},
        {"06.0E.2B.34.04.01.01.01.04.01.02.02.01.02.01.05", "GIMX"},
        {"06.0E.2B.34.04.01.01.03.04.01.02.02.01.02.03.00", "MMES"},
        {"06.0E.2B.34.04.01.01.03.04.01.02.02.01.04.02.00", "M701"},
        {"06.0E.2B.34.04.01.01.03.04.01.02.02.01.03.03.00", "xd50"},
        {"06.0E.2B.34.04.01.01.03.04.01.02.02.01.20.10.00", "SSSP"},
        {"06.0E.2B.34.04.01.01.01.04.01.02.02.02.01.02.00", "dvsd"},
        {"06.0E.2B.34.04.01.01.01.04.01.02.02.02.01.05.00", ""},
        {"06.0E.2B.34.04.01.01.01.04.01.02.02.02.02.01.00", "dv25"},
        {"06.0E.2B.34.04.01.01.01.04.01.02.02.02.02.04.00", "dv50"},
        {"06.0E.2B.34.04.01.01.01.04.01.02.02.02.02.05.00", "dvh1"},
        {"06.0E.2B.34.04.01.01.01.04.01.02.02.02.02.08.00", "dvh1"},
        {"06.0E.2B.34.04.01.01.01.04.01.02.02.02.02.09.00", ""},
        {"06.0E.2B.34.04.01.01.0A.04.01.02.02.71.13.00.00", ""},
        {"06.0E.2B.35.04.01.01.01.04.01.02.02.02.01.02.00", ""},
    };
    for (const auto& [label, fcc] : cases) {
        const unsigned code = fccFromEssenceCodingType(labelFromText(label));
        EXPECT_EQ(code ? fourCCToString(code) : "", fcc) << label;
    }
}

struct ContainerCase {
    const char* label;
    bool ok;
    int kind;
    int wrap;
    int mapping;
    int dataKind;
};

// Essence container labels taken apart by byte 13.
TEST(MxfEssenceTables, ContainerLabelsGiveKindsAndWrapping)
{
    const std::vector<ContainerCase> cases = {
        {"06.0E.2B.34.04.01.01.01.0D.01.03.01.02.01.05.01", true, EssenceIMX, 1, 5, 0},
        {"06.0E.2B.34.04.01.01.01.0D.01.03.01.02.02.41.02", true, EssenceDV, 2, 0x41, 0},
        {"06.0E.2B.34.04.01.01.01.0D.01.03.01.02.02.05.01", true, EssenceDV, 1, -1, 0},
        {"06.0E.2B.34.04.01.01.02.0D.01.03.01.02.04.60.01", true, EssenceMPEG2, 1, 4, 0},
        {"06.0E.2B.34.04.01.01.02.0D.01.03.01.02.09.60.02", true, EssenceMPEG2, 2, 9, 0},
        {"06.0E.2B.34.04.01.01.01.0D.01.03.01.02.05.01.03", true, EssenceUncompressed, -1, -1, 0},
        {"06.0E.2B.34.04.01.01.01.0D.01.03.01.02.06.01.00", true, EssenceWave, 1, 1, 0},
        {"06.0E.2B.34.04.01.01.01.0D.01.03.01.02.06.04.00", true, EssenceAES3, 2, 4, 0},
        {"06.0E.2B.34.04.01.01.07.0D.01.03.01.02.0C.01.00", true, EssenceJpeg2000, 1, -1, 0},
        {"06.0E.2B.34.04.01.01.09.0D.01.03.01.02.0E.00.00", true, EssenceAncOrVbi, 1, -1, 14},
        {"06.0E.2B.34.04.01.01.0A.0D.01.03.01.02.10.60.01", true, EssenceAVC, 1, -1, 0},
        {"06.0E.2B.34.04.01.01.0A.0D.01.03.01.02.11.02.00", true, EssenceVC3, 2, -1, 0},
        {"06.0E.2B.34.04.01.01.0D.0D.01.03.01.02.1C.01.00", true, EssenceProRes, 1, -1, 0},
        {"06.0E.2B.34.01.01.01.FF.4B.46.41.41.00.0D.4D.4F", true, EssenceAafPrivate, 2, -1, 0},
        {"06.0E.2B.34.04.01.01.03.0D.01.03.01.02.7F.01.00", false, -1, -1, -1, 0},
        {"06.0E.2B.34.04.01.01.01.0D.01.03.01.03.04.60.01", false, -1, -1, -1, 0},
        {"06.0E.2B.35.04.01.01.01.0D.01.03.01.02.04.60.01", false, -1, -1, -1, 0},
    };
    for (const ContainerCase& c : cases) {
        CMxf_GC_EssenceID id;
        EXPECT_EQ(id.setFromUL(labelFromText(c.label)), c.ok) << c.label;
        if (!c.ok)
            continue;
        EXPECT_EQ(id.codec, c.kind) << c.label;
        EXPECT_EQ(id.wrapType, c.wrap) << c.label;
        EXPECT_EQ(id.mappingSubtype, c.mapping) << c.label;
        EXPECT_EQ(id.dataKind, c.dataKind) << c.label;
    }
}

struct FccCase {
    const char* fcc;
    int32_t rateNum, rateDen;
    unsigned dataRate;
    int32_t wrap, polarity;
    bool ok;
    int kind;
    const char* label;  // the label made
};

// Container labels made for a code, rate, data rate, wrapping and polarity.
TEST(MxfEssenceTables, CodesGiveContainerLabels)
{
    const std::vector<FccCase> cases = {
        {"dvsd", 30000, 1001, 25000, 1, 3, true, EssenceDV, "06.0E.2B.34.04.01.01.01.0D.01.03.01.02.02.01.01"},
        {"dvcp", 25, 1, 25000, 2, 3, true, EssenceDV, "06.0E.2B.34.04.01.01.01.0D.01.03.01.02.02.02.02"},
        {"dv50", 25, 1, 50000, 1, 3, true, EssenceDV, "06.0E.2B.34.04.01.01.01.0D.01.03.01.02.02.51.01"},
        {"GIMX", 30000, 1001, 50000, 1, 3, true, EssenceIMX, "06.0E.2B.34.04.01.01.01.0D.01.03.01.02.01.01.01"},
        {"GIMX", 25, 1, 30000, 1, 3, true, EssenceIMX, "06.0E.2B.34.04.01.01.01.0D.01.03.01.02.01.06.01"},
        {"GIMX", 25, 1, 35000, 1, 3, false, -1, ""},
        {"MMES", 25, 1, 50000, 1, 3, true, EssenceMPEG2, "06.0E.2B.34.04.01.01.01.0D.01.03.01.02.04.00.01"},
        {"avc6", 25, 1, 100000, 1, 3, true, EssenceAVC, "06.0E.2B.34.04.01.01.0A.0D.01.03.01.02.10.60.01"},
        {"AVdn", 25, 1, 100000, 2, 3, true, EssenceVC3, "06.0E.2B.34.04.01.01.01.0E.04.03.01.02.06.02.03"},
        {"AVdn", 25, 1, 220000, 2, 3, true, EssenceVC3, "06.0E.2B.34.04.01.01.01.0E.04.03.01.02.06.02.02"},
        {"AVdx", 50, 1, 100000, 2, 4, true, EssenceVC3, "06.0E.2B.34.04.01.01.01.0E.04.03.01.02.06.03.01"},
        {"WAVE", 48000, 0, 0, 1, 0, true, EssenceWave, "06.0E.2B.34.04.01.01.01.0D.01.03.01.02.06.03.00"},
        {"WAVE", 48000, 0, 0, 2, 0, true, EssenceWave, "06.0E.2B.34.04.01.01.01.0D.01.03.01.02.06.04.00"},
        {"anc1", 25, 1, 0, 1, 0, true, EssenceAncOrVbi, "06.0E.2B.34.04.01.01.01.0D.01.03.01.02.0E.00.00"},
        {"mjpg", 25, 1, 0, 1, 0, false, -1, ""},
    };
    for (const FccCase& c : cases) {
        CMxf_GC_EssenceID id;
        const unsigned code = fourCC(*reinterpret_cast<const char(*)[5]>(c.fcc));
        EXPECT_EQ(id.setFromFCC(code, c.rateNum, c.rateDen, c.dataRate, c.wrap, c.polarity), c.ok) << c.fcc;
        if (!c.ok)
            continue;
        EXPECT_EQ(id.codec, c.kind) << c.fcc;
        EXPECT_EQ(id.label, labelFromText(c.label)) << c.fcc;
        EXPECT_EQ(id.wrapType, c.wrap) << c.fcc;
    }
}

// A set of items: tag, 2-byte length, value.
struct ItemsBuilder {
    ItemsBuilder& item(uint16_t tag, const Bytes& value)
    {
        bytes.insert(bytes.end(), {static_cast<unsigned char>(tag >> 8), static_cast<unsigned char>(tag),
                                   static_cast<unsigned char>(value.size() >> 8),
                                   static_cast<unsigned char>(value.size())});
        bytes.insert(bytes.end(), value.begin(), value.end());
        return *this;
    }
    CKlvItem klv(long setId)
    {
        CKlvItem klv;
        klv.key = CMxf_SM_SetID(setId).key();
        klv.length = bytes.size();
        klv.value = bytes.data();
        return klv;
    }
    Bytes bytes;
};

Bytes be32(uint32_t n)
{
    return {static_cast<unsigned char>(n >> 24), static_cast<unsigned char>(n >> 16), static_cast<unsigned char>(n >> 8),
            static_cast<unsigned char>(n)};
}

Bytes batchOf(uint32_t count, uint32_t itemSize, size_t bytesOfItems)
{
    Bytes out = be32(count);
    Bytes size = be32(itemSize);
    out.insert(out.end(), size.begin(), size.end());
    out.resize(out.size() + bytesOfItems, 0x42);
    return out;
}

// A property put into a descriptor: its local tag, its label, its value.
struct CarriedItem {
    uint16_t tag;
    const char* label;
    Bytes value;
};

struct CarriedCase {
    const char* what;
    const char* file;
    unsigned char sourceClass;  // byte 14 of the key of ffmpeg's descriptor
    long setId;                 // the class the variant is read as
    std::vector<CarriedItem> added;
};

Bytes labelBytes(const char* text)
{
    const MXFUL ul = labelFromText(text);
    return Bytes(ul.bytes, ul.bytes + 16);
}

Bytes referencesOf(std::initializer_list<unsigned char> fills)
{
    Bytes out = batchOf(static_cast<uint32_t>(fills.size()), 16, 0);
    for (unsigned char fill : fills)
        out.insert(out.end(), 16, fill);
    return out;
}

// ffmpeg's descriptor, with the items the class knows, and properties that
// ffmpeg doesn't write added, is written back byte for byte as read.
TEST(MxfDescriptorWrite, PropertiesCarriedAreWrittenBackAsRead)
{
    const char* locators = "06.0E.2B.34.01.01.01.02.06.01.01.04.06.03.00.00";
    const std::vector<CarriedCase> cases = {
        {"MPEG-2 with locators", "mxf_op1a_mpeg2_pcm24.mxf", 0x51, 27,
         {{0x2F01, locators, referencesOf({0x11, 0x22})}}},
        {"RGBA with references and layout", "mxf_op1a_mpeg2_pcm24.mxf", 0x51, 17,
         {{0x3406, "06.0E.2B.34.01.01.01.05.04.01.05.03.0B.00.00.00", be32(940)},
          {0x3407, "06.0E.2B.34.01.01.01.05.04.01.05.03.0C.00.00.00", be32(64)},
          {0x3401, "06.0E.2B.34.01.01.01.02.04.01.05.03.06.00.00.00", {'R', 10, 'G', 10, 'B', 10, 0, 0}}}},
        {"wave with channel assignment and compression", "mxf_opatom_pcm24.mxf", 0x48, 26,
         {{0x3D32, "06.0E.2B.34.01.01.01.07.04.02.01.01.05.00.00.00",
           labelBytes("06.0E.2B.34.04.01.01.0D.04.02.02.10.03.01.01.00")},
          {0xFF41, "06.0E.2B.34.01.01.01.03.04.02.04.02.01.00.00.00", {1, 2, 3}},
          {0xFF42, "06.0E.2B.34.01.01.01.03.04.02.04.02.02.00.00.00", {4, 5}}}},
        {"AES3 with channel assignment and locators", "mxf_op1a_mpeg2_pcm24.mxf", 0x47, 25,
         {{0x3D32, "06.0E.2B.34.01.01.01.07.04.02.01.01.05.00.00.00",
           labelBytes("06.0E.2B.34.04.01.01.0D.04.02.02.10.03.01.02.00")},
          {0x2F01, locators, referencesOf({0x33})}}},
        {"ANC with data coding", "mxf_op1a_mpeg2_pcm24.mxf", 0x47, 29,
         {{0x3E01, "06.0E.2B.34.01.01.01.03.04.03.03.02.00.00.00.00",
           labelBytes("06.0E.2B.34.04.01.01.0D.04.04.02.01.00.00.00.00")}}},
    };
    for (const CarriedCase& c : cases) {
        MxfMetadataFile file(testMedia(c.file));
        const std::vector<const MxfMetadataFile::Set*> sources = file.setsOf(c.sourceClass);
        ASSERT_FALSE(sources.empty()) << c.what;
        const CMxf_SM_SetID id(c.setId);
        const SetDescription* description = structuralSetDescription(id);
        ASSERT_NE(description, nullptr) << c.what;

        CMxf_SM_Primer primer = file.primer;
        ItemsBuilder builder;
        CKlvLocalSet source(sources.front()->item);
        do {
            const MXF_TAG2UL* entry = primer.FindTag(static_cast<uint16_t>(source.getTag()));
            ASSERT_NE(entry, nullptr) << c.what;
            if (description->find(entry->ul))
                builder.item(static_cast<uint16_t>(source.getTag()),
                             Bytes(source.getItemData(), source.getItemData() + source.getItemLength()));
        } while (source.moveNext() == OK);
        for (const CarriedItem& added : c.added) {
            primer.append(added.tag, labelFromText(added.label));
            builder.item(added.tag, added.value);
        }

        CKlvItem klv = builder.klv(c.setId);
        CKlvLocalSet items(klv);
        SetReadContext context(primer);
        CDescriptor descriptor;
        ASSERT_EQ(readDescriptor(items, id, &descriptor, context), OK) << c.what;
        EXPECT_EQ(rewriteSet(*descriptor.descriptor, *description, klv, primer), builder.bytes) << c.what;
    }
}

CMxf_SM_Primer descriptorPrimer()
{
    CMxf_SM_Primer primer;
    primer.append(0x3C0A, CMxf_SM_BaseSet::description().findTag(0x3C0A)->label);
    primer.append(0x3F01, CMxf_SM_DescriptorMutipleSet::description().findTag(0x3F01)->label);
    primer.append(0x3D07, CMxf_SM_DescriptorSound::description().findTag(0x3D07)->label);
    primer.append(0x3D01, CMxf_SM_DescriptorSound::description().findTag(0x3D01)->label);
    primer.append(0x3006, CMxf_SM_DescriptorGeneric::description().findTag(0x3006)->label);
    return primer;
}

struct BadDescriptorCase {
    const char* what;
    long setId;
    std::vector<std::pair<uint16_t, Bytes>> items;
    CvResult result;
    const wchar_t* text;
};

// Counts and lengths are bounded by the bytes read; a failed read leaves
// the descriptor given as it was.
TEST(MxfDescriptorReaders, BadDescriptorsFailCleanly)
{
    const std::vector<BadDescriptorCase> cases = {
        {"sub descriptors of item size 8", 20, {{0x3F01, batchOf(2, 8, 16)}}, MxfBadBatch, L"Descriptor_MultipleSet"},
        {"no sub descriptors", 20, {{0x3C0A, Bytes(16, 1)}}, MxfNoSubDescriptors, L""},
        {"a count of four billion in 8 bytes", 20, {{0x3F01, batchOf(0xFFFFFFFF, 16, 0)}}, MxfNoSubDescriptors, L""},
        {"a tag not in the primer", 26, {{0x3D07, be32(2)}, {0x7777, Bytes(4)}}, MxfTagNotInPrimer,
         L"Tag not found"},
        {"a channel count of 2 bytes", 18, {{0x3D07, Bytes(2)}}, OK, L""},
        {"a sub descriptor batch cut short", 20, {{0x3F01, Bytes(5)}}, MxfBadBatch, L"Descriptor_MultipleSet"},
    };
    const CMxf_SM_Primer primer = descriptorPrimer();
    for (const BadDescriptorCase& c : cases) {
        ItemsBuilder builder;
        for (const auto& [tag, value] : c.items)
            builder.item(tag, value);
        CKlvItem klv = builder.klv(c.setId);
        CKlvLocalSet items(klv);
        SetReadContext context(primer);
        CDescriptor descriptor;
        EXPECT_EQ(readDescriptor(items, CMxf_SM_SetID(c.setId), &descriptor, context), c.result) << c.what;
        EXPECT_EQ(context.errorText, c.text) << c.what;
        if (c.result != OK) {
            EXPECT_EQ(descriptor.type, 0) << c.what;
        }
    }
}

// A second channel count replaces the first, except in a Sony DV file,
// where it is the quantization bits.
TEST(MxfDescriptorReaders, RepeatedChannelCount)
{
    const CMxf_SM_Primer primer = descriptorPrimer();
    for (bool sonyDv : {false, true}) {
        ItemsBuilder builder;
        builder.item(0x3D07, be32(2)).item(0x3D07, be32(24));
        CKlvItem klv = builder.klv(18);
        CKlvLocalSet items(klv);
        SetReadContext context(primer);
        context.repeatedChannelCountIsBits = sonyDv;
        CDescriptor descriptor;
        ASSERT_EQ(Descriptor_Sound(items, &descriptor, context), OK);
        ASSERT_EQ(descriptor.type, 2);
        auto& sound = static_cast<const CMxf_SM_DescriptorSound&>(*descriptor.descriptor);
        EXPECT_EQ(sound.channelCount, sonyDv ? 2u : 24u);
        EXPECT_EQ(sound.quantizationBits, sonyDv ? 24u : 0u);
    }
}

// The descriptor of a track: by linked track, the only one when it names
// none, and a placed slot otherwise.
TEST(MxfDescriptorReaders, FindDescriptor)
{
    CMxf_SM_Package package;
    CMxf_SM_DescriptorPictureCDCI only;
    package.descriptors.emplace_back(only);
    EXPECT_EQ(package.findDescriptor(0), 0);
    EXPECT_EQ(package.findDescriptor(7), 0);

    CMxf_SM_DescriptorSoundWave sound;
    sound.linkedTrackID = 3;
    CMxf_SM_DescriptorPicture picture;
    picture.linkedTrackID = 2;
    package.descriptors.clear();
    package.descriptors.emplace_back(picture);
    package.descriptors.emplace_back(sound);
    EXPECT_EQ(package.findDescriptor(3), 1);
    EXPECT_EQ(package.findDescriptor(4), -1);

    package.descriptors.clear();
    package.packageDescriptors.resize(2);
    ASSERT_TRUE(CDescriptor(sound).toPACKAGE_DESCRIPTOR(package.packageDescriptors[1]));
    EXPECT_TRUE(package.packageDescriptors[1].wave);
    EXPECT_EQ(package.findDescriptor(3), 1);
    EXPECT_EQ(package.findDescriptor(65535), 0);
    EXPECT_FALSE(CDescriptor(CMxf_SM_DescriptorMutipleSet()).toPACKAGE_DESCRIPTOR(package.packageDescriptors[0]));

    CDescriptor copy;
    copy.CopyFrom(CDescriptor(sound));
    EXPECT_EQ(copy.type, 5);
    EXPECT_EQ(copy.descriptor->linkedTrackID, 3u);
    EXPECT_EQ(CDescriptor().get_InstanceUUID(), GUID{});
}

} // namespace
