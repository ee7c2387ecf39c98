#pragma once
#include <memory>
#include <string>
#include <vector>

#include "frame/MediaFileReader.h"
#include "quicktime/atoms/HeaderAtoms.h"
#include "quicktime/atoms/IndexList.h"
#include "quicktime/atoms/SampleDescriptors.h"
#include "quicktime/atoms/SampleTables.h"

namespace Corvidane::QuickTime {

struct SyncSampleItem {
    uint32_t sample = 0;   // from 0
    bool partial = false;  // from stps: an open GOP's entry point
};

// One track of a movie: its header records and sample tables, and every
// answer about its samples: where a sample lies, the track's rate and length,
// its key frames.
class Metadata_Track {
public:
    // Stream types by the handler's subtype; 4 metadata and 7 text are listed
    // but not read.
    enum Type { Unknown = 0, Video = 1, Audio = 2, Timecode = 3, Meta = 4, ClosedCaption = 5, Text = 7 };

    Metadata_Track(bool mp4, uint32_t movieTimeScale) : m_mp4(mp4), m_movieTimeScale(movieTimeScale) {}

    bool isVideo() const { return m_type == Video; }
    bool isAudio() const { return m_type == Audio; }
    bool isTimecode() const { return m_type == Timecode; }
    bool isAnc() const { return m_type == ClosedCaption; }
    bool isMp4() const { return m_mp4; }
    int type() const { return m_type; }
    void setType(uint32_t componentSubtype);

    const std::wstring& essenceFile() const { return m_essenceFile; }
    void setEssenceFile(std::wstring name) { m_essenceFile = std::move(name); }
    const TimecodeDescriptor* getTimecodeDescriptor() const;
    const SampleDescriptor* firstDescriptor() const { return sampleDescriptions ? sampleDescriptions->item(0) : nullptr; }

    bool hasSampleTimeInfo() const { return static_cast<bool>(compositionOffsets); }
    uint32_t getSampleOffset(uint32_t sample) const;
    uint32_t getSampleDuration(uint32_t sample) const;
    // Index of the stts entry holding the sample, or -1; the samples and the
    // time up to the entry's end.
    int getTime2SampleEntryIndex(uint32_t sample, uint64_t& samples, uint64_t& time) const;
    uint32_t getEditListMediaTime() const;
    int64_t getEditListTrackDuration() const;
    void getTimeToSampleList(std::vector<TimeToSampleItem>& items) const;
    bool getRateAndScaleLimits(unsigned& minimum, unsigned& maximum, unsigned& timeScale, unsigned& count) const;
    bool hasSyncSamples() const { return !m_syncList.empty(); }
    uint32_t firstSyncSample() const { return m_syncList.empty() ? 0 : m_syncList.front().sample; }
    bool openGops() const { return static_cast<bool>(partialSyncSamples); }

    // After the movie atom is parsed.
    void combineSyncSampleLists();
    void findStartSample();
    // A picture track starts at the key frame that the edit's first shown
    // frame needs, so every shown frame can be decoded.
    void startAtKeyFrame();
    uint32_t startSample() const { return m_startSample; }

    uint64_t getTrackMediaDuration() const;
    uint64_t getTrackDuration() const;
    bool getRateAndScale(int& rate, int& scale);
    uint32_t getLength();
    // With AAC's priming frames: the media's sample count; the presented
    // length plus 2 when the two durations agree.
    uint32_t getSampleLength();

    // Where a sample lies, and the samples from it to the end of its chunk.
    bool getSampleOffsetAndSize2(uint32_t sample, uint64_t& offset, uint32_t& size, uint32_t& samplesLeftInChunk);
    bool getSampleOffsetAndSize(uint32_t sample, uint64_t& offset, uint32_t& size);

    // Where a frame, counted from the start sample, stands in display order:
    // the rank of its composition time among the frames from the start sample
    // to the end of the tables, ties in decode order. False past the tables.
    bool getPresentationRank(uint32_t frame, uint32_t& rank) const;

    // An IndexEntry frame type: 4 intra, 8 bidirectional, 16 predicted.
    uint16_t getFrameType(uint32_t sample, uint32_t& previousSync);
    uint16_t getSdtpFrameType(uint32_t sample);
    int getGopLength();
    bool findKeyframe(uint32_t sample, bool forward, uint32_t& result);

    std::unique_ptr<TrackHeader> trackHeader;
    std::unique_ptr<MediaHeader> mediaHeader;
    std::unique_ptr<HandlerRef> handler;
    std::unique_ptr<EditList> editList;
    std::unique_ptr<SampleDescriptionList> sampleDescriptions;
    std::unique_ptr<Time2SampleList> timeToSample;
    std::unique_ptr<Sample2ChunkList> sampleToChunk;
    std::unique_ptr<SampleSizeList> sampleSizes;
    std::unique_ptr<ChunkOffsetList> chunkOffsets;
    std::unique_ptr<ChunkOffset64List> chunkOffsets64;
    std::unique_ptr<CTTSList> compositionOffsets;
    std::unique_ptr<CSdtpIndexList> sampleDependency;
    std::unique_ptr<SyncSampleList> syncSamples;
    std::unique_ptr<SyncSampleList> partialSyncSamples;

private:
    // Samples that both the time table and the size table hold.
    uint64_t tableSampleCount() const;
    // The sound samples an edit shows, from startSample on: every one that
    // starts before the edit ends, so a sample cut by the end is kept whole.
    uint64_t presentedAudioSamples() const;
    bool getAudioRateAndScale(int& rate, int& scale);
    // The chunk's offset; false when the track's tables give none.
    bool chunkOffset(uint64_t chunk, uint64_t& offset);
    // Bytes before a sample in its chunk: the sum of the sizes of the samples
    // ahead of it, carried on from the last lookup in the same chunk.
    uint64_t bytesBefore(uint64_t chunk, uint32_t firstSampleOfChunk, uint32_t sample);
    std::vector<SyncSampleItem>::const_iterator firstSyncAtOrAfter(uint32_t sample) const;
    // The samples that both the time and the size table describe.
    uint64_t tabledSampleCount() const;
    // When a sample is shown, in media time: its decode time plus its
    // composition offset.
    int64_t compositionTime(uint64_t sample) const;
    // The samples from the start sample through the last one, in decode
    // order, that is shown before the edit ends.
    uint32_t countShownSamples() const;

    bool m_mp4;
    uint32_t m_movieTimeScale;
    int m_type = Unknown;
    std::wstring m_essenceFile;
    uint32_t m_minSampleDuration = 0xFFFFFFFF;
    uint32_t m_maxSampleDuration = 0;
    std::vector<SyncSampleItem> m_syncList;
    uint32_t m_startSample = 0;
    uint32_t m_compositionStart = 0xFFFFFFFF;
    bool m_haveLength = false, m_haveSampleLength = false;
    uint32_t m_length = 0, m_sampleLength = 0;
    int m_gopLength = -1;
    struct ChunkWalk {
        uint64_t chunk = UINT64_MAX;
        uint32_t sample = 0;
        uint64_t bytes = 0;
    } m_walk;
};

} // namespace Corvidane::QuickTime
