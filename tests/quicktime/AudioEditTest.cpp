#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "quicktime/MovieBytes.h"
#include "quicktime/QtReaderFixture.h"

using namespace movie_bytes;
using Corvidane::IndexEntry;

// Which sound packets an edit shows and where they lie, for the shapes of
// file that phones, cameras and editors write.
namespace {

// Sound packets of the given sizes, packet i made of the letter 'a' + i, in
// one chunk at the start of the mdat.
struct Packets {
    explicit Packets(std::vector<uint32_t> packetSizes) : sizes(std::move(packetSizes))
    {
        for (size_t i = 0; i < sizes.size(); ++i)
            payload += bytes(i);
    }
    std::string bytes(size_t packet) const { return std::string(sizes[packet], char('a' + packet)); }
    uint64_t offset(size_t packet) const
    {
        uint64_t offset = mdatPayloadOffset;
        for (size_t i = 0; i < packet; ++i)
            offset += sizes[i];
        return offset;
    }
    Track aacTrack(uint32_t timeScale) const
    {
        Track t;
        t.handler = "soun";
        t.timeScale = timeScale;
        t.sampleDuration = 1024;
        t.sampleEntry = soundEntry("mp4a", 2, 16, timeScale);
        t.sizes = sizes;
        t.chunkRuns = {1, uint32_t(sizes.size()), 1};
        t.chunkOffsets = {mdatPayloadOffset};
        return t;
    }
    std::vector<uint32_t> sizes;
    std::string payload;
};

// 16-bit stereo PCM whose stsz counts one byte per frame.
Track pcmTrack(uint32_t frames, std::vector<uint32_t> chunkRuns)
{
    Track t;
    t.handler = "soun";
    t.timeScale = 48000;
    t.sampleDuration = 1;
    t.sampleEntry = soundEntry("twos", 2, 16, 48000);
    t.sizes.assign(frames, 1);
    t.constantSize = 1;
    t.chunkRuns = std::move(chunkRuns);
    t.chunkOffsets = {mdatPayloadOffset};
    return t;
}

std::string elst(uint32_t trackDuration, uint32_t mediaTime)
{
    return fullAtom("elst", 0, be32(1) + be32(trackDuration) + be32(mediaTime) + be32(0x10000));
}

class QuickTimeAudioEdits : public QtReaderFixture {
protected:
    std::string readPacket(Corvidane::QuickTime::FileReader& reader, unsigned packet)
    {
        std::vector<unsigned char> buffer(8192);
        unsigned offset = 0, size = 0;
        CvResult result = reader.essenceRead(packet, 1, buffer.data(), unsigned(buffer.size()), offset, size);
        EXPECT_EQ(result, OK) << "packet " << packet;
        return isSuccess(result) ? std::string(reinterpret_cast<char*>(buffer.data()) + offset, size) : std::string();
    }
};

// Phones and Apple's encoders keep whole 1024-sample packets in stts and end
// the edit inside the last one; that packet is still heard.
TEST_F(QuickTimeAudioEdits, PacketCutByTheEditsEndIsKeptWhole)
{
    Packets p({20, 21, 22, 23, 24, 25, 26, 27, 28, 29});
    Track t = p.aacTrack(44100);
    // 2112 priming samples, then 170 ms: the edit ends at 9609, inside packet 9.
    t.edits = elst(170, 2112);
    auto opened = open(file(p.payload, moov(trak(t))));
    ASSERT_TRUE(opened.ok()) << opened.error();
    auto& reader = *opened.reader;
    ASSERT_EQ(reader.essenceOpen(0), OK);
    EXPECT_EQ(reader.get_Length(0), 8u) << "packets 2 to 9: the two priming packets lie before the edit";
    int rate = 0, scale = 0;
    ASSERT_EQ(reader.get_RateAndScale(0, &rate, &scale), OK);
    EXPECT_EQ(rate, 44100);
    EXPECT_EQ(scale, 1024) << "the packet's duration";
    IndexEntry entry;
    ASSERT_EQ(reader.getIndexEntry(7, entry), OK);
    EXPECT_EQ(uint64_t(entry.offset), p.offset(9));
    EXPECT_EQ(uint32_t(entry.size), 29u);
    EXPECT_EQ(readPacket(reader, 7), p.bytes(9));
    EXPECT_EQ(reader.getIndexEntry(8, entry), HandleEOF);
}

// An edit a little longer than the media (ffmpeg writes one when sound
// starts late) shows what the tables hold and no more: no entry past them.
TEST_F(QuickTimeAudioEdits, AnEditLongerThanTheMediaShowsOnlyWhatTheTablesHold)
{
    std::string payload(40, 'p');
    Track t = pcmTrack(10, {1, 10, 1});
    t.edits = elst(19, 0);
    std::string bytes = file(payload, moov(trak(t), 48000));
    auto opened = open(bytes);
    ASSERT_TRUE(opened.ok()) << opened.error();
    auto& reader = *opened.reader;
    ASSERT_EQ(reader.essenceOpen(0), OK);
    ASSERT_EQ(reader.get_Length(0), 10u);
    for (unsigned sample = 0; sample < 10; ++sample) {
        IndexEntry entry;
        ASSERT_EQ(reader.getIndexEntry(sample, entry), OK);
        EXPECT_EQ(uint64_t(entry.offset), mdatPayloadOffset + 4 * sample);
        EXPECT_LE(uint64_t(entry.offset) + entry.size, bytes.size());
    }
    IndexEntry past;
    EXPECT_EQ(reader.getIndexEntry(10, past), HandleEOF);
}

// Android's writer: a first packet longer than the rest, and a media header
// whose duration leaves the longer packet out. Every packet can be read.
TEST_F(QuickTimeAudioEdits, ALongFirstPacketAndAShortMediaHeaderLoseNoPacket)
{
    Packets p({30, 31, 32, 33, 34, 35, 36, 37});
    Track t = p.aacTrack(48000);
    t.timeRuns = {1, 1200, 7, 1024};
    std::string track = trak(t);
    std::string stated = mdhd(48000, 8368), shorter = mdhd(48000, 8 * 1024);
    track.replace(track.find(stated), stated.size(), shorter);
    auto opened = open(file(p.payload, moov(track)));
    ASSERT_TRUE(opened.ok()) << opened.error();
    auto& reader = *opened.reader;
    ASSERT_EQ(reader.essenceOpen(0), OK);
    ASSERT_EQ(reader.get_Length(0), 8u);
    int rate = 0, scale = 0;
    ASSERT_EQ(reader.get_RateAndScale(0, &rate, &scale), OK);
    EXPECT_EQ(scale, 1024) << "the duration of most packets";
    EXPECT_EQ(readPacket(reader, 0), p.bytes(0));
    EXPECT_EQ(readPacket(reader, 7), p.bytes(7));
}

// A 64-bit edit list with an empty edit in front, as Android writes when the
// sound starts after the picture: the empty edit is dropped and one edit is left.
TEST_F(QuickTimeAudioEdits, AnEmptyEditInAVersion1ListIsDropped)
{
    Packets p({40, 41, 42, 43, 44});
    Track t = p.aacTrack(48000);
    auto edit = [](uint64_t duration, uint64_t mediaTime) { return be64(duration) + be64(mediaTime) + be32(0x10000); };
    t.edits = fullAtom("elst", 0x01000000, be32(2) + edit(440, UINT64_MAX) + edit(1067, 0));
    auto opened = open(file(p.payload, moov(trak(t), 10000)));
    ASSERT_TRUE(opened.ok()) << opened.error();
    auto& reader = *opened.reader;
    ASSERT_EQ(reader.essenceOpen(0), OK) << reader.getLastError();
    EXPECT_EQ(reader.get_Length(0), 5u);
    IndexEntry entry;
    ASSERT_EQ(reader.getIndexEntry(4, entry), OK);
    EXPECT_EQ(uint64_t(entry.offset), p.offset(4));
    EXPECT_EQ(readPacket(reader, 4), p.bytes(4));
}

// A sample-to-chunk table that puts samples in chunks the chunk offset table
// doesn't have: those samples are not found, not read from the file's start.
TEST_F(QuickTimeAudioEdits, ASampleWhoseChunkIsPastTheChunkTableIsNotFound)
{
    std::string payload(16, 'p');
    auto opened = open(file(payload, moov(trak(pcmTrack(4, {1, 2, 1})), 48000)));
    ASSERT_TRUE(opened.ok()) << opened.error();
    auto& reader = *opened.reader;
    ASSERT_EQ(reader.essenceOpen(0), OK);
    IndexEntry entry;
    ASSERT_EQ(reader.getIndexEntry(1, entry), OK);
    EXPECT_EQ(uint64_t(entry.offset), mdatPayloadOffset + 4);
    EXPECT_EQ(reader.getIndexEntry(2, entry), InvalidState);
}

} // namespace
