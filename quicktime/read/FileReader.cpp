// Opening a movie: finding its movie atom, parsing it, and the media files its
// tracks refer to.
#include "quicktime/read/FileReader.h"

#include <algorithm>

#include "frame/FourCC.h"
#include "frame/Text.h"
#include "quicktime/read/MovieParsers.h"

namespace Corvidane::QuickTime {

FileReader::FileReader() = default;

FileReader::~FileReader() = default;

// A load finds the movie atom and parses it, so that the reader is ready for
// every query after loadFile alone; parseMetadata may run again later.
CvResult FileReader::loadFile(const std::wstring& path, iFile::eFlags flags)
{
    m_parsedAtSize = 0;
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
    // The front end asks again after the load: a movie whose file hasn't
    // changed since reads the same, and its moov is not read twice.
    if (m_parsedAtSize && m_parsedAtSize == getSize())
        return m_parseResult;
    int remembered = -1;
    if (m_current)
        remembered = static_cast<int>(m_currentStream);
    m_current = nullptr;
    m_movie.reset();
    m_parsedAtSize = 0;

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
    m_parsedAtSize = getSize();
    m_parseResult = result;
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

unsigned FileReader::getTrackIndexFromTrackID(unsigned id) const
{
    for (size_t i = 0; i < m_movie.tracks.size(); ++i)
        if (m_movie.tracks[i]->trackHeader->TrackID == id)
            return static_cast<unsigned>(i);
    return 0xFFFFFFFF;
}

} // namespace Corvidane::QuickTime
