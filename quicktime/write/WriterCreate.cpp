// The writer's state, and create: the tracks configured, the file opened and
// the header region laid out.
#include <algorithm>

#include "frame/CvFileIOFactory.h"
#include "frame/FourCC.h"
#include "quicktime/write/FileWriter.h"

namespace Corvidane::QuickTime {

FileWriter::FileWriter() { initVariables(); }

FileWriter::~FileWriter() { close(); }

void FileWriter::initVariables()
{
    m_filename.clear();
    m_hasDiskFile = false;
    m_sectorSize = 512;
    m_flags = 0;
    m_samplesSinceFlush = 0;
    m_maxFileAtoms = m_callerMaxFileAtoms;
    m_maxDuration = defaultMaxFileAtoms / 25.0;
    m_timeScale = 2500;
    m_nextRealLocation = allOnes;
    m_videoFramesWritten = 0;
    m_tracks.clear();
    m_sampleSizeMode.clear();
    m_maxChunks.clear();
    m_maxChunkOffsets.clear();
    m_headerAtomSizes.clear();
    m_mvhd = nullptr;
    m_moov.reset();
    m_rawBlocks.clear();
    m_headerBuffer.reset();
    m_headerOnDisk.clear();
    m_headerOnDisk.shrink_to_fit();
    m_ftyp.clear();
    m_moovPosition = m_mdatOffset = m_dataStart = m_mdatPayload = 0;
    m_mdatBlock.clear();
    m_mdatBlockStart = 0;
    m_anythingWritten = false;
    m_nalBuffer.clear();
    m_nalBuffer.shrink_to_fit();
    m_firstFrameDone = false;
    m_chunkCycle.clear();
    m_chunkCycleAt = 0;
    m_chunkCycleCounter = 0;
    m_bufferedAudio.clear();
    m_bufferedAnc.clear();
}

const FileWriter::Track* FileWriter::firstVideo() const
{
    int index = firstVideoIndex();
    return index < 0 ? nullptr : &m_tracks[size_t(index)];
}

int FileWriter::firstVideoIndex() const
{
    for (size_t i = 0; i < m_tracks.size(); ++i)
        if (m_tracks[i].data.streamType == StreamVideo)
            return int(i);
    return -1;
}

double FileWriter::videoRate() const
{
    const Track* video = firstVideo();
    if (!video || !video->data.video.rateDenominator)
        return 0.0;
    return double(video->data.video.rateNumerator) / video->data.video.rateDenominator;
}

bool FileWriter::isAac(unsigned track) const
{
    return m_tracks[track].data.streamType == StreamAudio && m_tracks[track].data.audio.format == fourCC("mp4a");
}

void FileWriter::freeTracks()
{
    for (Track& t : m_tracks)
        freeExtendedData(t.data);
    m_tracks.clear();
}

CvResult FileWriter::create(const std::wstring& filename, const TrackStructuralData* tracks, int trackCount,
                            unsigned maxFrames, bool reserveIndex)
{
    if (m_file.isOpen() || !m_tracks.empty())
        close();
    // The caller's choices of brand and of a file without a disk stay; the
    // rest of the flag word is the file's own.
    uint32_t keptFlags = m_flags & (FlagNoDiskFile | FlagMP4);
    initVariables();
    m_flags = keptFlags;
    clearLastError();
    if (trackCount < 1 || !tracks) {
        setLastError(InvalidArg, L"Invalid number of tracks");
        return InvalidArg;
    }
    // Only the tracks that a track writer exists for can be built.
    for (int i = 0; i < trackCount; ++i) {
        StreamType type = tracks[i].streamType;
        if (type != StreamVideo && type != StreamAudio && type != StreamTimecode && type != StreamAncillary) {
            setLastError(InvalidArg, L"Track %d has stream type %d, which the QuickTime writer cannot write.", i,
                         int(type));
            return InvalidArg;
        }
        if (type == StreamVideo && (tracks[i].video.rateNumerator == 0 || tracks[i].video.rateDenominator == 0 ||
                                    tracks[i].video.width == 0 || tracks[i].video.height == 0)) {
            setLastError(InvalidArg, L"Video track %d has no frame rate or no picture size (%u/%u, %ux%u).", i,
                         tracks[i].video.rateNumerator, tracks[i].video.rateDenominator, tracks[i].video.width,
                         tracks[i].video.height);
            return InvalidArg;
        }
        if (type == StreamAudio && (tracks[i].audio.sampleRate == 0 || tracks[i].audio.blockAlign == 0)) {
            setLastError(InvalidArg, L"Audio track %d has no sample rate or no block size.", i);
            return InvalidArg;
        }
        uint32_t format = tracks[i].audio.format;
        if (type == StreamAudio && format != 1 && format != fourCC("pcm ") && format != fourCC("sowt") &&
            format != fourCC("twos") && format != fourCC("in24") && format != fourCC("in32") &&
            format != fourCC("mp4a")) {
            std::string code = fourCCToString(format);
            for (char& c : code)
                if (c < 0x20 || c > 0x7E)
                    c = '?';
            setLastError(InvalidArg, L"Audio track %d has format \"%s\" (%x), which the QuickTime writer cannot write.",
                         i, code.c_str(), format);
            return InvalidArg;
        }
        if (type == StreamAncillary && tracks[i].anc.fourcc != fourCC("c608") &&
            tracks[i].anc.fourcc != fourCC("c708")) {
            setLastError(InvalidArg, L"Invalid anc fcc (%x). Only c608 or c708 is supported.", tracks[i].anc.fourcc);
            return InvalidArg;
        }
    }
    m_tracks.resize(size_t(trackCount));
    for (int i = 0; i < trackCount; ++i)
        m_tracks[size_t(i)].data = copyTrackStructuralData(tracks[i]);

    const Track* video = firstVideo();
    if (video) {
        uint32_t fcc = video->data.video.fourcc;
        if (fcc == fourCC("xd35") || fcc == fourCC("xd50"))
            setFlag(FlagOpenGOP);
        if (fcc == fourCC("avc1")) {
            try {
                m_nalBuffer.reserve(size_t(video->data.video.width) * video->data.video.height * 30 / 8);
            } catch (const std::exception&) {
                setLastError(OutOfMemory, L"Can't allocate nalProcessBuffer");
                freeTracks();
                return OutOfMemory;
            }
        }
    }

    if (filename.empty()) {
        if (!isFlagSet(FlagNoDiskFile)) {
            setLastError(InvalidArg, L"Empty filename");
            freeTracks();
            return InvalidArg;
        }
    } else {
        CvResult result = m_file.create(filename, iFile::Unbuffered,
                                        m_overwrite ? iFile::CreateAlways : iFile::CreateNew);
        if (!isSuccess(result)) {
            setLastError(result, L"Can't create CFileWriterUnbuffered");
            freeTracks();
            return result;
        }
        m_hasDiskFile = true;
        m_filename = filename;
        m_sectorSize = std::max(m_file.getSectorSize(), 1u);
    }

    if (!reserveIndex && !(video && (video->data.video.flags & VideoIndexAhead)))
        setFlag(FlagIndexAtEnd);

    if (!video) {
        m_timeScale = 600;
        for (const Track& t : m_tracks)
            if (t.data.streamType == StreamAudio) {
                m_timeScale = t.data.audio.sampleRate;
                break;
            }
    } else {
        uint32_t duration = 0;
        getTimeScaleFromRate(video->data.video.rateNumerator, video->data.video.rateDenominator, m_timeScale,
                             duration);
    }

    uint64_t headerSize = 0;
    if (!writingIndexTableAtTheEnd())
        headerSize = calcHeaderSize(maxFrames);
    setFileBrand(m_ftyp);
    buildMovie();

    CvResult result = OK;
    if (writingIndexTableAtTheEnd()) {
        result = doInitialSetupForMoovAfterMdat();
        if (!isSuccess(result))
            setLastError(result,
                         L"Failed in initial setup for 'moov' before 'mdat' (when index table is at the end)");
    } else {
        result = doInitialSetupForMoovBeforeMdat(headerSize);
        if (!isSuccess(result)) {
            setLastError(result,
                         L"Failed in initial setup for 'moov' before 'mdat' (when index table is at the beginning)");
        } else if (m_hasDiskFile) {
            // The essence starts behind the region.
            result = m_file.seek(m_dataStart, nullptr, 0);
        }
    }
    // The timecode sample goes first, so that the first header on disk
    // already describes it (docs/decisions.md).
    for (unsigned i = 0; isSuccess(result) && i < m_tracks.size(); ++i)
        if (m_tracks[i].data.streamType == StreamTimecode)
            result = writeInitialTimecode(i);
    if (isSuccess(result) && !writingIndexTableAtTheEnd()) {
        result = writeHeader();
        if (!isSuccess(result))
            setLastError(result, L"Failed writing header");
    }
    if (!isSuccess(result)) {
        std::wstring name = m_filename;
        m_file.close();
        if (!name.empty())
            CvFileIOFactoryProvider::deleteFile(name.c_str());
        freeTracks();
        std::wstring text = getLastError();
        initVariables();
        clearLastError();
        setLastError(text);
        return result;
    }
    return OK;
}

CvResult FileWriter::createFixedSize(const std::wstring& filename, const TrackStructuralData* tracks, int trackCount,
                                     TrackData* samples, unsigned frames)
{
    CvResult result = create(filename, tracks, trackCount, frames, false);
    if (!isSuccess(result))
        return result;
    for (unsigned i = 0; i < frames; ++i) {
        result = writeSamples(samples, trackCount, -1);
        if (!isSuccess(result))
            return result;
    }
    return flush();
}

} // namespace Corvidane::QuickTime
