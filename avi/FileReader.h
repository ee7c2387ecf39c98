#pragma once
#include <cstdint>
#include <map>
#include <memory>
#include <vector>

#include "avi/AviFormat.h"
#include "avi/AviMediaType.h"
#include "avi/IndexWindow.h"
#include "frame/ByteBuffer.h"
#include "frame/DiskFileReader.h"
#include "frame/MediaFileReader.h"

namespace Corvidane::Avi {

// Reads RIFF AVI files: classic ones with an idx1, and OpenDML ones whose
// streams carry an indx super index over ix## standard indexes, spread over
// AVIX RIFFs. The header is walked once in a bounded window and the movi data
// is skipped by seeking. Each stream keeps the index window it loaded last,
// so switching streams doesn't read an index again.
class FileReader : public MediaFileReader {
public:
    FileReader();
    ~FileReader() override;

    CvResult loadFile(const std::wstring& path, iFile::eFlags flags) override;
    CvResult essenceOpen(unsigned stream) override;
    unsigned getOpenEssenceStreamIndex() override { return m_openStream; }
    CvResult parseMetadata() override;
    bool get_IsVideo(int stream) override;
    bool get_IsAudio(int stream) override;
    bool get_HasIndexTable(int stream) override;
    bool get_IsIndexOK(int stream) override;
    int get_StreamCount() override { return static_cast<int>(m_streams.size()); }
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
    unsigned get_ApproxDataRate(int stream) override { return m_mainHeader.dwMaxBytesPerSec; }
    int get_FileType() override { return 0; }
    int get_ChannelCount(int stream) override;
    CvResult get_RateAndScale(int stream, int* rate, int* scale) override;
    CvResult get_AudioSampleRate(int stream, unsigned& rate) override;
    bool get_IsTimeCode(int stream) override { return false; }
    // An AVI has no timecode track.
    CvResult get_TimeCode(int stream, unsigned frame, unsigned* timecode) override { return NotImpl; }
    bool get_IsDropFrame(int stream) override { return false; }
    int getAudioByteOrder(int stream) override { return 1; }
    CvResult get_MetadataJSON(std::string& json,
                              std::map<LightweightString<char>, CByteBuffer>& binaryItems) override
    {
        return NotImpl;
    }
    int getM() override;
    int getN() override;
    int getGopLength(int stream) override;
    int get_Origin(int stream) override { return 0; }
    bool getIsOpenGop(int stream) override { return false; }
    CvResult getIndexEntry(unsigned sample, IndexEntry& entry) override;
    // The stream's OpenDML index is one of fields (subtype 1).
    bool get_IsIndexFieldBased(int stream) override { return validStream(stream) && m_streams[stream].fieldIndex; }
    bool essenceIsPresent(int stream) override { return validStream(stream); }
    unsigned get_BufferSize(int stream) override;
    CvResult loadIndexTable() override;
    bool isOp1a() override { return false; }
    CvResult essenceRead(unsigned long start, unsigned count, unsigned char* buffer, unsigned capacity,
                         unsigned& offset, unsigned& size) override;
    // Reads `count` video frames in one span; each frame's place in the buffer
    // goes to `offsets` and `sizes`.
    CvResult essenceRead(unsigned long start, unsigned count, unsigned char* buffer, unsigned capacity,
                         std::vector<unsigned>& offsets, std::vector<unsigned>& sizes);
    CvResult getGopAndPresentationOrder(unsigned frame, GOPInfo& info, std::vector<unsigned short>& order,
                                        bool) override;
    CvResult getGopAndPresentationOrder(unsigned frame, unsigned count, std::vector<unsigned>& decode,
                                        std::vector<unsigned>& presentation,
                                        std::vector<unsigned short>& order) override;
    CvResult getPresentationOrder(unsigned first, unsigned count, std::vector<unsigned>& out);
    bool findKeyframe(unsigned frame, bool forward, unsigned& keyframe) override;
    bool getExtensionItem(int stream, unsigned fourcc, CByteBuffer& data) override;
    unsigned get_UncompressedSamples(int stream) override;
    std::wstring getCompressorName2(int stream) override;
    int getAvidResolutionId(int stream) override { return 0; }
    int64_t getCreationTime() override { return 0; }
    int64_t getModifiedTime() override { return 0; }
    int streamGetExtraData(int stream, unsigned char* data, int capacity) override;

    // Reorders IBP-indexed video by its stored order; reloads an open index.
    bool set_TemporalReordering(bool on);
    const MediaType& mediaType() const { return m_mediaType; }

private:
    struct Stream {
        AviStreamHeader header;
        BitmapInfoHeader bitmap;
        WaveFormat wave;
        std::vector<unsigned char> extraData;
        int bitsPerSample = 0;
        bool hasHeader = false;
        bool hasFormat = false;
        std::vector<AviSuperIndexEntry> superIndex;
        uint8_t superIndexSubType = 0;
        uint32_t superIndexChunkId = 0;
        uint32_t superIndexCount = 0;
        bool fieldIndex = false;
        // Some frame seen in an index is not a key frame.
        bool predicted = false;
        IndexWindow window;
        // The format tag, through WAVEFORMATEXTENSIBLE to the format it names.
        uint16_t formatTag() const;
        // Bytes of one sound sample. Compressed sound is a stream of bytes
        // that its decoder frames: its nBlockAlign is no sample size (MP3
        // writers put 1152 there, the samples of a frame).
        unsigned blockAlign() const;
    };
    // What the header walk does after a chunk.
    enum class Walk { Next, Here, End, Failed };

    void initVariables();
    CvResult fail(CvResult code, const wchar_t* text);
    bool validStream(int stream) const { return stream >= 0 && static_cast<size_t>(stream) < m_streams.size(); }
    bool isVideo(const Stream& stream) const;
    bool isAudio(const Stream& stream) const;

    // Header walk (FileReaderHeader.cpp).
    CvResult ReaderHeader();
    CvResult ParseChunkData();
    Walk parseChunk(uint32_t fourcc, const unsigned char* data, uint32_t size, CvResult& result);
    bool ChunkNext();
    bool SkipMovi(uint32_t listSize);
    bool ParseINDX(const unsigned char* chunk, uint32_t available);
    CvResult parseStreamFormat(Stream& stream, const unsigned char* data, uint32_t size);
    void INFO_Extract(uint32_t fourcc, const unsigned char* data, uint32_t size);
    int GetStreamIndexFromChunkId(uint32_t id) const;
    Stream* firstStream(bool withoutFormat);

    // Media types of video streams (FileReaderMediaType.cpp).
    void STRF_MakeTypeMMES(const Stream& stream);
    void STRF_MakeTypeMJPEG(const Stream& stream, const unsigned char* data);
    void STRF_MakeTypeDV(const Stream& stream, uint32_t subtype);
    void makeTypeYuv(const Stream& stream);
    void makeTypeOther(const Stream& stream);

    // Index loading (FileReaderIndex.cpp).
    CvResult LoadINDX(unsigned stream, uint64_t sample);
    // The entries of the standard index that super index entry `item` points
    // at, its first sample being `first`; empty chunks are left empty.
    CvResult readStandardIndex(unsigned stream, size_t item, uint64_t first, std::vector<IndexEntry>& entries);
    CvResult LoadIDX1();
    // Every stream that has no OpenDML index takes its entries from one pass
    // over idx1 or over the chunks: those streams, by number (null for the
    // others), with empty windows.
    std::vector<Stream*> streamsWithoutOpenDmlIndex();
    // Ends that pass: `samples` of each stream.
    void finishWindows(const std::vector<Stream*>& byNumber, const std::vector<uint64_t>& samples);
    // The pass over the chunks of the movi lists, for a file with neither
    // index (FileReaderScan.cpp).
    CvResult scanMovi();
    // No stream has an OpenDML index and there is no idx1.
    bool indexedByScan() const;
    bool ensureSampleInRam(uint64_t sample);
    const IndexEntry* getIndexEntryV(uint64_t sample);
    const IndexEntry* getIndexEntryA(uint64_t sample, uint64_t& remaining, uint64_t& first);
    CvResult readAt(uint64_t position, uint64_t size, std::vector<unsigned char>& data, unsigned& offset);

    // Essence (FileReaderAccess.cpp).
    CvResult ReadVideo(unsigned long position, unsigned count, unsigned char* buffer, unsigned size,
                       std::vector<unsigned>& offsets, std::vector<unsigned>& sizes);
    CvResult ReadAudio(unsigned long sample, unsigned count, unsigned char* buffer, unsigned size,
                       unsigned& offset, unsigned& used);
    CvResult CacheAudioData(uint64_t sample);
    CvResult collectGop(unsigned frame, unsigned count, std::vector<IndexEntry>& gop);
    Stream* openStream();

    Vex::CFileReaderUnbuffered m_file;
    uint64_t m_fileSize = 0;

    // The header window: bytes of the file from fileBase on.
    CByteBuffer m_header;
    uint64_t m_bufferSize = 0;
    uint64_t m_headerUsed = 0;
    uint64_t m_fileBase = 0;
    uint64_t m_chunkOffset = 0;
    uint64_t m_listEnd = 0;

    AviMainHeader m_mainHeader;
    bool m_hasMainHeader = false;
    unsigned char m_dmlHeader[248] = {};
    unsigned char m_videoProperties[48] = {};
    std::vector<Stream> m_streams;
    MediaType m_mediaType;
    uint64_t m_idx1Offset = 0;
    uint64_t m_idx1Size = 0;
    uint64_t m_moviOffset = 0;
    unsigned m_openStream = 0;
    bool m_streamOpen = false;
    bool m_temporalReordering = false;

    // The chunk of audio read last, and which samples it holds.
    std::vector<unsigned char> m_audioBuffer;
    unsigned m_audioBufferStart = 0;
    uint64_t m_audioBufferFirst = 0;
    uint64_t m_audioBufferSamples = 0;
    int m_audioBufferStream = -1;

    std::map<uint32_t, CByteBuffer> m_info;
};

} // namespace Corvidane::Avi
