#pragma once
#include <cstdint>
#include <map>
#include <regex>
#include <string>
#include <vector>

#include "support/TestMedia.h"

// Packet lists of ffprobe and of cvtool, for comparing the two on one file.
namespace AviTest {

struct Packet {
    int stream = 0;
    uint64_t pos = 0;
    uint64_t size = 0;
    std::string hash;
};

inline std::vector<Packet> ffprobePackets(const std::string& path)
{
    std::string out = runCommand("ffprobe -v quiet -show_packets -show_data_hash MD5 "
                                 "-show_entries packet=stream_index,pos,size,data_hash -of compact=p=0 " +
                                 shellQuote(path));
    std::vector<Packet> packets;
    std::regex line(R"(stream_index=(\d+)\|size=(\d+)\|pos=(\d+)\|data_hash=(\S+))");
    for (std::sregex_iterator it(out.begin(), out.end(), line), end; it != end; ++it)
        packets.push_back({std::stoi((*it)[1]), std::stoull((*it)[3]), std::stoull((*it)[2]), (*it)[4]});
    return packets;
}

// cvtool's packets; its exit status and error text go to `status` and `output`.
inline std::vector<Packet> cvtoolPackets(const std::string& path, int* status = nullptr,
                                         std::string* output = nullptr)
{
    std::string out = runCommand(shellQuote(CVTOOL_PATH) + " probe --packets --hash md5 " + shellQuote(path) + " 2>&1",
                                 status);
    if (output)
        *output = out;
    std::vector<Packet> packets;
    std::regex packet(
        R"x("stream_index": (\d+),\s*"pos": (\d+),\s*"size": (\d+),\s*"flags": "[^"]*",\s*"data_hash": "([^"]+)")x");
    for (std::sregex_iterator it(out.begin(), out.end(), packet), end; it != end; ++it)
        packets.push_back({std::stoi((*it)[1]), std::stoull((*it)[2]), std::stoull((*it)[3]), (*it)[4]});
    return packets;
}

inline std::vector<Packet> ofStream(const std::vector<Packet>& packets, int stream)
{
    std::vector<Packet> out;
    for (const Packet& packet : packets)
        if (packet.stream == stream)
            out.push_back(packet);
    return out;
}

inline uint64_t totalBytes(const std::vector<Packet>& packets)
{
    uint64_t total = 0;
    for (const Packet& packet : packets)
        total += packet.size;
    return total;
}

// One "key=value|key=value" line per stream of ffprobe's stream list.
inline std::vector<std::map<std::string, std::string>> ffprobeStreams(const std::string& path)
{
    std::string out = runCommand("ffprobe -v quiet -show_streams -of compact=p=0 " + shellQuote(path));
    std::vector<std::map<std::string, std::string>> streams;
    std::regex field(R"(([^|=\n]+)=([^|\n]*))");
    size_t start = 0;
    while (start < out.size()) {
        size_t end = out.find('\n', start);
        if (end == std::string::npos)
            end = out.size();
        std::string text = out.substr(start, end - start);
        std::map<std::string, std::string> fields;
        for (std::sregex_iterator it(text.begin(), text.end(), field), stop; it != stop; ++it)
            fields[(*it)[1]] = (*it)[2];
        if (!fields.empty())
            streams.push_back(fields);
        start = end + 1;
    }
    return streams;
}

} // namespace AviTest
