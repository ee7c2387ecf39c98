#pragma once
#include <cstdint>
#include <string>
#include <vector>

#include "avi/Strl.h"
#include "frame/Base.h"
#include "frame/DiskFileWriter.h"
#include "frame/TrackRecords.h"

namespace Corvidane::Avi {

// Writes OpenDML AVI files as frames arrive: a header of fixed size that is
// rewritten in place, every write whole sectors at sector offsets, standard
// indexes in room reserved behind each movi list so that no data ever moves,
// a legacy idx1 for the first RIFF, and AVIX RIFFs after it.
class FileWriter : public Base {
public:
    FileWriter() = default;
    ~FileWriter() override { close(); }
    FileWriter(const FileWriter&) = delete;
    FileWriter& operator=(const FileWriter&) = delete;

    // The tracks as the front end lays them out: timecode (which gives the
    // start timecode and makes no stream), one video track, audio tracks.
    CvResult create(const std::wstring& name, const TrackStructuralData* tracks, unsigned count);
    // One row per track, in the order given to create.
    CvResult WriteSamples(const TrackData* items, unsigned count);
    // Writes the indexes and the header; a file with no frames is removed.
    CvResult close();
    // Brings the header up to date with what has been written.
    CvResult Flush();
    // Every n frames the indexes and header are brought up to date; 0 never.
    // Unless set, a file is flushed once a second of video.
    void set_FlushFrequency(unsigned n)
    {
        flushFrequency = n;
        flushFrequencyChosen = true;
    }
    // The display position of the next video frame, in place of its row's, once.
    void set_NextIndexRealLocation(uint32_t n) { nextRealLocation = n; }
    // The display positions of an MPEG-2 stream's frames worked out from
    // their types, in place of their rows': each B picture is shown before the
    // I or P picture decoded ahead of it.
    void set_FindIBPIndexRealLocation(bool on) { findIBPRealLocation = on; }

private:
    // A new RIFF is due at the next key frame once a RIFF passes these sizes.
    static constexpr uint32_t firstRiffLimit = 0x7E000000;
    static constexpr uint32_t avixRiffLimit = 0x7F000000;
    // Past 2 GiB (or with its index this near to full) a RIFF is overdue: it
    // ends at the next frame whose display order is complete, key frame or
    // not. One more frame that would take it to 4 GiB or fill its index ends
    // it at once.
    static constexpr uint64_t overdueRiffSize = 0x80000000;
    static constexpr unsigned overdueIndexMargin = 16;
    static constexpr uint64_t fullRiffSize = 0x100000000;
    static constexpr uint32_t noRealLocation = 0xFFFFFFFF;

    void initVariables();
    void Header_CreateChunk_hdrl(RiffBuilder& out);
    void Header_CreateChunk_avih(RiffBuilder& out);
    void Header_CreateChunk_odml(RiffBuilder& out);
    void Header_CreateChunk_INFO(RiffBuilder& out);
    void Header_CreateChunk_ISFT(RiffBuilder& out);
    void Header_CreateChunk_ISMP(RiffBuilder& out);
    void Header_CreateChunk_ISXX(RiffBuilder& out, uint32_t fourcc, const std::string& text);
    CvResult WriteHeader();
    // `what` names the bytes in the error text.
    CvResult WriteAtOffset(uint64_t offset, const unsigned char* data, size_t size, const wchar_t* what);
    // `lastPass` when the current RIFF's indexes are written for the last time.
    CvResult WriteIndexTable(bool updateHeader, bool lastPass = false);
    CvResult WriteLegacyIndexTable();
    CvResult CreateNewRIFFChunk();
    CvResult WriteNextFrame(const TrackData* items, uint64_t& written);
    // Whether the frame in `items` starts a new RIFF, which it then does.
    CvResult rollOverIfDue(const TrackData* items, uint64_t needed);
    // The display position the next video frame's index entry takes.
    uint32_t displayPositionOf(const TrackData& item);

    std::vector<unsigned char>& currentHead() { return riffIndex ? avixHead : header; }
    // The movi list of the current RIFF: its LIST in the head, and the file
    // offset that its standard indexes count from (its "movi" code).
    uint64_t moviBase() const { return riffStartOffset + moviListAt + 8; }
    size_t indexSlotAt(unsigned stream) const { return moviListAt + 12 + size_t(stream) * CStrl::indexSlotSize; }
    uint64_t roundToSector(uint64_t value) const { return (value + sectorSize - 1) / sectorSize * sectorSize; }
    // The room from `position` to the next sector boundary, grown by a
    // sector when it couldn't hold a JUNK chunk's head; 0 on a boundary.
    uint64_t junkRoom(uint64_t position) const;
    double videoRate() const;

    Vex::CFileWriterUnbuffered file;
    std::wstring fileName;
    unsigned sectorSize = 512;
    std::vector<TrackStructuralData> tracks;
    std::vector<uint16_t> trackOrder;
    unsigned flushFrequency = 0;
    bool flushFrequencyChosen = false;
    unsigned framesSinceFlush = 0;
    uint32_t nextRealLocation = noRealLocation;
    bool findIBPRealLocation = false;
    std::vector<unsigned char> header;
    std::vector<unsigned char> frameBuffer;
    std::vector<CStrl> strl;
    std::vector<unsigned char> avixHead;
    uint64_t riffSize = 0;
    uint64_t moviSize = 0;
    uint64_t riffStartOffset = 0;
    // Where the next frame goes.
    uint64_t endOfData = 0;
    size_t moviListAt = 0;
    unsigned riffIndex = 0;
    uint64_t maxFrames = 2000000;
    uint32_t startTimecode = 0;
    bool startTimecodeDrop = false;
    unsigned maxIndexEntries = (0x10000 - 32) / 8;
    bool legacyIndexWritten = false;
    size_t totalFramesAt = 0;
    size_t maxBytesPerSecAt = 0;
    size_t suggestedBufferSizeAt = 0;
    size_t dmlhFramesAt = 0;
};

} // namespace Corvidane::Avi
