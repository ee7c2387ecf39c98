#pragma once
#include <cstdint>
#include <deque>
#include <memory>
#include <string>
#include <vector>

#include "frame/Base.h"
#include "frame/DiskFileWriter.h"
#include "frame/TrackRecords.h"
#include "growing/Indexer.h"
#include "mxf/model/BaseSet.h"
#include "mxf/model/IndexTableSegment.h"
#include "mxf/model/Labels.h"
#include "mxf/model/OperationalPattern.h"
#include "mxf/model/PartitionPack.h"
#include "mxf/write/WriterFileTypes.h"

namespace Corvidane::MXF {

class CMxf_SM_Package;

// Writes OP1a and OP-Atom files while frames arrive. The header's bytes on
// disk always match the counts of the last flush, so the file can be read
// while it grows; close writes the footer and patches the header. An OP-Atom
// family is one writer per track, the first of them (the master) owning the
// others and handing each its row of every call.
class CMxf_FileWriter : public Base {
public:
    CMxf_FileWriter();
    ~CMxf_FileWriter() override;
    CMxf_FileWriter(const CMxf_FileWriter&) = delete;
    CMxf_FileWriter& operator=(const CMxf_FileWriter&) = delete;

    // --- creation (WriterCreate.cpp)
    // `pattern` 0 OP-Atom, 1 OP1a. The tracks are copied.
    CvResult create(const std::wstring& filename, const TrackStructuralData* tracks, int count, int pattern);
    CvResult createInner(const std::wstring& filename, const TrackStructuralData* tracks, int count,
                         int primaryTrack, bool isMaster);
    CvResult setFileType(const TrackStructuralData* tracks, int count, int primaryTrack);
    void setOperationalPattern(int pattern);
    void setTitle(const std::wstring& title) { m_title = title; }
    void setProduct(const std::wstring& product);
    void setMaterialUMID(const UMID& umid) { m_materialUmid = umid; }
    void setFileUMID(const UMID& umid) { m_fileUmid = umid; }
    void setTapeSourceUMID(const UMID& umid) { m_tapeUmid = umid; }
    void setResourceFilePath(const std::wstring& path) { m_resourcePath = path; }
    void setFlushPeriod(unsigned atoms) { m_flushPeriod = atoms; }
    void setOpAtomAudioBufferSize(unsigned bytes) { m_opAtomAudioBufferSize = bytes; }
    void setOverwriteExistingFile(bool on) { m_overwrite = on; }
    void setAddTrailingRandomFill(bool on) { m_addTrailingRandomFill = on; }
    // Writer flags, of WriterFlags: nothing reaches the disk (dry run), the
    // claim of dummy atoms, the file removed on close.
    void setFlags(unsigned flags) { m_flags = flags; }
    enum WriterFlags : unsigned { DryRun = 8, ExpandAfterFirstDummy = 16, DeleteOnClose = 32 };
    // The file of an OP-Atom track: the "filename" tag of its metadata, or
    // the master's name with ".a1", ".d1" and so on before ".mxf".
    std::wstring getOpAtomTrackFilename(int track) const;
    bool loadResourceFile(const std::wstring& name, std::vector<unsigned char>& buffer);
    // The metadata (0) or preface (1) dictionary file, and the instance
    // identifier of its first set; false when either is missing.
    bool loadAafDictionary(int which, std::vector<unsigned char>& buffer, GUID& guid);
    static std::wstring getPlatformString() { return L"Linux"; }

    // --- essence (WriterEssence.cpp)
    // One edit unit: a row per track, in the order given to create.
    CvResult writeAtom(const TrackData* rows, int count);
    CvResult setExternalIndexer(const std::shared_ptr<ExternalIndexer::Indexer>& indexer, int track);
    // Edit while capture: `count` edit units of the rows' bytes, each row of
    // sound sized by the 48 kHz cadence of the picture's rate. With flag 16
    // only the first is written and the family then claims all `count`.
    CvResult writeDummyAtoms(unsigned count, const TrackData* rows, int rowCount);
    void closeIndexers();

    // --- close and growing files (WriterClose.cpp)
    // Brings the header and the current partition on disk up to date.
    CvResult flush(bool full);
    // Writes the footer and patches the header; copies of both when asked.
    void close(std::vector<unsigned char>* headerCopy = nullptr, std::vector<unsigned char>* footerCopy = nullptr);
    // Closes the children too; this writer's header and footer first.
    void close(std::vector<std::vector<unsigned char>>& buffers);
    // Sets the essence length and the counters as if `frames` edit units had
    // been written after `base` bytes: sound by the cadence row, other
    // essence by the size of the edit units written so far.
    void ewcExpand(uint64_t base, uint64_t frames, int cadenceRow);

    // What the writer decided, for callers and tests.
    int getFileType() const { return m_fileType; }
    unsigned getIndexMode() const { return m_indexMode; }
    uint32_t getEditUnitSize() const { return m_editUnitSize; }
    uint64_t getAtomsWritten() const { return m_atomsWritten; }
    const std::vector<MXFUL>& getEssenceKeys() const { return m_essenceKeys; }
    size_t getChildCount() const { return m_children.size(); }
    const std::wstring& getFilename() const { return m_filename; }
    bool isOpAtom() const { return m_operationalPattern == 0; }
    // XDCAM's index of a partition is written in the next one, so frames
    // become readable only there, not at a flush between.
    bool isOp1aXdcam() const { return !isOpAtom() && m_isXdcam; }

private:
    // A partition as written: its pack, its segments, and its bytes from
    // the pack up to the essence (the header's are the header buffer).
    struct Partition {
        CMxfPartitionPack pack;
        std::vector<std::unique_ptr<CMxf_IndexTable_Segment>> segments;
        std::vector<unsigned char> bytes;
        size_t indexGapAt = 0;  // where the segments go in `bytes`; 0 without a gap
    };
    // One duration field of the header buffer.
    struct LengthOffset {
        size_t offset;
        int track;
        std::string name;
    };
    // The place of one element in a constant edit unit; the system item's
    // track is -1 without a timecode track.
    struct Slot {
        int track;
        uint64_t end;  // where the slot ends in the edit unit
    };
    // An external index entry that waits for its display position.
    struct PendingIndex {
        unsigned presentation;
        IndexEntry entry;
        int track;
    };

    // Every field to its default; resetFileState leaves the settings made
    // before create (title, product, UMIDs, folders, periods, flags).
    void reset();
    void resetFileState();
    int primaryOrFirstTrack() const;
    CvResult failCreate(CvResult code, const wchar_t* text);
    CvResult classifyTrack(int index, const TrackStructuralData& track, int videoCount, int audioCount,
                           int& audioIndex, const TrackStructuralData* clock);

    // --- header metadata (WriterHeaderMetadata.cpp)
    void writeHeaderMetadata(std::vector<unsigned char>& out);
    // OP-Atom: the two dictionaries ahead of the preface, their tags in the primer.
    CvResult writeAafData(std::vector<unsigned char>& out);
    void writePrimer(std::vector<unsigned char>& out);
    uint16_t appendPrimer(uint16_t tag, const MXFUL& label);
    size_t appendSet(std::vector<unsigned char>& out, const class SetDescription& description,
                     const CMxf_SM_BaseSet& set, long setId, const std::vector<uint16_t>& tags,
                     const std::vector<MXFUL>& dynamicLabels = {});
    void noteLength(const std::vector<unsigned char>& out, size_t setAt, uint16_t tag, int track, const char* name);
    void writeSet_Preface(std::vector<unsigned char>& out);
    void writeSet_Identification(std::vector<unsigned char>& out);
    void writeSet_ContentStorage(std::vector<unsigned char>& out);
    void writeSet_EssenceContainerData(std::vector<unsigned char>& out);
    void writeSet_FilePackage(std::vector<unsigned char>& out, int packageKind);
    void writeTrack(std::vector<unsigned char>& out, int packageKind, int track, uint32_t trackId);
    void writeSequence(std::vector<unsigned char>& out, int packageKind, int track, const GUID& uid,
                       const GUID& componentUid);
    void WriteFP_Descriptors(std::vector<unsigned char>& out, const GUID& uid);
    void WriteTrack_Descriptor(std::vector<unsigned char>& out, const GUID& uid, int track);
    void writeComments(std::vector<unsigned char>& out, const std::vector<GUID>& uids,
                       const std::vector<std::pair<std::wstring, std::wstring>>& comments);
    std::vector<std::pair<std::wstring, std::wstring>> commentsFor(bool firstFilePackage) const;
    std::wstring getXmlMetadata(const std::wstring& tag, int track) const;
    std::vector<MXFUL> getEssenceBatch() const;
    MXFUL trackContainerLabel(int track) const;
    // DV files and OP1a XDCAM long GOP carry AES3 sound; others wave.
    bool soundIsAes3() const;
    int packageTracks(int packageKind, std::vector<int>& tracks) const;

    // --- essence and index (WriterEssence.cpp, WriterIndex.cpp)
    CvResult writeAtom_FixedSize_FrameWrapped(const TrackData* rows, uint64_t& written);
    CvResult writeAtom_FixedSize_ClipWrapped(const TrackData* rows, uint64_t& written);
    CvResult writeAtom_VariableSize(const TrackData* rows, int count, uint64_t& written, bool updateChildren = true);
    CvResult writeAtom_VariableSize_FrameWrapped(const TrackData* rows);
    CvResult opAtomWrittenAtom(const TrackData* rows, int count);
    CvResult startBodyPartition();
    CvResult startXdcamBodyPartition();
    CvResult appendPartition(Partition&& partition);
    CMxf_IndexTable_Segment* currentSegment();
    CvResult writeEssence(uint64_t& written);
    void essence_WriteSystemItem(std::vector<unsigned char>& out);
    void appendElement(std::vector<unsigned char>& out, const MXFUL& key, const unsigned char* data, uint32_t size);
    // Sound under D-10's key goes in the AES3 element that the key names,
    // made from the PCM rows hand over.
    bool isD10Sound(size_t track) const;
    // Bytes of a sound element's value for `samples` samples of the track.
    uint64_t soundElementSize(size_t track, uint32_t samples) const;
    // Points the row at the value its element carries; false with the
    // reason when it can't be made.
    bool elementValue(size_t track, TrackData& row);
    void writeFiller(std::vector<unsigned char>& out, uint64_t size);
    void fillToKag(std::vector<unsigned char>& out, uint64_t filePosition);
    uint64_t kagFillSize(uint64_t position, uint64_t smallest) const;
    void updateEssenceKeyLength();
    CvResult flushEssence();

    void isFixedEssenceSize();
    void makeIndexDeltaEntries();
    std::unique_ptr<CMxf_IndexTable_Segment> createIndexTable(int64_t start);
    CvResult updateIndexTable(const TrackData* rows, uint64_t written);
    void updateTemporalPosition(CMxf_IndexTable_Segment& segment);
    CvResult indexFlush();
    size_t renderSegment(const CMxf_IndexTable_Segment& segment, std::vector<unsigned char>& bytes, size_t at,
                         size_t end);
    void addExternalIndex(unsigned presentation, uint32_t frameType, int track, uint64_t offset, uint32_t size);
    int firstVideoTrack() const;

    // --- close (WriterClose.cpp)
    void updateLength(uint64_t frames);
    CvResult writeAt(uint64_t offset, const unsigned char* data, size_t size);
    void renderPack(Partition& partition, std::vector<unsigned char>& bytes, size_t at);
    // A partition pack's bytes with that many essence containers: the
    // batch is left out when there are none.
    static size_t packBytes(size_t containers) { return containers ? 20 + 88 + 16 * containers : 20 + 80; }
    void closePartition();
    void writeFooter(std::vector<unsigned char>* headerCopy, std::vector<unsigned char>* footerCopy);
    void writeTrailingItem();
    CvResult buildHeaderPartition();

    // Creation
    int m_operationalPattern = 1;
    CMxfOperationalPattern m_pattern;
    int m_wrapType = 1;
    int m_opAtomTrack = -1;
    bool m_audioOnly = false;
    bool m_isXdcam = false;
    int m_fileType = 0;
    uint32_t m_sectorSize = 512;
    uint32_t m_kagSize = 512;
    uint32_t m_bodySID = 1;
    uint32_t m_indexSID = 2;
    uint64_t m_maxAtoms = 2000000;
    std::vector<MXFUL> m_essenceKeys;
    std::vector<MXFRATIONAL> m_editRates;
    uint32_t m_startTimecode = 0;
    bool m_dropFrame = false;
    int32_t m_resolutionId = 0;
    uint32_t m_gopSize = 1;
    uint32_t m_partitionFrames = 4000;
    uint32_t m_partitionIndexReserve = 65536;
    uint32_t m_opAtomAudioBufferSize = 262144;
    bool m_addTrailingRandomFill = true;
    bool m_overwrite = true;
    unsigned m_flags = 0;
    std::vector<std::unique_ptr<CMxf_FileWriter>> m_children;

    std::wstring m_filename;
    std::wstring m_title;
    std::wstring m_product;
    std::wstring m_projectName;
    std::wstring m_resourcePath;
    std::vector<TrackStructuralData> m_tracks;
    Vex::CFileWriter m_file;
    bool m_isOpen = false;
    MXFTIMESTAMP m_timestamp;
    std::vector<GUID> m_uuids;
    UMID m_materialUmid{};
    UMID m_fileUmid{};
    UMID m_tapeUmid{};
    std::vector<UMID> m_trackUmids;
    MXFUL m_containerLabel;  // the picture's (or sound's) essence container
    GUID m_aafDictionary{};  // the preface dictionary's identifier

    // Header metadata
    std::vector<MXF_TAG2UL> m_primer;
    uint16_t m_nextDynamicTag = 0xFFFF;
    bool m_setWriteFailed = false;
    std::vector<LengthOffset> m_lengthOffsets;
    std::vector<unsigned char> m_header;  // the header partition's bytes up to the essence
    size_t m_headerIndexAt = 0;          // the header's index gap; 0 without one
    size_t m_headerIndexEnd = 0;
    size_t m_sizeOfEssenceKeyInHeader = 0;

    // Essence and index
    std::deque<Partition> m_partitions;  // [0] is the header partition; a deque, as packs only copy
    std::unique_ptr<CMxf_IndexTable_Segment> m_ownSegment;
    // OP1a XDCAM: the segment of the current partition's essence, written in
    // the next partition (or the footer).
    std::unique_ptr<CMxf_IndexTable_Segment> m_xdcamSegment;
    unsigned m_indexMode = 1;
    uint32_t m_editUnitSize = 0;
    std::vector<MXFDELTAENTRY> m_deltaEntries;
    std::vector<Slot> m_slots;
    uint32_t m_audioSampleSize = 0;
    uint64_t m_atomsWritten = 0;
    uint64_t m_atomsInPartition = 0;
    uint64_t m_essenceBytesWritten = 0;
    uint64_t m_essenceLength = 0;
    unsigned m_flushPeriod = 0;
    unsigned m_flushCounter = 0;
    bool m_flushWaitsForGop = false;
    bool m_flushPending = false;  // a flush that waits for the next GOP
    uint64_t m_fileEnd = 0;  // where the next essence goes
    std::vector<unsigned char> m_audioBuffered;  // OP-Atom sound not yet written
    std::vector<uint32_t> m_pendingAudioSizes;
    std::vector<unsigned char> m_essence;
    std::vector<unsigned char> m_soundElement;  // a D-10 sound element being made
    std::vector<uint64_t> m_elementOffsets;  // per track, within the last edit unit written
    std::vector<uint32_t> m_elementSizes;
    std::vector<uint64_t> m_trackCounts;
    std::vector<std::pair<unsigned, unsigned>> m_pendingTemporal;  // display, decode
    std::vector<std::shared_ptr<ExternalIndexer::Indexer>> m_indexers;
    std::deque<PendingIndex> m_pendingIndex;
    unsigned m_nextExternalIndex = 0;
    uint64_t m_footerPosition = 0;
};

} // namespace Corvidane::MXF
