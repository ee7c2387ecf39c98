#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "frame/BigEndian.h"
#include "mxf/model/PartitionPack.h"
#include "mxf/model/Primer.h"
#include "mxf/model/RipPack.h"
#include "support/TempDir.h"
#include "support/TestMedia.h"

using namespace Corvidane::MXF;
using Corvidane::readBE32;

namespace {

using Bytes = std::vector<unsigned char>;

// Parses the item at `at`, within the buffer's bounds.
bool itemAt(Bytes& file, size_t at, CKlvItem& item)
{
    if (at + 17 > file.size())
        return false;
    unsigned char* p = file.data() + at;
    return item.SetKLV(&p) && item.length <= file.size() - (at + 16 + item.lengthLength);
}

// The packs of an ffmpeg OP1a file: partitions found through the random
// index pack at the end agree with what each pack says of itself and of the
// others, and the primer maps the tags of the sets that follow it.
TEST(MxfPartitions, PacksOfAnFfmpegFileAgreeWithEachOther)
{
    std::string text = readFile(testMedia("mpeg2_pcm16_growing.mxf"));
    Bytes file(text.begin(), text.end());
    ASSERT_GT(file.size(), 1000u);

    // The random index pack's last four bytes give its length.
    uint32_t ripLength = readBE32(file.data() + file.size() - 4);
    ASSERT_LT(ripLength, file.size());
    unsigned char* p = file.data() + file.size() - ripLength;
    CRipPack rip;
    ASSERT_TRUE(rip.SetKLV(&p));
    EXPECT_EQ(rip.totalLength, ripLength);
    ASSERT_GE(rip.entries.size(), 2u);
    EXPECT_EQ(rip.entries.front().byteOffset, 0u);

    std::vector<CMxfPartitionPack> packs;
    for (const CRipPack::Entry& entry : rip.entries) {
        CKlvItem item;
        ASSERT_TRUE(itemAt(file, entry.byteOffset, item));
        CMxfPartitionPack pack;
        ASSERT_TRUE(pack.SetKLV(item));
        EXPECT_EQ(pack.value, nullptr);
        EXPECT_EQ(pack.thisPartition, entry.byteOffset);
        EXPECT_EQ(pack.bodySID, entry.bodySID);
        packs.push_back(pack);
    }
    const CMxfPartitionPack& header = packs.front();
    const CMxfPartitionPack& footer = packs.back();
    EXPECT_EQ(header.getType(), PartitionHeader);
    EXPECT_EQ(footer.getType(), PartitionFooter);
    EXPECT_STREQ(partitionKindtoString(footer.getType()), "Footer");
    EXPECT_EQ(header.footerPartition, footer.thisPartition);
    EXPECT_EQ(header.majorVersion, 1);
    EXPECT_TRUE(header.operationalPattern.isOp1a());
    EXPECT_FALSE(header.operationalPattern.isOpAtom());
    EXPECT_GE(header.essenceContainers.size(), 1u);
    EXPECT_GT(header.headerByteCount, 0u);
    for (size_t i = 1; i < packs.size(); ++i)
        EXPECT_EQ(packs[i].previousPartition, packs[i - 1].thisPartition);

    // After the header pack (and its filler, if any) comes the primer.
    CKlvItem item;
    size_t at = header.length + header.lengthLength + 16;
    ASSERT_TRUE(itemAt(file, at, item));
    std::string name;
    if (getULDescription(item.key, name) && name == "MXFUL_FILLER") {
        at += 16 + item.lengthLength + item.length;
        ASSERT_TRUE(itemAt(file, at, item));
    }
    ASSERT_TRUE(getULDescription(item.key, name));
    EXPECT_EQ(name, "MXFUL_PRIMER");
    CMxf_SM_Primer primer;
    ASSERT_TRUE(primer.load(item));
    EXPECT_EQ(primer.getCount(), 1 + readBE32(item.value));
    // The instance UID tag 3C0A is in every primer.
    const MXF_TAG2UL* uid = primer.FindTag(0x3C0A);
    ASSERT_NE(uid, nullptr);
    EXPECT_EQ(uid->ul, labelFromText("06.0E.2B.34.01.01.01.01.01.01.15.02.00.00.00.00"));
    const unsigned char wire[] = {0x3C, 0x0A};
    EXPECT_EQ(primer.FindTag(wire), uid);
}

TEST(MxfPartitions, PacksAreWrittenAndReadBack)
{
    CMxfOperationalPattern pattern;
    pattern.setOPAtom();
    EXPECT_TRUE(pattern.isOpAtom());
    EXPECT_TRUE(CMxfOperationalPattern::isOpAtom(pattern.label().bytes));
    MXFUL container = labelFromText("06.0E.2B.34.04.01.01.02.0D.01.03.01.02.06.01.00");

    for (uint32_t count : {0u, 2u}) {
        SCOPED_TRACE(count);
        CMxfPartitionPack pack;
        MXFUL containers[2] = {container, container};
        pack.Create(PartitionFooter, ClosedComplete, 512, 1, 2, pattern, containers, count);
        pack.thisPartition = 0x123456789ull;
        pack.headerByteCount = 4096;
        Bytes out(200);
        int64_t size = pack.ToStream(out.data(), int(out.size()));
        // No containers: 80 bytes of value, the batch head left out.
        ASSERT_EQ(size, 16 + 4 + (count ? 88 + 16 * count : 80));
        unsigned char* p = out.data();
        CKlvItem item;
        ASSERT_TRUE(item.SetKLV(&p));
        CMxfPartitionPack back;
        ASSERT_TRUE(back.SetKLV(item));
        EXPECT_EQ(back.getType(), PartitionFooter);
        EXPECT_EQ(back.getStatus(), ClosedComplete);
        EXPECT_STREQ(partitionStatustoString(back.getStatus()), "Closed_Complete");
        EXPECT_EQ(back.minorVersion, 2);
        EXPECT_EQ(back.kagSize, 512u);
        EXPECT_EQ(back.thisPartition, 0x123456789ull);
        EXPECT_EQ(back.bodySID, 1u);
        EXPECT_EQ(back.indexSID, 2u);
        EXPECT_TRUE(back.operationalPattern.isOpAtom());
        EXPECT_EQ(back.essenceContainers.size(), count);
        if (count) {
            EXPECT_EQ(back.essenceContainers[1], container);
        }
        EXPECT_EQ(back.get_TotalLengthOfAllItems(), uint64_t(size) + 4096);
    }

    // Byte 14 out of range: no partition pack.
    MXFUL key = labelFromText("06.0E.2B.34.02.05.01.01.0D.01.02.01.01.02.04.00");
    EXPECT_TRUE(CMxfPartitionPack::IsULPartitionPack(key));
    key[14] = 5;
    EXPECT_FALSE(CMxfPartitionPack::IsULPartitionPack(key));
    key[14] = 4;
    key[13] = 5;
    EXPECT_FALSE(CMxfPartitionPack::IsULPartitionPack(key));
}

TEST(MxfPartitions, ShortAndLyingValuesKeepWhatTheyHold)
{
    MXFUL key = labelFromText("06.0E.2B.34.02.05.01.01.0D.01.02.01.01.02.04.00");
    Bytes value(200, 0);
    Corvidane::writeBE16(value.data(), 1);
    Corvidane::writeBE32(value.data() + 4, 0x200);
    Corvidane::writeBE64(value.data() + 24, 0x4000);
    // A batch claiming four billion containers of 1,000 bytes in a value of 200.
    Corvidane::writeBE32(value.data() + 80, 0xFFFFFFFF);
    Corvidane::writeBE32(value.data() + 84, 1000);
    for (uint64_t length : {200, 88, 30, 0}) {
        SCOPED_TRACE(length);
        CKlvItem item;
        item.key = key;
        item.length = length;
        item.SetValue(value.data(), false);
        CMxfPartitionPack pack;
        ASSERT_TRUE(pack.SetKLV(item));
        EXPECT_EQ(pack.majorVersion, length >= 2 ? 1 : 0);
        EXPECT_EQ(pack.kagSize, length >= 8 ? 0x200u : 0u);
        EXPECT_EQ(pack.footerPartition, length >= 32 ? 0x4000u : 0u);
        EXPECT_LE(pack.essenceContainers.size() * 16, length);
    }
}

TEST(MxfPartitions, PrimerAndRandomIndexEdgeCases)
{
    MXFUL primerKey = labelFromText("06.0E.2B.34.02.05.01.01.0D.01.02.01.01.05.01.00");
    Bytes value = {0, 0, 0, 0, 0, 0, 0, 18};
    CKlvItem item;
    item.key = primerKey;
    item.length = value.size();
    item.SetValue(value.data(), false);
    CMxf_SM_Primer primer;
    EXPECT_FALSE(primer.load(item));
    // The preset row is there all the same, its tag byte-swapped.
    EXPECT_EQ(primer.getCount(), 1u);
    EXPECT_NE(primer.FindTag(uint16_t(0x0248)), nullptr);
    EXPECT_EQ(primer.FindTag(uint16_t(0x4802)), nullptr);

    // A count larger than the records held: only whole records are taken.
    value = {0, 0, 0, 5, 0, 0, 0, 18, 0x3C, 0x0A};
    MXFUL uid = labelFromText("06.0E.2B.34.01.01.01.01.01.01.15.02.00.00.00.00");
    value.insert(value.end(), uid.bytes, uid.bytes + 16);
    item.length = value.size();
    item.SetValue(value.data(), false);
    primer.clear();
    EXPECT_TRUE(primer.load(item));
    EXPECT_EQ(primer.getCount(), 2u);
    // Labels compare exactly: another register version is another label.
    MXFUL other = uid;
    other[7] = 2;
    EXPECT_EQ(primer.FindTag(other), nullptr);
    EXPECT_NE(primer.FindTag(uid), nullptr);
    EXPECT_TRUE(primer.erase(uid));
    EXPECT_FALSE(primer.erase(uid));

    primer.clear();
    primer.loadPresetsB();
    primer.loadPresetsAaf();
    EXPECT_EQ(primer.getCount(), 38u);
    EXPECT_EQ(primer.getAt(1)->tag, 0x0800);
    EXPECT_EQ(primer.getAt(37)->tag, 0x011B);
    EXPECT_EQ(primer.addList({MXF_TAG2UL{0x0800, uid}, MXF_TAG2UL{0x7777, uid}}), 1u);

    // A random index pack whose length cuts a record short.
    Bytes rip = {0x06, 0x0E, 0x2B, 0x34, 0x02, 0x05, 0x01, 0x01, 0x0D, 0x01, 0x02, 0x01, 0x01, 0x11, 0x01, 0x00,
                 0x83, 0x00, 0x00, 28};
    Bytes records = {0, 0, 0, 1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0x10, 0, 0, 0, 0, 48};
    rip.insert(rip.end(), records.begin(), records.end());
    unsigned char* p = rip.data();
    CRipPack pack;
    ASSERT_TRUE(pack.SetKLV(&p));
    EXPECT_EQ(pack.count, 2);
    EXPECT_EQ(pack.entries[1].byteOffset, 0x1000u);
    EXPECT_EQ(pack.totalLength, 48u);
    rip[19] = 3;
    p = rip.data();
    EXPECT_FALSE(pack.SetKLV(&p));
    EXPECT_TRUE(pack.entries.empty());
}

} // namespace
