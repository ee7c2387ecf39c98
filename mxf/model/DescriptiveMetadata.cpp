#include "mxf/model/DescriptiveMetadata.h"

#include "frame/Text.h"
#include "mxf/model/DescriptiveSetID.h"
#include "mxf/model/DescriptiveSets.h"
#include "mxf/model/KlvLocalSet.h"
#include "mxf/model/SetCatalogue.h"

namespace Corvidane::MXF {

namespace {

// Reads the set the key names by its description; false when there is none.
bool extract(const CKlvItem& item, const CMxf_SM_Primer& primer, SetBase& set)
{
    const SetDescription* description = descriptiveSetDescription(item.key);
    if (!description)
        return false;
    dmsSetExtractData(item, set, *description, primer);
    return true;
}

void insertText(MetadataMap& metadata, const char* key, const SetBase& set, const char* property)
{
    const std::wstring text = set.getPropertyText(property);
    if (!text.empty())
        metadata.emplace(key, text);
}

} // namespace

CvResult dmsSetExtractData(const CKlvItem& item, SetBase& set, const SetDescription& description,
                           const CMxf_SM_Primer& primer)
{
    CKlvLocalSet items(item);
    std::wstring errorText;
    return description.fill(set, items, primer, DecodeRules{}, nullptr, errorText);
}

bool dms1ProcessSet(const CKlvItem& item, const CMxf_SM_Primer& primer, MetadataMap& metadata)
{
    const CMxf_DM_SetID id(item.key);
    if (!id.isSetKnown())
        return false;
    SetBase set;
    if (!extract(item, primer, set))
        return true;
    if (id.get() == 0x0102)
        insertText(metadata, MetadataKey::take, set, "Take Number");
    if (id.get() == 0x2002)
        insertText(metadata, MetadataKey::project, set, "Project Name or Title");
    return true;
}

bool textBasedDmsProcessSet(const CKlvItem& item, const CMxf_SM_Primer& primer, MetadataMap& metadata)
{
    const CMxf_TBDM_SetID id(item.key);
    if (!id.isSetKnown())
        return false;
    SetBase set;
    if (extract(item, primer, set) && id.get() == 0x0202 && set.getPropertyValue("UTF-8 Text Data"))
        metadata[MetadataKey::textBasedData] = set.getPropertyText("UTF-8 Text Data");
    return true;
}

void commentsToMetadata(const std::vector<CategorizedComment>& comments, MetadataMap& metadata)
{
    static const struct {
        const wchar_t* name;
        const char* key;
    } byName[] = {
        {L"_pj", MetadataKey::project},        {L"take", MetadataKey::take},
        {L"scene", MetadataKey::scene},        {L"tapeid", MetadataKey::sourceReel},
        {L"comments", MetadataKey::comment},   {L"clipname", MetadataKey::clipName},
    };
    for (const CategorizedComment& comment : comments) {
        const std::wstring lower = toLower(comment.name);
        for (const auto& row : byName)
            if (lower == row.name)
                metadata[row.key] = comment.value;
    }
}

bool findCommentWithName(const std::vector<CategorizedComment>& comments, const std::wstring& name,
                         CategorizedComment& out)
{
    for (const CategorizedComment& comment : comments)
        if (comment.name == name) {
            out = comment;
            return true;
        }
    return false;
}

CvResult getDMMetadataValue(const MetadataMap& metadata, const char* key, std::wstring& out)
{
    auto found = metadata.find(key);
    if (found == metadata.end())
        return Fail;
    out = found->second;
    return OK;
}

} // namespace Corvidane::MXF
