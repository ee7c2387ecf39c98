#include "growing/EwcFileReader.h"

#include <climits>
#include <ctime>
#include <cwchar>

#include "frame/CvFileIOFactory.h"
#include "frame/FourCC.h"

namespace Corvidane::EWC {

namespace {

// A number the index gave as text; 0 for an empty or unreadable text.
int toNumber(const std::wstring& text)
{
    return text.empty() ? 0 : static_cast<int>(std::wcstol(text.c_str(), nullptr, 10));
}

} // namespace

CvResult FileReader::loadFile(const std::wstring& path, iFile::eFlags)
{
    using namespace ExternalIndexer;
    for (int t = 0; t < 32; ++t) {
        std::wstring name = getFilename(path, t);
        if (!CvFileIOFactoryProvider::exists(name.c_str())) {
            if (t > 4 && !m_readers.empty())
                break;
            continue;
        }
        std::shared_ptr<Indexer> indexer = createIndexer(BinaryIndexerType);
        // Closing our handle must never delete the capture's index.
        indexer->setOption(Indexer::DeleteOnClose, L"no");
        // The index names its own fault; the host's log gets it with the sidecar's name.
        if (indexer->open(name) != OK) {
            setLastError(Fail, L"%ls: %ls.", name.c_str(), indexer->getLastError().c_str());
            return Fail;
        }
        auto reader = std::make_shared<Reader>(indexer);
        if (reader->openFile(path) != OK) {
            setLastError(Fail, L"Failed to open the essence of %ls.", name.c_str());
            return Fail;
        }
        // A sidecar holds the one track of its stream.
        reader->setCurrentTrack(0);
        m_readers.push_back(reader);
    }
    return OK;
}

std::shared_ptr<ExternalIndexer::Indexer> FileReader::getIndexer(unsigned stream) const
{
    return checkTrack(stream) ? m_readers[stream]->indexer() : nullptr;
}

std::wstring FileReader::getMetadataString(const char* key, int stream)
{
    std::wstring value;
    if (!checkTrack(static_cast<unsigned>(stream)))
        return value;
    ExternalIndexer::Reader& reader = *m_readers[static_cast<unsigned>(stream)];
    if (!reader.canHandleItem(key) || !isSuccess(reader.getMetadata(key, 0, value)))
        return {};
    return value;
}

int FileReader::headerField(int stream, unsigned (ExternalIndexer::Indexer::*field)() const) const
{
    auto indexer = getIndexer(static_cast<unsigned>(stream));
    return indexer ? static_cast<int>(((*indexer).*field)()) : 0;
}

unsigned FileReader::firstTrackType(int stream) const
{
    auto indexer = getIndexer(static_cast<unsigned>(stream));
    return indexer ? indexer->firstTrackType() : 0;
}

CvResult FileReader::essenceOpen(unsigned stream)
{
    if (!checkTrack(stream))
        return Fail;
    m_currentStream = stream;
    return m_readers[stream]->setCurrentTrack(0) ? OK : Fail;
}

bool FileReader::get_IsVideo(int stream) { return firstTrackType(stream) == StreamVideo; }
bool FileReader::get_IsAudio(int stream) { return firstTrackType(stream) == StreamAudio; }
bool FileReader::get_IsTimeCode(int stream) { return firstTrackType(stream) == StreamTimecode; }

bool FileReader::get_HasIndexTable(int stream)
{
    return getMetadataString("file_has_indextable", stream) == L"yes";
}

CvResult FileReader::get_FCC(int stream, unsigned& fcc)
{
    auto indexer = getIndexer(static_cast<unsigned>(stream));
    if (!indexer)
        return Fail;
    fcc = indexer->firstTrackFCC();
    return OK;
}

CvResult FileReader::get_RateAndScale(int stream, int* rate, int* scale)
{
    auto indexer = getIndexer(static_cast<unsigned>(stream));
    if (!indexer || !rate || !scale)
        return Fail;
    *rate = static_cast<int>(indexer->rate());
    *scale = static_cast<int>(indexer->scale());
    return OK;
}

double FileReader::get_Rate(int stream)
{
    int rate = 0, scale = 0;
    if (get_RateAndScale(stream, &rate, &scale) != OK || scale == 0)
        return 0.0;
    return static_cast<double>(rate) / static_cast<double>(scale);
}

unsigned FileReader::get_Length(int stream)
{
    return static_cast<unsigned>(toNumber(getMetadataString("length", stream)));
}

int FileReader::get_BitsPerSample(int stream) { return headerField(stream, &ExternalIndexer::Indexer::bps); }

int FileReader::get_ChannelCount(int stream) { return headerField(stream, &ExternalIndexer::Indexer::channelCount); }

int FileReader::get_Width(int stream) { return headerField(stream, &ExternalIndexer::Indexer::width); }

int FileReader::get_Height(int stream) { return headerField(stream, &ExternalIndexer::Indexer::height); }

int FileReader::getGopLength(int stream) { return headerField(stream, &ExternalIndexer::Indexer::gopLength); }

int FileReader::getFramePolarity(int stream) { return headerField(stream, &ExternalIndexer::Indexer::polarity); }

int FileReader::getScanMode(int stream) { return headerField(stream, &ExternalIndexer::Indexer::getScanMode); }

CvResult FileReader::get_AudioSampleRate(int stream, unsigned& rate)
{
    auto indexer = getIndexer(static_cast<unsigned>(stream));
    if (!indexer)
        return Fail;
    rate = indexer->sampleRate();
    return OK;
}

CvResult FileReader::get_TimeCode(int, unsigned, unsigned* timecode)
{
    if (timecode)
        *timecode = 0;
    return OK;
}

int FileReader::getAudioByteOrder(int stream) { return toNumber(getMetadataString("byte_order", stream)); }

bool FileReader::getIsOpenGop(int stream) { return getMetadataString("is_open_gop", stream) == L"yes"; }

CvResult FileReader::getIndexEntry(unsigned sample, IndexEntry& entry)
{
    if (!checkTrack(m_currentStream))
        return Fail;
    return m_readers[m_currentStream]->getIndexEntry(sample, entry);
}

unsigned FileReader::get_BufferSize(int stream)
{
    auto indexer = getIndexer(static_cast<unsigned>(stream));
    return indexer ? indexer->channelCount() * indexer->bps() * 512 : 0;
}

CvResult FileReader::essenceRead(unsigned long start, unsigned count, unsigned char* buffer, unsigned capacity,
                                 unsigned& offset, unsigned& size)
{
    if (!checkTrack(m_currentStream))
        return Fail;
    ExternalIndexer::Reader& reader = *m_readers[m_currentStream];
    CByteBuffer bytes;
    bytes.attach(buffer, capacity);
    CvResult result = get_IsAudio(static_cast<int>(m_currentStream)) ? reader.readData2(start, count, bytes)
                                                                      : reader.readData(start, count, bytes);
    offset = static_cast<unsigned>(bytes.offset());
    size = static_cast<unsigned>(bytes.used());
    bytes.detach();
    return result;
}

CvResult FileReader::getGopAndPresentationOrder(unsigned frame, GOPInfo& info, std::vector<unsigned short>& order,
                                                bool)
{
    if (!checkTrack(m_currentStream))
        return Fail;
    return m_readers[m_currentStream]->getGopAndPresentationOrder(frame, info, order);
}

CvResult FileReader::getGopAndPresentationOrder(unsigned start, unsigned count, std::vector<unsigned>& decode,
                                                std::vector<unsigned>& presentation,
                                                std::vector<unsigned short>& order)
{
    unsigned length = get_Length(static_cast<int>(m_currentStream));
    if (length < start)
        return HandleEOF;
    unsigned n = std::min(count, length - start);
    if (n == 0)
        return OK;
    // The display positions still wanted, start to start + n - 1.
    std::vector<bool> wanted(n, true);
    unsigned stillWanted = n;
    CvResult result = OK;
    for (unsigned read = 0; read < n && stillWanted > 0; ++read) {
        unsigned sample = start + read;
        IndexEntry entry;
        // The rows as they are: an order needs no bytes of the essence.
        result = checkTrack(m_currentStream) ? m_readers[m_currentStream]->row(sample, entry) : Fail;
        if (!isSuccess(result)) {
            if (read == 0) {
                setLastError(NotFound, L"get_GopAndPresentationOrder failed to retrieve index entry.");
                return NotFound;
            }
            return result;
        }
        decode.push_back(sample);
        // Copies: the packed fields of an entry can't be bound to references.
        unsigned shown = entry.presentationIndex;
        unsigned short frameType = entry.frameType;
        presentation.push_back(shown);
        order.push_back(frameType);
        if (shown >= start && shown - start < n && wanted[shown - start]) {
            wanted[shown - start] = false;
            --stillWanted;
        }
    }
    return result;
}

CvResult FileReader::getNearestKeyFrame(unsigned frame, eKeyframeType type, unsigned& keyframe)
{
    if (!checkTrack(m_currentStream))
        return Fail;
    unsigned left = 0, right = 0xFFFFFFFF;
    bool hasLeft = false, hasRight = false;
    m_readers[m_currentStream]->findKeyFrames(frame, left, hasLeft, right, hasRight);
    switch (type) {
    case KeyframeBefore:
        if (!hasLeft)
            return Range;
        keyframe = left;
        return OK;
    case KeyframeAfter:
        if (!hasRight)
            return Range;
        keyframe = right;
        return OK;
    case KeyframeNearest:
        if (hasLeft && hasRight)
            keyframe = right - frame < frame - left ? right : left;
        else if (hasLeft || hasRight)
            keyframe = hasLeft ? left : right;
        else
            return Fail;
        return OK;
    default: return OK;
    }
}

bool FileReader::getExtensionItem(int stream, unsigned fourcc, CByteBuffer& data)
{
    if (fourcc != fourCC("avcC") && fourcc != fourCC("esds"))
        return false;
    auto indexer = getIndexer(static_cast<unsigned>(stream));
    return indexer && indexer->getDecoderConfig(data) == OK;
}

unsigned FileReader::get_UncompressedSamples(int stream)
{
    unsigned fcc = 0;
    get_FCC(stream, fcc);
    return get_Length(stream);
}

int FileReader::getAvidResolutionId(int stream)
{
    std::wstring text = getMetadataString("ARES", stream);
    wchar_t* end = nullptr;
    long value = std::wcstol(text.c_str(), &end, 10);
    return end != text.c_str() && value >= INT_MIN && value <= INT_MAX ? static_cast<int>(value) : 0;
}

int64_t FileReader::getCreationTime() { return static_cast<int64_t>(std::time(nullptr)); }

int64_t FileReader::getModifiedTime() { return static_cast<int64_t>(std::time(nullptr)); }

void FileReader::recalculateSize()
{
    for (auto& reader : m_readers)
        reader->recalculateSize();
}

} // namespace Corvidane::EWC
