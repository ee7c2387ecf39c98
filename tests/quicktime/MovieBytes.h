#pragma once
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

// Builds QuickTime atoms byte by byte, so that tests can make exactly the
// movie, or the damage, they need.
namespace movie_bytes {

inline std::string be16(uint32_t v) { return {char(v >> 8), char(v)}; }
inline std::string be32(uint32_t v) { return be16(v >> 16) + be16(v & 0xFFFF); }
inline std::string be64(uint64_t v) { return be32(uint32_t(v >> 32)) + be32(uint32_t(v)); }

inline std::string atom(const std::string& type, const std::string& body)
{
    return be32(uint32_t(body.size() + 8)) + type + body;
}
inline std::string fullAtom(const std::string& type, uint32_t versionAndFlags, const std::string& body)
{
    return atom(type, be32(versionAndFlags) + body);
}

inline std::string mvhd(uint32_t timeScale, uint32_t duration, uint32_t creation = 0)
{
    std::string body = be32(creation) + be32(creation) + be32(timeScale) + be32(duration) + be32(0x10000) +
                       be16(0x100) + std::string(10, '\0');
    for (uint32_t word : {0x10000u, 0u, 0u, 0u, 0x10000u, 0u, 0u, 0u, 0x40000000u})
        body += be32(word);
    body += std::string(24, '\0') + be32(2);
    return fullAtom("mvhd", 0, body);
}

inline std::string tkhd(uint32_t id, uint32_t duration, uint16_t width = 0, uint16_t height = 0,
                        std::vector<uint32_t> matrix = {0x10000, 0, 0, 0, 0x10000, 0, 0, 0, 0x40000000})
{
    std::string body = be32(0) + be32(0) + be32(id) + be32(0) + be32(duration) + std::string(8, '\0') + be16(0) +
                       be16(0) + be16(0) + be16(0);
    for (uint32_t word : matrix)
        body += be32(word);
    body += be16(width) + be16(0) + be16(height) + be16(0);
    return fullAtom("tkhd", 0x0F, body);
}

inline std::string mdhd(uint32_t timeScale, uint32_t duration)
{
    return fullAtom("mdhd", 0, be32(0) + be32(0) + be32(timeScale) + be32(duration) + be16(0) + be16(0));
}

inline std::string hdlr(const std::string& subtype, const std::string& type = "mhlr")
{
    return fullAtom("hdlr", 0, type + subtype + "appl" + be32(0) + be32(0) + std::string(1, '\0'));
}

// A table of 32-bit words behind a count.
inline std::string table(const std::string& type, const std::vector<uint32_t>& words, uint32_t count)
{
    std::string body = be32(count);
    for (uint32_t word : words)
        body += be32(word);
    return fullAtom(type, 0, body);
}

inline std::string videoEntry(const std::string& format, uint16_t width, uint16_t height,
                              const std::string& extensions = {}, const std::string& name = "\x04Test")
{
    std::string body = std::string(6, '\0') + be16(1) + be16(0) + be16(0) + "appl" + be32(0) + be32(0) +
                       be16(width) + be16(height) + be32(0x480000) + be32(0x480000) + be32(0) + be16(1);
    std::string compressor = name;
    compressor.resize(32, '\0');
    body += compressor + be16(24) + be16(0xFFFF) + extensions;
    if (!extensions.empty())
        body += be32(0);
    return atom(format, body);
}

// A version 0 sound description.
inline std::string soundEntry(const std::string& format, uint16_t channels, uint16_t bits, uint32_t rate)
{
    return atom(format, std::string(6, '\0') + be16(1) + be16(0) + be16(0) + be32(0) + be16(channels) + be16(bits) +
                            be16(0) + be16(0) + be32(rate << 16));
}

inline std::string stsd(const std::string& entries, uint32_t count = 1)
{
    return fullAtom("stsd", 0, be32(count) + entries);
}

// A track of `sizes.size()` samples, one chunk each at the given offsets.
struct Track {
    std::string handler = "vide";
    uint32_t timeScale = 25000;
    uint32_t sampleDuration = 1000;
    std::string sampleEntry = videoEntry("mjpa", 64, 48);
    std::vector<uint32_t> sizes;
    std::vector<uint64_t> chunkOffsets;
    // Sample-to-chunk runs: first chunk, samples per chunk, description, ...
    std::vector<uint32_t> chunkRuns = {1, 1, 1};
    // Time-to-sample runs, count and duration; one run of sampleDuration when empty.
    std::vector<uint32_t> timeRuns;
    // 0 for a size per sample, else the constant of stsz.
    uint32_t constantSize = 0;
    bool offsets64 = false;
    std::string extraTables; // stss, ctts, stps, sdtp, a second stsz ...
    std::string edits;       // an elst, wrapped in edts here
    std::string header;      // tkhd; made from the samples when empty
};

inline std::string trak(const Track& t, uint32_t id = 1)
{
    uint32_t count = uint32_t(t.sizes.size());
    std::vector<uint32_t> runs = t.timeRuns.empty() ? std::vector<uint32_t>{count, t.sampleDuration} : t.timeRuns;
    uint64_t duration = 0;
    for (size_t i = 0; i + 1 < runs.size(); i += 2)
        duration += uint64_t(runs[i]) * runs[i + 1];
    std::string stbl = stsd(t.sampleEntry) + table("stts", runs, uint32_t(runs.size() / 2)) +
                       table("stsc", t.chunkRuns, uint32_t(t.chunkRuns.size() / 3));
    std::string sizes = be32(t.constantSize) + be32(count);
    if (t.constantSize == 0)
        for (uint32_t size : t.sizes)
            sizes += be32(size);
    stbl += fullAtom("stsz", 0, sizes);
    std::string offsets = be32(uint32_t(t.chunkOffsets.size()));
    for (uint64_t offset : t.chunkOffsets)
        offsets += t.offsets64 ? be64(offset) : be32(uint32_t(offset));
    stbl += fullAtom(t.offsets64 ? "co64" : "stco", 0, offsets) + t.extraTables;
    std::string minf = atom("stbl", stbl);
    std::string mdia = mdhd(t.timeScale, uint32_t(duration)) + hdlr(t.handler) + atom("minf", minf);
    std::string header = t.header.empty() ? tkhd(id, count * 40) : t.header;
    return atom("trak", header + (t.edits.empty() ? "" : atom("edts", t.edits)) + atom("mdia", mdia));
}

inline std::string moov(const std::string& children, uint32_t timeScale = 1000)
{
    return atom("moov", mvhd(timeScale, 0) + children);
}

// A file: ftyp, an mdat holding `payload`, then the movie atom. Sample
// offsets in the mdat start at mdatPayloadOffset.
constexpr uint64_t mdatPayloadOffset = 20 + 8;
inline std::string file(const std::string& payload, const std::string& movie)
{
    return atom("ftyp", "qt  " + be32(0) + "qt  ") + atom("mdat", payload) + movie;
}

} // namespace movie_bytes
