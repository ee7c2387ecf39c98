#include <algorithm>

#include "frame/BigEndian.h"
#include "frame/FourCC.h"
#include "frame/Text.h"
#include "mxf/model/CategorizedComment.h"
#include "mxf/model/ContentStorage.h"
#include "mxf/model/DescriptorGeneric.h"
#include "mxf/model/DescriptorPicture.h"
#include "mxf/model/DescriptorSound.h"
#include "mxf/model/EssenceCodingTables.h"
#include "mxf/model/EssenceContainerData.h"
#include "mxf/model/EssenceID.h"
#include "mxf/model/Identification.h"
#include "mxf/model/KlvItem.h"
#include "mxf/model/Package.h"
#include "mxf/model/Preface.h"
#include "mxf/model/SetID.h"
#include "mxf/model/Track.h"
#include "mxf/model/WriterCodingTables.h"
#include "mxf/write/FileWriter.h"

namespace Corvidane::MXF {

namespace {

enum PackageKind { MaterialPackage = 0, FilePackage = 1, TapePackage = 2 };

// Set identifiers of the model's table of structural sets.
enum SetIdentifier : long {
    SetPreface = 0,
    SetIdentification = 1,
    SetContentStorage = 2,
    SetEssenceContainerData = 3,
    SetMaterialPackage = 4,
    SetSourcePackage = 5,
    SetTimelineTrack = 6,
    SetSequence = 9,
    SetSourceClip = 10,
    SetTimecodeComponent = 11,
    SetCDCIDescriptor = 16,
    SetRGBADescriptor = 17,
    SetMultipleDescriptor = 20,
    SetAES3Descriptor = 25,
    SetWAVEDescriptor = 26,
    SetMPEG2Descriptor = 27,
    SetVBIDescriptor = 28,
    SetANCDescriptor = 29,
    SetTaggedValue = 31,
};

const char* const companyName = "Corvidane";
const wchar_t* const versionString = L"v3.5.0.3";
const unsigned char productUID[16] = {0xDA, 0x41, 0x7F, 0xA1, 0x83, 0x75, 0x97, 0x40,
                                      0xA7, 0x5C, 0x7C, 0xFE, 0xEA, 0x55, 0x0C, 0x16};

// Data definitions of the register (SMPTE RP 224).
MXFUL dataDefinition(StreamType type)
{
    switch (type) {
    case StreamVideo:
        return labelFromText("06.0E.2B.34.04.01.01.01.01.03.02.02.01.00.00.00");
    case StreamAudio:
        return labelFromText("06.0E.2B.34.04.01.01.01.01.03.02.02.02.00.00.00");
    case StreamTimecode:
        return labelFromText("06.0E.2B.34.04.01.01.01.01.03.02.01.01.00.00.00");
    default:
        return labelFromText("06.0E.2B.34.04.01.01.01.01.03.02.02.03.00.00.00");
    }
}

// Codes that the model's essence identification knows under another code.
unsigned containerCode(unsigned fcc)
{
    static const struct {
        unsigned from, to;
    } aliases[] = {
        {fourCC("xd25"), fourCC("MMES")}, {fourCC("xd35"), fourCC("MMES")}, {fourCC("xd50"), fourCC("MMES")},
        {fourCC("M701"), fourCC("MMES")}, {fourCC("dv25"), fourCC("dvcp")}, {fourCC("avc5"), fourCC("avc6")},
        // DNxHR is VC-3 too, in Avid's container as DNxHD is.
        {fourCC("cv21"), fourCC("AVdn")}, {fourCC("cv22"), fourCC("AVdn")}, {fourCC("cv23"), fourCC("AVdn")},
        {fourCC("cv24"), fourCC("AVdn")}, {fourCC("cv25"), fourCC("AVdn")},
    };
    for (const auto& alias : aliases)
        if (alias.from == fcc)
            return alias.to;
    return fcc;
}

// Lines of the first field's first active line, and of the second's, by
// height and scan.
void videoLineMap(uint32_t height, bool progressive, uint32_t map[2])
{
    static const struct {
        uint32_t height;
        uint32_t first, second;
        uint32_t progressiveFirst;
    } rows[] = {{1080, 21, 584, 42}, {720, 26, 0, 26}, {576, 23, 336, 45}, {608, 7, 320, 13},
                {480, 23, 286, 45},  {486, 21, 284, 42}, {512, 7, 270, 13}};
    map[0] = map[1] = 0;
    for (const auto& row : rows)
        if (row.height == height) {
            map[0] = progressive ? row.progressiveFirst : row.first;
            map[1] = progressive ? 0 : row.second;
        }
}

bool isMpegCode(unsigned fcc)
{
    for (unsigned code : {fourCC("xd25"), fourCC("xd35"), fourCC("xd50"), fourCC("M701"), fourCC("MMES"),
                          fourCC("avc5"), fourCC("avc6")})
        if (fcc == code)
            return true;
    return false;
}

size_t berLengthAt(const std::vector<unsigned char>& out, size_t at, size_t& valueAt)
{
    const unsigned char first = out[at + 16];
    size_t lengthBytes = first & 0x80 ? 1 + (first & 0x7F) : 1;
    uint64_t length = first & 0x80 ? 0 : first;
    for (size_t i = 1; i < lengthBytes; ++i)
        length = length << 8 | out[at + 16 + i];
    valueAt = at + 16 + lengthBytes;
    return size_t(length);
}

} // namespace

uint16_t CMxf_FileWriter::appendPrimer(uint16_t tag, const MXFUL& label)
{
    for (const MXF_TAG2UL& entry : m_primer)
        if (entry.ul == label)
            return entry.tag;
    auto used = [this](uint16_t wanted) {
        return std::any_of(m_primer.begin(), m_primer.end(),
                           [wanted](const MXF_TAG2UL& entry) { return entry.tag == wanted; });
    };
    if (tag == 0)
        while (used(tag = m_nextDynamicTag--))
            ;
    m_primer.push_back(MXF_TAG2UL{tag, label});
    return tag;
}

void CMxf_FileWriter::writePrimer(std::vector<unsigned char>& out)
{
    static const MXFUL key = labelFromText("06.0E.2B.34.02.05.01.01.0D.01.02.01.01.05.01.00");
    const uint64_t length = 8 + 18 * uint64_t(m_primer.size());
    const size_t at = out.size();
    out.resize(at + 20 + size_t(length));
    CKlvItem::create(key, 4, length, out.data() + at, 20);
    unsigned char* p = out.data() + at + 20;
    writeBE32(p, uint32_t(m_primer.size()));
    writeBE32(p + 4, 18);
    p += 8;
    for (const MXF_TAG2UL& entry : m_primer) {
        writeBE16(p, entry.tag);
        std::copy(entry.ul.bytes, entry.ul.bytes + 16, p + 2);
        p += 18;
    }
}

size_t CMxf_FileWriter::appendSet(std::vector<unsigned char>& out, const SetDescription& description,
                                  const CMxf_SM_BaseSet& set, long setId, const std::vector<uint16_t>& tags,
                                  const std::vector<MXFUL>& dynamicLabels)
{
    std::vector<MXF_TAG2UL> items;
    for (uint16_t tag : tags)
        if (const SetItem* item = description.findTag(tag))
            items.push_back(MXF_TAG2UL{appendPrimer(tag, item->label), item->label});
    for (const MXFUL& label : dynamicLabels)
        items.push_back(MXF_TAG2UL{appendPrimer(0, label), label});
    const size_t at = out.size();
    out.resize(at + 0x10000);
    const int64_t written = description.write(set, CMxf_SM_SetID(setId).key(), items, out.data() + at, 0x10000);
    out.resize(at + size_t(std::max<int64_t>(written, 0)));
    m_setWriteFailed = m_setWriteFailed || written <= 0;
    return at;
}

void CMxf_FileWriter::noteLength(const std::vector<unsigned char>& out, size_t setAt, uint16_t tag, int track,
                                 const char* name)
{
    size_t at = 0;
    const size_t end = setAt + berLengthAt(out, setAt, at) + (at - setAt);
    const uint16_t wireTag = tag;
    while (at + 4 <= end) {
        const uint16_t itemTag = readBE16(&out[at]);
        const uint16_t itemLength = readBE16(&out[at + 2]);
        if (itemTag == wireTag && itemLength == 8) {
            m_lengthOffsets.push_back(LengthOffset{at + 4, track, name});
            return;
        }
        at += 4 + itemLength;
    }
}

std::wstring CMxf_FileWriter::getXmlMetadata(const std::wstring& tag, int track) const
{
    if (track < 0) {
        for (size_t i = 0; i < m_tracks.size() && track < 0; ++i)
            if (m_tracks[i].streamType == StreamVideo || m_tracks[i].streamType == StreamAudio)
                track = int(i);
    }
    if (track < 0 || size_t(track) >= m_tracks.size())
        return {};
    const TrackStructuralData& data = m_tracks[size_t(track)];
    if (!data.extendedData || data.extendedDataSize < 4)
        return {};
    // A zero-terminated wide text; a block without its terminator is read to its end.
    const size_t units = data.extendedDataSize / 4;
    std::wstring text;
    for (size_t i = 0; i < units; ++i) {
        uint32_t unit = 0;
        std::copy(data.extendedData + 4 * i, data.extendedData + 4 * i + 4, reinterpret_cast<unsigned char*>(&unit));
        if (unit == 0)
            break;
        text.push_back(wchar_t(unit));
    }
    std::wstring value;
    return XML::findXMLTagData(text, tag, value) ? value : std::wstring();
}

bool CMxf_FileWriter::soundIsAes3() const
{
    return (m_fileType >= FileTypeDV25 && m_fileType <= FileTypeDVCProHD) ||
           (m_fileType == FileTypeMpegLongGop && !isOpAtom() && m_isXdcam);
}

MXFUL CMxf_FileWriter::trackContainerLabel(int track) const
{
    const TrackStructuralData& data = m_tracks[size_t(track)];
    CMxf_GC_EssenceID id;
    if (data.streamType == StreamAudio) {
        const bool aes3 = soundIsAes3();
        // The register's sound mappings: wave 1 frame and 2 clip wrapped, AES3 3 and 4.
        MXFUL label = labelFromText("06.0E.2B.34.04.01.01.01.0D.01.03.01.02.06.00.00");
        label[14] = static_cast<unsigned char>((aes3 ? 3 : 1) + (m_wrapType == 1 ? 0 : 1));
        return label;
    }
    if (data.streamType == StreamVideo) {
        const VideoStructuralData& video = data.video;
        if (!id.setFromFCC(containerCode(video.fourcc), int32_t(video.rateNumerator),
                           int32_t(video.rateDenominator), video.dataRate, m_wrapType, int32_t(video.frameLayout)))
            return MXFUL{};
        // MPEG elementary streams name their stream: video stream 0 is 0x60.
        if (containerCode(video.fourcc) == fourCC("MMES") && id.label[13] == 0x04)
            id.label[14] = 0x60;
        return id.label;
    }
    if (data.streamType == StreamTimecode)
        return MXFUL{};
    id.setFromFCC(fourCC("anc1"), 0, 1, 0, 1, 0);
    return id.label;
}

std::vector<MXFUL> CMxf_FileWriter::getEssenceBatch() const
{
    std::vector<MXFUL> labels;
    for (size_t i = 0; i < m_tracks.size(); ++i) {
        if (isOpAtom() && int(i) != m_opAtomTrack)
            continue;
        const MXFUL label = trackContainerLabel(int(i));
        if (label != MXFUL{} && std::find(labels.begin(), labels.end(), label) == labels.end())
            labels.push_back(label);
    }
    if (!isOpAtom() && labels.size() > 1)
        labels.insert(labels.begin(), labelFromText("06.0E.2B.34.04.01.01.03.0D.01.03.01.02.7F.01.00"));
    return labels;
}

int CMxf_FileWriter::packageTracks(int packageKind, std::vector<int>& tracks) const
{
    tracks.clear();
    for (size_t i = 0; i < m_tracks.size(); ++i) {
        const bool timecode = m_tracks[i].streamType == StreamTimecode;
        if (packageKind == MaterialPackage || !isOpAtom() || timecode || int(i) == m_opAtomTrack)
            tracks.push_back(int(i));
    }
    return int(tracks.size());
}

void CMxf_FileWriter::writeSet_Preface(std::vector<unsigned char>& out)
{
    CMxf_SM_PrefaceSet preface;
    preface.instanceUUID = m_uuids[0];
    preface.lastModifiedDate = m_timestamp;
    preface.operationalPattern = m_pattern;
    preface.identifications.resize(1);
    preface.identifications[0].instanceUUID = m_uuids[1];
    preface.contentStorage.instanceUUID = m_uuids[2];
    preface.primaryPackage = m_uuids[5];
    preface.essenceContainers = getEssenceBatch();
    std::vector<uint16_t> tags = {0x3C0A};
    if (isOpAtom()) {
        preface.avidIdentifier = m_uuids[12];
        preface.avidSecondIdentifier = m_uuids[13];
        preface.projectName = m_projectName;
        tags.insert(tags.end(), {0xFFFF, 0xFFFC, 0xFFFE});
        if (!m_projectName.empty())
            tags.push_back(0xFFFD);
    }
    tags.insert(tags.end(), {0x3B02, 0x3B05});
    if (isOpAtom())
        tags.push_back(0x3B08);
    tags.insert(tags.end(), {0x3B06, 0x3B03});
    if (isOpAtom()) {
        preface.dictionary = m_aafDictionary;
        tags.push_back(0x3B04);
    }
    tags.insert(tags.end(), {0x3B09, 0x3B0A, 0x3B0B, 0x3B07, 0x3B01});
    appendSet(out, CMxf_SM_PrefaceSet::description(), preface, SetPreface, tags);
}

void CMxf_FileWriter::writeSet_Identification(std::vector<unsigned char>& out)
{
    CMxf_SM_IdSet id;
    id.instanceUUID = m_uuids[1];
    id.generationUUID = m_uuids[3];
    id.companyName.assign(companyName, companyName + 9);
    id.productName = m_product;
    id.versionString = versionString;
    id.productUID = MXFUL::fromData(productUID);
    id.modificationDate = m_timestamp;
    id.platform = getPlatformString();
    appendSet(out, CMxf_SM_IdSet::description(), id, SetIdentification,
              {0x3C0A, 0x3C09, 0x3C01, 0x3C02, 0x3C04, 0x3C05, 0x3C06, 0x3C08});
}

void CMxf_FileWriter::writeSet_ContentStorage(std::vector<unsigned char>& out)
{
    CMxf_SM_ContentStorageSet storage;
    storage.instanceUUID = m_uuids[2];
    storage.essenceContainerData.push_back(m_uuids[6]);
    storage.packages = {m_uuids[4], m_uuids[5]};
    if (isOpAtom())
        storage.packages.push_back(m_uuids[7]);
    appendSet(out, CMxf_SM_ContentStorageSet::description(), storage, SetContentStorage, {0x3C0A, 0x1902, 0x1901});
}

void CMxf_FileWriter::writeSet_EssenceContainerData(std::vector<unsigned char>& out)
{
    CMxf_SM_EssenceContainerDataSet data;
    data.instanceUUID = m_uuids[6];
    data.linkedPackageUID = m_fileUmid;
    data.bodySID = m_bodySID;
    data.indexSID = m_indexSID;
    appendSet(out, CMxf_SM_EssenceContainerDataSet::description(), data, SetEssenceContainerData,
              {0x3C0A, 0x2701, 0x3F07, 0x3F06});
}

std::vector<std::pair<std::wstring, std::wstring>> CMxf_FileWriter::commentsFor(bool firstFilePackage) const
{
    std::vector<std::pair<std::wstring, std::wstring>> comments;
    const struct {
        const wchar_t* name;
        const wchar_t* tag;
        bool firstFileOnly;
    } rows[] = {{L"TapeID", L"source_reel", true}, {L"Scene", L"scene", false}, {L"Take", L"take", false},
                {L"Comments", L"comment", false}};
    for (const auto& row : rows) {
        if (row.firstFileOnly && !firstFilePackage)
            continue;
        std::wstring value = getXmlMetadata(row.tag, -1);
        if (!value.empty())
            comments.emplace_back(row.name, value);
    }
    if (!m_projectName.empty())
        comments.emplace_back(L"_PJ", m_projectName);
    return comments;
}

void CMxf_FileWriter::writeComments(std::vector<unsigned char>& out, const std::vector<GUID>& uids,
                                    const std::vector<std::pair<std::wstring, std::wstring>>& comments)
{
    for (size_t i = 0; i < comments.size(); ++i) {
        CategorizedComment comment(uids[i]);
        comment.name = comments[i].first;
        comment.value = comments[i].second;
        appendSet(out, CategorizedComment::description(), comment, SetTaggedValue, {0x3C0A, 0x5003, 0x5001});
    }
}

void CMxf_FileWriter::writeSet_FilePackage(std::vector<unsigned char>& out, int packageKind)
{
    CMxf_SM_Package package;
    package.instanceUUID = m_uuids[packageKind == TapePackage ? 7 : size_t(4 + packageKind)];
    package.packageUID = packageKind == MaterialPackage ? m_materialUmid
                         : packageKind == FilePackage  ? m_fileUmid
                                                       : m_tapeUmid;
    package.name = packageKind == MaterialPackage ? m_title
                   : isOpAtom()                   ? std::wstring(L"File Package")
                                                  : std::wstring();
    package.creationDate = package.modifiedDate = m_timestamp;
    std::vector<int> tracks;
    packageTracks(packageKind, tracks);
    // Set identifiers: tracks, sequences and components take three each, by
    // package and row, after the fixed ones.
    auto trackUid = [&](int track) {
        GUID uid = m_uuids[8];
        uid.Data1 += uint32_t(packageKind * 1000 + track * 3 + 1);
        return uid;
    };
    package.tracks.resize(tracks.size());
    for (size_t i = 0; i < tracks.size(); ++i)
        package.tracks[i].instanceUUID = trackUid(tracks[i]);
    const auto comments = packageKind == MaterialPackage ? std::vector<std::pair<std::wstring, std::wstring>>()
                                                         : commentsFor(packageKind == FilePackage);
    std::vector<GUID> commentUids;
    for (size_t i = 0; i < comments.size(); ++i) {
        GUID uid = m_uuids[9];
        uid.Data1 += uint32_t(packageKind * 100 + i);
        commentUids.push_back(uid);
        package.comments.emplace_back(uid);
    }
    std::vector<uint16_t> tags = {0x3C0A, 0x4401, 0x4402, 0x4405, 0x4404, 0x4403};
    if (!comments.empty())
        tags.push_back(0x4406);
    if (packageKind == FilePackage) {
        PACKAGE_DESCRIPTOR slot;
        slot.instanceUUID = m_uuids[10];
        package.packageDescriptors.push_back(slot);
        tags.push_back(0x4701);
    }
    appendSet(out, CMxf_SM_Package::description(), package,
              packageKind == MaterialPackage ? SetMaterialPackage : SetSourcePackage, tags);
    writeComments(out, commentUids, comments);
    if (packageKind == FilePackage)
        WriteFP_Descriptors(out, m_uuids[10]);
    for (int track : tracks)
        writeTrack(out, packageKind, track, uint32_t(track + 1));
}

void CMxf_FileWriter::writeTrack(std::vector<unsigned char>& out, int packageKind, int track, uint32_t trackId)
{
    const TrackStructuralData& data = m_tracks[size_t(track)];
    CMxf_SM_Track set;
    GUID uid = m_uuids[8];
    uid.Data1 += uint32_t(packageKind * 1000 + track * 3 + 1);
    set.instanceUUID = uid;
    set.trackID = trackId;
    const MXFUL& key = m_essenceKeys[size_t(track)];
    if (packageKind != MaterialPackage && data.streamType != StreamTimecode)
        set.trackNumber = readBE32(key.bytes + 12);
    int audioNumber = 0;
    for (int i = 0; i <= track; ++i)
        audioNumber += m_tracks[size_t(i)].streamType == StreamAudio;
    switch (int(data.streamType)) {
    case StreamVideo:
        set.trackName = L"V1";
        break;
    case StreamAudio:
        set.trackName = std::to_wstring(audioNumber);
        break;
    case StreamTimecode:
        set.trackName = L"TC1";
        break;
    case 6:
        set.trackName = L"VBI1";
        break;
    default:
        set.trackName = L"ANC1";
    }
    set.editRate = m_editRates[size_t(track)];
    GUID sequenceUid = uid, componentUid = uid;
    sequenceUid.Data1 += 1;
    componentUid.Data1 += 2;
    set.sequence.instanceUUID = sequenceUid;
    appendSet(out, CMxf_SM_Track::description(), set, SetTimelineTrack,
              {0x3C0A, 0x4801, 0x4804, 0x4802, 0x4B01, 0x4B02, 0x4803});
    writeSequence(out, packageKind, track, sequenceUid, componentUid);
}

void CMxf_FileWriter::writeSequence(std::vector<unsigned char>& out, int packageKind, int track, const GUID& uid,
                                    const GUID& componentUid)
{
    const TrackStructuralData& data = m_tracks[size_t(track)];
    CMxf_SM_Sequence sequence;
    sequence.instanceUUID = uid;
    sequence.dataDefinition = dataDefinition(data.streamType);
    sequence.sourceClips.resize(1);
    sequence.sourceClips[0].instanceUUID = componentUid;
    size_t at = appendSet(out, CMxf_SM_Sequence::description(), sequence, SetSequence, {0x3C0A, 0x0201, 0x0202, 0x1001});
    noteLength(out, at, 0x0202, track, "Sequence");

    CMxf_SM_SourceClip clip;
    clip.instanceUUID = componentUid;
    clip.dataDefinition = sequence.dataDefinition;
    if (data.streamType == StreamTimecode) {
        clip.timecode = std::make_shared<_SRC_CLIP_DETAIL_TC>();
        const MXFRATIONAL rate = m_editRates[size_t(track)];
        clip.timecode->roundedTimecodeBase =
            rate.denominator > 0 ? uint16_t((int64_t(rate.numerator) + rate.denominator - 1) / rate.denominator) : 0;
        clip.timecode->startTimecode = m_startTimecode;
        clip.timecode->dropFrame = m_dropFrame;
        at = appendSet(out, CMxf_SM_SourceClip::timecodeDescription(), clip, SetTimecodeComponent,
                       {0x3C0A, 0x0201, 0x0202, 0x1501, 0x1502, 0x1503});
        noteLength(out, at, 0x0202, track, "SourceClipTimecode");
        return;
    }
    if (packageKind == MaterialPackage) {
        clip.sourcePackageID = m_trackUmids[size_t(track)];
        clip.sourceTrackID = uint32_t(track + 1);
    } else if (packageKind == FilePackage && isOpAtom()) {
        clip.sourcePackageID = m_tapeUmid;
        clip.sourceTrackID = uint32_t(track + 1);
    }
    at = appendSet(out, CMxf_SM_SourceClip::description(), clip, SetSourceClip,
                   {0x3C0A, 0x0201, 0x1201, 0x0202, 0x1101, 0x1102});
    noteLength(out, at, 0x0202, track, "writeSourceClip");
}

void CMxf_FileWriter::WriteFP_Descriptors(std::vector<unsigned char>& out, const GUID& uid)
{
    std::vector<int> tracks;
    for (size_t i = 0; i < m_tracks.size(); ++i)
        if (m_tracks[i].streamType != StreamTimecode && (!isOpAtom() || int(i) == m_opAtomTrack))
            tracks.push_back(int(i));
    if (tracks.size() == 1) {
        WriteTrack_Descriptor(out, uid, tracks[0]);
        return;
    }
    CMxf_SM_DescriptorMutipleSet multiple;
    multiple.instanceUUID = uid;
    multiple.sampleRate = m_editRates[size_t(primaryOrFirstTrack())];
    multiple.essenceContainer = labelFromText("06.0E.2B.34.04.01.01.03.0D.01.03.01.02.7F.01.00");
    std::vector<GUID> subUids;
    for (int track : tracks) {
        GUID sub = m_uuids[11];
        sub.Data1 += uint32_t(track);
        subUids.push_back(sub);
        multiple.append(sub);
    }
    const size_t at = appendSet(out, CMxf_SM_DescriptorMutipleSet::description(), multiple, SetMultipleDescriptor,
                                {0x3C0A, 0x3001, 0x3002, 0x3004, 0x3F01});
    noteLength(out, at, 0x3002, primaryOrFirstTrack(), "writeGenericDescriptor");
    for (size_t i = 0; i < tracks.size(); ++i)
        WriteTrack_Descriptor(out, subUids[i], tracks[i]);
}

void CMxf_FileWriter::WriteTrack_Descriptor(std::vector<unsigned char>& out, const GUID& uid, int track)
{
    const TrackStructuralData& data = m_tracks[size_t(track)];
    const std::vector<uint16_t> generic = {0x3C0A, 0x3006, 0x3001, 0x3002, 0x3004};
    auto fillGeneric = [&](CMxf_SM_DescriptorGeneric& set) {
        set.instanceUUID = uid;
        set.linkedTrackID = uint32_t(track + 1);
        set.sampleRate = m_editRates[size_t(track)];
        set.essenceContainer = trackContainerLabel(track);
    };
    auto withTags = [&](std::vector<uint16_t> more) {
        std::vector<uint16_t> tags = generic;
        tags.insert(tags.end(), more.begin(), more.end());
        return tags;
    };
    size_t at = 0;
    if (data.streamType == StreamAudio) {
        const AudioStructuralData& audio = data.audio;
        CMxf_SM_DescriptorSoundAES3 sound;
        fillGeneric(sound);
        sound.audioSamplingRate = MXFRATIONAL{int32_t(audio.sampleRate), 1};
        sound.locked = true;
        sound.channelCount = audio.channels;
        sound.quantizationBits = audio.bitsPerSample;
        sound.blockAlign = audio.blockAlign;
        sound.avgBps = audio.bytesPerSecond;
        const std::vector<uint16_t> tags = withTags({0x3D03, 0x3D02, 0x3D07, 0x3D01, 0x3D0A, 0x3D09});
        const bool aes3 = soundIsAes3();
        if (aes3)
            at = appendSet(out, CMxf_SM_DescriptorSoundAES3::description(), sound, SetAES3Descriptor, tags);
        else
            at = appendSet(out, CMxf_SM_DescriptorSoundWave::description(), sound, SetWAVEDescriptor, tags);
    } else if (data.streamType == StreamVideo) {
        const VideoStructuralData& video = data.video;
        const bool progressive = video.frameLayout == 4;
        const bool mpeg = isMpegCode(video.fourcc) && !(isOpAtom() && (video.fourcc == fourCC("xd25") ||
                                                                        video.fourcc == fourCC("xd35") ||
                                                                        video.fourcc == fourCC("xd50")));
        CMxf_SM_DescriptorPictureMPEG2 picture;
        fillGeneric(picture);
        picture.frameLayout = progressive ? 0 : 1;
        const uint32_t storedHeight = isMpegCode(video.fourcc) ? (video.height + 15) / 16 * 16 : video.height;
        picture.storedWidth = video.width;
        picture.storedHeight = progressive ? storedHeight : storedHeight / 2;
        picture.sampledWidth = picture.displayWidth = video.width;
        picture.sampledHeight = picture.displayHeight = progressive ? video.height : video.height / 2;
        const uint32_t num = video.aspect >> 16, den = video.aspect & 0xFFFF;
        picture.aspectRatio = num == den ? MXFRATIONAL{int32_t(video.width), int32_t(video.height)}
                                         : MXFRATIONAL{int32_t(num), int32_t(den ? den : 1)};
        videoLineMap(video.height, progressive, picture.videoLineMap);
        VideoEncodeParams params;
        params.fcc = video.fourcc;
        params.width = int32_t(video.width);
        params.height = int32_t(video.height);
        params.rate = int32_t(video.rateNumerator);
        params.scale = int32_t(video.rateDenominator);
        params.polarity = int32_t(video.frameLayout);
        params.dataRate = video.dataRate;
        picture.pictureEssenceCoding = getEssenceCodingType(&params);
        picture.componentDepth = 8;
        picture.horizontalSubsampling = 2;
        picture.verticalSubsampling = 1;
        std::vector<uint16_t> tags = withTags({0x320C, 0x3203, 0x3202, 0x3205, 0x3204, 0x3209, 0x3208, 0x320E, 0x320D});
        if (picture.pictureEssenceCoding != MXFUL{})
            tags.push_back(0x3201);
        tags.insert(tags.end(), {0x3301, 0x3302, 0x3308});
        std::vector<MXFUL> dynamic;
        if (isOpAtom() && m_resolutionId) {
            picture.avidResolutionID = uint32_t(m_resolutionId);
            dynamic.push_back(labelFromText("A0.24.00.60.94.EB.75.CB.CE.2A.CA.4D.51.AB.11.D3"));
        }
        if (mpeg) {
            picture.codedContentType = progressive ? 1 : 2;
            picture.maxGOP = uint16_t(m_gopSize);
            dynamic.push_back(propertyLabel("01.04.01.06.02.01.04.00.00"));
            dynamic.push_back(propertyLabel("01.04.01.06.02.01.08.00.00"));
            at = appendSet(out, CMxf_SM_DescriptorPictureMPEG2::description(), picture, SetMPEG2Descriptor, tags,
                           dynamic);
        } else {
            at = appendSet(out, CMxf_SM_DescriptorPictureCDCI::description(), picture, SetCDCIDescriptor, tags,
                           dynamic);
        }
    } else {
        AncDescriptor anc;
        fillGeneric(anc);
        at = appendSet(out, CMxf_SM_DescriptorData::description(), anc,
                       int(data.streamType) == 6 ? SetVBIDescriptor : SetANCDescriptor, generic);
    }
    noteLength(out, at, 0x3002, track, "writeGenericDescriptor");
}

void CMxf_FileWriter::writeHeaderMetadata(std::vector<unsigned char>& out)
{
    writeSet_Preface(out);
    writeSet_Identification(out);
    writeSet_ContentStorage(out);
    writeSet_EssenceContainerData(out);
    writeSet_FilePackage(out, MaterialPackage);
    if (isOpAtom())
        writeSet_FilePackage(out, TapePackage);
    writeSet_FilePackage(out, FilePackage);
}

int CMxf_FileWriter::primaryOrFirstTrack() const
{
    if (m_opAtomTrack >= 0)
        return m_opAtomTrack;
    for (size_t i = 0; i < m_tracks.size(); ++i)
        if (m_tracks[i].streamType == StreamVideo)
            return int(i);
    for (size_t i = 0; i < m_tracks.size(); ++i)
        if (m_tracks[i].streamType != StreamTimecode)
            return int(i);
    return 0;
}

} // namespace Corvidane::MXF
