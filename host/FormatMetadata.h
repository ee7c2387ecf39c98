#pragma once
#include <cstdint>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <vector>

#include "frame/MediaFileReader.h"
#include "host/ByteBufferImpl.h"
#include "host/Config.h"
#include "host/Ptr.h"

// The host's account of a file's variable frame rate: the durations of its
// samples in time-scale units, played at the highest rate they allow.
struct VariableFrameRateHandler {
    std::vector<Corvidane::TimeToSampleItem> durations;
    int stream = 0;
    unsigned timescale = 0;
    unsigned minDuration = 0;
    double highestRate = 0;
    // The sum of all sample durations, in time-scale units.
    uint64_t getDuration() const;
};

// The host's description of a file's video: its coding, picture, rate,
// length and the settings the editor keeps beside them.
struct PlayFileMetadataRep {
    // Four character code of the coding, first letter in the low byte; 0 for
    // uncompressed pictures.
    uint32_t format = 0;
    unsigned bitsPerPixel = 0;
    unsigned bitsPerComponent = 0;
    unsigned stride = 0;
    // 2 with an alpha channel, 3 without; 0 unset.
    unsigned transparency = 0;
    unsigned videoStreamCount = 0;

    unsigned width = 0;
    unsigned height = 0;
    // The host's aspect ratio: 0 unknown, else 1 to 10 (1 4:3, 2 16:9, ...).
    unsigned aspectRatio = 0;
    // The container's pixel aspect, 0:0 when it gave none.
    int pixelAspectNumerator = 0;
    int pixelAspectDenominator = 0;
    // 1 interlaced upper field first, 2 lower field first, 3 progressive; 0 unknown.
    unsigned scanMode = 0;
    unsigned polarity = 0;
    unsigned gamutScaling = 0;
    unsigned orientation = 1;
    // The host's colorimetry (0 unknown, 1 SD, 2 BT.709, 3 BT.2020, ...), and
    // the pair the container named.
    int colorimetry = 0;
    Corvidane::VideoColourCPMode colourPrimaries = Corvidane::CPModeUnknown;
    Corvidane::VideoColourTCMode transferCharacteristic = Corvidane::TCModeUnknown;

    // The host's frame rate code; the rate the container named, before any repair.
    unsigned frameRate = 0;
    double containerRate = 0;
    // A capture rate that replaced the container's for playing (slow motion).
    double captureRate = 0;
    double lowestRate = 0;
    double highestRate = 0;
    std::shared_ptr<VariableFrameRateHandler> variableRate;

    // In frames from the origin; the container's count beside it.
    int64_t length = 0;
    int64_t containerLength = 0;
    double approxDataRate = 0;
    uint16_t gopLength = 0;
    uint16_t gopAnchorDistance = 0;
    bool fixedGop = false;
    // Flags of the host's decompression info: 1 growing file, 2 fragmented movie.
    unsigned decompressionFlags = 0;
    int64_t creationTime = 0;
    std::wstring editLabel;
    std::vector<Ptr<ByteBufferImpl>> firstFrame;

    bool videoDataSet = false;
    bool sequenceDataSet = false;
    bool sampleDataSet = false;
    configb config;

    bool isVariableFrameRate() const { return lowestRate > 0 && highestRate > 0 && highestRate - lowestRate > 0.01; }
    bool isNonStandardFrameRate() const { return frameRate == 0; }
};

namespace Aud {

// The host's description of one audio stream.
struct Metadata {
    // The host's data type (201 PCM, 140 AAC, ...; 0 unknown) and the two
    // attributes that go with it.
    unsigned dataType = 0;
    bool bigEndian = false;
    // 1 integer, 2 floating point; 0 as the data type implies.
    unsigned representation = 0;
    bool imaAdpcm = false;
    unsigned channels = 0;
    unsigned bitsPerSample = 0;
    // Bytes of one sample of one channel.
    unsigned stride = 0;
    unsigned sampleRate = 0;
    // In sample groups, from the stream's start.
    int64_t length = 0;
    unsigned streamStartOffset = 0;
    unsigned sampleTypeNumber = 0;
    unsigned maximumPacketSize = 0;
    // A compressed stream's configuration (the audio specific configuration of
    // AAC, an ALAC atom).
    std::vector<unsigned char> codecConfiguration;
    configb config;

    // What the capability answer looks at.
    bool pcm = false;
    unsigned sampleType = 0;
    bool decodable = false;
    bool isPCM() const { return pcm; }
    unsigned bytesPerGroup() const { return stride * channels; }
};

} // namespace Aud

namespace Hc {

// The host's catalogue of picture decoders. Without the host it knows the
// codings the editor decodes itself; tests may add more.
class DecoderInfo {
public:
    static DecoderInfo& instance();
    bool canDecode(uint32_t format) const;
    void addDecoder(uint32_t format);

private:
    DecoderInfo();
    mutable std::mutex m_mutex;
    std::set<uint32_t> m_formats;
};

// Codings of the two families the editor handles without asking a decoder.
bool isJpegFormat(uint32_t format);
bool isH264Format(uint32_t format);

} // namespace Hc
