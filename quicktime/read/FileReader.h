#pragma once
#include <map>
#include <memory>
#include <utility>

#include "frame/DiskFileReader.h"
#include "frame/MediaFileReader.h"
#include "quicktime/read/Fragments.h"
#include "quicktime/read/Metadata.h"

namespace Corvidane::QuickTime {

// The reader of QuickTime and MP4 family files. loadFile finds the movie atom;
// parseMetadata reads it whole, builds the model and lets it go again, keeping
// only what the model needs: per-sample tables stay on disk and are paged in.
class FileReader : public MediaFileReader, public Vex::CFileReaderUnbuffered {
public:
    // A movie atom this large is refused rather than read into memory.
    static constexpr uint32_t maxMoovSize = 65000000;
    // Frames coded this far behind a range are not looked at for frames shown in it.
    static constexpr unsigned maxReorderDistance = 4096;

    FileReader();
    ~FileReader() override;

    CvResult loadFile(const std::wstring& path, iFile::eFlags flags) override;
    CvResult loadMayBe(const std::wstring& path, iFile::eFlags flags);
    CvResult parseMetadata() override;
    // Closes the current track's external essence file; the movie stays open.
    void close() override;

    CvResult essenceOpen(unsigned stream) override;
    unsigned getOpenEssenceStreamIndex() override { return m_currentStream; }
    bool get_IsVideo(int stream) override;
    bool get_IsAudio(int stream) override;
    bool get_IsAnc(int stream);
    bool get_HasIndexTable(int stream) override;
    bool get_IsIndexOK(int) override { return true; }
    int get_StreamCount() override { return static_cast<int>(m_movie.tracks.size()); }
    CvResult get_FCC(int stream, unsigned& fcc) override;
    double get_Rate(int stream) override;
    unsigned get_Length(int stream) override;
    int get_BitsPerSample(int stream) override;
    int get_Width(int stream) override;
    int get_Height(int stream) override;
    CvResult getPixelAspect(int stream, int& numerator, int& denominator) override;
    int getFramePolarity(int stream) override;
    int getScanMode(int stream) override;
    CvResult get_ColourPrimaries(int stream, VideoColourCPMode& mode) override;
    CvResult get_TransferCharacteristic(int stream, VideoColourTCMode& mode) override;
    std::wstring getSourceTape() override;
    unsigned get_ApproxDataRate(int stream) override;
    int get_FileType() override { return 2; }
    int get_ChannelCount(int stream) override;
    CvResult get_RateAndScale(int stream, int* rate, int* scale) override;
    CvResult get_AudioSampleRate(int stream, unsigned& rate) override;
    CvResult get_RateAndScaleLimits(int stream, unsigned& minDuration, unsigned& maxDuration, unsigned& timescale,
                                    unsigned& entries) override;
    CvResult get_TimeToSampleList(int stream, std::vector<TimeToSampleItem>& list) override;
    bool get_IsTimeCode(int stream) override;
    CvResult get_TimeCode(int stream, unsigned frame, unsigned* timecode) override;
    bool get_IsDropFrame(int stream) override;
    int getAudioByteOrder(int stream) override;
    CvResult get_MetadataJSON(std::string& json, std::map<LightweightString<char>, CByteBuffer>& binaryItems) override;
    int getM() override { return 3; }
    int getN() override { return 0; }
    int getGopLength(int stream) override;
    int get_Origin(int) override { return 0; }
    bool getIsOpenGop(int stream) override;
    CvResult getIndexEntry(unsigned sample, IndexEntry& entry) override;
    unsigned get_Orientation(unsigned stream) override;
    bool essenceIsPresent(int stream) override;
    unsigned get_BufferSize(int stream) override;
    CvResult loadIndexTable() override { return OK; }
    bool isOp1a() override { return false; }
    CvResult essenceRead(unsigned long start, unsigned count, unsigned char* buffer, unsigned capacity,
                         unsigned& offset, unsigned& size) override;
    // Video frames in one pass, each read into the buffer behind the last;
    // `offsets` tells where each frame starts and `sizes` how long it is.
    CvResult essenceRead(unsigned frame, unsigned count, unsigned char* buffer, unsigned capacity,
                         std::vector<unsigned>& offsets, std::vector<unsigned>& sizes);
    CvResult getGopAndPresentationOrder(unsigned frame, GOPInfo& info, std::vector<unsigned short>& order,
                                        bool useCount) override;
    CvResult getGopAndPresentationOrder(unsigned frame, unsigned count, std::vector<unsigned>& decode,
                                        std::vector<unsigned>& presentation,
                                        std::vector<unsigned short>& order) override;
    CvResult getPresentationOrder(unsigned start, unsigned count, std::vector<unsigned>& order);
    bool findKeyframe(unsigned frame, bool forward, unsigned& keyframe) override;
    bool findUserData(unsigned fourcc, std::wstring& value) override;
    bool getExtensionItem(int stream, unsigned fourcc, CByteBuffer& data) override;
    bool get_isAACAudio(int stream);
    unsigned get_UncompressedSamples(int stream) override;
    std::wstring getCompressorName2(int stream) override;
    int getAvidResolutionId(int stream) override;
    int64_t getCreationTime() override;
    int64_t getModifiedTime() override;
    bool isFragmented() const override { return m_movie.isFragmented(); }
    unsigned getTrackIndexFromTrackID(unsigned id) const;

    // The index entry of a track's sample that lies in a fragment, found in
    // the fragments parsed so far, through mfra, or by walking on through the
    // file; HandleEOF when the walk finds no more fragments of the track.
    CvResult findTrackFragmentIndexEntry(uint32_t trackId, uint32_t sample, IndexEntry& entry);

    // Entries of a stream's sample descriptions; video entries of video tracks only.
    const VideoDescriptor* getVideoDescriptor(int stream, size_t index = 0) const;
    const AvDescriptor* getAvDescriptor(int stream, size_t index = 0) const;
    const Metadata& movie() const { return m_movie; }
    uint64_t moovOffset() const { return m_moovOffset; }
    uint32_t moovSize() const { return m_moovSize; }

private:
    // A video track's picture size: its first sample description's, or the
    // track header's when there is no description or it says 0x0.
    std::pair<int, int> pictureSize(int stream) const;
    CvResult loadInternal(const std::wstring& path, iFile::eFlags flags);
    // The top-level atom of a type, by walking the atoms from the file's
    // start; Abort after a fifth mdat.
    CvResult findChunk(uint32_t type, uint64_t& offset, uint32_t& size);
    // The code searched as bytes in the first and the last 32 KiB.
    CvResult findChunk2(uint32_t type, uint64_t& offset, uint32_t& size);
    // The code searched as bytes in the last `window` bytes.
    CvResult findChunk3(uint32_t type, uint64_t& offset, uint32_t& size, uint64_t window);
    // Reads `count` bytes at `position` into `buffer`; the bytes start at `start`.
    CvResult readWindow(uint64_t position, uint64_t count, CByteBuffer& buffer, size_t& start, size_t& valid);
    CvResult searchWindow(uint32_t type, uint64_t position, uint64_t window, uint64_t& offset, uint32_t& size);
    void updateRefFile(Metadata_Track& track);

    // Fragments. The moof at or after `offset`, parsed once and kept.
    CvResult findMoof(uint64_t offset, Metadata_moof*& moof);
    // The fragment known to start at or before the sample decides; `from` is
    // where a walk can go on, null for the first fragment.
    CvResult checkIfIndexedAlready(uint32_t trackId, uint32_t sample, IndexEntry& entry, Metadata_moof*& from);
    CvResult checkIfRandomAccessible(uint32_t trackId, uint32_t sample, IndexEntry& entry);
    // Walks fragment by fragment from `from` until one holds the sample; the
    // sample Metadata_traf::unset stops at the track's first fragment.
    CvResult cacheMoofsTillSampleAcquired(uint32_t trackId, uint32_t sample, Metadata_moof* from, IndexEntry& entry);
    Metadata_moof* firstMoof(uint32_t trackId);
    // The fragment holding a track's sample, found as findTrackFragmentIndexEntry finds it.
    Metadata_moof* fragmentHolding(uint32_t trackId, uint32_t sample);
    // Key-frame and GOP-length searches that go on into the fragments. Frames
    // are numbered as findKeyframe numbers them, from the track's start sample.
    bool findFragmentKeyframe(Metadata_Track& track, unsigned frame, bool forward, unsigned& keyframe);
    int fragmentGopLength(Metadata_Track& track);
    // Reads mfra once, through the mfro at the file's end.
    const Metadata_mfra* randomAccess();
    // The samples of a track that moov itself describes.
    static uint32_t movieSampleCount(const Metadata_Track& track);
    bool inFragments(const Metadata_Track& track, uint64_t sample) const
    {
        return m_movie.isFragmented() && sample >= movieSampleCount(track);
    }
    // A fragment's sample as an index entry checked against the file's end,
    // with the error text of a failed lookup.
    CvResult fragmentIndexEntry(const Metadata_Track& track, uint64_t sample, IndexEntry& entry);

    Metadata_Track* track(int stream) const { return m_movie.track(stream); }
    bool trackIs(int stream, int type) const;
    // An extension of the first entry, looking into wave too.
    const QTAtom* findExtensionItem(int stream, uint32_t code) const;
    const Metadata_Track* firstTimecodeTrack() const;
    // Seeks and reads from the movie or the external essence file.
    Vex::CFileReaderUnbuffered& essenceFile() { return m_externalFile ? *m_externalFile : *this; }
    CvResult reportNoTrack(const wchar_t* operation);
    // The GOP query, gathering at most `limit` frames.
    CvResult gatherGop(unsigned frame, unsigned count, size_t limit, std::vector<unsigned>& decode,
                       std::vector<unsigned>& presentation, std::vector<unsigned short>& order);

    uint64_t m_moovOffset = 0;
    uint32_t m_moovSize = 0;
    // The file size when the moov was last parsed, and the parse's result.
    uint64_t m_parsedAtSize = 0;
    CvResult m_parseResult = OK;
    uint64_t m_mfroOffset = 0;
    uint32_t m_mfroSize = 0;
    Metadata m_movie;
    Metadata_Track* m_current = nullptr;
    unsigned m_currentStream = 0;
    uint32_t m_essenceSampleCount = 0;
    CByteBuffer m_readBuffer;
    std::unique_ptr<Vex::CFileReaderUnbuffered> m_externalFile;
    // Parsed fragments by file offset, and for each track id the fragments
    // by the sample each starts with.
    std::map<uint64_t, std::unique_ptr<Metadata_moof>> m_moofs;
    std::map<uint32_t, std::map<uint32_t, uint64_t>> m_trackFragments;
    std::unique_ptr<Metadata_mfra> m_mfra;
    bool m_mfraRead = false;
    // The last fragment found damaged, for the error text.
    uint64_t m_damagedMoof = UINT64_MAX;
};

} // namespace Corvidane::QuickTime
