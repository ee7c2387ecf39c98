#pragma once
#include <cstdint>

#include "frame/MediaFileReader.h"

namespace Corvidane {

// What a writer is told about one video track.
struct VideoStructuralData {
    uint32_t width;
    uint32_t height;
    uint32_t bitsPerPixel;          // 0 makes the QuickTime writer write depth 24
    uint32_t fourcc;                // first letter in the low byte
    uint32_t resolutionId;          // Avid resolution identifier (DNxHR), else 0
    uint32_t stride;                // bytes per line of uncompressed input
    uint32_t frameLayout;           // 3 interlaced, 4 progressive
    uint32_t aspect;                // numerator high 16 bits, denominator low
    uint32_t rateNumerator;
    uint32_t rateDenominator;
    uint32_t activeWidth;           // clean aperture; 0 when none
    uint32_t activeHeight;
    uint32_t colourPrimaries;
    uint32_t transferCharacteristic;
    uint32_t matrixCoefficients;    // 0: derived from the primaries
    uint32_t gopSize;               // 1 for intra-only essence
    uint32_t gopPeriod;             // anchor spacing; 1 for intra-only essence
    uint32_t dataRate;              // kilobits per second for constant-rate codecs
    uint32_t startTimecode;         // start frame count when no timecode track gives one
    uint32_t flags;                 // VideoTrackFlags
    uint8_t reserved;
};

enum VideoTrackFlags : uint32_t {
    VideoIndexAhead = 0x20,         // keep the QuickTime index ahead of the data
    VideoFollowGuidelines = 0x40,   // container guidelines for chunk sizes and colour
    VideoRateAsTimeScale = 0x10000, // the rate numerator is the time scale
};

// What a writer is told about one audio track.
struct AudioStructuralData {
    uint32_t format;                // 1 linear PCM, or "pcm ", "sowt", "twos", "in24", "in32", "mp4a"
    uint16_t channels;
    uint32_t sampleRate;
    uint16_t bitsPerSample;
    uint16_t blockAlign;            // bytes of one sample of all channels
    uint32_t bytesPerSecond;
    uint32_t samplesPerPacket;
    uint32_t byteOrder;             // 0 unset, 1 little-endian, 2 big-endian
};

// What a writer is told about one timecode track.
struct TimecodeStructuralData {
    uint32_t rateNumerator;
    uint32_t rateDenominator;
    uint32_t startFrame;            // frame count of the first frame
    uint8_t dropFrame;
};

// What a writer is told about an ancillary (closed caption) or VBI track.
struct AncStructuralData {
    uint32_t fourcc;                // "c608" or "c708" for the QuickTime writer
    uint32_t unused;
    uint32_t sampleEntryFourcc;     // the QuickTime sample entry's code
    uint32_t rateNumerator;         // used only when the file has no video track
    uint32_t rateDenominator;
    uint8_t fixedSampleSize;        // non-zero when every sample has one size
};

// One track of a file to be written; the payload read depends on streamType.
// Arrays of tracks are allocated with array new; whoever owns one frees each
// extendedData with free().
struct TrackStructuralData {
    StreamType streamType;          // 1 video, 2 audio, 3 timecode, 5 ancillary, 6 VBI
    union {
        VideoStructuralData video;
        AudioStructuralData audio;
        TimecodeStructuralData timecode;
        AncStructuralData anc;
    };
    unsigned char* extendedData;    // XML fragment (QuickTime, MXF) or media type block (AVI)
    uint16_t extendedDataSize;      // bytes; 0 when there is none
};

// Frame type bits of a TrackData row as all writers test them.
enum HalcMpeg2FrameTypes : uint32_t {
    HalcSequenceHeader = 1,
    HalcIFrame = 4,
    HalcPFrame = 8,
    HalcBFrame = 16,
};

// The samples of one track for one write call. The bytes are the caller's and
// valid for the call only.
struct TrackData {
    const unsigned char* data;
    uint32_t size;                  // 0: nothing for this track in this call
    uint32_t presentationIndex;     // display position of a video frame; 0 elsewhere
    uint32_t frameType;             // HalcMpeg2FrameTypes bits; 0 on non-video rows
};

// The IndexEntry frame type bits of a TrackData row's frame type. The two
// number P and B pictures the other way round (here P 8 and B 16, in an
// IndexEntry B 8 and P 16), so every writer row that becomes an index entry
// goes through this. Bits without a counterpart are dropped.
uint16_t indexFrameType(uint32_t halcFrameType);

// A copy of a track as a writer keeps it: the scalar fields by value, and the
// extended block in a fresh malloc block when both its pointer and its size
// are set. Without memory for the block the copy has none.
TrackStructuralData copyTrackStructuralData(const TrackStructuralData& track);

// Frees the extended block of a copy and clears its pointer and size.
void freeExtendedData(TrackStructuralData& track);

} // namespace Corvidane
