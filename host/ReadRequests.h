#pragma once
#include <cstdint>
#include <vector>

#include "host/ByteBufferImpl.h"
#include "host/FormatMetadata.h"
#include "host/IndexInfoRep.h"
#include "host/Ptr.h"

// The host's request for one video frame, with the block of the GOP around it
// when the stream is long GOP.
class VideoReadRequest : public RefCounted {
public:
    VideoReadRequest(const PlayFileMetadataRep& metadata, unsigned frame, Ptr<IndexInfoRep> index = nullptr)
        : metadata(metadata), frame(frame), index(std::move(index))
    {
    }
    const PlayFileMetadataRep& metadata;
    unsigned frame;
    Ptr<IndexInfoRep> index;
    // The picture of an uncompressed stream.
    Ptr<ByteBufferImpl> uncompressed;
    void setUncompressedResult(Ptr<ByteBufferImpl> buffer) { uncompressed = std::move(buffer); }
};

// What a video read hands the host: the coded samples of the request in coded
// order (one for an intra-only stream, a GOP's for a long-GOP one), or one
// uncompressed picture with its layout.
class FrameBufferRep : public RefCounted {
public:
    unsigned frame = 0;
    std::vector<Ptr<iMemHolder>> buffers;
    Ptr<IndexInfoRep> index;
    uint32_t format = 0;
    unsigned width = 0;
    unsigned height = 0;
    unsigned stride = 0;
    unsigned scanMode = 0;
    unsigned frameRate = 0;
};

// The host's request for audio: `count` sample groups of audio stream
// `stream` (counted from the first audio stream) from `start`.
class AudioReadRequest : public RefCounted {
public:
    AudioReadRequest(unsigned stream, uint64_t start, unsigned count) : stream(stream), start(start), count(count) {}
    unsigned stream;
    uint64_t start;
    unsigned count;
};

// The host's results of a video read.
enum VideoReadStatus { VideoReadDone = 2, VideoReadFailed = 3 };
