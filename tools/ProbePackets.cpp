#include "tools/ProbePackets.h"

#include <algorithm>

#include "tools/Md5.h"
#include "tools/Probe.h"

using Corvidane::IndexEntry;

namespace {

// Packets read from one stream before the reader turns to another.
constexpr size_t windowPackets = 2048;
constexpr uint64_t maxAudioPacket = 1 << 20;
constexpr size_t firstBuffer = size_t(4) << 20;
constexpr size_t maxBuffer = size_t(1) << 30;

} // namespace

PacketLister::PacketLister(Corvidane::MediaFileReader& reader, const std::vector<PacketStream>& streams, bool hashes)
    : m_reader(reader), m_hashes(hashes)
{
    for (const PacketStream& stream : streams) {
        Cursor cursor;
        cursor.stream = stream;
        cursor.video = reader.get_IsVideo(stream.index);
        cursor.audio = reader.get_IsAudio(stream.index);
        cursor.timecode = reader.get_IsTimeCode(stream.index);
        cursor.length = reader.get_Length(stream.index);
        cursor.done = cursor.length == 0;
        m_cursors.push_back(std::move(cursor));
    }
}

bool PacketLister::next(ProbePacket& packet)
{
    // After a failure nothing more is read; what was gathered still goes out.
    Cursor* first = nullptr;
    for (Cursor& cursor : m_cursors) {
        if (cursor.window.empty() && !cursor.done && m_error.empty())
            fill(cursor);
        if (!cursor.window.empty() && (!first || cursor.window.front().pos < first->window.front().pos))
            first = &cursor;
    }
    if (!first)
        return false;
    packet = std::move(first->window.front());
    first->window.pop_front();
    return true;
}

void PacketLister::fail(Cursor& cursor, const std::string& error)
{
    cursor.done = true;
    if (!cursor.timecode)
        m_error = error;
}

void PacketLister::fill(Cursor& cursor)
{
    const int stream = cursor.stream.index;
    if (!isSuccess(m_reader.essenceOpen(unsigned(stream)))) {
        fail(cursor, "cannot open stream " + std::to_string(stream) + readerError());
        return;
    }
    const bool data = !cursor.audio && !cursor.video;
    const unsigned windowStart = cursor.sample;
    bool reordered = false;
    while (cursor.sample < cursor.length) {
        IndexEntry first;
        const CvResult found = m_reader.getIndexEntry(cursor.sample, first);
        // A fragmented movie's length is nominal: the reads mark its end.
        if (found == HandleEOF && m_reader.isFragmented()) {
            cursor.done = true;
            break;
        }
        if (!isSuccess(found)) {
            fail(cursor, "no index entry for sample " + std::to_string(cursor.sample) + " of stream " +
                             std::to_string(stream) + readerError());
            break;
        }
        // A window of pictures ends before a key frame, where the reader's
        // GOP order can start.
        if (cursor.window.size() >= windowPackets && (!cursor.video || Corvidane::isKeyFrame(first)))
            break;
        reordered = reordered || first.presentationIndex != cursor.sample;
        unsigned count = 1;
        uint64_t size = first.size;
        while ((cursor.audio || data) && cursor.sample + count < cursor.length && size < maxAudioPacket) {
            IndexEntry next;
            if (!isSuccess(m_reader.getIndexEntry(cursor.sample + count, next)))
                break;
            if (cursor.audio && next.offset == first.offset + size)
                size += next.size;
            else if (!(data && next.offset == first.offset && next.size == first.size))
                break;
            ++count;
        }
        ProbePacket packet;
        packet.stream = stream;
        packet.pos = first.offset;
        packet.size = size;
        packet.key = Corvidane::isKeyFrame(first);
        std::string problem;
        if (m_hashes && !hashSamples(cursor.sample, data ? 1 : count, packet.md5, problem)) {
            fail(cursor, problem);
            break;
        }
        // In samples for now; in ticks once the pictures are placed.
        packet.timed = cursor.stream.ticksPerSample > 0;
        packet.pts = packet.dts = cursor.sample;
        packet.duration = count;
        cursor.window.push_back(std::move(packet));
        cursor.sample += count;
    }
    if (cursor.sample >= cursor.length)
        cursor.done = true;
    if (reordered && cursor.video)
        placePictures(cursor, windowStart);
    // Decoding runs ahead of display by as many pictures as wait for a later
    // one; as in ffprobe, decode times start that far below zero, so that no
    // picture is decoded after it is shown. The first window's pictures
    // give the depth.
    if (cursor.delay < 0) {
        cursor.delay = 0;
        for (const ProbePacket& packet : cursor.window)
            if (packet.timed)
                cursor.delay = std::max(cursor.delay, packet.dts - packet.pts);
    }
    const int64_t ticks = cursor.stream.ticksPerSample;
    for (ProbePacket& packet : cursor.window) {
        packet.pts *= ticks;
        packet.dts = (packet.dts - cursor.delay) * ticks;
        packet.duration *= ticks;
    }
}

// Where each picture of a window is shown, as the editor learns it: from the
// reader's GOP order, which gives the display position of each picture in
// coded order (the index entries of some containers hold the reverse map).
// A picture it doesn't place has no times.
void PacketLister::placePictures(Cursor& cursor, unsigned first)
{
    const unsigned count = cursor.sample - first;
    std::vector<unsigned> decode, shown;
    std::vector<unsigned short> types;
    std::vector<int64_t> place(count, -1);
    if (isSuccess(m_reader.getGopAndPresentationOrder(first, count, decode, shown, types)))
        for (size_t i = 0; i < decode.size() && i < shown.size(); ++i)
            if (decode[i] >= first && decode[i] - first < count && shown[i] != unsigned(-1))
                place[decode[i] - first] = shown[i];
    // A window of pictures holds a packet per sample, in coded order.
    for (size_t i = 0; i < cursor.window.size() && i < place.size(); ++i) {
        cursor.window[i].timed = cursor.window[i].timed && place[i] >= 0;
        cursor.window[i].pts = place[i];
    }
}

// Samples are read one at a time: a reader may take the samples of a run to
// be of one size, which holds for PCM only.
bool PacketLister::hashSamples(unsigned start, unsigned count, std::string& md5, std::string& problem)
{
    // Made at the first read, so that a probe without hashes doesn't pay for it.
    if (m_buffer.empty())
        m_buffer.resize(firstBuffer);
    Md5 hash;
    for (unsigned sample = start; sample < start + count; ++sample) {
        bool read = false;
        for (int attempt = 0; attempt < 8 && !read; ++attempt) {
            unsigned offset = 0, size = 0;
            const CvResult result = m_reader.essenceRead(sample, 1, m_buffer.data(), unsigned(m_buffer.size()),
                                                         offset, size);
            if (result == InsufficientBuffer || result == BufferTooSmall) {
                // The reader asks for more room than its sector arithmetic allows for.
                const size_t wanted = std::max<size_t>(m_buffer.size() * 2, size_t(size) + 2 * 65536);
                if (wanted > maxBuffer)
                    break;
                m_buffer.resize(wanted);
                continue;
            }
            if (!isSuccess(result) || uint64_t(offset) + size > m_buffer.size()) {
                problem = "cannot read sample " + std::to_string(sample) + readerError();
                return false;
            }
            hash.update(m_buffer.data() + offset, size);
            read = true;
        }
        if (!read) {
            problem = "the reader wants an ever larger buffer for sample " + std::to_string(sample);
            return false;
        }
    }
    md5 = hash.hexDigest();
    return true;
}

// The reader's own account of a failure, when it gave one.
std::string PacketLister::readerError() const
{
    const std::string text = narrow(m_reader.getLastError());
    const size_t start = text.find_first_not_of(' ');
    return start == std::string::npos ? std::string() : ": " + text.substr(start);
}
