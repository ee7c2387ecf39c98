// The QuickTime writer on essence that ffmpeg made: each file is written
// from the source's packets and read back by ffprobe, ffmpeg, mediainfo and
// our own reader.
#include <gtest/gtest.h>

#include "quicktime/QtReaderFixture.h"
#include "quicktime/QtWriterSupport.h"

using namespace Corvidane;
using namespace qtw;

namespace {

std::string framemd5(const std::string& path, const std::string& map)
{
    return runCommand("ffmpeg -v error -i " + shellQuote(path) + " -map " + map + " -f framemd5 - | grep -v '^#'");
}

std::string decodedAudioMd5(const std::string& path)
{
    return runCommand("ffmpeg -v error -i " + shellQuote(path) + " -map 0:a -c:a pcm_s32le -f md5 -");
}

std::string streamMd5(const std::string& path, const std::string& map)
{
    return runCommand("ffmpeg -v error -i " + shellQuote(path) + " -map " + map + " -c copy -f md5 -");
}

// mediainfo reads the file and finds nothing to report as broken.
void expectMediainfoContent(const std::string& path, const std::string& format)
{
    int status = 0;
    std::string out = runCommand("mediainfo --Full " + shellQuote(path) + " 2>&1", &status);
    EXPECT_EQ(status, 0) << out;
    EXPECT_NE(out.find(format), std::string::npos) << out;
    for (const char* complaint : {"IsTruncated", "Truncated", "rror", "Conformance"})
        EXPECT_EQ(out.find(complaint), std::string::npos) << complaint << "\n" << out;
}

std::vector<const JsonValue*> streamPackets(const JsonValue& probe, const std::string& type)
{
    long long index = -1;
    for (const JsonValue& stream : probe["streams"].items)
        if (stream["codec_type"].text == type && index < 0)
            index = stream["index"].integer();
    std::vector<const JsonValue*> out;
    for (const JsonValue& p : probe["packets"].items)
        if (p["stream_index"].integer() == index)
            out.push_back(&p);
    return out;
}

const JsonValue& streamOf(const JsonValue& probe, const std::string& type)
{
    for (const JsonValue& stream : probe["streams"].items)
        if (stream["codec_type"].text == type)
            return stream;
    static const JsonValue none;
    return none;
}

class QtWriterRewrap : public QtReaderFixture {
protected:
    // The written packets agree with what was handed in: order, sizes, bytes, key flags.
    void expectSamePackets(const std::string& out, const std::vector<std::string>& expected,
                           const std::vector<Packet>& source, bool compareHashes)
    {
        JsonValue probe = probeJson(out);
        auto packets = streamPackets(probe, "video");
        ASSERT_EQ(packets.size(), expected.size());
        std::string bytes = readFile(out);
        for (size_t i = 0; i < packets.size(); ++i) {
            const JsonValue& p = *packets[i];
            EXPECT_EQ(size_t(p["size"].integer()), expected[i].size()) << "packet " << i;
            EXPECT_EQ(bytes.substr(size_t(p["pos"].integer()), size_t(p["size"].integer())), expected[i])
                << "packet " << i;
            EXPECT_EQ(p["flags"].text.substr(0, 1) == "K", source[i].key) << "key flag of packet " << i;
            if (compareHashes) {
                EXPECT_EQ(p["data_hash"].text, source[i].hash) << "packet " << i;
            }
        }
    }

    struct Rewrap {
        std::string media;
        std::vector<TrackStructuralData> tracks;
        bool reserveIndex = true;
        unsigned flushPeriod = 0;
        std::string videoCodec, audioCodec, mediainfoFormat;
    };

    // Writes the source's frames with their audio and timecode, and checks
    // the result with every tool. The path written.
    std::string rewrap(const Rewrap& job, const std::string& name)
    {
        std::string src = testMedia(job.media);
        Source source = readSource(src);
        Feeder feeder;
        const VideoStructuralData& v = job.tracks[0].video;
        feeder.rateNum = v.rateNumerator, feeder.rateDen = v.rateDenominator;
        feeder.audio = source.audio;
        feeder.withAudio = job.tracks.size() > 1 && job.tracks[1].streamType == StreamAudio;
        feeder.withTimecode = job.tracks.back().streamType == StreamTimecode;
        if (feeder.withAudio)
            feeder.blockAlign = job.tracks[1].audio.blockAlign;
        frameOrder(source.video, feeder.shown, feeder.types);
        std::vector<std::string> expected;
        for (const Packet& p : source.video)
            feeder.video.push_back(p.bytes), expected.push_back(p.bytes);

        std::string out = m_dir.file(name);
        QuickTime::FileWriter writer;
        writer.setFlushPeriod(job.flushPeriod);
        EXPECT_EQ(writer.create(fromUtf8(out), job.tracks.data(), int(job.tracks.size()), 0, job.reserveIndex), OK)
            << text(writer.getLastError());
        EXPECT_EQ(feeder.feed(writer, 0, feeder.video.size()), OK) << text(writer.getLastError());
        EXPECT_EQ(writer.close(), OK) << text(writer.getLastError());

        expectSamePackets(out, expected, source.video, true);
        EXPECT_EQ(framemd5(out, "0:v"), framemd5(src, "0:v"));
        JsonValue probe = probeJson(out);
        EXPECT_EQ(streamOf(probe, "video")["codec_name"].text, job.videoCodec);
        if (feeder.withAudio) {
            EXPECT_EQ(streamMd5(out, "0:a"), streamMd5(src, "0:a"));
            // Chunks differ from the source's packets, the decoded samples don't.
            EXPECT_EQ(decodedAudioMd5(out), decodedAudioMd5(src));
            EXPECT_EQ(streamOf(probe, "audio")["codec_name"].text, job.audioCodec);
        }
        if (feeder.withTimecode) {
            EXPECT_EQ(timecodeOf(probe), source.timecode);
        }
        expectMediainfoContent(out, job.mediainfoFormat);
        expectOurReader(out, expected, job.tracks.size());
        return out;
    }

    // Our reader finds every frame, with its bytes.
    void expectOurReader(const std::string& out, const std::vector<std::string>& expected, size_t streams)
    {
        auto opened = openPath(out);
        ASSERT_TRUE(opened.ok()) << text(opened.error());
        auto& reader = *opened.reader;
        EXPECT_EQ(size_t(reader.get_StreamCount()), streams);
        ASSERT_TRUE(reader.get_IsVideo(0));
        ASSERT_EQ(reader.get_Length(0), expected.size());
        ASSERT_EQ(reader.essenceOpen(0), OK);
        std::vector<unsigned char> buffer(4 << 20);
        for (size_t i = 0; i < expected.size(); ++i) {
            unsigned offset = 0, size = 0;
            ASSERT_EQ(reader.essenceRead(i, 1, buffer.data(), unsigned(buffer.size()), offset, size), OK) << i;
            ASSERT_EQ(std::string(reinterpret_cast<char*>(buffer.data() + offset), size), expected[i]) << i;
        }
    }
};

} // namespace

// H.264 with B pictures in 15-frame GOPs at 29.97 drop frame, 16-bit
// little-endian PCM ("sowt") and a timecode track; the index ahead of the
// data and flushed every 15 frames.
TEST_F(QtWriterRewrap, H264LongGopPcm16Timecode)
{
    std::string src = testMedia("h264_dropframe.mov");
    Source source = readSource(src);
    ASSERT_EQ(source.video.size(), 90u);
    ASSERT_EQ(source.timecode, "01:00:00;00");
    // The first frame as Annex B with its parameter sets, as an encoder hands it over.
    std::string first = runCommand("ffmpeg -v error -i " + shellQuote(src) +
                                   " -map 0:v -c copy -bsf:v h264_mp4toannexb -frames:v 1 -f h264 -");
    Feeder feeder;
    feeder.rateNum = 30000, feeder.rateDen = 1001;
    feeder.blockAlign = 2; // one channel
    feeder.audio = source.audio;
    frameOrder(source.video, feeder.shown, feeder.types);
    std::vector<std::string> expected;
    for (size_t i = 0; i < source.video.size(); ++i) {
        feeder.video.push_back(i == 0 ? first : toAnnexB(source.video[i].bytes));
        expected.push_back(i == 0 ? toLengthPrefixed(first) : source.video[i].bytes);
    }

    std::vector<TrackStructuralData> tracks = {videoTrack("avc1", 320, 240, 30000, 1001, 15, 3), audioTrack(16, 1, 1),
                                               timecodeTrack(30000, 1001, 107892, true)};
    std::string out = m_dir.file("h264.mov");
    QuickTime::FileWriter writer;
    writer.setFlushPeriod(15);
    ASSERT_EQ(writer.create(fromUtf8(out), tracks.data(), 3, 0, true), OK) << text(writer.getLastError());
    ASSERT_EQ(feeder.feed(writer, 0, feeder.video.size()), OK) << text(writer.getLastError());
    ASSERT_EQ(writer.close(), OK) << text(writer.getLastError());

    expectSamePackets(out, expected, source.video, false);
    for (size_t i = 1; i < expected.size(); ++i)
        EXPECT_EQ(expected[i], source.video[i].bytes);
    EXPECT_EQ(framemd5(out, "0:v"), framemd5(src, "0:v"));
    EXPECT_EQ(streamMd5(out, "0:a"), streamMd5(src, "0:a"));
    EXPECT_EQ(decodedAudioMd5(out), decodedAudioMd5(src));
    JsonValue probe = probeJson(out);
    EXPECT_EQ(timecodeOf(probe), "01:00:00;00");
    EXPECT_EQ(streamOf(probe, "audio")["codec_name"].text, "pcm_s16le");
    // The writer's time scale for 29.97 is 2997 with frames of 100 ticks.
    EXPECT_EQ(streamOf(probe, "video")["r_frame_rate"].text, "2997/100");
    expectMediainfoContent(out, "AVC");
    expectOurReader(out, expected, 3);
}

// ProRes 422 with 24-bit little-endian PCM ("in24" in a version 1 entry with
// its byte order) and timecode; the index behind the data.
TEST_F(QtWriterRewrap, ProResPcm24TimecodeIndexLast)
{
    Rewrap job;
    job.media = "prores_pcm24_tc.mov";
    job.tracks = {videoTrack("apcn", 320, 240, 25, 1), audioTrack(24, 2, 1), timecodeTrack(25, 1, 90000, false)};
    job.reserveIndex = false;
    job.videoCodec = "prores", job.audioCodec = "pcm_s24le", job.mediainfoFormat = "ProRes";
    std::string out = rewrap(job, "prores.mov");
    std::string bytes = readFile(out);
    EXPECT_LT(bytes.find("mdat"), bytes.find("moov")) << "index last";
}

// The same with the index ahead of the data and flushed each second.
TEST_F(QtWriterRewrap, ProResPcm24TimecodeIndexFirst)
{
    Rewrap job;
    job.media = "prores_pcm24_tc.mov";
    job.tracks = {videoTrack("apcn", 320, 240, 25, 1), audioTrack(24, 2, 1), timecodeTrack(25, 1, 90000, false)};
    job.flushPeriod = 25;
    job.videoCodec = "prores", job.audioCodec = "pcm_s24le", job.mediainfoFormat = "ProRes";
    std::string out = rewrap(job, "prores_first.mov");
    std::string bytes = readFile(out);
    EXPECT_GT(bytes.find("mdat"), bytes.find("moov")) << "index first";
}

// MPEG-2 long GOP with B pictures, big-endian 16-bit PCM ("twos") and timecode.
TEST_F(QtWriterRewrap, Mpeg2LongGopPcm16BigEndian)
{
    Rewrap job;
    job.media = "mpeg2_longgop.mov";
    job.tracks = {videoTrack("MMES", 352, 288, 25, 1, 12, 3), audioTrack(16, 1, 2),
                  timecodeTrack(25, 1, 900000, false)};
    job.flushPeriod = 12;
    // The writer names MPEG-2 "mpg2": ffmpeg decodes it, mediainfo reads
    // it without complaint but names the format by that code alone.
    job.videoCodec = "mpeg2video", job.audioCodec = "pcm_s16be", job.mediainfoFormat = "Codecs Video                             : mpg2";
    rewrap(job, "mpeg2.mov");
}

// DNxHD 1080p: constant sample sizes and the Avid atoms filled from the first frame.
TEST_F(QtWriterRewrap, DnxhdConstantSizes)
{
    Rewrap job;
    job.media = "dnxhd.mov";
    job.tracks = {videoTrack("AVdn", 1920, 1080, 25, 1)};
    job.videoCodec = "dnxhd", job.mediainfoFormat = "VC-3";
    std::string out = rewrap(job, "dnxhd.mov");
    std::string bytes = readFile(out);
    size_t ares = bytes.find("ARES");
    ASSERT_NE(ares, std::string::npos);
    EXPECT_EQ(bytes.substr(ares + 4, 8), "ARES0001") << "the ARES body";
}

// Motion JPEG, written as "mjpa".
TEST_F(QtWriterRewrap, MotionJpeg)
{
    Rewrap job;
    job.media = "mjpeg_small.mov";
    job.tracks = {videoTrack("MJPG", 64, 48, 25, 1)};
    job.videoCodec = "mjpeg", job.mediainfoFormat = "JPEG";
    rewrap(job, "mjpeg.mov");
}

// XDCAM HD422 ("xd50" as the host names it): 4:2:2 MPEG-2 in open GOPs of 12,
// 1080i25, written as "xd5c" with the open GOP interleave: runs of 12 and 24
// frames, each one chunk, then the audio of the run; the I frames after the
// first 12 frames go to stps, the dependencies to sdtp.
TEST_F(QtWriterRewrap, XdcamHd422OpenGopInterleave)
{
    Rewrap job;
    job.media = "mpeg2_422_1080i.mov";
    job.tracks = {videoTrack("xd50", 1920, 1080, 25, 1, 12, 3), audioTrack(24, 2, 1)};
    job.tracks[0].video.frameLayout = 3;
    job.tracks[0].video.aspect = 0x00100009;
    job.videoCodec = "mpeg2video", job.audioCodec = "pcm_s24le", job.mediainfoFormat = "MPEG Video";
    std::string out = rewrap(job, "xdcam.mov");
    std::string b = readFile(out);
    EXPECT_EQ(b.substr(findAtom(b, stblPath(0, "stsd")).at + 20, 4), "xd5c");
    AtomAt stsc = findAtom(b, stblPath(0, "stsc"));
    // 50 frames: runs of 12, 24, 12, then the 2 left at close.
    EXPECT_EQ(rd32(b, stsc.at + 12), 4u);
    EXPECT_EQ(b.substr(stsc.at + 16, 48), be32(1) + be32(12) + be32(1) + be32(2) + be32(24) + be32(1) + be32(3) +
                                              be32(12) + be32(1) + be32(4) + be32(2) + be32(1));
    // In decode order the I pictures are frames 1, 11, 23, 35 and 47; those
    // among the first 12 frames written are sync samples, the rest partial.
    AtomAt stss = findAtom(b, stblPath(0, "stss"));
    AtomAt stps = findAtom(b, stblPath(0, "stps"));
    ASSERT_TRUE(stss.found() && stps.found());
    EXPECT_EQ(b.substr(stss.at + 12, 12), be32(2) + be32(1) + be32(11));
    EXPECT_EQ(b.substr(stps.at + 12, 16), be32(3) + be32(23) + be32(35) + be32(47));
    AtomAt sdtp = findAtom(b, stblPath(0, "sdtp"));
    ASSERT_TRUE(sdtp.found());
    EXPECT_EQ(b.substr(sdtp.at + 12, 4), std::string("\x60\x08\x40\x40", 4));
    // The audio chunks follow the video runs.
    AtomAt videoCo64 = findAtom(b, stblPath(0, "co64"));
    AtomAt audioCo64 = findAtom(b, stblPath(1, "co64"));
    EXPECT_LT(rd64(b, videoCo64.at + 16), rd64(b, audioCo64.at + 16));
    EXPECT_LT(rd64(b, audioCo64.at + 16), rd64(b, videoCo64.at + 24));
}

// H.264 with AAC ("mp4a", one sample a packet, 1024 ticks each): calls with
// no picture carry the packets that fall behind, as the writer allows.
TEST_F(QtWriterRewrap, H264WithAac)
{
    std::string src = testMedia("h264_aac.mp4");
    JsonValue probe = probeJson(src);
    std::string bytes = readFile(src);
    std::vector<Packet> video;
    std::vector<std::string> aac;
    std::vector<std::string> aacHashes;
    for (const JsonValue& p : probe["packets"].items) {
        std::string data = bytes.substr(size_t(p["pos"].integer()), size_t(p["size"].integer()));
        if (p["stream_index"].integer() == 0)
            video.push_back({data, p["pts"].integer(), p["flags"].text.substr(0, 1) == "K", p["data_hash"].text,
                             p["pos"].integer()});
        else
            aac.push_back(data), aacHashes.push_back(p["data_hash"].text);
    }
    ASSERT_EQ(video.size(), 100u);
    std::string first = runCommand("ffmpeg -v error -i " + shellQuote(src) +
                                   " -map 0:v -c copy -bsf:v h264_mp4toannexb -frames:v 1 -f h264 -");
    std::vector<uint32_t> shown, types;
    frameOrder(video, shown, types);
    std::vector<TrackStructuralData> tracks = {videoTrack("avc1", 320, 240, 25, 1, 12, 3),
                                               audioTrack(16, 2, 1, fourCC("mp4a"))};
    std::string out = m_dir.file("aac.mov");
    QuickTime::FileWriter writer;
    ASSERT_EQ(writer.create(fromUtf8(out), tracks.data(), 2, 0, true), OK) << text(writer.getLastError());
    size_t nextAac = 0;
    std::vector<std::string> expected;
    for (size_t i = 0; i < video.size(); ++i) {
        std::string picture = i == 0 ? first : toAnnexB(video[i].bytes);
        expected.push_back(i == 0 ? toLengthPrefixed(first) : video[i].bytes);
        // The packets that start before this frame ends, one a call.
        bool pictureGiven = false;
        do {
            TrackData rows[2] = {{nullptr, 0, 0, 0}, {nullptr, 0, 0, 0}};
            if (!pictureGiven)
                rows[0] = TrackData{reinterpret_cast<const unsigned char*>(picture.data()), uint32_t(picture.size()),
                                    shown[i], types[i]};
            if (nextAac < aac.size() && (nextAac * 1024 < (i + 1) * 1920 || i + 1 == video.size())) {
                rows[1] = TrackData{reinterpret_cast<const unsigned char*>(aac[nextAac].data()),
                                    uint32_t(aac[nextAac].size()), 0, 0};
                ++nextAac;
            }
            if (pictureGiven && rows[1].size == 0)
                break;
            ASSERT_EQ(writer.writeSamples(rows, 2), OK) << text(writer.getLastError());
            pictureGiven = true;
        } while (true);
    }
    ASSERT_EQ(nextAac, aac.size());
    ASSERT_EQ(writer.close(), OK) << text(writer.getLastError());

    expectSamePackets(out, expected, video, false);
    JsonValue written = probeJson(out);
    auto packets = streamPackets(written, "audio");
    ASSERT_EQ(packets.size(), aac.size());
    for (size_t i = 0; i < aac.size(); ++i)
        EXPECT_EQ((*packets[i])["data_hash"].text, aacHashes[i]) << "AAC packet " << i;
    EXPECT_EQ(streamOf(written, "audio")["codec_name"].text, "aac");
    EXPECT_EQ(streamOf(written, "audio")["duration_ts"].integer(), (long long)aac.size() * 1024);
    EXPECT_EQ(framemd5(out, "0:v"), framemd5(src, "0:v"));
    // The source's edit list skips the encoder's priming; ours doesn't, so
    // the decoded samples are compared without edit lists.
    auto decoded = [](const std::string& path) {
        return runCommand("ffmpeg -v error -ignore_editlist 1 -i " + shellQuote(path) +
                          " -map 0:a -c:a pcm_s16le -f md5 -");
    };
    EXPECT_EQ(decoded(out), decoded(src));
    expectMediainfoContent(out, "AAC");
    expectOurReader(out, expected, 2);
}
