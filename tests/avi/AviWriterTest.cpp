#include <gtest/gtest.h>

#include <functional>
#include <map>
#include <sstream>
#include <string>
#include <unistd.h>
#include <vector>

#include "avi/AviFormat.h"
#include "avi/AviMediaType.h"
#include "avi/FileReader.h"
#include "avi/FileWriter.h"
#include "avi/AviTestSupport.h"
#include "avi/AviWriterSupport.h"
#include "frame/FourCC.h"
#include "frame/Utf8.h"
#include "support/DriverFixture.h"
#include "support/FaultyFiles.h"
#include "support/TempDir.h"
#include "support/TestMedia.h"

using namespace Corvidane;
using namespace AviWriterTest;
using Corvidane::Avi::readLE32;

namespace {

std::string framemd5(const std::string& path, const char* stream)
{
    return runCommand("ffmpeg -v error -i " + shellQuote(path) + " -map 0:" + stream +
                      " -c copy -f framemd5 - | grep -v '^#' | cut -d, -f5- ");
}

// Our reader finds as many frames as were written, with the bytes of the ones named.
void expectOurReaderFinds(const std::string& path, const Packets& packets, std::initializer_list<unsigned> frames)
{
    Avi::FileReader reader;
    ASSERT_EQ(reader.loadFile(fromUtf8(path), iFile::Unbuffered), OK) << reader.getLastError();
    ASSERT_EQ(reader.get_Length(0), packets.video.size());
    ASSERT_EQ(reader.essenceOpen(0), OK);
    std::vector<unsigned char> buffer(1 << 20);
    for (unsigned frame : frames) {
        unsigned offset = 0, size = 0;
        ASSERT_EQ(reader.essenceRead(frame, 1, buffer.data(), unsigned(buffer.size()), offset, size), OK);
        EXPECT_EQ(std::string(reinterpret_cast<char*>(buffer.data() + offset), size), packets.video[frame]) << frame;
    }
}

class AviWriter : public DriverFixture {
protected:
    // Writes the packets frame by frame, each frame's share of the audio with it.
    // `types` gives frame types by frame; I pictures where it has none.
    void write(const std::string& path, std::vector<TrackStructuralData>& tracks, const Packets& packets,
               Avi::FileWriter& writer, const std::vector<uint32_t>& types = {})
    {
        ASSERT_EQ(writer.create(fromUtf8(path), tracks.data(), unsigned(tracks.size())), OK) << writer.getLastError();
        ASSERT_EQ(writeFrames(writer, tracks, packets, 0, packets.video.size(), types), OK) << writer.getLastError();
        ASSERT_EQ(writer.close(), OK) << writer.getLastError();
    }
    TempDir m_dir;
};

// MJPEG and PCM from ffmpeg, rewrapped: ffmpeg reads back every video
// packet and all the audio with the same bytes, and so does our reader.
TEST_F(AviWriter, RewrappedEssenceReadsBackByteForByte)
{
    std::string source = testMedia("avi_mjpeg_pcm16.avi");
    Packets packets = packetsOf(source);
    ASSERT_EQ(packets.video.size(), 50u);
    auto tracks = tracksFor(fourCC("MJPG"), 320, 240, true, 90000);
    std::string out = m_dir.file("rewrap.avi");
    Avi::FileWriter writer;
    write(out, tracks, packets, writer);

    EXPECT_EQ(framemd5(out, "v"), framemd5(source, "v"));
    EXPECT_EQ(runCommand("ffmpeg -v error -i " + shellQuote(out) + " -map 0:a -c copy -f md5 -"),
              runCommand("ffmpeg -v error -i " + shellQuote(source) + " -map 0:a -c copy -f md5 -"));
    // Decoded whole without a complaint (ffmpeg notes that a plain wave
    // format names no channel layout, for its own files as well).
    EXPECT_EQ(runCommand("ffmpeg -v warning -i " + shellQuote(out) + " -f null - 2>&1 | grep -v 'Guessed Channel'"),
              "");
    auto streams = AviTest::ffprobeStreams(out);
    ASSERT_EQ(streams.size(), 2u);
    EXPECT_EQ(streams[0]["codec_name"], "mjpeg");
    EXPECT_EQ(streams[0]["width"], "320");
    EXPECT_EQ(streams[0]["r_frame_rate"], "25/1");
    EXPECT_EQ(streams[1]["sample_rate"], "48000");
    EXPECT_EQ(streams[1]["channels"], "2");

    // Every chunk starts on a sector boundary, and the header says what the file holds.
    std::string bytes = readFile(out);
    for (const AviTest::Packet& p : AviTest::ffprobePackets(out))
        EXPECT_EQ((p.pos - 8) % 512, 0u);
    EXPECT_EQ(bytes.size() % 512, 0u);
    EXPECT_EQ(readLE32(reinterpret_cast<const unsigned char*>(bytes.data()) + 4), bytes.size() - 8);
    EXPECT_NE(bytes.find("ISFT"), std::string::npos);
    EXPECT_NE(bytes.find(std::string("01:00:00.00\0", 12)), std::string::npos) << "ISMP from the timecode track";
    size_t avih = bytes.find("avih");
    EXPECT_EQ(readLE32(reinterpret_cast<const unsigned char*>(bytes.data()) + avih + 8 + 12), 0x10130u);

    expectOurReaderFinds(out, packets, {0, 17, 49});
}

// Thousands of small frames roll over into AVIX RIFFs as the standard
// indexes fill, each new RIFF starting at a key frame; ffprobe and our reader
// find every frame in order.
TEST_F(AviWriter, LongFilesRollOverIntoAvixRiffs)
{
    auto tracks = tracksFor(fourCC("MJPG"), 64, 48, false);
    Packets packets;
    for (unsigned i = 0; i < 17000; ++i)
        packets.video.push_back("frame " + std::to_string(i) + std::string(i % 7, 'x'));
    // P pictures where the first index fills up hold the roll-over back.
    std::vector<uint32_t> types(17000, HalcIFrame);
    std::fill(types.begin() + 8124, types.begin() + 8131, HalcPFrame);
    std::string out = m_dir.file("long.avi");
    Avi::FileWriter writer;
    write(out, tracks, packets, writer, types);

    std::string bytes = readFile(out);
    std::vector<size_t> riffs;
    for (size_t at = 0; at + 12 <= bytes.size();) {
        ASSERT_EQ(bytes.substr(at, 4), "RIFF") << at;
        EXPECT_EQ(bytes.substr(at + 8, 4), riffs.empty() ? "AVI " : "AVIX");
        riffs.push_back(at);
        at += 8 + readLE32(reinterpret_cast<const unsigned char*>(bytes.data()) + at + 4);
    }
    ASSERT_EQ(riffs.size(), 3u);
    auto probed = AviTest::ffprobePackets(out);
    ASSERT_EQ(probed.size(), packets.video.size());
    for (size_t i : {size_t(0), size_t(8123), size_t(8124), size_t(16999)})
        EXPECT_EQ(bytes.substr(probed[i].pos, probed[i].size), packets.video[i]) << i;
    EXPECT_LT(probed[8130].pos, riffs[1]);
    EXPECT_GT(probed[8131].pos, riffs[1]);

    expectOurReaderFinds(out, packets, {0, 8200, 16999});
}

// The RIFFs of a file, in order: each one's offset.
std::vector<size_t> riffsOf(const std::string& bytes)
{
    std::vector<size_t> riffs;
    for (size_t at = 0; at + 12 <= bytes.size() && bytes.compare(at, 4, "RIFF") == 0;) {
        riffs.push_back(at);
        at += 8 + readLE32(reinterpret_cast<const unsigned char*>(bytes.data()) + at + 4);
    }
    return riffs;
}

// A stream whose key frames stop coming after the first: short of its
// index overfilling, a RIFF ends at a P picture, and every frame reads back
// through ffprobe and our reader.
TEST_F(AviWriter, RiffsRollOverWithoutKeyFrames)
{
    auto tracks = tracksFor(fourCC("MJPG"), 64, 48, false);
    Packets packets;
    for (unsigned i = 0; i < 20000; ++i)
        packets.video.push_back("frame " + std::to_string(i));
    std::vector<uint32_t> types(packets.video.size(), HalcPFrame);
    types[0] = HalcIFrame;
    std::string out = m_dir.file("nokeys.avi");
    Avi::FileWriter writer;
    write(out, tracks, packets, writer, types);

    const std::string bytes = readFile(out);
    EXPECT_EQ(riffsOf(bytes).size(), 3u);
    EXPECT_EQ(riffsOf(bytes).back() + 8 + readLE32(reinterpret_cast<const unsigned char*>(bytes.data()) +
                                                   riffsOf(bytes).back() + 4),
              bytes.size());
    auto probed = AviTest::ffprobePackets(out);
    ASSERT_EQ(probed.size(), packets.video.size());
    for (size_t i = 0; i < probed.size(); ++i)
        ASSERT_EQ(bytes.substr(probed[i].pos, probed[i].size), packets.video[i]) << i;
    expectOurReaderFinds(out, packets, {0, 8171, 8172, 16343, 16344, 19999});
    // Only the first frame is a key frame, in idx1 and in the standard indexes.
    const auto* raw = reinterpret_cast<const unsigned char*>(bytes.data());
    const size_t idx1 = bytes.find("idx1");
    ASSERT_NE(idx1, std::string::npos);
    EXPECT_EQ(readLE32(raw + idx1 + 8 + 4), 0x10u);
    EXPECT_EQ(readLE32(raw + idx1 + 8 + 16 + 4), 0u);
    Avi::FileReader reader;
    ASSERT_EQ(reader.loadFile(fromUtf8(out), iFile::Unbuffered), OK);
    ASSERT_EQ(reader.essenceOpen(0), OK);
    for (unsigned frame : {0u, 1u, 8172u, 19999u}) {
        IndexEntry entry;
        ASSERT_EQ(reader.getIndexEntry(frame, entry), OK);
        EXPECT_EQ(isKeyFrame(entry), frame == 0) << frame;
    }
}

// MPEG-2 in decode order I P B B P B B ... with no I picture after the
// first: display position and stored index of every picture lie in the
// frame-typed index of its own RIFF, which ends where the display order is
// whole, so a reader that reorders by the index finds each frame.
TEST_F(AviWriter, FrameTypedIndexRollsOverWhereTheDisplayOrderIsWhole)
{
    const Packets source = packetsOf(testMedia("avi_mpeg2_gop.avi"));
    Packets packets;
    std::vector<uint32_t> types, shown;
    for (uint32_t i = 0; i < 5998; ++i) {
        packets.video.push_back(source.video[i % source.video.size()]);
        const uint32_t place = i == 0 ? 0 : (i - 1) % 3;
        types.push_back(i == 0 ? HalcIFrame : place == 0 ? HalcPFrame : HalcBFrame);
        shown.push_back(i == 0 ? 0 : place == 0 ? i + 2 : i - 1);
    }
    std::string record;
    auto tracks = mpeg2TracksFor(record, 352, 288);
    std::string out = m_dir.file("nokeys-ibp.avi");
    Avi::FileWriter writer;
    ASSERT_EQ(writer.create(fromUtf8(out), tracks.data(), unsigned(tracks.size())), OK) << writer.getLastError();
    ASSERT_EQ(writeFrames(writer, tracks, packets, 0, packets.video.size(), types, shown), OK)
        << writer.getLastError();
    ASSERT_EQ(writer.close(), OK) << writer.getLastError();

    const std::string bytes = readFile(out);
    EXPECT_EQ(riffsOf(bytes).size(), 3u);
    // ffmpeg reads no frame-typed index: it finds the first RIFF's frames,
    // which end short of a full index, through idx1.
    auto probed = AviTest::ffprobePackets(out);
    ASSERT_GT(probed.size(), 2700u);
    ASSERT_LT(probed.size(), 2729u);
    EXPECT_LT(probed.back().pos, riffsOf(bytes)[1]);
    for (size_t i = 0; i < probed.size(); ++i)
        ASSERT_EQ(bytes.substr(probed[i].pos, probed[i].size), packets.video[i]) << i;

    Avi::FileReader reader;
    ASSERT_EQ(reader.loadFile(fromUtf8(out), iFile::Unbuffered), OK) << reader.getLastError();
    ASSERT_EQ(reader.get_Length(0), packets.video.size());
    ASSERT_EQ(reader.essenceOpen(0), OK);
    std::vector<uint64_t> offsets;
    for (unsigned frame = 0; frame < packets.video.size(); ++frame) {
        IndexEntry entry;
        ASSERT_EQ(reader.getIndexEntry(frame, entry), OK) << frame;
        ASSERT_EQ(+entry.presentationIndex, shown[frame]) << frame;
        ASSERT_EQ(isKeyFrame(entry), frame == 0) << frame;
        offsets.push_back(uint64_t(entry.offset));
    }
    // Reordered by the index, which names for each place the stored picture
    // shown there, within its own RIFF, position n lies where the picture
    // shown n-th does.
    ASSERT_TRUE(reader.set_TemporalReordering(true));
    std::vector<size_t> storedAt(shown.size());
    for (size_t i = 0; i < shown.size(); ++i)
        storedAt[shown[i]] = i;
    for (unsigned frame = 0; frame < packets.video.size(); ++frame) {
        IndexEntry entry;
        ASSERT_EQ(reader.getIndexEntry(frame, entry), OK) << frame << reader.getLastError();
        ASSERT_EQ(+entry.offset, offsets[storedAt[frame]]) << frame;
    }
}

// Display positions worked out from the frame types, or given one frame at a
// time ahead of the frame, give the file that the rows' own positions give.
TEST_F(AviWriter, DisplayPositionsFromFrameTypesOrSetAheadWriteTheSameFile)
{
    Packets packets;
    std::vector<uint32_t> types, shown;
    // Decode order I P B B P B B ..., a new I picture every 12 frames, whose
    // two B pictures after it are shown before it.
    for (uint32_t i = 0; i < 2998; ++i) {
        packets.video.push_back("picture " + std::to_string(i));
        const uint32_t place = i == 0 ? 0 : (i - 1) % 3;
        types.push_back(i == 0 || (place == 0 && i % 12 == 1) ? HalcIFrame : place == 0 ? HalcPFrame : HalcBFrame);
        shown.push_back(i == 0 ? 0 : place == 0 ? i + 2 : i - 1);
    }
    std::string record;
    auto tracks = mpeg2TracksFor(record, 352, 288);
    auto writeWith = [&](const std::string& name, const std::function<void(Avi::FileWriter&, size_t)>& before) {
        Avi::FileWriter writer;
        EXPECT_EQ(writer.create(fromUtf8(m_dir.file(name)), tracks.data(), unsigned(tracks.size())), OK);
        const std::vector<uint32_t> nowhere(packets.video.size(), 0);
        for (size_t i = 0; i < packets.video.size(); ++i) {
            if (before)
                before(writer, i);
            EXPECT_EQ(writeFrames(writer, tracks, packets, i, i + 1, types, before ? nowhere : shown), OK) << i;
        }
        EXPECT_EQ(writer.close(), OK);
        return readFile(m_dir.file(name));
    };
    const std::string given = writeWith("given.avi", nullptr);
    EXPECT_TRUE(writeWith("types.avi", [](Avi::FileWriter& writer, size_t) {
                    writer.set_FindIBPIndexRealLocation(true);
                }) == given)
        << "from the types";
    EXPECT_TRUE(writeWith("ahead.avi", [&](Avi::FileWriter& writer, size_t i) {
                    writer.set_NextIndexRealLocation(shown[i]);
                }) == given)
        << "set ahead";
}

// MPEG-2 with B pictures and a media type record: the standard indexes are
// of the I/B/P kind, carrying frame types and display order, which our reader
// turns back into key frames, GOPs and presentation order.
TEST_F(AviWriter, LongGopMpeg2GetsFrameTypedIndexes)
{
    std::string source = testMedia("avi_mpeg2_gop.avi");
    Packets packets = packetsOf(source);
    ASSERT_EQ(packets.video.size(), 50u);
    // Picture types and display order by packet, from ffprobe's frames.
    std::map<uint64_t, size_t> packetAt;
    std::vector<AviTest::Packet> probed = AviTest::ofStream(AviTest::ffprobePackets(source), 0);
    for (size_t i = 0; i < probed.size(); ++i)
        packetAt[probed[i].pos] = i;
    std::vector<uint32_t> types(probed.size()), shown(probed.size());
    std::istringstream frames(runCommand("ffprobe -v error -select_streams v -show_entries frame=pkt_pos,pict_type "
                                         "-of flat " + shellQuote(source) + " | grep -E '\\.(pkt_pos|pict_type)='"));
    size_t display = 0;
    uint64_t pos = 0;
    for (std::string line; std::getline(frames, line);) {
        std::string value = line.substr(line.find('"') + 1);
        value.pop_back();
        if (line.find("pkt_pos") != std::string::npos) {
            pos = std::stoull(value);
            continue;
        }
        size_t packet = packetAt.at(pos);
        types[packet] = value == "I" ? HalcIFrame : value == "P" ? HalcPFrame : HalcBFrame;
        shown[packet] = uint32_t(display++);
    }
    ASSERT_EQ(display, 50u);

    std::string record;
    auto tracks = mpeg2TracksFor(record, 352, 288);
    std::string out = m_dir.file("longgop.avi");
    Avi::FileWriter writer;
    ASSERT_EQ(writer.create(fromUtf8(out), tracks.data(), unsigned(tracks.size())), OK) << writer.getLastError();
    // Flushes along the way wait for the frames that a B picture's display needs.
    writer.set_FlushFrequency(5);
    ASSERT_EQ(writeFrames(writer, tracks, packets, 0, packets.video.size(), types, shown), OK)
        << writer.getLastError();
    ASSERT_EQ(writer.close(), OK) << writer.getLastError();

    EXPECT_EQ(framemd5(out, "v"), framemd5(source, "v"));
    std::string bytes = readFile(out);
    size_t ix = bytes.find("ix00");
    ASSERT_NE(ix, std::string::npos);
    EXPECT_EQ(bytes[ix + 10], 16) << "an I/B/P standard index";

    Avi::FileReader reader;
    ASSERT_EQ(reader.loadFile(fromUtf8(out), iFile::Unbuffered), OK) << reader.getLastError();
    ASSERT_EQ(reader.essenceOpen(0), OK);
    EXPECT_EQ(reader.getGopLength(0), 12);
    // Each picture reads back as its own type, in the index's numbering.
    const std::map<uint32_t, uint16_t> readAs = {
        {HalcIFrame, FrameIntra}, {HalcPFrame, FramePredicted}, {HalcBFrame, FrameBidirectional}};
    size_t longestBRun = 0, run = 0;
    for (unsigned frame = 0; frame < 50; ++frame) {
        IndexEntry entry;
        ASSERT_EQ(reader.getIndexEntry(frame, entry), OK) << frame;
        EXPECT_EQ(isKeyFrame(entry), types[frame] == HalcIFrame) << frame;
        EXPECT_EQ(entry.frameType & (FrameIntra | FramePredicted | FrameBidirectional), readAs.at(types[frame]))
            << frame;
        uint32_t size = entry.size;
        EXPECT_EQ(size, packets.video[frame].size()) << frame;
        run = types[frame] == HalcBFrame ? run + 1 : 0;
        longestBRun = std::max(longestBRun, run);
    }
    ASSERT_GT(longestBRun, 0u) << "the source has B pictures";
    EXPECT_EQ(reader.getM(), int(longestBRun + 1));
}

TEST_F(AviWriter, RefusalsEmptyFilesAndOddSizes)
{
    Avi::FileWriter writer;
    auto audioOnly = tracksFor(fourCC("MJPG"), 64, 48, true);
    audioOnly.erase(audioOnly.begin() + 1);
    std::string path = m_dir.file("refused.avi");
    EXPECT_EQ(writer.create(fromUtf8(path), audioOnly.data(), unsigned(audioOnly.size())), InvalidArg);
    EXPECT_NE(std::wstring(writer.getLastError()).find(L"Cannot create file with no video track."),
              std::wstring::npos);

    auto tracks = tracksFor(fourCC("MJPG"), 64, 48, false);
    ASSERT_EQ(writer.create(fromUtf8(path), tracks.data(), unsigned(tracks.size())), OK);
    EXPECT_EQ(writer.WriteSamples(nullptr, 2), InvalidArg);
    ASSERT_EQ(writer.close(), OK);
    EXPECT_NE(access(path.c_str(), F_OK), 0) << "a file closed with no frames is removed";

    // An odd-sized frame keeps its odd size with a pad byte behind it; one stream gives flags 0x10030.
    Packets packets;
    packets.video = {"abc", "defgh"};
    write(path, tracks, packets, writer);
    std::string bytes = readFile(path);
    size_t chunk = bytes.find("00dc", bytes.find("movi") + 4 + 2 * 0x10000);
    ASSERT_NE(chunk, std::string::npos);
    EXPECT_EQ(readLE32(reinterpret_cast<const unsigned char*>(bytes.data()) + chunk + 4), 3u);
    EXPECT_EQ(bytes.substr(chunk + 8, 4), std::string("abc\0", 4));
    EXPECT_EQ(bytes.substr(chunk + 12, 4), "JUNK");
    size_t avih = bytes.find("avih");
    EXPECT_EQ(readLE32(reinterpret_cast<const unsigned char*>(bytes.data()) + avih + 8 + 12), 0x10030u);
    EXPECT_EQ(AviTest::ffprobePackets(path).size(), 2u);
}

} // namespace

namespace {

// Small files that show one detail of what the writer puts down.
class AviWriterDetails : public DriverFixture {
protected:
    std::string startTextOf(uint32_t startFrame, bool drop)
    {
        std::vector<TrackStructuralData> tracks = tracksFor(fourCC("MJPG"), 320, 240, false);
        tracks[0].timecode = TimecodeStructuralData{30000, 1001, startFrame, uint8_t(drop)};
        tracks[1].video.rateNumerator = 30000;
        tracks[1].video.rateDenominator = 1001;
        const std::string out = m_dir.file(drop ? "drop.avi" : "nondrop.avi");
        Avi::FileWriter writer;
        EXPECT_EQ(writer.create(fromUtf8(out), tracks.data(), unsigned(tracks.size())), OK);
        const std::string frame(1000, 'x');
        const uint32_t zero = 0;
        std::vector<TrackData> rows = {TrackData{reinterpret_cast<const unsigned char*>(&zero), 4, 0, 0},
                                       TrackData{reinterpret_cast<const unsigned char*>(frame.data()), 1000, 0,
                                                 HalcIFrame}};
        EXPECT_EQ(writer.WriteSamples(rows.data(), unsigned(rows.size())), OK);
        EXPECT_EQ(writer.close(), OK);
        const std::string bytes = readFile(out);
        const size_t at = bytes.find("ISMP");
        return at == std::string::npos ? std::string() : std::string(bytes.c_str() + at + 8);
    }
    TempDir m_dir;
};

// The ISMP text names the start as the timecode track counts it: at 29.97
// a non-drop start of 108000 frames is 01:00:00, and so is a drop-frame
// start of 107892.
TEST_F(AviWriterDetails, StartTextFollowsTheTimecodeTracksDropFlag)
{
    EXPECT_EQ(startTextOf(108000, false), "01:00:00.00");
    EXPECT_EQ(startTextOf(107892, true), "01:00:00.00");
}

} // namespace

namespace {

// A chunk that ends on a sector boundary is followed by the next chunk, not
// by a sector of JUNK; the file still reads whole.
TEST_F(AviWriterDetails, AChunkEndingOnASectorTakesNoJunk)
{
    std::vector<TrackStructuralData> tracks = tracksFor(fourCC("MJPG"), 64, 48, false);
    const std::string out = m_dir.file("exact.avi");
    Avi::FileWriter writer;
    ASSERT_EQ(writer.create(fromUtf8(out), tracks.data(), unsigned(tracks.size())), OK);
    const std::string frame(504, 'e');  // with its 8-byte head, one sector
    const uint32_t zero = 0;
    for (int i = 0; i < 3; ++i) {
        std::vector<TrackData> rows = {TrackData{reinterpret_cast<const unsigned char*>(&zero), 4, 0, 0},
                                       TrackData{reinterpret_cast<const unsigned char*>(frame.data()), 504, 0,
                                                 HalcIFrame}};
        ASSERT_EQ(writer.WriteSamples(rows.data(), unsigned(rows.size())), OK);
    }
    ASSERT_EQ(writer.close(), OK);
    const auto packets = AviTest::ffprobePackets(out);
    ASSERT_EQ(packets.size(), 3u);
    EXPECT_EQ(packets[1].pos - packets[0].pos, 512u) << "the chunks lie back to back, sector after sector";
    EXPECT_EQ(packets[2].pos - packets[1].pos, 512u);
}

} // namespace

namespace {

// The vprp chunk names the broadcast signal behind the stored pictures: the
// OpenDML format and standard of the two standard definition systems, and
// for each the refresh rate, the samples of a whole line and the lines of a
// frame, the fields, and the first active line of each field. Sizes and
// rates that are no such signal get none.
TEST_F(AviWriterDetails, VideoPropertiesNameTheSignal)
{
    struct Case {
        uint32_t width, height, rateNumerator, rateDenominator;
        bool interlaced;
        std::vector<uint32_t> expected;  // token, standard, refresh, line, lines, fields, first lines
    };
    const Case cases[] = {
        {720, 576, 25, 1, true, {2, 1, 50, 864, 625, 2, 23, 336}},
        {720, 486, 30000, 1001, true, {4, 2, 60, 858, 525, 2, 20, 283}},
        {720, 480, 24000, 1001, false, {}},
        {1920, 1080, 25, 1, true, {0, 0, 50, 2640, 1125, 2, 21, 584}},
        {1920, 1080, 24000, 1001, false, {0, 0, 24, 2750, 1125, 1, 42}},
        {1920, 1080, 30000, 1001, true, {0, 0, 60, 2200, 1125, 2, 21, 584}},
        {1280, 720, 60000, 1001, false, {0, 0, 60, 1650, 750, 1, 26}},
        {1280, 720, 50, 1, false, {}},
        {640, 480, 25, 1, false, {}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(std::to_string(c.width) + "x" + std::to_string(c.height) + " at " +
                     std::to_string(c.rateNumerator) + "/" + std::to_string(c.rateDenominator));
        std::vector<TrackStructuralData> tracks = tracksFor(fourCC("UYVY"), c.width, c.height, false);
        tracks[1].video.rateNumerator = tracks[0].timecode.rateNumerator = c.rateNumerator;
        tracks[1].video.rateDenominator = tracks[0].timecode.rateDenominator = c.rateDenominator;
        tracks[1].video.frameLayout = c.interlaced ? 3 : 4;
        tracks[1].video.aspect = 16u << 16 | 9u;
        const std::string out = m_dir.file("vprp.avi");
        Avi::FileWriter writer;
        ASSERT_EQ(writer.create(fromUtf8(out), tracks.data(), unsigned(tracks.size())), OK);
        const std::string frame(1000, 'v');
        const uint32_t zero = 0;
        const TrackData rows[2] = {{reinterpret_cast<const unsigned char*>(&zero), 4, 0, 0},
                                   {reinterpret_cast<const unsigned char*>(frame.data()), 1000, 0, HalcIFrame}};
        ASSERT_EQ(writer.WriteSamples(rows, 2), OK);
        ASSERT_EQ(writer.close(), OK);
        const std::string bytes = readFile(out);
        const size_t at = bytes.find("vprp");
        if (c.expected.empty()) {
            EXPECT_EQ(at, std::string::npos);
            continue;
        }
        ASSERT_NE(at, std::string::npos);
        const auto word = [&](size_t i) { return readLE32(reinterpret_cast<const unsigned char*>(bytes.data()) + at + 8 + 4 * i); };
        const uint32_t fields = c.expected[5];
        EXPECT_EQ(readLE32(reinterpret_cast<const unsigned char*>(bytes.data()) + at + 4), 36 + 32 * fields);
        std::vector<uint32_t> got = {word(0), word(1), word(2), word(3), word(4), word(8)};
        for (uint32_t field = 0; field < fields; ++field)
            got.push_back(word(9 + 8 * field + 7));
        EXPECT_EQ(got, c.expected);
        EXPECT_EQ(word(5), 16u << 16 | 9u) << "the frame's aspect";
        EXPECT_EQ(word(6), c.width);
        EXPECT_EQ(word(7), c.height);
        EXPECT_EQ(word(9), c.height / fields) << "a field's stored height";
        EXPECT_EQ(word(10), c.width);
    }
}

} // namespace
