#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "mxf/model/KlvItem.h"
#include "mxf/model/KlvLocalSet.h"
#include "mxf/model/Labels.h"
#include "mxf/model/MxfText.h"
#include "mxf/model/Umid.h"
#include "mxf/model/MxfBase.h"
#include "mxf/model/RawData.h"
#include "frame/CvFileIOFactory.h"
#include "frame/Utf8.h"
#include "support/DriverFixture.h"
#include "support/TempDir.h"

using namespace Corvidane::MXF;

namespace {

using Bytes = std::vector<unsigned char>;

Bytes labelBytes(const char* dotted)
{
    MXFUL ul = labelFromText(dotted);
    return Bytes(ul.bytes, ul.bytes + 16);
}

Bytes operator+(Bytes a, const Bytes& b)
{
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

const char* primerKey = "06.0E.2B.34.02.05.01.01.0D.01.02.01.01.05.01.00";

TEST(MxfKlv, BerLengthsAreReadInEveryFormAndBadOnesRefused)
{
    struct Case {
        Bytes ber;
        bool ok;
        uint64_t length;
        int lengthLength;
    } cases[] = {
        {{0x05}, true, 5, 1},
        {{0x7F}, true, 127, 1},
        {{0x81, 0x05}, true, 5, 2},
        // The count is taken from the low six bits.
        {{0xC1, 0x05}, true, 5, 2},
        {{0x83, 0x01, 0x00, 0x00}, true, 0x10000, 4},
        {{0x88, 1, 2, 3, 4, 5, 6, 7, 8}, true, 0x0102030405060708ull, 9},
        {{0x80}, false, 0, 0},
        {{0x89, 0, 0, 0, 0, 0, 0, 0, 0, 1}, false, 0, 0},
    };
    for (const Case& c : cases) {
        CKlvItem item;
        Bytes ber = c.ber;
        int out = -7;
        ASSERT_EQ(item.SetLength(ber.data(), &out), c.ok) << int(ber[0]);
        if (c.ok) {
            EXPECT_EQ(item.length, c.length);
            EXPECT_EQ(out, c.lengthLength);
            EXPECT_EQ(item.getLengthLength(), c.lengthLength);
        } else {
            EXPECT_EQ(out, -7);
        }
    }
    CKlvItem item;
    EXPECT_FALSE(item.SetLength(nullptr, nullptr));
}

TEST(MxfKlv, KeysAreCheckedInStrictModeAndClassified)
{
    CKlvItem item;
    Bytes notSmpte = labelBytes("06.0E.2B.35.02.05.01.01.0D.01.02.01.01.05.01.00");
    EXPECT_FALSE(item.SetKey(notSmpte.data()));
    EXPECT_EQ(item.itemKind, -1);
    EXPECT_TRUE(item.setKey(notSmpte.data(), false));
    EXPECT_EQ(item.itemKind, 11);

    struct Kind {
        unsigned char category, group;
        int kind;
        bool universal;
    } kinds[] = {{1, 1, 2, false},  {1, 4, 5, false},  {1, 9, 1, false},  {2, 0x01, 7, true},
                 {2, 0x42, 8, false}, {2, 0x53, 9, false}, {2, 0x7B, 9, false}, {2, 0x64, 10, false},
                 {2, 0x05, 11, false}, {2, 0x06, 6, false}, {3, 2, 14, false}, {3, 7, 12, false},
                 {4, 1, 16, false},  {4, 2, 15, false},  {5, 1, -1, false}};
    for (const Kind& k : kinds) {
        Bytes key = labelBytes(primerKey);
        key[4] = k.category, key[5] = k.group;
        ASSERT_TRUE(item.SetKey(key.data()));
        EXPECT_EQ(item.itemKind, k.kind) << int(k.category) << "/" << int(k.group);
        EXPECT_EQ(item.isUniversalSet, k.universal);
    }
}

TEST(MxfKlv, ItemsParseAsViewsAndAFailedLengthLeavesThePointer)
{
    Bytes file = labelBytes(primerKey) + Bytes{0x83, 0, 0, 3, 'a', 'b', 'c'} + labelBytes(primerKey) + Bytes{0x80};
    unsigned char* p = file.data();
    CKlvItem item;
    ASSERT_TRUE(item.SetKLV(&p));
    EXPECT_EQ(p, file.data() + 16 + 4 + 3);
    EXPECT_EQ(item.length, 3u);
    EXPECT_EQ(item.value, file.data() + 20);
    EXPECT_FALSE(item.ownsValue);
    EXPECT_EQ(item.getStart(), file.data());

    unsigned char* second = p;
    CKlvItem bad;
    EXPECT_FALSE(bad.SetKLV(&p));
    EXPECT_EQ(p, second);
    // The key stays set when the length fails.
    EXPECT_EQ(bad.key, labelFromText(primerKey));

    // A copy owns its value and outlives the buffer.
    CKlvItem copy(item);
    EXPECT_TRUE(copy.ownsValue);
    EXPECT_NE(copy.value, item.value);
    file.assign(file.size(), 0);
    EXPECT_EQ(std::string(reinterpret_cast<char*>(copy.value), 3), "abc");
    copy.Reset();
    EXPECT_EQ(copy.value, nullptr);
    EXPECT_EQ(copy.itemKind, -1);

    CKlvItem huge;
    huge.length = 0x100000000ull;
    unsigned char byte = 0;
    EXPECT_FALSE(huge.SetValue(&byte, true));
    EXPECT_EQ(huge.value, nullptr);
}

TEST(MxfKlv, ItemsAreWrittenWithBerFieldsOfAtLeastFourBytes)
{
    Bytes value(10, 0x5A);
    CKlvItem item;
    item.key = labelFromText(primerKey);
    item.length = value.size();
    EXPECT_EQ(item.ToStream(nullptr, 0), -1);
    item.SetValue(value.data(), false);
    EXPECT_EQ(item.ToStream(nullptr, 0), 30);
    Bytes out(30);
    EXPECT_EQ(item.ToStream(out.data(), 29), -2);
    ASSERT_EQ(item.ToStream(out.data(), int(out.size())), 30);
    EXPECT_EQ(Bytes(out.begin() + 16, out.begin() + 20), (Bytes{0x83, 0x00, 0x00, 0x0A}));
    EXPECT_EQ(Bytes(out.begin() + 20, out.end()), value);

    unsigned char ber[9];
    EXPECT_EQ(CKlvItem::LengthToBERLength(0xFFFFFF, ber, 9), 4);
    EXPECT_EQ(CKlvItem::LengthToBERLength(0x1000000, ber, 9), 5);
    EXPECT_EQ(Bytes(ber, ber + 5), (Bytes{0x84, 0x01, 0x00, 0x00, 0x00}));
    EXPECT_EQ(CKlvItem::LengthToBERLength(1ull << 56, ber, 9), 9);
    EXPECT_EQ(CKlvItem::LengthToBERLength(5, 1, ber, 9), 1);
    EXPECT_EQ(ber[0], 0x80);
    EXPECT_EQ(CKlvItem::LengthToBERLength(5, 4, ber, 3), 0);
    EXPECT_EQ(CKlvItem::LengthToBERLength(5, 4, nullptr, 0), 4);

    unsigned char head[32];
    EXPECT_EQ(CKlvItem::create(item.key, 0, 0x12345678, nullptr, 0), 21);
    EXPECT_EQ(CKlvItem::create(item.key, 8, 100, head, 32), 24);
    EXPECT_EQ(head[16], 0x87);
    EXPECT_EQ(CKlvItem::create(item.key, 4, 0x123456789ull, head, 32), 0);
}

TEST(MxfKlv, LocalSetsAreBuiltAndWalked)
{
    // A set with 2-byte tags and 2-byte lengths (byte 5 = 0x53).
    MXFUL key = labelFromText("06.0E.2B.34.02.53.01.01.0D.01.01.01.01.01.2F.00");
    unsigned char buffer[256] = {};
    CKlvLocalSet builder;
    ASSERT_EQ(builder.create(key, buffer, sizeof buffer), 20);
    // Tags come in wire order, as the caller's short holds them.
    uint16_t nameTag, rateTag, emptyTag;
    std::memcpy(&nameTag, "\x44\x02", 2);
    std::memcpy(&rateTag, "\x48\x01", 2);
    std::memcpy(&emptyTag, "\x3C\x0A", 2);
    EXPECT_EQ(builder.append(nameTag, std::wstring(L"AB")), 4 + 6);
    EXPECT_EQ(builder.append(rateTag, MXFRATIONAL{25, 1}), 4 + 8);
    EXPECT_EQ(builder.Append(emptyTag, nullptr, 0), 4);
    EXPECT_EQ(builder.getWritten(), 20u + 10 + 12 + 4);
    EXPECT_EQ(Bytes(buffer + 24, buffer + 30), (Bytes{0x00, 0x41, 0x00, 0x42, 0x00, 0x00}));
    // The pack's BER length follows the items.
    EXPECT_EQ(Bytes(buffer + 16, buffer + 20), (Bytes{0x83, 0x00, 0x00, 26}));

    unsigned char* p = buffer;
    CKlvItem item;
    ASSERT_TRUE(item.SetKLV(&p));
    CKlvLocalSet walk(item);
    EXPECT_EQ(walk.getTag(), 0x4402u);
    EXPECT_EQ(StringFromUTF16(walk.getItemData(), walk.getItemLength()), L"AB");
    ASSERT_EQ(walk.moveNext(), OK);
    EXPECT_EQ(walk.getTag(), 0x4801u);
    MXFRATIONAL rate = readRational(walk.getItemData());
    EXPECT_EQ(rate.numerator, 25);
    EXPECT_EQ(rate.denominator, 1);
    // The empty last item ends the walk before it is delivered.
    EXPECT_EQ(walk.moveNext(), HandleEOF);

    // Sets of BER lengths can't be walked; a set key that names no widths builds nothing.
    key[5] = 0x13;
    CKlvItem berSet = item;
    berSet.key = key;
    CKlvLocalSet none(berSet);
    EXPECT_EQ(none.moveNext(true), HandleEOF);
    key[5] = 0x0B;
    EXPECT_EQ(CKlvLocalSet().create(key, buffer, sizeof buffer), -2);
    key[4] = 1;
    EXPECT_EQ(CKlvLocalSet().create(key, buffer, sizeof buffer), -1);
}

TEST(MxfKlv, LocalSetWalkStopsAtTheEndOfAShortOrLyingSet)
{
    MXFUL key = labelFromText("06.0E.2B.34.02.53.01.01.0D.01.01.01.01.01.2F.00");
    // An item claiming 0xFFFF bytes in a set of 10, then truncated heads.
    for (Bytes value : {Bytes{0x44, 0x02, 0xFF, 0xFF, 1, 2, 3, 4, 5, 6}, Bytes{0x44}, Bytes{0x44, 0x02, 0x00}}) {
        CKlvItem item;
        item.key = key;
        item.length = value.size();
        item.SetValue(value.data(), false);
        CKlvLocalSet walk(item);
        int steps = 0;
        for (CvResult r = OK; r == OK && steps < 5; ++steps)
            r = walk.moveNext();
        EXPECT_LT(steps, 5);
        EXPECT_LE(walk.getRemaining(), value.size());
    }
}

TEST(MxfKlv, LabelsAreNamedAndClassified)
{
    std::string name;
    MXFUL filler = labelFromText("06.0E.2B.34.01.01.01.02.03.01.02.10.01.00.00.00");
    EXPECT_TRUE(getULDescription(filler, name));
    EXPECT_EQ(name, "MXFUL_FILLER");
    // Byte 7, the register version, doesn't matter to the names.
    filler[7] = 0x09;
    EXPECT_TRUE(getULDescription(filler, name));
    filler[8] = 0x04;
    EXPECT_FALSE(getULDescription(filler, name));
    EXPECT_TRUE(getULDescription(labelFromText("06.0E.2B.34.02.53.01.01.0D.01.02.01.01.10.01.00"), name));
    EXPECT_EQ(name, "UL_INDEX_TABLE_SEGMENT");

    EXPECT_TRUE(isPicture(labelFromText("06.0E.2B.34.04.01.01.01.01.03.02.02.01.00.00.00")));
    EXPECT_TRUE(isSound(labelFromText("06.0E.2B.34.04.01.01.01.01.03.02.02.02.00.00.00")));
    EXPECT_FALSE(isSound(labelFromText("06.0E.2B.34.04.01.01.05.01.03.02.02.02.00.00.00")));
    for (int b12 = 1; b12 <= 3; ++b12) {
        MXFUL tc = labelFromText("06.0E.2B.34.04.01.01.01.01.03.02.01.01.00.00.00");
        tc[12] = static_cast<unsigned char>(b12);
        EXPECT_TRUE(isTimeCode(tc));
    }
    EXPECT_TRUE(isTimeCode(labelFromText("80.7F.00.60.08.14.3E.6F.7F.27.5E.81.77.E5.11.D2")));
    EXPECT_TRUE(isAAFSound(labelFromText("80.7D.00.60.08.14.3E.6F.78.E1.EB.E1.6C.EF.11.D2")));
    EXPECT_TRUE(isKeyTypeDefinition(labelFromText("06.0E.2B.34.02.53.01.01.0D.01.01.01.02.02.00.00")));
    EXPECT_FALSE(isKeyTypeDefinition(labelFromText("06.0E.2B.34.02.53.01.01.0D.01.01.01.01.01.2F.00")));
}

TEST(MxfKlv, TextsGuidsAndUmidsConvert)
{
    const unsigned char abcd[] = {'a', 'b', 'c', 'd'};
    EXPECT_EQ(StringFromUTF8String(abcd, 4), L"ab");
    EXPECT_EQ(StringFromUTF8String(abcd, 3), L"ab");
    EXPECT_EQ(StringFromUTF8String(nullptr, 3), L"");
    const unsigned char bad[] = {'a', 0xC3};
    EXPECT_ANY_THROW(StringFromUTF8String(bad, 2));

    const unsigned char wire[16] = {0x01, 0x02, 0x03, 0x04, 0x05, 0x06, 0x07, 0x08,
                                    0x09, 0x0A, 0x0B, 0x0C, 0x0D, 0x0E, 0x0F, 0x10};
    Corvidane::GUID guid = readGUID(wire);
    EXPECT_EQ(guid.Data1, 0x01020304u);
    EXPECT_EQ(guid.Data2, 0x0506);
    // The record's bytes in memory order: reversed parts on this little-endian machine.
    EXPECT_EQ(StringFromUuid(&guid), "04030201-0605-0807-090a-0b0c0d0e0f10");

    UMID a, b;
    CUmid::Create(&a, 0x0D);
    CUmid::Create(&b, 0x0D);
    EXPECT_NE(a, b);
    EXPECT_EQ(Bytes(a.bytes, a.bytes + 16),
              (Bytes{0x06, 0x0A, 0x2B, 0x34, 0x01, 0x01, 0x01, 0x05, 0x01, 0x01, 0x0D, 0x02, 0x13, 0, 0, 0}));
    std::string text = UMIDToString(&a);
    EXPECT_EQ(text.size(), 32u * 3 - 1);
    EXPECT_EQ(text.substr(0, 12), "06.0a.2b.34.");
}

} // namespace

namespace {

class MxfFiles : public DriverFixture {
protected:
    TempDir m_dir;
};

// Read buffers come in whole granules and fail with PartialCopy on a short
// read, the code the reader's retries look for; an item's value alone goes to
// a file.
TEST_F(MxfFiles, RawReadsAndValuesToFiles)
{
    std::string path = m_dir.file("value.bin");
    CKlvItem item;
    std::string text = "essence bytes";
    item.length = text.size();
    item.SetValue(reinterpret_cast<unsigned char*>(text.data()), false);
    ASSERT_TRUE(CMxf_BaseClass::klvToFile(Corvidane::fromUtf8(path), item));
    EXPECT_EQ(readFile(path), text);

    Ptr<iFile> file = CvFileIOFactoryProvider::open(Corvidane::fromUtf8(path).c_str(), iFile::AccessRead,
                                                    iFile::OpenExisting, iFile::ShareRead, 0);
    ASSERT_TRUE(file);
    CRawData raw;
    ASSERT_EQ(raw.AllocateFromFile(*file, 8, 5), OK);
    EXPECT_EQ(raw.size, 4096u);
    EXPECT_EQ(std::string(reinterpret_cast<char*>(raw.data), 5), "bytes");
    EXPECT_EQ(raw.AllocateFromFile(*file, 7, 100), PartialCopy);
    EXPECT_EQ(raw.data, nullptr);
    EXPECT_FALSE(raw.Allocate(0));

    std::unique_ptr<wchar_t[]> message(CMxf_BaseClass::GetErrorText(0x80048001));
    EXPECT_EQ(std::wstring(message.get()), L"Error Code 0x80048001");
}

} // namespace
