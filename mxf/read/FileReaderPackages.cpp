#include <algorithm>

#include "frame/Text.h"
#include "mxf/model/MxfResults.h"
#include "mxf/read/FileReader.h"

// Which packages the reader takes, who wrote the file, and the repairs of
// Avid's OP-Atom timecode.
namespace Corvidane::MXF {

namespace {

const MXFUL metaglueProductId = labelFromText("F9.A3.58.B6.0D.28.3C.46.9C.12.FD.6D.AC.6E.12.13");
const MXFUL otherProductId = labelFromText("DA.41.7F.A1.83.75.97.40.A7.5C.7C.FE.EA.55.0C.16");

// The first timecode track of packages [from, to).
const CMxf_SM_Track* firstTimecodeTrack(const std::vector<CMxf_SM_Package>& packages, size_t from = 0,
                                        size_t to = SIZE_MAX)
{
    for (size_t i = from; i < std::min(to, packages.size()); ++i)
        for (const CMxf_SM_Track& track : packages[i].tracks)
            if (track.sequence.isTimeCode())
                return &track;
    return nullptr;
}

} // namespace

int CMxf_FileReader::getFileManufacturer() const
{
    if (m_preface.identifications.empty())
        return ManufacturerUnknown;
    const CMxf_SM_IdSet& id = m_preface.identifications.front();
    if (id.productUID == metaglueProductId)
        return ManufacturerMetaglue;
    if (id.productUID == otherProductId)
        return ManufacturerOther;
    if (id.companyName.empty())
        return ManufacturerUnknown;
    const std::wstring name = toLower(id.companyName);
    static const struct {
        const wchar_t* name;
        FileManufacturer value;
    } names[] = {{L"pinnacle systems", ManufacturerPinnacle}, {L"sony", ManufacturerSony},
                 {L"grass valley", ManufacturerGrassValley}, {L"quantel", ManufacturerQuantel},
                 {L"canopus", ManufacturerCanopus},          {L"metaglue", ManufacturerMetaglue},
                 {L"codex digital", ManufacturerCodex},      {L"blackmagicdesign", ManufacturerBlackmagic},
                 {L"ffmpeg", ManufacturerFFmpeg}};
    for (const auto& row : names)
        if (name == row.name)
            return row.value;
    if (name.find(L"avid") != std::wstring::npos)
        return ManufacturerAvid;
    if (name.find(L"metaglue") != std::wstring::npos)
        return ManufacturerMetaglue;
    return ManufacturerUnknown;
}

CvResult CMxf_FileReader::addSourcePackage(bool isMaterial, const CMxf_SM_Package& package)
{
    std::vector<CMxf_SM_Package>& list = isMaterial ? m_materialPackages : m_sourcePackages;
    for (const CMxf_SM_Package& present : list)
        if (present.instanceUUID == package.instanceUUID)
            return OK;
    const std::vector<GUID>& stored = m_preface.contentStorage.packages;
    if (std::find(stored.begin(), stored.end(), package.instanceUUID) == stored.end()) {
        setLastError(MxfStreamOutOfRange);
        return MxfStreamOutOfRange;
    }
    list.push_back(package);
    if (isMaterial) {
        m_metadata.emplace("clip_name", package.getName());
        if (!package.packageDescriptors.empty()) {
            setLastError(MxfTrackWithoutDescriptor);
            return MxfTrackWithoutDescriptor;
        }
    }
    return OK;
}

void CMxf_FileReader::addCCComments(CMxf_SM_Package& package, std::vector<CategorizedComment>& comments)
{
    for (CategorizedComment& entry : package.comments) {
        auto loaded = std::find_if(comments.begin(), comments.end(), [&](const CategorizedComment& comment) {
            return comment.instanceUUID == entry.instanceUUID;
        });
        if (loaded == comments.end())
            continue;
        entry.name = loaded->name;
        entry.value = loaded->value;
        comments.erase(loaded);
    }
}

void CMxf_FileReader::extractMetadata()
{
    for (const CMxf_SM_Package& package : m_sourcePackages)
        if (package.hasTapeDescriptor()) {
            m_metadata["source_reel"] = package.getName();
            return;
        }
}

std::wstring CMxf_FileReader::getSourceTape()
{
    for (const CMxf_SM_Package& package : m_sourcePackages)
        if (package.hasTapeDescriptor())
            return package.getName();
    return {};
}

int CMxf_FileReader::findSourcePackage(const UMID& umid) const
{
    for (size_t i = 0; i < m_sourcePackages.size(); ++i)
        if (m_sourcePackages[i].packageUID == umid)
            return int(i);
    return -1;
}

const CMxf_SM_SourceClip* CMxf_FileReader::findSourceClip(const UMID& umid) const
{
    const CMxf_SM_Package* material = getCurrentMP();
    if (!material)
        return nullptr;
    for (const CMxf_SM_Track& track : material->tracks)
        for (const CMxf_SM_SourceClip& clip : track.sequence.sourceClips)
            if (clip.sourcePackageID == umid)
                return &clip;
    return nullptr;
}

CvResult CMxf_FileReader::chooseSourcePackage()
{
    static const GUID none{};
    if (m_preface.primaryPackage != none) {
        for (size_t i = 0; i < m_sourcePackages.size(); ++i)
            if (m_sourcePackages[i].instanceUUID == m_preface.primaryPackage) {
                m_currentSP = int(i);
                return OK;
            }
        return fail(Fail, L"Failed to find primary package");
    }
    for (const CMxf_SM_EssenceContainerDataSet& data : m_essenceContainerData) {
        const int package = findSourcePackage(data.linkedPackageUID);
        if (package >= 0 && findSourceClip(data.linkedPackageUID)) {
            m_currentSP = package;
            return OK;
        }
    }
    if (const CMxf_SM_Package* material = getCurrentMP())
        for (const CMxf_SM_Track& track : material->tracks) {
            if (track.sequence.sourceClips.empty())
                continue;
            const int package = findSourcePackage(track.sequence.sourceClips.front().sourcePackageID);
            if (package >= 0) {
                m_currentSP = package;
                return OK;
            }
        }
    if (getFileManufacturer() == ManufacturerAvid && m_sourcePackages.size() == 2 &&
        m_sourcePackages[1].tracks.size() == 1)
        m_currentSP = 1;
    return OK;
}

bool CMxf_FileReader::isAvidALE() const
{
    if (!m_partitions.isOpAtom() || m_sourcePackages.size() < 2)
        return false;
    const CMxf_SM_Package* material = getCurrentMP();
    return material && std::any_of(material->comments.begin(), material->comments.end(),
                                   [](const CategorizedComment& comment) { return comment.name == L"Shoot Date"; });
}

void CMxf_FileReader::appendTrack(CMxf_SM_Package& package, const CMxf_SM_Track& track)
{
    package.tracks.push_back(track);
    setFlag(FlagAppendedTrack, true);
}

void CMxf_FileReader::fixDescriptorLinkTrackId(size_t index)
{
    CMxf_SM_Package& package = m_sourcePackages[index];
    if (package.tracks.empty())
        return;
    const int slot = package.findDescriptor(package.tracks.front().trackID);
    if (slot < 0 || size_t(slot) >= package.packageDescriptors.size())
        return;
    // The set is the slot's own; only the const view is at hand.
    auto* set = const_cast<CMxf_SM_DescriptorGeneric*>(package.packageDescriptors[slot].placed());
    if (set && set->linkedTrackID == 0)
        set->linkedTrackID = package.tracks.front().trackID;
}

void CMxf_FileReader::ensureAvidTimecodeTrack(const std::vector<CMxf_SM_SourceClip>& clips)
{
    if (!m_partitions.isOpAtom() || m_sourcePackages.empty())
        return;
    if (m_sourcePackages.size() == 1) {
        const CMxf_SM_Track* timecode = firstTimecodeTrack(m_materialPackages);
        if (!timecode)
            return;
        const CMxf_SM_Track copy = *timecode;
        fixDescriptorLinkTrackId(0);
        appendTrack(m_sourcePackages[0], copy);
        return;
    }
    // Only the file package's own timecode track makes one needless: Avid's
    // tape package always has one, and that is the one to bring over.
    if (firstTimecodeTrack(m_sourcePackages, 0, 1))
        return;
    if (m_sourcePackages[0].tracks.size() > 1) {
        if (isAvidALE())
            relocateFirstTimecodeTrack(clips);
        return;
    }
    fixDescriptorLinkTrackId(0);
    if (const CMxf_SM_Track* timecode = firstTimecodeTrack(m_sourcePackages, 1)) {
        const CMxf_SM_Track copy = *timecode;
        appendTrack(m_sourcePackages[0], copy);
    }
}

void CMxf_FileReader::relocateFirstTimecodeTrack(const std::vector<CMxf_SM_SourceClip>& clips)
{
    auto timecode = std::find_if(clips.begin(), clips.end(), [](const CMxf_SM_SourceClip& clip) {
        return clip.timecode != nullptr && clip.isTimeCode();
    });
    if (timecode == clips.end())
        return;
    for (CMxf_SM_Track& track : m_sourcePackages[0].tracks)
        if (track.sequence.isAAFPicture()) {
            if (!track.sequence.sourceClips.empty() && !track.sequence.sourceClips.front().timecode)
                track.sequence.sourceClips.front().timecode = std::make_shared<_SRC_CLIP_DETAIL_TC>(*timecode->timecode);
            return;
        }
}

} // namespace Corvidane::MXF
