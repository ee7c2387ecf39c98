#pragma once
#include <cstdint>
#include <string>
#include <vector>

#include "frame/TrackRecords.h"

namespace Corvidane::MXF {
class CMxf_FileReader;
class CMxf_FileWriter;
}

// Coded frames and sound of ffmpeg-made elementary streams, in the shape the
// MXF writer is handed them, and the track records that describe them.
namespace MxfWriterTest {

struct Frame {
    std::string bytes;
    uint32_t frameType = Corvidane::HalcIFrame;  // HalcMpeg2FrameTypes bits
    uint32_t presentation = 0;                   // display position
};

// Frames of a raw stream at the places ffprobe finds its packets. MPEG-2
// pictures take their type, sequence header and display position from their
// own headers; other frames are intra, shown in coded order.
std::vector<Frame> framesOf(const std::string& path);

// The samples of each frame at a rate: 1920 a frame at 25, the five-frame
// cadence 1602, 1601, 1602, 1601, 1602 at 29.97.
uint32_t samplesForFrame(size_t frame, bool ntsc);

Corvidane::TrackStructuralData timecodeTrack(uint32_t rateNumerator, uint32_t rateDenominator, uint32_t startFrame,
                                             bool dropFrame);
Corvidane::TrackStructuralData videoTrack(const char* fourcc, uint32_t width, uint32_t height,
                                          uint32_t rateNumerator, uint32_t rateDenominator, uint32_t gopSize,
                                          uint32_t dataRate, bool progressive = true);
Corvidane::TrackStructuralData audioTrack(uint16_t channels, uint16_t bitsPerSample);

// A source to write: the tracks in the front end's MXF order (timecode,
// video, audio) and what each frame carries.
struct Source {
    std::vector<Corvidane::TrackStructuralData> tracks;
    std::vector<Frame> video;
    std::vector<std::string> audio;  // one raw PCM stream per audio track
    bool ntsc = false;
};

// Hands frames [first, end) of the source to the writer, one edit unit a
// call, each with its share of every audio stream. False at the first
// refusal, whose text goes to `error`.
bool writeFrames(Corvidane::MXF::CMxf_FileWriter& writer, const Source& source, size_t first, size_t end,
                 std::string* error = nullptr);

// A folder holding the dictionary files that OP-Atom files carry, made once.
std::wstring dictionaryFolder();

// The sound bytes that frames [0, frames) carry.
std::string audioOfFrames(const Source& source, size_t track, size_t frames);

// A wide text as UTF-8, for test messages.
std::string narrowText(const wchar_t* wide);

// Our reader opens the file at `path`, and its first picture stream holds the
// source's pictures, byte for byte.
// Loads an MXF file: its first picture stream, -1 when the load fails or it
// has none.
int loadPicture(Corvidane::MXF::CMxf_FileReader& reader, const std::string& path);

void expectReaderGivesThePictures(const std::string& path, const Source& source);

// A file that may still be growing (or whose writer died) holds at least the
// first `count` pictures of `pictures`: ffprobe finds them with the hashes it
// gives the raw stream at `sourcePath`, and our reader reads them byte for byte.
void expectFirstPicturesReadable(const std::string& path, const std::string& sourcePath,
                                 const std::vector<Frame>& pictures, size_t count);

} // namespace MxfWriterTest
