#include "support/AviFixture.h"

#include <stdexcept>

namespace AviFixture {

uint32_t fourcc(const char (&code)[5])
{
    return uint32_t(uint8_t(code[0])) | uint32_t(uint8_t(code[1])) << 8 | uint32_t(uint8_t(code[2])) << 16 |
           uint32_t(uint8_t(code[3])) << 24;
}

uint32_t readLE32(const std::string& bytes, size_t at)
{
    if (at + 4 > bytes.size())
        throw std::out_of_range("readLE32 past the end");
    uint32_t value = 0;
    for (int i = 3; i >= 0; --i)
        value = value << 8 | uint8_t(bytes[at + i]);
    return value;
}

void writeLE32(std::string& bytes, size_t at, uint32_t value)
{
    for (int i = 0; i < 4; ++i)
        bytes[at + i] = char(value >> (8 * i));
}

namespace {

void walk(const std::string& bytes, size_t at, size_t end, uint32_t kind, std::vector<size_t>& found)
{
    while (at + 8 <= end) {
        uint32_t id = readLE32(bytes, at);
        uint64_t size = readLE32(bytes, at + 4);
        if (id == kind)
            found.push_back(at);
        bool list = id == fourcc("RIFF") || id == fourcc("LIST");
        if (list && at + 12 <= end && readLE32(bytes, at + 8) != fourcc("movi"))
            walk(bytes, at + 12, std::min<uint64_t>(end, at + 8 + size), kind, found);
        at += 8 + size + (size & 1);
    }
}

// Appends little-endian values and chunks whose sizes are filled in when they end.
class Writer {
public:
    std::string bytes;
    void u16(uint32_t value) { put(value, 2); }
    void u32(uint32_t value) { put(value, 4); }
    void u64(uint64_t value) { put(value, 8); }
    void id(const char (&code)[5]) { u32(fourcc(code)); }
    void zeros(size_t count) { bytes.append(count, '\0'); }
    size_t begin(const char (&code)[5])
    {
        id(code);
        u32(0);
        return bytes.size() - 8;
    }
    size_t list(const char (&kind)[5], const char (&type)[5])
    {
        size_t head = begin(kind);
        id(type);
        return head;
    }
    void end(size_t head)
    {
        writeLE32(bytes, head + 4, uint32_t(bytes.size() - head - 8));
        if (bytes.size() & 1)
            bytes += '\0';
    }

private:
    void put(uint64_t value, int count)
    {
        for (int i = 0; i < count; ++i)
            bytes += char(value >> (8 * i));
    }
};

constexpr unsigned superIndexSlots = 32;
constexpr unsigned sampleRate = 8000;

uint32_t videoSize(unsigned frame) { return 40 + (frame * 37) % 211; }
uint32_t audioSamples(unsigned frame) { return 200 + (frame % 3) * 60; }

// Display order, type and IBP class bits of a frame stored at `position`,
// in groups stored as I P B B P B B.
void ibpFrame(unsigned position, uint32_t& display, uint16_t& type, uint32_t& classBits)
{
    static const unsigned shown[7] = {0, 3, 1, 2, 6, 4, 5};
    unsigned group = position / 7 * 7, slot = position % 7;
    display = group + shown[slot];
    type = slot == 0 ? 68 : (slot == 1 || slot == 4) ? 16 : 8;
    classBits = slot == 0 ? 0 : type == 16 ? 1u << 29 : 2u << 29;
}

// The MPEG-2 media type record that follows the bitmap header of an MMES strf.
void mpeg2MediaType(Writer& out, uint32_t width, uint32_t height)
{
    size_t start = out.bytes.size();
    out.zeros(212);
    std::string& b = out.bytes;
    auto guid = [&](size_t at, uint32_t d1, uint16_t d2, uint16_t d3, std::initializer_list<uint8_t> d4) {
        writeLE32(b, start + at, d1);
        b[start + at + 4] = char(d2);
        b[start + at + 5] = char(d2 >> 8);
        b[start + at + 6] = char(d3);
        b[start + at + 7] = char(d3 >> 8);
        size_t i = 8;
        for (uint8_t byte : d4)
            b[start + at + i++] = char(byte);
    };
    writeLE32(b, start, 44);
    guid(4, 0x73646976, 0x0000, 0x0010, {0x80, 0x00, 0x00, 0xAA, 0x00, 0x38, 0x9B, 0x71});
    guid(20, 0xE06D8026, 0xDB46, 0x11CF, {0xB4, 0xD1, 0x00, 0x80, 0x5F, 0x6C, 0xBB, 0xEA});
    guid(48, 0xE06D80E3, 0xDB46, 0x11CF, {0xB4, 0xD1, 0x00, 0x80, 0x5F, 0x6C, 0xBB, 0xEA});
    writeLE32(b, start + 68, 136);
    writeLE32(b, start + 148, 40);
    writeLE32(b, start + 152, width);
    writeLE32(b, start + 156, height);
    writeLE32(b, start + 164, fourcc("MMES"));
}

} // namespace

std::vector<size_t> findChunks(const std::string& bytes, uint32_t kind)
{
    std::vector<size_t> found;
    walk(bytes, 0, bytes.size(), kind, found);
    return found;
}

void removeChunks(std::string& bytes, uint32_t kind)
{
    for (size_t at : findChunks(bytes, kind))
        writeLE32(bytes, at, fourcc("JUNK"));
}

void makeIdx1Absolute(std::string& bytes)
{
    std::vector<size_t> movi;
    for (size_t list : findChunks(bytes, fourcc("LIST")))
        if (readLE32(bytes, list + 8) == fourcc("movi"))
            movi.push_back(list);
    std::vector<size_t> idx1 = findChunks(bytes, fourcc("idx1"));
    if (movi.empty() || idx1.empty())
        throw std::runtime_error("makeIdx1Absolute: no movi or idx1");
    uint32_t moviFourcc = uint32_t(movi[0] + 8);
    uint32_t size = readLE32(bytes, idx1[0] + 4);
    for (size_t at = idx1[0] + 8; at + 16 <= idx1[0] + 8 + size; at += 16)
        writeLE32(bytes, at + 8, readLE32(bytes, at + 8) + moviFourcc);
}

void setStreamType(std::string& bytes, unsigned stream, uint32_t type)
{
    std::vector<size_t> headers = findChunks(bytes, fourcc("strh"));
    if (stream >= headers.size())
        throw std::runtime_error("setStreamType: no such stream");
    writeLE32(bytes, headers[stream] + 8, type);
}

OpenDmlFile makeOpenDml(const OpenDmlLayout& layout)
{
    const bool ibp = layout.videoIndexSubType == 16;
    const bool fields = layout.videoIndexSubType == 1;
    const bool audio = layout.audio && !ibp;
    const unsigned streams = audio ? 2 : 1;
    const unsigned riffs = (layout.frames + layout.framesPerRiff - 1) / layout.framesPerRiff;
    if (riffs > superIndexSlots || (ibp && (layout.framesPerRiff % 7 || layout.frames % 7)))
        throw std::invalid_argument("makeOpenDml: layout out of range");
    OpenDmlFile file;
    uint64_t totalSamples = 0;
    for (unsigned i = 0; i < layout.frames; ++i)
        totalSamples += audioSamples(i);

    Writer out;
    size_t riff = out.list("RIFF", "AVI ");
    size_t hdrl = out.list("LIST", "hdrl");
    size_t avih = out.begin("avih");
    out.u32(40000);
    out.zeros(12);
    size_t totalFramesAt = out.bytes.size();
    out.u32(0);
    out.u32(0);
    out.u32(streams);
    out.u32(0);
    out.u32(16);
    out.u32(8);
    out.zeros(16);
    out.end(avih);

    size_t superIndex[2] = {0, 0};
    for (unsigned s = 0; s < streams; ++s) {
        size_t strl = out.list("LIST", "strl");
        size_t strh = out.begin("strh");
        bool video = s == 0;
        out.id(video ? "vids" : "auds");
        out.u32(video ? fourcc(ibp ? "MMES" : "cvtx") : 0);
        out.zeros(12);
        out.u32(1);
        out.u32(video ? 25 : sampleRate);
        out.u32(0);
        out.u32(video ? layout.frames : uint32_t(totalSamples));
        out.u32(0);
        out.u32(0xFFFFFFFF);
        out.u32(video ? 0 : 2);
        out.zeros(8);
        out.end(strh);
        size_t strf = out.begin("strf");
        if (video) {
            out.u32(40);
            out.u32(16);
            out.u32(8);
            out.u16(1);
            out.u16(24);
            out.u32(fourcc(ibp ? "MMES" : "cvtx"));
            out.zeros(20);
            if (ibp)
                mpeg2MediaType(out, 16, 8);
        } else {
            out.u16(1);
            out.u16(1);
            out.u32(sampleRate);
            out.u32(sampleRate * 2);
            out.u16(2);
            out.u16(16);
            out.u16(0);
        }
        out.end(strf);
        size_t indx = out.begin("indx");
        out.u16(4);
        out.bytes += char(video ? layout.videoIndexSubType : 0);
        out.bytes += char(0);
        out.u32(riffs);
        out.id(video ? "00dc" : "01wb");
        out.zeros(12);
        superIndex[s] = out.bytes.size();
        out.zeros(16 * superIndexSlots);
        out.end(indx);
        out.end(strl);
    }
    size_t odml = out.list("LIST", "odml");
    size_t dmlh = out.begin("dmlh");
    out.u32(layout.frames);
    out.zeros(244);
    out.end(dmlh);
    out.end(odml);
    out.end(hdrl);

    struct Chunk {
        unsigned stream;
        uint64_t offset;
        uint32_t size;
        uint32_t sizeField;
    };
    unsigned frame = 0;
    for (unsigned r = 0; r < riffs; ++r) {
        if (r > 0)
            riff = out.list("RIFF", "AVIX");
        size_t movi = out.list("LIST", "movi");
        const uint64_t base = movi + 8;
        const unsigned first = frame, last = std::min(layout.frames, first + layout.framesPerRiff);
        const unsigned count = last - first;
        const uint32_t videoEntry = ibp ? 24 : fields ? 12 : 8;
        const uint32_t ixSize[2] = {8 + 24 + count * videoEntry, 8 + 24 + count * 8};
        size_t ixAt[2] = {0, 0};
        auto reserveIndexes = [&] {
            for (unsigned s = 0; s < streams; ++s) {
                ixAt[s] = out.bytes.size();
                out.zeros(ixSize[s]);
            }
        };
        if (layout.indexAtFront)
            reserveIndexes();
        std::vector<Chunk> chunks;
        for (; frame < last; ++frame) {
            size_t head = out.begin("00dc");
            uint32_t size = videoSize(frame);
            for (uint32_t j = 0; j < size; ++j)
                out.bytes += char(frame * 13 + j * 7);
            out.end(head);
            Frame video;
            video.offset = head + 8;
            video.size = size;
            uint32_t classBits = 0;
            if (ibp) {
                ibpFrame(frame, video.display, video.frameType, classBits);
            } else {
                video.display = frame;
                // Every fifth frame a key frame: the others carry the top bit,
                // except in a field index here, whose sizes then have no flag.
                classBits = frame % 5 && !fields ? 0x80000000u : 0;
                video.frameType = classBits ? 16 : 4;
            }
            file.video.push_back(video);
            chunks.push_back({0, head + 8, size, size | classBits});
            if (audio) {
                head = out.begin("01wb");
                uint32_t bytes = audioSamples(frame) * 2;
                for (uint32_t j = 0; j < bytes; ++j)
                    out.bytes += char(frame * 5 + j * 3 + 1);
                out.end(head);
                Frame sound;
                sound.offset = head + 8;
                sound.size = bytes;
                file.audio.push_back(sound);
                chunks.push_back({1, head + 8, bytes, bytes});
            }
        }
        if (ibp) {
            // Each frame names the stored position of the frame shown at its own position.
            for (unsigned k = first; k < last; ++k)
                for (unsigned j = first; j < last; ++j)
                    if (file.video[j].display == k)
                        file.video[k].stored = j;
        } else {
            for (unsigned k = first; k < last; ++k)
                file.video[k].stored = k;
        }
        if (!layout.indexAtFront)
            reserveIndexes();
        for (unsigned s = 0; s < streams; ++s) {
            Writer w;
            w.id(s ? "ix01" : "ix00");
            w.u32(ixSize[s] - 8);
            w.u16(s == 0 ? videoEntry / 4 : 2);
            w.bytes += char(s == 0 ? layout.videoIndexSubType : 0);
            w.bytes += char(1);
            w.u32(count);
            w.id(s ? "01wb" : "00dc");
            w.u64(base);
            w.u32(0);
            uint32_t duration = 0;
            for (const Chunk& chunk : chunks) {
                if (chunk.stream != s)
                    continue;
                if (s == 0 && ibp) {
                    const Frame& f = file.video[first + duration];
                    w.u64(chunk.offset);
                    w.u32(chunk.sizeField);
                    w.u32(f.display);
                    w.u32(f.stored);
                    w.u32(0);
                    ++duration;
                } else {
                    w.u32(uint32_t(chunk.offset - base));
                    w.u32(chunk.sizeField);
                    // A field index adds the offset of the second field, which readers pass over.
                    if (s == 0 && fields)
                        w.u32(uint32_t(chunk.offset - base + chunk.size / 2));
                    duration += s ? chunk.size / 2 : 1;
                }
            }
            out.bytes.replace(ixAt[s], w.bytes.size(), w.bytes);
            size_t entry = superIndex[s] + 16 * r;
            writeLE32(out.bytes, entry, uint32_t(ixAt[s]));
            writeLE32(out.bytes, entry + 4, uint32_t(uint64_t(ixAt[s]) >> 32));
            writeLE32(out.bytes, entry + 8, ixSize[s]);
            writeLE32(out.bytes, entry + 12, duration);
        }
        out.end(movi);
        if (r == 0) {
            writeLE32(out.bytes, totalFramesAt, count);
            if (layout.legacyIndex) {
                size_t idx1 = out.begin("idx1");
                for (const Chunk& chunk : chunks) {
                    out.id(chunk.stream ? "01wb" : "00dc");
                    out.u32(chunk.sizeField & 0x80000000u ? 0 : 0x10);
                    out.u32(uint32_t(chunk.offset - 8 - base));
                    out.u32(chunk.size);
                }
                out.end(idx1);
            }
        }
        out.end(riff);
    }
    file.bytes = std::move(out.bytes);
    return file;
}

} // namespace AviFixture
