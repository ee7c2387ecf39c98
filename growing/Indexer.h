#pragma once
#include <memory>
#include <string>
#include <vector>

#include "frame/ByteBuffer.h"
#include "frame/CvResult.h"
#include "frame/MediaFileReader.h"
#include "frame/TrackRecords.h"

namespace Corvidane::ExternalIndexer {

// The sidecar of an essence file: the path, a point and the track number, and
// ".cvindex"; a track of -1 leaves the number out.
std::wstring getFilename(const std::wstring& path, const int& track);

enum IndexerType : int { NullIndexerType = 0, BinaryIndexerType = 1 };

// An index of the samples of a file, written by a capture and read while it
// grows. One row holds one entry per track.
class Indexer {
public:
    enum Option : int {
        DeleteOnClose = 1, // "yes" deletes the file when the indexer closes
    };

    virtual ~Indexer() = default;

    virtual CvResult open(const std::wstring& path) = 0;
    virtual CvResult create(const std::wstring& path, const std::vector<TrackStructuralData>& tracks) = 0;
    virtual CvResult add(unsigned track, unsigned number, const IndexEntry& entry) = 0;
    virtual CvResult update(unsigned track, unsigned number, unsigned, const IndexEntry& entry) = 0;
    virtual void recalculateSize() = 0;
    virtual CvResult get(unsigned track, unsigned number, IndexEntry& entry) = 0;
    virtual unsigned getNumEntries() const = 0;
    // Samples that may be shown: the whole rows, less an unfinished last one.
    virtual unsigned getLength() const = 0;
    virtual unsigned numTracks() const = 0;
    virtual CvResult getMetadata(const std::wstring& key, int, std::wstring& value) const = 0;
    virtual CvResult setOption(Option option, const std::wstring& value) = 0;
    virtual CvResult setDecoderConfig(const unsigned char* data, unsigned char size) = 0;
    virtual CvResult getDecoderConfig(CByteBuffer& data) = 0;
    virtual CvResult setAudioSamplesIndex(signed char index) = 0;
    virtual CvResult getAudioSamplesIndex(signed char& index) = 0;
    virtual unsigned firstTrackFCC() const = 0;
    virtual unsigned channelCount() const = 0;
    virtual unsigned bps() const = 0;
    virtual unsigned sampleRate() const = 0;
    virtual unsigned rate() const = 0;
    virtual unsigned scale() const = 0;
    virtual unsigned firstTrackType() const = 0;
    virtual unsigned width() const = 0;
    virtual unsigned height() const = 0;
    virtual unsigned gopLength() const = 0;
    virtual unsigned polarity() const = 0;
    // 3 (progressive) when the polarity is 4, else 0.
    virtual unsigned getScanMode() const = 0;
    virtual std::wstring getLastError() const = 0;
};

// The indexer of a capture that keeps no index.
class NullIndexer : public Indexer {
public:
    CvResult open(const std::wstring&) override { return NotImpl; }
    CvResult create(const std::wstring&, const std::vector<TrackStructuralData>&) override { return NotImpl; }
    CvResult add(unsigned, unsigned, const IndexEntry&) override { return NotImpl; }
    CvResult update(unsigned, unsigned, unsigned, const IndexEntry&) override { return NotImpl; }
    void recalculateSize() override {}
    CvResult get(unsigned, unsigned, IndexEntry&) override { return NotImpl; }
    unsigned getNumEntries() const override { return 0; }
    unsigned getLength() const override { return 0; }
    unsigned numTracks() const override { return 0; }
    CvResult getMetadata(const std::wstring&, int, std::wstring&) const override { return NotImpl; }
    CvResult setOption(Option, const std::wstring&) override { return NotImpl; }
    CvResult setDecoderConfig(const unsigned char*, unsigned char) override { return NotImpl; }
    CvResult getDecoderConfig(CByteBuffer&) override { return NotImpl; }
    CvResult setAudioSamplesIndex(signed char) override { return NotImpl; }
    CvResult getAudioSamplesIndex(signed char&) override { return NotImpl; }
    unsigned firstTrackFCC() const override { return 0; }
    unsigned channelCount() const override { return 0; }
    unsigned bps() const override { return 0; }
    unsigned sampleRate() const override { return 0; }
    unsigned rate() const override { return 0; }
    unsigned scale() const override { return 0; }
    unsigned firstTrackType() const override { return 0; }
    unsigned width() const override { return 0; }
    unsigned height() const override { return 0; }
    unsigned gopLength() const override { return 0; }
    unsigned polarity() const override { return 0; }
    unsigned getScanMode() const override { return 0; }
    std::wstring getLastError() const override { return {}; }
};

// A new indexer of the type; null for an unknown type.
std::shared_ptr<Indexer> createIndexer(const IndexerType& type);

} // namespace Corvidane::ExternalIndexer
