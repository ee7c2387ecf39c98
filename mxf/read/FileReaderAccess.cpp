#include <algorithm>
#include <cmath>

#include "frame/FourCC.h"
#include "mxf/model/D10SoundElement.h"
#include "mxf/model/KlvBufferWalk.h"
#include "mxf/model/MxfResults.h"
#include "mxf/read/FileReader.h"
#include "mxf/read/IndexSegmentLoading.h"
#include "mxf/read/UnindexedEditUnit.h"

// Opening a stream, reading its essence, and the order of its pictures.
namespace Corvidane::MXF {

namespace {

// How far the reader looks at the start of the index for the GOP shape.
constexpr size_t gopLookahead = 64;
constexpr size_t openGopLookahead = 256;

} // namespace

std::vector<int> CMxf_FileReader::trackClasses() const
{
    std::vector<int> classes;
    if (const CMxf_SM_Package* package = getCurrentSP())
        for (const CMxf_SM_Track& track : package->tracks)
            classes.push_back(track.sequence.isTimeCode() ? CMxf_EssenceLocator::ElementTimecode
                              : track.sequence.isPicture() ? CMxf_EssenceLocator::ElementPicture
                              : track.sequence.isSound()   ? CMxf_EssenceLocator::ElementSound
                              : track.sequence.isData()    ? CMxf_EssenceLocator::ElementData
                                                           : CMxf_EssenceLocator::ElementOther);
    return classes;
}

ContentPackageTracks CMxf_FileReader::contentPackageTracks() const
{
    ContentPackageTracks tracks;
    const CMxf_SM_Package* source = getCurrentSP();
    if (!source)
        return tracks;
    tracks.sourceTrackCount = source->tracks.size();
    // The streams are the source package's tracks: each is matched by its own track number.
    for (const CMxf_SM_Track& track : source->tracks)
        tracks.materialTrackNumbers.push_back(track.sequence.isTimeCode() ? std::optional<uint32_t>()
                                                                          : std::optional<uint32_t>(track.trackNumber));
    return tracks;
}

CvResult CMxf_FileReader::loadIndexTable()
{
    if (!file)
        return fail(InvalidState, L"No open file.");
    updateFileSize();
    if (m_indexReadAtSize && m_indexReadAtSize == m_fileSize)
        return OK;
    CvResult result = loadIndexSegments(*file, m_partitions, m_segments, *this, &m_indexInHand);
    m_indexInHand.clear();
    if (!isSuccess(result))
        return result;
    if (m_segments.empty()) {
        UnindexedTrack unindexed;
        int stream = findFirstTrackOf(StreamVideo);
        if (stream < 0)
            stream = findFirstTrackOf(StreamAudio);
        if (stream >= 0) {
            unsigned fcc = 0;
            if (get_FCC(stream, fcc) == OK)
                unindexed.fcc = fcc;
            int rate = 25, scale = 1;
            if (get_RateAndScale(stream, &rate, &scale) == OK)
                unindexed.editRate = MXFRATIONAL{rate, scale};
            unindexed.height = get_Height(stream);
            unindexed.dataRate = get_ApproxDataRate(stream);
            std::wstring layout;
            unindexed.progressive =
                isSuccess(getSourcePackageMetadataValue(stream, "video_layout", layout)) && layout == L"progressive";
            if (const PACKAGE_DESCRIPTOR* slot = descriptorSlot(stream))
                unindexed.blockAlign = slot->wave ? slot->wave->blockAlign : slot->aes3 ? slot->aes3->blockAlign : 0;
        }
        result = indexTable_HandleNone(m_segments, m_partitions.isOpAtom(), stream >= 0 ? &unindexed : nullptr,
                                       *this);
        if (!isSuccess(result))
            return result;
    }
    // The GOP length the index shows, for a long-GOP MPEG-2 descriptor.
    if (CMxf_SM_Package* source = m_currentSP >= 0 ? &m_sourcePackages[m_currentSP] : nullptr)
        for (PACKAGE_DESCRIPTOR& slot : source->packageDescriptors)
            if (slot.mpeg2 && slot.mpeg2->maxGOP != 1) {
                if (int n = getN())
                    slot.mpeg2->maxGOP = uint16_t(n);
                break;
            }
    if (m_openStream < 0)
        for (int stream = 0; stream < get_StreamCount(); ++stream)
            if (isSuccess(essenceOpen(unsigned(stream))))
                break;
    m_isOpenGop = m_segments.hasXDCAMIndex() || getIsOpenGop(0, false);
    m_indexReadAtSize = m_fileSize;
    return result;
}

void CMxf_FileReader::essenceClose()
{
    m_openStream = -1;
    m_deltaIndex = -1;
}

CvResult CMxf_FileReader::essenceOpen(unsigned streamIndex)
{
    const int stream = int(streamIndex);
    if (stream == m_openStream)
        return OK;
    if (!essenceIsPresent(stream))
        return MediaUnavailable;
    essenceClose();
    m_openStream = m_deltaIndex = stream;
    m_locator.setFile(file.get());
    m_locator.setTrackClasses(trackClasses());
    if (essenceIsClipWrapped(stream)) {
        if (m_segments.empty())
            return fail(NotImpl, L"Cannot open clip wrapped track with no index table");
        setFlag(FlagClipWrapped, true);
        m_locator.openClipWrapped();
        if (m_segments.hasDoubledEntries()) {
            setFlag(FlagXDCAM, true);
            m_segments.setXDCAM(true);
        }
    }
    uint64_t offset = 0;
    CvResult result = m_locator.essenceContainerOffset(offset);
    if (!isSuccess(result))
        return result;
    m_trackDeltaMap.mapTrackToDeltaIndex(m_openStream, m_deltaIndex, *file, offset, isClipWrapped(),
                                         m_segments.first(), contentPackageTracks(), *this);
    return OK;
}

CvResult CMxf_FileReader::essenceReadData(uint64_t position, unsigned char* buffer, uint64_t size,
                                          unsigned& dataOffset, unsigned& dataSize, bool quiet)
{
    if (position > m_fileSize)
        return fail(Fail, L"EssenceReadData, SetFilePointerEx failed");
    const size_t got = file->read(position, buffer, size_t(size));
    if (got != size)
        return fail(CvResultFromLastError() == OK ? HandleEOF : CvResultFromLastError(),
                    L"EssenceReadData, ReadFile failed");
    if (isClipWrapped()) {
        dataOffset = 0;
        dataSize = unsigned(got);
        return OK;
    }
    if (size < 16 || !hasSmptePrefix(buffer))
        return fail(MxfNoLabel, L"EssenceReadData, Start of data was not a ul.");
    CKlvItem item;
    if (!klvHeaderAt(buffer, size, 0, item))
        return fail(MxfBadKlv, L"EssenceReadData, failed to set klv for data.");
    const uint64_t head = 16 + item.lengthLength;
    if (item.length > size - head) {
        if (!quiet)
            setLastError(BufferTooSmall, L"EssenceReadData, klv item is bigger than data read %u/%u",
                         unsigned(head + item.length), unsigned(size));
        return BufferTooSmall;
    }
    if (!isEssenceElementKey(item.key) && !isCPSystemElementKey(item.key)) {
        if (!quiet)
            setLastError(MxfBadKlv, L"EssenceReadData, item key is not essence.");
        return MxfBadKlv;
    }
    dataOffset = unsigned(head);
    dataSize = unsigned(item.length);
    // D-10's sound is handed over as its AES3 subframes, without the head.
    if (item.key == d10SoundElementKey && dataSize >= d10SoundHeadSize) {
        dataOffset += d10SoundHeadSize;
        dataSize -= d10SoundHeadSize;
    }
    return OK;
}

CvResult CMxf_FileReader::essenceRead(unsigned long position, unsigned count, unsigned char* buffer,
                                      unsigned capacity, unsigned& offset, unsigned& used)
{
    if (!file)
        return fail(InvalidState, L"No open file.");
    if (m_openStream < 0)
        return fail(InvalidState, L"No essence file open.");
    const unsigned length = essenceLength(m_openStream);
    if (position >= length) {
        used = 0;
        return fail(HandleEOF, L"Reached end of file.");
    }
    uint64_t start = 0, size = 0;
    CvResult result = m_locator.essenceContainerOffset(start);
    if (!isSuccess(result))
        return result;
    result = m_locator.getStreamOffsetAndSize(int64_t(position), m_deltaIndex, length, &start, &size);
    if (!isSuccess(result))
        return result;
    if (size > capacity) {
        used = unsigned(std::min<uint64_t>(size, UINT32_MAX));
        return fail(BufferTooSmall, L"ReadEssence, Position=%u Stream=%d %d/%d", unsigned(position), m_openStream,
                    int(size), int(capacity));
    }
    if (count != 1) {
        if (!isClipWrapped())
            return fail(InvalidArg, L"ReadEssence, Sample count must be 1 if file is not clip wrapped");
        const CMxf_IndexTable_Segment* segment = m_segments.find(int64_t(position));
        if (segment && !segment->isConstant())
            return fail(InvalidArg, L"ReadEssence, codec must be i-frame to read multiple samples");
        if (count && size > UINT32_MAX / count) {
            used = UINT32_MAX;
            return fail(BufferTooSmall, L"ReadEssence, Buffer too small2 %d/%d", -1, int(capacity));
        }
        size *= count;
        if (size > capacity) {
            used = unsigned(size);
            return fail(BufferTooSmall, L"ReadEssence, Buffer too small2 %d/%d", int(size), int(capacity));
        }
    }
    return essenceReadData(m_locator.indexOffsetToFileOffset(start), buffer, size, offset, used, false);
}

unsigned CMxf_FileReader::get_BufferSize(int stream)
{
    uint64_t bytes = 0;
    const double rate = get_Rate(stream);
    const unsigned dataRate = get_ApproxDataRate(stream);
    if (dataRate > 0 && std::lround(rate) > 0)
        bytes = uint64_t(dataRate / 8) * 1000 / uint64_t(std::lround(rate)) * 2;
    if (!m_segments.empty()) {
        int delta = stream;
        if (stream == m_openStream)
            delta = m_deltaIndex;
        uint64_t offset = 0, size = 0;
        if (delta != CMxf_TrackDeltaMap::none &&
            isSuccess(m_locator.getStreamOffsetAndSize(0, delta, essenceLength(stream), &offset, &size)))
            bytes = std::max<uint64_t>(bytes, size * 2);
    }
    bytes = (bytes + 4095) / 4096 * 4096;
    return unsigned(std::min<uint64_t>(bytes, 0xFFFFF000u));
}

// The index measures an element with its key, length and any fill behind
// it; the entry gives the bytes of the essence alone, as essenceRead does.
void CMxf_FileReader::essencePlace(uint64_t fileOffset, uint64_t size, IndexEntry& entry)
{
    entry.offset = fileOffset;
    entry.size = uint32_t(std::min<uint64_t>(size, UINT32_MAX));
    if (isClipWrapped())
        return;
    std::vector<unsigned char> head;
    readAt(fileOffset, 25, head);
    CKlvItem item;
    if (!klvHeaderAt(head.data(), head.size(), 0, item) ||
        (!isEssenceElementKey(item.key) && !isCPSystemElementKey(item.key)) || item.length > size)
        return;
    const unsigned d10Head = item.key == d10SoundElementKey && item.length >= d10SoundHeadSize ? d10SoundHeadSize : 0;
    entry.offset = fileOffset + 16 + item.lengthLength + d10Head;
    entry.size = uint32_t(item.length - d10Head);
}

const CMxf_IndexTable_IndexEntry* CMxf_FileReader::indexEntryAt(int64_t position) const
{
    // The segment list doubles the position itself where entries come twice.
    return m_segments.getIndexEntry(position);
}

CvResult CMxf_FileReader::getIndexEntry(unsigned sample, IndexEntry& entry)
{
    entry = IndexEntry();
    entry.frameType = FrameIntra;
    entry.decodeIndex = entry.presentationIndex = sample;
    const bool xdcam = m_segments.hasXDCAMIndex();
    const int64_t position = int64_t(sample);
    const CMxf_IndexTable_Segment* segment = m_segments.find(position);
    if (!segment)
        return fail(IndexAbsent, L"getIndexEntry failed, start position more than index.");
    CvResult result = OK;
    if (segment->isConstant() || segment->indexEntries.empty()) {
        result = False;
    } else if (const CMxf_IndexTable_IndexEntry* mxf = m_segments.getIndexEntry(position)) {
        entry.frameType = mxf->isPFrame() ? FramePredicted : mxf->isPreditionFrame() ? FrameBidirectional : FrameIntra;
        const int offset = xdcam ? mxf->temporalOffset / 2 : mxf->temporalOffset;
        entry.presentationIndex = unsigned(int64_t(sample) + offset);
        if (mxf->keyFrameOffset == 0 && mxf->isKeyFrame())
            entry.frameType += FrameKey;
        if (mxf->flags & 0x40)
            entry.frameType += FrameSequenceHeader;
    } else {
        return fail(Fail, L"getIndexEntry failed, index out of range.");
    }
    uint64_t offset = 0, size = 0;
    if (m_openStream >= 0 &&
        isSuccess(m_locator.getStreamOffsetAndSize(sample, m_deltaIndex, essenceLength(m_openStream), &offset, &size)))
        essencePlace(m_locator.indexOffsetToFileOffset(offset), size, entry);
    return result;
}

CvResult CMxf_FileReader::getPresentationOrder(unsigned first, unsigned count, std::vector<unsigned>& out)
{
    out.clear();
    for (uint64_t position = first; position < uint64_t(first) + count; ++position) {
        const CMxf_IndexTable_Segment* segment = m_segments.find(int64_t(position));
        if (!segment)
            return IndexAbsent;
        if (segment->isConstant() || segment->indexEntries.empty()) {
            out.push_back(unsigned(position));
            continue;
        }
        if (int64_t(position) < segment->indexStartPosition)
            return fail(Fail, L"GetPresentationOrder failed, start position more than index.");
        const CMxf_IndexTable_IndexEntry* entry = m_segments.getIndexEntry(int64_t(position));
        if (!entry)
            return fail(Fail, L"GetPresentationOrder failed, index out of range.");
        // Entries that come twice count their offsets in halves, as getIndexEntry reads them.
        const int offset = m_segments.hasXDCAMIndex() ? entry->temporalOffset / 2 : entry->temporalOffset;
        out.push_back(unsigned(int64_t(position) + offset));
    }
    return OK;
}

bool CMxf_FileReader::findKeyframe(unsigned frame, bool forward, unsigned& keyframe)
{
    const int step = m_segments.hasXDCAMIndex() ? 2 : 1;
    int64_t position = frame;
    // Each step moves: a walk that can't move ends.
    for (size_t guard = 0; position >= 0; ++guard) {
        const CMxf_IndexTable_IndexEntry* entry = indexEntryAt(position);
        if (!entry)
            return false;
        if (entry->isKeyFrame()) {
            keyframe = unsigned(position);
            return true;
        }
        if (forward) {
            ++position;
        } else {
            const int back = entry->keyFrameOffset / step;
            position += back < 0 && position + back >= 0 ? back : -1;
        }
    }
    return false;
}

CvResult CMxf_FileReader::getGopAndPresentationOrder(unsigned first, unsigned count, std::vector<unsigned>& decode,
                                                     std::vector<unsigned>& presentation,
                                                     std::vector<unsigned short>& order)
{
    decode.clear();
    presentation.clear();
    order.clear();
    const uint64_t length = m_openStream >= 0 ? essenceLength(m_openStream) : 0;
    std::vector<IndexEntry> entries;
    for (uint64_t position = first; position < uint64_t(first) + count && position < length; ++position) {
        IndexEntry entry;
        CvResult result = getIndexEntry(unsigned(position), entry);
        if (!isSuccess(result))
            return result;
        if (result == False) {
            // No entries: a plain sequence of pictures.
            for (uint64_t plain = first; plain < uint64_t(first) + count && plain < length; ++plain) {
                decode.push_back(unsigned(plain));
                presentation.push_back(unsigned(plain - first));
                order.push_back(0);
            }
            return OK;
        }
        if (entries.empty() && !isKeyFrame(entry))
            return fail(Fail, L"GetGopAndPresentationOrder failed, supplied index is not a keyframe.");
        entries.push_back(entry);
    }
    presentation.assign(entries.size(), unsigned(-1));
    for (const IndexEntry& entry : entries) {
        // Packed members are copied out, never bound by reference.
        decode.push_back(unsigned(entry.decodeIndex));
        order.push_back(static_cast<unsigned short>(entry.frameType));
        const int64_t slot = int64_t(entry.presentationIndex) - first;
        if (slot >= 0 && size_t(slot) < presentation.size())
            presentation[size_t(slot)] = entry.decodeIndex;
    }
    return OK;
}

CvResult CMxf_FileReader::getGopAndPresentationOrder(unsigned frame, GOPInfo& info,
                                                     std::vector<unsigned short>& order, bool useGiven)
{
    const unsigned count = useGiven ? unsigned(info.count) : unsigned(std::max(getGopLength(m_openStream), 1) * 2);
    std::vector<unsigned> decode, presentation;
    CvResult result = getGopAndPresentationOrder(frame, count, decode, presentation, order);
    if (!isSuccess(result))
        return result;
    if (decode.size() > info.count || !info.decodeOrder || !info.presentationOrder)
        return fail(InsufficientBuffer, L"GetGopAndPresentationOrder failed, insufficient space.");
    std::copy(decode.begin(), decode.end(), info.decodeOrder);
    std::copy(presentation.begin(), presentation.end(), info.presentationOrder);
    info.count = decode.size();
    return result;
}

int CMxf_FileReader::anchorDistance(bool keyOnly)
{
    const CMxf_IndexTable_Segment* segment = m_segments.find(0);
    if (!segment || segment->indexEntries.empty())
        return 0;
    int largest = 0;
    int64_t previous = -1;
    // Entries that come twice are read a pair at a time, and the distances
    // counted in pictures.
    const size_t step = m_segments.hasXDCAMIndex() ? 2 : 1;
    const size_t end = std::min(segment->indexEntries.size(), gopLookahead);
    for (size_t i = 0; i < end; i += step) {
        const CMxf_IndexTable_IndexEntry& entry = segment->indexEntries[i];
        if (entry.isKeyFrame() || (!keyOnly && entry.isPFrame())) {
            if (previous >= 0)
                largest = std::max(largest, int((int64_t(i) - previous) / int64_t(step)));
            previous = int64_t(i);
        }
    }
    // A clip shorter than its GOP has one key frame: its GOP is the clip.
    if (keyOnly && largest == 0 && previous >= 0 && end == segment->indexEntries.size() && m_segments.size() == 1)
        largest = int((int64_t(end) - previous) / int64_t(step));
    return largest;
}

bool CMxf_FileReader::getIsOpenGop(int stream, bool cached)
{
    if (cached)
        return m_isOpenGop;
    m_isOpenGop = false;
    const CMxf_IndexTable_Segment* segment = m_segments.find(0);
    if (!segment)
        return false;
    int64_t key = -1;
    const size_t end = std::min(segment->indexEntries.size(), openGopLookahead);
    for (size_t i = 0; i < end; ++i) {
        const CMxf_IndexTable_IndexEntry& entry = segment->indexEntries[i];
        if (entry.isKeyFrame()) {
            key = int64_t(i);
        } else if (key >= 0 && int64_t(i) + entry.keyFrameOffset < key) {
            m_isOpenGop = true;
            return true;
        }
    }
    return false;
}

} // namespace Corvidane::MXF
