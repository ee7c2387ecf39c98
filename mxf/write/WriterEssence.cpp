#include <algorithm>
#include <cstring>

#include "frame/BigEndian.h"
#include "frame/FourCC.h"
#include "frame/TimeCode.h"
#include "growing/AudioCadence.h"
#include "mxf/model/D10SoundElement.h"
#include "mxf/model/KlvItem.h"
#include "mxf/write/FileWriter.h"

namespace Corvidane::MXF {

namespace {

const MXFUL systemItemKey = labelFromText("06.0E.2B.34.02.05.01.01.0D.01.03.01.04.01.01.00");
const MXFUL fillerKey = labelFromText("06.0E.2B.34.01.01.01.01.03.01.02.10.01.00.00.00");
const unsigned char dvContainer[16] = {0x06, 0x0E, 0x2B, 0x34, 0x04, 0x01, 0x01, 0x04,
                                       0x0D, 0x01, 0x03, 0x01, 0x02, 0x7F, 0x01, 0x00};

// Element lengths take four bytes while they can, as most writers have them.
int elementBerSize(uint64_t size) { return size < (1u << 24) ? 4 : 9; }

bool isRate2997(const MXFRATIONAL& rate)
{
    return rate.denominator > 0 && double(rate.numerator) / rate.denominator > 29.96 &&
           double(rate.numerator) / rate.denominator < 29.98;
}

} // namespace

void CMxf_FileWriter::appendElement(std::vector<unsigned char>& out, const MXFUL& key, const unsigned char* data,
                                    uint32_t size)
{
    const size_t at = out.size();
    const int berSize = elementBerSize(size);
    out.resize(at + 16 + size_t(berSize) + size);
    CKlvItem::create(key, berSize, size, out.data() + at, 16 + berSize);
    if (size)
        std::memcpy(out.data() + at + 16 + berSize, data, size);
}

bool CMxf_FileWriter::isD10Sound(size_t track) const
{
    return m_tracks[track].streamType == StreamAudio && m_essenceKeys[track] == d10SoundElementKey;
}

uint64_t CMxf_FileWriter::soundElementSize(size_t track, uint32_t samples) const
{
    return isD10Sound(track) ? d10SoundElementSize(samples) : uint64_t(samples) * m_tracks[track].audio.blockAlign;
}

bool CMxf_FileWriter::elementValue(size_t track, TrackData& row)
{
    if (!isD10Sound(track))
        return true;
    // 525-line sound runs in a cadence of five frames, which the head counts.
    const int video = firstVideoTrack();
    const bool ntsc = video >= 0 && isRate2997(m_editRates[size_t(video)]);
    const unsigned sequence = ntsc ? unsigned(m_atomsWritten % 5) + 1 : 0;
    const AudioStructuralData& audio = m_tracks[track].audio;
    m_soundElement.clear();
    if (!appendD10SoundElement(m_soundElement, row.data, row.size, audio.channels, audio.bitsPerSample, sequence)) {
        setLastError(InvalidArg, L"D-10 sound takes 1 to 8 channels of 16 or 24 bits");
        return false;
    }
    row.data = m_soundElement.data();
    row.size = uint32_t(m_soundElement.size());
    return true;
}

void CMxf_FileWriter::writeFiller(std::vector<unsigned char>& out, uint64_t size)
{
    if (size < 20)
        return;
    const size_t at = out.size();
    out.resize(at + size_t(size), 0);
    CKlvItem::create(fillerKey, 4, size - 20, out.data() + at, 20);
    // The value's tail carries one of the file's identifiers, as it always has.
    if (size - 20 > 16 && m_uuids.size() > 4)
        std::memcpy(out.data() + at + size - 16, &m_uuids[4], 16);
}

uint64_t CMxf_FileWriter::kagFillSize(uint64_t position, uint64_t smallest) const
{
    if (m_kagSize <= 1)
        return 0;
    uint64_t gap = (m_kagSize - position % m_kagSize) % m_kagSize;
    if (gap != 0 && gap < smallest)
        gap += m_kagSize;
    return gap;
}

void CMxf_FileWriter::fillToKag(std::vector<unsigned char>& out, uint64_t filePosition)
{
    writeFiller(out, kagFillSize(filePosition + out.size(), 20));
}

void CMxf_FileWriter::essence_WriteSystemItem(std::vector<unsigned char>& out)
{
    const size_t at = out.size();
    out.resize(at + 20 + 57, 0);
    CKlvItem::create(systemItemKey, 4, 57, out.data() + at, 20);
    unsigned char* v = out.data() + at + 20;
    const MXFRATIONAL rate = m_editRates[size_t(primaryOrFirstTrack())];
    v[0] = 0x5C;
    v[1] = isRate2997(rate) ? 7 : 4;
    writeBE16(v + 5, static_cast<uint16_t>(m_atomsWritten & 0xFFFF));
    if (m_fileType >= FileTypeDV25 && m_fileType <= FileTypeDVCProHD)
        std::memcpy(v + 7, dvContainer, 16);
    else
        std::memcpy(v + 7, m_containerLabel.bytes, 16);
    v[40] = 0x81;
    const double fps = rate.denominator > 0 ? double(rate.numerator) / rate.denominator : 25.0;
    CTimeCodeEx timecode(static_cast<unsigned long>(m_atomsWritten + m_startTimecode), fps, m_dropFrame);
    timecode.formatSony(reinterpret_cast<char*>(v + 41), true);
    if (isOp1aXdcam()) {
        static const MXFUL packageMetadataKey = labelFromText("06.0E.2B.34.02.43.01.01.0D.01.03.01.04.01.02.00");
        appendElement(out, packageMetadataKey, nullptr, 0);
    }
    // The system item's slot is one KAG from the content package's start,
    // where the index's delta entries place the next element.
    fillToKag(out, 0);
}

CvResult CMxf_FileWriter::writeEssence(uint64_t& written)
{
    written = 0;
    if (m_flags & DryRun) {
        written = m_essence.size();
        return OK;
    }
    if (m_essence.empty())
        return OK;
    unsigned done = 0;
    CvResult result = m_file.write(m_essence.data(), unsigned(m_essence.size()), done);
    if (!isSuccess(result)) {
        setLastError(Fail, L"WriteEssence failed to write essence item %u", unsigned(m_atomsWritten));
        return Fail;
    }
    if (done != m_essence.size()) {
        setLastError(Fail, L"WriteEssence failed to write whole essence item %u/%u bytes", done,
                     unsigned(m_essence.size()));
        return Fail;
    }
    written = done;
    m_fileEnd += done;
    return OK;
}

CvResult CMxf_FileWriter::writeAtom(const TrackData* rows, int count)
{
    if (!rows || count != int(m_tracks.size())) {
        setLastError(InvalidArg, L"WriteAtom invalid number of tracks, got %d need %d", count, int(m_tracks.size()));
        return InvalidArg;
    }
    if (!m_isOpen) {
        setLastError(InvalidState, L"WriteAtom without an open file");
        return InvalidState;
    }
    for (int i = 0; i < count; ++i)
        if (rows[i].size && !rows[i].data) {
            setLastError(InvalidArg, L"WriteAtom row %d has %u bytes and no data", i, rows[i].size);
            return InvalidArg;
        }
    if (m_atomsWritten >= m_maxAtoms) {
        setLastError(MaxFileSizeExceeded, L"Exceeded maximum number of atoms");
        return MaxFileSizeExceeded;
    }
    // A flush that waits for the end of a GOP runs when the next one starts,
    // so only whole GOPs reach the disk whatever their length.
    const int picture = firstVideoTrack();
    if (m_flushPending && picture >= 0 && (rows[picture].frameType & HalcIFrame)) {
        m_flushPending = false;
        CvResult flushed = flush(true);
        if (!isSuccess(flushed))
            return flushed;
    }
    uint64_t written = 0;
    CvResult result;
    if (m_editUnitSize != 0)
        result = m_wrapType == 1 ? writeAtom_FixedSize_FrameWrapped(rows, written)
                                 : writeAtom_FixedSize_ClipWrapped(rows, written);
    else
        result = writeAtom_VariableSize(rows, count, written);
    if (!isSuccess(result))
        return result;
    if (written) {
        m_essenceBytesWritten += written;
        ++m_atomsWritten;
        ++m_atomsInPartition;
        if (isOpAtom() && (m_indexMode == 2 || m_indexMode == 3) && m_ownSegment) {
            if (m_atomsWritten == 1)
                m_ownSegment->editUnitByteCount = m_editUnitSize;
            m_ownSegment->indexDuration += 1;
        }
    }
    if (m_flushPeriod && ++m_flushCounter >= m_flushPeriod) {
        m_flushCounter = 0;
        if (m_flushWaitsForGop)
            m_flushPending = true;
        else
            result = flush(true);
    }
    return result;
}

CvResult CMxf_FileWriter::writeAtom_FixedSize_FrameWrapped(const TrackData* rows, uint64_t& written)
{
    m_essence.clear();
    for (size_t s = 0; s < m_slots.size(); ++s) {
        const Slot& slot = m_slots[s];
        if (slot.track < 0 || m_tracks[size_t(slot.track)].streamType == StreamTimecode) {
            essence_WriteSystemItem(m_essence);
        } else {
            TrackData row = rows[slot.track];
            if (!elementValue(size_t(slot.track), row))
                return InvalidArg;
            const uint64_t need = 16 + uint64_t(elementBerSize(row.size)) + row.size;
            if (m_essence.size() + need > slot.end) {
                setLastError(InvalidArg, L"Data is too large");
                return InvalidArg;
            }
            m_elementOffsets[size_t(slot.track)] = m_fileEnd + m_essence.size() + need - row.size;
            m_elementSizes[size_t(slot.track)] = row.size;
            appendElement(m_essence, m_essenceKeys[size_t(slot.track)], row.data, row.size);
            ++m_trackCounts[size_t(slot.track)];
        }
        const uint64_t remaining = slot.end - std::min<uint64_t>(slot.end, m_essence.size());
        if (remaining > 0 && remaining < 21) {
            setLastError(Fail, L"Not enough gap");
            return Fail;
        }
        writeFiller(m_essence, remaining);
        if (s + 1 < m_slots.size() && m_essence.size() != m_slots[s].end) {
            setLastError(InvalidArg, L"Invalid sample size");
            return InvalidArg;
        }
    }
    const int video = firstVideoTrack();
    CvResult result = writeEssence(written);
    if (isSuccess(result) && video >= 0)
        addExternalIndex(rows[video].presentationIndex, rows[video].frameType, video, m_elementOffsets[size_t(video)],
                         rows[video].size);
    return result;
}

CvResult CMxf_FileWriter::writeAtom_FixedSize_ClipWrapped(const TrackData* rows, uint64_t& written)
{
    if (!isOpAtom() || m_opAtomTrack < 0) {
        setLastError(Fail, L"Cannot write clip wrapped essence, OP atom track is invalid");
        return Fail;
    }
    const TrackData& row = rows[m_opAtomTrack];
    const TrackStructuralData& track = m_tracks[size_t(m_opAtomTrack)];
    m_essence.clear();
    if (track.streamType == StreamAudio) {
        if (row.size) {
            if (m_audioBuffered.size() + row.size >= m_opAtomAudioBufferSize && !m_audioBuffered.empty()) {
                CvResult result = flushEssence();
                if (!isSuccess(result))
                    return result;
            }
            m_pendingAudioSizes.push_back(row.size);
            m_audioBuffered.insert(m_audioBuffered.end(), row.data, row.data + row.size);
        }
        return opAtomWrittenAtom(rows, int(m_tracks.size()));
    }
    uint32_t padding = 0;
    if (track.video.fourcc == fourCC("GIMX"))
        padding = (4096 - row.size % 4096) % 4096;
    const uint32_t size = row.size + padding;
    if (m_indexMode == 2 && size != m_editUnitSize) {
        if (m_atomsWritten != 0 || m_editUnitSize != 1) {
            setLastError(Fail, m_atomsWritten ? L"got an invalid sample size" : L"invalid state");
            return Fail;
        }
        m_editUnitSize = size;
    }
    m_essence.assign(row.data, row.data + row.size);
    m_essence.resize(size, 0);
    const uint64_t offset = m_fileEnd;
    CvResult result = writeEssence(written);
    if (!isSuccess(result))
        return result;
    m_elementOffsets[size_t(m_opAtomTrack)] = offset;
    ++m_trackCounts[size_t(m_opAtomTrack)];
    addExternalIndex(row.presentationIndex, row.frameType, m_opAtomTrack, offset, row.size);
    m_essenceLength += written;
    updateEssenceKeyLength();
    return opAtomWrittenAtom(rows, int(m_tracks.size()));
}

CvResult CMxf_FileWriter::flushEssence()
{
    if (m_audioBuffered.empty())
        return OK;
    const uint64_t at = m_fileEnd;
    m_essence.swap(m_audioBuffered);
    uint64_t written = 0;
    CvResult result = writeEssence(written);
    m_essence.swap(m_audioBuffered);
    if (!isSuccess(result))
        return result;
    const uint32_t sampleSize = std::max<uint32_t>(m_audioSampleSize, 1);
    uint64_t offset = at;
    if (m_indexers[size_t(m_opAtomTrack)]) {
        for (uint32_t size : m_pendingAudioSizes) {
            IndexEntry entry;
            entry.offset = offset;
            entry.size = size;
            entry.frameType = FrameIntra | FrameRandomAccess;
            entry.presentationIndex = entry.decodeIndex = m_nextExternalIndex;
            m_indexers[size_t(m_opAtomTrack)]->add(0, m_nextExternalIndex++, entry);
            offset += size;
        }
    }
    m_pendingAudioSizes.clear();
    const uint64_t samples = written / sampleSize;
    m_atomsWritten += samples;
    m_atomsInPartition += samples;
    m_essenceBytesWritten += written;
    m_essenceLength += written;
    if (m_ownSegment)
        m_ownSegment->indexDuration = int64_t(m_atomsWritten);
    updateEssenceKeyLength();
    m_audioBuffered.clear();
    return OK;
}

CvResult CMxf_FileWriter::opAtomWrittenAtom(const TrackData* rows, int count)
{
    for (auto& child : m_children) {
        CvResult result = child->writeAtom(rows, count);
        if (!isSuccess(result)) {
            setLastError(result, L"%ls", child->getLastError());
            return result;
        }
    }
    return OK;
}

void CMxf_FileWriter::updateEssenceKeyLength()
{
    if (m_sizeOfEssenceKeyInHeader == 0 || m_header.size() < 8)
        return;
    // A BER length of eight bytes: 0x87 and seven bytes of length.
    unsigned char* ber = m_header.data() + m_header.size() - 8;
    ber[0] = 0x87;
    uint64_t length = m_essenceLength;
    for (int i = 7; i >= 1; --i, length >>= 8)
        ber[i] = static_cast<unsigned char>(length & 0xFF);
}

CvResult CMxf_FileWriter::writeAtom_VariableSize(const TrackData* rows, int count, uint64_t& written,
                                                 bool updateChildren)
{
    CvResult result;
    uint64_t elementOffset = m_fileEnd;
    if (isOpAtom()) {
        // Clip wrapped: the bytes alone, behind the one key in the header;
        // frame wrapped (ancillary data): an element of their own.
        const TrackData& row = rows[m_opAtomTrack];
        m_essence.clear();
        if (m_wrapType == 1)
            appendElement(m_essence, m_essenceKeys[size_t(m_opAtomTrack)], row.data, row.size);
        else
            m_essence.assign(row.data, row.data + row.size);
        m_elementOffsets[size_t(m_opAtomTrack)] = elementOffset + m_essence.size() - row.size;
        m_elementSizes[size_t(m_opAtomTrack)] = row.size;
        ++m_trackCounts[size_t(m_opAtomTrack)];
    } else {
        result = writeAtom_VariableSize_FrameWrapped(rows);
        if (!isSuccess(result))
            return result;
    }
    result = writeEssence(written);
    if (!isSuccess(result))
        return result;
    if (isOpAtom()) {
        m_essenceLength += written;
        updateEssenceKeyLength();
    }
    result = updateIndexTable(rows, written);
    if (!isSuccess(result))
        return result;
    if (isOpAtom() && updateChildren)
        return opAtomWrittenAtom(rows, count);
    return OK;
}

CvResult CMxf_FileWriter::writeAtom_VariableSize_FrameWrapped(const TrackData* rows)
{
    const int video = firstVideoTrack();
    const uint32_t frameType = video >= 0 ? rows[video].frameType : HalcIFrame;
    bool newPartition = m_atomsWritten == 0 || m_atomsInPartition >= m_partitionFrames;
    // XDCAM partitions hold whole GOPs of about ten seconds at most.
    const VideoStructuralData* picture = video >= 0 ? &m_tracks[size_t(video)].video : nullptr;
    if (!newPartition && isOp1aXdcam() && picture && picture->rateDenominator && (frameType & HalcIFrame))
        newPartition = m_gopSize + m_atomsInPartition >
                       uint64_t(picture->rateNumerator) * 10 / picture->rateDenominator;
    const bool anchorsOnly =
        m_fileType == FileTypeMpegLongGop || m_fileType == FileTypeProxy || m_fileType == FileTypeAvidProxy;
    if (m_atomsWritten != 0 && anchorsOnly && !(frameType & HalcIFrame))
        newPartition = false;
    if (newPartition) {
        if (m_partitions.size() > 1) {
            closePartition();
            CvResult result = flush(true);
            if (!isSuccess(result))
                return result;
        }
        CvResult result = isOp1aXdcam() ? startXdcamBodyPartition() : startBodyPartition();
        if (!isSuccess(result))
            return result;
    }
    size_t total = 0;
    for (size_t i = 0; i < m_tracks.size(); ++i)
        total += rows[i].size;
    m_essence.clear();
    m_essence.reserve(std::max<size_t>(2 * total + 4096, 8192));
    for (size_t i = 0; i < m_tracks.size(); ++i) {
        if (m_tracks[i].streamType == StreamTimecode) {
            essence_WriteSystemItem(m_essence);
            continue;
        }
        TrackData row = rows[i];
        if (!elementValue(i, row))
            return InvalidArg;
        appendElement(m_essence, m_essenceKeys[i], row.data, row.size);
        m_elementSizes[i] = row.size;
        m_elementOffsets[i] = m_fileEnd + m_essence.size() - row.size;
        ++m_trackCounts[i];
    }
    return OK;
}

CvResult CMxf_FileWriter::writeDummyAtoms(unsigned count, const TrackData* rows, int rowCount)
{
    if (!isOpAtom() || m_wrapType != 2 || m_editUnitSize == 0 || m_fileType == FileTypeMpegLongGop) {
        setLastError(InvalidArg, L"Cannot write dummy items to this file type. (must be i-frame/opatom/clip wrapped)");
        return InvalidArg;
    }
    if (!rows || rowCount != int(m_tracks.size())) {
        setLastError(InvalidArg, L"WriteAtom invalid number of tracks, got %d need %d", rowCount,
                     int(m_tracks.size()));
        return InvalidArg;
    }
    for (const TrackStructuralData& track : m_tracks)
        if (track.streamType == StreamAudio && track.audio.sampleRate != 48000) {
            setLastError(InvalidArg, L"Audio sample rate must be 48kHz");
            return InvalidArg;
        }
    const int picture = firstVideoTrack();
    const int row = picture >= 0 ? ExternalIndexer::audioCadenceRowOfFrameRate(
                                       m_tracks[size_t(picture)].video.rateNumerator,
                                       m_tracks[size_t(picture)].video.rateDenominator)
                                 : -1;
    const ExternalIndexer::AudioCadence* cadence = ExternalIndexer::audioCadence(row);
    if (!cadence) {
        setLastError(InvalidArg, L"No 48kHz cadence for the picture's frame rate");
        return InvalidArg;
    }
    std::vector<TrackData> atom(rows, rows + rowCount);
    for (unsigned i = 0; i < count; ++i) {
        for (size_t t = 0; t < m_tracks.size(); ++t)
            if (m_tracks[t].streamType == StreamAudio)
                atom[t].size = m_tracks[t].audio.blockAlign * cadence->counts[i % 5];
        CvResult result = writeAtom(atom.data(), rowCount);
        if (!isSuccess(result))
            return result;
        if (i == 0 && (m_flags & ExpandAfterFirstDummy)) {
            ewcExpand(0, count, row);
            for (auto& child : m_children)
                child->ewcExpand(0, count, row);
            return OK;
        }
    }
    return OK;
}

int CMxf_FileWriter::firstVideoTrack() const
{
    for (size_t i = 0; i < m_tracks.size(); ++i)
        if (m_tracks[i].streamType == StreamVideo)
            return int(i);
    return -1;
}

} // namespace Corvidane::MXF
