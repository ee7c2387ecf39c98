#pragma once
#include <memory>
#include <vector>

#include "frame/MediaFileReader.h"
#include "growing/IndexReader.h"

namespace Corvidane::EWC {

// Reads a file that another process is still capturing, without looking at
// its container: each sidecar index beside it is one stream, and the sample
// positions and everything else a reader answers come from the sidecars.
class FileReader : public MediaFileReader {
public:
    // Opens the sidecars 0 to 31 of the path; after number 4 the first gap
    // ends the search. No sidecar at all is no error.
    CvResult loadFile(const std::wstring& path, iFile::eFlags flags) override;
    CvResult essenceOpen(unsigned stream) override;
    unsigned getOpenEssenceStreamIndex() override { return m_currentStream; }
    CvResult parseMetadata() override { return OK; }
    bool get_IsVideo(int stream) override;
    bool get_IsAudio(int stream) override;
    bool get_HasIndexTable(int stream) override;
    bool get_IsIndexOK(int stream) override { return true; }
    int get_StreamCount() override { return static_cast<int>(m_readers.size()); }
    CvResult get_FCC(int stream, unsigned& fcc) override;
    double get_Rate(int stream) override;
    unsigned get_Length(int stream) override;
    int get_BitsPerSample(int stream) override;
    int get_Width(int stream) override;
    int get_Height(int stream) override;
    CvResult getPixelAspect(int stream, int& numerator, int& denominator) override { return False; }
    int getFramePolarity(int stream) override;
    int getScanMode(int stream) override;
    std::wstring getSourceTape() override { return {}; }
    unsigned get_ApproxDataRate(int stream) override { return 0; }
    int get_FileType() override { return 6; }
    int get_ChannelCount(int stream) override;
    CvResult get_RateAndScale(int stream, int* rate, int* scale) override;
    CvResult get_AudioSampleRate(int stream, unsigned& rate) override;
    bool get_IsTimeCode(int stream) override;
    CvResult get_TimeCode(int stream, unsigned frame, unsigned* timecode) override;
    bool get_IsDropFrame(int stream) override { return false; }
    int getAudioByteOrder(int stream) override;
    CvResult get_MetadataJSON(std::string& json, std::map<LightweightString<char>, CByteBuffer>& binaryItems) override
    {
        return OK;
    }
    int getM() override { return 3; }
    int getN() override { return 0; }
    int getGopLength(int stream) override;
    int get_Origin(int stream) override { return 0; }
    bool getIsOpenGop(int stream) override;
    CvResult getIndexEntry(unsigned sample, IndexEntry& entry) override;
    bool essenceIsPresent(int stream) override { return true; }
    unsigned get_BufferSize(int stream) override;
    CvResult loadIndexTable() override { return OK; }
    bool isOp1a() override { return false; }
    // Audio is read by audio sample across frames, everything else by sample.
    CvResult essenceRead(unsigned long start, unsigned count, unsigned char* buffer, unsigned capacity,
                         unsigned& offset, unsigned& size) override;
    CvResult getGopAndPresentationOrder(unsigned frame, GOPInfo& info, std::vector<unsigned short>& order,
                                        bool) override;
    CvResult getGopAndPresentationOrder(unsigned start, unsigned count, std::vector<unsigned>& decode,
                                        std::vector<unsigned>& presentation,
                                        std::vector<unsigned short>& order) override;
    // Key frames are found by getNearestKeyFrame, which asks the index.
    bool findKeyframe(unsigned frame, bool forward, unsigned& keyframe) override { return false; }
    CvResult getNearestKeyFrame(unsigned frame, eKeyframeType type, unsigned& keyframe) override;
    bool getExtensionItem(int stream, unsigned fourcc, CByteBuffer& data) override;
    unsigned get_UncompressedSamples(int stream) override;
    std::wstring getCompressorName2(int stream) override { return {}; }
    // The index carries no resolution id; a growing file answers 0, as any
    // file without one does, rather than failing its caller.
    int getAvidResolutionId(int stream) override;
    int64_t getCreationTime() override;
    int64_t getModifiedTime() override;
    void recalculateSize() override;

private:
    bool checkTrack(unsigned stream) const { return stream < m_readers.size(); }
    std::shared_ptr<ExternalIndexer::Indexer> getIndexer(unsigned stream) const;
    // The item as text; empty for a bad stream, an unknown key or a failure.
    std::wstring getMetadataString(const char* key, int stream);
    unsigned firstTrackType(int stream) const;
    // A field of the stream's sidecar header; 0 for a bad stream.
    int headerField(int stream, unsigned (ExternalIndexer::Indexer::*field)() const) const;

    std::vector<std::shared_ptr<ExternalIndexer::Reader>> m_readers;
    unsigned m_currentStream = 0;
};

} // namespace Corvidane::EWC
