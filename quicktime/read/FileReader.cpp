#include "quicktime/read/FileReader.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cwctype>
#include <set>

#include "frame/FourCC.h"
#include "frame/Text.h"
#include "frame/Utf8.h"
#include "quicktime/read/MovieParsers.h"

namespace Corvidane::QuickTime {

namespace {

// Seconds from 1904, the movie's epoch, to 1970.
constexpr int64_t macEpochOffset = 2082844800;

} // namespace

FileReader::FileReader() = default;

FileReader::~FileReader() = default;

// A load finds the movie atom and parses it, so that the reader is ready for
// every query after loadFile alone; parseMetadata may run again later.
CvResult FileReader::loadFile(const std::wstring& path, iFile::eFlags flags)
{
    CvResult result = loadInternal(path, flags);
    return isSuccess(result) ? parseMetadata() : result;
}

CvResult FileReader::loadMayBe(const std::wstring& path, iFile::eFlags flags) { return loadFile(path, flags); }

void FileReader::close() { m_externalFile.reset(); }

CvResult FileReader::readWindow(uint64_t position, uint64_t count, CByteBuffer& buffer, size_t& start, size_t& valid)
{
    CvResult result = seek(position, 0);
    if (!isSuccess(result))
        return result;
    unsigned got = 0, offset = 0;
    result = read(buffer.getBuffer(), static_cast<unsigned>(buffer.capacity()), static_cast<unsigned>(count), got,
                  offset);
    if (!isSuccess(result))
        return result;
    if (got <= offset)
        return Fail;
    start = offset;
    valid = std::min<size_t>(got, offset + count);
    return result;
}

CvResult FileReader::findChunk(uint32_t type, uint64_t& offset, uint32_t& size)
{
    uint64_t fileSize = getSize();
    uint64_t window = std::min<uint64_t>(0x20000, fileSize);
    if (window == 0)
        return Fail;
    CByteBuffer buffer(window + 2 * getSectorSize());
    uint64_t pos = 0;
    int mdats = 0;
    for (;;) {
        if (pos >= fileSize)
            return Fail;
        size_t p = 0, valid = 0;
        CvResult result = readWindow(pos, window, buffer, p, valid);
        if (!isSuccess(result))
            return Fail;
        const unsigned char* data = buffer.getBuffer();
        while (p < valid) {
            // A header that straddles the end of the window is not recovered from.
            if (valid - p < 8)
                return Unexpected;
            uint64_t length = readBE32(data + p);
            uint32_t code = readCode(data + p + 4);
            if (length == 1) {
                if (valid - p < 16)
                    return Unexpected;
                length = readBE64(data + p + 8);
            }
            // 0 and lengths shorter than a header would never get anywhere.
            if (length < 8)
                return Unexpected;
            if (code == type) {
                offset = pos;
                if (length > UINT32_MAX)
                    return Unexpected;
                size = static_cast<uint32_t>(length);
                return OK;
            }
            if (code == fourCC("mdat") && ++mdats == 5)
                return Abort;
            if (length > fileSize - pos)
                return Fail;
            pos += length;
            if (length >= valid - p)
                break;
            p += static_cast<size_t>(length);
        }
    }
}

CvResult FileReader::searchWindow(uint32_t type, uint64_t position, uint64_t window, uint64_t& offset,
                                  uint32_t& size)
{
    CByteBuffer buffer(window + 2 * getSectorSize());
    size_t start = 0, valid = 0;
    CvResult result = readWindow(position, window, buffer, start, valid);
    if (!isSuccess(result))
        return result;
    const unsigned char* data = buffer.getBuffer();
    // The code, with room for its length field in front of it.
    for (size_t i = start + 4; i + 4 <= valid; ++i) {
        if (readCode(data + i) != type)
            continue;
        size_t field = i - 4;
        if (valid - field < 8)
            return Unexpected;
        uint64_t length = readBE32(data + field);
        if (length == 1) {
            if (valid - field < 16)
                return Unexpected;
            length = readBE64(data + i + 4);
        }
        if (length == 0 || length > UINT32_MAX)
            return Unexpected;
        size = static_cast<uint32_t>(length);
        offset = position + (field - start);
        return result;
    }
    return Fail;
}

CvResult FileReader::findChunk2(uint32_t type, uint64_t& offset, uint32_t& size)
{
    uint64_t fileSize = getSize();
    uint64_t window = std::min<uint64_t>(0x8000, fileSize);
    if (window == 0)
        return Fail;
    CvResult result = searchWindow(type, 0, window, offset, size);
    if (result != Fail)
        return result;
    return searchWindow(type, fileSize - window, window, offset, size);
}

CvResult FileReader::findChunk3(uint32_t type, uint64_t& offset, uint32_t& size, uint64_t window)
{
    uint64_t fileSize = getSize();
    window = std::min(window, fileSize);
    if (window == 0)
        return Fail;
    return searchWindow(type, fileSize - window, window, offset, size);
}

CvResult FileReader::loadInternal(const std::wstring& path, iFile::eFlags flags)
{
    CvResult result = load(path, flags);
    if (!isSuccess(result)) {
        setLastError(result, L"Failed to open file.");
        return result;
    }
    result = findChunk(fourCC("moov"), m_moovOffset, m_moovSize);
    if (!isSuccess(result)) {
        // Many mdat atoms: the movie atom may still lie in the file's head or tail.
        if (result == Abort)
            result = findChunk2(fourCC("moov"), m_moovOffset, m_moovSize);
        if (!isSuccess(result)) {
            setLastError(result, L"Failed to find 'moov' chunk.");
            return result;
        }
    }
    if (m_moovSize == 0) {
        setLastError(Fail, L"'moov' chunk is zero length.");
        return Fail;
    }
    uint64_t tail = roundUpToSectorBoundary(16);
    if (!isSuccess(findChunk3(fourCC("mfro"), m_mfroOffset, m_mfroSize, tail)))
        m_mfroOffset = m_mfroSize = 0;
    if (m_moovSize >= maxMoovSize) {
        setLastError(Fail, L"'moov' chunk is too large.");
        return Fail;
    }
    return result;
}

CvResult FileReader::parseMetadata()
{
    if (!isOpen()) {
        setLastError(Unexpected, L"no file loaded.");
        return Unexpected;
    }
    if (m_moovSize == 0) {
        setLastError(Unexpected, L"moov chunk is zero size.");
        return Unexpected;
    }
    int remembered = -1;
    if (m_current)
        remembered = static_cast<int>(m_currentStream);
    m_current = nullptr;
    m_movie.reset();

    CByteBuffer moov(m_moovSize + 2 * getSectorSize());
    CvResult result = seek(m_moovOffset, 0);
    if (!isSuccess(result)) {
        setLastError(result, L"Failed to seek to moov chunk. ");
        return result;
    }
    unsigned got = 0, start = 0;
    result = read(moov.getBuffer(), static_cast<unsigned>(moov.capacity()), m_moovSize, got, start);
    if (isSuccess(result) && got < start + m_moovSize)
        result = HandleEOF;
    if (!isSuccess(result)) {
        setLastError(result, L"Failed to read moov chunk. ");
        return result;
    }
    // The mp4 flag is the file name's alone: nothing in the file decides it.
    const std::wstring& name = getFilename();
    m_movie.setMp4(name.size() >= 4 && toLower(name.substr(name.size() - 4)) == L".mp4");

    result = AtomParser_moov(m_movie).Parse(moov.getBuffer(start), m_moovSize, name, m_moovOffset);
    if (result > False) {
        setLastError(result, L"Failed to parse moov chunk. ");
        return result;
    }
    for (auto& track : m_movie.tracks) {
        track->combineSyncSampleLists();
        track->findStartSample();
        track->startAtKeyFrame();
        if (!track->essenceFile().empty())
            updateRefFile(*track);
    }
    if (remembered >= 0 && remembered < get_StreamCount())
        essenceOpen(static_cast<unsigned>(remembered));
    return result;
}

namespace {

bool isSeparator(wchar_t c) { return c == L'/' || c == L'\\'; }

// The movie's folder with its last separator, '\\' preferred; empty without one.
std::wstring folderOf(const std::wstring& path)
{
    size_t at = path.find_last_of(L'\\');
    if (at == std::wstring::npos)
        at = path.find_last_of(L'/');
    return at == std::wstring::npos ? std::wstring() : path.substr(0, at + 1);
}

} // namespace

void FileReader::updateRefFile(Metadata_Track& track)
{
    const std::wstring& movie = getFilename();
    std::wstring name = track.essenceFile();
    std::wstring result;
    if ((!name.empty() && isSeparator(name[0])) || (name.size() > 1 && name[1] == L':')) {
        std::wstring folder = folderOf(movie);
        if (folder.empty())
            return;
        result = folder + name;
    } else if (movie.size() > 1 && movie[1] == L':') {
        result = movie.substr(0, 3) + name;
    } else if (!movie.empty() && isSeparator(movie[0])) {
        // Through the fourth separator of the kind the path starts with.
        size_t at = 0;
        int seen = 0;
        for (; at < movie.size() && seen < 4; ++at)
            if (movie[at] == movie[0])
                ++seen;
        result = movie.substr(0, at) + name;
    } else {
        result = name;
    }
    // Avid projects: follow the media folder wherever the project now lies.
    size_t media = result.find(L"media.dir");
    if (media != std::wstring::npos) {
        std::wstring folder = folderOf(movie);
        if (folder.empty())
            return;
        result = folder + result.substr(media);
    }
    track.setEssenceFile(result);
}

CvResult FileReader::reportNoTrack(const wchar_t* operation)
{
    setLastError(InvalidState, L"%ls Failed, no current track.", operation);
    return InvalidState;
}

CvResult FileReader::essenceOpen(unsigned stream)
{
    if (m_current && stream == m_currentStream)
        return OK;
    if (getFilename().empty())
        return InvalidState;
    m_current = track(static_cast<int>(stream));
    m_currentStream = stream;
    if (!m_current)
        return Fail;
    Metadata_Track& t = *m_current;
    if (t.editList && t.editList->get_Count() > 1) {
        setLastError(Fail, L"Failed to open essence data, more than one edit list.");
        return Fail;
    }
    if (t.editList && !t.timeToSample) {
        setLastError(Fail, L"Failed to open essence data, there is an edit list but no time to sample list.");
        return Fail;
    }
    // A variable frame rate is tolerated and only noted.
    if (t.isVideo() && t.startSample() == 0 && (!t.timeToSample || t.timeToSample->get_Count() != 1))
        setLastError(OK, L"Failed to open essence data, samples are not of uniform duration.");
    m_externalFile.reset();
    if (!t.essenceFile().empty()) {
        auto external = std::make_unique<Vex::CFileReaderUnbuffered>();
        CvResult result = external->load(t.essenceFile(), iFile::Unbuffered);
        if (!isSuccess(result)) {
            setLastError(result, L"Failed to load external essence file. '%ls' ", t.essenceFile().c_str());
            return result;
        }
        m_externalFile = std::move(external);
    }
    // Reads number samples from the track's first, so the count ends where
    // the frames behind the start sample end.
    m_essenceSampleCount = m_movie.isFragmented()          ? get_Length(static_cast<int>(stream)) + t.startSample()
                           : get_isAACAudio(static_cast<int>(stream)) ? t.getSampleLength()
                                                                    : t.getLength() + t.startSample();
    return OK;
}

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

template <typename Mode, size_t N>
void mapColour(uint16_t code, const std::pair<uint16_t, int> (&table)[N], Mode& mode)
{
    for (const auto& [value, mapped] : table)
        if (value == code)
            mode = static_cast<Mode>(mapped);
}

} // namespace

CvResult FileReader::get_ColourPrimaries(int stream, VideoColourCPMode& mode)
{
    static const std::pair<uint16_t, int> table[] = {{1, 1}, {5, 2}, {6, 3}, {9, 4}, {11, 5}, {12, 6}};
    mode = static_cast<VideoColourCPMode>(0);
    const VideoDescriptor* video = getVideoDescriptor(stream);
    if (!get_IsVideo(stream))
        return Fail;
    if (video)
        for (const auto& item : video->extensions)
            if (auto colr = dynamic_cast<const ImageExtension_colr*>(item.get()))
                mapColour(colr->primaries, table, mode);
    return OK;
}

CvResult FileReader::get_TransferCharacteristic(int stream, VideoColourTCMode& mode)
{
    static const std::pair<uint16_t, int> table[] = {{1, 1}, {16, 3}, {18, 4}, {17, 5}};
    mode = static_cast<VideoColourTCMode>(0);
    const VideoDescriptor* video = getVideoDescriptor(stream);
    if (!get_IsVideo(stream))
        return Fail;
    if (video)
        for (const auto& item : video->extensions)
            if (auto colr = dynamic_cast<const ImageExtension_colr*>(item.get()))
                mapColour(colr->transferFunction, table, mode);
    return OK;
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

int FileReader::getGopLength(int stream)
{
    Metadata_Track* t = track(stream);
    if (!t)
        return 0;
    int length = t->getGopLength();
    return length == 1 && m_movie.isFragmented() ? fragmentGopLength(*t) : length;
}

bool FileReader::getIsOpenGop(int stream)
{
    Metadata_Track* t = track(stream);
    return t && t->openGops();
}

CvResult FileReader::getIndexEntry(unsigned sample, IndexEntry& entry)
{
    if (!m_current)
        return reportNoTrack(L"getIndexEntry");
    Metadata_Track& t = *m_current;
    if (inFragments(t, uint64_t(sample) + t.startSample())) {
        CvResult result = fragmentIndexEntry(t, uint64_t(sample) + t.startSample(), entry);
        entry.decodeIndex -= t.startSample();
        unsigned shown = entry.presentationIndex;
        entry.presentationIndex = shown >= t.startSample() ? shown - t.startSample() : 0;
        return result;
    }
    uint64_t offset = 0;
    uint32_t size = 0;
    if (!t.getSampleOffsetAndSize(sample + t.startSample(), offset, size)) {
        if (sample >= t.getLength()) {
            setLastError(HandleEOF, L"Failed to read essence data, reached end of file.");
            return HandleEOF;
        }
        setLastError(InvalidState, L"Failed to read essence data, failed to find sample.");
        return InvalidState;
    }
    entry.offset = offset;
    entry.size = size;
    entry.presentationIndex = sample;
    entry.decodeIndex = sample;
    entry.frameType = FrameIntra;
    // The frame type is that of the sample in the track, not of its frame
    // number behind the start sample.
    const uint32_t real = sample + t.startSample();
    if (t.hasSyncSamples()) {
        uint32_t previous = 0;
        entry.frameType = t.getFrameType(real, previous);
    }
    // Display order is the order of composition times.
    uint32_t rank = 0;
    if (t.hasSampleTimeInfo() && t.getPresentationRank(sample, rank))
        entry.presentationIndex = rank;
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

bool FileReader::essenceIsPresent(int stream)
{
    Metadata_Track* t = track(stream);
    if (!t || !get_HasIndexTable(stream) || t->getLength() == 0)
        return false;
    uint64_t offset = 0;
    uint32_t size = 0;
    if (!t->getSampleOffsetAndSize(t->getLength() / 2, offset, size))
        return false;
    if (!t->essenceFile().empty())
        return Vex::CDiskFile::exists(t->essenceFile());
    return offset + size <= getSize();
}

unsigned FileReader::get_BufferSize(int stream)
{
    Metadata_Track* t = track(stream);
    if (!t || !t->sampleSizes)
        return 0;
    uint64_t largest = t->sampleSizes->largestSampleSize();
    return static_cast<unsigned>(roundUpToSectorBoundary(largest + getSectorSize()));
}

CvResult FileReader::essenceRead(unsigned long start, unsigned count, unsigned char* buffer, unsigned capacity,
                                 unsigned& offset, unsigned& size)
{
    if (!m_current) {
        setLastError(InvalidState, L"Failed to read essence data, no current track. ");
        return InvalidState;
    }
    Metadata_Track& t = *m_current;
    uint64_t pos = start + t.startSample();
    if (pos >= m_essenceSampleCount)
        return HandleEOF;
    if (count == 0) {
        offset = size = 0;
        return OK;
    }
    if (count >= 2 && m_readBuffer.capacity() == 0)
        m_readBuffer.alloc(0x40000);
    Vex::CFileReaderUnbuffered& file = essenceFile();
    uint64_t total = 0;
    uint64_t end = pos + count;
    while (pos < end) {
        uint64_t sampleOffset = 0;
        uint32_t sampleSize = 0, left = 0;
        if (inFragments(t, pos)) {
            // A fragment's samples are taken one at a time.
            IndexEntry entry;
            CvResult result = fragmentIndexEntry(t, pos, entry);
            if (!isSuccess(result)) {
                offset = 0;
                size = static_cast<unsigned>(total);
                return result;
            }
            sampleOffset = entry.offset;
            sampleSize = entry.size;
            left = 1;
        } else if (pos > UINT32_MAX ||
                   !t.getSampleOffsetAndSize2(static_cast<uint32_t>(pos), sampleOffset, sampleSize, left)) {
            offset = 0;
            size = static_cast<unsigned>(total);
            if (pos >= uint64_t(t.getLength()) + t.startSample()) {
                setLastError(HandleEOF, L"Failed to read essence data, reached end of file.");
                return HandleEOF;
            }
            setLastError(BadLength, L"Failed to read essence data, failed to find sample.");
            return BadLength;
        }
        CvResult result = file.seek(sampleOffset, 0);
        if (!isSuccess(result)) {
            setLastError(result, L"Failed to read essence data, seek. ");
            return result;
        }
        unsigned got = 0, at = 0;
        if (count == 1) {
            if (sampleSize > capacity) {
                setLastError(BufferTooSmall, L"Failed to read essence data, buffer too small. ");
                return BufferTooSmall;
            }
            result = file.read(buffer, capacity, sampleSize, got, at);
            if (isSuccess(result) && got < uint64_t(at) + sampleSize)
                result = HandleEOF;
            if (!isSuccess(result)) {
                if (result != InsufficientBuffer)
                    setLastError(result, L"Failed to read essence data, read. ");
                return result;
            }
            offset = at;
            size = sampleSize;
            return result;
        }
        // Runs of samples, as audio comes: one read a chunk, samples of a
        // chunk taken to be of one size.
        uint64_t n = std::min<uint64_t>(end - pos, left);
        uint64_t bytes = uint64_t(sampleSize) * n;
        // Nothing is read, nor memory taken, for bytes the caller has no room for.
        uint64_t room = file.roundUpToSectorBoundary(bytes + file.getAlignmentOffset());
        if (total + bytes > capacity || (room > m_readBuffer.capacity() && !m_readBuffer.alloc(room))) {
            setLastError(BufferTooSmall, L"Failed to read essence data, buffer too small. ");
            return BufferTooSmall;
        }
        result = file.read(m_readBuffer.getBuffer(), static_cast<unsigned>(m_readBuffer.capacity()),
                           static_cast<unsigned>(bytes), got, at);
        if (isSuccess(result) && got < at + bytes)
            result = HandleEOF;
        if (!isSuccess(result)) {
            setLastError(result, L"Failed to read essence data, read. ");
            return result;
        }
        std::copy(m_readBuffer.getBuffer(at), m_readBuffer.getBuffer(at) + bytes, buffer + total);
        total += bytes;
        pos += n;
    }
    offset = 0;
    size = static_cast<unsigned>(total);
    return OK;
}

CvResult FileReader::essenceRead(unsigned frame, unsigned count, unsigned char* buffer, unsigned capacity,
                                 std::vector<unsigned>& offsets, std::vector<unsigned>& sizes)
{
    if (!m_current) {
        setLastError(InvalidState, L"Failed to read essence data, no current track. ");
        return InvalidState;
    }
    Metadata_Track& t = *m_current;
    if (!t.isVideo() && !t.isAnc()) {
        setLastError(NotImpl, L"Failed to read non video data. ");
        return NotImpl;
    }
    uint64_t pos = uint64_t(frame) + t.startSample();
    if (pos >= m_essenceSampleCount)
        return HandleEOF;
    uint64_t length = get_Length(static_cast<int>(m_currentStream)) + uint64_t(t.startSample());
    if (pos >= length) {
        setLastError(HandleEOF, L"Failed to read essence data. Reached end of file.");
        return HandleEOF;
    }
    uint64_t end = std::min<uint64_t>(pos + count, length);
    if (end <= pos)
        return Fail;
    struct Place {
        uint64_t offset;
        uint32_t size;
    };
    std::vector<Place> places;
    uint64_t total = 0;
    CvResult missing = OK;
    for (uint64_t sample = pos; sample < end; ++sample) {
        Place place{0, 0};
        if (inFragments(t, sample)) {
            IndexEntry entry;
            missing = fragmentIndexEntry(t, sample, entry);
            if (!isSuccess(missing))
                break;
            place = {entry.offset, entry.size};
        } else if (!t.getSampleOffsetAndSize(static_cast<uint32_t>(sample), place.offset, place.size)) {
            missing = sample >= length ? HandleEOF : InvalidState;
            setLastError(missing, L"Failed to read essence data.%ls",
                         missing == HandleEOF ? L"Reached end of file." : L"Failed to find sample.");
            break;
        }
        places.push_back(place);
        sizes.push_back(place.size);
        total += place.size;
    }
    if (places.empty())
        return missing != OK ? missing : Fail;
    if (total > capacity)
        return BufferTooSmall;
    CvResult result = OK;
    uint64_t used = 0;
    for (const Place& place : places) {
        result = seek(place.offset, 0);
        if (!isSuccess(result)) {
            setLastError(result, L"Failed to read essence data ( seek failed ).");
            return result;
        }
        unsigned got = 0, at = 0;
        if (used >= capacity)
            return BufferTooSmall;
        result = read(buffer + used, static_cast<unsigned>(capacity - used), place.size, got, at);
        if (isSuccess(result) && got < uint64_t(at) + place.size)
            result = HandleEOF;
        if (!isSuccess(result))
            return result;
        offsets.push_back(static_cast<unsigned>(used + at));
        used += at + place.size;
    }
    return result;
}

CvResult FileReader::getPresentationOrder(unsigned start, unsigned count, std::vector<unsigned>& order)
{
    if (!m_current)
        return reportNoTrack(L"getPresentationOrder");
    order.clear();
    for (unsigned i = 0; i < count; ++i) {
        if (!m_current->hasSyncSamples()) {
            order.push_back(start + i);
            continue;
        }
        IndexEntry entry;
        if (!isSuccess(getIndexEntry(start + i, entry)))
            return Fail;
        unsigned shown = entry.presentationIndex;
        order.push_back(shown);
    }
    return OK;
}

CvResult FileReader::getGopAndPresentationOrder(unsigned frame, unsigned count, std::vector<unsigned>& decode,
                                                std::vector<unsigned>& presentation,
                                                std::vector<unsigned short>& order)
{
    return gatherGop(frame, count, SIZE_MAX, decode, presentation, order);
}

CvResult FileReader::gatherGop(unsigned frame, unsigned count, size_t limit, std::vector<unsigned>& decode,
                               std::vector<unsigned>& presentation, std::vector<unsigned short>& order)
{
    if (!m_current)
        return reportNoTrack(L"getGopAndPresentationOrder");
    unsigned length = get_Length(static_cast<int>(m_currentStream));
    if (frame > length)
        return HandleEOF;
    count = std::min(count, length - frame);
    if (count == 0)
        return OK;
    // The frames of the range in display order, struck off as they are seen;
    // frames shown inside the range but coded after it are read too, within
    // the track and within a reorder distance no coder comes near. What is
    // kept grows with the frames read, not with the count asked for.
    const uint64_t end = std::min<uint64_t>(length, uint64_t(frame) + count + maxReorderDistance);
    std::set<unsigned> seen;
    for (unsigned coded = frame, taken = 0; (taken < count || seen.size() < count) && coded < end && decode.size() < limit;
         ++coded, ++taken) {
        IndexEntry entry;
        if (!isSuccess(getIndexEntry(coded, entry))) {
            if (taken == 0) {
                setLastError(NotFound, L"get_GopAndPresentationOrder failed to retrieve index entry.");
                return NotFound;
            }
            return OK;
        }
        // Copies first: the record is packed, its fields can't be referred to.
        unsigned shown = entry.presentationIndex;
        unsigned short type = entry.frameType;
        decode.push_back(coded);
        presentation.push_back(shown);
        order.push_back(type);
        if (shown >= frame && shown - frame < count)
            seen.insert(shown);
    }
    return OK;
}

CvResult FileReader::getGopAndPresentationOrder(unsigned frame, GOPInfo& info, std::vector<unsigned short>& order,
                                                bool useCount)
{
    if (!m_current)
        return reportNoTrack(L"getGopAndPresentationOrder");
    unsigned count = static_cast<unsigned>(info.count);
    if (!useCount) {
        count = static_cast<unsigned>(std::max(getGopLength(static_cast<int>(m_currentStream)), 0));
        if (m_current->openGops())
            count *= 2;
    }
    // One frame more than there is room for decides the answer.
    std::vector<unsigned> decode, presentation;
    CvResult result = gatherGop(frame, count, info.count + 1, decode, presentation, order);
    if (!isSuccess(result))
        return result;
    if (decode.size() > info.count) {
        setLastError(InsufficientBuffer, L"GetGopAndPresentationOrder failed, insufficient space.");
        return InsufficientBuffer;
    }
    std::copy(decode.begin(), decode.end(), info.decodeOrder);
    std::copy(presentation.begin(), presentation.end(), info.presentationOrder);
    info.count = decode.size();
    return result;
}

bool FileReader::findKeyframe(unsigned frame, bool forward, unsigned& keyframe)
{
    if (!m_current)
        return false;
    if (m_movie.isFragmented())
        return findFragmentKeyframe(*m_current, frame, forward, keyframe);
    // Sync samples number the track's samples; frames count from the start sample.
    const uint64_t start = m_current->startSample();
    uint32_t sample = 0;
    if (uint64_t(frame) + start > UINT32_MAX ||
        !m_current->findKeyframe(static_cast<uint32_t>(frame + start), forward, sample) || sample < start)
        return false;
    keyframe = static_cast<unsigned>(sample - start);
    return true;
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

unsigned FileReader::getTrackIndexFromTrackID(unsigned id) const
{
    for (size_t i = 0; i < m_movie.tracks.size(); ++i)
        if (m_movie.tracks[i]->trackHeader->TrackID == id)
            return static_cast<unsigned>(i);
    return 0xFFFFFFFF;
}

} // namespace Corvidane::QuickTime
