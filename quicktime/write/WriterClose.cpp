// Flushing that keeps a growing file whole, inserted samples, close, and the
// side index.
#include <cstring>

#include "frame/CvFileIOFactory.h"
#include "quicktime/write/FileWriter.h"

namespace Corvidane::QuickTime {

CvResult FileWriter::flushEssence()
{
    CvResult result = OK;
    for (unsigned i = 0; i < m_tracks.size() && isSuccess(result); ++i)
        result = flushRemainingEssence(i, false, false, true);
    return result;
}

CvResult FileWriter::flush()
{
    if (m_tracks.empty())
        return OK;
    CvResult result = flushEssence();
    if (isSuccess(result) && !writingIndexTableAtTheEnd())
        result = writeHeader();
    return result;
}

CvResult FileWriter::insertSamples(unsigned frame, TrackData* rows, int trackCount)
{
    if (!writingIndexTableAtTheEnd() && frame >= m_maxFileAtoms) {
        setLastError(InvalidArg, L"InsertSamples frame is more than file frame count.");
        return InvalidArg;
    }
    if (!m_hasDiskFile)
        return OK;
    unsigned long start = 0;
    if (trackCount < 1) {
        m_file.seek(m_file.getPos(), &start, 0);
        return OK;
    }
    if (!rows || trackCount != int(m_tracks.size())) {
        setLastError(InvalidArg, L"WriteSamples, input track count=%d, expected track count=%d", trackCount,
                     int(m_tracks.size()));
        return InvalidArg;
    }
    uint64_t resume = m_file.getPos();
    CvResult result = OK;
    for (unsigned i = 0; i < m_tracks.size() && isSuccess(result); ++i) {
        const TrackData& row = rows[i];
        if (!row.data || row.size == 0)
            continue;
        const auto& offsets = m_tracks[i].tables.co64->values();
        if (frame >= offsets.size()) {
            setLastError(InvalidArg, L"InsertSamples frame is more than index frame count.");
            result = InvalidArg;
            break;
        }
        uint64_t rounded = roundToSector(row.size);
        std::vector<unsigned char> block(size_t(rounded), 0);
        std::memcpy(block.data(), row.data, row.size);
        result = m_file.seek(offsets[frame], nullptr, 0);
        if (!isSuccess(result)) {
            setLastError(Fail, L"InsertSamples - Failed to seek to insert position");
            result = Fail;
            break;
        }
        unsigned written = 0;
        result = m_file.write(block.data(), unsigned(rounded), written);
        if (!isSuccess(result)) {
            setLastError(Fail, L"InsertSamples - Failed to write to file");
            result = Fail;
        } else if (written != rounded) {
            setLastError(Fail, L"InsertSamples - Failed to write correct bytes");
            result = Fail;
        }
    }
    m_file.seek(resume, nullptr, 0);
    return result;
}

CvResult FileWriter::close()
{
    if (m_tracks.empty()) {
        if (m_file.isOpen())
            m_file.close();
        return OK;
    }
    CvResult result = flushBuffered(true);
    CvResult step = flushBuffered(false);
    if (isSuccess(result))
        result = step;
    step = flush();
    if (isSuccess(result))
        result = step;
    if (writingIndexTableAtTheEnd() && m_anythingWritten) {
        step = writeHeader();
        if (isSuccess(result))
            result = step;
    }
    std::wstring name = m_filename;
    m_file.close();
    if (!name.empty() && !m_anythingWritten)
        CvFileIOFactoryProvider::deleteFile(name.c_str());
    closeIndexers();
    freeTracks();
    std::wstring text = getLastError();
    // The caller's settings (flush period, overwrite, frame limit, brand)
    // stay for the next file.
    uint32_t keep = m_flags & (FlagNoDiskFile | FlagMP4);
    initVariables();
    m_flags = keep;
    if (!isSuccess(result)) {
        clearLastError();
        setLastError(text);
    }
    return result;
}

CvResult FileWriter::skipEssenceForTest(uint64_t bytes)
{
    bytes = roundToSector(bytes);
    if (m_hasDiskFile) {
        CvResult result = m_file.seek(essencePosition() + bytes, nullptr, 0);
        if (!isSuccess(result))
            return result;
    }
    updateMdatSize(bytes);
    return OK;
}

void FileWriter::setExternalIndexer(std::shared_ptr<ExternalIndexer::Indexer> indexer, unsigned track)
{
    if (track >= m_tracks.size())
        return;
    closeIndexer(track);
    m_tracks[track].indexer = std::move(indexer);
    const Track& t = m_tracks[track];
    if (t.indexer && t.data.streamType == StreamAudio && !isAac(track) && firstVideo()) {
        double rate = videoRate();
        signed char code = -1;
        struct Band {
            double low, high;
            signed char code;
        };
        static const Band bands[] = {{24.999, 25.001, 0},   {29.96, 29.98, 1},     {23.97, 23.99, 2},
                                     {49.999, 50.001, 3},   {59.93, 59.95, 4},     {23.9999, 24.00001, 5},
                                     {59.9999, 60.00001, 6}, {29.9999, 30.00001, 7}, {99.999, 100.001, 8},
                                     {119.87, 119.89, 9},    {239.75, 239.77, 10},  {47.94, 47.96, 11},
                                     {14.98, 14.99, 12}};
        for (const Band& band : bands)
            if (rate > band.low && rate < band.high) {
                code = band.code;
                break;
            }
        t.indexer->setAudioSamplesIndex(code);
    }
}

std::shared_ptr<ExternalIndexer::Indexer> FileWriter::externalIndexer(unsigned track) const
{
    return track < m_tracks.size() ? m_tracks[track].indexer : nullptr;
}

CvResult FileWriter::addExternalIndex(unsigned track, uint64_t offset, uint32_t size, uint32_t presentation,
                                      uint32_t decode, uint32_t frameType)
{
    if (track >= m_tracks.size() || !m_tracks[track].indexer)
        return OK;
    const Track& t = m_tracks[track];
    IndexEntry entry{};
    entry.offset = offset;
    entry.size = size;
    entry.frameType = indexFrameType(frameType);
    entry.decodeIndex = decode;
    entry.presentationIndex = presentation;
    if (t.tables.ctts && presentation != decode) {
        uint32_t shown = decode + 1;
        unsigned period = t.data.video.gopPeriod;
        if (period && shown % period == 0)
            shown -= period;
        entry.presentationIndex = shown;
    }
    return t.indexer->add(0, decode, entry);
}

void FileWriter::closeIndexer(unsigned track)
{
    if (track < m_tracks.size())
        m_tracks[track].indexer.reset();
}

void FileWriter::closeIndexers()
{
    for (unsigned i = 0; i < m_tracks.size(); ++i)
        closeIndexer(i);
}

} // namespace Corvidane::QuickTime
