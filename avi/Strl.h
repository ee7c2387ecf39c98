#pragma once
#include <cstdint>
#include <string>
#include <vector>

#include "avi/RiffBuilder.h"
#include "frame/Base.h"
#include "frame/TrackRecords.h"

namespace Corvidane::Avi {

// A writer row's frame that no other frame of its stream is needed to decode:
// neither a P nor a B picture (an I picture may carry a sequence header too).
inline bool isKeyFrameType(uint32_t frameType) { return (frameType & (HalcPFrame | HalcBFrame)) == 0; }

// One chunk written to a movi list, as the stream's indexes list it.
struct CIndexEntry {
    uint32_t chunkId = 0;
    uint32_t flags = 0;         // idx1KeyFrame for a key frame
    uint64_t offset = 0;        // of the chunk's head in the file
    uint32_t size = 0;
    uint16_t frameType = 4;     // IndexEntry bits, 4 and up; a type below 5 is kept as 4
    uint32_t decodeIndex = 0;
    uint32_t displayIndex = 0;
};

// A stream of the AVI writer: its strl in the header, its standard index for
// the current RIFF and its super index entries.
class CStrl {
public:
    static constexpr unsigned maxSuperIndexEntries = 1024;
    static constexpr unsigned superIndexHeadSize = 32;
    // Each stream's standard index has this much room in every RIFF.
    static constexpr uint32_t indexSlotSize = 0x10000;
    // How far before or after an entry the frame shown in its place is looked for.
    static constexpr size_t displayReach = 64;

    // Lays the stream's LIST strl into the header and notes where the values
    // that change as frames arrive lie in it.
    void Create(unsigned index, const TrackStructuralData& track, RiffBuilder& header);

    static unsigned GetLongsPerEntryForIndexType(unsigned type) { return type == 0 ? 2 : type == 16 ? 6 : 0; }
    // An entry for a chunk just laid at `offset`. A long-GOP video stream
    // shows it at `shownAt`, or, with `shownFromTypes`, where its frame type
    // puts it: a B picture one place ahead of the anchor decoded before it,
    // which moves one place on.
    void IndexList_Add(uint64_t offset, const TrackData& item, uint32_t shownAt, bool shownFromTypes);
    const CIndexEntry& IndexList_GetEntry(size_t i) const { return indexList[i]; }
    size_t IndexList_Size() const { return indexList.size(); }
    // Takes back the last entry, and what adding it did to its anchor.
    void IndexList_RemoveLast(bool shownFromTypes);
    void IndexList_Reset();

    // Writes dwLength, dwSuggestedBufferSize and biSizeImage into the header;
    // `maxBuffer` gets the largest chunk rounded up to a sector. True when a
    // value changed.
    bool Flush(std::vector<unsigned char>& header, unsigned sectorSize, uint32_t& maxBuffer) const;
    // The standard index into its slot of the current head (`slot`, which
    // lies at `slotOffset` in the file), and the super index entry for it in
    // the header. `headerChanged` is set when the header was touched.
    // `lastPass` when the RIFF takes no more frames.
    CvResult WriteIndexTable(unsigned char* slot, uint64_t slotOffset, uint64_t moviBase,
                             std::vector<unsigned char>& header, bool& headerChanged, Base& errors,
                             bool lastPass);

    uint32_t get_MaxBufferSize() const { return fixedFrameSize ? fixedFrameSize : maxItemSize + 32; }
    uint64_t get_SampleCountFromDataSize(uint32_t size) const;
    // A long-GOP video stream holds back its index until the frame shown last has arrived.
    bool HaveAllFrames() const;
    int get_ApproxGopLen() const;
    void IncrementSamplesWritten(uint64_t n)
    {
        samplesWritten += n;
        samplesInRiff += n;
    }
    void startRiff()
    {
        samplesInRiff = 0;
        needsNewSuperEntry = true;
    }

    unsigned streamIndex = 0;
    bool isVideo = false;
    uint16_t blockAlign = 1;
    uint32_t chunkId = 0;
    uint32_t indexChunkId = 0;
    unsigned indexType = 0;
    unsigned superIndexUsed = 0;
    uint32_t fixedFrameSize = 0;
    uint32_t maxItemSize = 0;
    uint64_t samplesInRiff = 0;
    uint64_t samplesWritten = 0;
    bool needsNewSuperEntry = true;
    bool displayOrderValid = true;

private:
    void CreateChunk_strh(const TrackStructuralData& track, RiffBuilder& header);
    void CreateChunk_strf(const TrackStructuralData& track, RiffBuilder& header);
    void CreateChunk_indx(RiffBuilder& header);
    void CreateChunk_vprp(const TrackStructuralData& track, RiffBuilder& header);
    // The standard index entry of a long-GOP stream: 24 bytes with frame type,
    // display index and the stored index of the frame shown at that place;
    // false when that frame is not within reach of the list yet. On the
    // `lastPass` of a RIFF such an entry names itself.
    bool WriteMQIndexEntry(size_t i, unsigned char* out, bool lastPass) const;
    // The last I or P picture among the entries, no further back than a
    // stored index reaches; null when none.
    CIndexEntry* lastAnchor();

    std::vector<CIndexEntry> indexList;
    // Offsets in the header.
    size_t dwLengthAt = 0;
    size_t dwSuggestedBufferSizeAt = 0;
    size_t biSizeImageAt = 0;
    size_t superIndexCountAt = 0;
    size_t superIndexFirstAt = 0;
};

} // namespace Corvidane::Avi
