#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "host/EsDescriptor.h"
#include "host/IndexInfoRep.h"
#include "host/Json.h"
#include "host/JsonValue.h"
#include "host/MovAvcToH264ByteStream.h"

// The host's pieces that the read front end leans on, built here from the
// published layouts: an elementary stream descriptor, AVC's configuration
// record and byte stream, JSON, and a GOP block's valid frames.
namespace {

using Bytes = std::vector<unsigned char>;

// An esds payload for AAC LC: `config` is the audio specific configuration.
Bytes esds(unsigned objectType, const Bytes& config)
{
    Bytes decoderConfig = {static_cast<unsigned char>(objectType), 0x15, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0};
    decoderConfig.push_back(5);
    decoderConfig.push_back(static_cast<unsigned char>(config.size()));
    decoderConfig.insert(decoderConfig.end(), config.begin(), config.end());
    Bytes es = {0, 1, 0, 4, static_cast<unsigned char>(decoderConfig.size())};
    es.insert(es.end(), decoderConfig.begin(), decoderConfig.end());
    es.insert(es.end(), {6, 1, 2});
    // The descriptor's size in the four-byte form some writers use.
    Bytes out = {0, 0, 0, 0, 3, 0x80, 0x80, 0x80, static_cast<unsigned char>(es.size())};
    out.insert(out.end(), es.begin(), es.end());
    return out;
}

TEST(EsDescriptor, AacConfigurationGivesChannelsRateAndItsPlace)
{
    // Object type 2 (LC), rate index 4 (44100), one channel.
    const Bytes bytes = esds(0x40, {0x12, 0x08});
    Mov::EsDescriptor descriptor;
    ASSERT_TRUE(descriptor.readFromEsds(bytes.data(), bytes.size()));
    EXPECT_EQ(descriptor.objectProfileIndication(), 0x40u);
    EXPECT_EQ(descriptor.channels(), 1u);
    EXPECT_EQ(descriptor.sampleRate(), 44100u);
    ASSERT_EQ(descriptor.audioSpecificConfigSize(), 2u);
    EXPECT_EQ(bytes[descriptor.audioSpecificConfigOffset()], 0x12);

    // An explicit rate, and eight channels by configuration 7.
    const Bytes explicitRate = esds(0x40, {0x17, 0x80, 0x5D, 0xC0, 0x38});
    ASSERT_TRUE(descriptor.readFromEsds(explicitRate.data(), explicitRate.size()));
    EXPECT_EQ(descriptor.sampleRate(), 48000u);
    EXPECT_EQ(descriptor.channels(), 8u);
}

TEST(EsDescriptor, EveryCutOfADescriptorIsReadSafely)
{
    const Bytes bytes = esds(0x40, {0x12, 0x08});
    for (size_t size = 0; size < bytes.size(); ++size) {
        Mov::EsDescriptor descriptor;
        if (descriptor.readFromEsds(bytes.data(), size)) {
            EXPECT_LE(descriptor.audioSpecificConfigOffset() + descriptor.audioSpecificConfigSize(), size) << size;
        }
    }
}

// An avcC record with one sequence and one picture parameter set, lengths of
// four bytes.
const Bytes avcc = {1, 0x64, 0, 0x1F, 0xFF, 0xE1, 0, 3, 0x67, 0xAA, 0xBB, 1, 0, 2, 0x68, 0xCC};

Ptr<ByteBufferImpl> sample(const Bytes& bytes)
{
    Ptr<ByteBufferImpl> buffer(new ByteBufferImpl(bytes.size() + 4));
    std::copy(bytes.begin(), bytes.end(), buffer->data() + 4);
    buffer->setReadOffset(4);
    buffer->setUsed(bytes.size() + 4);
    return buffer;
}

Bytes contentOf(const Ptr<ByteBufferImpl>& buffer) { return Bytes(buffer->content(), buffer->content() + buffer->size()); }

TEST(AvcByteStream, ParameterSetsGoBeforeEachIdrAndStartCodesBeforeEachUnit)
{
    MovAvcToH264ByteStream converter;
    ASSERT_TRUE(converter.initAvcc(avcc.data(), avcc.size()));
    EXPECT_EQ(converter.getConfigSize(), 4u + 3 + 4 + 2);

    // An IDR slice behind an SEI.
    const Bytes idr = {0, 0, 0, 2, 0x06, 0x01, 0, 0, 0, 3, 0x65, 0x88, 0x99};
    EXPECT_EQ(contentOf(converter.transform(0, sample(idr))),
              (Bytes{0, 0, 0, 1, 0x67, 0xAA, 0xBB, 0, 0, 0, 1, 0x68, 0xCC, 0, 0, 0, 1, 0x06, 0x01, 0, 0, 0, 1, 0x65,
                     0x88, 0x99}));
    // A predicted slice: start codes only.
    const Bytes predicted = {0, 0, 0, 2, 0x41, 0x9A};
    EXPECT_EQ(contentOf(converter.transform(1, sample(predicted))), (Bytes{0, 0, 0, 1, 0x41, 0x9A}));
    // A unit whose length runs past the sample leaves the sample as it is.
    const Ptr<ByteBufferImpl> torn = sample({0, 0, 0, 9, 0x41});
    EXPECT_EQ(converter.transform(2, torn), torn);
}

TEST(AvcByteStream, AConfigurationCutShortIsRefused)
{
    MovAvcToH264ByteStream converter;
    for (size_t size = 0; size < avcc.size(); ++size) {
        EXPECT_FALSE(converter.initAvcc(avcc.data(), size)) << size;
        EXPECT_EQ(converter.getConfigSize(), 0u);
    }
}

TEST(JsonParse, ValuesEscapesAndRefusals)
{
    JSON::Value value;
    std::string error;
    ASSERT_TRUE(JSON::parse(R"({"a": [1, 2.5, "x\u00e9\n"], "b": {"c": true, "d": null}})", value, error)) << error;
    EXPECT_EQ(value["a"].items.size(), 3u);
    EXPECT_DOUBLE_EQ(value["a"].items[1].number, 2.5);
    EXPECT_EQ(value["a"].items[2].text, "x\xc3\xa9\n");
    EXPECT_EQ(value["b"]["c"].kind, JSON::Value::Bool);
    EXPECT_EQ(value["b"]["d"].kind, JSON::Value::Null);

    EXPECT_FALSE(JSON::parse(R"({"a": 1, "a": 2})", value, error));
    EXPECT_NE(error.find("twice"), std::string::npos);
    EXPECT_FALSE(JSON::parse(std::string(1000, '[') + std::string(1000, ']'), value, error)) << "too deep";
    for (const char* bad : {"", "{", "[1,", "{\"a\" 1}", "\"open", "tru", "{} x"})
        EXPECT_FALSE(JSON::parse(bad, value, error)) << bad;
}

// A document written out in pieces as it grows is the document written at
// once, and parses whenever it is ended.
TEST(JsonBuilder, DrainedPiecesMakeTheWholeDocument)
{
    auto write = [](JSON::Builder& json, std::string* drained) {
        json.startArray("packets");
        for (int i = 0; i < 3; ++i) {
            json.startChild();
            json.add("pos", std::to_string(i * 100));
            json.add("pts", i);
            json.endChild();
            if (drained)
                *drained += json.drain();
        }
    };
    JSON::Builder whole(4), pieces(4);
    std::string drained;
    write(whole, nullptr);
    write(pieces, &drained);
    EXPECT_EQ(drained + pieces.output(), whole.output());
    JSON::Value value;
    std::string error;
    ASSERT_TRUE(JSON::parse(drained + pieces.output(), value, error)) << error;
    EXPECT_EQ(value["packets"].items.size(), 3u);
    EXPECT_EQ(pieces.drain() + pieces.output(), pieces.output() + "") << "nothing added, nothing more drained";
}

// An open GOP: the key frame shows third, behind two frames that need the
// GOP before.
TEST(IndexInfoRep, LeadingFramesOfAnOpenGopAreNotValid)
{
    IndexInfoRep block;
    block.decodeOrder = {10, 11, 12, 13, 14, 15};
    block.presentationOrder = {12, 10, 11, 15, 13, 14};
    block.frameOrder = {4 | 64, 8, 8, 16, 8, 8};
    block.initFrameIndexes();
    EXPECT_EQ(block.getFirstValidFrame(), 12u);
    EXPECT_EQ(block.getNumValidFrames(), 4u);
    EXPECT_FALSE(block.containsValidFrame(11));
    EXPECT_TRUE(block.containsValidFrame(15));
    EXPECT_FALSE(block.containsValidFrame(16));
    EXPECT_EQ(block.getStartGopFrameIndex(), 10u);

    IndexInfoRep gap;
    gap.decodeOrder = {0, 1, 2};
    gap.presentationOrder = {0, 2, 3};
    gap.frameOrder = {0, 0, 0};
    gap.initFrameIndexes();
    EXPECT_EQ(gap.getNumValidFrames(), 1u) << "a place not shown ends the valid run";
}

} // namespace
