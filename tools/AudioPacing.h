#pragma once
#include "frame/MediaFileReader.h"

// The first video (or audio) stream of a reader; -1 when it has none.
int firstStream(Corvidane::MediaFileReader& reader, bool video);

// Hands out a stream's audio frame by frame, as a player or a writer front
// end pairs it with video: each frame gets the samples up to its end time.
class AudioPacing {
public:
    AudioPacing(Corvidane::MediaFileReader& reader, int video, int audio);
    // The samples that go with `frame`; false when there are none.
    bool span(unsigned frame, unsigned& first, unsigned& count);
    // Samples handed out so far.
    unsigned taken() const { return m_next; }

private:
    unsigned m_samples = 0;
    double m_samplesPerFrame = 0;
    unsigned m_next = 0;
};
