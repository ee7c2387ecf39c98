// The header walk: RIFF and LIST chunks of the first RIFF, read through a
// window of the file that the movi data is skipped over.
#include <algorithm>
#include <cstring>

#include "avi/FileReader.h"

namespace Corvidane::Avi {

namespace {

// Initial window: enough for the header of nearly every file.
constexpr uint64_t initialWindow = 0x2FFFF;
// A larger hdrl than this is not a header but damage.
constexpr uint32_t largestHdrl = 0xFFFFF;
// Chunk ids carry the stream number in two decimal digits.
constexpr uint32_t largestStreamCount = 100;

constexpr uint32_t infoTags[] = {
    fourCC("INAM"), fourCC("strn"), fourCC("ISFT"), fourCC("IMED"), fourCC("ICRD"), fourCC("IPRD"), fourCC("ISRF"),
    fourCC("IENG"), fourCC("ITCH"), fourCC("ISBJ"), fourCC("DIM "), fourCC("ISHP"), fourCC("ICOP"), fourCC("ICRP"),
    fourCC("IGNR"), fourCC("ILGT"), fourCC("IPLT"), fourCC("Tc_A"), fourCC("Tc_O"), fourCC("ALFA"), fourCC("FIEL"),
    fourCC("IKEY"), fourCC("ISRC"), fourCC("ICMS"), fourCC("ICMT")};

bool isInfoTag(uint32_t fourcc) { return std::find(std::begin(infoTags), std::end(infoTags), fourcc) != std::end(infoTags); }

} // namespace

CvResult FileReader::loadFile(const std::wstring& path, iFile::eFlags flags)
{
    initVariables();
    CvResult result = m_file.load(path, flags);
    if (!isSuccess(result)) {
        setLastError(result, L"Failed to open file.");
        return result;
    }
    m_fileSize = m_file.getSize();
    if (m_fileSize == 0)
        return fail(InvalidState, L"Failed to open file, zero length.");

    m_bufferSize = m_file.roundUpToSectorBoundary(std::min<uint64_t>(m_fileSize, initialWindow));
    for (;;) {
        // Two sectors of room beyond the window: a read from a position
        // inside a sector takes in the bytes in front of it.
        if (!m_header.alloc(m_bufferSize + 2 * uint64_t(m_file.getSectorSize())))
            return fail(OutOfMemory, L"Failed to allocate header buffer memory.");
        result = ReaderHeader();
        if (!isSuccess(result))
            return result;
        const unsigned char* window = m_header.getBuffer();
        if (m_headerUsed < 12 || readLE32(window) != fourCC("RIFF") || readLE32(window + 8) != fourCC("AVI "))
            return fail(Fail, L"File is not an avi file.");
        if (m_headerUsed < 24 || readLE32(window + 20) != fourCC("hdrl"))
            return fail(Fail, L"Failed to find hdrl chunk.");
        uint32_t hdrlSize = readLE32(window + 16);
        if (hdrlSize > largestHdrl)
            return fail(Fail, L"'hdrl' chunk is too large.");
        uint64_t hdrlEnd = 12 + chunkHeadSize + uint64_t(hdrlSize);
        // A file that ends inside its hdrl is walked as far as it goes.
        if (hdrlEnd <= m_headerUsed || m_bufferSize >= m_fileSize)
            break;
        m_bufferSize = m_file.roundUpToSectorBoundary(hdrlEnd + 4096);
    }
    return ParseChunkData();
}

CvResult FileReader::ReaderHeader()
{
    if (!m_file.isOpen())
        return fail(Unexpected, L"no file loaded.");
    unsigned read = 0, offset = 0;
    if (!isSuccess(m_file.seek(0, 0)) ||
        !isSuccess(m_file.read(m_header.getBuffer(), static_cast<unsigned>(m_header.capacity()),
                               static_cast<unsigned>(m_bufferSize), read, offset)))
        return fail(Fail, L"Failed to read header data.");
    m_fileBase = 0;
    m_headerUsed = read;
    return OK;
}

CvResult FileReader::ParseChunkData()
{
    m_chunkOffset = 0;
    m_listEnd = m_headerUsed;
    for (;;) {
        if (m_chunkOffset + chunkHeadSize > m_headerUsed)
            return OK;
        const unsigned char* chunk = m_header.getBuffer(m_chunkOffset);
        uint32_t fourcc = readLE32(chunk);
        uint32_t size = readLE32(chunk + 4);
        CvResult result = OK;
        switch (parseChunk(fourcc, chunk, size, result)) {
        case Walk::Failed: return result;
        case Walk::End: return OK;
        case Walk::Here: continue;
        case Walk::Next:
            if (!ChunkNext())
                return OK;
            break;
        }
    }
}

FileReader::Walk FileReader::parseChunk(uint32_t fourcc, const unsigned char* chunk, uint32_t size,
                                        CvResult& result)
{
    const unsigned char* data = chunk + chunkHeadSize;
    // What of the chunk's data lies in the window.
    uint32_t available =
        static_cast<uint32_t>(std::min<uint64_t>(size, m_headerUsed - m_chunkOffset - chunkHeadSize));
    switch (fourcc) {
    case fourCC("RIFF"):
        // The AVIX RIFFs of an OpenDML file hold only movi data and indexes.
        return m_fileBase + m_chunkOffset == 0 ? Walk::Next : Walk::End;
    case fourCC("LIST"):
        if (available >= 4 && readLE32(data) == fourCC("movi")) {
            m_moviOffset = m_fileBase + m_chunkOffset;
            return SkipMovi(size) ? Walk::Here : Walk::End;
        }
        return Walk::Next;
    case fourCC("avih"):
        if (available < AviMainHeader::minimumSize || m_hasMainHeader)
            return Walk::Next;
        m_mainHeader.read(data);
        m_hasMainHeader = true;
        if (m_mainHeader.dwStreams == 0) {
            result = fail(Fail, L"No streams found in header.");
            return Walk::Failed;
        }
        m_streams.resize(std::min(m_mainHeader.dwStreams, largestStreamCount));
        return Walk::Next;
    case fourCC("strh"): {
        if (m_streams.empty()) {
            result = fail(Fail, L"Stream array is null.");
            return Walk::Failed;
        }
        if (available < AviStreamHeader::minimumSize)
            return Walk::Next;
        Stream* stream = firstStream(false);
        if (stream) {
            stream->header.read(data);
            stream->hasHeader = true;
        }
        return Walk::Next;
    }
    case fourCC("strf"): {
        if (m_streams.empty()) {
            result = fail(Fail, L"Stream array is null2.");
            return Walk::Failed;
        }
        Stream* stream = firstStream(true);
        if (stream) {
            result = parseStreamFormat(*stream, data, available);
            if (!isSuccess(result))
                return Walk::Failed;
        }
        return Walk::Next;
    }
    case fourCC("dmlh"):
        if (size >= sizeof m_dmlHeader) {
            size_t copied = std::min<size_t>(sizeof m_dmlHeader, chunkHeadSize + available);
            std::memcpy(m_dmlHeader, chunk, copied);
            if (readLE32(m_dmlHeader) != fourCC("dmlh"))
                std::memset(m_dmlHeader, 0, sizeof m_dmlHeader);
        }
        return Walk::Next;
    case fourCC("vprp"):
        if (available >= 40)
            std::memcpy(m_videoProperties, chunk,
                        std::min<size_t>(sizeof m_videoProperties, chunkHeadSize + available));
        return Walk::Next;
    case fourCC("indx"):
        // A broken super index costs only its stream's OpenDML index.
        ParseINDX(chunk, chunkHeadSize + available);
        return Walk::Next;
    case fourCC("idx1"):
        m_idx1Offset = m_fileBase + m_chunkOffset;
        m_idx1Size = size;
        return Walk::End;
    default:
        if (isInfoTag(fourcc))
            INFO_Extract(fourcc, data, available);
        return Walk::Next;
    }
}

bool FileReader::ChunkNext()
{
    const unsigned char* chunk = m_header.getBuffer(m_chunkOffset);
    uint32_t fourcc = readLE32(chunk);
    uint64_t size = padToEven(readLE32(chunk + 4));
    uint64_t next;
    if (fourcc == fourCC("LIST") || fourcc == fourCC("RIFF")) {
        m_listEnd = m_chunkOffset + chunkHeadSize + size;
        next = m_chunkOffset + 12;
    } else {
        next = m_chunkOffset + chunkHeadSize + size;
        if (m_listEnd == m_chunkOffset)
            m_listEnd = next;
    }
    // A chunk that claims more than its list holds ends with the list.
    if (next > m_listEnd)
        next = m_listEnd;
    if (next >= m_headerUsed || next <= m_chunkOffset)
        return false;
    m_chunkOffset = next;
    return true;
}

bool FileReader::SkipMovi(uint32_t listSize)
{
    uint64_t position = m_fileBase + m_chunkOffset + chunkHeadSize + padToEven(listSize);
    if (position >= m_fileSize)
        return false;
    if (!isSuccess(m_file.seek(position, 0))) {
        setLastError(Fail, L"SkipMovi failed to seek.");
        return false;
    }
    uint64_t sector = m_file.getSectorSize();
    uint64_t count = std::min(m_fileSize - position, m_bufferSize);
    if (count > 2 * sector)
        count -= 2 * sector;
    unsigned read = 0, offset = 0;
    if (!isSuccess(m_file.read(m_header.getBuffer(), static_cast<unsigned>(m_header.capacity()),
                               static_cast<unsigned>(count), read, offset)) ||
        read <= offset) {
        setLastError(Fail, L"Failed to read after movi data.");
        return false;
    }
    m_fileBase = position - offset;
    m_chunkOffset = offset;
    m_headerUsed = read;
    m_listEnd = m_headerUsed;
    return true;
}

bool FileReader::ParseINDX(const unsigned char* chunk, uint32_t available)
{
    if (available < AviIndexHead::entriesOffset) {
        setLastError(Fail, L"INDX chunk size was invalid.");
        return false;
    }
    uint32_t cb = readLE32(chunk + 4);
    AviIndexHead head;
    head.read(chunk);
    if (cb <= 47) {
        setLastError(Fail, L"INDX chunk size was invalid.");
        return false;
    }
    uint64_t entriesEnd = AviIndexHead::entriesOffset + uint64_t(head.nEntriesInUse) * AviSuperIndexEntry::size;
    if (cb < uint64_t(head.wLongsPerEntry) * head.nEntriesInUse + 48 || entriesEnd > available) {
        setLastError(Fail, L"INDX chunk size was invalid2.");
        return false;
    }
    if (head.wLongsPerEntry != 4) {
        setLastError(Fail, L"INDX chunk wLongsPerEntry was not 4.");
        return false;
    }
    if (head.bIndexType != AviIndexOfIndexes) {
        setLastError(Fail, L"INDX chunk bIndexSubType was not zero which is not supported.");
        return false;
    }
    int index = GetStreamIndexFromChunkId(head.dwChunkId);
    if (index < 0 || static_cast<size_t>(index) >= m_streams.size()) {
        setLastError(Fail, L"INDX chunk referenced invalid stream index.");
        return false;
    }
    Stream& stream = m_streams[index];
    if (head.bIndexSubType == AviIndexFields)
        stream.fieldIndex = true;
    else if (head.bIndexSubType != AviIndexPlain && head.bIndexSubType != AviIndexIBP) {
        setLastError(Fail, L"INDX chunk bIndexSubType was not a supported value.");
        return false;
    }
    if (!stream.superIndex.empty()) {
        setLastError(Fail, L"INDX chunk already allocated.");
        return false;
    }
    stream.superIndexSubType = head.bIndexSubType;
    stream.superIndexChunkId = head.dwChunkId;
    stream.superIndexCount = head.nEntriesInUse;
    stream.superIndex.resize(head.nEntriesInUse);
    const unsigned char* entry = chunk + AviIndexHead::entriesOffset;
    for (AviSuperIndexEntry& item : stream.superIndex) {
        item.qwOffset = readLE64(entry);
        item.dwSize = readLE32(entry + 8);
        item.dwDuration = readLE32(entry + 12);
        entry += AviSuperIndexEntry::size;
    }
    return true;
}

CvResult FileReader::parseStreamFormat(Stream& stream, const unsigned char* data, uint32_t size)
{
    switch (stream.header.fccType) {
    case fourCC("auds"):
        if (size < WaveFormat::plainSize)
            return fail(Fail, L"Invalid size for wav format data.");
        if (size < WaveFormat::extendedSize) {
            stream.wave.readPlain(data);
            stream.bitsPerSample = stream.wave.nSamplesPerSec
                                       ? static_cast<int>(stream.wave.nAvgBytesPerSec / stream.wave.nSamplesPerSec * 8)
                                       : 0;
        } else {
            stream.wave.readExtended(data);
            stream.bitsPerSample = stream.wave.wBitsPerSample;
            stream.extraData.assign(data + WaveFormat::extendedSize, data + size);
        }
        stream.hasFormat = true;
        return OK;
    case fourCC("vids"): {
        if (size < BitmapInfoHeader::size)
            return OK;
        stream.bitmap.read(data);
        uint32_t extraStart = std::clamp<uint32_t>(stream.bitmap.biSize, BitmapInfoHeader::size, size);
        stream.extraData.assign(data + extraStart, data + size);
        stream.hasFormat = true;
        if (!m_mediaType.empty())
            return OK;
        switch (stream.bitmap.biCompression) {
        case fourCC("mmes"):
        case fourCC("MMES"):
        case fourCC("M701"):
        case fourCC("M102"): STRF_MakeTypeMMES(stream); break;
        case fourCC("MJPG"):
        case fourCC("mjpg"): STRF_MakeTypeMJPEG(stream, data); break;
        case fourCC("dvsd"):
        case fourCC("dsvd"):
        case fourCC("dv25"):
        case fourCC("dv50"): STRF_MakeTypeDV(stream, stream.bitmap.biCompression); break;
        case fourCC("UYVY"):
        case fourCC("YUY2"):
        case fourCC("HDYC"): makeTypeYuv(stream); break;
        default: makeTypeOther(stream); break;
        }
        return OK;
    }
    case fourCC("iavs"): return fail(Fail, L"type 1 AVI unsupported.");
    default:
        // Text and MIDI streams are listed but never read.
        stream.hasFormat = true;
        return OK;
    }
}

void FileReader::INFO_Extract(uint32_t fourcc, const unsigned char* data, uint32_t size)
{
    CByteBuffer value;
    if (!value.alloc(size ? size : 1))
        return;
    value.append(data, size);
    m_info[fourcc] = value;
}

int FileReader::GetStreamIndexFromChunkId(uint32_t id) const
{
    // The decimal number that the id begins with: "01wb" is stream 1.
    std::string text = fourCCToString(id);
    int number = -1;
    for (char c : text) {
        if (c < '0' || c > '9')
            break;
        number = (number < 0 ? 0 : number * 10) + (c - '0');
    }
    return number;
}

FileReader::Stream* FileReader::firstStream(bool withoutFormat)
{
    for (Stream& stream : m_streams)
        if (withoutFormat ? !stream.hasFormat : !stream.hasHeader)
            return &stream;
    return nullptr;
}

} // namespace Corvidane::Avi
