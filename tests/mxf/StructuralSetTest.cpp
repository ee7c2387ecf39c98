#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <string>
#include <vector>

#include "frame/StringException.h"
#include "mxf/model/ItemValue.h"
#include "mxf/model/KlvBufferWalk.h"
#include "mxf/model/MxfResults.h"
#include "mxf/model/MxfText.h"
#include "mxf/model/SetCatalogue.h"
#include "mxf/model/SetReaders.h"
#include "mxf/model/Umid.h"
#include "support/MxfLoadedMetadata.h"
#include "support/MxfMetadataFile.h"
#include "support/TempDir.h"
#include "support/TestMedia.h"

using namespace Corvidane;
using namespace Corvidane::MXF;

namespace {

using Bytes = std::vector<unsigned char>;

const char* const ffmpegFiles[] = {"mxf_op1a_mpeg2_tc.mxf", "mxf_opatom_dnxhd.mxf", "mxf_d10.mxf", "mxf_pipe.mxf",
                                   "mxf_op1a_mpeg2_pcm24.mxf", "mxf_op1a_dv.mxf", "mxf_op1a_dnxhd.mxf",
                                   "mxf_opatom_pcm24.mxf", "mxf_prores.mxf", "mxf_jpeg2000.mxf", "mxf_h264.mxf"};

// Bytes as hex, so that a difference shows where it is.
std::string hex(const Bytes& bytes)
{
    std::string text;
    char byte[4];
    for (unsigned char b : bytes) {
        std::snprintf(byte, sizeof byte, "%02x ", b);
        text += byte;
    }
    return text;
}

std::string valueOf(const CKlvItem& item) { return hex(Bytes(item.value, item.value + item.length)); }

class MxfStructuralSets : public ::testing::TestWithParam<const char*> {};

// Every set the model holds is read with no property left over, and written
// again with the same items gives the bytes ffmpeg wrote.
TEST_P(MxfStructuralSets, EverySetReadsWholeAndWritesTheSameBytes)
{
    MxfMetadataFile file(testMedia(GetParam()));
    ASSERT_GT(file.primer.getCount(), 1u);
    size_t held = 0;
    for (const MxfMetadataFile::Set& set : file.sets) {
        CMxf_SM_SetID id(set.item.key);
        const SetDescription* description = structuralSetDescription(id);
        std::unique_ptr<CMxf_SM_BaseSet> object = newStructuralSet(id);
        if (!description || !object)
            continue;
        ++held;
        CKlvLocalSet items(set.item);
        std::wstring text;
        EXPECT_EQ(description->fill(*object, items, file.primer, DecodeRules{}, nullptr, text), OK)
            << id.className() << " at " << set.offset;
        EXPECT_EQ(hex(rewriteSet(*object, *description, set.item, file.primer)), valueOf(set.item))
            << id.className() << " at " << set.offset;
    }
    // Preface, identification, content storage, two packages, and a track,
    // sequence and component at the least.
    EXPECT_GE(held, 8u);
}

INSTANTIATE_TEST_SUITE_P(FfmpegFiles, MxfStructuralSets, ::testing::ValuesIn(ffmpegFiles));

// "0x060A2B34..." as ffprobe prints a UMID.
std::string umidText(const UMID& umid)
{
    std::string hex = UMIDToString(&umid);
    hex.erase(std::remove(hex.begin(), hex.end(), '.'), hex.end());
    std::transform(hex.begin(), hex.end(), hex.begin(), ::toupper);
    return "0x" + hex;
}

std::string ffprobeTag(const std::string& path, const std::string& entry)
{
    std::string value = runCommand("ffprobe -v error -show_entries " + entry + " -of csv=p=0 " + shellQuote(path));
    while (!value.empty() && (value.back() == '\n' || value.back() == '\r'))
        value.pop_back();
    return value;
}

std::string narrow(const std::wstring& text) { return std::string(text.begin(), text.end()); }

// Material package, its tracks' clips, the file package they name and its
// descriptor: the references meet, and the values agree with ffprobe's.
TEST(MxfStructuralSets, PackageGraphOfAnOp1aFileTiesTogether)
{
    const std::string path = testMedia("mxf_op1a_mpeg2_tc.mxf");
    MxfMetadataFile file(path);
    LoadedMetadata metadata(file);
    ASSERT_EQ(metadata.materialPackages.size(), 1u);
    ASSERT_EQ(metadata.sourcePackages.size(), 1u);
    const CMxf_SM_Package& material = metadata.materialPackages[0];
    const CMxf_SM_Package& filePackage = metadata.sourcePackages[0];

    const std::vector<GUID>& packages = metadata.preface.contentStorage.packages;
    EXPECT_EQ(packages.size(), 2u);
    EXPECT_NE(std::find(packages.begin(), packages.end(), material.instanceUUID), packages.end());
    EXPECT_NE(std::find(packages.begin(), packages.end(), filePackage.instanceUUID), packages.end());
    ASSERT_EQ(metadata.essenceContainerData.size(), 1u);
    EXPECT_EQ(metadata.essenceContainerData[0].linkedPackageUID, filePackage.packageUID);

    EXPECT_EQ(umidText(material.packageUID), ffprobeTag(path, "format_tags=material_package_umid"));
    std::string fileUmid = ffprobeTag(path, "stream_tags=file_package_umid");
    EXPECT_EQ(umidText(filePackage.packageUID), fileUmid.substr(0, fileUmid.find_first_of(",\n")));

    // Picture, sound and timecode tracks; the essence tracks name file package tracks.
    size_t essenceTracks = 0;
    for (const CMxf_SM_Track& track : material.tracks) {
        ASSERT_EQ(track.sequence.sourceClips.size(), 1u);
        const CMxf_SM_SourceClip& clip = track.sequence.sourceClips[0];
        if (track.sequence.isTimeCode()) {
            ASSERT_TRUE(clip.timecode);
            EXPECT_EQ(clip.timecode->roundedTimecodeBase, 25);
            EXPECT_EQ(clip.timecode->startTimecode, 10 * 3600 * 25);
            EXPECT_EQ(ffprobeTag(path, "format_tags=timecode"), "10:00:00:00");
            continue;
        }
        ++essenceTracks;
        EXPECT_EQ(clip.sourcePackageID, filePackage.packageUID);
        auto named = std::find_if(filePackage.tracks.begin(), filePackage.tracks.end(),
                                  [&](const CMxf_SM_Track& t) { return t.trackID == clip.sourceTrackID; });
        ASSERT_NE(named, filePackage.tracks.end());
        EXPECT_EQ(named->sequence.dataDefinition, track.sequence.dataDefinition);
        if (track.sequence.isPicture()) {
            EXPECT_EQ(std::to_string(track.editRate.numerator) + "/" + std::to_string(track.editRate.denominator),
                      ffprobeTag(path, "stream=r_frame_rate").substr(0, 4));
        }
    }
    EXPECT_EQ(std::to_string(essenceTracks), ffprobeTag(path, "format=nb_streams"));

    ASSERT_EQ(filePackage.packageDescriptors.size(), 1u);
    const std::string descriptor = wireUuidText(filePackage.packageDescriptors[0].instanceUUID);
    EXPECT_NE(std::find(metadata.descriptorIds.begin(), metadata.descriptorIds.end(), descriptor),
              metadata.descriptorIds.end());

    ASSERT_EQ(metadata.preface.identifications.size(), 1u);
    const CMxf_SM_IdSet& identification = metadata.preface.identifications[0];
    EXPECT_EQ(narrow(identification.companyName), ffprobeTag(path, "format_tags=company_name"));
    EXPECT_EQ(narrow(identification.productName), ffprobeTag(path, "format_tags=product_name"));
    EXPECT_EQ(narrow(identification.platform), ffprobeTag(path, "format_tags=application_platform"));
    EXPECT_EQ(wireUuidText(identification.instanceUUID), ffprobeTag(path, "format_tags=uid"));
    EXPECT_EQ(wireUuidText(identification.generationUUID), ffprobeTag(path, "format_tags=generation_uid"));
    EXPECT_TRUE(metadata.preface.operationalPattern.isOp1a());
}

// Sets changed and written again in place of ffmpeg's (the same sizes) are
// read by ffprobe and mediainfo with the values put in.
TEST(MxfStructuralSets, SetsWeWriteAreReadByFfprobeAndMediainfo)
{
    MxfMetadataFile file(testMedia("mxf_op1a_mpeg2_tc.mxf"));
    Bytes bytes = file.bytes;
    size_t changed = 0;
    for (const MxfMetadataFile::Set* set : file.setsOf(0x30)) {
        CMxf_SM_IdSet identification;
        CKlvLocalSet items(set->item);
        std::wstring text;
        ASSERT_EQ(CMxf_SM_IdSet::description().fill(identification, items, file.primer, DecodeRules{}, nullptr, text),
                  OK);
        ASSERT_EQ(identification.companyName.size(), 6u);
        ASSERT_EQ(identification.productName.size(), 10u);
        identification.companyName = L"Magpie";
        identification.productName = L"Rookery 10";
        identification.productVersion = {3, 5, 0, 3, 0};
        Bytes value = rewriteSet(identification, CMxf_SM_IdSet::description(), set->item, file.primer);
        ASSERT_EQ(value.size(), set->item.length);
        replaceEverywhere(bytes, set->item, value);
        ++changed;
    }
    for (const MxfMetadataFile::Set* set : file.setsOf(0x14)) {
        CMxf_SM_SourceClip component;
        CKlvLocalSet items(set->item);
        std::wstring text;
        ASSERT_EQ(CMxf_SM_SourceClip::timecodeDescription().fill(component, items, file.primer, DecodeRules{},
                                                                 nullptr, text),
                  OK);
        component.timecode->startTimecode = ((1 * 60 + 2) * 60 + 3) * 25 + 4;
        Bytes value = rewriteSet(component, CMxf_SM_SourceClip::timecodeDescription(), set->item, file.primer);
        ASSERT_EQ(value.size(), set->item.length);
        replaceEverywhere(bytes, set->item, value);
        ++changed;
    }
    ASSERT_GE(changed, 3u);
    TempDir dir;
    const std::string path = dir.path() + "/rewritten.mxf";
    writeFile(path, std::string(bytes.begin(), bytes.end()));

    EXPECT_EQ(ffprobeTag(path, "format_tags=company_name"), "Magpie");
    EXPECT_EQ(ffprobeTag(path, "format_tags=product_name"), "Rookery 10");
    EXPECT_EQ(ffprobeTag(path, "format_tags=product_version_num"), "3.5.0.3.0");
    EXPECT_EQ(ffprobeTag(path, "format_tags=timecode"), "01:02:03:04");
    std::string general = runCommand("mediainfo --Inform='General;%Encoded_Application_CompanyName%|"
                                     "%Encoded_Application_Name%' " + shellQuote(path));
    EXPECT_EQ(general.substr(0, general.find('\n')), "Magpie|Rookery 10");
    // The timecode tracks of the packages (the picture's own comes from its GOP headers).
    std::string timecode = runCommand("mediainfo --Inform='Other;%TimeCode_FirstFrame%\\n' " + shellQuote(path));
    EXPECT_EQ(timecode.substr(0, timecode.find('\n')), "01:02:03:04");
}

// A track made here, written with the writer's tags in the writer's order
// and read back through a primer of those tags, keeps its values.
TEST(MxfStructuralSets, ATrackWrittenWithTheWritersTagsReadsBack)
{
    CMxf_SM_Track track;
    track.instanceUUID = readGUID(Bytes(16, 0x21).data());
    track.trackID = 2;
    track.trackNumber = 0x15010500;
    track.trackName = L"V1";
    track.editRate = MXFRATIONAL{30000, 1001};
    track.origin = 3;
    track.sequence.instanceUUID = readGUID(Bytes(16, 0x22).data());
    const SetDescription& description = CMxf_SM_Track::description();
    std::vector<MXF_TAG2UL> items =
        description.itemsForTags({0x3C0A, 0x4801, 0x4804, 0x4802, 0x4B01, 0x4B02, 0x4803});
    ASSERT_EQ(items.size(), 7u);
    Bytes buffer(512);
    CMxf_SM_SetID timeline(6);
    int64_t written = description.write(track, timeline.key(), items, buffer.data(), buffer.size());
    // Key, 4-byte length; items of 4 + 16, 4 + 4, 4 + 4, 4 + 6, 4 + 8, 4 + 8, 4 + 16.
    ASSERT_EQ(written, 20 + 20 + 8 + 8 + 10 + 12 + 12 + 20);
    Bytes tooSmall(size_t(written - 1));
    EXPECT_EQ(description.write(track, timeline.key(), items, tooSmall.data(), tooSmall.size()), 0);

    CMxf_SM_Primer primer;
    for (const MXF_TAG2UL& item : items)
        primer.append(item.tag, item.ul);
    unsigned char* at = buffer.data();
    CKlvItem set;
    ASSERT_TRUE(set.SetKLV(&at));
    CKlvLocalSet walk(set);
    SetReadContext context(primer);
    CMxf_SM_Track read;
    ASSERT_EQ(readTrack(walk, read, context), OK);
    EXPECT_EQ(read.instanceUUID, track.instanceUUID);
    EXPECT_EQ(read.trackID, 2u);
    EXPECT_EQ(read.trackNumber, 0x15010500u);
    EXPECT_EQ(read.trackName, L"V1");
    EXPECT_EQ(read.editRate.numerator, 30000);
    EXPECT_EQ(read.editRate.denominator, 1001);
    EXPECT_EQ(read.origin, 3);
    EXPECT_EQ(read.sequence.instanceUUID, track.sequence.instanceUUID);
}

// A local set built from items: tag, 2-byte length, value.
// The key gives the widths of tag and length (2 and 2), nothing more here.
struct SetBuilder {
    SetBuilder() : key(labelFromText("06.0E.2B.34.02.53.01.01.0D.01.01.01.01.01.2F.00")) {}
    SetBuilder& item(uint16_t tag, const Bytes& value)
    {
        return raw(tag, static_cast<uint16_t>(value.size()), value);
    }
    SetBuilder& raw(uint16_t tag, uint16_t length, const Bytes& value)
    {
        bytes.insert(bytes.end(), {static_cast<unsigned char>(tag >> 8), static_cast<unsigned char>(tag),
                                   static_cast<unsigned char>(length >> 8), static_cast<unsigned char>(length)});
        bytes.insert(bytes.end(), value.begin(), value.end());
        return *this;
    }
    CKlvItem klv()
    {
        CKlvItem item;
        item.key = key;
        item.length = bytes.size();
        item.value = bytes.data();
        return item;
    }
    MXFUL key;
    Bytes bytes;
};

Bytes batch(uint32_t count, uint32_t itemSize, size_t bytesOfItems)
{
    Bytes out = {static_cast<unsigned char>(count >> 24), static_cast<unsigned char>(count >> 16),
                 static_cast<unsigned char>(count >> 8),  static_cast<unsigned char>(count),
                 static_cast<unsigned char>(itemSize >> 24), static_cast<unsigned char>(itemSize >> 16),
                 static_cast<unsigned char>(itemSize >> 8), static_cast<unsigned char>(itemSize)};
    for (size_t i = 0; i < bytesOfItems; ++i)
        out.push_back(static_cast<unsigned char>(i + 1));
    return out;
}

// The standard tags with their labels, as a file's primer has them.
CMxf_SM_Primer standardPrimer()
{
    CMxf_SM_Primer primer;
    for (const SetDescription* description :
         {&CMxf_SM_PrefaceSet::description(), &CMxf_SM_Package::description(), &CMxf_SM_Sequence::description(),
          &CMxf_SM_SourceClip::description(), &CMxf_SM_ContentStorageSet::description()})
        for (uint16_t tag : {0x3C0A, 0x3B06, 0x3B0A, 0x4401, 0x4403, 0x4406, 0x4701, 0x1001, 0x0202, 0x1901})
            if (const SetItem* item = description->findTag(tag))
                if (!primer.FindTag(tag))
                    primer.append(tag, item->label);
    return primer;
}

enum class SetReader { Preface, Package, Sequence };

struct BadSetCase {
    const char* what;
    SetReader reader;
    std::vector<std::pair<uint16_t, Bytes>> items;
    CvResult result;
    const wchar_t* text;
    size_t tracksKept;
};

CvResult readWith(SetReader reader, CKlvLocalSet& items, SetReadContext& context, CMxf_SM_Package& package)
{
    CMxf_SM_PrefaceSet preface;
    CMxf_SM_Sequence sequence;
    switch (reader) {
    case SetReader::Preface:
        return readPreface(items, preface, context);
    case SetReader::Package:
        return readPackage(items, package, context);
    case SetReader::Sequence:
        return readSequence(items, sequence, context);
    }
    return Fail;
}

// Counts and lengths in a set are bounded by the bytes read; a wrong shape
// fails with the set's own text, or is left out where the set allows it.
TEST(MxfStructuralSets, BadSetsFailCleanly)
{
    const Bytes uuid(16, 0x11);
    const std::vector<BadSetCase> cases = {
        {"tag not in the primer", SetReader::Package, {{0x3C0A, uuid}, {0x7777, Bytes(4)}}, MxfTagNotInPrimer,
         L"Tag not found", 0},
        {"package UMID of 16 bytes", SetReader::Package, {{0x4401, uuid}}, MxfBadBatch, L"SetPackage", 0},
        {"tracks of item size 8", SetReader::Package, {{0x4403, batch(2, 8, 16)}}, MxfBadBatch, L"SetPackage", 0},
        {"comments of item size 8", SetReader::Package, {{0x4406, batch(1, 8, 8)}}, MxfBadBatch, L"SetPackage", 0},
        {"descriptor reference of 8 bytes", SetReader::Package, {{0x4701, Bytes(8)}}, MxfBadBatch, L"SetPackage", 0},
        {"components of item size 4", SetReader::Sequence, {{0x1001, batch(1, 4, 4)}}, MxfBadBatch,
         L"SetSequenceGeneric", 0},
        {"a count of four billion in 40 bytes", SetReader::Package, {{0x4403, batch(0xFFFFFFFF, 16, 32)}}, OK, L"",
         2},
        {"preface containers of item size 8", SetReader::Preface, {{0x3B0A, batch(2, 8, 16)}}, OK, L"", 0},
        {"a batch head cut short", SetReader::Preface, {{0x3B06, Bytes(5)}}, OK, L"", 0},
    };
    const CMxf_SM_Primer primer = standardPrimer();
    for (const BadSetCase& c : cases) {
        SetBuilder builder;
        for (const auto& [tag, value] : c.items)
            builder.item(tag, value);
        CKlvItem item = builder.klv();
        CKlvLocalSet items(item);
        SetReadContext context(primer);
        CMxf_SM_Package package;
        EXPECT_EQ(readWith(c.reader, items, context, package), c.result) << c.what;
        EXPECT_EQ(context.errorText, c.text) << c.what;
        EXPECT_EQ(package.tracks.size(), c.tracksKept) << c.what;
    }
}

// Every tag and length field of every set of an ffmpeg file, in turn set to
// its largest value, gives a result and no reading past the set.
TEST(MxfStructuralSets, DamagedFieldsOfRealSetsGiveResults)
{
    MxfMetadataFile file(testMedia("mxf_op1a_mpeg2_tc.mxf"));
    const std::vector<CvResult> allowed = {OK, False, MxfBadKlv, MxfBadBatch, MxfTagNotInPrimer};
    size_t tried = 0;
    for (const MxfMetadataFile::Set& set : file.sets) {
        CMxf_SM_SetID id(set.item.key);
        if (!newStructuralSet(id))
            continue;
        for (uint64_t field = 0; field + 4 <= set.item.length;) {
            // The set's bytes alone, so that a read past them is a read past the copy.
            Bytes damaged(set.item.value, set.item.value + set.item.length);
            const uint64_t itemLength = uint64_t(damaged[field + 2]) << 8 | damaged[field + 3];
            for (uint64_t at : {field, field + 2}) {
                Bytes copy = damaged;
                copy[at] = copy[at + 1] = 0xFF;
                CKlvItem item;
                item.key = set.item.key;
                item.length = copy.size();
                item.value = copy.data();
                CKlvLocalSet items(item);
                std::unique_ptr<CMxf_SM_BaseSet> object = newStructuralSet(id);
                std::wstring text;
                CvResult result =
                    structuralSetDescription(id)->fill(*object, items, file.primer, DecodeRules{}, L"bad", text);
                EXPECT_NE(std::find(allowed.begin(), allowed.end(), result), allowed.end()) << set.offset;
                ++tried;
            }
            field += 4 + itemLength;
        }
    }
    EXPECT_GT(tried, 100u);
}

// An item claiming more bytes than its set has ends the set with a failure,
// and the package given is left as it was.
TEST(MxfStructuralSets, AnItemLongerThanItsSetFails)
{
    SetBuilder builder;
    builder.item(0x3C0A, Bytes(16, 0x22)).raw(0x4403, 4000, batch(1, 16, 16));
    CKlvItem item = builder.klv();
    CKlvLocalSet items(item);
    CMxf_SM_Primer primer = standardPrimer();
    SetReadContext context(primer);
    CMxf_SM_Package package;
    package.name = L"kept";
    EXPECT_EQ(readPackage(items, package, context), MxfBadKlv);
    EXPECT_EQ(package.name, L"kept");
    EXPECT_TRUE(package.tracks.empty());
}

// A BER length of more than 8 bytes is no item: the walk stops there.
TEST(MxfStructuralSets, BerLengthsOverEightBytesEndTheWalk)
{
    Bytes data = {0x06, 0x0E, 0x2B, 0x34, 0x02, 0x53, 0x01, 0x01, 0x0D, 0x01, 0x01, 0x01, 0x01, 0x01, 0x2F, 0x00,
                  0x89, 0, 0, 0, 0, 0, 0, 0, 0, 1, 0xAA};
    CKlvBufferWalk walk(data.data(), data.size());
    CKlvItem item;
    EXPECT_FALSE(walk.next(item));
    EXPECT_TRUE(walk.stoppedEarly());
}

// Readers' own rules: the packages label of version 0 reads, an unknown
// source clip duration (-2) is measured but a sequence's -2 is not, and the
// Avid picture definition reads as picture.
TEST(MxfStructuralSets, ReadersApplyTheirOwnRules)
{
    CMxf_SM_Primer primer;
    primer.append(0x3C0A, CMxf_SM_BaseSet::description().findTag(0x3C0A)->label);
    primer.append(0x1901, propertyLabel("02.06.01.01.04.05.00.00.00"));
    primer.append(0x0201, CMxf_SM_Sequence::description().findTag(0x0201)->label);
    primer.append(0x0202, CMxf_SM_Sequence::description().findTag(0x0202)->label);
    SetReadContext context(primer);
    context.lengthFromEssence = [] { return int64_t(1234); };

    SetBuilder storage;
    storage.item(0x3C0A, Bytes(16, 0x33)).item(0x1901, batch(2, 16, 32)).item(0x0201, Bytes(4));
    CKlvItem storageItem = storage.klv();
    CKlvLocalSet storageItems(storageItem);
    CMxf_SM_PrefaceSet preface;
    preface.contentStorage.instanceUUID = readGUID(Bytes(16, 0x33).data());
    EXPECT_EQ(readContentStorage(storageItems, preface, context), False);  // 0x0201 isn't a content storage item
    EXPECT_EQ(preface.contentStorage.GetPackageCount(), 2u);

    const Bytes minusTwo = {0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFE};
    const Bytes avidPicture = {0x5F, 0x03, 0x3B, 0xB7, 0xE9, 0x54, 0x59, 0x49,
                               0x87, 0xFB, 0x76, 0x4A, 0x97, 0xAE, 0xB5, 0x68};
    SetBuilder sequenceSet;
    sequenceSet.item(0x0201, avidPicture).item(0x0202, minusTwo);
    CKlvItem sequenceItem = sequenceSet.klv();
    CKlvLocalSet sequenceItems(sequenceItem);
    CMxf_SM_Sequence sequence;
    EXPECT_EQ(readSequence(sequenceItems, sequence, context), OK);
    EXPECT_TRUE(sequence.isPicture());
    EXPECT_EQ(sequence.duration, -2);

    SetBuilder clipSet;
    clipSet.item(0x0202, minusTwo);
    CKlvItem clipItem = clipSet.klv();
    CKlvLocalSet clipItems(clipItem);
    CMxf_SM_SourceClip clip;
    EXPECT_EQ(readSourceClip(clipItems, clip, context), OK);
    EXPECT_EQ(clip.duration, 1234);

    SetBuilder otherStorage;
    otherStorage.item(0x3C0A, Bytes(16, 0x44));
    CKlvItem otherItem = otherStorage.klv();
    CKlvLocalSet otherItems(otherItem);
    EXPECT_EQ(readContentStorage(otherItems, preface, context), MxfNoContentStorage);
    EXPECT_EQ(context.errorText, L"content not referenced");
}

// An identification that no preface names fails; one it names fills the slot.
TEST(MxfStructuralSets, IdentificationsFillTheSlotThePrefaceNames)
{
    CMxf_SM_Primer primer;
    primer.append(0x3C0A, CMxf_SM_IdSet::description().findTag(0x3C0A)->label);
    primer.append(0x3C09, CMxf_SM_IdSet::description().findTag(0x3C09)->label);
    primer.append(0x3C01, CMxf_SM_IdSet::description().findTag(0x3C01)->label);
    SetReadContext context(primer);
    CMxf_SM_PrefaceSet preface;
    preface.identifications.resize(1);
    preface.identifications[0].instanceUUID = readGUID(Bytes(16, 0x55).data());

    const Bytes company = {0, 'C', 0, 'o', 0, 0};
    SetBuilder named;
    named.item(0x3C09, Bytes(16, 0x55)).item(0x3C01, company);
    CKlvItem namedItem = named.klv();
    CKlvLocalSet namedItems(namedItem);
    EXPECT_EQ(readIdentification(namedItems, preface, context), OK);
    EXPECT_EQ(preface.identifications[0].companyName, L"Co");

    SetBuilder stray;
    stray.item(0x3C0A, Bytes(16, 0x77)).item(0x3C09, Bytes(16, 0x66));
    CKlvItem strayItem = stray.klv();
    CKlvLocalSet strayItems(strayItem);
    EXPECT_EQ(readIdentification(strayItems, preface, context), MxfNoIdentification);
    EXPECT_EQ(context.errorText, L"ID ref not found");
}

struct SetKeyCase {
    unsigned char yy;
    long id;
    const char* className;
};

// The set key table, both ways.
TEST(MxfStructuralSets, SetKeysNameTheirSets)
{
    const std::vector<SetKeyCase> cases = {
        {0x2F, 0, "Preface"},          {0x30, 1, "Identification"},  {0x36, 4, "MaterialPackage"},
        {0x37, 5, "SourcePackage"},    {0x3B, 6, "TimelineTrack"},   {0x14, 11, "TimecodeComponent"},
        {0x28, 16, "CDCIEssenceDescriptor"}, {0x51, 27, "MPEG2VideoDescriptor"}, {0x09, 37, "Filler"},
        {0x15, 39, nullptr},           {0x7E, 40, nullptr},
    };
    for (const SetKeyCase& c : cases) {
        MXFUL key = labelFromText("06.0E.2B.34.02.53.01.01.0D.01.01.01.01.01.00.00");
        key[14] = c.yy;
        CMxf_SM_SetID id(key);
        EXPECT_EQ(id.get(), c.id) << int(c.yy);
        EXPECT_EQ(id.IsSetKnown(), c.id < 40) << int(c.yy);
        EXPECT_STREQ(id.className() ? id.className() : "", c.className ? c.className : "") << int(c.yy);
        CMxf_SM_SetID made;
        EXPECT_EQ(made.create(c.id), c.id <= 31 || c.id == 37 || c.id == 38) << c.id;
        if (made.IsSetKnown()) {
            EXPECT_EQ(made.key(), key) << c.id;
        }
    }
    CMxf_SM_SetID other(labelFromText("06.0E.2B.34.02.53.01.01.0D.01.02.01.01.10.01.00"));
    EXPECT_EQ(other.get(), -1);
    EXPECT_FALSE(other.IsSetKnown());
}

// Copying a set into itself throws with the class named.
TEST(MxfStructuralSets, SelfAssignmentNamesTheClass)
{
    CMxf_SM_Track track;
    try {
        track.assign(track);
        FAIL() << "no exception";
    } catch (const string_exception& e) {
        EXPECT_STREQ(e.what(), "self assignment in CMxf_SM_Track::assign");
    }
    CMxf_SM_Package package;
    EXPECT_THROW(package.assign(package), string_exception);
    CMxf_SM_PrefaceSet preface;
    preface.identifications.resize(2);
    preface.identifications[1].generationUUID = readGUID(Bytes(16, 7).data());
    EXPECT_EQ(preface.FindIdSetFromUUID(readGUID(Bytes(16, 7).data())), &preface.identifications[1]);
    preface.Reset();
    EXPECT_TRUE(preface.identifications.empty());
    const unsigned char* version = reinterpret_cast<const unsigned char*>(&preface.version);
    EXPECT_EQ(version[0], 1);
    EXPECT_EQ(version[1], 2);
}

} // namespace
