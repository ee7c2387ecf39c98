#pragma once
#include <cstdint>
#include <memory>
#include <vector>

#include "frame/MediaFileReader.h"
#include "quicktime/atoms/AtomParser.h"
#include "quicktime/atoms/FragmentAtoms.h"
#include "quicktime/read/SyncSampleRanges.h"

// The samples of movie fragments. Sample numbers are the track's own, from 0,
// counting the samples of moov first; a traf learns where its samples start
// once the fragments before it are known.
namespace Corvidane::QuickTime {

class Metadata_traf {
public:
    static constexpr uint32_t unset = 0xFFFFFFFF;

    Metadata_traf(uint64_t moofOffset, const std::vector<TrackExtends>& defaults)
        : m_moofOffset(moofOffset), m_implicitBase(moofOffset), m_extends(defaults)
    {
    }

    void setHeader(const TrackFragmentHeader& header);
    bool hasHeader() const { return m_hasHeader; }
    const TrackFragmentHeader& header() const { return m_header; }
    uint32_t trackId() const { return m_header.track_id; }
    std::vector<TrackRunSampleList> runs;

    // Where the data starts when the tfhd names neither a base offset nor the
    // moof: the moof for a moof's first traf, else the end of the data of
    // the traf before it.
    void setImplicitBase(uint64_t base) { m_implicitBase = base; }
    // One past the last byte of the traf's samples.
    uint64_t dataEnd();

    uint32_t startSample() const { return m_startSample; }
    void setStartSample(uint32_t first) { m_startSample = first; }
    uint64_t sampleCount() const;
    bool holdsSample(uint32_t sample) const;
    // One past the last sample; unset before the start is known.
    uint64_t endSample() const;
    // Of a sample counted from the traf's first.
    uint32_t sampleSize(uint64_t index);
    uint64_t sampleOffset(uint64_t index);
    uint32_t sampleDuration(uint64_t index);
    int64_t sampleCompositionOffset(uint64_t index);
    // Whether every sample lasts as long as the first.
    bool hasUniformDuration();
    bool hasCompositionOffsets() const;
    // The sync samples, counted from the traf's first.
    const SyncSampleRanges& syncSamples();
    uint16_t getSampleType(uint32_t sample);
    int64_t presentationOffset();
    // Sets the offset a track's first traf found, which holds for all of them.
    void setPresentationOffset(int64_t offset)
    {
        m_presentationOffset = offset;
        m_presentationCached = true;
    }
    CvResult getIndexEntry(uint32_t sample, IndexEntry& entry);
    // Samples in the runs before run `number` (from 1).
    uint64_t samplesBeforeRun(uint32_t number) const;

private:
    // The run holding a sample counted from the traf's first, and the sample's place in it.
    size_t findRun(uint64_t index, uint64_t& inRun);
    void cacheOffsetsAndSizes();
    void cacheRunStarts();
    uint32_t sampleFlags(size_t run, uint64_t inRun) const;
    uint32_t defaultSampleFlags() const;
    uint32_t defaultSampleSize() const;

    uint64_t m_moofOffset;
    uint64_t m_implicitBase;
    const std::vector<TrackExtends>& m_extends;
    TrackFragmentHeader m_header;
    TrackExtends m_defaults;
    bool m_hasHeader = false;
    uint32_t m_startSample = unset;
    // Per run: its first sample from the traf's first, its data offset and,
    // for runs of varying sizes, each sample's offset from the run's start.
    std::vector<uint64_t> m_runFirst;
    std::vector<uint64_t> m_runStart;
    std::vector<std::vector<uint64_t>> m_runOffsets;
    uint64_t m_dataEnd = 0;
    bool m_offsetsCached = false;
    bool m_runsCached = false;
    SyncSampleRanges m_sync;
    bool m_syncCached = false;
    enum class Uniformity { unknown, uniform, varied } m_uniformity = Uniformity::unknown;
    bool m_presentationCached = false;
    int64_t m_presentationOffset = 0;
};

class Metadata_moof {
public:
    Metadata_moof(uint64_t offset, uint64_t length) : m_offset(offset), m_length(length) {}
    uint64_t offset() const { return m_offset; }
    uint64_t length() const { return m_length; }

    MovieFragmentHeader header;
    std::vector<std::unique_ptr<Metadata_traf>> trafs;

    CvResult trackSampleCount(uint32_t trackId, uint64_t& count) const;
    CvResult trackSampleStartAndCount(uint32_t trackId, uint32_t& first, uint64_t& count) const;
    CvResult trackSampleDuration(uint32_t trackId, uint32_t& duration);
    // The duration of the track's samples here; Fail unless all share it.
    CvResult trackUniformSampleDuration(uint32_t trackId, uint32_t& duration);
    CvResult startSample(uint32_t trackId, uint32_t& sample) const;
    // Numbers the track's trafs in file order from `first`; Fail when the
    // moof has none of the track or the numbers would pass 32 bits.
    CvResult setStartSample(uint32_t trackId, uint32_t first);
    // Numbers the track's samples from a random access entry: the sample at
    // `time` is the first of run `trunNumber` of traf `trafNumber`.
    CvResult setStartSampleIndirect(uint32_t trackId, uint32_t trafNumber, uint32_t trunNumber, uint64_t time);
    CvResult findIndexEntry(uint32_t sample, uint32_t trackId, IndexEntry& entry);
    // Of the track's first traf here.
    CvResult presentationOffset(uint32_t trackId, int64_t& offset);
    void setPresentationOffset(uint32_t trackId, int64_t offset);
    // Adds the sync samples of the track's numbered trafs, in track sample numbers.
    CvResult syncSamples(uint32_t trackId, SyncSampleRanges& list);

private:
    uint64_t m_offset;
    uint64_t m_length;
};

class Metadata_mfra {
public:
    std::vector<std::unique_ptr<TrackFragmentRandomAccess>> tables;
    const TrackFragmentRandomAccess* findTrackFragmentRandomAccess(uint32_t trackId) const;
};

class AtomParser_mvex : public AtomParser {
public:
    AtomParser_mvex(std::unique_ptr<MovieExtendsHeader>& header, std::vector<TrackExtends>& extends)
        : m_header(header), m_extends(extends)
    {
    }
    CvResult OnAtom(const uint32_t* type, const unsigned char* data, size_t length) override;

private:
    std::unique_ptr<MovieExtendsHeader>& m_header;
    std::vector<TrackExtends>& m_extends;
};

// A moof whose mfhd is missing, or that holds a traf without tfhd, is refused.
class AtomParser_moof : public AtomParser {
public:
    AtomParser_moof(Metadata_moof& moof, const std::vector<TrackExtends>& extends) : m_moof(moof), m_extends(extends)
    {
    }
    CvResult OnAtom(const uint32_t* type, const unsigned char* data, size_t length) override;
    CvResult OnParseEnd() override;

private:
    Metadata_moof& m_moof;
    const std::vector<TrackExtends>& m_extends;
    bool m_hasHeader = false;
};

class AtomParser_traf : public AtomParser {
public:
    explicit AtomParser_traf(Metadata_traf& traf) : m_traf(traf) {}
    CvResult OnAtom(const uint32_t* type, const unsigned char* data, size_t length) override;
    CvResult OnParseEnd() override { return m_traf.hasHeader() ? OK : Unexpected; }

private:
    Metadata_traf& m_traf;
};

class AtomParser_mfra : public AtomParser {
public:
    explicit AtomParser_mfra(Metadata_mfra& mfra) : m_mfra(mfra) {}
    CvResult OnAtom(const uint32_t* type, const unsigned char* data, size_t length) override;

private:
    Metadata_mfra& m_mfra;
};

} // namespace Corvidane::QuickTime
