#pragma once
#include <cstdint>
#include <string>
#include <vector>

// Test fixtures for the AVI reader: variants of ffmpeg's files with their
// indexes changed or damaged, and OpenDML files written from scratch, with
// as many RIFFs and standard indexes as a test wants at a few kilobytes.
namespace AviFixture {

uint32_t fourcc(const char (&code)[5]);
uint32_t readLE32(const std::string& bytes, size_t at);
void writeLE32(std::string& bytes, size_t at, uint32_t value);

// The head offsets of every chunk of a kind, in file order. Lists are
// entered, except movi, whose chunks are essence.
std::vector<size_t> findChunks(const std::string& bytes, uint32_t kind);

// Renames every chunk of a kind to JUNK, which readers pass over.
void removeChunks(std::string& bytes, uint32_t kind);
// Rewrites idx1 offsets from movi-relative to file positions of the chunk heads.
void makeIdx1Absolute(std::string& bytes);
// Sets fccType of the stream header of a stream.
void setStreamType(std::string& bytes, unsigned stream, uint32_t type);

// One video frame as an OpenDML writer stored it.
struct Frame {
    uint64_t offset = 0; // data, behind the chunk head
    uint32_t size = 0;
    uint16_t frameType = 4;
    uint32_t display = 0;
    uint32_t stored = 0;
};

struct OpenDmlLayout {
    unsigned frames = 60;
    unsigned framesPerRiff = 16;
    // 0 writes plain standard indexes, 1 field indexes; 16 the extended IBP
    // index of an MPEG-2 stream (video only), with groups "I P B B P B B".
    unsigned videoIndexSubType = 0;
    bool audio = true;
    // The standard indexes stand at the front of each movi, or behind the data.
    bool indexAtFront = true;
    // An idx1 behind the first RIFF's movi.
    bool legacyIndex = true;
};

// What was written: the file, the video frames in index order, and the audio
// chunks (offset, size) in order.
struct OpenDmlFile {
    std::string bytes;
    std::vector<Frame> video;
    std::vector<Frame> audio;
    unsigned audioBlockAlign = 2;
};

OpenDmlFile makeOpenDml(const OpenDmlLayout& layout);

} // namespace AviFixture
