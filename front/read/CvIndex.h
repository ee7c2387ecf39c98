#pragma once

#include "frame/MediaFileReader.h"

namespace CvWrappers {

class FileInfo;

// The host's view of a stream's key frames, over a file's reader.
class CvIndex {
public:
    CvIndex(FileInfo& file, Corvidane::MediaFileReader* reader) : m_file(file), m_reader(reader) {}
    // The key frames at or before `frame` and after it; `after` is the
    // length when there is none after, and then the answer is false.
    bool findKeyFrames(unsigned frame, int& before, int& after, long&, long&) const;

private:
    FileInfo& m_file;
    Corvidane::MediaFileReader* m_reader;
};

} // namespace CvWrappers
