#include "avi/FileReader.h"

#include <climits>
#include <cmath>
#include <cstring>

namespace Corvidane::Avi {

namespace {

// Offsets in the copied dmlh and vprp chunks, counted from their heads.
constexpr size_t dmlTotalFrames = 8;
constexpr size_t vprpFieldsPerFrame = 8 + 32;

} // namespace

FileReader::FileReader() { initVariables(); }

FileReader::~FileReader() = default;

void FileReader::initVariables()
{
    m_file.close();
    m_fileSize = 0;
    m_header.reset();
    m_bufferSize = m_headerUsed = m_fileBase = m_chunkOffset = m_listEnd = 0;
    m_mainHeader = AviMainHeader();
    m_hasMainHeader = false;
    std::memset(m_dmlHeader, 0, sizeof m_dmlHeader);
    std::memset(m_videoProperties, 0, sizeof m_videoProperties);
    m_streams.clear();
    m_mediaType = MediaType();
    m_idx1Offset = m_idx1Size = m_moviOffset = 0;
    m_openStream = 0;
    m_streamOpen = false;
    m_temporalReordering = false;
    m_audioBuffer.clear();
    m_audioBufferStart = 0;
    m_audioBufferFirst = m_audioBufferSamples = 0;
    m_audioBufferStream = -1;
    m_info.clear();
}

CvResult FileReader::fail(CvResult code, const wchar_t* text)
{
    setLastError(code, L"%ls", text);
    return code;
}

uint16_t FileReader::Stream::formatTag() const
{
    // WAVEFORMATEXTENSIBLE names the real format in the first word of its
    // subformat GUID, 6 bytes into the extension.
    if (wave.wFormatTag == WaveFormatExtensible && extraData.size() >= 8)
        return readLE16(extraData.data() + 6);
    return wave.wFormatTag;
}

unsigned FileReader::Stream::blockAlign() const
{
    bool linear = formatTag() == WaveFormatPcm || formatTag() == WaveFormatIeeeFloat;
    return linear && wave.nBlockAlign ? wave.nBlockAlign : 1;
}

bool FileReader::indexedByScan() const
{
    if (m_idx1Offset)
        return false;
    for (const Stream& stream : m_streams)
        if (!stream.superIndex.empty())
            return false;
    return true;
}

bool FileReader::isVideo(const Stream& stream) const { return stream.header.fccType == fourCC("vids"); }
bool FileReader::isAudio(const Stream& stream) const { return stream.header.fccType == fourCC("auds"); }

FileReader::Stream* FileReader::openStream()
{
    return m_streamOpen && m_openStream < m_streams.size() ? &m_streams[m_openStream] : nullptr;
}

CvResult FileReader::essenceOpen(unsigned index)
{
    if (!m_file.isOpen())
        return fail(InvalidState, L"no file loaded.");
    if (index >= m_streams.size())
        return fail(InvalidArg, L"Invalid stream index.");
    Stream& stream = m_streams[index];
    if (!stream.window.loaded()) {
        CvResult result;
        if (!stream.superIndex.empty())
            result = LoadINDX(index, 0);
        else if (m_idx1Offset)
            result = LoadIDX1();
        else
            result = scanMovi();
        if (!isSuccess(result))
            return result;
    }
    m_openStream = index;
    m_streamOpen = true;
    return OK;
}

CvResult FileReader::parseMetadata()
{
    if (!m_file.isOpen())
        return fail(InvalidState, L"no file loaded.");
    for (unsigned i = 0; i < m_streams.size(); ++i)
        if (isVideo(m_streams[i]))
            return essenceOpen(i);
    return OK;
}

CvResult FileReader::loadIndexTable()
{
    return m_streamOpen ? essenceOpen(m_openStream) : parseMetadata();
}

bool FileReader::set_TemporalReordering(bool on)
{
    if (on == m_temporalReordering)
        return true;
    m_temporalReordering = on;
    bool reload = false;
    for (Stream& stream : m_streams) {
        reload = reload || stream.window.loaded();
        stream.window.unload();
    }
    return !reload || !m_streamOpen || isSuccess(essenceOpen(m_openStream));
}

bool FileReader::get_IsVideo(int stream) { return validStream(stream) && isVideo(m_streams[stream]); }

bool FileReader::get_IsAudio(int stream) { return validStream(stream) && isAudio(m_streams[stream]); }

bool FileReader::get_HasIndexTable(int stream)
{
    return validStream(stream) && (!m_streams[stream].superIndex.empty() || m_idx1Offset != 0);
}

bool FileReader::get_IsIndexOK(int stream) { return get_HasIndexTable(stream); }

CvResult FileReader::get_FCC(int index, unsigned& fcc)
{
    if (!validStream(index))
        return InvalidArg;
    const Stream& stream = m_streams[index];
    if (isVideo(stream)) {
        fcc = stream.hasFormat ? stream.bitmap.biCompression : stream.header.fccHandler;
        return OK;
    }
    if (!isAudio(stream))
        return Fail;
    switch (stream.formatTag()) {
    case WaveFormatPcm: fcc = fourCC("lpcm"); return OK;
    case WaveFormatIeeeFloat: fcc = fourCC("fl32"); return OK;
    case WaveFormatAac:
    case WaveFormatMpegHeAac:
    case WaveFormatAacLatm: fcc = fourCC("mp4a"); return OK;
    default: return Fail;
    }
}

double FileReader::get_Rate(int stream)
{
    if (!validStream(stream) || m_streams[stream].header.dwScale == 0)
        return 0.0;
    return double(m_streams[stream].header.dwRate) / m_streams[stream].header.dwScale;
}

unsigned FileReader::get_Length(int stream)
{
    if (!validStream(stream))
        return 0;
    Stream& found = m_streams[stream];
    // A file whose indexes were never written is as long as its whole chunks.
    if (indexedByScan() && m_file.isOpen() && (found.window.loaded() || isSuccess(scanMovi())))
        return static_cast<unsigned>(std::min<uint64_t>(found.window.samples(), UINT_MAX));
    if (isVideo(found) && readLE32(m_dmlHeader) == fourCC("dmlh"))
        return readLE32(m_dmlHeader + dmlTotalFrames);
    // Sound indexed by idx1 lasts as long as its chunks: cameras write a
    // length that stops short of the last chunk.
    if (isAudio(found) && found.superIndex.empty() && m_idx1Offset && m_file.isOpen()) {
        if (found.window.loaded() || isSuccess(LoadIDX1()))
            return static_cast<unsigned>(std::min<uint64_t>(found.window.samples(), UINT_MAX));
    }
    return found.header.dwLength;
}

int FileReader::get_BitsPerSample(int stream)
{
    if (!validStream(stream))
        return 0;
    return isVideo(m_streams[stream]) ? m_streams[stream].bitmap.biBitCount : m_streams[stream].bitsPerSample;
}

int FileReader::get_Width(int stream) { return validStream(stream) ? m_streams[stream].bitmap.biWidth : 0; }

int FileReader::get_Height(int stream) { return validStream(stream) ? m_streams[stream].bitmap.biHeight : 0; }

int FileReader::getFramePolarity(int stream)
{
    if (!get_IsVideo(stream) || readLE32(m_videoProperties) != fourCC("vprp"))
        return 0;
    switch (readLE32(m_videoProperties + vprpFieldsPerFrame)) {
    case 1: return 4;
    case 2: return 3;
    default: return 0;
    }
}

int FileReader::getScanMode(int stream) { return getFramePolarity(stream) == 4 ? 3 : 0; }

int FileReader::get_ChannelCount(int stream) { return get_IsAudio(stream) ? m_streams[stream].wave.nChannels : 0; }

CvResult FileReader::get_RateAndScale(int stream, int* rate, int* scale)
{
    if (!validStream(stream) || !rate || !scale)
        return InvalidArg;
    *rate = static_cast<int>(m_streams[stream].header.dwRate);
    *scale = static_cast<int>(m_streams[stream].header.dwScale);
    return OK;
}

CvResult FileReader::get_AudioSampleRate(int stream, unsigned& rate)
{
    if (!validStream(stream))
        return InvalidArg;
    rate = static_cast<unsigned>(std::lround(get_Rate(stream)));
    return OK;
}

int FileReader::getGopLength(int stream)
{
    if (!validStream(stream))
        return 0;
    if (!isVideo(m_streams[stream]))
        return 1;
    if (!m_streams[stream].window.loaded() && !isSuccess(essenceOpen(static_cast<unsigned>(stream))))
        return 1;
    // Long GOP by its media type, or because its index has frames that are not key frames.
    if (!m_mediaType.temporalCompression && !m_streams[stream].predicted)
        return 1;
    return m_streams[stream].window.gopLength();
}

int FileReader::getN()
{
    Stream* stream = openStream();
    return stream ? getGopLength(static_cast<int>(m_openStream)) : 1;
}

int FileReader::getM()
{
    // The anchor distance: the longest run of B pictures in the loaded window, plus one.
    Stream* stream = openStream();
    if (!stream || getGopLength(static_cast<int>(m_openStream)) <= 1)
        return 1;
    int longest = 0, run = 0;
    for (const IndexEntry& entry : stream->window.entries()) {
        run = (entry.frameType & FrameBidirectional) ? run + 1 : 0;
        longest = std::max(longest, run);
    }
    return longest + 1;
}

unsigned FileReader::get_BufferSize(int stream)
{
    if (!validStream(stream))
        return 0;
    uint32_t size = m_streams[stream].header.dwSuggestedBufferSize;
    return size ? size : m_mainHeader.dwSuggestedBufferSize;
}

bool FileReader::getExtensionItem(int stream, unsigned fourcc, CByteBuffer& data)
{
    auto found = m_info.find(fourcc);
    if (found == m_info.end())
        return false;
    data.assign(found->second);
    return true;
}

unsigned FileReader::get_UncompressedSamples(int stream) { return get_IsAudio(stream) ? get_Length(stream) : 0; }

std::wstring FileReader::getCompressorName2(int stream)
{
    unsigned fcc = 0;
    if (!get_IsVideo(stream) || !isSuccess(get_FCC(stream, fcc)))
        return {};
    std::string code = fourCCToString(fcc);
    return std::wstring(code.begin(), code.end());
}

int FileReader::streamGetExtraData(int stream, unsigned char* data, int capacity)
{
    if (!validStream(stream) || !data || capacity <= 0)
        return 0;
    const std::vector<unsigned char>& extra = m_streams[stream].extraData;
    size_t count = std::min(extra.size(), static_cast<size_t>(capacity));
    if (count)
        std::memcpy(data, extra.data(), count);
    return static_cast<int>(count);
}

} // namespace Corvidane::Avi
