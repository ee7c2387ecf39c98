#include <gtest/gtest.h>

#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "frame/Utf8.h"
#include "mxf/model/DescriptiveMetadata.h"
#include "mxf/model/DescriptiveSetID.h"
#include "mxf/model/DescriptiveSets.h"
#include "mxf/model/IndirectText.h"
#include "mxf/model/SetCatalogue.h"
#include "mxf/model/SetID.h"
#include "mxf/model/SetReaders.h"
#include "mxf/read/FileReader.h"
#include "support/DriverFixture.h"
#include "support/MxfMetadataFile.h"
#include "support/TestMedia.h"

using namespace Corvidane;
using namespace Corvidane::MXF;

namespace {

using Bytes = std::vector<unsigned char>;

std::string utf8(const std::wstring& text)
{
    std::string out;
    toUtf8(text, out);
    return out;
}

// The comments of a file as ffprobe shows them: its "comment_" tags.
std::map<std::string, std::string> ffprobeComments(const std::string& path)
{
    std::map<std::string, std::string> comments;
    std::istringstream lines(runCommand("ffprobe -v error -show_format " + shellQuote(path)));
    const std::string prefix = "TAG:comment_";
    for (std::string line; std::getline(lines, line);)
        if (line.compare(0, prefix.size(), prefix) == 0) {
            const size_t equals = line.find('=');
            comments[line.substr(prefix.size(), equals - prefix.size())] = line.substr(equals + 1);
        }
    return comments;
}

std::vector<CategorizedComment> readComments(const MxfMetadataFile& file)
{
    std::vector<CategorizedComment> comments;
    for (const MxfMetadataFile::Set* set : file.setsOf(0x3F)) {
        CKlvLocalSet items(set->item);
        SetReadContext context(file.primer);
        CategorizedComment comment;
        EXPECT_EQ(readCategorizedComment(items, comment, context), OK) << "set at " << set->offset;
        comments.push_back(comment);
    }
    return comments;
}

TEST(MxfDescriptiveMetadata, CommentsOfAnFfmpegFileAreTheOnesFfprobeShows)
{
    const std::string path = testMedia("mxf_comments.mxf");
    const std::map<std::string, std::string> expected = ffprobeComments(path);
    ASSERT_FALSE(expected.empty());
    std::map<std::string, std::string> read;
    for (const CategorizedComment& comment : readComments(MxfMetadataFile(path)))
        read[utf8(comment.name)] = utf8(comment.value);
    EXPECT_EQ(read, expected);
}

TEST(MxfDescriptiveMetadata, CommentsFillTheMetadataKeysByName)
{
    const std::string path = testMedia("mxf_comments.mxf");
    const std::map<std::string, std::string> shown = ffprobeComments(path);
    MetadataMap metadata;
    commentsToMetadata(readComments(MxfMetadataFile(path)), metadata);
    const struct {
        const char* key;
        const char* comment;
    } cases[] = {
        {MetadataKey::project, "_PJ"},     {MetadataKey::take, "Take"},        {MetadataKey::scene, "Scene"},
        {MetadataKey::sourceReel, "TapeID"}, {MetadataKey::comment, "Comments"}, {MetadataKey::clipName, "ClipName"},
    };
    for (const auto& c : cases) {
        std::wstring value;
        ASSERT_EQ(getDMMetadataValue(metadata, c.key, value), OK) << c.key;
        EXPECT_EQ(utf8(value), shown.at(c.comment)) << c.key;
    }
    // A comment of another name fills no key.
    EXPECT_EQ(metadata.size(), std::size(cases));
    std::wstring none;
    EXPECT_EQ(getDMMetadataValue(metadata, MetadataKey::textBasedData, none), Fail);
}

class MxfDescriptiveMetadataReader : public DriverFixture {};

// The reader answers the comment keys from the file it opened.
TEST_F(MxfDescriptiveMetadataReader, AnswersTheCommentKeys)
{
    const std::string path = testMedia("mxf_comments.mxf");
    const std::map<std::string, std::string> shown = ffprobeComments(path);
    CMxf_FileReader reader;
    ASSERT_TRUE(isSuccess(reader.loadFile(Corvidane::fromUtf8(path), iFile::Buffered))) << utf8(reader.getLastError());
    const std::pair<const char*, const char*> cases[] = {
        {MetadataKey::project, "_PJ"},     {MetadataKey::take, "Take"},        {MetadataKey::scene, "Scene"},
        {MetadataKey::sourceReel, "TapeID"}, {MetadataKey::comment, "Comments"}, {MetadataKey::clipName, "ClipName"},
    };
    for (const auto& [key, comment] : cases) {
        std::wstring answered;
        ASSERT_EQ(reader.getDMMetadataValue(key, 0, answered), OK) << key;
        EXPECT_EQ(utf8(answered), shown.at(comment)) << key;
    }
}

TEST(MxfDescriptiveMetadata, FindsTheCommentOfAName)
{
    std::vector<CategorizedComment> comments = readComments(MxfMetadataFile(testMedia("mxf_comments.mxf")));
    CategorizedComment found;
    ASSERT_TRUE(findCommentWithName(comments, L"Shoot Date", found));
    EXPECT_EQ(found.value, L"2024-05-01");
    EXPECT_FALSE(findCommentWithName(comments, L"shoot date", found));
}

TEST(MxfDescriptiveMetadata, DumpNamesTheCommentSets)
{
    int status = 0;
    const std::string out =
        runCommand(shellQuote(CVTOOL_PATH) + " dump " + shellQuote(testMedia("mxf_comments.mxf")), &status);
    ASSERT_EQ(status, 0);
    EXPECT_NE(out.find("TaggedValue"), std::string::npos);
    EXPECT_NE(out.find("Name: Scene"), std::string::npos);
    EXPECT_EQ(out.find("unknown"), std::string::npos) << out;
}

// Set keys of the two descriptive classes.
TEST(MxfDescriptiveMetadata, SetIdentifiersFromKeys)
{
    const struct {
        const char* key;
        long dms1;
        long textBased;
        const char* name;
    } cases[] = {
        {"06.0E.2B.34.02.53.01.01.0D.01.04.01.01.01.02.00", 0x0102, -1, "ClipFramework"},
        {"06.0E.2B.34.02.53.01.01.0D.01.04.01.01.20.02.00", 0x2002, -1, "Project"},
        {"06.0E.2B.34.02.53.01.01.0D.01.04.01.01.1A.02.00", 0x1A02, -1, "Person"},
        {"06.0E.2B.34.02.53.01.01.0D.01.04.01.01.17.08.00", 0x1708, -1, nullptr},
        {"06.0E.2B.34.02.53.01.01.0D.01.04.01.01.17.07.00", 516, -1, nullptr},
        {"06.0E.2B.34.02.53.01.01.0D.01.04.01.04.02.02.00", -1, 0x0202, "UTF8TextBasedSet"},
        {"06.0E.2B.34.02.53.01.01.0D.01.04.01.04.01.01.00", -1, 0x0101, "TextBasedFramework"},
        {"06.0E.2B.34.02.53.01.01.0D.01.04.01.04.02.04.00", -1, 516, nullptr},
        {"06.0E.2B.34.02.53.01.01.0D.01.01.01.01.01.3F.00", -1, -1, nullptr},
        {"06.0E.2B.34.02.53.01.01.0D.01.04.01.01.01.02.01", -1, -1, nullptr},
    };
    for (const auto& c : cases) {
        const MXFUL key = labelFromText(c.key);
        EXPECT_EQ(CMxf_DM_SetID(key).get(), c.dms1) << c.key;
        EXPECT_EQ(CMxf_TBDM_SetID(key).get(), c.textBased) << c.key;
        EXPECT_EQ(CMxf_DM_SetID(key).isSetKnown() || CMxf_TBDM_SetID(key).isSetKnown(),
                  (c.dms1 >= 0 && c.dms1 != 516) || (c.textBased >= 0 && c.textBased != 516))
            << c.key;
        EXPECT_STREQ(descriptiveSetName(key) ? descriptiveSetName(key) : "", c.name ? c.name : "") << c.key;
        if (c.dms1 >= 0 && c.dms1 != 516) {
            EXPECT_EQ(CMxf_DM_SetID(c.dms1).key(), key) << c.key;
        }
        if (c.textBased >= 0 && c.textBased != 516) {
            EXPECT_EQ(CMxf_TBDM_SetID(c.textBased).key(), key) << c.key;
        }
    }
    EXPECT_FALSE(CMxf_DM_SetID(0x1707L).isSetKnown());
}

// A descriptive set written with this system's tags, and a primer that names them.
struct WrittenSet {
    Bytes bytes;
    CKlvItem item;
    CMxf_SM_Primer primer;
};

void writeSet(const SetBase& set, const SetDescription& description, const MXFUL& key,
              std::initializer_list<uint16_t> tags, WrittenSet& out)
{
    out.bytes.assign(1 << 16, 0);
    const std::vector<MXF_TAG2UL> items = description.itemsForTags(tags);
    ASSERT_EQ(items.size(), tags.size());
    for (const MXF_TAG2UL& entry : items)
        out.primer.append(entry.tag, entry.ul);
    const int64_t written = description.write(set, key, items, out.bytes.data(), out.bytes.size());
    ASSERT_GT(written, 0);
    out.bytes.resize(size_t(written));
    unsigned char* at = out.bytes.data();
    ASSERT_TRUE(out.item.setKLV(&at, true));
}

struct DescriptiveCase {
    const char* what;
    bool textBased;
    long id;
    const SetDescription& (*description)();
    const char* property;
    uint16_t tag;
    ItemValue value;
    const char* key;
    const wchar_t* expected;  // null: the key stays unset
};

TEST(MxfDescriptiveMetadata, SetsGiveTheirValuesToTheKeys)
{
    const DescriptiveCase cases[] = {
        {"take number", false, 0x0102, DMClipFrameWork::description, "Take Number", 0x8018, uint64_t(7),
         MetadataKey::take, L"7"},
        {"project name", false, 0x2002, DMProjectSet::description, "Project Name or Title", 0x8051,
         std::wstring(L"Heron"), MetadataKey::project, L"Heron"},
        {"UTF-8 text, halved", true, 0x0202, TBDMUTF8TextBased::description, "UTF-8 Text Data", 0x8106,
         std::wstring(L"abcd"), MetadataKey::textBasedData, L"ab"},
        {"person set", false, 0x1A02, DMPersonSet::description, "Family Name", 0x8041, std::wstring(L"Lark"),
         MetadataKey::project, nullptr},
        {"framework keeps its object", true, 0x0101, TBDMTextBasedFrameWork::description, "Text MIME Media Type",
         0x8103, std::wstring(L"text/plain"), MetadataKey::textBasedData, nullptr},
    };
    for (const DescriptiveCase& c : cases) {
        SetBase set;
        set.instanceUUID = GUID{0x01020304, 5, 6, {7, 8, 9, 10, 11, 12, 13, 14}};
        set.values[c.property] = c.value;
        WrittenSet written;
        const MXFUL key = c.textBased ? CMxf_TBDM_SetID(c.id).key() : CMxf_DM_SetID(c.id).key();
        writeSet(set, c.description(), key, {0x3C0A, c.tag}, written);
        MetadataMap metadata;
        EXPECT_EQ(dms1ProcessSet(written.item, written.primer, metadata), !c.textBased) << c.what;
        if (c.textBased) {
            EXPECT_TRUE(textBasedDmsProcessSet(written.item, written.primer, metadata)) << c.what;
        }
        std::wstring value;
        EXPECT_EQ(getDMMetadataValue(metadata, c.key, value), c.expected ? OK : Fail) << c.what;
        EXPECT_EQ(value, c.expected ? c.expected : L"") << c.what;

        // The description reads back what it wrote.
        SetBase read;
        EXPECT_EQ(dmsSetExtractData(written.item, read, c.description(), written.primer), OK) << c.what;
        EXPECT_EQ(read.instanceUUID, set.instanceUUID) << c.what;
    }
}

TEST(MxfDescriptiveMetadata, ValuesAlreadyThereStayOrAreReplaced)
{
    MetadataMap metadata;
    std::vector<CategorizedComment> comments(1);
    comments[0].name = L"_pj";
    comments[0].value = L"From comment";
    commentsToMetadata(comments, metadata);
    metadata[MetadataKey::take] = L"earlier";
    metadata[MetadataKey::textBasedData] = L"earlier";

    const struct {
        bool textBased;
        long id;
        const SetDescription& (*description)();
        const char* property;
        uint16_t tag;
        ItemValue value;
    } sets[] = {
        {false, 0x2002, DMProjectSet::description, "Project Name or Title", 0x8051, std::wstring(L"From set")},
        {false, 0x0102, DMClipFrameWork::description, "Take Number", 0x8018, uint64_t(9)},
        {true, 0x0202, TBDMUTF8TextBased::description, "UTF-8 Text Data", 0x8106, std::wstring(L"newer!")},
    };
    for (const auto& s : sets) {
        SetBase set;
        set.values[s.property] = s.value;
        WrittenSet written;
        writeSet(set, s.description(), s.textBased ? CMxf_TBDM_SetID(s.id).key() : CMxf_DM_SetID(s.id).key(),
                 {s.tag}, written);
        if (!dms1ProcessSet(written.item, written.primer, metadata))
            textBasedDmsProcessSet(written.item, written.primer, metadata);
    }
    EXPECT_EQ(metadata[MetadataKey::project], L"From comment");
    EXPECT_EQ(metadata[MetadataKey::take], L"earlier");
    EXPECT_EQ(metadata[MetadataKey::textBasedData], L"new");
}

// Texts of descriptive sets hold 1 to 1024 bytes (ISO 7-bit) or 2048 (UTF-16).
TEST(MxfDescriptiveMetadata, TextsOutsideTheirLengthsAreRefused)
{
    const struct {
        const char* property;
        uint16_t tag;
        std::wstring text;
        bool kept;
    } cases[] = {
        {"Framework Extended Text Language Code", 0x8001, std::wstring(1024, L'a'), true},
        {"Framework Extended Text Language Code", 0x8001, std::wstring(1025, L'a'), false},
        {"Framework Thesaurus Name", 0x8002, std::wstring(1023, L'b'), true},  // 2048 bytes with the zero unit
        {"Framework Thesaurus Name", 0x8002, std::wstring(1024, L'b'), false},
    };
    for (const auto& c : cases) {
        SetBase set;
        set.values[c.property] = c.text;
        WrittenSet written;
        writeSet(set, DMClipFrameWork::description(), CMxf_DM_SetID(0x0102L).key(), {c.tag}, written);
        SetBase read;
        dmsSetExtractData(written.item, read, DMClipFrameWork::description(), written.primer);
        EXPECT_EQ(read.getPropertyText(c.property), c.kept ? c.text : L"") << c.property << " " << c.text.size();
    }
}

TEST(MxfDescriptiveMetadata, CommentValuesByTheirHeader)
{
    Bytes header(stringHeaderSize);
    ASSERT_EQ(getStringHeader(header.data(), header.size()), stringHeaderSize);
    EXPECT_EQ(getStringHeader(nullptr, 0), stringHeaderSize);
    EXPECT_EQ(getStringHeader(header.data(), stringHeaderSize - 1), 0u);
    Bytes bigEndian = header;
    bigEndian[0] = 'B';
    const struct {
        const char* what;
        Bytes bytes;
        const wchar_t* text;
    } cases[] = {
        {"little-endian header", [&] { Bytes b = header; b.insert(b.end(), {'h', 0, 'i', 0, 0, 0}); return b; }(),
         L"hi"},
        {"'B' header reads big-endian", [&] { Bytes b = bigEndian; b.insert(b.end(), {0, 'h', 0, 'i'}); return b; }(),
         L"hi"},
        {"no header: little-endian to the zero unit", Bytes{'o', 0, 'k', 0, 0, 0, 'x', 0}, L"ok"},
        {"short of a header", Bytes(header.begin(), header.begin() + 16), L"L\u1002\u0001"},
    };
    for (const auto& c : cases)
        EXPECT_EQ(indirectTextFromData(c.bytes.data(), c.bytes.size()), c.text) << c.what;
    EXPECT_FALSE(isStringHeader(header.data(), stringHeaderSize - 1));
    EXPECT_TRUE(isStringHeader(header.data(), stringHeaderSize));
    EXPECT_TRUE(isLittleEndian(bigEndian.data()));
    EXPECT_FALSE(isLittleEndian(header.data()));
    EXPECT_EQ(indirectTextFromData(indirectTextToData(L"round").data(), indirectTextToData(L"round").size()),
              L"round");
}

// A label a comment set doesn't know ends the set: what follows it isn't read.
TEST(MxfDescriptiveMetadata, AnUnknownLabelEndsACommentSet)
{
    CategorizedComment comment;
    comment.instanceUUID = GUID{1, 2, 3, {4, 5, 6, 7, 8, 9, 10, 11}};
    comment.name = L"Scene";
    comment.value = L"12";
    Bytes bytes(4096);
    std::vector<MXF_TAG2UL> items = CategorizedComment::description().itemsForTags({0x3C0A, 0x5003, 0x5001});
    // The name's tag stands for a label of no comment property.
    CMxf_SM_Primer primer;
    primer.append(0x3C0A, items[0].ul);
    primer.append(0x5003, labelFromText("06.0E.2B.34.01.01.01.01.0E.0F.0E.0F.00.00.00.00"));
    primer.append(0x5001, items[2].ul);
    const int64_t written = CategorizedComment::description().write(
        comment, CMxf_SM_SetID(31L).key(), items, bytes.data(), bytes.size());
    ASSERT_GT(written, 0);
    unsigned char* at = bytes.data();
    CKlvItem item;
    ASSERT_TRUE(item.setKLV(&at, true));
    CKlvLocalSet walk(item);
    SetReadContext context(primer);
    CategorizedComment read;
    EXPECT_EQ(readCategorizedComment(walk, read, context), False);
    EXPECT_EQ(read.instanceUUID, comment.instanceUUID);
    EXPECT_EQ(read.name, L"");
    EXPECT_EQ(read.value, L"");
}

} // namespace
