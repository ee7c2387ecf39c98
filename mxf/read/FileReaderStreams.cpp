#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cwchar>
#include <numeric>

#include "frame/FourCC.h"
#include "frame/Text.h"
#include "frame/Utf8.h"
#include "host/Json.h"
#include "mxf/model/ColourLabels.h"
#include "mxf/model/DescriptiveMetadata.h"
#include "mxf/model/EssenceCodingTables.h"
#include "mxf/model/EssenceIdentification.h"
#include "mxf/model/MxfText.h"
#include "mxf/read/FileReader.h"

// The streams of the current source package: what each one is, and the
// properties of its descriptor.
namespace Corvidane::MXF {

namespace {

// 2, 3: interlaced, first field on the odd or even line; 4, 5 with the
// second field dominant.
int decodeFieldOrder(const uint32_t (&lines)[2], uint8_t dominance)
{
    if (lines[0] < 1 || lines[1] < 1)
        return 0;
    if ((uint64_t(lines[0]) + lines[1]) % 2 == 0)
        return dominance == 2 ? 5 : 3;
    return dominance == 2 ? 4 : 2;
}

std::wstring frameLayoutText(const CMxf_SM_DescriptorPicture& picture)
{
    switch (picture.frameLayout) {
    case 0:
    case 4: return L"progressive";
    case 1:
    case 2:
    case 3: {
        const int order = decodeFieldOrder(picture.videoLineMap, picture.fieldDominance);
        return order == 3 || order == 5 ? L"interlaced_reversed" : L"interlaced";
    }
    default: return L"unknown";
    }
}

std::wstring scanModeText(const CMxf_SM_DescriptorPicture& picture)
{
    switch (picture.frameLayout) {
    case 0:
    case 4: return L"progressive";
    case 1:
    case 2:
    case 3: {
        const int order = decodeFieldOrder(picture.videoLineMap, picture.fieldDominance);
        return order == 2 || order == 5 ? L"first_field_top" : order == 3 || order == 4 ? L"second_field_top"
                                                                                         : L"unknown";
    }
    default: return L"unknown";
    }
}

const CMxf_SM_DescriptorPicture* pictureOf(const PACKAGE_DESCRIPTOR& slot)
{
    if (slot.picture)
        return slot.picture.get();
    if (slot.cdci)
        return slot.cdci.get();
    if (slot.rgba)
        return slot.rgba.get();
    return slot.mpeg2.get();
}

const CMxf_SM_DescriptorSound* soundOf(const PACKAGE_DESCRIPTOR& slot)
{
    if (slot.sound)
        return slot.sound.get();
    if (slot.wave)
        return slot.wave.get();
    return slot.aes3.get();
}

const CMxf_SM_DescriptorPictureCDCI* cdciOf(const PACKAGE_DESCRIPTOR& slot)
{
    return slot.cdci ? slot.cdci.get() : slot.mpeg2.get();
}

} // namespace

const CMxf_SM_Track* CMxf_FileReader::findSourceTrack(int stream) const
{
    const CMxf_SM_Package* package = getCurrentSP();
    if (!package || stream < 0 || size_t(stream) >= package->tracks.size())
        return nullptr;
    return &package->tracks[stream];
}

bool CMxf_FileReader::checkStreamIndex(int stream)
{
    const CMxf_SM_Package* package = getCurrentSP();
    if (!package)
        return false;
    if (stream < 0 || size_t(stream) >= package->tracks.size()) {
        setLastError(Fail, L"Stream index(%d) is more than number of tracks(%d) in source package", stream,
                     int(package->tracks.size()));
        return false;
    }
    if (package->tracks[stream].sequence.sourceClips.empty()) {
        setLastError(Fail, L"Sequence is empty.");
        return false;
    }
    return true;
}

int CMxf_FileReader::get_StreamCount()
{
    const CMxf_SM_Package* package = getCurrentSP();
    return package ? int(package->tracks.size()) : 0;
}

const PACKAGE_DESCRIPTOR* CMxf_FileReader::descriptorSlot(int stream)
{
    const CMxf_SM_Track* track = findSourceTrack(stream);
    if (!track)
        return nullptr;
    const CMxf_SM_Package& package = *getCurrentSP();
    const int index = package.findDescriptor(track->trackID);
    if (index < 0 || size_t(index) >= package.packageDescriptors.size()) {
        setLastError(Fail, L"Failed to find descriptor for track id(%d).", int(track->trackID));
        return nullptr;
    }
    return &package.packageDescriptors[index];
}

std::shared_ptr<CMxf_SM_DescriptorGeneric> CMxf_FileReader::essenceGetDescriptor(int stream, int& type)
{
    type = 0;
    const PACKAGE_DESCRIPTOR* slot = descriptorSlot(stream);
    if (!slot)
        return nullptr;
    if (slot->picture || slot->cdci || slot->rgba || slot->mpeg2) {
        type = StreamVideo;
        if (slot->picture)
            return slot->picture;
        if (slot->cdci)
            return slot->cdci;
        if (slot->rgba)
            return slot->rgba;
        return slot->mpeg2;
    }
    if (slot->sound || slot->wave || slot->aes3) {
        type = StreamAudio;
        if (slot->sound)
            return slot->sound;
        if (slot->wave)
            return slot->wave;
        return slot->aes3;
    }
    if (slot->anc)
        return slot->anc;
    if (slot->vbi)
        return slot->vbi;
    setLastError(Fail, L"Invalid descriptor type.");
    return nullptr;
}

int CMxf_FileReader::getTrackType(int stream)
{
    const CMxf_SM_Track* track = findSourceTrack(stream);
    if (!track)
        return 0;
    if (track->sequence.isPicture())
        return StreamVideo;
    if (track->sequence.isSound())
        return StreamAudio;
    if (track->sequence.isData())
        return StreamAncillary;
    if (track->sequence.isTimeCode())
        return 0;
    int type = 0;
    essenceGetDescriptor(stream, type);
    if (type)
        return type;
    if (!track->trackName.empty() && track->trackName[0] == L'V')
        return StreamVideo;
    if (!track->trackName.empty() && track->trackName[0] == L'A')
        return StreamAudio;
    return 0;
}

int CMxf_FileReader::findFirstTrackOf(int type)
{
    for (int stream = 0; stream < get_StreamCount(); ++stream)
        if (getTrackType(stream) == type)
            return stream;
    return -1;
}

bool CMxf_FileReader::get_IsTimeCode(int stream)
{
    const CMxf_SM_Track* track = findSourceTrack(stream);
    return track && track->sequence.isTimeCode();
}

CvResult CMxf_FileReader::get_RateAndScale(int stream, int* rate, int* scale)
{
    const CMxf_SM_Track* track = findSourceTrack(stream);
    if (!track && m_partitions.isOpAtom())
        if (const CMxf_SM_Package* material = getCurrentMP())
            for (const CMxf_SM_Track& candidate : material->tracks)
                if (candidate.sequence.isPicture() || candidate.sequence.isAAFPicture()) {
                    track = &candidate;
                    break;
                }
    if (!track)
        return Fail;
    if (rate)
        *rate = track->editRate.numerator;
    if (scale)
        *scale = track->editRate.denominator;
    return OK;
}

double CMxf_FileReader::get_Rate(int stream)
{
    int rate = 0, scale = 0;
    if (get_RateAndScale(stream, &rate, &scale) != OK || scale == 0)
        return 0;
    return double(rate) / scale;
}

int CMxf_FileReader::get_Origin(int stream)
{
    const CMxf_SM_Track* track = findSourceTrack(stream);
    return track ? int(track->origin) : 0;
}

unsigned CMxf_FileReader::essenceLength(int stream)
{
    const CMxf_SM_Track* track = findSourceTrack(stream);
    if (!track)
        return 0;
    int64_t length = track->sequence.duration;
    if (length == -1) {
        length = 0;
        for (const CMxf_SM_SourceClip& clip : track->sequence.sourceClips)
            length += clip.duration > 0 ? clip.duration : 0;
    }
    const unsigned value = length >= 0 && length < 0xFFFFFFFF ? unsigned(length) : 0xFFFFFFFFu;
    if (getTrackType(stream) != StreamVideo || m_segments.empty())
        return value;
    const bool known = value != 0 && value != 0xFFFFFFFFu;
    const int64_t indexed = m_segments.LengthUsingIndexTables();
    if (indexed > 0) {
        // A sequence of unknown duration (a file written to a pipe) takes the
        // length its index tables give.
        if (!known)
            return indexed < 0xFFFFFFFF ? unsigned(indexed) : 0xFFFFFFFFu;
        // An index of entries tells how many pictures the file holds: Avid
        // gives a clip's sequence the length of its source, past the frames
        // written. (A constant segment answers for every position, whatever
        // its length.)
        if (m_segments.first() && !m_segments.first()->isConstant())
            return unsigned(std::min<int64_t>(value, indexed));
        return value;
    }
    // Index durations of 0 (a constant index written before the length was
    // known): the sequence, else the essence, tells the length.
    if (known)
        return value;
    const int64_t fromEssence = m_locator.calculateLengthFromEssence();
    return fromEssence > 0 && fromEssence < 0xFFFFFFFF ? unsigned(fromEssence) : 0xFFFFFFFFu;
}

bool CMxf_FileReader::essenceID(int stream, CMxf_GC_EssenceID& id)
{
    int type = 0;
    std::shared_ptr<CMxf_SM_DescriptorGeneric> descriptor = essenceGetDescriptor(stream, type);
    const CMxf_SM_Track* track = findSourceTrack(stream);
    if (!descriptor || !track)
        return false;
    StreamEssenceFacts facts;
    facts.descriptor = descriptor.get();
    const CMxfPartitionPack* last = m_partitions.last();
    if (last && size_t(stream) < last->essenceContainers.size())
        facts.partitionContainer = &last->essenceContainers[stream];
    facts.isVideo = type == StreamVideo;
    facts.rate = track->editRate;
    if (type == StreamVideo)
        facts.height = int32_t(static_cast<const CMxf_SM_DescriptorPicture&>(*descriptor).storedHeight);
    unsigned fcc = 0;
    std::wstring text;
    if (!essenceIDFromDescriptor(facts, id, fcc, text)) {
        if (!text.empty())
            setLastError(Fail, L"%ls", text.c_str());
        return false;
    }
    if (id.codec == EssenceAafPrivate && m_partitions.header() &&
        !m_partitions.header()->essenceContainers.empty()) {
        CMxf_GC_EssenceID fromPartition;
        if (fromPartition.setFromUL(m_partitions.header()->essenceContainers.front()))
            id = fromPartition;
    }
    return true;
}

bool CMxf_FileReader::essenceIsClipWrapped(int stream)
{
    // These writers clip-wrap every op-atom file, and their labels may say
    // otherwise; a timecode track, which has no descriptor, reads as the
    // file's one essence does.
    const int maker = getFileManufacturer();
    if (m_partitions.isOpAtom() && (maker == ManufacturerMetaglue || maker == ManufacturerFFmpeg))
        return essenceIsPresent(stream);
    CMxf_GC_EssenceID id;
    return essenceID(stream, id) && id.wrapType == 2;
}

CvResult CMxf_FileReader::get_FCC(int stream, unsigned& fcc)
{
    fcc = 0xFFFFFFFFu;
    if (!checkStreamIndex(stream))
        return Fail;
    const int type = getTrackType(stream);
    if (type == StreamAudio) {
        fcc = fourCC("WAVE");
        return OK;
    }
    if (type == StreamAncillary) {
        fcc = fourCC("DATA");
        return OK;
    }
    const PACKAGE_DESCRIPTOR* slot = descriptorSlot(stream);
    if (!slot)
        return Fail;
    const CMxf_SM_DescriptorPicture* picture = pictureOf(*slot);
    if (!picture)
        return fail(Fail, L"Invalid descriptor type.");
    if (picture->avidResolutionID) {
        if (unsigned code = fccFromResolutionId(int32_t(picture->avidResolutionID))) {
            fcc = code;
            return OK;
        }
    }
    CMxf_GC_EssenceID id;
    if (!essenceID(stream, id))
        return fail(Fail, L"Unknown essence type.");
    if (id.codec == EssenceAafPrivate)
        return fail(Fail, L"AvidGeneric essence type has no fcc.");
    const CMxf_SM_DescriptorPictureCDCI* cdci = cdciOf(*slot);
    switch (id.codec) {
    case EssenceIMX:
        if (id.mappingSubtype < 1 || id.mappingSubtype > 6)
            return fail(Fail, L"Unknown imx subtype.");
        fcc = fourCC("GIMX");
        return OK;
    case EssenceDV:
        switch (id.mappingSubtype) {
        case 1: case 2: case 63: case 127: fcc = fourCC("dvsd"); return OK;
        case 3: case 4: case 64: case 65: fcc = fourCC("dv25"); return OK;
        case 80: case 81: fcc = fourCC("dv50"); return OK;
        case 96: case 97: case 98: case 99: fcc = fourCC("dvh1"); return OK;
        default: return fail(Fail, L"Unknown dv subtype.");
        }
    case EssenceMPEG2:
        if (id.mappingSubtype == 7 || id.mappingSubtype == 8 || id.mappingSubtype == 9)
            return fail(Fail, L"Unsupported mpeg2 type.");
        if (id.mappingSubtype == 4 && picture->sampledWidth <= 720) {
            fcc = fourCC("MMES");
        } else if (id.mappingSubtype == 4) {
            fcc = fourCC("M701");
        } else if (unsigned code = fccFromEssenceCodingType(picture->pictureEssenceCoding)) {
            fcc = code;
        } else {
            return fail(Fail, L"Unknown mpeg2 subtype.");
        }
        if (fcc == fourCC("xd50") && slot->mpeg2) {
            if (slot->mpeg2->bitRate == 35000000)
                fcc = fourCC("xd35");
            else if (slot->mpeg2->bitRate == 25000000)
                fcc = fourCC("xd25");
        }
        return OK;
    case EssenceUncompressed: fcc = fourCC("UYVY"); return OK;
    case EssenceAES3:
    case EssenceWave: fcc = fourCC("WAVE"); return OK;
    case EssenceVC3:
        fcc = slot->rgba ? fourCC("AVdr") : cdci && cdci->componentDepth == 10 ? fourCC("AVdx") : fourCC("AVdn");
        return OK;
    case EssenceAVC: {
        const uint8_t profile = slot->mpeg2 ? slot->mpeg2->profileAndLevel : 0;
        const uint16_t gop = slot->mpeg2 ? slot->mpeg2->maxGOP : 0;
        fcc = profile == 33 ? fourCC("avc5") : profile == 49 ? fourCC("avc6") : profile == 50 ? fourCC("avc7")
              : gop > 1     ? fourCC("avc1")
                            : fourCC("avcX");
        return OK;
    }
    case EssenceAvidProxy: fcc = fourCC("cvNN"); return OK;
    case EssenceProRes: {
        static const char* const names[] = {"apxx", "apco", "apcs", "apcn", "apch", "ap4h", "ap4x"};
        const unsigned low = picture->pictureEssenceCoding[15];
        const char* name = low >= 1 && low <= 6 ? names[low] : names[0];
        fcc = fourCC(*reinterpret_cast<const char(*)[5]>(name));
        return OK;
    }
    case EssenceJpeg2000: fcc = fourCC("mjp2"); return OK;
    case EssenceAvid: fcc = fourCC("AVdu"); return OK;
    default: return fail(Fail, L"Unknown essence type.");
    }
}

int CMxf_FileReader::get_Metadata_Height(const CMxf_SM_DescriptorPicture& picture, int stream)
{
    int height = int(picture.storedHeight);
    if (height != 576 && height != 720 && height != 1080 && height != 608) {
        unsigned fcc = 0;
        if (picture.displayWidth == 720 && isNtscRate(get_Rate(stream)) && get_FCC(stream, fcc) == OK &&
            fcc == fourCC("dvsd"))
            height = 240;
        if (height < 577 && picture.frameLayout == 1 && height != 0 && height != 6 && height != 32)
            height *= 2;
    }
    m_height = height;
    return height;
}

unsigned CMxf_FileReader::getDatarateFromDescriptor(int stream, const CMxf_SM_DescriptorPicture& picture)
{
    if (picture.avidResolutionID)
        if (unsigned rate = dataRateFromResolutionId(int32_t(picture.avidResolutionID), get_Rate(stream)))
            return rate;
    if (const CMxf_SM_DescriptorPictureMPEG2* mpeg2 = dynamic_cast<const CMxf_SM_DescriptorPictureMPEG2*>(&picture))
        if (mpeg2->bitRate)
            return mpeg2->bitRate / 1000;
    const int64_t fromIndex = m_locator.getDatarateFromIndexTable(get_Rate(stream));
    return fromIndex > 0 ? unsigned(fromIndex) : 0;
}

CvResult CMxf_FileReader::getSourcePackageMetadataValue(int stream, const char* keyText, std::wstring& value)
{
    const std::string key = toLower(std::string(keyText ? keyText : ""));
    const CMxf_SM_Track* track = findSourceTrack(stream);
    if (key == "clip_name") {
        const CMxf_SM_Package* material = getCurrentMP();
        if (!material || material->getName().empty())
            return fail(Fail, L"getSourcePackageMetadataValue, material package[%d] has no name.", m_currentMP);
        value = material->getName();
        return OK;
    }
    const int type = getTrackType(stream);
    if (key == "is_video" || key == "is_audio" || key == "is_timecode" || key == "is_anc_track") {
        const bool yes = key == "is_video" ? type == StreamVideo
                         : key == "is_audio" ? type == StreamAudio
                         : key == "is_timecode" ? get_IsTimeCode(stream)
                                              : type == StreamAncillary;
        value = yes ? L"yes" : L"no";
        return OK;
    }
    if (key == "is_timecode_df") {
        const CMxf_SM_SourceClip* clip = findFirstTimecodeClip();
        if (!clip)
            return fail(Fail, L"getSourcePackageMetadataValue, '%ls' failed to find any timecode tracks.",
                        filename.c_str());
        value = clip->timecode->dropFrame ? L"yes" : L"no";
        return OK;
    }
    static const char* const described[] = {"data_rate", "bits_per_sample", "width", "stored_width", "height",
                                            "aspect_ratio", "audio_track_count", "audio_sample_rate",
                                            "video_layout", "scan_mode", "gop_length", "hdr_cp", "hdr_tc"};
    bool isDescribed = false;
    for (const char* name : described)
        isDescribed |= key == name;
    if (!isDescribed)
        return getDMMetadataValue(keyText, stream, value);
    if (!track)
        return Fail;
    const PACKAGE_DESCRIPTOR* slot = descriptorSlot(stream);
    if (!slot)
        return fail(Fail, L"getSourcePackageMetadataValue, failed to find descriptor for track id(%d).",
                    int(track->trackID));
    const CMxf_SM_DescriptorPicture* picture = pictureOf(*slot);
    const CMxf_SM_DescriptorSound* sound = soundOf(*slot);
    const CMxf_SM_DescriptorPictureCDCI* cdci = cdciOf(*slot);
    auto number = [&value](int64_t n) {
        value = std::to_wstring(n);
        return OK;
    };
    if (key == "data_rate" && picture)
        return number(getDatarateFromDescriptor(stream, *picture));
    if (key == "bits_per_sample")
        return picture ? number(cdci ? cdci->componentDepth : slot->rgba ? slot->rgba->componentDepth : 0)
               : sound ? number(sound->quantizationBits)
                       : Fail;
    if (key == "width" && picture)
        return number(picture->displayWidth ? picture->displayWidth : picture->storedWidth);
    if (key == "stored_width" && picture)
        return number(picture->storedWidth);
    if (key == "height" && picture)
        return number(get_Metadata_Height(*picture, stream));
    if (key == "aspect_ratio" && picture) {
        value = format(L"%d:%d", picture->aspectRatio.numerator, picture->aspectRatio.denominator);
        return OK;
    }
    if (key == "audio_track_count" && sound)
        return number(sound->channelCount);
    if (key == "audio_sample_rate" && sound)
        return number(sound->audioSamplingRate.denominator
                          ? sound->audioSamplingRate.numerator / sound->audioSamplingRate.denominator
                          : 0);
    if (key == "video_layout" && picture) {
        value = frameLayoutText(*picture);
        return OK;
    }
    if (key == "scan_mode" && picture) {
        value = scanModeText(*picture);
        return OK;
    }
    if (key == "hdr_cp" && picture)
        return number(colourPrimariesMode(picture->colorPrimaries));
    if (key == "hdr_tc" && picture)
        return number(transferCharacteristicMode(picture->transferCharacteristic));
    if (key == "gop_length" && picture) {
        const int gop = slot->mpeg2 ? slot->mpeg2->maxGOP : 1;
        if (gop <= 0) {
            setLastError(Fail, L"File has gop <= 0");
            return number(0);
        }
        return number(gop);
    }
    return Fail;
}

int CMxf_FileReader::metadataInt(int stream, const char* key)
{
    int value = 0;
    return isSuccess(get_MetadataValue(key, stream, value)) ? value : 0;
}

template <typename Mode>
CvResult CMxf_FileReader::colourMode(int stream, const char* key, Mode& mode)
{
    mode = static_cast<Mode>(0);
    int value = 0;
    const CvResult result = get_MetadataValue(key, stream, value);
    if (!isSuccess(result))
        return Fail;
    if (result == False)
        return False;
    mode = static_cast<Mode>(value);
    return OK;
}

CvResult CMxf_FileReader::get_ColourPrimaries(int stream, VideoColourCPMode& mode)
{
    return colourMode(stream, "hdr_cp", mode);
}

CvResult CMxf_FileReader::get_TransferCharacteristic(int stream, VideoColourTCMode& mode)
{
    return colourMode(stream, "hdr_tc", mode);
}

CvResult CMxf_FileReader::get_MetadataValue(const char* key, int stream, std::wstring& value)
{
    return getSourcePackageMetadataValue(stream, key, value);
}

CvResult CMxf_FileReader::get_MetadataValue(const char* key, int stream, int& value)
{
    std::wstring text;
    CvResult result = getSourcePackageMetadataValue(stream, key, text);
    if (isSuccess(result))
        value = int(std::wcstol(text.c_str(), nullptr, 10));
    return result;
}

CvResult CMxf_FileReader::get_MetadataValue(const char* key, int stream, bool& value)
{
    std::wstring text;
    CvResult result = getSourcePackageMetadataValue(stream, key, text);
    if (isSuccess(result))
        value = text == L"yes";
    return result;
}

CvResult CMxf_FileReader::getDMMetadataValue(const char* key, int stream, std::wstring& value)
{
    return MXF::getDMMetadataValue(m_metadata, key, value);
}

CvResult CMxf_FileReader::get_AudioSampleRate(int stream, unsigned& rate)
{
    int value = 0;
    CvResult result = get_MetadataValue("audio_sample_rate", stream, value);
    rate = unsigned(value);
    return result;
}

CvResult CMxf_FileReader::getPixelAspect(int stream, int& numerator, int& denominator)
{
    const PACKAGE_DESCRIPTOR* slot = descriptorSlot(stream);
    const CMxf_SM_DescriptorPicture* picture = slot ? pictureOf(*slot) : nullptr;
    if (!picture || picture->aspectRatio.numerator <= 0 || picture->aspectRatio.denominator <= 0)
        return False;
    // The descriptor names the picture's aspect; a pixel's is that over the
    // shown width and height.
    const uint64_t width = picture->displayWidth ? picture->displayWidth : picture->storedWidth;
    uint64_t height = picture->displayHeight ? picture->displayHeight : picture->storedHeight;
    // Separate and mixed fields give the height of one field.
    if (picture->frameLayout == 1 || picture->frameLayout == 3)
        height *= 2;
    if (!width || !height)
        return False;
    uint64_t n = uint64_t(picture->aspectRatio.numerator) * height;
    uint64_t d = uint64_t(picture->aspectRatio.denominator) * width;
    const uint64_t divisor = std::gcd(n, d);
    n /= divisor, d /= divisor;
    if (n > INT32_MAX || d > INT32_MAX)
        return False;
    numerator = int(n);
    denominator = int(d);
    return OK;
}

int CMxf_FileReader::getFramePolarity(int stream)
{
    std::wstring layout;
    if (!isSuccess(get_MetadataValue("video_layout", stream, layout)))
        return 0;
    return layout == L"progressive" ? 4 : layout == L"interlaced" ? 3 : layout == L"interlaced_reversed" ? 6 : 0;
}

int CMxf_FileReader::getScanMode(int stream)
{
    std::wstring mode;
    if (!isSuccess(get_MetadataValue("scan_mode", stream, mode)))
        return 0;
    return mode == L"progressive" ? 3 : mode == L"first_field_top" ? 1 : mode == L"second_field_top" ? 2 : 0;
}

const CMxf_SM_SourceClip* CMxf_FileReader::findFirstTimecodeClip() const
{
    for (const CMxf_SM_Package& package : m_materialPackages)
        for (const CMxf_SM_Track& track : package.tracks)
            if (track.sequence.isTimeCode())
                for (const CMxf_SM_SourceClip& clip : track.sequence.sourceClips)
                    if (clip.timecode)
                        return &clip;
    if (const CMxf_SM_Package* source = getCurrentSP())
        for (const CMxf_SM_Track& track : source->tracks)
            for (const CMxf_SM_SourceClip& clip : track.sequence.sourceClips)
                if (clip.timecode)
                    return &clip;
    return nullptr;
}

bool CMxf_FileReader::get_IsDropFrame(int stream)
{
    bool drop = false;
    return isSuccess(get_MetadataValue("is_timecode_df", stream, drop)) && drop;
}

CvResult CMxf_FileReader::get_TimeCode(int stream, unsigned frame, unsigned* timecode)
{
    if (frame != 0 || !timecode)
        return InvalidArg;
    const CMxf_SM_SourceClip* clip = findFirstTimecodeClip();
    if (!clip && isAvidALE() && !m_sourcePackages.empty())
        for (const CMxf_SM_Track& track : m_sourcePackages.front().tracks)
            for (const CMxf_SM_SourceClip& candidate : track.sequence.sourceClips)
                if (candidate.timecode && candidate.isAAFTimeCode() && !clip)
                    clip = &candidate;
    if (!clip)
        return Fail;
    int64_t start = clip->startPosition > 0 ? clip->startPosition : clip->timecode->startTimecode;
    // A timecode counted at another base than the stream's rate.
    const double rate = get_Rate(stream);
    const unsigned base = clip->timecode->roundedTimecodeBase;
    const long wholeRate = std::lround(rate);
    __int128 scaled = start;
    if (base && wholeRate > 0 && long(base) != wholeRate)
        scaled = scaled * wholeRate / base;
    // A start no frame count can hold is a damaged clip, not a timecode.
    if (scaled < 0 || scaled > 0xFFFFFFFF)
        return Fail;
    *timecode = unsigned(scaled);
    return OK;
}

std::wstring CMxf_FileReader::getPackageUmid(bool material, int stream)
{
    const CMxf_SM_Package* package = material ? getCurrentMP() : getCurrentSP();
    if (!package)
        return {};
    std::wstring text;
    for (unsigned char byte : package->packageUID.bytes)
        text += format(L"%02x", byte);
    return text;
}

int CMxf_FileReader::getAvidResolutionId(int stream)
{
    const PACKAGE_DESCRIPTOR* slot = descriptorSlot(stream);
    const CMxf_SM_DescriptorPicture* picture = slot ? pictureOf(*slot) : nullptr;
    return picture ? int(picture->avidResolutionID) : 0;
}

int64_t CMxf_FileReader::getCreationTime()
{
    const CMxf_SM_Package* material = getCurrentMP();
    return material ? int64_t(timeFromMxfTime(material->creationDate)) : 0;
}

int64_t CMxf_FileReader::getModifiedTime()
{
    const CMxf_SM_Package* material = getCurrentMP();
    return material ? int64_t(timeFromMxfTime(material->modifiedDate)) : 0;
}

CvResult CMxf_FileReader::get_MetadataJSON(std::string& json, std::map<LightweightString<char>, CByteBuffer>&)
{
    JSON::Builder builder;
    std::string maker, model;
    if (!m_preface.identifications.empty()) {
        toUtf8(m_preface.identifications.front().companyName, maker);
        toUtf8(m_preface.identifications.front().productName, model);
    }
    builder.add("Manufacturer", maker);
    builder.add("CameraModel", model);
    json = builder.output();
    return OK;
}

} // namespace Corvidane::MXF
