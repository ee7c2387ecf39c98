// What each stream holds: kind, rates, sizes, picture and sound properties,
// timecode and metadata.
#include "quicktime/read/FileReader.h"

#include <algorithm>
#include <cmath>

#include "frame/FourCC.h"
#include "frame/Utf8.h"

namespace Corvidane::QuickTime {

namespace {

// Seconds from 1904, the movie's epoch, to 1970.
constexpr int64_t macEpochOffset = 2082844800;

} // namespace

bool FileReader::trackIs(int stream, int type) const
{
    Metadata_Track* t = track(stream);
    return t && t->type() == type;
}

bool FileReader::get_IsVideo(int stream) { return trackIs(stream, Metadata_Track::Video); }

bool FileReader::get_IsAudio(int stream) { return trackIs(stream, Metadata_Track::Audio); }

bool FileReader::get_IsAnc(int stream) { return trackIs(stream, Metadata_Track::ClosedCaption); }

bool FileReader::get_IsTimeCode(int stream) { return trackIs(stream, Metadata_Track::Timecode); }

bool FileReader::get_HasIndexTable(int stream)
{
    Metadata_Track* t = track(stream);
    return t && t->sampleSizes && t->sampleDescriptions && t->sampleDescriptions->get_Count() > 0 &&
           t->sampleToChunk && (t->chunkOffsets || t->chunkOffsets64);
}

CvResult FileReader::get_FCC(int stream, unsigned& fcc)
{
    Metadata_Track* t = track(stream);
    const SampleDescriptor* entry = t ? t->firstDescriptor() : nullptr;
    if (!entry)
        return Fail;
    fcc = entry->type;
    auto v2 = dynamic_cast<const SoundDescriptorV2*>(entry);
    if (v2 && fcc == fourCC("lpcm") && (v2->formatFlags & 1))
        fcc = fourCC("fl32");
    return OK;
}

CvResult FileReader::get_RateAndScale(int stream, int* rate, int* scale)
{
    Metadata_Track* t = track(stream);
    int r = 0, s = 0;
    if (!t || !t->getRateAndScale(r, s))
        return Fail;
    if (rate)
        *rate = r;
    if (scale)
        *scale = s;
    return OK;
}

double FileReader::get_Rate(int stream)
{
    int rate = 0, scale = 0;
    if (!isSuccess(get_RateAndScale(stream, &rate, &scale)) || scale == 0)
        return 0.0;
    return static_cast<double>(rate) / scale;
}

unsigned FileReader::get_Length(int stream)
{
    Metadata_Track* t = track(stream);
    if (!t || !m_movie.isFragmented() || (!t->isVideo() && !t->isAudio()))
        return t ? t->getLength() : 0;
    // A fragmented track's length is nominal; reads end it with HandleEOF.
    int rate = 0, scale = 0;
    uint32_t duration = t->getLength() > 0 && t->getRateAndScale(rate, scale) ? static_cast<uint32_t>(scale) : 0;
    if (duration == 0) {
        Metadata_moof* first = firstMoof(t->trackHeader->TrackID);
        if (first)
            first->trackSampleDuration(t->trackHeader->TrackID, duration);
    }
    const MovieExtendsHeader* extends = m_movie.movieExtendsHeader.get();
    if (extends && extends->fragmentDuration && m_movie.movieHeader && m_movie.movieHeader->TimeScale && duration) {
        // Rounded up: a duration that ends inside the last sample still counts it.
        using Wide = unsigned __int128;
        const Wide media = static_cast<Wide>(extends->fragmentDuration) * t->mediaHeader->TimeScale;
        const Wide unit = static_cast<Wide>(m_movie.movieHeader->TimeScale) * duration;
        return static_cast<unsigned>(std::min<Wide>((media + unit - 1) / unit, UINT32_MAX));
    }
    if (t->isVideo())
        return 2160000;
    // A day of sound at 48 kHz.
    return duration ? 4147200000u / duration : 4147200000u;
}

int FileReader::get_BitsPerSample(int stream)
{
    Metadata_Track* t = track(stream);
    return t && t->sampleDescriptions ? t->sampleDescriptions->getBitsPerSample(0) : 0;
}

const VideoDescriptor* FileReader::getVideoDescriptor(int stream, size_t index) const
{
    Metadata_Track* t = track(stream);
    if (!t || !t->isVideo() || !t->sampleDescriptions)
        return nullptr;
    return dynamic_cast<const VideoDescriptor*>(t->sampleDescriptions->item(index));
}

const AvDescriptor* FileReader::getAvDescriptor(int stream, size_t index) const
{
    Metadata_Track* t = track(stream);
    if (!t || !t->sampleDescriptions)
        return nullptr;
    return dynamic_cast<const AvDescriptor*>(t->sampleDescriptions->item(index));
}

std::pair<int, int> FileReader::pictureSize(int stream) const
{
    Metadata_Track* t = track(stream);
    if (!t || !t->isVideo())
        return {0, 0};
    std::pair<int, int> header{t->trackHeader->WidthWhole, t->trackHeader->HeightWhole};
    if (!t->sampleDescriptions)
        return header;
    const VideoDescriptor* video = getVideoDescriptor(stream);
    if (!video)
        return {0, 0};
    // Some muxers leave the description's size at 0x0 and give it only in the header.
    if (video->Width == 0 && video->Height == 0)
        return header;
    return {video->Width, video->Height};
}

int FileReader::get_Width(int stream) { return pictureSize(stream).first; }

int FileReader::get_Height(int stream) { return pictureSize(stream).second; }

const QTAtom* FileReader::findExtensionItem(int stream, uint32_t code) const
{
    Metadata_Track* t = track(stream);
    auto entry = t ? dynamic_cast<const AvDescriptor*>(t->firstDescriptor()) : nullptr;
    if (!entry)
        return nullptr;
    for (const auto& item : entry->extensions) {
        if (item->type == code)
            return item.get();
        if (auto wave = dynamic_cast<const SoundExtension_wave*>(item.get()))
            for (const auto& child : wave->children)
                if (child->type == code)
                    return child.get();
    }
    return nullptr;
}

CvResult FileReader::getPixelAspect(int stream, int& numerator, int& denominator)
{
    auto pasp = dynamic_cast<const ImageExtension_pasp*>(findExtensionItem(stream, fourCC("pasp")));
    if (!pasp)
        return False;
    numerator = static_cast<int>(pasp->hSpacing);
    denominator = static_cast<int>(pasp->vSpacing);
    return OK;
}

int FileReader::getFramePolarity(int stream)
{
    const VideoDescriptor* video = getVideoDescriptor(stream);
    if (!video)
        return 0;
    // This size is progressive whatever fiel says.
    if (video->Width == 1280 && video->Height == 720)
        return 4;
    auto fiel = dynamic_cast<const ImageExtension_fiel*>(video->extension(fourCC("fiel")));
    if (!fiel)
        return 0;
    if (fiel->fields == 1)
        return 4;
    if (fiel->fields == 2) {
        if (fiel->detail == 1 || fiel->detail == 9)
            return 3;
        if (fiel->detail == 6 || fiel->detail == 14)
            return 6;
    }
    return 0;
}

int FileReader::getScanMode(int stream)
{
    const VideoDescriptor* video = getVideoDescriptor(stream);
    auto fiel = video ? dynamic_cast<const ImageExtension_fiel*>(video->extension(fourCC("fiel"))) : nullptr;
    return fiel && fiel->fields == 1 ? 3 : 0;
}

namespace {

// A colour mode from the `colr` atoms of a picture's description: the code of
// one of its fields looked up in a table of (code, mode) pairs.
template <typename Mode, size_t N>
CvResult colourMode(const VideoDescriptor* video, uint16_t ImageExtension_colr::*field,
                    const std::pair<uint16_t, int> (&table)[N], Mode& mode)
{
    mode = static_cast<Mode>(0);
    if (!video)
        return OK;
    for (const auto& item : video->extensions)
        if (auto colr = dynamic_cast<const ImageExtension_colr*>(item.get()))
            for (const auto& [code, mapped] : table)
                if (code == colr->*field)
                    mode = static_cast<Mode>(mapped);
    return OK;
}

} // namespace

CvResult FileReader::get_ColourPrimaries(int stream, VideoColourCPMode& mode)
{
    static const std::pair<uint16_t, int> table[] = {{1, 1}, {5, 2}, {6, 3}, {9, 4}, {11, 5}, {12, 6}};
    if (!get_IsVideo(stream)) {
        mode = static_cast<VideoColourCPMode>(0);
        return Fail;
    }
    return colourMode(getVideoDescriptor(stream), &ImageExtension_colr::primaries, table, mode);
}

CvResult FileReader::get_TransferCharacteristic(int stream, VideoColourTCMode& mode)
{
    static const std::pair<uint16_t, int> table[] = {{1, 1}, {16, 3}, {18, 4}, {17, 5}};
    if (!get_IsVideo(stream)) {
        mode = static_cast<VideoColourTCMode>(0);
        return Fail;
    }
    return colourMode(getVideoDescriptor(stream), &ImageExtension_colr::transferFunction, table, mode);
}

const Metadata_Track* FileReader::firstTimecodeTrack() const
{
    for (const auto& t : m_movie.tracks)
        if (t->isTimecode())
            return t.get();
    return nullptr;
}

std::wstring FileReader::getSourceTape()
{
    const Metadata_Track* t = firstTimecodeTrack();
    const TimecodeDescriptor* timecode = t ? t->getTimecodeDescriptor() : nullptr;
    return timecode ? fromUtf8(timecode->name) : std::wstring();
}

bool FileReader::get_IsDropFrame(int)
{
    const Metadata_Track* t = firstTimecodeTrack();
    const TimecodeDescriptor* timecode = t ? t->getTimecodeDescriptor() : nullptr;
    return timecode && (timecode->Flags & 1);
}

unsigned FileReader::get_ApproxDataRate(int stream)
{
    Metadata_Track* t = track(stream);
    unsigned length = get_Length(stream);
    if (!t || !t->sampleSizes || length == 0)
        return 0;
    unsigned n = std::min(length, 50u);
    uint64_t bytes = 0;
    for (unsigned i = 0; i < n; ++i)
        bytes += t->sampleSizes->get_SampleSize(i);
    int rate = 25, scale = 1;
    // A damaged header may give a negative rate or scale: take 25 frames a second then.
    if (!isSuccess(get_RateAndScale(stream, &rate, &scale)) || rate <= 0 || scale <= 0)
        rate = 25, scale = 1;
    double seconds = n / (static_cast<double>(rate) / scale);
    double kilobits = static_cast<double>(bytes) / seconds * 8 / 1024;
    return kilobits < 4294967295.0 ? static_cast<unsigned>(kilobits) : 0xFFFFFFFFu;
}

int FileReader::get_ChannelCount(int stream)
{
    Metadata_Track* t = track(stream);
    return t && t->sampleDescriptions ? static_cast<int>(t->sampleDescriptions->getAudioChannelCount(0)) : 0;
}

CvResult FileReader::get_AudioSampleRate(int stream, unsigned& rate)
{
    Metadata_Track* t = track(stream);
    if (!t || !t->isAudio()) {
        rate = 0;
        return Fail;
    }
    unsigned described = t->sampleDescriptions ? t->sampleDescriptions->getAudioSampleRate(0) : 0;
    if (described) {
        rate = described;
        return OK;
    }
    int r = 0, s = 0;
    CvResult result = get_RateAndScale(stream, &r, &s);
    if (s == 0)
        return result;
    rate = r >= 8000 ? static_cast<unsigned>(r) : static_cast<unsigned>(std::lround(static_cast<double>(r) / s));
    return result;
}

CvResult FileReader::get_RateAndScaleLimits(int stream, unsigned& minDuration, unsigned& maxDuration,
                                            unsigned& timescale, unsigned& entries)
{
    Metadata_Track* t = track(stream);
    return t && t->getRateAndScaleLimits(minDuration, maxDuration, timescale, entries) ? OK : Fail;
}

CvResult FileReader::get_TimeToSampleList(int stream, std::vector<TimeToSampleItem>& list)
{
    Metadata_Track* t = track(stream);
    if (!t)
        return Fail;
    t->getTimeToSampleList(list);
    return OK;
}

CvResult FileReader::get_TimeCode(int stream, unsigned frame, unsigned* timecode)
{
    Metadata_Track* t = track(stream);
    uint64_t offset = 0;
    uint32_t size = 0;
    if (!t || !t->isTimecode() || !t->getSampleOffsetAndSize(frame, offset, size) || size < 4 || !timecode)
        return Fail;
    // Only the first four bytes are wanted, whatever the table says the sample holds.
    CvResult result = seek(offset, 0);
    CByteBuffer sample(2 * uint64_t(getSectorSize()));
    unsigned got = 0, start = 0;
    if (isSuccess(result))
        result = read(sample.getBuffer(), static_cast<unsigned>(sample.capacity()), 4, got, start);
    if (isSuccess(result) && got < start + 4)
        result = HandleEOF;
    if (!isSuccess(result)) {
        setLastError(result, L"Failed to read timecode data. ");
        return result;
    }
    // A tmcd sample is a frame count.
    *timecode = readBE32(sample.getBuffer(start));
    return OK;
}

int FileReader::getAudioByteOrder(int stream)
{
    Metadata_Track* t = track(stream);
    return t && t->sampleDescriptions ? t->sampleDescriptions->getAudioByteOrder(0) : 0;
}

CvResult FileReader::get_MetadataJSON(std::string& json, std::map<LightweightString<char>, CByteBuffer>& binaryItems)
{
    json = m_movie.json.output();
    binaryItems = m_movie.binaryItems;
    return OK;
}

unsigned FileReader::get_Orientation(unsigned stream)
{
    Metadata_Track* t = track(static_cast<int>(stream));
    if (!t || !t->isVideo() || !t->trackHeader)
        return 1;
    const auto& m = t->trackHeader->Matrix;
    const uint32_t one = 0x10000, minusOne = 0xFFFF0000;
    uint32_t a = m[0], b = m[1], c = m[3], d = m[4];
    if (a == 0 && b == minusOne && c == one && d == 0)
        return 3;
    if (a == minusOne && b == 0 && c == 0 && d == minusOne)
        return 4;
    if (a == 0 && b == one && c == minusOne && d == 0)
        return 5;
    return 1;
}

bool FileReader::findUserData(unsigned fourcc, std::wstring& value)
{
    for (const CByteBuffer& item : m_movie.userData) {
        const unsigned char* data = item.getBuffer();
        uint64_t length = item.used();
        if (!data || length < 12 || readCode(data + 4) != fourcc)
            continue;
        uint16_t textLength = readBE16(data + 8);
        if (textLength == 0 || textLength > length - 12)
            return false;
        value = fromUtf8(std::string(reinterpret_cast<const char*>(data + 12), textLength));
        return true;
    }
    return false;
}

bool FileReader::getExtensionItem(int stream, unsigned fourcc, CByteBuffer& data)
{
    auto raw = dynamic_cast<const QTAtomRaw*>(findExtensionItem(stream, fourcc));
    if (!raw)
        return false;
    const auto& body = raw->body();
    if (data.capacity() < data.used() + body.size())
        data.inflate(data.used() + body.size());
    data.append(body.data(), body.size());
    return true;
}

bool FileReader::get_isAACAudio(int stream)
{
    unsigned fcc = 0;
    return get_IsAudio(stream) && isSuccess(get_FCC(stream, fcc)) && (fcc == fourCC("aac ") || fcc == fourCC("mp4a"));
}

unsigned FileReader::get_UncompressedSamples(int stream)
{
    return get_Length(stream) * (get_isAACAudio(stream) ? 1024 : 1);
}

std::wstring FileReader::getCompressorName2(int stream)
{
    const VideoDescriptor* video = getVideoDescriptor(stream);
    return video ? fromUtf8(video->CompressorName2) : std::wstring();
}

int FileReader::getAvidResolutionId(int stream)
{
    if (auto ares = dynamic_cast<const ImageExtension_ARES*>(findExtensionItem(stream, fourCC("ARES"))))
        return static_cast<int>(ares->resolutionID);
    if (auto adhr = dynamic_cast<const ImageExtension_ADHR*>(findExtensionItem(stream, fourCC("ADHR"))))
        return static_cast<int>(adhr->resolutionID());
    return 0;
}

int64_t FileReader::getCreationTime()
{
    const MovieHeader* header = m_movie.movieHeader.get();
    return header && header->CreationTime ? static_cast<int64_t>(header->CreationTime) - macEpochOffset : 0;
}

int64_t FileReader::getModifiedTime()
{
    const MovieHeader* header = m_movie.movieHeader.get();
    return header && header->ModifyTime ? static_cast<int64_t>(header->ModifyTime) - macEpochOffset : 0;
}

} // namespace Corvidane::QuickTime
