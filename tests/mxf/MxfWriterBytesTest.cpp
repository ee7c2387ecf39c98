// The bytes that the writer's layout fixes, where no peer tool tells them
// apart: partition packs, the system item, fillers, element keys and lengths,
// the clip-wrapped key of OP-Atom and the index segments.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "frame/BigEndian.h"
#include "frame/Utf8.h"
#include "mxf/model/IndexTableSegment.h"
#include "mxf/model/KlvItem.h"
#include "mxf/model/PartitionPack.h"
#include "mxf/model/Primer.h"
#include "mxf/write/FileWriter.h"
#include "support/DriverFixture.h"
#include "support/MxfWriterSources.h"
#include "support/TempDir.h"
#include "support/TestMedia.h"

using namespace Corvidane;
using namespace Corvidane::MXF;
using namespace MxfWriterTest;

namespace {

std::string hex(const std::string& bytes, size_t at, size_t count)
{
    std::string out;
    char two[4];
    for (size_t i = 0; i < count && at + i < bytes.size(); ++i) {
        std::snprintf(two, sizeof two, i ? ".%02X" : "%02X", static_cast<unsigned char>(bytes[at + i]));
        out += two;
    }
    return out;
}

// The KLV item at `at`, a view into the bytes.
CKlvItem itemAt(std::string& file, size_t at)
{
    CKlvItem item;
    unsigned char* p = reinterpret_cast<unsigned char*>(&file[at]);
    EXPECT_TRUE(item.setKLV(&p, false)) << "no item at " << at;
    return item;
}

CMxfPartitionPack packAt(std::string& file, size_t at)
{
    CMxfPartitionPack pack;
    EXPECT_TRUE(pack.SetKLV(itemAt(file, at))) << "no partition pack at " << at;
    return pack;
}

size_t itemSize(std::string& file, size_t at)
{
    const CKlvItem item = itemAt(file, at);
    return 16 + item.lengthLength + size_t(item.length);
}

class MxfWriterBytes : public DriverFixture {
protected:
    std::string write(const Source& source, int pattern, const std::string& name)
    {
        MXF::CMxf_FileWriter writer;
        const std::string path = m_dir.file(name);
        writer.setResourceFilePath(dictionaryFolder());
        EXPECT_EQ(writer.create(fromUtf8(path), source.tracks.data(), int(source.tracks.size()), pattern), OK);
        EXPECT_TRUE(writeFrames(writer, source, 0, source.video.size()));
        writer.close();
        return readFile(path);
    }

    TempDir m_dir;
};

TEST_F(MxfWriterBytes, ConstantOp1aEditUnits)
{
    Source source;
    source.tracks = {timecodeTrack(25, 1, 90000, false), videoTrack("dvsd", 720, 576, 25, 1, 1, 25000, false),
                     audioTrack(2, 16)};
    source.video = framesOf(testMedia("raw_dv_pal.dv"));
    source.audio = {readFile(testMedia("raw_pcm16_48k.s16le"))};
    std::string file = write(source, 1, "dv.mxf");

    // A closed, complete header partition whose metadata ends on the KAG;
    // the essence follows it in the header's body.
    EXPECT_EQ(hex(file, 0, 16), "06.0E.2B.34.02.05.01.01.0D.01.02.01.01.02.04.00");
    const CMxfPartitionPack header = packAt(file, 0);
    EXPECT_EQ(header.kagSize, 512u);
    EXPECT_EQ(header.bodySID, 1u);
    EXPECT_EQ(header.indexSID, 0u);
    EXPECT_EQ(hex(std::string(reinterpret_cast<const char*>(header.operationalPattern.label().bytes), 16), 0, 16),
              "06.0E.2B.34.04.01.01.01.0D.01.02.01.01.01.09.00");
    const size_t packSize = itemSize(file, 0);
    EXPECT_EQ(hex(file, packSize, 16), "06.0E.2B.34.02.05.01.01.0D.01.02.01.01.05.01.00") << "primer";
    const size_t essence = packSize + size_t(header.headerByteCount);
    EXPECT_EQ(essence % 512, 0u);

    const size_t unit = 512 + 144896 + 8192;
    for (size_t frame : {size_t(0), size_t(1), source.video.size() - 1}) {
        SCOPED_TRACE("edit unit " + std::to_string(frame));
        const size_t at = essence + frame * unit;
        // The system item: key, length 57, bitmap, rate, continuity count, the
        // DV container label, the timecode of 01:00:00:00 plus the frame.
        EXPECT_EQ(hex(file, at, 20), "06.0E.2B.34.02.05.01.01.0D.01.03.01.04.01.01.00.83.00.00.39");
        EXPECT_EQ(hex(file, at + 20, 2), "5C.04");
        EXPECT_EQ(readBE16(reinterpret_cast<unsigned char*>(&file[at + 25])), frame);
        EXPECT_EQ(hex(file, at + 27, 16), "06.0E.2B.34.04.01.01.04.0D.01.03.01.02.7F.01.00");
        EXPECT_EQ(hex(file, at + 60, 1), "81");
        EXPECT_EQ(static_cast<unsigned char>(file[at + 61]), (frame / 10) << 4 | frame % 10) << "BCD frames";
        EXPECT_EQ(hex(file, at + 62, 3), "00.00.01");
        // A filler to the KAG, then the picture at 512 and the sound in its sectors.
        EXPECT_EQ(hex(file, at + 77, 16), "06.0E.2B.34.01.01.01.01.03.01.02.10.01.00.00.00");
        EXPECT_EQ(hex(file, at + 512, 20), "06.0E.2B.34.01.02.01.01.0D.01.03.01.18.01.01.00.83.02.32.80");
        EXPECT_EQ(file.compare(at + 532, 144000, source.video[frame].bytes), 0);
        EXPECT_EQ(hex(file, at + 512 + 144896, 20), "06.0E.2B.34.01.02.01.01.0D.01.03.01.16.04.03.01.83.00.1E.00");
    }

    // The footer: its pack where the header says, and one constant segment.
    const size_t footerAt = size_t(header.footerPartition);
    EXPECT_EQ(footerAt, essence + source.video.size() * unit);
    EXPECT_EQ(hex(file, footerAt, 16), "06.0E.2B.34.02.05.01.01.0D.01.02.01.01.04.04.00");
    const CMxfPartitionPack footer = packAt(file, footerAt);
    EXPECT_EQ(footer.indexSID, 2u);
    EXPECT_EQ(footer.thisPartition, footerAt);
    // The pack fills to the KAG; the index follows.
    EXPECT_EQ(hex(file, footerAt + itemSize(file, footerAt), 16), "06.0E.2B.34.01.01.01.01.03.01.02.10.01.00.00.00");
    EXPECT_EQ(file.size(), footerAt + 512 + footer.indexByteCount);
    CMxf_IndexTable_Segment segment;
    ASSERT_TRUE(segment.read(itemAt(file, footerAt + 512)));
    EXPECT_EQ(segment.editUnitByteCount, unit);
    EXPECT_EQ(segment.indexDuration, int64_t(source.video.size()));
    ASSERT_EQ(segment.deltaEntries.size(), 3u);
    EXPECT_EQ(segment.deltaEntries[1].elementDelta, 512u);
    EXPECT_EQ(segment.deltaEntries[2].elementDelta, 512u + 144896u);
}

TEST_F(MxfWriterBytes, LongGopIndexInTheBodyPartition)
{
    Source source;
    source.tracks = {timecodeTrack(25, 1, 0, false), videoTrack("MMES", 720, 576, 25, 1, 12, 8000),
                     audioTrack(2, 16)};
    source.video = framesOf(testMedia("raw_mpeg2_gop.m2v"));
    source.audio = {readFile(testMedia("raw_pcm16_48k.s16le"))};
    std::string file = write(source, 1, "mpeg2.mxf");

    const CMxfPartitionPack header = packAt(file, 0);
    const size_t bodyAt = itemSize(file, 0) + size_t(header.headerByteCount);
    EXPECT_EQ(bodyAt % 512, 0u);
    EXPECT_EQ(hex(file, bodyAt, 16), "06.0E.2B.34.02.05.01.01.0D.01.02.01.01.03.04.00");
    const CMxfPartitionPack body = packAt(file, bodyAt);
    EXPECT_EQ(body.bodySID, 1u);
    EXPECT_EQ(body.indexSID, 2u);
    EXPECT_EQ(body.bodyOffset, 0u);
    EXPECT_EQ(body.footerPartition, header.footerPartition);
    // Pack and index reserve 65536 bytes ahead of the essence.
    EXPECT_EQ(itemSize(file, bodyAt) + body.indexByteCount, 65536u);
    CMxf_IndexTable_Segment segment;
    ASSERT_TRUE(segment.read(itemAt(file, bodyAt + itemSize(file, bodyAt))));
    ASSERT_EQ(segment.indexEntries.size(), source.video.size());
    EXPECT_EQ(segment.sliceCount, 1);
    ASSERT_EQ(segment.deltaEntries.size(), 3u);
    EXPECT_EQ(segment.deltaEntries[1].posTableIndex, -1);
    EXPECT_EQ(segment.deltaEntries[1].elementDelta, 512u);
    EXPECT_EQ(segment.deltaEntries[2].slice, 1);

    const size_t essence = bodyAt + 65536;
    uint64_t streamOffset = 0;
    for (size_t i = 0; i < source.video.size(); ++i) {
        SCOPED_TRACE("entry " + std::to_string(i));
        const CMxf_IndexTable_IndexEntry& entry = segment.indexEntries[i];
        const Frame& frame = source.video[i];
        // I 0x80, P 0x20 (forward), B 0x30 (both ways), and 0x40 with a
        // sequence header.
        const uint8_t expectedFlags = (frame.frameType & HalcIFrame)   ? 0x80
                                      : (frame.frameType & HalcBFrame) ? 0x30
                                                                       : 0x20;
        EXPECT_EQ(entry.flags, expectedFlags | ((frame.frameType & HalcSequenceHeader) ? 0x40 : 0));
        EXPECT_EQ(entry.streamOffset, streamOffset);
        // The entry at a display position leads to the entry coded for it.
        const size_t display = frame.presentation;
        EXPECT_EQ(int(segment.indexEntries[display].temporalOffset), int(i) - int(display));
        uint32_t slice = 0;
        ASSERT_TRUE(segment.sliceOffset(i, 0, slice));
        EXPECT_EQ(slice, 512u + 20u + frame.bytes.size());
        const size_t unitAt = essence + size_t(entry.streamOffset);
        EXPECT_EQ(hex(file, unitAt, 16), "06.0E.2B.34.02.05.01.01.0D.01.03.01.04.01.01.00");
        EXPECT_EQ(file.compare(unitAt + 532, frame.bytes.size(), frame.bytes), 0);
        streamOffset += 512 + 20 + frame.bytes.size() + 20 + 1920 * 4;
    }
}

TEST_F(MxfWriterBytes, OpAtomHeaderRegionAndClipWrappedKey)
{
    Source source;
    source.tracks = {timecodeTrack(25, 1, 0, false), videoTrack("AVdn", 1920, 1080, 25, 1, 1, 36000),
                     audioTrack(1, 24)};
    source.video = framesOf(testMedia("raw_dnxhd_36.dnxhd"));
    source.audio = {readFile(testMedia("raw_pcm24_mono.s24le"))};
    std::string file = write(source, 0, "clip.mxf");

    const CMxfPartitionPack header = packAt(file, 0);
    EXPECT_EQ(header.kagSize, 1u);
    EXPECT_EQ(header.indexSID, 2u);
    EXPECT_EQ(hex(std::string(reinterpret_cast<const char*>(header.operationalPattern.label().bytes), 16), 0, 16),
              "06.0E.2B.34.04.01.01.02.0D.01.02.01.10.02.00.00");
    // The constant segment in the header, behind the metadata.
    CMxf_IndexTable_Segment segment;
    ASSERT_TRUE(segment.read(itemAt(file, itemSize(file, 0) + size_t(header.headerByteCount))));
    EXPECT_EQ(segment.editUnitByteCount, 188416u);
    EXPECT_EQ(segment.indexDuration, int64_t(source.video.size()));
    // The body pack and the key end the 0x60000-byte region; the key's
    // eight-byte length holds all the essence.
    const size_t bodyAt = size_t(header.thisPartition + itemSize(file, 0) + header.headerByteCount +
                                 header.indexByteCount);
    const CMxfPartitionPack body = packAt(file, bodyAt);
    EXPECT_EQ(body.thisPartition, bodyAt);
    EXPECT_EQ(bodyAt + itemSize(file, bodyAt), 0x60000u - 24u);
    EXPECT_EQ(hex(file, 0x60000 - 24, 24), "06.0E.2B.34.01.02.01.01.0E.04.03.01.15.01.06.01.87.00.00.00.00.1C.C0.00");
    EXPECT_EQ(file.compare(0x60000, source.video[0].bytes.size(), source.video[0].bytes), 0);
    EXPECT_EQ(header.footerPartition, 0x60000u + source.video.size() * 188416u);

    // Avid's preface items under the tags and labels Avid gives them, and
    // the preface holding each (its set follows the primer).
    CMxf_SM_Primer primer;
    const size_t primerAt = itemSize(file, 0);
    ASSERT_TRUE(primer.load(itemAt(file, primerAt)));
    const struct {
        uint16_t tag;
        const char* label;
        uint16_t length;
    } avid[] = {{0xFFFF, "AE.58.78.E0.41.45.41.79.FF.DD.41.E1.AE.2C.49.C6", 16},
                {0xFFFC, "8C.70.A7.18.46.7A.E4.86.F3.65.46.B1.38.7C.4E.E9", 4},
                {0xFFFE, "8B.2F.68.0D.FF.61.13.81.AB.F1.B7.71.8E.FD.48.02", 16}};
    // The AAF meta-dictionary and dictionary come first, each with its
    // identifier at byte 25; the preface refers to the dictionary (3B04).
    const size_t metaAt = primerAt + itemSize(file, primerAt);
    EXPECT_EQ(hex(file, metaAt, 16), "06.0E.2B.34.02.53.01.01.0D.01.01.01.02.25.00.00");
    EXPECT_EQ(hex(file, metaAt + 25, 4), "3C.0A.00.10");
    const size_t dictionaryAt = metaAt + itemSize(file, metaAt);
    EXPECT_EQ(hex(file, dictionaryAt, 16), "06.0E.2B.34.02.53.01.01.0D.01.01.01.01.01.22.00");
    const std::string dictionaryUid = file.substr(dictionaryAt + 29, 16);
    const size_t prefaceAt = dictionaryAt + itemSize(file, dictionaryAt);
    EXPECT_EQ(hex(file, prefaceAt, 16), "06.0E.2B.34.02.53.01.01.0D.01.01.01.01.01.2F.00");
    const std::string preface = file.substr(prefaceAt, itemSize(file, prefaceAt));
    EXPECT_NE(preface.find(std::string("\x3B\x04\x00\x10", 4) + dictionaryUid), std::string::npos);
    EXPECT_NE(file.find("\x06\x0E\x2B\x34\x02\x53\x01\x01\x0D\x01\x01\x01\x01\x01\x1B\x00"), std::string::npos)
        << "the data definitions of the object dictionary";
    for (const auto& item : avid) {
        const MXF_TAG2UL* entry = primer.FindTag(item.tag);
        ASSERT_NE(entry, nullptr) << item.tag;
        EXPECT_EQ(entry->ul, labelFromText(item.label));
        char wire[4] = {char(item.tag >> 8), char(item.tag & 0xFF), 0, char(item.length)};
        EXPECT_NE(file.substr(prefaceAt, itemSize(file, prefaceAt)).find(std::string(wire, 4)), std::string::npos)
            << item.tag;
    }
    // No project, no project item.
    EXPECT_EQ(primer.FindTag(labelFromText("A5.FB.7B.25.F6.15.94.B9.62.FC.37.17.49.2D.42.BF")), nullptr);
    EXPECT_EQ(hex(file, size_t(header.footerPartition), 16), "06.0E.2B.34.02.05.01.01.0D.01.02.01.01.04.04.00");
}

} // namespace
