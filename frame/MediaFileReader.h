#pragma once
#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "frame/Base.h"
#include "frame/ByteBuffer.h"
#include "frame/VideoColour.h"
#include "host/LightweightString.h"
#include "host/iFile.h"

namespace Corvidane {

enum StreamType : int32_t { StreamVideo = 1, StreamAudio = 2, StreamTimecode = 3, StreamAncillary = 5 };

// Bits of IndexEntry::frameType.
enum FrameTypeBits : uint16_t {
    FrameSequenceHeader = 1,
    FrameIntra = 4,
    FrameBidirectional = 8,
    FramePredicted = 16,
    FrameRandomAccess = 64,
    FrameIncomplete = 128,
    // A random access picture carries both bits; either one makes a key frame.
    FrameKey = FrameIntra | FrameRandomAccess,
};

#pragma pack(push, 1)
// One sample of a stream; 22 bytes, the row layout of the external index file.
struct IndexEntry {
    uint64_t offset = 0;
    uint32_t size = 0;
    uint16_t frameType = 0;
    uint32_t presentationIndex = 0;
    uint32_t decodeIndex = 0;
};
#pragma pack(pop)
static_assert(sizeof(IndexEntry) == 22, "IndexEntry is a 22-byte packed record");

inline bool isKeyFrame(const IndexEntry& entry) { return (entry.frameType & FrameKey) != 0; }

// The decode and presentation order of a group of pictures. The arrays are the
// caller's, made by allocGOPInfo; a reader only fills them.
struct GOPInfo {
    uint64_t count = 0;
    uint32_t* decodeOrder = nullptr;
    uint32_t* presentationOrder = nullptr;
};

// Throws std::bad_array_new_length for a count that can't be addressed.
bool allocGOPInfo(GOPInfo& info, unsigned long count);
void freeGOPInfo(GOPInfo& info);

struct TimeToSampleItem {
    uint32_t sampleCount = 0;
    uint32_t sampleDuration = 0;
};

// Which key frame getNearestKeyFrame looks for.
enum eKeyframeType : int32_t { KeyframeBefore = 0, KeyframeAfter = 1, KeyframeNearest = 2 };

// The contract of every container reader. One caller at a time: a reader has
// one current stream and one file position. Results of 0 (OK) or 1 (False)
// are success; NotImpl from a defaulted query means the container has no such
// value.
class MediaFileReader : public Base {
public:
    ~MediaFileReader() override = default;

    virtual CvResult loadFile(const std::wstring& path, iFile::eFlags flags) = 0;
    virtual CvResult essenceOpen(unsigned stream) = 0;
    virtual unsigned getOpenEssenceStreamIndex() = 0;
    virtual CvResult parseMetadata() = 0;
    virtual bool get_IsVideo(int stream) = 0;
    virtual bool get_IsAudio(int stream) = 0;
    virtual bool get_HasIndexTable(int stream) = 0;
    virtual bool get_IsIndexOK(int stream) = 0;
    virtual int get_StreamCount() = 0;
    virtual CvResult get_FCC(int stream, unsigned& fcc) = 0;
    virtual double get_Rate(int stream) = 0;
    virtual unsigned get_Length(int stream) = 0;
    virtual int get_BitsPerSample(int stream) = 0;
    virtual int get_Width(int stream) = 0;
    virtual int get_Height(int stream) = 0;
    virtual CvResult getPixelAspect(int stream, int& numerator, int& denominator) = 0;
    // 0 unknown; 1 and 2 the two field orders; 3 interlaced, order unknown; 4 progressive.
    virtual int getFramePolarity(int stream) = 0;
    // 0 unknown; 1 and 2 the two field orders; 3 progressive.
    virtual int getScanMode(int stream) = 0;
    virtual CvResult get_ColourPrimaries(int stream, VideoColourCPMode& mode) { return NotImpl; }
    virtual CvResult get_TransferCharacteristic(int stream, VideoColourTCMode& mode) { return NotImpl; }
    virtual std::wstring getSourceTape() = 0;
    virtual unsigned get_ApproxDataRate(int stream) = 0;
    // 0 AVI, 2 QuickTime family, 3 MXF, 6 growing file.
    virtual int get_FileType() = 0;
    virtual int get_ChannelCount(int stream) = 0;
    virtual CvResult get_RateAndScale(int stream, int* rate, int* scale) = 0;
    virtual CvResult get_AudioSampleRate(int stream, unsigned& rate) = 0;
    virtual CvResult get_RateAndScaleLimits(int stream, unsigned& minDuration, unsigned& maxDuration,
                                            unsigned& timescale, unsigned& entries)
    {
        return NotImpl;
    }
    virtual CvResult get_TimeToSampleList(int stream, std::vector<TimeToSampleItem>& list) { return NotImpl; }
    virtual bool get_IsTimeCode(int stream) = 0;
    virtual CvResult get_TimeCode(int stream, unsigned frame, unsigned* timecode) = 0;
    virtual bool get_IsDropFrame(int stream) = 0;
    // 1 little-endian.
    virtual int getAudioByteOrder(int stream) = 0;
    virtual CvResult get_MetadataValue(const char* key, int stream, int& value) { return NotImpl; }
    virtual CvResult get_MetadataValue(const char* key, int stream, bool& value) { return NotImpl; }
    virtual CvResult get_MetadataValue(const char* key, int stream, std::wstring& value) { return NotImpl; }
    virtual CvResult get_MetadataJSON(std::string& json,
                                      std::map<LightweightString<char>, CByteBuffer>& binaryItems) = 0;
    virtual int getM() = 0;
    virtual int getN() = 0;
    // 1 for intra-only streams, 0 for an invalid stream.
    virtual int getGopLength(int stream) = 0;
    virtual int get_Origin(int stream) = 0;
    virtual bool getIsOpenGop(int stream) = 0;
    virtual CvResult getIndexEntry(unsigned sample, IndexEntry& entry) = 0;
    virtual unsigned get_Orientation(unsigned stream) { return 1; }
    virtual bool get_IsTemporalCompressed(int stream) { return getGopLength(stream) > 1; }
    virtual bool get_IsIndexFieldBased(int stream) { return false; }
    virtual bool essenceIsPresent(int stream) = 0;
    virtual unsigned get_BufferSize(int stream) = 0;
    virtual CvResult loadIndexTable() = 0;
    virtual bool isOp1a() = 0;
    virtual bool isClipWrapped() const { return true; }
    virtual CvResult getDMMetadataValue(const char* key, int stream, std::wstring& value) { return NotImpl; }
    virtual std::wstring getPackageUmid(bool, int stream) { return {}; }
    // Reads `count` samples from `start` on the current stream. The data
    // begins `offset` bytes into the buffer and is `size` bytes long.
    virtual CvResult essenceRead(unsigned long start, unsigned count, unsigned char* buffer, unsigned capacity,
                                 unsigned& offset, unsigned& size) = 0;
    virtual CvResult getGopAndPresentationOrder(unsigned frame, GOPInfo& info, std::vector<unsigned short>& order,
                                                bool) = 0;
    virtual CvResult getGopAndPresentationOrder(unsigned frame, unsigned count, std::vector<unsigned>& decode,
                                                std::vector<unsigned>& presentation,
                                                std::vector<unsigned short>& order) = 0;
    // Searches from the frame on, the frame itself included.
    virtual bool findKeyframe(unsigned frame, bool forward, unsigned& keyframe) = 0;
    virtual CvResult getNearestKeyFrame(unsigned frame, eKeyframeType type, unsigned& keyframe);
    virtual bool findUserData(unsigned fourcc, std::wstring& value) { return false; }
    virtual bool getExtensionItem(int stream, unsigned fourcc, CByteBuffer& data) = 0;
    virtual unsigned get_UncompressedSamples(int stream) = 0;
    virtual std::wstring getCompressorName2(int stream) = 0;
    virtual int getAvidResolutionId(int stream) = 0;
    virtual int64_t getCreationTime() = 0;
    virtual int64_t getModifiedTime() = 0;
    virtual int streamGetExtraData(int stream, unsigned char* data, int capacity) { return 0; }
    virtual void recalculateSize() {}
    virtual bool isFragmented() const { return false; }
};

} // namespace Corvidane
