#pragma once
#include <memory>
#include <string>
#include <vector>

#include "growing/Indexer.h"
#include "host/iFile.h"

namespace Corvidane::ExternalIndexer {

struct AudioCadence;

// The cadence row whose per-frame sample counts the given frames follow from
// frame 0 on (a last, shorter frame allowed), or -1 when none does.
int matchAudioCadence(const std::vector<unsigned>& samplesPerFrame);

// The keys that Reader::getMetadata takes, in a fixed order.
extern const std::vector<std::string> MetadataItems;

// One open index joined to the essence file that it describes: reads samples
// by the index, finds key frames and open GOPs, and answers named items.
// Audio with a cadence is stored one video frame's worth of samples per
// entry and is addressed by audio sample.
class Reader {
public:
    explicit Reader(const std::shared_ptr<Indexer>& indexer);
    virtual ~Reader();

    // Opens the essence and reads the audio cadence the index names.
    CvResult openFile(const std::wstring& path);
    // Measures the essence and the index again.
    void recalculateSize();
    // False, with the track kept, when the index has no such track.
    bool setCurrentTrack(const unsigned& track);
    // The sample's row as the index holds it: for orders and key frames,
    // which need no bytes.
    CvResult row(unsigned sample, IndexEntry& entry);
    // The row, failing for one whose bytes lie past the essence's end, as a
    // read of it would: a damaged row's size is never worth a buffer.
    CvResult getIndexEntry(const unsigned& sample, IndexEntry& entry);
    // The decode and display positions of info.count samples from `frame`.
    CvResult getGopAndPresentationOrder(unsigned frame, GOPInfo& info, std::vector<unsigned short>& order);
    // Appends whole samples to the buffer: `count` samples from `position`,
    // or with a cadence the one frame of `count` audio samples at `position`.
    CvResult readData(const unsigned long& position, const unsigned& count, CByteBuffer& buffer);
    // Appends any run of audio samples, across frames of a cadence.
    CvResult readData2(const unsigned long& position, const unsigned& count, CByteBuffer& buffer);
    void calculateIsOpenGop();
    // The nearest key frames at or after `frame` (within 64 samples) and at
    // or before it; false when the index doesn't reach the frame.
    bool findKeyFrames(const unsigned& frame, unsigned& left, bool& hasLeft, unsigned& right, bool& hasRight);
    CvResult getBinaryMetadata(const std::string& key, const long&, CByteBuffer& data);
    // Bytes of one audio sample as the first entries and the cadence give it.
    CvResult bytesPerAudioSample(unsigned& bytes);
    CvResult getMetadata(const std::string& key, const long& position, std::wstring& value);
    bool canHandleItem(const std::string& key) const;

    const std::shared_ptr<Indexer>& indexer() const { return m_indexer; }

private:
    // The cadence row of the index; null without one or for an unknown row.
    const AudioCadence* cadence() const;
    // Reads `size` bytes at `position` of the essence behind the buffer's content.
    CvResult readEssence(uint64_t position, uint64_t size, CByteBuffer& buffer);
    // The entry of a sample about to be read: HandleEOF when it isn't there
    // or isn't finished yet.
    CvResult entryToRead(uint64_t sample, IndexEntry& entry);
    unsigned largestSampleSize();
    // Whether the essence, measured again if need be, reaches the entry's end.
    bool essenceHolds(const IndexEntry& entry);

    std::shared_ptr<Indexer> m_indexer;
    unsigned m_track = 0xFFFFFFFF;
    int m_isOpenGop = -1;
    Ptr<iFile> m_file;
    signed char m_audioIndex = -1;
};

} // namespace Corvidane::ExternalIndexer
