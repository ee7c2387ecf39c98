#pragma once
#include <cstdint>
#include <deque>
#include <string>
#include <vector>

#include "frame/MediaFileReader.h"

// One packet as ffprobe lists it. Times are in the ticks of the time base
// the probe gives the stream.
struct ProbePacket {
    int stream = 0;
    uint64_t pos = 0;
    uint64_t size = 0;
    bool key = false;
    bool timed = false;  // whether pts, dts and duration are known
    int64_t pts = 0;
    int64_t dts = 0;
    int64_t duration = 0;
    std::string md5;  // hex, when hashes were asked for
};

// A stream whose packets are to be listed.
struct PacketStream {
    int index = 0;
    // Ticks of the stream's time base per sample of the reader: 1 for a
    // frame, 1024 for an AAC frame in a time base of the sample rate; 0 when
    // unknown.
    int64_t ticksPerSample = 0;
};

// The packets of a reader's streams in file order, as ffprobe lists them:
// each stream's in its decode order, the streams merged by position. A
// stream is read a window of packets at a time, so that the reader changes
// stream once a window rather than once a packet. A sample is one packet,
// except that audio samples lying back to back in the file are one packet,
// as the file's chunks are, and a data sample that stands for many units of
// time (a timecode sample) is listed once.
class PacketLister {
public:
    PacketLister(Corvidane::MediaFileReader& reader, const std::vector<PacketStream>& streams, bool hashes);

    // The next packet; false at the end. After a failure, which error()
    // tells, the packets gathered before it still come.
    bool next(ProbePacket& packet);
    const std::string& error() const { return m_error; }

private:
    struct Cursor {
        PacketStream stream;
        bool video = false;
        bool audio = false;
        // A timecode track whose values live in the headers (MXF) has no
        // samples to list; ffprobe lists none either, so its failures end it quietly.
        bool timecode = false;
        unsigned length = 0;
        unsigned sample = 0;   // the next to list
        int64_t delay = -1;    // samples by which decoding runs ahead of display; -1 until known
        bool done = false;
        std::deque<ProbePacket> window;
    };

    // Reads the cursor's next window; a failure ends it, and, but for a
    // timecode track's, all reading.
    void fill(Cursor& cursor);
    void placePictures(Cursor& cursor, unsigned first);
    void fail(Cursor& cursor, const std::string& error);
    bool hashSamples(unsigned start, unsigned count, std::string& md5, std::string& problem);
    std::string readerError() const;

    Corvidane::MediaFileReader& m_reader;
    bool m_hashes;
    std::vector<Cursor> m_cursors;
    std::vector<unsigned char> m_buffer;
    std::string m_error;
};
