#pragma once
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "host/Config.h"

namespace Hc {

// One audio stream of a file to be written.
struct AudioStreamDescription {
    unsigned channels = 0;
    unsigned sampleRate = 0;
    unsigned bytesPerSample = 0;
    unsigned bitsPerSample = 0;
};

// What the host tells a writer resource about a file it wants written.
struct FileWriterParams {
    std::string formatType = "MOV";
    // The encoder's code, first letter in the low byte; "apxx" stands for a
    // ProRes export.
    uint32_t compression = 0;
    unsigned frameRate = 0;  // the host's frame rate code
    unsigned width = 0;
    unsigned height = 0;
    unsigned stride = 0;
    // Bits per component of the pictures handed over (the host's image format).
    unsigned bitsPerComponent = 8;
    // 3 or 4 progressive, else interlaced.
    unsigned scanMode = 0;
    unsigned aspectRatio = 0;
    int colorimetry = 0;
    // Kilobits per second of a constant-rate coding, as the encoder tells it.
    unsigned frameSize = 0;
    // The pictures' GOP and the spacing of its anchors; 1 for intra-only.
    unsigned gopLength = 1;
    unsigned gopAnchorDistance = 1;
    std::vector<AudioStreamDescription> audio;
    // 2 asks for a file per track where the container can (MXF OP-Atom).
    unsigned multiplexing = 0;
    configb config;

    unsigned getTotalChannels() const
    {
        unsigned total = 0;
        for (const AudioStreamDescription& stream : audio)
            total += stream.channels;
        return total;
    }
};

// One file being written, as the host drives it: one coded frame at a time,
// from the host's writer thread.
class FileInfoBase {
public:
    virtual ~FileInfoBase() = default;
    virtual int initialise() { return 1; }
    virtual void deinitialise() {}
    // One frame of video in coded order, with its frame type bits; the host's code.
    virtual int writeSurface(const unsigned char* bytes, unsigned size, uint32_t frameType) = 0;
    // Sound of a file without pictures: one buffer per audio stream, each
    // holding `count` samples counted over all its channels. The host's own
    // form writes nothing (12).
    virtual int writeAudioSamples(const std::vector<std::vector<unsigned char>>& streams, unsigned count)
    {
        return 12;
    }
    // Why the last call failed, in the container writer's words; empty when
    // it didn't say.
    virtual std::wstring lastError() const { return {}; }

    // Where the audio of each frame comes from: the sample groups that go
    // with the next frame, one buffer per audio stream. The host's code, 1
    // when the audio is ready.
    using AudioSource = std::function<int(unsigned& count, std::vector<std::vector<unsigned char>>& buffers)>;
    void setAudioSource(AudioSource source) { m_audioSource = std::move(source); }
    // The display position of the frame the next writeSurface carries.
    void setPresentationIndex(uint32_t index) { m_presentationIndex = index; }

protected:
    int getNextAudioBuffers(unsigned& count)
    {
        count = 0;
        return m_audioSource ? m_audioSource(count, m_audioBuffers) : 0;
    }
    const std::vector<unsigned char>& audioBuffer(size_t stream) const { return m_audioBuffers.at(stream); }
    uint32_t presentationIndex() const { return m_presentationIndex; }

private:
    AudioSource m_audioSource;
    std::vector<std::vector<unsigned char>> m_audioBuffers;
    uint32_t m_presentationIndex = 0;
};

} // namespace Hc
