// OP1a files written from ffmpeg-made elementary streams read back by ffprobe,
// ffmpeg, mediainfo and our own reader with the frames and sound they were
// given.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "avi/AviTestSupport.h"
#include "frame/BigEndian.h"
#include "frame/Utf8.h"
#include "mxf/model/IndexTableSegment.h"
#include "mxf/model/KlvItem.h"
#include "mxf/model/PartitionPack.h"
#include "mxf/model/RipPack.h"
#include "mxf/read/FileReader.h"
#include "mxf/write/FileWriter.h"
#include "support/DriverFixture.h"
#include "support/MxfWriterSources.h"
#include "support/TempDir.h"
#include "support/TestMedia.h"

using namespace Corvidane;
using namespace MxfWriterTest;
using Corvidane::MXF::CMxf_FileWriter;

namespace {

std::string framemd5(const std::string& path, const std::string& stream)
{
    return runCommand("ffmpeg -v error -i " + shellQuote(path) + " -map 0:" + stream +
                      " -c copy -f framemd5 - | grep -v '^#' | cut -d, -f5-");
}

std::string rawAudio(const std::string& path, const char* format)
{
    return runCommand("ffmpeg -v error -i " + shellQuote(path) + " -map 0:a:0 -c copy -f " + format + " -");
}

std::string mediainfo(const std::string& path, const std::string& inform)
{
    std::string out = runCommand("mediainfo --Inform=" + shellQuote(inform) + " " + shellQuote(path));
    while (!out.empty() && (out.back() == '\n' || out.back() == '\r'))
        out.pop_back();
    return out;
}

class MxfWriterOp1a : public DriverFixture {
protected:
    Source mpeg2Source(const char* pcm, uint16_t bits, uint32_t startFrame = 900000)
    {
        Source source;
        source.tracks = {timecodeTrack(25, 1, startFrame, false), videoTrack("MMES", 720, 576, 25, 1, 12, 8000),
                         audioTrack(2, bits)};
        source.video = framesOf(testMedia("raw_mpeg2_gop.m2v"));
        source.audio = {readFile(testMedia(pcm))};
        return source;
    }

    void write(const std::string& path, const Source& source, unsigned flushPeriod = 0)
    {
        CMxf_FileWriter writer;
        writer.setFlushPeriod(flushPeriod);
        writer.setResourceFilePath(dictionaryFolder());
        ASSERT_EQ(writer.create(fromUtf8(path), source.tracks.data(), int(source.tracks.size()), 1), OK)
            << narrowText(writer.getLastError());
        std::string error;
        ASSERT_TRUE(writeFrames(writer, source, 0, source.video.size(), &error)) << error;
        writer.close();
    }


    // ffprobe finds every frame with the source's size, bytes and key flag.
    void expectSameVideoPackets(const std::string& written, const std::string& sourcePath)
    {
        std::vector<AviTest::Packet> theirs = AviTest::ffprobePackets(sourcePath);
        std::vector<AviTest::Packet> ours;
        for (const AviTest::Packet& p : AviTest::ffprobePackets(written))
            if (p.stream == 0)
                ours.push_back(p);
        ASSERT_EQ(ours.size(), theirs.size());
        for (size_t i = 0; i < ours.size(); ++i) {
            EXPECT_EQ(ours[i].size, theirs[i].size) << "frame " << i;
            EXPECT_EQ(ours[i].hash, theirs[i].hash) << "frame " << i;
            EXPECT_EQ(ours[i].key, theirs[i].key) << "key flag of frame " << i;
        }
    }

    TempDir m_dir;
};

TEST_F(MxfWriterOp1a, Mpeg2LongGopWithPcm16ReadsBackAsWritten)
{
    const Source source = mpeg2Source("raw_pcm16_48k.s16le", 16);
    const std::string path = m_dir.file("mpeg2.mxf");
    write(path, source);

    expectSameVideoPackets(path, testMedia("raw_mpeg2_gop.m2v"));
    EXPECT_EQ(framemd5(path, "v"), framemd5(testMedia("raw_mpeg2_gop.m2v"), "v"));
    EXPECT_EQ(rawAudio(path, "s16le"), audioOfFrames(source, 0, source.video.size()));
    EXPECT_EQ(mediainfo(path, "General;%Format%"), "MXF");
    EXPECT_EQ(mediainfo(path, "Video;%FrameCount%"), std::to_string(source.video.size()));
    EXPECT_EQ(mediainfo(path, "General;%IsTruncated%"), "");
    // cvtool's dump names every set and property.
    EXPECT_EQ(runCommand(shellQuote(CVTOOL_PATH) + " dump " + shellQuote(path) + " | grep -ci unknown"), "0\n");
}

} // namespace

namespace {

TEST_F(MxfWriterOp1a, OurReaderFindsTheFramesIndexAndTimecode)
{
    const Source source = mpeg2Source("raw_pcm24_48k.s24le", 24);
    const std::string path = m_dir.file("mpeg2_pcm24.mxf");
    write(path, source);

    MXF::CMxf_FileReader reader;
    ASSERT_TRUE(isSuccess(reader.loadFile(fromUtf8(path), iFile::Buffered))) << narrowText(reader.getLastError());
    int video = -1, audio = -1, timecode = -1;
    for (int s = 0; s < reader.get_StreamCount(); ++s) {
        if (reader.get_IsVideo(s) && video < 0)
            video = s;
        if (reader.get_IsAudio(s) && audio < 0)
            audio = s;
        if (reader.get_IsTimeCode(s) && timecode < 0)
            timecode = s;
    }
    ASSERT_GE(video, 0);
    ASSERT_GE(audio, 0);
    EXPECT_EQ(reader.get_Length(video), source.video.size());
    EXPECT_EQ(reader.get_BitsPerSample(audio), 24);
    ASSERT_TRUE(isSuccess(reader.essenceOpen(unsigned(video))));
    std::vector<unsigned char> buffer(1 << 21);
    for (unsigned frame = 0; frame < source.video.size(); ++frame) {
        unsigned offset = 0, size = 0;
        ASSERT_TRUE(isSuccess(
            reader.essenceRead(frame, 1, buffer.data(), unsigned(buffer.size()), offset, size)))
            << frame << " " << narrowText(reader.getLastError());
        EXPECT_EQ(std::string(reinterpret_cast<char*>(buffer.data() + offset), size), source.video[frame].bytes)
            << "frame " << frame;
        IndexEntry entry;
        ASSERT_TRUE(isSuccess(reader.getIndexEntry(frame, entry)));
        EXPECT_EQ(isKeyFrame(entry), (source.video[frame].frameType & HalcIFrame) != 0) << "frame " << frame;
    }
    unsigned start = 0;
    if (timecode >= 0)
        ASSERT_TRUE(isSuccess(reader.get_TimeCode(timecode, 0, &start)));
    else
        ASSERT_TRUE(isSuccess(reader.get_TimeCode(video, 0, &start)));
    EXPECT_EQ(start, 900000u);
    EXPECT_FALSE(reader.get_IsDropFrame(video));
}

} // namespace

namespace {

std::string ptsList(const std::string& path)
{
    return runCommand("ffprobe -v error -select_streams v:0 -show_packets -show_entries packet=pts,dts "
                      "-of compact=p=0 " + shellQuote(path));
}

// ffmpeg's own MXF of the same stream shows each picture at the same time:
// the temporal offsets put the B pictures where they belong.
TEST_F(MxfWriterOp1a, PicturesShowAtTheTimesFfmpegsOwnMuxerGives)
{
    const Source source = mpeg2Source("raw_pcm16_48k.s16le", 16);
    const std::string path = m_dir.file("order.mxf");
    write(path, source);
    const std::string reference = m_dir.file("reference.mxf");
    runCommand("ffmpeg -v error -i " + shellQuote(testMedia("raw_mpeg2_gop.m2v")) + " -c copy -f mxf " +
               shellQuote(reference));
    const std::string expected = ptsList(reference);
    ASSERT_FALSE(expected.empty());
    EXPECT_EQ(ptsList(path), expected);
}

TEST_F(MxfWriterOp1a, DvWithPcmHasConstantEditUnits)
{
    Source source;
    source.tracks = {timecodeTrack(25, 1, 0, false), videoTrack("dvsd", 720, 576, 25, 1, 1, 25000, false),
                     audioTrack(2, 16)};
    source.video = framesOf(testMedia("raw_dv_pal.dv"));
    source.audio = {readFile(testMedia("raw_pcm16_48k.s16le"))};
    const std::string path = m_dir.file("dv.mxf");
    CMxf_FileWriter writer;
    writer.setResourceFilePath(dictionaryFolder());
    ASSERT_EQ(writer.create(fromUtf8(path), source.tracks.data(), int(source.tracks.size()), 1), OK)
        << narrowText(writer.getLastError());
    // The system item's sector, the picture's slot and the sound's sectors.
    EXPECT_EQ(writer.getEditUnitSize(), 512u + 144896u + 8192u);
    std::string error;
    ASSERT_TRUE(writeFrames(writer, source, 0, source.video.size(), &error)) << error;
    writer.close();

    expectSameVideoPackets(path, testMedia("raw_dv_pal.dv"));
    EXPECT_EQ(framemd5(path, "v"), framemd5(testMedia("raw_dv_pal.dv"), "v"));
    EXPECT_EQ(rawAudio(path, "s16le") == audioOfFrames(source, 0, source.video.size()), true);
    EXPECT_EQ(mediainfo(path, "Video;%Format%"), "DV");
    EXPECT_EQ(mediainfo(path, "General;%IsTruncated%"), "");
    EXPECT_EQ(mediainfo(path, "Video;%FrameCount%"), std::to_string(source.video.size()));

    MXF::CMxf_FileReader reader;
    const int video = loadPicture(reader, path);
    ASSERT_GE(video, 0) << narrowText(reader.getLastError());
    EXPECT_EQ(reader.get_Length(video), source.video.size());
    ASSERT_TRUE(isSuccess(reader.essenceOpen(unsigned(video))));
    std::vector<unsigned char> buffer(1 << 20);
    for (unsigned frame : {0u, 12u, unsigned(source.video.size() - 1)}) {
        unsigned offset = 0, size = 0;
        ASSERT_TRUE(isSuccess(reader.essenceRead(frame, 1, buffer.data(), unsigned(buffer.size()), offset, size)));
        EXPECT_EQ(std::string(reinterpret_cast<char*>(buffer.data() + offset), size), source.video[frame].bytes);
    }
}

// IMX sound goes in D-10's AES3 elements: ffmpeg decodes the PCM handed
// over, and our reader hands over the subframes that carry it.
TEST_F(MxfWriterOp1a, ImxSoundGoesInD10Elements)
{
    const std::string pictures = m_dir.file("imx30.m2v");
    runCommand("ffmpeg -v error -f lavfi -i testsrc=size=720x608:rate=25:duration=1 -c:v mpeg2video "
               "-pix_fmt yuv422p -g 1 -b:v 30M -minrate 30M -maxrate 30M -bufsize 1200000 "
               "-rc_init_occupancy 1200000 -f mpeg2video " + shellQuote(pictures));
    for (const uint16_t bits : {uint16_t(16), uint16_t(24)}) {
        SCOPED_TRACE(bits);
        Source source;
        source.tracks = {timecodeTrack(25, 1, 0, false), videoTrack("GIMX", 720, 608, 25, 1, 1, 30000, false),
                         audioTrack(2, bits)};
        source.video = framesOf(pictures);
        ASSERT_EQ(source.video.size(), 25u);
        source.audio = {readFile(testMedia(bits == 16 ? "raw_pcm16_48k.s16le" : "raw_pcm24_48k.s24le"))};
        const std::string path = m_dir.file("imx" + std::to_string(bits) + ".mxf");
        write(path, source);
        ASSERT_FALSE(HasFatalFailure());

        expectSameVideoPackets(path, pictures);
        const std::string pcm = audioOfFrames(source, 0, source.video.size());
        EXPECT_TRUE(rawAudio(path, bits == 16 ? "s16le" : "s24le") == pcm);

        MXF::CMxf_FileReader reader;
        ASSERT_TRUE(isSuccess(reader.loadFile(fromUtf8(path), iFile::Buffered))) << narrowText(reader.getLastError());
        int stream = 0;
        while (stream < reader.get_StreamCount() && !reader.get_IsAudio(stream))
            ++stream;
        ASSERT_LT(stream, reader.get_StreamCount());
        ASSERT_TRUE(isSuccess(reader.essenceOpen(unsigned(stream))));
        std::string carried;
        std::vector<unsigned char> buffer(1 << 20);
        for (unsigned frame = 0; frame < source.video.size(); ++frame) {
            unsigned offset = 0, size = 0;
            ASSERT_EQ(reader.essenceRead(frame, 1, buffer.data(), unsigned(buffer.size()), offset, size), OK);
            ASSERT_EQ(size, 1920u * 32u) << "eight subframes a sample, frame " << frame;
            for (unsigned sample = offset; sample < offset + size; sample += 32)
                for (unsigned channel = 0; channel < 2; ++channel) {
                    const unsigned char* word = &buffer[sample + 4 * channel];
                    const uint32_t subframe = word[0] | word[1] << 8 | word[2] << 16 | uint32_t(word[3]) << 24;
                    EXPECT_EQ(subframe & 0xF, channel);
                    const uint32_t value = subframe >> 4 & 0xFFFFFF;
                    for (unsigned byte = 3 - bits / 8; byte < 3; ++byte)
                        carried += char(value >> (8 * byte) & 0xFF);
                }
        }
        EXPECT_TRUE(carried == pcm);
    }
}

// 01:00:00;00 at 29.97 drop frame is frame 107892; ffprobe names it so, and
// the sound follows the five-frame cadence.
TEST_F(MxfWriterOp1a, DropFrameTimecodeAndNtscCadence)
{
    Source source;
    source.ntsc = true;
    source.tracks = {timecodeTrack(30000, 1001, 107892, true),
                     videoTrack("MMES", 720, 480, 30000, 1001, 15, 8000), audioTrack(2, 24)};
    source.video = framesOf(testMedia("raw_mpeg2_ntsc.m2v"));
    source.audio = {readFile(testMedia("raw_pcm24_48k.s24le"))};
    const std::string path = m_dir.file("ntsc.mxf");
    write(path, source);

    const std::string timecode = runCommand("ffprobe -v error -show_entries format_tags=timecode -of "
                                            "default=nw=1:nk=1 " + shellQuote(path));
    EXPECT_EQ(timecode, "01:00:00;00\n");
    expectSameVideoPackets(path, testMedia("raw_mpeg2_ntsc.m2v"));
    EXPECT_TRUE(rawAudio(path, "s24le") == audioOfFrames(source, 0, source.video.size()));

    MXF::CMxf_FileReader reader;
    ASSERT_TRUE(isSuccess(reader.loadFile(fromUtf8(path), iFile::Buffered))) << narrowText(reader.getLastError());
    for (int s = 0; s < reader.get_StreamCount(); ++s)
        if (reader.get_IsVideo(s)) {
            EXPECT_TRUE(reader.get_IsDropFrame(s));
            unsigned start = 0;
            EXPECT_TRUE(isSuccess(reader.get_TimeCode(s, 0, &start)));
            EXPECT_EQ(start, 107892u);
        }
}

} // namespace

namespace {

// XDCAM HD 422: AES3 sound counted in its keys, each partition's index in the
// next partition or the footer, and a random index.
TEST_F(MxfWriterOp1a, XdcamHd422WithARandomIndex)
{
    Source source;
    source.tracks = {timecodeTrack(25, 1, 0, false), videoTrack("xd50", 1920, 1080, 25, 1, 12, 50000, false),
                     audioTrack(1, 24), audioTrack(1, 24)};
    source.video = framesOf(testMedia("raw_mpeg2_xd50.m2v"));
    const std::string mono = readFile(testMedia("raw_pcm24_mono.s24le"));
    source.audio = {mono, mono};
    const std::string path = m_dir.file("xdcam.mxf");
    write(path, source);

    expectSameVideoPackets(path, testMedia("raw_mpeg2_xd50.m2v"));
    EXPECT_EQ(framemd5(path, "v"), framemd5(testMedia("raw_mpeg2_xd50.m2v"), "v"));
    EXPECT_TRUE(rawAudio(path, "s24le") == audioOfFrames(source, 0, source.video.size()));
    EXPECT_EQ(mediainfo(path, "General;%IsTruncated%"), "");
    EXPECT_EQ(mediainfo(path, "Audio;%Format%"), "PCMPCM");

    // The random index names every partition pack, the footer last.
    std::string file = readFile(path);
    const uint32_t ripLength = readBE32(reinterpret_cast<const unsigned char*>(&file[file.size() - 4]));
    ASSERT_LT(ripLength, file.size());
    MXF::CRipPack rip;
    ASSERT_TRUE(rip.SetKLV(reinterpret_cast<unsigned char*>(&file[file.size() - ripLength]), ripLength));
    ASSERT_GE(rip.entries.size(), 3u);
    for (const MXF::CRipPack::Entry& entry : rip.entries) {
        MXF::CMxfPartitionPack pack;
        MXF::CKlvItem item;
        unsigned char* p = reinterpret_cast<unsigned char*>(&file[size_t(entry.byteOffset)]);
        ASSERT_TRUE(item.setKLV(&p, false));
        ASSERT_TRUE(pack.SetKLV(item)) << entry.byteOffset;
        EXPECT_EQ(pack.bodySID, entry.bodySID);
        EXPECT_EQ(pack.thisPartition, entry.byteOffset);
    }
    EXPECT_EQ(rip.entries.back().bodySID, 0u);
    EXPECT_EQ(rip.entries[1].bodySID, 2u) << "XDCAM's essence is body 2, its index 1";

    expectReaderGivesThePictures(path, source);
}

} // namespace

namespace {

// Past ten seconds an XDCAM file starts a partition at a GOP, which carries
// the index of the partition before it.
TEST_F(MxfWriterOp1a, XdcamPartitionsCarryTheIndexOfThePartitionBefore)
{
    Source source;
    source.tracks = {timecodeTrack(25, 1, 0, false), videoTrack("xd50", 720, 576, 25, 1, 12, 50000, false),
                     audioTrack(2, 16)};
    source.video = framesOf(testMedia("raw_mpeg2_12s.m2v"));
    source.audio = {std::string(size_t(1920) * 4 * source.video.size(), '\x11')};
    const std::string path = m_dir.file("xdcam_parts.mxf");
    write(path, source);

    expectSameVideoPackets(path, testMedia("raw_mpeg2_12s.m2v"));
    std::string file = readFile(path);
    const uint32_t ripLength = readBE32(reinterpret_cast<const unsigned char*>(&file[file.size() - 4]));
    MXF::CRipPack rip;
    ASSERT_TRUE(rip.SetKLV(reinterpret_cast<unsigned char*>(&file[file.size() - ripLength]), ripLength));
    ASSERT_EQ(rip.entries.size(), 4u) << "header, two bodies, footer";
    int64_t indexed = 0;
    for (size_t i = 2; i < rip.entries.size(); ++i) {
        SCOPED_TRACE("partition " + std::to_string(i));
        MXF::CKlvItem item;
        unsigned char* p = reinterpret_cast<unsigned char*>(&file[size_t(rip.entries[i].byteOffset)]);
        ASSERT_TRUE(item.setKLV(&p, false));
        MXF::CMxfPartitionPack pack;
        ASSERT_TRUE(pack.SetKLV(item));
        EXPECT_EQ(pack.indexSID, 1u);
        ASSERT_GT(pack.indexByteCount, 0u);
        // The segment after the pack's KAG fill starts where the one before ended.
        const size_t segmentAt = (size_t(rip.entries[i].byteOffset) + 16 + item.lengthLength + item.length + 511) /
                                 512 * 512;
        unsigned char* s = reinterpret_cast<unsigned char*>(&file[segmentAt]);
        MXF::CKlvItem segmentItem;
        ASSERT_TRUE(segmentItem.setKLV(&s, false));
        MXF::CMxf_IndexTable_Segment segment;
        ASSERT_TRUE(segment.read(segmentItem));
        EXPECT_EQ(segment.indexStartPosition, indexed);
        EXPECT_EQ(segment.indexEntries.front().flags & 0xC0, 0xC0) << "an XDCAM partition starts with an I picture";
        indexed += segment.indexDuration;
    }
    EXPECT_EQ(indexed, int64_t(source.video.size()));

    MXF::CMxf_FileReader reader;
    const int video = loadPicture(reader, path);
    ASSERT_GE(video, 0) << narrowText(reader.getLastError());
    EXPECT_EQ(reader.get_Length(video), source.video.size());
    ASSERT_TRUE(isSuccess(reader.essenceOpen(unsigned(video))));
    std::vector<unsigned char> buffer(1 << 20);
    for (unsigned frame : {0u, 100u, 250u, 251u, unsigned(source.video.size() - 1)}) {
        unsigned offset = 0, size = 0;
        ASSERT_TRUE(isSuccess(reader.essenceRead(frame, 1, buffer.data(), unsigned(buffer.size()), offset, size)))
            << frame << " " << narrowText(reader.getLastError());
        EXPECT_EQ(std::string(reinterpret_cast<char*>(buffer.data() + offset), size), source.video[frame].bytes)
            << "frame " << frame;
    }
}

} // namespace

namespace {

// AVC-Intra 100 in OP1a: frame wrapped, described as the MPEG family is.
TEST_F(MxfWriterOp1a, AvcIntraFramesReadBackAsWritten)
{
    Source source;
    source.tracks = {timecodeTrack(25, 1, 0, false), videoTrack("avc6", 1920, 1080, 25, 1, 1, 100000),
                     audioTrack(2, 24)};
    source.video = framesOf(testMedia("raw_avci100.h264"));
    source.audio = {readFile(testMedia("raw_pcm24_48k.s24le"))};
    const std::string path = m_dir.file("avci.mxf");
    write(path, source);

    expectSameVideoPackets(path, testMedia("raw_avci100.h264"));
    EXPECT_EQ(framemd5(path, "v"), framemd5(testMedia("raw_avci100.h264"), "v"));
    EXPECT_EQ(mediainfo(path, "Video;%Format%"), "AVC");
    EXPECT_EQ(mediainfo(path, "General;%IsTruncated%"), "");

    expectReaderGivesThePictures(path, source);
}

} // namespace
