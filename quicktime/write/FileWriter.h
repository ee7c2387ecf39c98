#pragma once
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "frame/Base.h"
#include "frame/ByteBuffer.h"
#include "frame/DiskFileWriter.h"
#include "frame/TrackRecords.h"
#include "growing/Indexer.h"
#include "quicktime/atoms/Atom.h"
#include "quicktime/atoms/Extensions.h"
#include "quicktime/atoms/HeaderAtoms.h"
#include "quicktime/atoms/SampleDescriptors.h"
#include "quicktime/atoms/SampleTables.h"

// The QuickTime container writer. The work is split by concern:
// WriterConfig.cpp (sample descriptions, chunking, time scales),
// WriterHeaderSize.cpp (the room the header takes), WriterMovieTree.cpp (the
// atom tree), WriterHeaderRegion.cpp (where the header goes and the mdat
// header), WriterIndexTables.cpp (the tables as chunks land),
// WriterCreate.cpp, WriterTrackChunks.cpp (samples staged into chunks),
// WriterSamples.cpp (the sample flow, the AVC first frame) and
// WriterClose.cpp (flush, insert, close, the side index).
namespace Corvidane::QuickTime {

// The chunk under construction of one track.
struct TrackEssenceBuffer {
    CByteBuffer buffer;
    uint32_t samplesInBuffer = 0;
    int32_t samplesPerChunk = 1;
    std::vector<uint32_t> sampleSizes;
    std::vector<uint32_t> frameTypes;
    std::vector<uint32_t> presentation;
    bool variableSizes = false;
};

// The reserved byte lengths of the tables of one stream type; all ones unset.
struct HeaderAtomSizes {
    static constexpr uint64_t unset = UINT64_MAX;
    uint64_t stsc = unset, stsz = unset, stco = unset, stts = unset, stss = unset, ctts = unset, stps = unset,
             sdtp = unset;
};

// A sample held back by the open GOP interleave.
struct TrackDataBufferedAndContext {
    std::vector<unsigned char> data;
    uint32_t size = 0;
    uint32_t presentationIndex = 0;
    uint32_t frameType = 0;
    uint32_t chunkCycleIndex = 0;
    unsigned track = 0;
};

class FileWriter : public Base {
public:
    // Writer flag word.
    enum Flags : uint32_t { FlagOpenGOP = 1, FlagMP4 = 4, FlagNoDiskFile = 8, FlagIndexAtEnd = 16 };
    static constexpr uint32_t allOnes = 0xFFFFFFFF;
    static constexpr unsigned defaultMaxFileAtoms = 540000;

    FileWriter();
    ~FileWriter() override;
    FileWriter(const FileWriter&) = delete;
    FileWriter& operator=(const FileWriter&) = delete;

    // --- The sample flow ---
    CvResult create(const std::wstring& filename, const TrackStructuralData* tracks, int trackCount,
                    unsigned maxFrames, bool reserveIndex);
    CvResult createFixedSize(const std::wstring& filename, const TrackStructuralData* tracks, int trackCount,
                             TrackData* samples, unsigned frames);
    // frameIndex -1 appends; 0 or more replaces that frame. An "avc1" video
    // row is rewritten in place into length-prefixed form (the caller sees it).
    CvResult writeSamples(TrackData* rows, int trackCount, int frameIndex);
    CvResult writeSamples(TrackData* rows, int trackCount) { return writeSamples(rows, trackCount, -1); }
    CvResult insertSamples(unsigned frame, TrackData* rows, int trackCount);
    CvResult flush();
    CvResult flushEssence();
    void setFlushPeriod(unsigned frames) { m_flushPeriod = frames; }
    CvResult close();

    void setExternalIndexer(std::shared_ptr<ExternalIndexer::Indexer> indexer, unsigned track);
    std::shared_ptr<ExternalIndexer::Indexer> externalIndexer(unsigned track) const;
    CvResult addExternalIndex(unsigned track, uint64_t offset, uint32_t size, uint32_t presentation, uint32_t decode,
                              uint32_t frameType);
    void closeIndexer(unsigned track);
    void closeIndexers();

    void setOverwriteExistingFile(bool overwrite) { m_overwrite = overwrite; }
    void setMaxFileAtoms(unsigned frames) { m_maxFileAtoms = m_callerMaxFileAtoms = frames; }
    void setNextIndexRealLocation(uint32_t presentation) { m_nextRealLocation = presentation; }
    void setFlag(uint32_t flag) { m_flags |= flag; }
    bool isFlagSet(uint32_t flag) const { return (m_flags & flag) != 0; }
    bool isOpenGOP() const { return isFlagSet(FlagOpenGOP); }
    bool writingIndexTableAtTheEnd() const { return isFlagSet(FlagIndexAtEnd); }

    // --- Configuration (public so that tests can read the tables) ---
    std::unique_ptr<VideoDescriptor> cfgVideo(unsigned track);
    std::unique_ptr<SampleDescriptor> cfgAudio(unsigned track);
    std::unique_ptr<TimecodeDescriptor> cfgTimecode(unsigned track);
    std::unique_ptr<ClosedCaptionDescriptor> cfgAnc(unsigned track);
    static void getAudioTypeAndDescriptorVersion(const AudioStructuralData& audio, uint32_t& format, int& version);
    static unsigned framesPerChunk(uint32_t fourcc, unsigned width, unsigned height, unsigned rateNumerator);
    void getTimeScaleFromRate(uint32_t numerator, uint32_t denominator, uint32_t& timeScale,
                              uint32_t& duration) const;
    bool onlyNeedFirstEntryAsFixedSampleSize(unsigned track) const;
    bool trackHasVariableLengthSamples(unsigned track) const;
    void updateFixedSampleSize(unsigned track, uint32_t size);

    // --- Header and index layout ---
    uint64_t calcHeaderSize(unsigned maxFrames);

    // State that tests look at.
    uint32_t movieTimeScale() const { return m_timeScale; }
    unsigned maxFileAtoms() const { return m_maxFileAtoms; }
    uint64_t headerRegionSize() const { return m_headerBuffer.capacity(); }
    uint64_t mdatPayload() const { return m_mdatPayload; }
    const std::vector<uint32_t>& sampleSizeMode() const { return m_sampleSizeMode; }
    const TrackEssenceBuffer& essence(unsigned track) const { return m_tracks.at(track).essence; }
    uint32_t maxChunks(unsigned track) const { return m_maxChunks.at(track); }
    uint32_t maxChunkOffsets(unsigned track) const { return m_maxChunkOffsets.at(track); }
    // A test may pretend that this much essence was written already, to
    // reach the 64-bit sizes without writing 4 GiB (the file gets a hole).
    CvResult skipEssenceForTest(uint64_t bytes);

private:
    // The atoms of one track that the writer updates as samples arrive.
    struct TrackTables {
        TrackHeader* tkhd = nullptr;
        MediaHeader* mdhd = nullptr;
        QTListEx<EditListItem>* elst = nullptr;
        QTListEx<Time2SampleItem>* stts = nullptr;
        QTListEx<Sample2ChunkItem>* stsc = nullptr;
        SampleSizeListEx* stsz = nullptr;
        SampleDependencyList* sdtp = nullptr;
        QTListEx<unsigned int>* stss = nullptr;
        QTListEx<unsigned int>* stps = nullptr;
        QTListEx<CTTSItem>* ctts = nullptr;
        QTListEx<unsigned long>* co64 = nullptr;
        SampleDescriptor* description = nullptr;
        // Extensions that the first frame fills.
        OpaqueExtension* avcC = nullptr;
        OpaqueExtension *ares = nullptr, *aclr = nullptr, *aprg = nullptr, *adhr = nullptr;
    };
    struct Track {
        TrackStructuralData data{};
        TrackEssenceBuffer essence;
        TrackTables tables;
        uint32_t samplesWritten = 0;
        std::vector<uint32_t> pendingSizes;
        uint32_t inputSampleCount = 0;
        uint32_t externalEntries = 0; // entries given to the external indexer
        uint32_t sampleDuration = 1; // media ticks per sample
        uint32_t mediaTimeScale = 1;
        std::shared_ptr<ExternalIndexer::Indexer> indexer;
    };

    void initVariables();
    const Track* firstVideo() const;
    int firstVideoIndex() const;
    double videoRate() const;
    bool isAac(unsigned track) const;
    uint64_t roundToSector(uint64_t value) const;

    // Configuration
    void addColourAndAspect(VideoDescriptor& description, const VideoStructuralData& video, unsigned std,
                            bool anamorphic, bool dvFamily);
    void applySampleSizeRule(unsigned track, uint32_t bufferBytes);
    void alignSampleSizeMode(unsigned track);

    // Header and index layout
    void setFileBrand(std::vector<unsigned char>& ftyp) const;
    void getChunkDetails(unsigned track, uint64_t& chunks, uint64_t& total, bool& hasPartialChunk) const;
    uint64_t getStssSize(unsigned frames) const;
    uint64_t getStpsSize(unsigned frames) const;
    uint64_t getCtssSize(unsigned frames) const;
    uint64_t getSdtpSize(unsigned frames) const;
    uint64_t getOpenGopMaxChunks(unsigned frames) const;
    void buildMovie();
    std::unique_ptr<Atom> writeUserData();
    std::unique_ptr<Atom> writeAtom_trak(unsigned track);
    std::unique_ptr<Atom> writeAtom_tapt(unsigned width, unsigned height);
    std::unique_ptr<Atom> writeAtom_edts(unsigned track);
    std::unique_ptr<Atom> writeAtom_mdia(unsigned track);
    std::unique_ptr<Atom> writeAtom_minf(unsigned track);
    std::unique_ptr<Atom> writeAtom_stbl(unsigned track);
    std::unique_ptr<Atom> rawAtom(std::vector<unsigned char> bytes);
    template <typename T>
    std::unique_ptr<T> sizedTable(uint32_t type, StreamType stream, uint64_t HeaderAtomSizes::*field);
    CvResult doInitialSetupForMoovBeforeMdat(uint64_t headerSize);
    CvResult doInitialSetupForMoovAfterMdat();
    CvResult writeHeader();
    CvResult formatMdatAndWriteToFile(bool rewrite);
    void renderMdatHeader(unsigned char* slot) const;
    void updateMdatSize(uint64_t bytes);
    uint64_t essencePosition() const { return m_dataStart + m_mdatPayload; }
    // What one chunk that has just reached the disk holds.
    struct PendingChunk {
        uint32_t samples = 0;
        std::vector<uint32_t> sizes;        // per sample, or one constant
        std::vector<uint32_t> frameTypes;   // video
        std::vector<uint32_t> presentation; // video
        std::vector<uint32_t> callSizes;    // the rows that went into it
        uint32_t firstInput = 0;            // input count before its first row
        uint64_t offset = 0;
    };
    CvResult updateIndexes(unsigned track, const PendingChunk& chunk, bool sizeKnown, bool continueChunk,
                           bool startNewChunk);
    void updateIndex_stsz(unsigned track, uint32_t samples, const std::vector<uint32_t>& sizes);
    CvResult updateIndex_sync(unsigned track, const PendingChunk& chunk);
    CvResult updateIndex_ctts(unsigned track, const PendingChunk& chunk);
    void updateIndex_sdtp(unsigned track, const PendingChunk& chunk);
    void updateExistingIndex(unsigned track, uint32_t chunk, uint64_t offset);
    void updateTrackDurations(unsigned track);
    CvResult writeInitialTimecode(unsigned track);

    // Sample flow
    CvResult writeTrack(const TrackData& row, unsigned track, int frameIndex, uint32_t& samplesDone,
                        bool continueChunk, bool startNewChunk);
    CvResult flushRemainingEssence(unsigned track, bool continueChunk, bool startNewChunk, bool force);
    CvResult writeChunk(unsigned track, uint64_t bytes, uint32_t samples, bool replacing, int frameIndex,
                        bool continueChunk, bool startNewChunk);
    void resetEssenceData(unsigned track);
    uint32_t getNumberOfInputSamples(unsigned track, uint32_t size) const;
    uint64_t getMemoryAllocationSize(unsigned track, uint32_t size) const;
    CvResult attemptFlushSamples(uint32_t samples);
    CvResult extractFirstFrameData(const TrackData& row);
    CvResult writeOpenGopRow(TrackData& row, unsigned track, int frameIndex, uint32_t& samplesDone);
    CvResult flushBuffered(bool audio);
    void freeTracks();

    // Disk file and layout.
    Vex::CFileWriterUnbuffered m_file;
    std::wstring m_filename;
    bool m_hasDiskFile = false;
    unsigned m_sectorSize = 512;
    uint32_t m_flags = 0;
    bool m_overwrite = false;
    unsigned m_flushPeriod = 0;
    unsigned m_samplesSinceFlush = 0;
    unsigned m_maxFileAtoms = defaultMaxFileAtoms;
    unsigned m_callerMaxFileAtoms = defaultMaxFileAtoms; // what each new file starts from
    double m_maxDuration = defaultMaxFileAtoms / 25.0;
    uint32_t m_timeScale = 2500;
    uint32_t m_nextRealLocation = allOnes;
    unsigned m_videoFramesWritten = 0;

    std::vector<Track> m_tracks;
    std::vector<uint32_t> m_sampleSizeMode;
    std::vector<uint32_t> m_maxChunks, m_maxChunkOffsets;
    std::map<StreamType, HeaderAtomSizes> m_headerAtomSizes;

    std::unique_ptr<Atom> m_moov;
    MovieHeader* m_mvhd = nullptr;
    CByteBuffer m_headerBuffer;
    std::vector<unsigned char> m_headerOnDisk; // the region as last written
    std::vector<unsigned char> m_ftyp;
    uint64_t m_moovPosition = 0;
    uint64_t m_mdatOffset = 0;  // the 16-byte mdat header slot
    uint64_t m_dataStart = 0;   // the first byte of essence
    uint64_t m_mdatPayload = 0;
    std::vector<unsigned char> m_mdatBlock; // index last: the sectors that end with the mdat header
    uint64_t m_mdatBlockStart = 0;
    std::vector<std::unique_ptr<std::vector<unsigned char>>> m_rawBlocks;
    bool m_anythingWritten = false;

    // AVC
    std::vector<unsigned char> m_nalBuffer;
    bool m_firstFrameDone = false;

    // Open GOP interleave.
    std::vector<uint32_t> m_chunkCycle;
    size_t m_chunkCycleAt = 0;
    uint32_t m_chunkCycleCounter = 0;
    std::multimap<unsigned, TrackDataBufferedAndContext> m_bufferedAudio, m_bufferedAnc;
};

// AVC helpers of the sample flow.
const unsigned char* avc_find_startcode(const unsigned char* begin, const unsigned char* end);
// Annex B to 32-bit length prefixes; the new size. `buffer` grows when short.
uint32_t avc_parse_nal_units(const unsigned char* data, uint32_t size, std::vector<unsigned char>& buffer);
// The AVCDecoderConfigurationRecord of the SPS and PPS units; 0 without an SPS.
uint32_t extractavcCData(const unsigned char* data, uint32_t size, std::vector<unsigned char>& out);

} // namespace Corvidane::QuickTime
