#include "tools/AudioPacing.h"

#include <algorithm>
#include <cmath>

using Corvidane::MediaFileReader;

int firstStream(MediaFileReader& reader, bool video)
{
    for (int stream = 0; stream < reader.get_StreamCount(); ++stream)
        if (video ? reader.get_IsVideo(stream) : reader.get_IsAudio(stream))
            return stream;
    return -1;
}

AudioPacing::AudioPacing(MediaFileReader& reader, int video, int audio)
{
    if (audio < 0 || reader.get_Rate(video) <= 0)
        return;
    m_samples = reader.get_Length(audio);
    m_samplesPerFrame = reader.get_Rate(audio) / reader.get_Rate(video);
}

bool AudioPacing::span(unsigned frame, unsigned& first, unsigned& count)
{
    unsigned end = std::min(m_samples, static_cast<unsigned>(std::llround((frame + 1) * m_samplesPerFrame)));
    if (end <= m_next)
        return false;
    first = m_next;
    count = end - m_next;
    m_next = end;
    return true;
}
