#include <cstdio>
#include <ctime>

#include "frame/CvFileIOFactory.h"
#include "frame/FourCC.h"
#include "frame/Text.h"
#include "frame/Utf8.h"
#include "mxf/model/AafDefinitions.h"
#include "mxf/model/EssenceID.h"
#include "mxf/model/MxfText.h"
#include "mxf/model/Umid.h"
#include "mxf/model/WriterCodingTables.h"
#include "mxf/write/FileWriter.h"

namespace Corvidane::MXF {

namespace {

const wchar_t* const defaultProduct = L"Vexos Video Server";
const wchar_t* const defaultResourcePath = L"/opt/corvidane/share/rivulet/mxf/";
const size_t op1aHeaderBuffer = 40960;
const size_t opAtomHeaderRegion = 0x60000;

MXFTIMESTAMP nowUtc()
{
    const std::time_t now = std::time(nullptr);
    std::tm utc{};
    gmtime_r(&now, &utc);
    MXFTIMESTAMP stamp;
    stamp.year = static_cast<uint16_t>(utc.tm_year + 1900);
    stamp.month = static_cast<uint8_t>(utc.tm_mon + 1);
    stamp.day = static_cast<uint8_t>(utc.tm_mday);
    stamp.hour = static_cast<uint8_t>(utc.tm_hour);
    stamp.minute = static_cast<uint8_t>(utc.tm_min);
    stamp.second = static_cast<uint8_t>(utc.tm_sec);
    return stamp;
}

MXFUL keyWithTail(unsigned char b12, unsigned char b13, unsigned char b14, unsigned char b15)
{
    MXFUL key = essenceKeyPrefix();
    key[12] = b12;
    key[13] = b13;
    key[14] = b14;
    key[15] = b15;
    return key;
}

} // namespace

CMxf_FileWriter::CMxf_FileWriter() { reset(); }

CMxf_FileWriter::~CMxf_FileWriter()
{
    close();
}

void CMxf_FileWriter::resetFileState()
{
    for (TrackStructuralData& track : m_tracks)
        freeExtendedData(track);
    m_tracks.clear();
    m_children.clear();
    m_operationalPattern = 1;
    m_pattern.setOP1A();
    m_wrapType = 1;
    m_opAtomTrack = -1;
    m_audioOnly = m_isXdcam = false;
    m_fileType = FileTypeNone;
    m_sectorSize = m_kagSize = 512;
    m_bodySID = 1;
    m_indexSID = 2;
    m_maxAtoms = 2000000;
    m_essenceKeys.clear();
    m_editRates.clear();
    m_startTimecode = 0;
    m_dropFrame = false;
    m_resolutionId = 0;
    m_gopSize = 1;
    m_partitionFrames = 4000;
    m_partitionIndexReserve = 65536;
    m_filename.clear();
    m_projectName.clear();
    m_isOpen = false;
    m_timestamp = MXFTIMESTAMP{};
    m_uuids.clear();
    m_trackUmids.clear();
    m_containerLabel = MXFUL{};
    m_aafDictionary = GUID{};
    m_primer.clear();
    m_setWriteFailed = false;
    m_nextDynamicTag = 0xFFFF;
    m_lengthOffsets.clear();
    m_header.clear();
    m_header.shrink_to_fit();
    m_headerIndexAt = m_sizeOfEssenceKeyInHeader = 0;
    m_partitions.clear();
    m_ownSegment.reset();
    m_xdcamSegment.reset();
    m_indexMode = 1;
    m_editUnitSize = 0;
    m_deltaEntries.clear();
    m_audioSampleSize = 0;
    m_atomsWritten = m_atomsInPartition = m_essenceBytesWritten = m_essenceLength = 0;
    m_flushCounter = 0;
    m_flushWaitsForGop = m_flushPending = false;
    m_essence.clear();
    m_essence.shrink_to_fit();
    m_elementOffsets.clear();
    m_elementSizes.clear();
    m_trackCounts.clear();
    m_pendingTemporal.clear();
    m_indexers.clear();
    m_pendingIndex.clear();
    m_nextExternalIndex = 0;
    m_footerPosition = 0;
}

void CMxf_FileWriter::reset()
{
    resetFileState();
    m_opAtomAudioBufferSize = 262144;
    m_addTrailingRandomFill = true;
    m_overwrite = true;
    m_flags = 0;
    m_title.clear();
    m_product = defaultProduct;
    m_resourcePath.clear();
    m_materialUmid = m_fileUmid = m_tapeUmid = UMID{};
    m_flushPeriod = 0;
}

void CMxf_FileWriter::setOperationalPattern(int pattern)
{
    m_operationalPattern = pattern == 0 ? 0 : 1;
    if (isOpAtom())
        m_pattern.setOPAtom();
    else
        m_pattern.setOP1A();
}

void CMxf_FileWriter::setProduct(const std::wstring& product)
{
    m_product = product.empty() ? defaultProduct : product;
}

CvResult CMxf_FileWriter::failCreate(CvResult code, const wchar_t* text)
{
    setLastError(code, L"%ls", text);
    return code;
}

CvResult CMxf_FileWriter::create(const std::wstring& filename, const TrackStructuralData* tracks, int count,
                                 int pattern)
{
    close();
    // What an earlier create that failed left behind goes; settings stay.
    resetFileState();
    clearLastError();
    setOperationalPattern(pattern);
    std::vector<TrackStructuralData> local;
    for (int i = 0; tracks && i < count; ++i)
        local.push_back(tracks[i]);  // a shallow copy: createInner keeps its own

    for (TrackStructuralData& track : local) {
        if (track.streamType != StreamVideo)
            continue;
        CodeRename rename{};
        if (renameForCreate(track.video.fourcc, rename)) {
            if (rename.to)
                track.video.fourcc = rename.to;
            m_isXdcam = m_isXdcam || rename.xdcam;
        }
        break;
    }
    if (m_isXdcam) {
        m_bodySID = 2;
        m_indexSID = 1;
    }

    int primary = -1;
    if (isOpAtom()) {
        for (int i = 0; i < int(local.size()) && primary < 0; ++i)
            if (local[i].streamType == StreamVideo)
                primary = i;
        m_audioOnly = primary < 0;
        for (int i = 0; i < int(local.size()) && m_audioOnly; ++i)
            if (local[i].streamType == StreamAudio)
                primary = i;
        if (primary < 0)
            return failCreate(InvalidArg, L"Cannot create opatom file with no video or audio track");
    }
    return createInner(filename, local.data(), int(local.size()), primary, true);
}

CvResult CMxf_FileWriter::classifyTrack(int index, const TrackStructuralData& track, int videoCount, int audioCount,
                                        int& audioIndex, const TrackStructuralData* clock)
{
    MXFUL& key = m_essenceKeys[size_t(index)];
    MXFRATIONAL& rate = m_editRates[size_t(index)];
    const bool clip = m_wrapType == 2;
    if (track.streamType == StreamTimecode) {
        m_startTimecode = track.timecode.startFrame;
        m_dropFrame = track.timecode.dropFrame != 0;
        rate = MXFRATIONAL{int32_t(track.timecode.rateNumerator), int32_t(track.timecode.rateDenominator)};
        return OK;
    }
    if (isAncillaryTrack(track)) {
        if (!isOpAtom())
            return failCreate(InvalidArg, L"ANC requires opatom");
        key = keyWithTail(0x17, 0x01, 0x02, 0x01);
        // Ancillary data counts at the timecode's rate, else the picture's.
        if (clock && clock->streamType == StreamTimecode)
            rate = MXFRATIONAL{int32_t(clock->timecode.rateNumerator), int32_t(clock->timecode.rateDenominator)};
        else if (clock)
            rate = MXFRATIONAL{int32_t(clock->video.rateNumerator), int32_t(clock->video.rateDenominator)};
        return OK;
    }
    if (track.streamType == StreamAudio) {
        rate = MXFRATIONAL{int32_t(track.audio.sampleRate), 1};
        ++audioIndex;
        if (videoCount == 0) {
            m_fileType = FileTypeAudio;
            key = keyWithTail(0x05, 0x01, 0x01, 0x00);
        } else if (m_fileType == FileTypeIMX) {
            key = keyWithTail(0x06, 0x01, 0x10, 0x00);
        } else {
            const bool countInPlace = !isOpAtom() && m_isXdcam && m_fileType != FileTypeDV25 &&
                                      m_fileType != FileTypeDV50 && m_fileType != FileTypeDVCPro &&
                                      m_fileType != FileTypeDVCProHD;
            key = keyWithTail(0x16, static_cast<unsigned char>(countInPlace ? audioCount : 4), 0x03,
                              static_cast<unsigned char>(audioIndex));
        }
        return OK;
    }
    if (track.streamType != StreamVideo)
        return OK;

    const VideoStructuralData& video = track.video;
    rate = MXFRATIONAL{int32_t(video.rateNumerator), int32_t(video.rateDenominator)};
    const unsigned fcc = video.fourcc;
    if (!isOpAtom()) {
        if (const wchar_t* refusal = op1aRefusal(fcc)) {
            const std::wstring code = fromUtf8(fourCCToString(fcc));
            setLastError(InvalidArg, refusal, code.c_str());
            return InvalidArg;
        }
    }
    const int type = fileTypeOfCode(fcc, video.gopSize);
    const bool xdcamMpeg = fcc == fourCC("xd25") || fcc == fourCC("xd35") || fcc == fourCC("xd50");
    switch (type) {
    case FileTypeAvcIntra:
    case FileTypeAvidProxy:
        key = keyWithTail(0x15, 0x01, clip ? 0x06 : 0x05, 0x01);
        break;
    case FileTypeDNxHR:
        key = keyWithTail(0x15, 0x01, 0x0D, 0x01);
        break;
    case FileTypeProxy:
        key = keyWithTail(0x15, 0x01, 0x06, 0x00);
        break;
    case FileTypeMpegIFrame:
    case FileTypeMpegLongGop:
        key = keyWithTail(0x15, 0x01, 0x05, 0x00);
        if (isOpAtom() && xdcamMpeg) {
            key[8] = 0x0E;
            key[9] = 0x04;
            key[14] = 0x03;
            key[15] = 0x01;
        }
        break;
    case FileTypeIMX:
        if (!isImxDataRate(video.dataRate))
            return failCreate(InvalidArg, L"Invalid IMX datarate");
        key = keyWithTail(0x05, 0x01, 0x01, 0x00);
        break;
    case FileTypeDNxHD:
        if (!isDnxhdDataRate(video.dataRate))
            return failCreate(InvalidArg, L"Invalid DNxHD datarate");
        key = keyWithTail(0x15, 0x01, clip ? 0x06 : 0x05, 0x01);
        key[8] = 0x0E;
        key[9] = 0x04;
        key[10] = 0x03;
        key[11] = 0x01;
        break;
    case FileTypeDV25:
    case FileTypeDV50:
    case FileTypeDVCPro:
    case FileTypeDVCProHD:
        key = keyWithTail(0x18, 0x01, clip ? 0x02 : 0x01, 0x00);
        break;
    default:
        return failCreate(InvalidArg, L"Invalid video compression");
    }
    m_fileType = type;
    if (type == FileTypeMpegLongGop)
        m_gopSize = video.gopSize;

    const bool needsResolution = (type >= FileTypeDV25 && type <= FileTypeDVCProHD) || xdcamMpeg ||
                                 type == FileTypeDNxHD || type == FileTypeAvcIntra || type == FileTypeAvidProxy;
    VideoEncodeParams params;
    params.fcc = fcc;
    params.width = int32_t(video.width);
    params.height = int32_t(video.height);
    params.rate = int32_t(video.rateNumerator);
    params.scale = int32_t(video.rateDenominator);
    params.polarity = int32_t(video.frameLayout);
    params.dataRate = video.dataRate;
    m_resolutionId = resolutionIdFromVideoParams(params);
    if (isOpAtom() && needsResolution && m_resolutionId == 0)
        return failCreate(InvalidArg, L"Unknown resolution id");
    return OK;
}

CvResult CMxf_FileWriter::setFileType(const TrackStructuralData* tracks, int count, int primaryTrack)
{
    int videoCount = 0, audioCount = 0, timecodeTrack = -1, firstPicture = -1;
    for (int i = 0; i < count; ++i) {
        videoCount += tracks[i].streamType == StreamVideo;
        audioCount += tracks[i].streamType == StreamAudio;
        if (tracks[i].streamType == StreamTimecode && timecodeTrack < 0)
            timecodeTrack = i;
        if (tracks[i].streamType == StreamVideo && firstPicture < 0)
            firstPicture = i;
    }
    m_essenceKeys.assign(size_t(count), MXFUL{});
    m_editRates.assign(size_t(count), MXFRATIONAL{});
    // The picture decides the file type that the sound's keys depend on, so
    // it is classified first whatever the row order.
    int audioIndex = 0;
    for (int pass = 0; pass < 2; ++pass)
        for (int i = 0; i < count; ++i) {
            const bool picture = tracks[i].streamType == StreamVideo;
            if ((pass == 0) != picture)
                continue;
            const int clock = timecodeTrack >= 0 ? timecodeTrack : firstPicture;
            CvResult result = classifyTrack(i, tracks[i], videoCount, audioCount, audioIndex,
                                            clock >= 0 ? &tracks[clock] : nullptr);
            if (!isSuccess(result))
                return result;
        }
    if (isOpAtom() && primaryTrack >= 0) {
        if (tracks[primaryTrack].streamType == StreamAudio)
            m_fileType = FileTypeAudio;
        else if (isAncillaryTrack(tracks[primaryTrack]))
            m_fileType = FileTypeAncillary;
    }
    if (m_fileType == FileTypeNone)
        return failCreate(InvalidArg, L"Invalid format");
    if (!isOpAtom() && m_fileType == FileTypeIMX && audioCount > 1)
        return failCreate(InvalidArg, L"op1a IMX file must only have one audio track");
    // Sound in an OP1a content package counts in frames, as the picture does.
    for (int i = 0; i < count && !isOpAtom() && firstPicture >= 0; ++i)
        if (tracks[i].streamType == StreamAudio)
            m_editRates[size_t(i)] = m_editRates[size_t(firstPicture)];
    int rateTrack = primaryTrack;
    for (int i = 0; i < count && rateTrack < 0; ++i)
        if (tracks[i].streamType == StreamVideo || tracks[i].streamType == StreamAudio)
            rateTrack = i;
    if (rateTrack >= 0 && m_editRates[size_t(rateTrack)].denominator > 0)
        m_maxAtoms = uint64_t(m_editRates[size_t(rateTrack)].numerator) * 86400 /
                     uint64_t(m_editRates[size_t(rateTrack)].denominator);
    return OK;
}

std::wstring CMxf_FileWriter::getOpAtomTrackFilename(int track) const
{
    if (track < 0 || size_t(track) >= m_tracks.size())
        return {};
    std::wstring named = getXmlMetadata(L"filename", track);
    if (!named.empty())
        return named;
    int sameKind = 0;
    for (int i = 0; i < track; ++i)
        sameKind += m_tracks[size_t(i)].streamType == m_tracks[size_t(track)].streamType;
    const size_t cut = toLower(m_filename).rfind(L".mxf");
    if (cut == std::wstring::npos) {
        std::fputs("failed to find mxf extension in filename\n", stderr);
        return {};
    }
    const wchar_t letter = isAncillaryTrack(m_tracks[size_t(track)]) ? L'd' : L'a';
    return m_filename.substr(0, cut) + L"." + letter + std::to_wstring(sameKind + 1) + L".mxf";
}

bool CMxf_FileWriter::loadResourceFile(const std::wstring& name, std::vector<unsigned char>& buffer)
{
    const std::wstring path = (m_resourcePath.empty() ? std::wstring(defaultResourcePath) : m_resourcePath) + name;
    Ptr<iFile> file = CvFileIOFactoryProvider::open(path.c_str(), iFile::AccessRead, iFile::OpenExisting,
                                                    iFile::ShareRead, iFile::Buffered);
    if (!file) {
        setLastError(Fail, L"Failed to open resource file '%ls'", path.c_str());
        return false;
    }
    buffer.assign(size_t(file->getSize()), 0);
    if (file->read(uint64_t(0), buffer.data(), buffer.size()) != buffer.size()) {
        setLastError(Fail, L"Failed to read resource file '%ls'", path.c_str());
        return false;
    }
    return true;
}

CvResult CMxf_FileWriter::createInner(const std::wstring& filename, const TrackStructuralData* tracks, int count,
                                      int primaryTrack, bool isMaster)
{
    if (filename.empty()) {
        std::puts("missing filename");
        return failCreate(InvalidArg, L"missing filename");
    }
    if (count < 1 || !tracks) {
        std::puts("invalid tracks");
        return failCreate(InvalidArg, L"invalid tracks");
    }
    if (primaryTrack >= 0) {
        setOperationalPattern(0);
        m_opAtomTrack = primaryTrack;
    }
    m_wrapType = isOpAtom() && !isAncillaryTrack(tracks[primaryTrack]) ? 2 : 1;
    m_essenceKeys.assign(size_t(count), MXFUL{});
    if (filename.size() < 3)
        return failCreate(InvalidArg, L"Filename too short");
    CvResult result = setFileType(tracks, count, primaryTrack);
    if (!isSuccess(result)) {
        setLastError(result, L"failed to set file type");
        return result;
    }
    m_sectorSize = 512;
    m_kagSize = isOpAtom() ? 1 : 512;

    result = m_file.internalCreate(filename, m_overwrite ? iFile::CreateAlways : iFile::CreateNew, iFile::Buffered);
    if (!isSuccess(result)) {
        setLastError(result, L"Failed to create output file '%ls'", filename.c_str());
        return result;
    }
    m_isOpen = true;
    m_filename = filename;

    if (m_title.empty()) {
        size_t slash = filename.rfind(L'\\');
        if (slash == std::wstring::npos)
            slash = filename.rfind(L'/');
        const size_t dot = filename.rfind(L'.');
        if (slash == std::wstring::npos || dot == std::wstring::npos || dot < slash) {
            setLastError(Fail, L"Failed to set clip title from filename");
            m_title = L"no title";
        } else {
            m_title = filename.substr(slash + 1, dot - slash - 1);
        }
    }
    for (int i = 0; i < count; ++i)
        m_tracks.push_back(copyTrackStructuralData(tracks[i]));
    m_timestamp = nowUtc();
    m_projectName = getXmlMetadata(L"project", -1);

    m_uuids.resize(64);
    for (GUID& uuid : m_uuids)
        UuidCreate(&uuid);
    const UMID none{};
    for (UMID* umid : {&m_materialUmid, &m_fileUmid, &m_tapeUmid})
        if (*umid == none)
            CUmid::Create(umid, 13);
    m_trackUmids.assign(size_t(count), m_fileUmid);
    if (isOpAtom()) {
        for (int i = 0; i < count; ++i) {
            const TrackStructuralData& track = tracks[i];
            short type = 0;
            if (track.streamType == StreamVideo)
                type = 1;
            else if (track.streamType == StreamAudio)
                type = track.audio.channels >= 2 ? 2 : 8;
            else if (isAncillaryTrack(track))
                type = 12;
            if (type)
                CUmid::setType(&m_trackUmids[size_t(i)], type);
        }
        m_fileUmid = m_trackUmids[size_t(primaryTrack)];
    }
    m_trackCounts.assign(size_t(count), 0);
    m_elementOffsets.assign(size_t(count), 0);
    m_elementSizes.assign(size_t(count), 0);
    m_indexers.assign(size_t(count), nullptr);

    if (isOpAtom() && isMaster) {
        for (int i = 0; i < count; ++i) {
            if (i == primaryTrack || tracks[i].streamType == StreamTimecode)
                continue;
            const std::wstring name = getOpAtomTrackFilename(i);
            CvFileIOFactoryProvider::deleteFile(name.c_str());
            auto child = std::make_unique<CMxf_FileWriter>();
            child->setFlushPeriod(0);
            child->setOpAtomAudioBufferSize(m_opAtomAudioBufferSize);
            child->setTitle(m_title);
            child->setMaterialUMID(m_materialUmid);
            child->setFileUMID(m_trackUmids[size_t(i)]);
            child->setTapeSourceUMID(m_tapeUmid);
            child->setResourceFilePath(m_resourcePath);
            child->setFlags(m_flags);
            child->setProduct(m_product);
            child->m_isXdcam = m_isXdcam;
            result = child->createInner(name, tracks, count, i, false);
            if (!isSuccess(result)) {
                setLastError(result, L"Failed to create opatom track%d: %ls", i, child->getLastError());
                return result;
            }
            m_children.push_back(std::move(child));
        }
    }
    isFixedEssenceSize();
    return buildHeaderPartition();
}

bool CMxf_FileWriter::loadAafDictionary(int which, std::vector<unsigned char>& buffer, GUID& guid)
{
    const wchar_t* const names[2][2] = {
        {L"corvidane_metadata_dictionary.bin", L"corvidane_preface_dictionary.bin"},
        {L"corvidane_avid_proxy_metadata_dictionary.bin", L"corvidane_avid_proxy_preface_dictionary.bin"}};
    if (which < 0 || which > 1 || !loadResourceFile(names[m_fileType == FileTypeAvidProxy][which], buffer))
        return false;
    // The first item, at 25, is the instance identifier: tag 3C0A, length, value.
    if (buffer.size() < 29 + 16 || buffer[25] != '<' || buffer[26] != 10) {
        setLastError(Fail, L"The dictionary file has no instance identifier at its start");
        return false;
    }
    guid = readGUID(&buffer[29]);
    return true;
}

CvResult CMxf_FileWriter::writeAafData(std::vector<unsigned char>& out)
{
    std::vector<unsigned char> meta, preface;
    GUID metaUid{};
    if (!loadAafDictionary(0, meta, metaUid) || !loadAafDictionary(1, preface, m_aafDictionary))
        return Fail;
    for (const SetDescription* description :
         {&CMxf_AafMetaDictionary::description(), &CMxf_AafDictionary::description(),
          &CMxf_AafDefinition::description()})
        for (uint16_t tag : {0x3C0A, 0x2605, 0x1B01, 0x1B02})
            if (const SetItem* item = description->findTag(tag))
                appendPrimer(tag, item->label);
    out.insert(out.end(), meta.begin(), meta.end());
    out.insert(out.end(), preface.begin(), preface.end());
    return OK;
}

CvResult CMxf_FileWriter::buildHeaderPartition()
{
    std::vector<unsigned char> sets;
    if (isOpAtom() && !isSuccess(writeAafData(sets))) {
        m_file.close();
        m_isOpen = false;
        return Fail;
    }
    writeHeaderMetadata(sets);
    if (isOpAtom()) {
        std::vector<unsigned char> objects;
        if (!loadResourceFile(m_fileType == FileTypeAvidProxy ? L"corvidane_avid_proxy_aaf_object_dictionary.bin"
                                                              : L"corvidane_aaf_object_dictionary.bin",
                              objects)) {
            m_file.close();
            m_isOpen = false;
            return Fail;
        }
        sets.insert(sets.end(), objects.begin(), objects.end());
    }
    if (m_setWriteFailed) {
        setLastError(Fail, L"Failed to write the header metadata");
        return Fail;
    }
    for (const MXF_TAG2UL& entry : CMxf_IndexTable_Segment::tags())
        appendPrimer(entry.tag, entry.ul);
    std::vector<unsigned char> primer;
    writePrimer(primer);

    const std::vector<MXFUL> labels = getEssenceBatch();
    const size_t packLength = packBytes(labels.size());
    Partition header;
    header.pack.Create(PartitionHeader, OpenIncomplete, m_kagSize, 0, 0, m_pattern, labels.data(),
                       uint32_t(labels.size()));
    m_header.assign(packLength, 0);
    m_header.reserve(isOpAtom() ? opAtomHeaderRegion : op1aHeaderBuffer);
    m_header.insert(m_header.end(), primer.begin(), primer.end());
    const size_t setsAt = m_header.size();
    m_header.insert(m_header.end(), sets.begin(), sets.end());
    for (LengthOffset& record : m_lengthOffsets)
        record.offset += setsAt;
    m_containerLabel = trackContainerLabel(primaryOrFirstTrack());

    if (!isOpAtom()) {
        fillToKag(m_header, 0);
        header.pack.headerByteCount = m_header.size() - packLength;
        if (m_editUnitSize) {
            // A constant edit unit: the essence follows the header, its index the footer.
            header.pack.bodySID = m_bodySID;
            m_ownSegment = createIndexTable(0);
        }
    } else {
        const size_t keyLength = m_wrapType == 2 ? 24 : 0;
        const size_t bodyAt = opAtomHeaderRegion - packLength - keyLength;
        const size_t metadataEnd = m_header.size();
        if (metadataEnd + 20 > bodyAt) {
            setLastError(Fail, L"The header metadata doesn't fit its region");
            return Fail;
        }
        m_ownSegment = createIndexTable(0);
        m_header.resize(bodyAt, 0);
        if (m_indexMode >= 2 && m_indexMode <= 4 && m_indexMode != 4) {
            header.pack.headerByteCount = metadataEnd - packLength;
            header.pack.indexSID = m_indexSID;
            header.pack.indexByteCount = bodyAt - metadataEnd;
            m_headerIndexAt = metadataEnd;
            m_headerIndexEnd = bodyAt;
            renderSegment(*m_ownSegment, m_header, m_headerIndexAt, m_headerIndexEnd);
        } else {
            std::vector<unsigned char> fill;
            writeFiller(fill, bodyAt - metadataEnd);
            std::copy(fill.begin(), fill.end(), m_header.begin() + std::ptrdiff_t(metadataEnd));
            header.pack.headerByteCount = bodyAt - packLength;
        }
        Partition body;
        body.pack.Create(PartitionBody, ClosedIncomplete, m_kagSize, m_bodySID, 0, m_pattern, labels.data(),
                         uint32_t(labels.size()));
        body.pack.thisPartition = bodyAt;
        m_header.resize(bodyAt + packLength, 0);
        renderPack(body, m_header, bodyAt);
        if (keyLength) {
            const MXFUL& key = m_essenceKeys[size_t(m_opAtomTrack)];
            m_header.insert(m_header.end(), key.bytes, key.bytes + 16);
            m_header.resize(m_header.size() + 8, 0);
            m_sizeOfEssenceKeyInHeader = keyLength;
            updateEssenceKeyLength();
        }
        m_partitions.push_back(std::move(header));
        m_partitions.push_back(std::move(body));
        renderPack(m_partitions.front(), m_header, 0);
    }
    if (!isOpAtom()) {
        m_partitions.push_back(std::move(header));
        renderPack(m_partitions.front(), m_header, 0);
    }
    m_fileEnd = m_header.size();
    CvResult result = writeAt(0, m_header.data(), m_header.size());
    if (!isSuccess(result)) {
        m_file.close();
        closeIndexers();
        m_isOpen = false;
        return result;
    }
    return OK;
}

} // namespace Corvidane::MXF
