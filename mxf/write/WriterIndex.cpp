#include <algorithm>

#include "frame/FourCC.h"
#include "growing/AudioCadence.h"
#include "mxf/write/FileWriter.h"

namespace Corvidane::MXF {

namespace {

bool codeIn(unsigned fcc, std::initializer_list<const char*> codes)
{
    for (const char* code : codes)
        if (fcc == (unsigned(code[0]) | unsigned(code[1]) << 8 | unsigned(code[2]) << 16 | unsigned(code[3]) << 24))
            return true;
    return false;
}

uint64_t roundUp(uint64_t value, uint64_t unit) { return unit > 1 ? (value + unit - 1) / unit * unit : value; }

uint32_t samplesPerFrame(uint32_t sampleRate, const MXFRATIONAL& rate)
{
    if (rate.numerator <= 0 || rate.denominator <= 0)
        return 0;
    return uint32_t((uint64_t(sampleRate) * uint64_t(rate.denominator) + uint64_t(rate.numerator) - 1) /
                    uint64_t(rate.numerator));
}

} // namespace

void CMxf_FileWriter::isFixedEssenceSize()
{
    m_indexMode = 1;
    m_editUnitSize = 0;
    m_flushWaitsForGop = m_fileType == FileTypeMpegLongGop && m_gopSize > 1;
    m_slots.clear();
    m_deltaEntries.clear();
    const int video = firstVideoTrack();
    const unsigned fcc = video >= 0 ? m_tracks[size_t(video)].video.fourcc : 0;
    const int primary = isOpAtom() ? m_opAtomTrack : video;
    const bool pictureWriter = primary >= 0 && m_tracks[size_t(primary)].streamType == StreamVideo;

    if (isOpAtom() && primary >= 0 && isAncillaryTrack(m_tracks[size_t(primary)]))
        m_indexMode = 4;
    else if (pictureWriter && codeIn(fcc, {"xd25", "xd35", "xd50", "pxya"}))
        m_indexMode = 5;
    else if (pictureWriter && m_fileType == FileTypeAvidProxy)
        m_indexMode = 6;
    else if (pictureWriter && isOpAtom() &&
             (codeIn(fcc, {"dvsd", "dv25", "dvcp", "dv50", "dvh1", "AVdn", "AVdx"}) ||
              m_fileType == FileTypeDNxHR))
        m_indexMode = 2;
    else if (pictureWriter && isOpAtom() && codeIn(fcc, {"avc5", "avc6"}))
        m_indexMode = 3;

    if (isOpAtom()) {
        const TrackStructuralData& track = m_tracks[size_t(primary)];
        if (track.streamType == StreamAudio) {
            m_editUnitSize = track.audio.blockAlign;
            m_audioSampleSize = track.audio.blockAlign;
        } else if (m_indexMode == 2 || m_indexMode == 3) {
            m_editUnitSize = 1;  // known from the first sample
        }
        return;
    }

    const MXFRATIONAL rate = video >= 0 ? m_editRates[size_t(video)] : MXFRATIONAL{};
    const double fps = rate.denominator > 0 ? double(rate.numerator) / rate.denominator : 0.0;
    const bool ntsc = fps > 29.96 && fps < 29.98;
    const bool pal = rate.numerator == 25 * rate.denominator;
    const uint32_t picture =
        video >= 0 && (ntsc || pal)
            ? fixedPictureElementSize(fcc, m_tracks[size_t(video)].video.dataRate, ntsc, false)
            : 0;
    if (picture == 0) {
        makeIndexDeltaEntries();
        return;
    }
    // A constant edit unit: the system item's sector, the picture and each
    // sound element in slots of their own.
    uint64_t at = 0;
    int systemTrack = -1;
    for (size_t i = 0; i < m_tracks.size(); ++i)
        if (m_tracks[i].streamType == StreamTimecode)
            systemTrack = int(i);
    m_slots.push_back(Slot{systemTrack, at = m_sectorSize});
    for (size_t i = 0; i < m_tracks.size(); ++i) {
        const TrackStructuralData& track = m_tracks[i];
        if (track.streamType == StreamVideo)
            at += roundUp(picture, m_kagSize);
        else if (track.streamType == StreamAudio)
            at += roundUp(soundElementSize(i, samplesPerFrame(track.audio.sampleRate, rate)) + 20, m_sectorSize);
        else
            continue;
        m_slots.push_back(Slot{int(i), at});
    }
    m_editUnitSize = uint32_t(roundUp(at, m_kagSize));
    m_slots.back().end = m_editUnitSize;
    uint64_t start = 0;
    for (const Slot& slot : m_slots) {
        MXFDELTAENTRY delta;
        delta.elementDelta = uint32_t(start);
        m_deltaEntries.push_back(delta);
        start = slot.end;
    }
}

void CMxf_FileWriter::makeIndexDeltaEntries()
{
    m_deltaEntries.clear();
    const int video = firstVideoTrack();
    const MXFRATIONAL rate = video >= 0 ? m_editRates[size_t(video)] : MXFRATIONAL{};
    uint8_t slice = 0;
    uint32_t delta = 0;
    for (size_t i = 0; i < m_tracks.size(); ++i) {
        const TrackStructuralData& track = m_tracks[i];
        MXFDELTAENTRY entry;
        entry.posTableIndex = track.streamType == StreamVideo && m_fileType == FileTypeMpegLongGop ? -1 : 0;
        entry.slice = slice;
        entry.elementDelta = delta;
        m_deltaEntries.push_back(entry);
        if (track.streamType == StreamTimecode) {
            delta += m_sectorSize;
        } else if (track.streamType == StreamVideo) {
            ++slice;
            delta = 0;
        } else if (track.streamType == StreamAudio) {
            m_audioSampleSize = uint32_t(soundElementSize(i, samplesPerFrame(track.audio.sampleRate, rate)) + 20);
            delta += m_audioSampleSize;
        }
    }
}

std::unique_ptr<CMxf_IndexTable_Segment> CMxf_FileWriter::createIndexTable(int64_t start)
{
    auto segment = std::make_unique<CMxf_IndexTable_Segment>();
    UuidCreate(&segment->instanceUID);
    segment->editUnitByteCount = m_editUnitSize;
    segment->indexStartPosition = start;
    segment->indexEditRate = m_editRates[size_t(primaryOrFirstTrack())];
    segment->indexSID = m_indexSID;
    segment->bodySID = m_bodySID;
    segment->deltaEntries = m_deltaEntries;
    if (m_editUnitSize == 0) {
        uint8_t slices = 0;
        for (const MXFDELTAENTRY& delta : m_deltaEntries)
            slices = std::max(slices, delta.slice);
        segment->sliceCount = slices;
    }
    segment->useLargeLength(isOpAtom());
    // OP-Atom XDCAM and Avid proxy pictures list each entry twice.
    if (isOpAtom() && (m_indexMode == 5 || m_indexMode == 6))
        segment->setXDCAM(true);
    return segment;
}

CMxf_IndexTable_Segment* CMxf_FileWriter::currentSegment()
{
    if (isOp1aXdcam())
        return m_xdcamSegment.get();
    if (!isOpAtom() && m_partitions.size() > 1 && !m_partitions.back().segments.empty())
        return m_partitions.back().segments.back().get();
    return m_ownSegment.get();
}

CvResult CMxf_FileWriter::updateIndexTable(const TrackData* rows, uint64_t written)
{
    CMxf_IndexTable_Segment* segment = currentSegment();
    if (!segment) {
        setLastError(Unexpected, L"updateIndexTable failed, no index to update");
        return Unexpected;
    }
    const int video = isOpAtom() ? m_opAtomTrack : firstVideoTrack();
    const bool picture = video >= 0 && m_tracks[size_t(video)].streamType == StreamVideo;
    const uint32_t frameType = picture ? rows[video].frameType : HalcIFrame;
    const uint64_t number = m_atomsWritten;  // this atom's, counted from the file's start

    CMxf_IndexTable_IndexEntry entry;
    // An I picture alone is a key frame (and so is a row without picture
    // bits); an I picture with P, and a P picture, are forward predicted
    // (0x20), a B picture bidirectional (0x30), as readers take the bits.
    // XDCAM marks its P pictures 0x22, and its B pictures 0x33, or 0x13
    // (backward only) within the first GOP.
    const bool intra = ((frameType & HalcIFrame) && !(frameType & HalcPFrame)) ||
                       !(frameType & (HalcIFrame | HalcPFrame | HalcBFrame));
    const bool bidirectional = !intra && (frameType & HalcBFrame) && !(frameType & (HalcIFrame | HalcPFrame));
    if (isOp1aXdcam())
        entry.flags = intra ? 0xC0 : !bidirectional ? 0x22 : m_atomsWritten >= m_gopSize ? 0x33 : 0x13;
    else
        entry.flags = intra ? 0x80 : bidirectional ? 0x30 : 0x20;
    if (frameType & HalcSequenceHeader)
        entry.flags |= 0x40;
    const bool reordered = m_fileType == FileTypeMpegLongGop || m_fileType == FileTypeProxy ||
                           m_fileType == FileTypeAvidProxy;
    if (reordered) {
        if (intra)
            segment->setLastKeyFrame(int64_t(number));
        else
            entry.keyFrameOffset =
                static_cast<int8_t>(std::max<int64_t>(segment->getLastKeyFrame() - int64_t(number), -128));
    }
    const uint64_t essenceBefore = isOpAtom() ? m_essenceLength - written : m_essenceBytesWritten;
    entry.streamOffset = essenceBefore;
    segment->indexEntries.push_back(entry);
    segment->indexDuration = int64_t(segment->indexEntries.size());
    if (!isOpAtom() && segment->sliceCount && picture) {
        const uint64_t unitStart = m_fileEnd - written;
        const uint64_t videoEnd = m_elementOffsets[size_t(video)] + m_elementSizes[size_t(video)];
        for (uint8_t s = 0; s < segment->sliceCount; ++s)
            segment->sliceOffsets.push_back(uint32_t(videoEnd - unitStart));
    }
    if (picture) {
        m_pendingTemporal.emplace_back(rows[video].presentationIndex, unsigned(number));
        updateTemporalPosition(*segment);
        addExternalIndex(rows[video].presentationIndex, frameType, video, m_elementOffsets[size_t(video)],
                         m_elementSizes[size_t(video)]);
    }
    return OK;
}

void CMxf_FileWriter::updateTemporalPosition(CMxf_IndexTable_Segment& segment)
{
    // An entry's temporal offset, kept at its display position, leads to the
    // entry that holds the frame in coded order; it is set once both exist.
    const uint64_t start = uint64_t(segment.indexStartPosition);
    const uint64_t end = start + segment.indexEntries.size();
    auto resolved = [&](const std::pair<unsigned, unsigned>& record) {
        const uint64_t display = record.first;
        if (display < start)
            return true;  // shown before this segment began: no entry here to carry it
        if (display >= end)
            return false;
        const int64_t offset = int64_t(record.second) - int64_t(display);
        segment.indexEntries[size_t(display - start)].temporalOffset =
            static_cast<int8_t>(std::clamp<int64_t>(offset, -128, 127));
        return true;
    };
    m_pendingTemporal.erase(std::remove_if(m_pendingTemporal.begin(), m_pendingTemporal.end(), resolved),
                            m_pendingTemporal.end());
}

size_t CMxf_FileWriter::renderSegment(const CMxf_IndexTable_Segment& segment, std::vector<unsigned char>& bytes,
                                      size_t at, size_t end)
{
    // The segment's own count of its size is an upper bound: render it first.
    std::vector<unsigned char> rendered(segment.toKlv(nullptr, 0));
    const size_t size = segment.toKlv(rendered.data(), rendered.size());
    if (size == 0 || end > bytes.size() || at > end || size > end - at || (end - at - size != 0 && end - at - size < 20))
        return 0;
    std::copy(rendered.begin(), rendered.begin() + std::ptrdiff_t(size), bytes.begin() + std::ptrdiff_t(at));
    std::vector<unsigned char> fill;
    writeFiller(fill, end - at - size);
    std::copy(fill.begin(), fill.end(), bytes.begin() + std::ptrdiff_t(at + size));
    return size;
}

CvResult CMxf_FileWriter::indexFlush()
{
    if (!isOpAtom() && m_partitions.size() > 1) {
        Partition& partition = m_partitions.back();
        if (partition.indexGapAt && !partition.segments.empty() &&
            !renderSegment(*partition.segments.back(), partition.bytes, partition.indexGapAt, partition.bytes.size())) {
            setLastError(Fail, L"indexFlush, offset more than size!");
            return Fail;
        }
        return OK;
    }
    if (isOpAtom() && m_headerIndexAt && m_ownSegment &&
        !renderSegment(*m_ownSegment, m_header, m_headerIndexAt, m_headerIndexEnd)) {
        setLastError(Fail, L"indexFlush, offset more than size!");
        return Fail;
    }
    return OK;
}

CvResult CMxf_FileWriter::startBodyPartition()
{
    Partition partition;
    const std::vector<MXFUL> labels = getEssenceBatch();
    partition.pack.Create(PartitionBody, ClosedIncomplete, m_kagSize, m_bodySID, m_indexSID, m_pattern,
                          labels.data(), uint32_t(labels.size()));
    partition.pack.thisPartition = m_fileEnd;
    partition.pack.previousPartition = m_partitions.back().pack.thisPartition;
    partition.pack.bodyOffset = m_essenceBytesWritten;
    const size_t packLength = packBytes(labels.size());
    partition.pack.indexByteCount = m_partitionIndexReserve - packLength;
    partition.bytes.resize(packLength);
    if (partition.pack.ToStream(partition.bytes.data(), int(packLength)) != int64_t(packLength)) {
        setLastError(Fail, L"Failed to make a body partition pack");
        return Fail;
    }
    partition.indexGapAt = packLength;
    writeFiller(partition.bytes, m_partitionIndexReserve - packLength);
    partition.segments.push_back(createIndexTable(int64_t(m_atomsWritten)));
    return appendPartition(std::move(partition));
}

// Writes a new partition's bytes at the end of the file; it is the file's
// last only once they are all there.
CvResult CMxf_FileWriter::appendPartition(Partition&& partition)
{
    const uint64_t at = m_fileEnd;
    m_fileEnd += partition.bytes.size();
    CvResult result = writeAt(at, partition.bytes.data(), partition.bytes.size());
    if (!isSuccess(result)) {
        m_fileEnd = at;
        return result;
    }
    m_atomsInPartition = 0;
    m_partitions.push_back(std::move(partition));
    return OK;
}

CvResult CMxf_FileWriter::startXdcamBodyPartition()
{
    Partition partition;
    const std::vector<MXFUL> labels = getEssenceBatch();
    partition.pack.Create(PartitionBody, ClosedIncomplete, m_kagSize, m_bodySID, m_xdcamSegment ? m_indexSID : 0,
                          m_pattern, labels.data(), uint32_t(labels.size()));
    partition.pack.thisPartition = m_fileEnd;
    partition.pack.previousPartition = m_partitions.back().pack.thisPartition;
    partition.pack.bodyOffset = m_essenceBytesWritten;
    const size_t packLength = packBytes(labels.size());
    partition.bytes.resize(packLength);
    // The segment of the partition before goes here, between KAG fills.
    std::vector<unsigned char> segment;
    if (m_xdcamSegment) {
        segment.resize(m_xdcamSegment->toKlv(nullptr, 0));
        segment.resize(m_xdcamSegment->toKlv(segment.data(), segment.size()));
        partition.pack.indexByteCount = (segment.size() + m_sectorSize - 1) / m_sectorSize * m_sectorSize;
    }
    renderPack(partition, partition.bytes, 0);
    if (m_xdcamSegment) {
        fillToKag(partition.bytes, partition.pack.thisPartition);
        partition.bytes.insert(partition.bytes.end(), segment.begin(), segment.end());
        fillToKag(partition.bytes, partition.pack.thisPartition);
        partition.segments.push_back(std::move(m_xdcamSegment));
    }
    m_xdcamSegment = createIndexTable(int64_t(m_atomsWritten));
    return appendPartition(std::move(partition));
}

void CMxf_FileWriter::addExternalIndex(unsigned presentation, uint32_t frameType, int track, uint64_t offset,
                                       uint32_t size)
{
    if (track < 0 || size_t(track) >= m_indexers.size() || !m_indexers[size_t(track)])
        return;
    IndexEntry entry;
    entry.offset = offset;
    entry.size = size;
    entry.frameType = indexFrameType(frameType);
    if ((frameType & HalcIFrame) || !(frameType & (HalcPFrame | HalcBFrame)))
        entry.frameType |= FrameIntra | FrameRandomAccess;
    entry.presentationIndex = presentation;
    entry.decodeIndex = unsigned(m_trackCounts[size_t(track)] - 1);
    m_pendingIndex.push_back(PendingIndex{presentation, entry, track});
    // Entries reach the side file in display order, so a reader can use
    // every row that is there while the file grows.
    for (bool found = true; found;) {
        found = false;
        for (auto it = m_pendingIndex.begin(); it != m_pendingIndex.end(); ++it)
            if (it->presentation == m_nextExternalIndex) {
                m_indexers[size_t(it->track)]->add(0, m_nextExternalIndex++, it->entry);
                m_pendingIndex.erase(it);
                found = true;
                break;
            }
    }
}

CvResult CMxf_FileWriter::setExternalIndexer(const std::shared_ptr<ExternalIndexer::Indexer>& indexer, int track)
{
    if (track < 0 || size_t(track) >= m_indexers.size()) {
        setLastError(InvalidArg, L"Invalid track %d for an external indexer", track);
        return InvalidArg;
    }
    // In an OP-Atom family the track's own file keeps its index.
    for (auto& child : m_children)
        if (child->m_opAtomTrack == track)
            return child->setExternalIndexer(indexer, track);
    m_indexers[size_t(track)] = indexer;
    const int picture = firstVideoTrack();
    if (indexer && m_tracks[size_t(track)].streamType != StreamVideo && picture >= 0)
        indexer->setAudioSamplesIndex(static_cast<signed char>(ExternalIndexer::audioCadenceRowOfFrameRate(
            m_tracks[size_t(picture)].video.rateNumerator, m_tracks[size_t(picture)].video.rateDenominator)));
    return OK;
}

void CMxf_FileWriter::closeIndexers()
{
    for (auto& indexer : m_indexers)
        indexer.reset();
    m_pendingIndex.clear();
}

} // namespace Corvidane::MXF
