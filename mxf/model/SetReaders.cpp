#include "mxf/model/SetReaders.h"

#include <algorithm>

#include "mxf/model/MxfResults.h"

namespace Corvidane::MXF {

namespace {

// Fills a copy and hands it over only when the set read well.
template <class Set>
CvResult fillInto(Set& out, const SetDescription& description, CKlvLocalSet& items, SetReadContext& context,
                  const wchar_t* badShapeText = nullptr)
{
    Set read;
    CvResult result = fillSet(read, description, items, context, badShapeText);
    if (succeeded(result))
        out = read;
    return result;
}

// A duration written as unknown, measured from the essence instead.
void measureUnknown(int64_t& duration, std::initializer_list<int64_t> unknown, const SetReadContext& context)
{
    if (context.lengthFromEssence && std::find(unknown.begin(), unknown.end(), duration) != unknown.end())
        duration = context.lengthFromEssence();
}

// The data definitions Avid media carries, and the standard labels they stand for.
struct DataDefinitionAlias {
    MXFUL avid;
    MXFUL standard;
    bool (*is)(const MXFUL&);
};

const std::vector<DataDefinitionAlias>& dataDefinitionAliases()
{
    static const std::vector<DataDefinitionAlias> aliases = {
        {labelFromText("5F.03.3B.B7.E9.54.59.49.87.FB.76.4A.97.AE.B5.68"),
         labelFromText("06.0E.2B.34.04.01.01.01.01.03.02.02.01.00.00.00"), isPicture},
        {labelFromText("02.64.9C.38.85.15.3F.40.8A.D0.DF.C9.FB.F2.64.4D"),
         labelFromText("06.0E.2B.34.04.01.01.01.01.03.02.02.02.00.00.00"), isSound},
        {labelFromText("31.96.A5.51.EB.FB.D3.4A.B0.93.6D.36.42.75.A3.90"),
         labelFromText("06.0E.2B.34.04.01.01.01.01.03.02.01.01.00.00.00"), isTimeCode},
    };
    return aliases;
}

} // namespace

CvResult fillSet(CMxf_SM_BaseSet& set, const SetDescription& description, CKlvLocalSet& items,
                 SetReadContext& context, const wchar_t* badShapeText)
{
    DecodeRules rules;
    rules.shortReferences = context.shortReferences;
    return description.fill(set, items, context.primer, rules, badShapeText, context.errorText);
}

CvResult readPreface(CKlvLocalSet& items, CMxf_SM_PrefaceSet& preface, SetReadContext& context)
{
    preface.Reset();
    return fillSet(preface, CMxf_SM_PrefaceSet::description(), items, context);
}

CvResult readIdentification(CKlvLocalSet& items, CMxf_SM_PrefaceSet& preface, SetReadContext& context)
{
    CMxf_SM_IdSet read;
    CvResult result = fillSet(read, CMxf_SM_IdSet::description(), items, context);
    if (!succeeded(result))
        return result;
    // The preface names an identification by its instance identifier, which
    // some writers (ffmpeg) keep apart from its generation identifier.
    CMxf_SM_IdSet* slot = preface.FindIdSetFromUUID(read.generationUUID);
    for (CMxf_SM_IdSet& named : preface.identifications)
        if (!slot && named.instanceUUID == read.instanceUUID)
            slot = &named;
    if (!slot) {
        context.errorText = L"ID ref not found";
        return MxfNoIdentification;
    }
    *slot = read;
    return result;
}

CvResult readContentStorage(CKlvLocalSet& items, CMxf_SM_PrefaceSet& preface, SetReadContext& context)
{
    CMxf_SM_ContentStorageSet read;
    CvResult result = fillSet(read, CMxf_SM_ContentStorageSet::description(), items, context);
    if (!succeeded(result))
        return result;
    if (read.instanceUUID != preface.contentStorage.instanceUUID) {
        context.errorText = L"content not referenced";
        return MxfNoContentStorage;
    }
    preface.contentStorage = read;
    return result;
}

CvResult readEssenceContainerData(CKlvLocalSet& items, const CMxf_SM_ContentStorageSet& contentStorage,
                                  std::vector<CMxf_SM_EssenceContainerDataSet>& list, SetReadContext& context)
{
    CMxf_SM_EssenceContainerDataSet read;
    CvResult result = fillSet(read, CMxf_SM_EssenceContainerDataSet::description(), items, context);
    if (!succeeded(result))
        return result;
    for (const CMxf_SM_EssenceContainerDataSet& known : list)
        if (known.instanceUUID == read.instanceUUID)
            return result;
    const std::vector<GUID>& named = contentStorage.essenceContainerData;
    if (std::find(named.begin(), named.end(), read.instanceUUID) == named.end()) {
        context.errorText = L"Item not with no ref";
        return MxfNoEssenceContainerData;
    }
    list.push_back(read);
    return result;
}

CvResult readPackage(CKlvLocalSet& items, CMxf_SM_Package& package, SetReadContext& context)
{
    return fillInto(package, CMxf_SM_Package::description(), items, context, L"SetPackage");
}

CvResult readTrack(CKlvLocalSet& items, CMxf_SM_Track& track, SetReadContext& context)
{
    return fillInto(track, CMxf_SM_Track::description(), items, context);
}

CvResult readSequence(CKlvLocalSet& items, CMxf_SM_Sequence& sequence, SetReadContext& context)
{
    CMxf_SM_Sequence read;
    CvResult result = fillSet(read, CMxf_SM_Sequence::description(), items, context, L"SetSequenceGeneric");
    if (!succeeded(result))
        return result;
    for (const DataDefinitionAlias& alias : dataDefinitionAliases())
        if (!alias.is(read.dataDefinition) && read.dataDefinition == alias.avid)
            read.dataDefinition = alias.standard;
    measureUnknown(read.duration, {-1}, context);
    sequence = read;
    return result;
}

CvResult readSourceClip(CKlvLocalSet& items, CMxf_SM_SourceClip& clip, SetReadContext& context)
{
    CMxf_SM_SourceClip read;
    CvResult result = fillSet(read, CMxf_SM_SourceClip::description(), items, context);
    if (!succeeded(result))
        return result;
    measureUnknown(read.duration, {-1, -2}, context);
    clip = read;
    return result;
}

CvResult readTimecodeComponent(CKlvLocalSet& items, CMxf_SM_SourceClip& clip, SetReadContext& context)
{
    CMxf_SM_SourceClip read;
    read.timecode = std::make_shared<_SRC_CLIP_DETAIL_TC>();
    CvResult result = fillSet(read, CMxf_SM_SourceClip::timecodeDescription(), items, context);
    if (!succeeded(result))
        return result;
    measureUnknown(read.duration, {-1, -2}, context);
    clip = read;
    return result;
}

CvResult readDMSegment(CKlvLocalSet& items, DMSegment& segment, SetReadContext& context)
{
    return fillInto(segment, DMSegment::description(), items, context);
}

CvResult readCategorizedComment(CKlvLocalSet& items, CategorizedComment& comment, SetReadContext& context)
{
    DecodeRules rules;
    rules.endAtUnknownLabel = true;
    return CategorizedComment::description().fill(comment, items, context.primer, rules, nullptr, context.errorText);
}

} // namespace Corvidane::MXF
