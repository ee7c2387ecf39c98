#pragma once
#include <memory>

#include "frame/MediaFileReader.h"
#include "host/AudioReader.h"

namespace CvWrappers {

// The plug-in's side of the host's audio reader: it fetches the bytes of audio
// requests from the container reader, as runs of samples or, where audio is
// stored per video frame, frame by frame. It takes no lock: its one state is
// the open stream.
class AudioReader : public Hc::AudioReader {
public:
    explicit AudioReader(std::unique_ptr<Corvidane::MediaFileReader>* reader) : m_reader(reader) {}

    // Opens a stream (absolute number) on the reader unless it is open already;
    // also used for video. The host's code.
    int essenceOpen(unsigned stream);
    bool isVideoFrameWrapped() const override;
    int essenceRead(unsigned audioStream, unsigned long start, unsigned count, Ptr<ByteBufferImpl>& buffer,
                    unsigned& samples) override;
    int readAudioByVideoSamples(Ptr<ByteBufferImpl>& buffer, Ptr<AudioReadRequest>& request) override;

protected:
    Corvidane::MediaFileReader* reader() const { return m_reader ? m_reader->get() : nullptr; }

    // The owner's reader, seen as it appears and vanishes.
    std::unique_ptr<Corvidane::MediaFileReader>* m_reader;
    unsigned m_firstAudioStream = 0;
    double m_videoRate = 0.0;
    int m_openStream = -1;
};

} // namespace CvWrappers
