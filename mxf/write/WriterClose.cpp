#include <algorithm>

#include "frame/BigEndian.h"
#include "frame/CvFileIOFactory.h"
#include "growing/AudioCadence.h"
#include "mxf/model/RipPack.h"
#include "mxf/write/FileWriter.h"

namespace Corvidane::MXF {

CvResult CMxf_FileWriter::writeAt(uint64_t offset, const unsigned char* data, size_t size)
{
    if (m_flags & DryRun)
        return OK;
    CvResult result = m_file.seek(static_cast<unsigned long>(offset), 0);
    unsigned written = 0;
    if (isSuccess(result))
        result = m_file.write(data, unsigned(size), written);
    if (isSuccess(result) && written != size)
        result = Fail;
    // Essence goes on at the end whatever happened here.
    m_file.seek(static_cast<unsigned long>(m_fileEnd), 0);
    if (!isSuccess(result)) {
        setLastError(Fail, L"Failed to write %u bytes at offset %llu", unsigned(size),
                     static_cast<unsigned long long>(offset));
        return Fail;
    }
    return OK;
}

void CMxf_FileWriter::renderPack(Partition& partition, std::vector<unsigned char>& bytes, size_t at)
{
    const size_t length = packBytes(partition.pack.essenceContainers.size());
    if (at + length <= bytes.size())
        partition.pack.ToStream(bytes.data() + at, int(length));
}

void CMxf_FileWriter::updateLength(uint64_t frames)
{
    const int primary = primaryOrFirstTrack();
    const MXFRATIONAL primaryRate = m_editRates[size_t(primary)];
    for (const LengthOffset& record : m_lengthOffsets) {
        uint64_t value = frames;
        const MXFRATIONAL rate = record.track >= 0 ? m_editRates[size_t(record.track)] : primaryRate;
        const bool sameRate = int64_t(rate.numerator) * primaryRate.denominator ==
                              int64_t(primaryRate.numerator) * rate.denominator;
        if (isOpAtom() && record.track != primary && !sameRate && primaryRate.numerator > 0 && rate.denominator > 0) {
            // frames / primary rate * track rate, in whole numbers
            const unsigned __int128 scaled = (unsigned __int128)frames * uint64_t(rate.numerator) *
                                             uint64_t(primaryRate.denominator);
            value = uint64_t(scaled / ((unsigned __int128)uint64_t(rate.denominator) * uint64_t(primaryRate.numerator)));
        }
        if (record.offset + 8 > m_header.size())
            continue;
        writeBE64(m_header.data() + record.offset, value);
    }
}

void CMxf_FileWriter::closePartition()
{
    if (CMxf_IndexTable_Segment* segment = currentSegment())
        updateTemporalPosition(*segment);
    m_partitions.back().pack.set_Status(ClosedComplete);
}

CvResult CMxf_FileWriter::flush(bool full)
{
    if (m_partitions.empty())
        return OK;
    for (auto& child : m_children) {
        CvResult result = child->flush(full);
        if (!isSuccess(result)) {
            setLastError(result, L"%ls", child->getLastError());
            return result;
        }
    }
    if (isOpAtom() && !m_audioBuffered.empty()) {
        CvResult result = flushEssence();
        if (!isSuccess(result))
            return result;
    }
    if (m_atomsWritten == 0)
        return OK;
    // The header's durations follow what is on disk, so the file reads
    // whole at every flush.
    updateLength(m_atomsWritten);
    renderPack(m_partitions.front(), m_header, 0);
    if (isOpAtom()) {
        if (m_indexMode >= 2 && m_indexMode <= 4) {
            CvResult result = indexFlush();
            if (!isSuccess(result))
                return result;
        }
        if (m_partitions.size() > 1)
            renderPack(m_partitions[1], m_header, size_t(m_partitions[1].pack.thisPartition));
    }
    if ((isOpAtom() && m_indexMode == 4) || full) {
        CvResult result = writeAt(0, m_header.data(), m_header.size());
        if (!isSuccess(result))
            return result;
    }
    if (!isOpAtom() && m_partitions.size() > 1) {
        CvResult result = indexFlush();
        if (!isSuccess(result))
            return result;
        Partition& partition = m_partitions.back();
        renderPack(partition, partition.bytes, 0);
        result = writeAt(partition.pack.thisPartition, partition.bytes.data(), partition.bytes.size());
        if (!isSuccess(result))
            return result;
    }
    return OK;
}

void CMxf_FileWriter::close(std::vector<unsigned char>* headerCopy, std::vector<unsigned char>* footerCopy)
{
    for (auto& child : m_children)
        child->close();
    // Settings made before create stay until a file has been written.
    if (!m_isOpen)
        return;
    if (isOpAtom() && (m_indexMode == 5 || m_indexMode == 6) && m_atomsWritten > 0 &&
        m_tracks[size_t(m_opAtomTrack)].streamType == StreamVideo)
        writeTrailingItem();
    if (!m_partitions.empty()) {
        flush(false);
        if (m_atomsWritten > 0)
            writeFooter(headerCopy, footerCopy);
    }
    m_file.close();
    closeIndexers();
    if (m_flags & DeleteOnClose)
        CvFileIOFactoryProvider::deleteFile(m_filename.c_str());
    reset();
}

void CMxf_FileWriter::writeTrailingItem()
{
    // One last item of zeros closes such files; its index entry gives the
    // last picture its size, and it counts in no duration.
    static const std::vector<unsigned char> zeros(7519, 0);
    std::vector<TrackData> rows(m_tracks.size(), TrackData{});
    rows[size_t(m_opAtomTrack)] = TrackData{zeros.data(), uint32_t(zeros.size()), uint32_t(m_atomsWritten), 197};
    uint64_t written = 0;
    if (!isSuccess(writeAtom_VariableSize(rows.data(), int(rows.size()), written, false)))
        return;
    m_essenceBytesWritten += written;
    if (m_ownSegment)
        m_ownSegment->indexDuration = int64_t(m_atomsWritten);
}

void CMxf_FileWriter::writeFooter(std::vector<unsigned char>* headerCopy, std::vector<unsigned char>* footerCopy)
{
    // The footer starts on the KAG, behind a filler that reaches it.
    const uint64_t gap = kagFillSize(m_fileEnd, 32);
    if (gap) {
        std::vector<unsigned char> fill;
        writeFiller(fill, gap);
        m_fileEnd += gap;
        if (!isSuccess(writeAt(m_fileEnd - gap, fill.data(), fill.size())))
            return;
    }
    m_footerPosition = m_fileEnd;
    m_partitions.back().pack.footerPartition = m_footerPosition;
    updateLength(m_atomsWritten);
    Partition& header = m_partitions.front();
    header.pack.set_Status(ClosedComplete);
    header.pack.footerPartition = m_footerPosition;
    closePartition();
    if (isOpAtom() && m_partitions.size() > 1)
        m_partitions[1].pack.footerPartition = m_footerPosition;
    if (!isSuccess(flush(true)))
        return;

    // The writer's own segment, or XDCAM's last: rounded up to the sector,
    // and one sector more where a filler couldn't follow it.
    CMxf_IndexTable_Segment* footerSegment = isOp1aXdcam() ? m_xdcamSegment.get() : m_ownSegment.get();
    uint64_t indexSize = 0;
    if (footerSegment) {
        std::vector<unsigned char> rendered(footerSegment->toKlv(nullptr, 0));
        const uint64_t klv = footerSegment->toKlv(rendered.data(), rendered.size());
        indexSize = (klv + m_sectorSize - 1) / m_sectorSize * m_sectorSize;
        if (!isOp1aXdcam() || (indexSize - klv != 0 && indexSize - klv < 20))
            indexSize += m_sectorSize;
    }
    Partition footer;
    const std::vector<MXFUL> labels = getEssenceBatch();
    footer.pack.Create(PartitionFooter, ClosedComplete, m_kagSize, 0, footerSegment ? m_indexSID : 0, m_pattern,
                       labels.data(), uint32_t(labels.size()));
    footer.pack.thisPartition = footer.pack.footerPartition = m_footerPosition;
    footer.pack.previousPartition = m_partitions.back().pack.thisPartition;
    footer.pack.indexByteCount = indexSize;
    const size_t packLength = packBytes(labels.size());
    footer.bytes.resize(packLength);
    renderPack(footer, footer.bytes, 0);
    // The index, or the end of the file, follows the pack's KAG fill.
    writeFiller(footer.bytes, kagFillSize(packLength, 20));
    const size_t indexAt = footer.bytes.size();
    footer.bytes.resize(indexAt + size_t(indexSize));
    if (indexSize) {
        if (footerSegment->indexDuration == 0 || footerSegment->isConstant())
            footerSegment->indexDuration = int64_t(m_atomsWritten);
        renderSegment(*footerSegment, footer.bytes, indexAt, footer.bytes.size());
    } else if (m_addTrailingRandomFill && m_kagSize == 1) {
        const size_t at = footer.bytes.size();
        writeFiller(footer.bytes, 36);
        GUID random;
        UuidCreate(&random);
        std::copy(reinterpret_cast<unsigned char*>(&random), reinterpret_cast<unsigned char*>(&random) + 16,
                  footer.bytes.begin() + std::ptrdiff_t(at + 20));
    }
    if (isOp1aXdcam()) {
        // A random index of every partition ends an XDCAM file.
        CRipPack rip;
        for (const Partition& partition : m_partitions)
            rip.entries.push_back(CRipPack::Entry{partition.pack.bodySID, partition.pack.thisPartition});
        rip.entries.push_back(CRipPack::Entry{0, m_footerPosition});
        const std::vector<unsigned char> bytes = rip.toBytes();
        footer.bytes.insert(footer.bytes.end(), bytes.begin(), bytes.end());
    }
    m_fileEnd += footer.bytes.size();
    if (!isSuccess(writeAt(m_footerPosition, footer.bytes.data(), footer.bytes.size())))
        return;
    if (headerCopy)
        *headerCopy = m_header;
    if (footerCopy)
        *footerCopy = footer.bytes;
    if (!isOpAtom()) {
        for (size_t i = 1; i + 1 < m_partitions.size(); ++i) {
            Partition& body = m_partitions[i];
            body.pack.footerPartition = m_footerPosition;
            const size_t length = packBytes(body.pack.essenceContainers.size());
            renderPack(body, body.bytes, 0);
            writeAt(body.pack.thisPartition, body.bytes.data(), length);
        }
    }
}

void CMxf_FileWriter::ewcExpand(uint64_t base, uint64_t frames, int cadenceRow)
{
    m_essence.clear();
    m_audioBuffered.clear();
    m_pendingAudioSizes.clear();
    uint64_t units = frames;
    const int primary = primaryOrFirstTrack();
    const ExternalIndexer::AudioCadence* cadence = ExternalIndexer::audioCadence(cadenceRow);
    if (m_tracks[size_t(primary)].streamType == StreamAudio && cadence) {
        units = uint64_t(cadence->period()) * (frames / 5) + cadence->sumBefore(unsigned(frames % 5));
        m_essenceLength = units * m_tracks[size_t(primary)].audio.blockAlign + base;
    } else {
        m_essenceLength = (m_essenceLength - base) * frames + base;
    }
    m_atomsWritten = m_atomsInPartition = units;
    updateEssenceKeyLength();
    if (m_ownSegment)
        m_ownSegment->indexDuration = int64_t(units);
}

void CMxf_FileWriter::close(std::vector<std::vector<unsigned char>>& buffers)
{
    std::vector<std::pair<std::vector<unsigned char>, std::vector<unsigned char>>> children;
    for (auto& child : m_children) {
        children.emplace_back();
        child->close(&children.back().first, &children.back().second);
    }
    std::vector<unsigned char> header, footer;
    close(&header, &footer);
    buffers.push_back(std::move(header));
    buffers.push_back(std::move(footer));
    for (auto& pair : children) {
        buffers.push_back(std::move(pair.first));
        buffers.push_back(std::move(pair.second));
    }
}

} // namespace Corvidane::MXF
