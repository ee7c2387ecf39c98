#pragma once
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "frame/MediaFileReader.h"
#include "mxf/model/CategorizedComment.h"
#include "mxf/model/EssenceContainerData.h"
#include "mxf/model/EssenceID.h"
#include "mxf/model/IndexSegmentList.h"
#include "mxf/model/KlvItem.h"
#include "mxf/model/MxfBase.h"
#include "mxf/model/Package.h"
#include "mxf/model/PartitionList.h"
#include "mxf/model/Preface.h"
#include "mxf/model/Primer.h"
#include "mxf/read/EssenceLocator.h"
#include "mxf/read/IndexSegmentLoading.h"
#include "mxf/read/TrackDeltaMap.h"

namespace Corvidane::MXF {

// Vendors whose files the reader tells apart; the rest only name the source.
enum FileManufacturer : int {
    ManufacturerUnknown = 0,
    ManufacturerSony = 1,
    ManufacturerPinnacle = 2,
    ManufacturerGrassValley = 3,
    ManufacturerQuantel = 4,
    ManufacturerCanopus = 5,
    ManufacturerAvid = 6,
    ManufacturerMetaglue = 7,
    ManufacturerCodex = 8,
    ManufacturerOther = 9,
    ManufacturerBlackmagic = 10,
    ManufacturerFFmpeg = 11,
};

// The MXF reader: finds the partitions, reads the header metadata into the
// model, picks the source package whose tracks are the streams, and reads
// their essence through the index tables.
class CMxf_FileReader : public MediaFileReader, public CMxf_BaseClass {
public:
    CMxf_FileReader();
    ~CMxf_FileReader() override;

    // A header partition pack within the first 64 KiB.
    static bool isMXFFile(const std::wstring& path);

    // Loading (FileReader.cpp, FileReaderPartitions.cpp, FileReaderMetadata.cpp).
    CvResult loadFile(const std::wstring& path, iFile::eFlags flags) override;
    CvResult parseMetadata() override;
    CvResult loadMetadata();
    CvResult loadIndexTable() override;
    void close();
    void recalculateSize() override { updateFileSize(); }

    // Streams (FileReaderStreams.cpp).
    bool get_IsVideo(int stream) override { return getTrackType(stream) == StreamVideo; }
    bool get_IsAudio(int stream) override { return getTrackType(stream) == StreamAudio; }
    bool get_IsTimeCode(int stream) override;
    bool get_HasIndexTable(int stream) override { return !m_segments.empty(); }
    bool get_IsIndexOK(int stream) override { return !m_segments.empty(); }
    int get_StreamCount() override;
    CvResult get_FCC(int stream, unsigned& fcc) override;
    double get_Rate(int stream) override;
    CvResult get_RateAndScale(int stream, int* rate, int* scale) override;
    unsigned get_Length(int stream) override { return essenceLength(stream); }
    unsigned essenceLength(int stream);
    int get_Origin(int stream) override;
    int get_BitsPerSample(int stream) override { return metadataInt(stream, "bits_per_sample"); }
    int get_Width(int stream) override { return get_IsVideo(stream) ? metadataInt(stream, "width") : 0; }
    int get_Height(int stream) override { return metadataInt(stream, "height"); }
    unsigned get_ApproxDataRate(int stream) override { return unsigned(metadataInt(stream, "data_rate")); }
    int get_ChannelCount(int stream) override { return metadataInt(stream, "audio_track_count"); }
    CvResult get_AudioSampleRate(int stream, unsigned& rate) override;
    int getGopLength(int stream) override { return metadataInt(stream, "gop_length"); }
    CvResult getPixelAspect(int stream, int& numerator, int& denominator) override;
    int getFramePolarity(int stream) override;
    int getScanMode(int stream) override;
    CvResult get_ColourPrimaries(int stream, VideoColourCPMode& mode) override;
    CvResult get_TransferCharacteristic(int stream, VideoColourTCMode& mode) override;
    std::wstring getSourceTape() override;
    int get_FileType() override { return 3; }
    bool get_IsDropFrame(int stream) override;
    CvResult get_TimeCode(int stream, unsigned frame, unsigned* timecode) override;
    int getAudioByteOrder(int stream) override { return 1; }
    CvResult get_MetadataValue(const char* key, int stream, int& value) override;
    CvResult get_MetadataValue(const char* key, int stream, bool& value) override;
    CvResult get_MetadataValue(const char* key, int stream, std::wstring& value) override;
    CvResult getDMMetadataValue(const char* key, int stream, std::wstring& value) override;
    CvResult get_MetadataJSON(std::string& json, std::map<LightweightString<char>, CByteBuffer>& binaryItems) override;
    std::wstring getPackageUmid(bool material, int stream) override;
    bool essenceIsPresent(int stream) override { return findSourceTrack(stream) != nullptr; }
    bool isOp1a() override { return m_partitions.isOp1a(); }
    bool isClipWrapped() const override { return isFlagSet(FlagClipWrapped); }
    bool essenceIsClipWrapped(int stream);
    int getAvidResolutionId(int stream) override;
    int64_t getCreationTime() override;
    int64_t getModifiedTime() override;
    bool getExtensionItem(int stream, unsigned fourcc, CByteBuffer& data) override { return false; }
    unsigned get_UncompressedSamples(int stream) override { return 0; }
    std::wstring getCompressorName2(int stream) override { return {}; }
    int getFileManufacturer() const;

    // Writes the item's value to "klvdump<counter>.bin" in the temporary folder
    // and counts on; false when the whole value couldn't be written (KlvDump.cpp).
    static bool saveKlv2File(const CKlvItem& item, int& counter);

    // Essence and index (FileReaderAccess.cpp).
    CvResult essenceOpen(unsigned stream) override;
    void essenceClose();
    unsigned getOpenEssenceStreamIndex() override { return unsigned(m_openStream); }
    CvResult essenceRead(unsigned long start, unsigned count, unsigned char* buffer, unsigned capacity,
                         unsigned& offset, unsigned& size) override;
    unsigned get_BufferSize(int stream) override;
    CvResult getIndexEntry(unsigned sample, IndexEntry& entry) override;
    CvResult getPresentationOrder(unsigned first, unsigned count, std::vector<unsigned>& out);
    bool findKeyframe(unsigned frame, bool forward, unsigned& keyframe) override;
    CvResult getGopAndPresentationOrder(unsigned frame, GOPInfo& info, std::vector<unsigned short>& order,
                                        bool useGiven) override;
    CvResult getGopAndPresentationOrder(unsigned frame, unsigned count, std::vector<unsigned>& decode,
                                        std::vector<unsigned>& presentation,
                                        std::vector<unsigned short>& order) override;
    int getM() override { return anchorDistance(false); }
    int getN() override { return anchorDistance(true); }
    bool getIsOpenGop(int stream) override { return getIsOpenGop(stream, true); }
    bool getIsOpenGop(int stream, bool cached);

    // The model, for tools and tests.
    const CMxfPartitionList& partitions() const { return m_partitions; }
    const CMxf_IndexSegmentList& segments() const { return m_segments; }
    const CMxf_SM_PrefaceSet& preface() const { return m_preface; }
    const CMxf_SM_Package* getCurrentMP() const;
    const CMxf_SM_Package* getCurrentSP() const;
    uint32_t getRunIn() const { return m_partitions.runIn; }

    // Flag bits of CMxf_BaseClass::flags.
    enum : uint32_t { FlagXDCAM = 1, FlagClipWrapped = 2, FlagAppendedTrack = 4 };

private:
    // Loading.
    CvResult findPartitions(const std::wstring& path, iFile::eFlags flags);
    CvResult openAndFindHeader(const std::wstring& path, iFile::eFlags flags);
    CvResult readPartitionsFromRip(std::vector<unsigned char>& block, bool& ripGood);
    CvResult walkBackFromFooter(size_t blockSize);
    CvResult loadFooter();
    CvResult findPartitions_NoRIP(bool metadataRead);
    // Adds the first pack at or, walking, behind `offset`; `foundAt` is where
    // it lies in the file.
    CvResult findAndAddPartition(uint64_t offset, bool walk, uint64_t& foundAt);
    // The pack at `at` of `bytes`, whole; null otherwise. The pack keeps no
    // view of the bytes.
    static std::unique_ptr<CMxfPartitionPack> partitionPackAt(std::vector<unsigned char>& bytes, size_t at);
    // The size of a filler item at `offset`, 0 when there is none.
    uint64_t fillerBehind(uint64_t offset);
    // The partition pack at `offset` and the head of the item behind it.
    CvResult readPackHead(uint64_t offset, std::vector<unsigned char>& bytes);
    // The size of a filler that follows the pack read from the start of `bytes`, else 0.
    static uint64_t fillerBehindPack(std::vector<unsigned char>& bytes, const CMxfPartitionPack& pack);
    void metadataClose();
    void updateFileSize();
    bool isFileGrowing() const { return m_growing; }
    CvResult readAt(uint64_t offset, size_t size, std::vector<unsigned char>& out);

    // The metadata walk and the graph.
    struct LoadedSets;
    CvResult walkMetadata(unsigned char* data, size_t size, LoadedSets& sets);
    CvResult tieGraph(LoadedSets& sets);
    CvResult SetPrimer(const CKlvItem& item);
    CvResult addSourcePackage(bool isMaterial, const CMxf_SM_Package& package);
    void addCCComments(CMxf_SM_Package& package, std::vector<CategorizedComment>& comments);
    void extractMetadata();
    CvResult chooseSourcePackage();
    void ensureAvidTimecodeTrack(const std::vector<CMxf_SM_SourceClip>& clips);
    void appendTrack(CMxf_SM_Package& package, const CMxf_SM_Track& track);
    void relocateFirstTimecodeTrack(const std::vector<CMxf_SM_SourceClip>& clips);
    void fixDescriptorLinkTrackId(size_t package);
    bool isAvidALE() const;
    int findSourcePackage(const UMID& umid) const;
    const CMxf_SM_SourceClip* findSourceClip(const UMID& umid) const;

    // Streams.
    const CMxf_SM_Track* findSourceTrack(int stream) const;
    bool checkStreamIndex(int stream);
    int getTrackType(int stream);
    int findFirstTrackOf(int type);
    const PACKAGE_DESCRIPTOR* descriptorSlot(int stream);
    std::shared_ptr<CMxf_SM_DescriptorGeneric> essenceGetDescriptor(int stream, int& type);
    bool essenceID(int stream, CMxf_GC_EssenceID& id);
    CvResult getSourcePackageMetadataValue(int stream, const char* key, std::wstring& value);
    int metadataInt(int stream, const char* key);
    // A colour mode from its key's number; on any failure the mode is unknown
    // and the answer Fail.
    template <typename Mode>
    CvResult colourMode(int stream, const char* key, Mode& mode);
    int get_Metadata_Height(const CMxf_SM_DescriptorPicture& picture, int stream);
    unsigned getDatarateFromDescriptor(int stream, const CMxf_SM_DescriptorPicture& picture);
    const CMxf_SM_SourceClip* findFirstTimecodeClip() const;
    CvResult fail(CvResult code, const wchar_t* format, ...);

    // Essence.
    CvResult essenceReadData(uint64_t position, unsigned char* buffer, uint64_t size, unsigned& dataOffset,
                             unsigned& dataSize, bool quiet);
    const CMxf_IndexTable_IndexEntry* indexEntryAt(int64_t position) const;
    void essencePlace(uint64_t fileOffset, uint64_t size, IndexEntry& entry);
    int anchorDistance(bool keyOnly);
    ContentPackageTracks contentPackageTracks() const;
    std::vector<int> trackClasses() const;

    CMxfPartitionList m_partitions;
    CMxf_IndexSegmentList m_segments;
    // The file's size when its metadata and its index were last read: asked
    // again at that size, they are not read again.
    uint64_t m_metadataReadAtSize = 0;
    uint64_t m_indexReadAtSize = 0;
    // Index segments that came with the partition packs, until the index loads.
    IndexSegmentsInHand m_indexInHand;
    CMxf_EssenceLocator m_locator;
    CMxf_TrackDeltaMap m_trackDeltaMap;
    CMxf_SM_Primer m_primer;
    CMxf_SM_PrefaceSet m_preface;
    std::vector<CMxf_SM_EssenceContainerDataSet> m_essenceContainerData;
    std::vector<CMxf_SM_Package> m_materialPackages;
    std::vector<CMxf_SM_Package> m_sourcePackages;
    // Comments of the descriptive metadata, by name and value, until the
    // packages that refer to them take them.
    std::vector<CategorizedComment> m_comments;
    MXFUL m_embeddedXmlKey;
    std::vector<unsigned char> m_embeddedXml;
    std::map<std::string, std::wstring> m_metadata;
    int m_openStream = -1;
    int m_deltaIndex = -1;
    uint64_t m_fileSize = 0;
    int m_currentMP = 0;
    int m_currentSP = -1;
    bool m_growing = false;
    bool m_isOpenGop = false;
    bool m_openGopKnown = false;
    int m_height = 0;
};

} // namespace Corvidane::MXF
