#pragma once
#include <string>
#include <vector>

#include "host/FileReaderResource.h"

// Video frames as the editor reads them: the block of the GOP around a frame
// (or the frame alone), each sample in the buffer the front end filled.
class VideoFrames {
public:
    explicit VideoFrames(FileReadInstance& file) : m_file(file) {}
    // Reads the samples that `frame` needs; false with `error` set.
    bool read(unsigned frame, std::string& error);
    // The samples read, in coded order, and one of them by number (null when
    // it isn't among them).
    const std::vector<unsigned>& samples() const { return m_samples; }
    const ByteBufferImpl* sample(unsigned sample) const;
    // A sample's frame type bits (as index entries have them) and the frame
    // it shows; a frame read alone is a key frame showing itself.
    unsigned short frameType(unsigned sample) const;
    unsigned shownAs(unsigned sample) const;
    // After a failed read: the frame lies past the end of a stream whose
    // length is nominal (a live fragmented movie), which ends the stream.
    bool isPastTheEnd(unsigned frame) const;

private:
    FileReadInstance& m_file;
    std::vector<Ptr<ByteBufferImpl>> m_buffers;
    std::vector<unsigned> m_samples;
    std::vector<unsigned short> m_types;
    Ptr<IndexInfoRep> m_index;
};

// Reads every frame of the video through the editor's read path (a long-GOP
// stream a block at a time); with `alternate`, each frame's audio is read
// between frames by sample position, as a player does. Prints the counts read.
// Returns the process exit code; errors go to standard error.
int readFrames(Hc::FileReaderResource& reader, const std::wstring& path, bool alternate);

// Reads one frame and prints its place, size, key flag and MD5 as the
// container stores it (as ffprobe's data_hash gives it), then the size and
// MD5 of the bytes the editor receives for it.
int readOneFrame(Hc::FileReaderResource& reader, const std::wstring& path, unsigned frame);
