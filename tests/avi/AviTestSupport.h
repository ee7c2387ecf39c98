#pragma once
#include <cstdint>
#include <map>
#include <algorithm>
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
    bool key = false;
};

// The "key=value|key=value" lines of ffprobe's compact output.
inline std::vector<std::map<std::string, std::string>> compactLines(const std::string& out)
{
    std::vector<std::map<std::string, std::string>> lines;
    size_t start = 0;
    while (start < out.size()) {
        size_t end = out.find('\n', start);
        if (end == std::string::npos)
            end = out.size();
        std::map<std::string, std::string> fields;
        size_t field = start;
        while (field < end) {
            size_t bar = std::min(out.find('|', field), end);
            size_t equals = out.find('=', field);
            if (equals < bar)
                fields[out.substr(field, equals - field)] = out.substr(equals + 1, bar - equals - 1);
            field = bar + 1;
        }
        if (!fields.empty())
            lines.push_back(fields);
        start = end + 1;
    }
    return lines;
}

inline std::vector<Packet> ffprobePackets(const std::string& path)
{
    std::string out = runCommand("ffprobe -v quiet -show_packets -show_data_hash MD5 "
                                 "-show_entries packet=stream_index,pos,size,flags,data_hash -of compact=p=0 " +
                                 shellQuote(path));
    std::vector<Packet> packets;
    for (auto& fields : compactLines(out))
        packets.push_back({std::stoi(fields["stream_index"]), std::stoull(fields["pos"]), std::stoull(fields["size"]),
                           fields["data_hash"], fields["flags"].compare(0, 1, "K") == 0});
    return packets;
}

// The text behind `"key": ` from `at` on, to the next comma, quote or line end.
inline std::string jsonValue(const std::string& text, const std::string& key, size_t& at)
{
    at = text.find("\"" + key + "\": ", at);
    if (at == std::string::npos)
        return {};
    at += key.size() + 4;
    if (text[at] == '"')
        ++at;
    size_t end = text.find_first_of(",\"\n", at);
    return text.substr(at, end - at);
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
    size_t at = out.find("\"packets\"");
    while (at != std::string::npos) {
        Packet packet;
        std::string stream = jsonValue(out, "stream_index", at);
        if (at == std::string::npos)
            break;
        packet.stream = std::stoi(stream);
        packet.pos = std::stoull(jsonValue(out, "pos", at));
        packet.size = std::stoull(jsonValue(out, "size", at));
        packet.key = jsonValue(out, "flags", at).compare(0, 1, "K") == 0;
        packet.hash = jsonValue(out, "data_hash", at);
        packets.push_back(packet);
    }
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

// The packets less the repeated frames of a capture (an empty index entry,
// which reads as the frame before it): ffprobe lists each chunk once.
inline std::vector<Packet> withoutRepeats(const std::vector<Packet>& packets)
{
    std::vector<Packet> out;
    for (const Packet& packet : packets) {
        bool repeat = packet.size == 0 || (!out.empty() && out.back().pos == packet.pos && out.back().size == packet.size);
        if (!repeat)
            out.push_back(packet);
    }
    return out;
}

inline uint64_t totalBytes(const std::vector<Packet>& packets)
{
    uint64_t total = 0;
    for (const Packet& packet : packets)
        total += packet.size;
    return total;
}

// ffprobe's streams, one map of fields each.
inline std::vector<std::map<std::string, std::string>> ffprobeStreams(const std::string& path)
{
    return compactLines(runCommand("ffprobe -v quiet -show_streams -of compact=p=0 " + shellQuote(path)));
}

} // namespace AviTest
