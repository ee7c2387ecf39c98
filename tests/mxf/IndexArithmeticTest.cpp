// Each frame's place and size from the partitions and index table segments
// of ffmpeg's MXF files, against ffprobe's packets.
#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "avi/AviTestSupport.h"
#include "frame/CvFileIOFactory.h"
#include "frame/Text.h"
#include "frame/Utf8.h"
#include "mxf/model/KlvBufferWalk.h"
#include "mxf/read/EssenceLocator.h"
#include "mxf/read/IndexSegmentLoading.h"
#include "mxf/read/TrackDeltaMap.h"
#include "support/DriverFixture.h"
#include "support/MxfLoadedMetadata.h"
#include "support/TempDir.h"

using namespace Corvidane::MXF;
using Corvidane::Base;

namespace {

using Bytes = std::vector<unsigned char>;

// A file opened for the index arithmetic: its partitions, found by walking
// its top-level items, and its segments.
struct IndexedFile {
    explicit IndexedFile(const std::string& path)
    {
        std::string text = readFile(path);
        bytes.assign(text.begin(), text.end());
        file = CvFileIOFactoryProvider::open(Corvidane::fromUtf8(path).c_str(), iFile::AccessRead,
                                             iFile::OpenExisting, iFile::ShareRead, 0);
        CKlvBufferWalk walk(bytes.data(), bytes.size());
        CMxfPartitionPack* last = nullptr;
        for (CKlvItem item; walk.next(item);) {
            if (CMxfPartitionPack::IsULPartitionPack(item.key)) {
                EXPECT_TRUE(partitions.addPartitionPack(item, report));
                last = partitions.last();
                continue;
            }
            if (last && isFiller(item.key) && walk.itemOffset() == last->thisPartition + 16 + last->lengthLength + last->length)
                last->fillerLength = walk.offset() - walk.itemOffset();
            last = nullptr;
        }
        locator.setFile(file.get());
        loaded = loadIndexSegments(*file, partitions, segments, report);
    }

    // The key and length of the item at a file offset.
    bool itemAt(uint64_t at, CKlvItem& item) { return klvHeaderAt(bytes.data(), bytes.size(), at, item); }

    // The element at `at` and nothing but fill up to `at + size`.
    bool slotHoldsOneElement(uint64_t at, uint64_t size)
    {
        CKlvItem item;
        if (!itemAt(at, item) || !isEssenceElementKey(item.key))
            return false;
        uint64_t end = at + 16 + item.lengthLength + item.length;
        while (end < at + size) {
            if (!itemAt(end, item) || !isFiller(item.key))
                return false;
            end += 16 + item.lengthLength + item.length;
        }
        return end == at + size;
    }

    Bytes bytes;
    Ptr<iFile> file;
    Base report;
    CMxfPartitionList partitions;
    CMxf_IndexSegmentList segments;
    CMxf_EssenceLocator locator{partitions, segments, report};
    CvResult loaded = Fail;
};

std::vector<std::string> ffprobeColumn(const std::string& path, const std::string& entry)
{
    std::string out = runCommand("ffprobe -v error -show_entries stream=" + entry + " -of csv=p=0 " + shellQuote(path));
    std::vector<std::string> column;
    // ffprobe puts a blank line after a stream with side data.
    for (size_t at = 0, end; (end = out.find('\n', at)) != std::string::npos; at = end + 1)
        if (end > at)
            column.push_back(out.substr(at, end - at));
    return column;
}

// What the packages say of the content package: each material track's
// source track number, found through its first clip.
ContentPackageTracks contentPackageTracks(const LoadedMetadata& metadata)
{
    ContentPackageTracks tracks;
    if (metadata.materialPackages.empty())
        return tracks;
    for (const CMxf_SM_Track& track : metadata.materialPackages[0].tracks) {
        std::optional<uint32_t> number;
        for (const CMxf_SM_Package& source : metadata.sourcePackages)
            for (const CMxf_SM_Track& sourceTrack : source.tracks)
                if (!track.sequence.sourceClips.empty() &&
                    source.packageUID == track.sequence.sourceClips[0].sourcePackageID &&
                    sourceTrack.trackID == track.sequence.sourceClips[0].sourceTrackID) {
                    number = sourceTrack.trackNumber;
                    tracks.sourceTrackCount = source.tracks.size();
                }
        tracks.materialTrackNumbers.push_back(number);
    }
    return tracks;
}

// The delta entry of each ffprobe stream as the reader maps it; -1 where the
// map has none. ffmpeg makes a stream of each material track but timecode
// tracks, in their order.
std::vector<int> deltaOfStreams(IndexedFile& f, const std::string& path)
{
    const LoadedMetadata metadata{MxfMetadataFile(path)};
    const ContentPackageTracks tracks = contentPackageTracks(metadata);
    uint64_t essence = 0;
    EXPECT_EQ(f.locator.essenceContainerOffset(essence), OK);
    CMxf_TrackDeltaMap map;
    std::vector<int> deltas;
    const std::vector<CMxf_SM_Track>& material = metadata.materialPackages.at(0).tracks;
    for (size_t i = 0; i < material.size(); ++i) {
        if (material[i].sequence.isTimeCode())
            continue;
        int delta = -1;
        map.mapTrackToDeltaIndex(int(i), delta, *f.file, essence, f.locator.isClipWrapped(), f.segments.first(),
                                 tracks, f.report);
        deltas.push_back(delta);
    }
    EXPECT_STREQ(f.report.getLastError(), L"No Error");
    return deltas;
}

class MxfIndexArithmetic : public DriverFixture {
protected:
    // Frame-wrapped: the n-th packet of a stream is edit unit n; its element
    // starts where the index says, is as long as ffprobe's packet, and fills
    // its slot up to the next element but for fill items. Key frames are
    // the index's.
    void expectFramesMatchFfprobe(const std::string& name, bool sizesAsStored = true)
    {
        std::string path = testMedia(name);
        IndexedFile f(path);
        ASSERT_EQ(f.loaded, OK) << Corvidane::convertString(f.report.getLastError());
        ASSERT_FALSE(f.segments.empty());
        std::vector<std::string> types = ffprobeColumn(path, "codec_type");
        std::vector<int> deltas = deltaOfStreams(f, path);
        ASSERT_EQ(deltas.size(), types.size()) << name;
        std::vector<AviTest::Packet> packets = AviTest::ffprobePackets(path);
        ASSERT_FALSE(packets.empty());
        for (size_t s = 0; s < types.size(); ++s) {
            if (types[s] != "video" && types[s] != "audio")
                continue;
            ASSERT_GE(deltas[s], 0) << name << " stream " << s;
            std::vector<AviTest::Packet> ofStream = AviTest::ofStream(packets, int(s));
            for (size_t n = 0; n < ofStream.size(); ++n) {
                uint64_t offset = 0, size = 0;
                ASSERT_EQ(f.locator.getStreamOffsetAndSize(int64_t(n), deltas[s], int64_t(ofStream.size()), &offset,
                                                           &size),
                          OK)
                    << Corvidane::convertString(f.report.getLastError());
                const uint64_t at = f.locator.indexOffsetToFileOffset(offset);
                EXPECT_EQ(at, ofStream[n].pos) << name << " stream " << s << " frame " << n;
                CKlvItem item;
                ASSERT_TRUE(f.itemAt(at, item));
                if (sizesAsStored || types[s] == "video") {
                    EXPECT_EQ(item.length, ofStream[n].size) << name << " stream " << s << " frame " << n;
                }
                EXPECT_TRUE(f.slotHoldsOneElement(at, size)) << name << " stream " << s << " frame " << n;
                if (types[s] == "video") {
                    const CMxf_IndexTable_IndexEntry* entry = f.segments.getIndexEntry(int64_t(n));
                    EXPECT_EQ(entry ? entry->isKeyFrame() : true, ofStream[n].key) << name << " frame " << n;
                }
            }
        }
    }

    // Clip-wrapped: packets lie back to back in the one essence item, each
    // whole edit units of the constant index.
    void expectClipMatchesFfprobe(const std::string& name)
    {
        std::string path = testMedia(name);
        IndexedFile f(path);
        ASSERT_EQ(f.loaded, OK) << Corvidane::convertString(f.report.getLastError());
        ASSERT_TRUE(f.segments.first() && f.segments.first()->isConstant());
        const uint64_t unit = f.segments.first()->editUnitByteCount;
        f.locator.openClipWrapped();
        uint64_t essence = 0;
        ASSERT_EQ(f.locator.essenceContainerOffset(essence), OK);
        CKlvItem item;
        ASSERT_TRUE(f.itemAt(essence, item));
        EXPECT_TRUE(isEssenceElementKey(item.key));
        EXPECT_EQ(f.locator.getEssenceHeaderSize(), 16u + item.lengthLength);

        std::vector<AviTest::Packet> packets = AviTest::ffprobePackets(path);
        ASSERT_FALSE(packets.empty());
        uint64_t bytesBefore = 0;
        for (const AviTest::Packet& packet : packets) {
            ASSERT_EQ(packet.size % unit, 0u);
            uint64_t offset = 0, size = 0;
            const int64_t position = int64_t(bytesBefore / unit);
            ASSERT_EQ(f.locator.getStreamOffsetAndSize(position, 0, INT64_MAX, &offset, &size), OK);
            EXPECT_EQ(f.locator.indexOffsetToFileOffset(offset), packet.pos) << name << " edit unit " << position;
            EXPECT_EQ(size, unit);
            bytesBefore += packet.size;
        }
        EXPECT_EQ(bytesBefore, item.length);
    }
};

TEST_F(MxfIndexArithmetic, LongGopMpeg2With24BitSoundAndTimecode)
{
    expectFramesMatchFfprobe("mxf_op1a_mpeg2_pcm24_tc.mxf");
}

TEST_F(MxfIndexArithmetic, DvWithConstantIndex) { expectFramesMatchFfprobe("mxf_op1a_dv.mxf"); }

TEST_F(MxfIndexArithmetic, DnxhdWithConstantIndex) { expectFramesMatchFfprobe("mxf_op1a_dnxhd.mxf"); }

// ffmpeg gives D-10's AES3 sound as PCM, so only where its packets are matches.
TEST_F(MxfIndexArithmetic, D10) { expectFramesMatchFfprobe("mxf_d10.mxf", false); }

TEST_F(MxfIndexArithmetic, OpAtomDnxhdAndSoundAreClipWrapped)
{
    expectClipMatchesFfprobe("mxf_opatom_dnxhd.mxf");
    expectClipMatchesFfprobe("mxf_opatom_pcm24.mxf");
}

// Essence in several body partitions, each indexed by a segment in the
// partition after it: body offsets pass through the partition that holds them.
TEST_F(MxfIndexArithmetic, ThousandFramesInSeveralBodyPartitions)
{
    std::string path = testMedia("mxf_1000_frames.mxf");
    IndexedFile f(path);
    ASSERT_EQ(f.loaded, OK);
    size_t bodies = 0;
    for (size_t i = 0; i < f.partitions.getNumPartitions(); ++i)
        bodies += f.partitions.at(i)->getType() == PartitionBody;
    EXPECT_GE(bodies, 3u);
    EXPECT_GE(f.segments.size(), 3u);
    EXPECT_EQ(f.segments.LengthUsingIndexTables(), int64_t(AviTest::ofStream(AviTest::ffprobePackets(path), 0).size()));
    expectFramesMatchFfprobe("mxf_1000_frames.mxf");
}

// Written to a pipe: the header stays open and names no footer; the footer's
// segment indexes every frame.
TEST_F(MxfIndexArithmetic, PipedFileIsIndexedByItsFooter)
{
    std::string path = testMedia("mxf_pipe.mxf");
    IndexedFile f(path);
    ASSERT_EQ(f.loaded, OK);
    EXPECT_EQ(f.partitions.header()->getStatus(), OpenIncomplete);
    EXPECT_EQ(f.partitions.getHeader_FooterPartition(), 0u);
    EXPECT_EQ(f.segments.LengthUsingIndexTables(), int64_t(AviTest::ffprobePackets(path).size()));
    expectFramesMatchFfprobe("mxf_pipe.mxf");
}

// A constant index tells the length from the essence's bytes, and the data
// rate from the edit unit's size.
TEST_F(MxfIndexArithmetic, LengthAndDataRateOfConstantIndexes)
{
    for (const char* name : {"mxf_op1a_dnxhd.mxf", "mxf_op1a_dv.mxf", "mxf_d10.mxf"}) {
        std::string path = testMedia(name);
        IndexedFile f(path);
        ASSERT_EQ(f.loaded, OK);
        std::vector<AviTest::Packet> video = AviTest::ofStream(AviTest::ffprobePackets(path), 0);
        ASSERT_GE(video.size(), 2u);
        EXPECT_EQ(f.locator.calculateLengthFromEssence(), int64_t(video.size())) << name;
        const int64_t editUnit = int64_t(video[1].pos - video[0].pos);
        EXPECT_EQ(f.locator.getDatarateFromIndexTable(25.0), editUnit * 25 * 8 / 1000) << name;
    }
    // An OP-Atom index of duration 0 tells nothing of the length.
    IndexedFile atom(testMedia("mxf_opatom_dnxhd.mxf"));
    EXPECT_EQ(atom.locator.calculateLengthFromEssence(), -1);
}

} // namespace
