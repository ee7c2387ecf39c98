// OpenDML files with several RIFFs and standard indexes, written by the
// fixture so that every offset, size and order is known.
#include <gtest/gtest.h>

#include "avi/AviTestSupport.h"
#include "avi/FileReader.h"
#include "support/AviFixture.h"
#include "support/DriverFixture.h"
#include "support/TempDir.h"

using namespace AviTest;
using Corvidane::IndexEntry;

namespace {

class AviOpenDml : public DriverFixture {
protected:
    // Writes the file and loads it into `reader`.
    std::string load(const AviFixture::OpenDmlFile& file, const std::string& name = "odml.avi")
    {
        std::string path = m_dir.file(name);
        writeFile(path, file.bytes);
        EXPECT_EQ(reader.loadFile(m_dir.wfile(name), iFile::Unbuffered), OK) << toText(reader.getLastError());
        return path;
    }

    static std::string toText(const wchar_t* text) { return std::string(text, text + std::wcslen(text)); }

    std::string bytesAt(const AviFixture::OpenDmlFile& file, uint64_t offset, uint64_t size)
    {
        return file.bytes.substr(offset, size);
    }

    // One frame through the single read; its bytes.
    std::string readFrame(unsigned frame)
    {
        unsigned offset = 0, size = 0;
        CvResult result = reader.essenceRead(frame, 1, m_buffer.data(), unsigned(m_buffer.size()), offset, size);
        if (result != OK)
            return "error " + std::to_string(result) + ": " + toText(reader.getLastError());
        return std::string(reinterpret_cast<const char*>(m_buffer.data()) + offset, size);
    }

    std::string readAudio(unsigned sample, unsigned count)
    {
        unsigned offset = 0, used = 0;
        CvResult result = reader.essenceRead(sample, count, m_buffer.data(), unsigned(m_buffer.size()), offset, used);
        if (result != OK)
            return "error " + std::to_string(result) + ": " + toText(reader.getLastError());
        return std::string(reinterpret_cast<const char*>(m_buffer.data()) + offset, used);
    }

    // The whole audio stream as the fixture wrote it.
    static std::string audioStream(const AviFixture::OpenDmlFile& file)
    {
        std::string all;
        for (const AviFixture::Frame& chunk : file.audio)
            all += file.bytes.substr(chunk.offset, chunk.size);
        return all;
    }

    TempDir m_dir;
    std::vector<unsigned char> m_buffer = std::vector<unsigned char>(1 << 20);
    Corvidane::Avi::FileReader reader;
};

TEST_F(AviOpenDml, RiffRollOverAgreesWithFfprobeAndTheWrittenLayout)
{
    for (bool indexAtFront : {true, false}) {
        SCOPED_TRACE(indexAtFront ? "indexes in front of the data" : "indexes behind the data");
        AviFixture::OpenDmlLayout layout;
        layout.frames = 61;
        layout.framesPerRiff = 16;
        layout.indexAtFront = indexAtFront;
        AviFixture::OpenDmlFile file = AviFixture::makeOpenDml(layout);
        std::string path = load(file, indexAtFront ? "front.avi" : "behind.avi");
        ASSERT_EQ(AviFixture::findChunks(file.bytes, AviFixture::fourcc("RIFF")).size(), 4u);

        std::vector<Packet> ours = cvtoolPackets(path), theirs = ffprobePackets(path);
        std::vector<Packet> video = ofStream(ours, 0);
        ASSERT_EQ(video.size(), 61u);
        ASSERT_EQ(ofStream(theirs, 0).size(), 61u);
        for (size_t i = 0; i < video.size(); ++i) {
            EXPECT_EQ(video[i].pos, ofStream(theirs, 0)[i].pos) << i;
            EXPECT_EQ(video[i].hash, ofStream(theirs, 0)[i].hash) << i;
            EXPECT_EQ(video[i].pos, file.video[i].offset) << i;
            EXPECT_EQ(video[i].size, file.video[i].size) << i;
        }
        EXPECT_EQ(totalBytes(ofStream(ours, 1)), totalBytes(ofStream(theirs, 1)));
        EXPECT_EQ(totalBytes(ofStream(ours, 1)), audioStream(file).size());

        // The dmlh count, not the first RIFF's, is the length.
        EXPECT_EQ(reader.get_Length(0), 61u);
        ASSERT_EQ(reader.essenceOpen(0), OK);
        // The top bit of a plain entry's size marks a non-key frame and is no part of the size.
        for (unsigned frame : {33u, 35u}) {
            IndexEntry entry;
            ASSERT_EQ(reader.getIndexEntry(frame, entry), OK);
            EXPECT_EQ(+entry.size, file.video[frame].size);
            EXPECT_EQ(+entry.frameType, file.video[frame].frameType) << frame;
            EXPECT_EQ(+entry.decodeIndex, frame);
        }
        EXPECT_EQ(reader.getGopLength(0), 5) << "a key frame every fifth";
    }
}

TEST_F(AviOpenDml, FieldIndexesReadLikePlainOnes)
{
    AviFixture::OpenDmlFile file = AviFixture::makeOpenDml({30, 8, 1});
    load(file);
    EXPECT_TRUE(reader.get_IsIndexFieldBased(0));
    EXPECT_FALSE(reader.get_IsIndexFieldBased(1));
    ASSERT_EQ(reader.essenceOpen(0), OK);
    for (unsigned frame = 0; frame < 30; ++frame) {
        IndexEntry entry;
        ASSERT_EQ(reader.getIndexEntry(frame, entry), OK);
        EXPECT_EQ(+entry.offset, file.video[frame].offset) << frame;
        EXPECT_EQ(readFrame(frame), bytesAt(file, file.video[frame].offset, file.video[frame].size)) << frame;
    }
}

TEST_F(AviOpenDml, AlternatingStreamsAndWindowsReadTheRightBytes)
{
    AviFixture::OpenDmlFile file = AviFixture::makeOpenDml({70, 9});
    load(file);
    std::string audio = audioStream(file);
    const unsigned samples = unsigned(audio.size() / 2);
    ASSERT_EQ(reader.get_Length(1), samples);

    // Back and forth over the RIFFs, switching stream at every step.
    unsigned frames[] = {0, 69, 8, 9, 40, 17, 18, 1, 63, 62};
    unsigned step = 0;
    for (unsigned frame : frames) {
        ASSERT_EQ(reader.essenceOpen(0), OK);
        EXPECT_EQ(readFrame(frame), bytesAt(file, file.video[frame].offset, file.video[frame].size)) << frame;
        ASSERT_EQ(reader.essenceOpen(1), OK);
        unsigned sample = (frame * 977 + step++ * 131) % (samples - 900);
        EXPECT_EQ(readAudio(sample, 900), audio.substr(sample * 2, 1800)) << sample;
    }
    // A run crossing several chunks and a RIFF, and the stream's last samples.
    EXPECT_EQ(readAudio(2000, 5000), audio.substr(4000, 10000));
    EXPECT_EQ(readAudio(samples - 3, 3), audio.substr(audio.size() - 6));
    unsigned offset = 0, used = 0;
    EXPECT_EQ(reader.essenceRead(samples, 1, m_buffer.data(), unsigned(m_buffer.size()), offset, used), HandleEOF);
    EXPECT_EQ(reader.essenceRead(0, 4096, m_buffer.data(), 100, offset, used), BufferTooSmall);
    EXPECT_EQ(used, 8192u);
    EXPECT_NE(std::wstring(reader.getLastError()).find(L"Buffer too small"), std::wstring::npos);

    // A sample inside a chunk: its own bytes, one block long.
    IndexEntry entry;
    ASSERT_EQ(reader.getIndexEntry(1234, entry), OK);
    EXPECT_EQ(+entry.size, 2u);
    EXPECT_EQ(file.bytes.substr(+entry.offset, 2), audio.substr(1234 * 2, 2));
}

TEST_F(AviOpenDml, MultiFrameReadIsOneSpanHoldingEachFrame)
{
    AviFixture::OpenDmlFile file = AviFixture::makeOpenDml({30, 30});
    load(file);
    ASSERT_EQ(reader.essenceOpen(0), OK);
    std::vector<unsigned> offsets, sizes;
    ASSERT_EQ(reader.essenceRead(5, 6, m_buffer.data(), unsigned(m_buffer.size()), offsets, sizes), OK);
    ASSERT_EQ(offsets.size(), 6u);
    for (unsigned i = 0; i < 6; ++i) {
        EXPECT_EQ(std::string(reinterpret_cast<const char*>(m_buffer.data()) + offsets[i], sizes[i]),
                  bytesAt(file, file.video[5 + i].offset, file.video[5 + i].size));
        // The audio between the frames came along in the same read.
        EXPECT_EQ(offsets[i] - offsets[0], file.video[5 + i].offset - file.video[5].offset);
    }
    // Too small a buffer for the span: refused, with the room it needs.
    ASSERT_EQ(reader.essenceRead(5, 6, m_buffer.data(), 300, offsets, sizes), BufferTooSmall);
    ASSERT_EQ(sizes.size(), 1u);
    EXPECT_GE(sizes[0], file.video[10].offset + file.video[10].size - file.video[5].offset);
    unsigned offset = 0, size = 0;
    EXPECT_EQ(reader.essenceRead(5, 2, m_buffer.data(), unsigned(m_buffer.size()), offset, size), InvalidArg);
    EXPECT_EQ(reader.essenceRead(30, 1, m_buffer.data(), unsigned(m_buffer.size()), offset, size), HandleEOF);
    ASSERT_EQ(reader.essenceOpen(1), OK);
    EXPECT_EQ(reader.essenceRead(0, 2, m_buffer.data(), unsigned(m_buffer.size()), offsets, sizes), NotImpl);
    EXPECT_NE(std::wstring(reader.getLastError()).find(L"Failed to read non video data. "), std::wstring::npos);
}

TEST_F(AviOpenDml, IbpIndexGivesFrameTypesOrdersAndGops)
{
    AviFixture::OpenDmlLayout layout;
    layout.frames = 42;
    layout.framesPerRiff = 21;
    layout.videoIndexSubType = 16;
    AviFixture::OpenDmlFile file = AviFixture::makeOpenDml(layout);
    load(file);
    EXPECT_EQ(reader.mediaType().subType, Corvidane::Avi::MEDIASUBTYPE_MPEG2_VIDEO);
    ASSERT_EQ(reader.essenceOpen(0), OK);
    EXPECT_EQ(reader.getGopLength(0), 7);
    EXPECT_TRUE(reader.get_IsTemporalCompressed(0));
    EXPECT_EQ(reader.getM(), 3);
    for (unsigned k = 0; k < 42; ++k) {
        IndexEntry entry;
        ASSERT_EQ(reader.getIndexEntry(k, entry), OK);
        EXPECT_EQ(+entry.offset, file.video[k].offset) << k;
        EXPECT_EQ(+entry.size, file.video[k].size) << k;
        EXPECT_EQ(+entry.frameType, file.video[k].frameType) << k;
        EXPECT_EQ(+entry.presentationIndex, file.video[k].display) << k;
        EXPECT_EQ(+entry.decodeIndex, file.video[k].stored) << k;
    }
    std::vector<unsigned> decode, presentation;
    std::vector<unsigned short> order;
    ASSERT_EQ(reader.getGopAndPresentationOrder(21, 0, decode, presentation, order), OK);
    EXPECT_EQ(presentation, (std::vector<unsigned>{21, 24, 22, 23, 27, 25, 26}));
    EXPECT_EQ(order, (std::vector<unsigned short>{0, 3, 1, 2, 6, 4, 5}));
    EXPECT_EQ(reader.getGopAndPresentationOrder(22, 0, decode, presentation, order), Fail);
    EXPECT_NE(std::wstring(reader.getLastError()).find(L"supplied index is not a keyframe."), std::wstring::npos);

    Corvidane::GOPInfo info;
    Corvidane::allocGOPInfo(info, 3);
    EXPECT_EQ(reader.getGopAndPresentationOrder(7, info, order, false), InsufficientBuffer);
    Corvidane::allocGOPInfo(info, 10);
    ASSERT_EQ(reader.getGopAndPresentationOrder(7, info, order, false), OK);
    EXPECT_EQ(info.count, 7u);
    EXPECT_EQ(info.presentationOrder[1], 10u);
    Corvidane::freeGOPInfo(info);

    unsigned key = 0;
    ASSERT_TRUE(reader.findKeyframe(30, false, key));
    EXPECT_EQ(key, 28u);
    ASSERT_TRUE(reader.findKeyframe(30, true, key));
    EXPECT_EQ(key, 35u);
    ASSERT_EQ(reader.getNearestKeyFrame(33, Corvidane::KeyframeNearest, key), OK);
    EXPECT_EQ(key, 35u);

    // Reordered, an entry shown elsewhere takes the offset of the frame shown at its place.
    ASSERT_TRUE(reader.set_TemporalReordering(true));
    for (unsigned k = 0; k < 42; ++k) {
        IndexEntry entry;
        ASSERT_EQ(reader.getIndexEntry(k, entry), OK);
        uint64_t expected = file.video[k].display == k ? file.video[k].offset : file.video[file.video[k].stored].offset;
        EXPECT_EQ(+entry.offset, expected) << k;
    }
}

} // namespace
