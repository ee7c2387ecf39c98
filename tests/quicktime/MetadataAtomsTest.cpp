#include <gtest/gtest.h>

#include "frame/FourCC.h"
#include "quicktime/JsonValue.h"
#include "quicktime/MovieBytes.h"
#include "quicktime/QtReaderFixture.h"

using namespace movie_bytes;

namespace {

Track oneSample()
{
    Track t;
    t.sizes = {4};
    t.chunkOffsets = {mdatPayloadOffset};
    return t;
}

std::string key(const std::string& name) { return be32(uint32_t(name.size() + 8)) + "mdta" + name; }

std::string item(uint32_t index, uint32_t type, const std::string& value)
{
    return be32(uint32_t(value.size() + 24)) + be32(index) + atom("data", be32(type) + be32(0) + value);
}

std::string meta(const std::string& keys, uint32_t count, const std::string& items)
{
    return atom("meta", fullAtom("hdlr", 0, be32(0) + "mdta" + std::string(13, '\0')) +
                            fullAtom("keys", 0, be32(count) + keys) + atom("ilst", items));
}

class QuickTimeMetadataAtoms : public QtReaderFixture {};

TEST_F(QuickTimeMetadataAtoms, KeyedValuesBecomeJsonAndBinaryItems)
{
    std::string keys = key("com.android.capture.fps") + key("com.apple.quicktime.title") + key("count") +
                       key("small") + key("wide") + key("blob") + key("utf16");
    uint32_t fps;
    float value = 240.0f;
    std::memcpy(&fps, &value, 4);
    std::string items = item(1, 23, be32(fps)) + item(2, 1, "Birds") + item(3, 22, be16(500)) +
                        item(4, 21, std::string(1, char(-3))) + item(5, 21, be64(1)) + item(6, 0, "\x01\x02\x03") +
                        item(7, 2, std::string("\0H\0i\0\0\0x", 8));
    auto opened = open(file("data", moov(trak(oneSample()) + meta(keys, 7, items))));
    ASSERT_TRUE(opened.ok()) << opened.error();
    std::string text;
    std::map<LightweightString<char>, Corvidane::CByteBuffer> binary;
    ASSERT_EQ(opened.reader->get_MetadataJSON(text, binary), OK);
    JsonValue json = parseJson(text);
    ASSERT_EQ(json.kind, JsonValue::Object) << text;
    ASSERT_EQ(json.members.size(), 1u) << text;
    const JsonValue& values = json.members.begin()->second;
    EXPECT_DOUBLE_EQ(values["com.android.capture.fps"].number, 240.0);
    EXPECT_EQ(values["com.apple.quicktime.title"].text, "Birds");
    EXPECT_EQ(values["count"].integer(), 500);
    EXPECT_EQ(values["small"].integer(), -3);
    EXPECT_FALSE(values.has("wide")) << "an integer of 8 bytes has no JSON form here";
    EXPECT_EQ(values["blob"].text, "<binary>");
    EXPECT_EQ(values["utf16"].text, "Hi");
    ASSERT_EQ(binary.count("blob"), 1u);
    EXPECT_EQ(binary["blob"].used(), 3u);
}

TEST_F(QuickTimeMetadataAtoms, BadKeyIndexesFailTheMovie)
{
    std::string unknown = meta(key("a"), 1, item(2, 1, "x"));
    auto past = open(file("data", moov(trak(oneSample()) + unknown)));
    EXPECT_EQ(past.parse, Fail);
    EXPECT_NE(past.error().find(L"Failed to parse moov chunk. "), std::wstring::npos);
    auto zero = open(file("data", moov(trak(oneSample()) + meta(key("a"), 1, item(0, 1, "x")))));
    EXPECT_EQ(zero.parse, Fail) << "keys count from 1";
    std::string itemsFirst = atom("meta", atom("ilst", item(1, 1, "x")) + fullAtom("keys", 0, be32(1) + key("a")));
    auto early = open(file("data", moov(trak(oneSample()) + itemsFirst)));
    EXPECT_EQ(early.parse, Fail) << "ilst before keys finds no key";
}

std::string userItem(const std::string& type, const std::string& text, size_t padTo = 0)
{
    std::string body = be16(uint32_t(text.size())) + be16(0) + text;
    if (padTo > body.size() + 8)
        body.resize(padTo - 8, '\0');
    return atom(type, body);
}

TEST_F(QuickTimeMetadataAtoms, UserDataItemsUpTo1024BytesAreKept)
{
    std::string udta = atom("udta", userItem("\xa9" "nam", "Take one") + userItem("full", "edge", 1024) +
                                        userItem("big!", "too large", 1025) + userItem("late", "unseen"));
    auto opened = open(file("data", moov(trak(oneSample()) + udta)));
    ASSERT_TRUE(opened.ok()) << opened.error();
    std::wstring text;
    EXPECT_TRUE(opened.reader->findUserData(Corvidane::fourCC("\xa9nam"), text));
    EXPECT_EQ(text, L"Take one");
    EXPECT_TRUE(opened.reader->findUserData(Corvidane::fourCC("full"), text));
    EXPECT_EQ(text, L"edge");
    EXPECT_FALSE(opened.reader->findUserData(Corvidane::fourCC("big!"), text));
    EXPECT_FALSE(opened.reader->findUserData(Corvidane::fourCC("late"), text)) << "collecting ends at the large item";

    std::string zero = atom("udta", be32(0) + "zero" + userItem("next", "x"));
    auto stuck = open(file("data", moov(trak(oneSample()) + zero)));
    EXPECT_TRUE(stuck.ok()) << "an item of length 0 ends the walk";
}

} // namespace
