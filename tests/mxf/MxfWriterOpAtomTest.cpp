// OP-Atom families: one clip-wrapped file per track, the picture's writer the
// master of the sound's, read back by ffprobe, ffmpeg, mediainfo and our reader.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "avi/AviTestSupport.h"
#include "frame/Utf8.h"
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

class MxfWriterOpAtom : public DriverFixture {
protected:
    Source dnxhdSource()
    {
        Source source;
        source.tracks = {timecodeTrack(25, 1, 90000, false), videoTrack("AVdn", 1920, 1080, 25, 1, 1, 36000),
                         audioTrack(1, 24), audioTrack(1, 24)};
        source.video = framesOf(testMedia("raw_dnxhd_36.dnxhd"));
        const std::string mono = readFile(testMedia("raw_pcm24_mono.s24le"));
        source.audio = {mono, mono.substr(3 * 960) + std::string(3 * 960, '\0')};
        return source;
    }

    TempDir m_dir;
};

TEST_F(MxfWriterOpAtom, DnxhdAndTwoMonoSoundsMakeThreeFiles)
{
    const Source source = dnxhdSource();
    const std::string path = m_dir.file("clip.mxf");
    CMxf_FileWriter writer;
    writer.setResourceFilePath(dictionaryFolder());
    ASSERT_EQ(writer.create(fromUtf8(path), source.tracks.data(), int(source.tracks.size()), 0), OK)
        << narrowText(writer.getLastError());
    EXPECT_EQ(writer.getChildCount(), 2u);
    EXPECT_EQ(writer.getOpAtomTrackFilename(2), fromUtf8(m_dir.file("clip.a1.mxf")));
    EXPECT_EQ(writer.getOpAtomTrackFilename(3), fromUtf8(m_dir.file("clip.a2.mxf")));
    std::string error;
    ASSERT_TRUE(writeFrames(writer, source, 0, source.video.size(), &error)) << error;
    writer.close();

    // The picture file: every frame as the source has it.
    std::vector<AviTest::Packet> theirs = AviTest::ffprobePackets(testMedia("raw_dnxhd_36.dnxhd"));
    std::vector<AviTest::Packet> ours = AviTest::ffprobePackets(path);
    ASSERT_EQ(ours.size(), theirs.size());
    for (size_t i = 0; i < ours.size(); ++i) {
        EXPECT_EQ(ours[i].size, theirs[i].size) << i;
        EXPECT_EQ(ours[i].hash, theirs[i].hash) << i;
        EXPECT_TRUE(ours[i].key) << i;
    }
    EXPECT_EQ(runCommand("ffprobe -v error -show_entries format_tags=timecode -of default=nw=1:nk=1 " +
                         shellQuote(path)),
              "01:00:00:00\n");
    EXPECT_EQ(runCommand("mediainfo --Inform='Video;%Format%' " + shellQuote(path)), "VC-3\n");
    EXPECT_EQ(runCommand("mediainfo --Inform='General;%IsTruncated%' " + shellQuote(path)), "\n");

    // Each sound file: the samples of the frames written.
    for (size_t track = 0; track < 2; ++track) {
        const std::string sound = m_dir.file("clip.a" + std::to_string(track + 1) + ".mxf");
        ASSERT_TRUE(std::filesystem::exists(sound)) << sound;
        const std::string pcm =
            runCommand("ffmpeg -v error -i " + shellQuote(sound) + " -map 0:a:0 -c copy -f s24le -");
        EXPECT_TRUE(pcm == audioOfFrames(source, track, source.video.size()))
            << sound << ": " << pcm.size() << " bytes";
        EXPECT_EQ(runCommand("mediainfo --Inform='Audio;%Format%' " + shellQuote(sound)), "PCM\n");

        MXF::CMxf_FileReader reader;
        ASSERT_TRUE(isSuccess(reader.loadFile(fromUtf8(sound), iFile::Buffered))) << narrowText(reader.getLastError());
        int audio = -1;
        for (int s = 0; s < reader.get_StreamCount() && audio < 0; ++s)
            if (reader.get_IsAudio(s))
                audio = s;
        ASSERT_GE(audio, 0);
        EXPECT_EQ(reader.get_Length(audio), 1920u * source.video.size());
    }

    expectReaderGivesThePictures(path, source);
    MXF::CMxf_FileReader reader;
    const int video = loadPicture(reader, path);
    ASSERT_GE(video, 0) << narrowText(reader.getLastError());
    unsigned start = 0;
    EXPECT_TRUE(isSuccess(reader.get_TimeCode(video, 0, &start)));
    EXPECT_EQ(start, 90000u);
}

} // namespace

namespace {

// The track's metadata block: a zero-terminated wide XML fragment.
std::vector<uint32_t> metadataBlock(const std::wstring& xml)
{
    std::vector<uint32_t> wide(xml.begin(), xml.end());
    wide.push_back(0);
    return wide;
}

// Avid's categorized comments and the project name reach our reader's metadata.
TEST_F(MxfWriterOpAtom, CommentsAndProjectOfTheMetadataBlock)
{
    Source source = dnxhdSource();
    source.tracks.resize(2);
    std::vector<uint32_t> block = metadataBlock(L"<project>Harbour</project><scene>12</scene><take>3</take>"
                                                L"<comment>wide shot</comment><source_reel>R9</source_reel>");
    source.tracks[1].extendedData = reinterpret_cast<unsigned char*>(block.data());
    source.tracks[1].extendedDataSize = uint16_t(block.size() * 4);
    const std::string path = m_dir.file("noted.mxf");
    CMxf_FileWriter writer;
    writer.setResourceFilePath(dictionaryFolder());
    ASSERT_EQ(writer.create(fromUtf8(path), source.tracks.data(), int(source.tracks.size()), 0), OK)
        << narrowText(writer.getLastError());
    ASSERT_TRUE(writeFrames(writer, source, 0, 3));
    writer.close();

    MXF::CMxf_FileReader reader;
    ASSERT_TRUE(isSuccess(reader.loadFile(fromUtf8(path), iFile::Buffered))) << narrowText(reader.getLastError());
    const struct {
        const char* key;
        const wchar_t* value;
    } expected[] = {{"project", L"Harbour"}, {"scene", L"12"}, {"take", L"3"}, {"comment", L"wide shot"},
                    {"source_reel", L"R9"}, {"clip_name", L"noted"}};
    for (const auto& e : expected) {
        std::wstring value;
        EXPECT_TRUE(isSuccess(reader.get_MetadataValue(e.key, -1, value))) << e.key;
        EXPECT_EQ(value, e.value) << e.key;
    }
    // ffprobe names the comments too.
    const std::string tags = runCommand("ffprobe -v error -show_format -of flat " + shellQuote(path));
    EXPECT_NE(tags.find("Harbour"), std::string::npos) << tags;
}

} // namespace

namespace {

// Ancillary data goes to a file of its own, frame wrapped, its index in the footer.
TEST_F(MxfWriterOpAtom, AncillaryDataFileIsFrameWrapped)
{
    Source source = dnxhdSource();
    source.tracks.resize(2);
    TrackStructuralData anc{};
    anc.streamType = StreamAncillary;
    source.tracks.push_back(anc);
    const std::string path = m_dir.file("captions.mxf");
    CMxf_FileWriter writer;
    writer.setResourceFilePath(dictionaryFolder());
    ASSERT_EQ(writer.create(fromUtf8(path), source.tracks.data(), int(source.tracks.size()), 0), OK)
        << narrowText(writer.getLastError());
    EXPECT_EQ(writer.getOpAtomTrackFilename(2), fromUtf8(m_dir.file("captions.d1.mxf")));
    std::vector<std::string> packets;
    static const uint32_t zero = 0;
    for (size_t i = 0; i < source.video.size(); ++i) {
        packets.push_back("caption packet " + std::to_string(i) + std::string(i * 3, '*'));
        const Frame& frame = source.video[i];
        TrackData rows[3] = {
            {reinterpret_cast<const unsigned char*>(&zero), 4, 0, 0},
            {reinterpret_cast<const unsigned char*>(frame.bytes.data()), uint32_t(frame.bytes.size()), uint32_t(i),
             HalcIFrame},
            {reinterpret_cast<const unsigned char*>(packets.back().data()), uint32_t(packets.back().size()), 0, 0}};
        ASSERT_EQ(writer.writeAtom(rows, 3), OK) << narrowText(writer.getLastError());
    }
    writer.close();

    const std::string data = m_dir.file("captions.d1.mxf");
    std::vector<AviTest::Packet> ours = AviTest::ffprobePackets(data);
    ASSERT_EQ(ours.size(), packets.size());
    const std::string bytes = readFile(data);
    for (size_t i = 0; i < ours.size(); ++i)
        EXPECT_EQ(bytes.substr(ours[i].pos, ours[i].size), packets[i]) << i;
    // Each element under the ancillary key; the footer holds the index.
    EXPECT_EQ(bytes.substr(ours[0].pos - 20, 16),
              std::string("\x06\x0E\x2B\x34\x01\x02\x01\x01\x0D\x01\x03\x01\x17\x01\x02\x01", 16));
    // ffmpeg takes it for SMPTE 436M data (the clip's picture track, whose
    // file package shares this one's material number, shows as one more).
    EXPECT_NE(runCommand("ffprobe -v error -show_entries stream_tags=data_type -of default=nw=1:nk=1 " +
                         shellQuote(data))
                  .find("vbi_vanc_smpte_436M"),
              std::string::npos);
}

} // namespace

namespace {

// XDCAM pictures in OP-Atom: one clip-wrapped element under Avid's key, an
// index of doubled entries in the footer, closed by an item of zeros whose
// entry gives the last picture its size.
TEST_F(MxfWriterOpAtom, XdcamPicturesWithTheirTrailingItem)
{
    Source source;
    source.tracks = {timecodeTrack(25, 1, 0, false), videoTrack("xd50", 1920, 1080, 25, 1, 12, 50000, false)};
    source.video = framesOf(testMedia("raw_mpeg2_xd50.m2v"));
    const std::string path = m_dir.file("xd.mxf");
    CMxf_FileWriter writer;
    writer.setResourceFilePath(dictionaryFolder());
    ASSERT_EQ(writer.create(fromUtf8(path), source.tracks.data(), int(source.tracks.size()), 0), OK)
        << narrowText(writer.getLastError());
    EXPECT_EQ(writer.getEssenceKeys()[1],
              MXF::labelFromText("06.0E.2B.34.01.02.01.01.0E.04.03.01.15.01.03.01"));
    ASSERT_TRUE(writeFrames(writer, source, 0, source.video.size()));
    writer.close();

    // ffprobe finds every picture; the last runs to the element's end, so
    // the trailing item's zeros follow it.
    std::vector<AviTest::Packet> theirs = AviTest::ffprobePackets(testMedia("raw_mpeg2_xd50.m2v"));
    std::vector<AviTest::Packet> ours = AviTest::ffprobePackets(path);
    ASSERT_EQ(ours.size(), theirs.size());
    for (size_t i = 0; i + 1 < theirs.size(); ++i)
        EXPECT_EQ(ours[i].hash, theirs[i].hash) << i;
    const std::string file = readFile(path);
    EXPECT_EQ(file.substr(ours.back().pos, ours.back().size),
              source.video.back().bytes + std::string(7519, '\0'));

    expectReaderGivesThePictures(path, source);
}

} // namespace
