// The bytes that the writer's configuration and layout fix and that no peer tool tells apart:
// sample descriptions, chunking, time scales and the header layout.
#include <gtest/gtest.h>

#include "quicktime/QtReaderFixture.h"
#include "quicktime/QtWriterSupport.h"

using namespace Corvidane;
using namespace qtw;

namespace {

class QtWriterLayout : public QtReaderFixture {
protected:
    // Writes `frames` frames of synthetic essence: video of `size` bytes (a
    // frame number in its first bytes), and each frame's share of 48 kHz audio.
    std::string writeSynthetic(const std::string& name, std::vector<TrackStructuralData> tracks, unsigned frames,
                               uint32_t size, bool reserveIndex, unsigned flushPeriod = 0)
    {
        std::string out = m_dir.file(name);
        QuickTime::FileWriter writer;
        writer.setFlushPeriod(flushPeriod);
        EXPECT_EQ(writer.create(fromUtf8(out), tracks.data(), int(tracks.size()), 0, reserveIndex), OK)
            << text(writer.getLastError());
        std::vector<unsigned char> frame(std::max<uint32_t>(size, 4), 0x5A);
        std::vector<unsigned char> audio(2000 * 6, 0x11);
        unsigned rateNum = 25, rateDen = 1;
        for (const TrackStructuralData& t : tracks)
            if (t.streamType == StreamVideo)
                rateNum = t.video.rateNumerator, rateDen = t.video.rateDenominator;
        const uint32_t zero = 0;
        for (unsigned i = 0; i < frames; ++i) {
            std::memcpy(frame.data(), &i, 4);
            std::vector<TrackData> rows;
            for (const TrackStructuralData& t : tracks) {
                if (t.streamType == StreamVideo)
                    rows.push_back(TrackData{frame.data(), size, i, HalcIFrame});
                else if (t.streamType == StreamAudio)
                    rows.push_back(TrackData{audio.data(),
                                             uint32_t(audioSamplesBefore(i + 1, rateNum, rateDen) -
                                                      audioSamplesBefore(i, rateNum, rateDen)) * t.audio.blockAlign,
                                             0, 0});
                else
                    rows.push_back(TrackData{reinterpret_cast<const unsigned char*>(&zero), 4, 0, 0});
            }
            EXPECT_EQ(writer.writeSamples(rows.data(), int(rows.size())), OK) << text(writer.getLastError());
        }
        EXPECT_EQ(writer.close(), OK) << text(writer.getLastError());
        return readFile(out);
    }
};

std::string entryOf(const std::string& b, int track)
{
    AtomAt stsd = findAtom(b, stblPath(track, "stsd"));
    if (!stsd.found())
        return {};
    size_t at = stsd.at + 16;
    return b.substr(at, rd32(b, at));
}

} // namespace

TEST(QtWriterConfig, TimeScalesFromRates)
{
    QuickTime::FileWriter writer;
    uint32_t scale = 0, duration = 0;
    struct Case {
        uint32_t num, den, scale, duration;
    } cases[] = {{30000, 1001, 2997, 100}, {25, 1, 2500, 100},   {50, 1, 5000, 100},       {30, 1, 3000, 100},
                 {60, 1, 6000, 100},       {60000, 1001, 5994, 100}, {24, 1, 2400, 100}, {24000, 1001, 23976, 1000},
                 {15, 1, 1500, 100},       {120000, 1001, 120000, 1001}};
    for (const Case& c : cases) {
        writer.getTimeScaleFromRate(c.num, c.den, scale, duration);
        EXPECT_EQ(scale, c.scale) << c.num << "/" << c.den;
        EXPECT_EQ(duration, c.duration) << c.num << "/" << c.den;
    }
}

TEST(QtWriterConfig, ProResFramesPerChunkByTheGuidelines)
{
    using W = QuickTime::FileWriter;
    // 1080p HQ at 25: half a second is 13 frames, a 4 MiB disk chunk 4.
    EXPECT_EQ(W::framesPerChunk(fourCC("apch"), 1920, 1080, 25), 4u);
    // Proxy at 720x576: 2 MiB / 61895 is 33, half a second 13.
    EXPECT_EQ(W::framesPerChunk(fourCC("apco"), 720, 576, 25), 13u);
    // An uncommon size takes the area's size: 640x480 is 720x576.
    EXPECT_EQ(W::framesPerChunk(fourCC("apcs"), 640, 480, 25), W::framesPerChunk(fourCC("apcs"), 720, 576, 25));
    // 4444 XQ at 4096x2160: a disk chunk holds 0 frames, which counts as 1.
    EXPECT_EQ(W::framesPerChunk(fourCC("ap4x"), 4096, 2160, 60000), 1u);
}

TEST(QtWriterConfig, AudioSampleEntryChoices)
{
    using W = QuickTime::FileWriter;
    auto choose = [](uint32_t format, uint16_t bits, uint32_t order) {
        AudioStructuralData a{format, 2, 48000, bits, uint16_t(bits / 4), 0, 1, order};
        uint32_t out = 0;
        int version = -1;
        W::getAudioTypeAndDescriptorVersion(a, out, version);
        return fourCCToString(out) + std::to_string(version);
    };
    EXPECT_EQ(choose(1, 16, 1), "sowt0");
    EXPECT_EQ(choose(1, 16, 2), "twos0");
    EXPECT_EQ(choose(1, 24, 1), "in241");
    EXPECT_EQ(choose(1, 24, 2), "in240");
    EXPECT_EQ(choose(fourCC("pcm "), 32, 1), "in321");
    EXPECT_EQ(choose(fourCC("sowt"), 16, 2), "sowt1");
    EXPECT_EQ(choose(fourCC("twos"), 16, 1), "twos1");
    EXPECT_EQ(choose(fourCC("mp4a"), 16, 1), "mp4a0");
}

// ftyp, then moov, a free atom filling the reserved region, and the mdat
// header at the region's end, where the essence starts on a sector.
TEST_F(QtWriterLayout, IndexFirstRegion)
{
    std::vector<TrackStructuralData> tracks = {videoTrack("apcn", 720, 576, 25, 1), audioTrack(16, 2, 1),
                                               timecodeTrack(25, 1, 90000, false)};
    tracks[0].video.frameLayout = 3; // PAL interlaced
    tracks[0].video.aspect = 0x00100009;
    std::string b = writeSynthetic("first.mov", tracks, 30, 3000, true);
    const std::string ftyp = std::string("\0\0\0\x20" "ftypqt  \x20\x05\x03\x00qt \x02", 20) + std::string(12, '\0');
    EXPECT_EQ(b.substr(0, 32), ftyp);
    AtomAt moov = findAtom(b, {"moov"});
    ASSERT_EQ(moov.at, 32u);
    AtomAt freeAtom = findAtom(b, {"free"});
    ASSERT_EQ(freeAtom.at, 32 + moov.size);
    size_t region = freeAtom.at + size_t(freeAtom.size) + 16;
    EXPECT_EQ(region % 512, 0u);
    EXPECT_GE(region, 65536u);
    EXPECT_EQ(b.substr(region - 16, 16), std::string("\0\0\0\x08wide", 8) + be32(uint32_t(b.size() - region + 8)) + "mdat");

    // Time scales: movie and video 2500, frames of 100; audio 48000; timecode as video.
    AtomAt mvhd = findAtom(b, {"moov", "mvhd"});
    EXPECT_EQ(rd32(b, mvhd.at + 20), 2500u);
    EXPECT_EQ(rd32(b, mvhd.at + 24), 30u * 100) << "the movie lasts 30 frames";
    EXPECT_EQ(rd32(b, findAtom(b, {"moov", "trak#0", "mdia", "mdhd"}).at + 20), 2500u);
    EXPECT_EQ(rd32(b, findAtom(b, {"moov", "trak#1", "mdia", "mdhd"}).at + 20), 48000u);
    EXPECT_EQ(rd32(b, findAtom(b, {"moov", "trak#2", "mdia", "mdhd"}).at + 20), 2500u);
    AtomAt stts = findAtom(b, stblPath(0, "stts"));
    EXPECT_EQ(b.substr(stts.at + 12, 12), be32(1) + be32(30) + be32(100));

    // ProRes 422 at width 720: 15 frames a chunk. The audio chunk is one second.
    AtomAt stsc = findAtom(b, stblPath(0, "stsc"));
    EXPECT_EQ(b.substr(stsc.at + 12, 16), be32(1) + be32(1) + be32(15) + be32(1));
    AtomAt audioStsc = findAtom(b, stblPath(1, "stsc"));
    EXPECT_EQ(b.substr(audioStsc.at + 16, 12), be32(1) + be32(48000) + be32(1));
    AtomAt co64 = findAtom(b, stblPath(0, "co64"));
    ASSERT_TRUE(co64.found());
    EXPECT_EQ(rd32(b, co64.at + 12), 2u);
    EXPECT_EQ(rd64(b, co64.at + 16) % 512, 0u) << "chunks are sector-aligned";

    // The video entry: vendor, the 72 dpi bits, the name, depth; colr, fiel, pasp and PAL's clap.
    std::string video = entryOf(b, 0);
    EXPECT_EQ(video.substr(4, 4), "apcn");
    EXPECT_EQ(video.substr(20, 4), "appl");
    EXPECT_EQ(rd32(video, 24), 0u) << "temporal quality";
    EXPECT_EQ(rd32(video, 28), 1023u) << "spatial quality";
    EXPECT_EQ(rd32(video, 36), 0x42900000u);
    EXPECT_EQ(rd32(video, 40), 0x42900000u);
    EXPECT_EQ(video.substr(50, 17), std::string("\x10" "Apple ProRes 422", 17));
    EXPECT_EQ(video.substr(82, 4), std::string("\0\x18\xFF\xFF", 4));
    // Standard definition without a primaries code: 6, 1, 6.
    EXPECT_EQ(video.substr(86, 18), be32(18) + "colrnclc" + std::string("\0\x06\0\x01\0\x06", 6));
    EXPECT_EQ(video.substr(104, 10), be32(10) + "fiel" + std::string("\x02\x09", 2));
    EXPECT_EQ(video.substr(114, 16), be32(16) + "pasp" + be32(118) + be32(81));
    EXPECT_EQ(video.substr(130, 40), be32(40) + "clap" + be32(41472) + be32(59) + be32(576) + be32(1) + be32(0) +
                                        be32(1) + be32(0) + be32(1));

    // 16-bit little-endian PCM: "sowt", version 0.
    std::string sound = entryOf(b, 1);
    EXPECT_EQ(sound, be32(36) + "sowt" + std::string(6, '\0') + std::string("\0\x01", 2) + std::string(8, '\0') +
                         std::string("\0\x02\0\x10\0\0\0\0", 8) + be32(48000u << 16));
    // Timecode: flags, scale 2500, frames of 100, 25 a second; the sample is the start frame.
    std::string tmcd = entryOf(b, 2);
    EXPECT_EQ(tmcd, be32(34) + "tmcd" + std::string(6, '\0') + std::string("\0\x01", 2) + be32(0) + be32(0) +
                        be32(2500) + be32(100) + std::string("\x19\0", 2));
    AtomAt tcCo64 = findAtom(b, stblPath(2, "co64"));
    EXPECT_EQ(rd32(b, size_t(rd64(b, tcCo64.at + 16))), 90000u);
    EXPECT_EQ(b.substr(findAtom(b, {"moov", "trak#0", "tref", "tmcd"}).at + 8, 4), be32(3));
}

// 24-bit little-endian PCM is "in24" in a version 1 entry whose wave atom
// says little-endian; the index after the data.
TEST_F(QtWriterLayout, Pcm24VersionOneEntryIndexLast)
{
    std::vector<TrackStructuralData> tracks = {videoTrack("AVdn", 1920, 1080, 30000, 1001), audioTrack(24, 2, 1)};
    std::string b = writeSynthetic("pcm24.mov", tracks, 12, 4096, false);
    // ftyp padded by a free atom to the sector, a sector that ends with the mdat header, the data.
    EXPECT_EQ(b.substr(32, 8), be32(480) + "free");
    EXPECT_EQ(b.substr(512, 8), be32(496) + "free");
    AtomAt moov = findAtom(b, {"moov"});
    ASSERT_TRUE(moov.found());
    EXPECT_EQ(moov.at % 512, 0u);
    EXPECT_EQ(b.substr(1008, 16), std::string("\0\0\0\x08wide", 8) + be32(uint32_t(moov.at - 1024 + 8)) + "mdat");

    std::string sound = entryOf(b, 1);
    EXPECT_EQ(sound.substr(4, 4), "in24");
    EXPECT_EQ(sound.substr(16, 2), std::string("\0\x01", 2)) << "version 1";
    EXPECT_EQ(sound.substr(24, 4), std::string("\0\x02\0\x18", 4));
    EXPECT_EQ(sound.substr(36, 16), be32(1) + be32(3) + be32(6) + be32(3));
    size_t wave = sound.find("wave");
    ASSERT_NE(wave, std::string::npos);
    EXPECT_NE(sound.find(std::string("frmain24", 8), wave), std::string::npos);
    EXPECT_NE(sound.find(std::string("enda\0\x01", 6), wave), std::string::npos);
    // At 29.97 an audio chunk holds 48048 samples: audio for 30 whole frames.
    EXPECT_EQ(rd32(b, findAtom(b, stblPath(1, "stsz")).at + 12), 1u) << "PCM sample size";
    // The DNxHD entry carries its Avid atoms, filled from the first frame.
    std::string video = entryOf(b, 0);
    EXPECT_EQ(video.substr(4, 4), "AVdn");
    EXPECT_NE(video.find("ACLR"), std::string::npos);
    EXPECT_NE(video.find("APRG"), std::string::npos);
    // Constant sizes: one stsz size for all frames.
    AtomAt stsz = findAtom(b, stblPath(0, "stsz"));
    EXPECT_EQ(rd32(b, stsz.at + 12), 4096u);
    EXPECT_EQ(rd32(b, stsz.at + 16), 12u);
}

// 16 DV frames at 4 a chunk and no flush period: four chunks, one stsc entry.
TEST_F(QtWriterLayout, DvFourFramesAChunk)
{
    std::vector<TrackStructuralData> tracks = {videoTrack("dvsd", 720, 576, 25, 1)};
    tracks[0].video.frameLayout = 3;
    std::string b = writeSynthetic("dv.mov", tracks, 16, 144000, true);
    EXPECT_EQ(entryOf(b, 0).substr(4, 4), "dvcp");
    AtomAt stsc = findAtom(b, stblPath(0, "stsc"));
    EXPECT_EQ(rd32(b, stsc.at + 12), 1u);
    EXPECT_EQ(b.substr(stsc.at + 16, 12), be32(1) + be32(4) + be32(1));
    AtomAt co64 = findAtom(b, stblPath(0, "co64"));
    EXPECT_EQ(rd32(b, co64.at + 12), 4u);
    for (unsigned chunk = 1; chunk < 4; ++chunk)
        EXPECT_EQ(rd64(b, co64.at + 16 + 8 * chunk) - rd64(b, co64.at + 16 + 8 * (chunk - 1)),
                  (4 * 144000 + 511) / 512 * 512);
    // DV interlaced: field detail 14.
    std::string video = entryOf(b, 0);
    EXPECT_NE(video.find(be32(10) + "fiel" + std::string("\x02\x0E", 2)), std::string::npos);
}

// A partial chunk at close forms a shorter chunk with its own stsc entry.
TEST_F(QtWriterLayout, PartialChunkAtClose)
{
    std::vector<TrackStructuralData> tracks = {videoTrack("apch", 1920, 1080, 25, 1)};
    std::string b = writeSynthetic("partial.mov", tracks, 10, 2000, true);
    AtomAt stsc = findAtom(b, stblPath(0, "stsc"));
    EXPECT_EQ(rd32(b, stsc.at + 12), 2u);
    EXPECT_EQ(b.substr(stsc.at + 16, 24), be32(1) + be32(4) + be32(1) + be32(3) + be32(2) + be32(1));
    auto opened = openPath(m_dir.file("partial.mov"));
    ASSERT_TRUE(opened.ok()) << text(opened.error());
    EXPECT_EQ(opened.reader->get_Length(0), 10u);
}

// A file with no video takes the audio's rate as its time scale.
TEST_F(QtWriterLayout, AudioOnlyTimeScale)
{
    std::string b = writeSynthetic("audio.mov", {audioTrack(16, 2, 1)}, 50, 0, true);
    EXPECT_EQ(rd32(b, findAtom(b, {"moov", "mvhd"}).at + 20), 48000u);
    EXPECT_EQ(rd32(b, findAtom(b, {"moov", "mvhd"}).at + 24), 50u * 1920);
    JsonValue probe = probeJson(m_dir.file("audio.mov"));
    EXPECT_EQ(probe["streams"].items.at(0)["duration_ts"].integer(), 50 * 1920);
}

// A file that was given nothing is removed at close.
TEST_F(QtWriterLayout, NothingWrittenIsDeleted)
{
    std::vector<TrackStructuralData> tracks = {videoTrack("apch", 1920, 1080, 25, 1)};
    std::string out = m_dir.file("empty.mov");
    QuickTime::FileWriter writer;
    ASSERT_EQ(writer.create(fromUtf8(out), tracks.data(), 1, 0, true), OK);
    EXPECT_EQ(writer.close(), OK);
    EXPECT_EQ(runCommand("ls " + shellQuote(m_dir.path())), "");
    EXPECT_EQ(writer.close(), OK) << "a second close is harmless";
}

// A closed caption track ("c608", a cdat atom a frame) beside the video:
// its own handler, entry and chunks; ffprobe finds the captions frame by frame.
TEST_F(QtWriterLayout, ClosedCaptions)
{
    Source source = readSource(testMedia("mjpeg_small.mov"));
    ASSERT_EQ(source.video.size(), 25u);
    std::vector<TrackStructuralData> tracks = {videoTrack("MJPG", 64, 48, 25, 1), TrackStructuralData{}};
    tracks[1].streamType = StreamAncillary;
    tracks[1].anc = AncStructuralData{fourCC("c608"), 0, fourCC("c608"), 25, 1, 0};
    std::string out = m_dir.file("captions.mov");
    QuickTime::FileWriter writer;
    ASSERT_EQ(writer.create(fromUtf8(out), tracks.data(), 2, 0, true), OK) << text(writer.getLastError());
    for (unsigned i = 0; i < 25; ++i) {
        std::string caption = be32(10) + "cdat" + std::string(1, char(0x80 | i)) + "\x80";
        TrackData rows[2] = {{reinterpret_cast<const unsigned char*>(source.video[i].bytes.data()),
                              uint32_t(source.video[i].bytes.size()), i, HalcIFrame},
                             {reinterpret_cast<const unsigned char*>(caption.data()), uint32_t(caption.size()), 0, 0}};
        ASSERT_EQ(writer.writeSamples(rows, 2), OK) << text(writer.getLastError());
    }
    ASSERT_EQ(writer.close(), OK) << text(writer.getLastError());

    std::string b = readFile(out);
    EXPECT_EQ(entryOf(b, 1), be32(16) + "c608" + std::string(6, '\0') + std::string("\0\x01", 2));
    AtomAt hdlr = findAtom(b, {"moov", "trak#1", "mdia", "hdlr"});
    EXPECT_EQ(b.substr(hdlr.at + 12, 8), "mhlrclcp");
    EXPECT_EQ(rd32(b, findAtom(b, {"moov", "trak#1", "mdia", "mdhd"}).at + 20), 2500u) << "the video's time scale";
    AtomAt stsz = findAtom(b, stblPath(1, "stsz"));
    EXPECT_EQ(rd32(b, stsz.at + 16), 25u);
    EXPECT_EQ(rd32(b, stsz.at + 20), 10u);
    JsonValue probe = probeJson(out);
    ASSERT_EQ(probe["streams"].items.size(), 2u);
    EXPECT_EQ(probe["streams"].items[1]["codec_name"].text, "eia_608");
    long long captions = 0;
    for (const JsonValue& p : probe["packets"].items)
        if (p["stream_index"].integer() == 1) {
            ++captions;
            EXPECT_EQ(p["size"].integer(), 3) << "one byte pair a frame, as ffmpeg hands it on";
        }
    EXPECT_EQ(captions, 25);
    EXPECT_EQ(runCommand("ffprobe -v error " + shellQuote(out) + " 2>&1"), "");
}

// createFixedSize writes one set of samples a number of times (index last);
// insertSamples overwrites a frame's bytes in place.
TEST_F(QtWriterLayout, FixedSizeFilesAndInsertedSamples)
{
    Source source = readSource(testMedia("mjpeg_small.mov"));
    std::vector<TrackStructuralData> tracks = {videoTrack("MJPG", 64, 48, 25, 1)};
    std::string fixed = m_dir.file("fixed.mov");
    {
        QuickTime::FileWriter writer;
        TrackData row{reinterpret_cast<const unsigned char*>(source.video[3].bytes.data()),
                      uint32_t(source.video[3].bytes.size()), 0, HalcIFrame};
        ASSERT_EQ(writer.createFixedSize(fromUtf8(fixed), tracks.data(), 1, &row, 12), OK)
            << text(writer.getLastError());
        ASSERT_EQ(writer.close(), OK);
    }
    JsonValue probe = probeJson(fixed);
    ASSERT_EQ(probe["packets"].items.size(), 12u);
    for (const JsonValue& p : probe["packets"].items)
        EXPECT_EQ(p["data_hash"].text, source.video[3].hash);

    std::string out = m_dir.file("inserted.mov");
    QuickTime::FileWriter writer;
    ASSERT_EQ(writer.create(fromUtf8(out), tracks.data(), 1, 0, true), OK);
    for (unsigned i = 0; i < 25; ++i) {
        TrackData row{reinterpret_cast<const unsigned char*>(source.video[i].bytes.data()),
                      uint32_t(source.video[i].bytes.size()), i, HalcIFrame};
        ASSERT_EQ(writer.writeSamples(&row, 1), OK);
    }
    ASSERT_EQ(writer.flush(), OK);
    // Frame 5 with one byte changed, of the same size, goes where frame 5 was.
    std::string replacement = source.video[5].bytes;
    replacement[replacement.size() / 2] ^= 0x01;
    TrackData row{reinterpret_cast<const unsigned char*>(replacement.data()), uint32_t(replacement.size()), 5,
                  HalcIFrame};
    ASSERT_EQ(writer.insertSamples(5, &row, 1), OK) << text(writer.getLastError());
    EXPECT_EQ(writer.insertSamples(30, &row, 1), InvalidArg);
    EXPECT_NE(text(writer.getLastError()).find("InsertSamples frame is more than index frame count."),
              std::string::npos);
    // A frame appended after the insert lands behind the others.
    TrackData last{reinterpret_cast<const unsigned char*>(source.video[0].bytes.data()),
                   uint32_t(source.video[0].bytes.size()), 25, HalcIFrame};
    ASSERT_EQ(writer.writeSamples(&last, 1), OK);
    ASSERT_EQ(writer.close(), OK);
    std::string b = readFile(out);
    probe = probeJson(out);
    ASSERT_EQ(probe["packets"].items.size(), 26u);
    const JsonValue& p5 = probe["packets"].items[5];
    EXPECT_EQ(b.substr(size_t(p5["pos"].integer()), size_t(p5["size"].integer())), replacement);
    EXPECT_EQ(probe["packets"].items[4]["data_hash"].text, source.video[4].hash);
    EXPECT_EQ(probe["packets"].items[6]["data_hash"].text, source.video[6].hash);
    EXPECT_EQ(probe["packets"].items[25]["data_hash"].text, source.video[0].hash);
}

// The MP4 flag, which no caller in this program sets: brand "mp42", "url "
// data references, no data handler, MP4 handler atoms, track flags 7.
TEST_F(QtWriterLayout, Mp4Flag)
{
    Source source = readSource(testMedia("mjpeg_small.mov"));
    std::vector<TrackStructuralData> tracks = {videoTrack("MJPG", 64, 48, 25, 1)};
    std::string out = m_dir.file("flagged.mp4");
    QuickTime::FileWriter writer;
    writer.setFlag(QuickTime::FileWriter::FlagMP4);
    ASSERT_EQ(writer.create(fromUtf8(out), tracks.data(), 1, 0, true), OK) << text(writer.getLastError());
    for (unsigned i = 0; i < source.video.size(); ++i) {
        TrackData row{reinterpret_cast<const unsigned char*>(source.video[i].bytes.data()),
                      uint32_t(source.video[i].bytes.size()), i, HalcIFrame};
        ASSERT_EQ(writer.writeSamples(&row, 1), OK);
    }
    ASSERT_EQ(writer.close(), OK);
    std::string b = readFile(out);
    EXPECT_EQ(b.substr(8, 12), std::string("mp42\0\0\0\0mp42", 12));
    EXPECT_EQ(b.substr(findAtom(b, {"moov", "trak", "tkhd"}).at + 8, 4), std::string("\0\0\0\x07", 4));
    EXPECT_FALSE(findAtom(b, {"moov", "trak", "mdia", "minf", "hdlr"}).found());
    EXPECT_NE(b.find("url "), std::string::npos);
    JsonValue probe = probeJson(out);
    ASSERT_EQ(probe["packets"].items.size(), source.video.size());
    for (size_t i = 0; i < source.video.size(); ++i)
        EXPECT_EQ(probe["packets"].items[i]["data_hash"].text, source.video[i].hash);
    EXPECT_EQ(runCommand("ffprobe -v error " + shellQuote(out) + " 2>&1"), "");
}

TEST(QtWriterAvc, AnnexBToLengthPrefixedAndTheDecoderConfiguration)
{
    using namespace Corvidane::QuickTime;
    // 4- and 3-byte start codes, trailing zeros before a start code cut off.
    std::string annexB = std::string("\0\0\0\1\x67\x64\x00\x1F\xAA\0\0\1\x68\xEE\x3C\x80\0\0\0\0\1\x65\x88\x84", 24);
    std::vector<unsigned char> buffer;
    uint32_t size = avc_parse_nal_units(reinterpret_cast<const unsigned char*>(annexB.data()),
                                        uint32_t(annexB.size()), buffer);
    EXPECT_EQ(std::string(reinterpret_cast<char*>(buffer.data()), size),
              be32(5) + std::string("\x67\x64\x00\x1F\xAA", 5) + be32(4) + std::string("\x68\xEE\x3C\x80", 4) +
                  be32(3) + std::string("\x65\x88\x84", 3));
    const unsigned char* begin = reinterpret_cast<const unsigned char*>(annexB.data());
    EXPECT_EQ(avc_find_startcode(begin, begin + annexB.size()), begin + 1);
    EXPECT_EQ(avc_find_startcode(begin + 8, begin + 10), begin + 10) << "none: the end";

    std::vector<unsigned char> config;
    ASSERT_EQ(extractavcCData(begin, uint32_t(annexB.size()), config), 20u);
    EXPECT_EQ(std::string(reinterpret_cast<char*>(config.data()), config.size()),
              std::string("\x01\x64\x00\x1F\xFF\xE1\x00\x05\x67\x64\x00\x1F\xAA\x01\x00\x04\x68\xEE\x3C\x80", 20));
    std::string slice = std::string("\0\0\1\x65\x88", 5);
    EXPECT_EQ(extractavcCData(reinterpret_cast<const unsigned char*>(slice.data()), 5, config), 0u);
}

// A track that is never given a sample still describes itself consistently:
// no samples, no chunks, no complaint.
TEST_F(QtWriterLayout, TrackWithoutSamples)
{
    Source source = readSource(testMedia("mjpeg_small.mov"));
    std::vector<TrackStructuralData> tracks = {videoTrack("MJPG", 64, 48, 25, 1), audioTrack(16, 2, 1)};
    std::string out = m_dir.file("silent.mov");
    QuickTime::FileWriter writer;
    ASSERT_EQ(writer.create(fromUtf8(out), tracks.data(), 2, 0, true), OK);
    for (unsigned i = 0; i < source.video.size(); ++i) {
        TrackData rows[2] = {{reinterpret_cast<const unsigned char*>(source.video[i].bytes.data()),
                              uint32_t(source.video[i].bytes.size()), i, HalcIFrame},
                             {nullptr, 0, 0, 0}};
        ASSERT_EQ(writer.writeSamples(rows, 2), OK);
    }
    ASSERT_EQ(writer.close(), OK);
    std::string b = readFile(out);
    AtomAt stts = findAtom(b, stblPath(1, "stts"));
    EXPECT_EQ(rd32(b, stts.at + 16), 0u) << "no samples in the time table";
    EXPECT_EQ(runCommand("ffprobe -v warning " + shellQuote(out) + " 2>&1"), "");
    auto opened = openPath(out);
    ASSERT_TRUE(opened.ok()) << text(opened.error());
    EXPECT_EQ(opened.reader->get_Length(0), source.video.size());
}

// setNextIndexRealLocation gives the next video frame's display position once.
TEST_F(QtWriterLayout, NextIndexRealLocation)
{
    std::vector<TrackStructuralData> tracks = {videoTrack("mp4v", 64, 48, 25, 1, 12, 3)};
    std::string out = m_dir.file("located.mov");
    QuickTime::FileWriter writer;
    ASSERT_EQ(writer.create(fromUtf8(out), tracks.data(), 1, 0, true), OK);
    std::string frame(600, 'f');
    for (uint32_t i = 0; i < 4; ++i) {
        if (i == 1)
            writer.setNextIndexRealLocation(3);
        TrackData row{reinterpret_cast<const unsigned char*>(frame.data()), 600, i, i == 0 ? HalcIFrame : HalcPFrame};
        ASSERT_EQ(writer.writeSamples(&row, 1), OK);
    }
    ASSERT_EQ(writer.close(), OK);
    std::string b = readFile(out);
    AtomAt ctts = findAtom(b, stblPath(0, "ctts"));
    ASSERT_TRUE(ctts.found());
    // Offsets 0, (3 - 1) x 100, 0, 0: three runs.
    EXPECT_EQ(b.substr(ctts.at + 12, 28), be32(3) + be32(1) + be32(0) + be32(1) + be32(200) + be32(2) + be32(0));
    EXPECT_NE(entryOf(b, 0).find("esds"), std::string::npos) << "mp4v carries its esds";
}
