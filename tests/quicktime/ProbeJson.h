#pragma once
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "quicktime/JsonValue.h"
#include "support/TestMedia.h"

// The two probes of one file, cvtool's through the plug-in and ffprobe's, and
// the packet comparisons the movie tests share.
namespace {

inline JsonValue cvtoolProbe(const std::string& path)
{
    int status = 0;
    std::string out = runCommand(shellQuote(CVTOOL_PATH) + " probe --packets --hash md5 " + shellQuote(path), &status);
    EXPECT_EQ(status, 0) << out;
    return parseJson(out);
}

inline JsonValue ffprobe(const std::string& path)
{
    std::string out = runCommand("ffprobe -v error -show_format -show_streams -show_packets -show_data_hash MD5 "
                                 "-of json " + shellQuote(path));
    return parseJson(out);
}

inline std::vector<const JsonValue*> packetsOf(const JsonValue& probe, long long stream)
{
    std::vector<const JsonValue*> packets;
    for (const JsonValue& packet : probe["packets"].items)
        if (packet["stream_index"].integer() == stream)
            packets.push_back(&packet);
    return packets;
}

inline long long totalBytes(const std::vector<const JsonValue*>& packets)
{
    long long total = 0;
    for (const JsonValue* packet : packets)
        total += (*packet)["size"].integer();
    return total;
}

// Every video packet agrees in position, size, bytes and key flag.
inline void compareVideoPackets(const JsonValue& theirProbe, const JsonValue& ourProbe, long long stream)
{
    auto their = packetsOf(theirProbe, stream);
    auto our = packetsOf(ourProbe, stream);
    ASSERT_EQ(our.size(), their.size());
    for (size_t i = 0; i < our.size(); ++i) {
        const JsonValue& a = *their[i];
        const JsonValue& b = *our[i];
        EXPECT_EQ(b["pos"].integer(), a["pos"].integer()) << "sample " << i;
        EXPECT_EQ(b["size"].integer(), a["size"].integer()) << "sample " << i;
        EXPECT_EQ(b["data_hash"].text, a["data_hash"].text) << "sample " << i;
        EXPECT_EQ(b["flags"].text.substr(0, 1), a["flags"].text.substr(0, 1)) << "key flag of sample " << i;
    }
}

} // namespace
