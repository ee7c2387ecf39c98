// The header region that holds the movie header, ahead of the samples or
// behind them, and the mdat header.
#include <algorithm>
#include <cstring>
#include <new>

#include "frame/FourCC.h"
#include "quicktime/write/FileWriter.h"

namespace Corvidane::QuickTime {

namespace {

constexpr unsigned mdatSlot = 16; // a "wide" atom and the mdat header, or the 64-bit header

} // namespace

void FileWriter::renderMdatHeader(unsigned char* slot) const
{
    QTAtomExtendable mdat(fourCC("mdat"));
    mdat.extended = m_mdatPayload + 8 > UINT32_MAX;
    mdat.size = m_mdatPayload + (mdat.extended ? 16 : 8);
    mdat.toData(slot, mdatSlot);
}

CvResult FileWriter::doInitialSetupForMoovBeforeMdat(uint64_t headerSize)
{
    uint64_t region = roundToSector(m_ftyp.size() + headerSize + mdatSlot);
    if (!m_headerBuffer.alloc(region)) {
        setLastError(OutOfMemory, L"Failed to allocate %d bytes for header buffer", int(region));
        return OutOfMemory;
    }
    m_headerBuffer.flush(0);
    m_headerBuffer.setUsed(region);
    std::memcpy(m_headerBuffer.getBuffer(), m_ftyp.data(), m_ftyp.size());
    m_moovPosition = m_ftyp.size();
    m_mdatOffset = region - mdatSlot;
    m_dataStart = region;
    renderMdatHeader(m_headerBuffer.getBuffer(m_mdatOffset));
    return OK;
}

CvResult FileWriter::doInitialSetupForMoovAfterMdat()
{
    uint64_t block = roundToSector(m_ftyp.size());
    if (block > m_ftyp.size() && block - m_ftyp.size() < 8)
        block = roundToSector(m_ftyp.size() + 8);
    std::vector<unsigned char> head(block, 0);
    std::memcpy(head.data(), m_ftyp.data(), m_ftyp.size());
    if (block > m_ftyp.size()) {
        writeBE32(head.data() + m_ftyp.size(), uint32_t(block - m_ftyp.size()));
        writeCode(head.data() + m_ftyp.size() + 4, fourCC("free"));
    }
    if (m_hasDiskFile) {
        unsigned written = 0;
        CvResult result = m_file.write(head.data(), unsigned(head.size()), written);
        if (!isSuccess(result) || written != head.size())
            return isSuccess(result) ? Fail : result;
    }
    m_mdatBlockStart = block;
    m_moovPosition = block;
    return formatMdatAndWriteToFile(false);
}

CvResult FileWriter::formatMdatAndWriteToFile(bool rewrite)
{
    if (!rewrite) {
        uint64_t block = roundToSector(mdatSlot);
        if (block > mdatSlot && block - mdatSlot < 8)
            block = roundToSector(mdatSlot + 8);
        m_mdatBlock.assign(block, 0);
        if (block > mdatSlot) {
            writeBE32(m_mdatBlock.data(), uint32_t(block - mdatSlot));
            writeCode(m_mdatBlock.data() + 4, fourCC("free"));
        }
        m_mdatOffset = m_mdatBlockStart + block - mdatSlot;
        m_dataStart = m_mdatBlockStart + block;
    }
    renderMdatHeader(m_mdatBlock.data() + m_mdatBlock.size() - mdatSlot);
    if (!m_hasDiskFile)
        return OK;
    unsigned long previous = 0;
    CvResult result = OK;
    if (rewrite) {
        result = m_file.seek(m_mdatBlockStart, &previous, 0);
        if (!isSuccess(result))
            return result;
    }
    unsigned written = 0;
    result = m_file.write(m_mdatBlock.data(), unsigned(m_mdatBlock.size()), written);
    if (isSuccess(result) && written != m_mdatBlock.size())
        result = Fail;
    if (rewrite && isSuccess(result))
        result = m_file.seek(previous, nullptr, 0);
    return result;
}

CvResult FileWriter::writeHeader()
{
    if (!m_moov)
        return OK;
    uint64_t moovSize = m_moov->atomSize();
    if (!writingIndexTableAtTheEnd()) {
        uint64_t region = m_headerBuffer.capacity();
        uint64_t room = region - m_ftyp.size() - mdatSlot;
        // A gap of under 8 bytes could hold no free atom.
        if (moovSize > room || (moovSize < room && room - moovSize < 8)) {
            setLastError(Fail, L"writeHeader, not enough room in the header.");
            return Fail;
        }
        unsigned char* at = m_headerBuffer.getBuffer(m_moovPosition);
        std::memset(at, 0, size_t(room));
        size_t rendered = m_moov->write(at, size_t(room));
        if (rendered != moovSize) {
            setLastError(Fail, L"writeHeader, the movie atom rendered %zu bytes of %llu.", rendered,
                         (unsigned long long)moovSize);
            return Fail;
        }
        if (room > moovSize) {
            writeBE32(at + moovSize, uint32_t(room - moovSize));
            writeCode(at + moovSize + 4, fourCC("free"));
        }
        if (!m_hasDiskFile)
            return OK;
        unsigned long previous = 0;
        CvResult result = m_file.seek(0, &previous, 0);
        if (!isSuccess(result)) {
            setLastError(result, L"writeHeader failed to seek.");
            return result;
        }
        // Only the sectors that changed since the last header reached the
        // disk are written again: the reserved tables make the region tens
        // of megabytes, of which a flush changes a few sectors.
        const unsigned char* now = m_headerBuffer.getBuffer();
        std::vector<std::pair<uint64_t, uint64_t>> runs;
        if (m_headerOnDisk.size() != region) {
            runs.emplace_back(0, region);
        } else {
            for (uint64_t sector = 0; sector < region; sector += m_sectorSize) {
                uint64_t length = std::min<uint64_t>(m_sectorSize, region - sector);
                if (std::memcmp(now + sector, m_headerOnDisk.data() + sector, size_t(length)) == 0)
                    continue;
                if (!runs.empty() && runs.back().first + runs.back().second == sector)
                    runs.back().second += length;
                else
                    runs.emplace_back(sector, length);
            }
        }
        for (const auto& [start, length] : runs) {
            unsigned written = 0;
            result = m_file.seek(start, nullptr, 0);
            if (isSuccess(result))
                result = m_file.write(now + start, unsigned(length), written);
            if (isSuccess(result) && written != length)
                result = Fail;
            if (!isSuccess(result)) {
                m_headerOnDisk.clear();
                setLastError(result, L"writeHeader failed to write.");
                m_file.seek(std::max<uint64_t>(previous, essencePosition()), nullptr, 0);
                return result;
            }
        }
        try {
            m_headerOnDisk.assign(now, now + region);
        } catch (const std::bad_alloc&) {
            m_headerOnDisk.clear();
        }
        // The essence goes on where it stood, and never into the region.
        result = m_file.seek(std::max<uint64_t>(previous, essencePosition()), nullptr, 0);
        if (!isSuccess(result)) {
            setLastError(result, L"writeHeader failed to seek.");
            return result;
        }
        return OK;
    }

    // Index last: the mdat header takes its final size, the moov follows the essence.
    if (!m_hasDiskFile)
        return OK;
    CvResult result = formatMdatAndWriteToFile(true);
    if (!isSuccess(result)) {
        setLastError(result, L"writeHeader failed to write.");
        return result;
    }
    uint64_t padded = roundToSector(moovSize);
    if (padded > moovSize && padded - moovSize < 8)
        padded = roundToSector(moovSize + 8);
    std::vector<unsigned char> block;
    try {
        block.assign(size_t(padded), 0);
    } catch (const std::bad_alloc&) {
        setLastError(OutOfMemory, L"Failed to allocate %d bytes for header buffer", int(padded));
        return OutOfMemory;
    }
    size_t rendered = m_moov->write(block.data(), block.size());
    if (rendered != moovSize) {
        setLastError(Fail, L"writeHeader, the movie atom rendered %zu bytes of %llu.", rendered,
                     (unsigned long long)moovSize);
        return Fail;
    }
    if (padded > moovSize) {
        writeBE32(block.data() + moovSize, uint32_t(padded - moovSize));
        writeCode(block.data() + moovSize + 4, fourCC("free"));
    }
    unsigned long previous = 0;
    result = m_file.seek(essencePosition(), &previous, 0);
    if (!isSuccess(result)) {
        setLastError(result, L"writeHeader failed to seek.");
        return result;
    }
    unsigned written = 0;
    result = m_file.write(block.data(), unsigned(block.size()), written);
    if (isSuccess(result) && written != block.size())
        result = Fail;
    if (!isSuccess(result)) {
        setLastError(result, L"writeHeader failed to write.");
        return result;
    }
    return m_file.seek(previous, nullptr, 0);
}

void FileWriter::updateMdatSize(uint64_t bytes)
{
    m_mdatPayload += bytes;
    if (writingIndexTableAtTheEnd())
        m_moovPosition = essencePosition();
    else if (m_headerBuffer.capacity() >= mdatSlot)
        renderMdatHeader(m_headerBuffer.getBuffer(m_mdatOffset));
}

} // namespace Corvidane::QuickTime
