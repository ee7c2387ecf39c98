#include "support/RewrapChecks.h"

#include <gtest/gtest.h>

#include <set>
#include <utility>

#include "quicktime/JsonValue.h"
#include "support/MediainfoDetails.h"
#include "support/TestMedia.h"

std::string run(const std::string& command)
{
    int status = 0;
    std::string out = runCommand(command, &status);
    EXPECT_EQ(status, 0) << command << "\n" << out;
    return out;
}

void rewrap(const std::string& source, const std::string& output, const std::string& options)
{
    run("HC_LOG_FILE=/dev/null " + shellQuote(CVTOOL_PATH) + " rewrap " + options + shellQuote(source) + " " +
        shellQuote(output) + " 2>&1");
}

std::string videoPackets(const std::string& path)
{
    return run("ffprobe -v error -select_streams v:0 -show_data_hash MD5 -show_entries "
               "packet=size,flags,data_hash -of csv=p=0 " + shellQuote(path));
}

std::string videoPacketsKeyFlagOnly(const std::string& path)
{
    std::string packets = videoPackets(path);
    for (size_t at = packets.find("_,"); at != std::string::npos; at = packets.find("_,", at))
        packets.erase(at, 1);
    return packets;
}

std::string ourVideoPackets(const std::string& path)
{
    const JsonValue probe =
        parseJson(run(shellQuote(CVTOOL_PATH) + " probe --packets --hash md5 " + shellQuote(path) + " 2>/dev/null"));
    long long video = -1;
    for (const JsonValue& stream : probe["streams"].items)
        if (video < 0 && stream["codec_type"].text == "video")
            video = stream["index"].integer();
    std::string packets;
    for (const JsonValue& packet : probe["packets"].items)
        if (packet["stream_index"].integer() == video)
            packets += packet["size"].text + "," + packet["flags"].text.substr(0, 1) + "," +
                       packet["data_hash"].text + "\n";
    return packets;
}

std::string keyFlags(const std::string& path)
{
    return run("ffprobe -v error -select_streams v:0 -show_entries packet=flags -of csv=p=0 " + shellQuote(path));
}

std::string decodedFrames(const std::string& path)
{
    return run("ffmpeg -v error -i " + shellQuote(path) +
               " -map 0:v:0 -fps_mode passthrough -f framemd5 - | grep -v '^#' | awk -F, '{print $NF}'");
}

std::string decodedSound(const std::string& path, int stream)
{
    const std::string map = stream < 0 ? "0:a?" : "0:a:" + std::to_string(stream);
    return run("ffmpeg -v error -i " + shellQuote(path) + " -map " + map + " -c:a pcm_s32le -f md5 -");
}

std::string storedSound(const std::string& path, int stream)
{
    return run("ffmpeg -v error -i " + shellQuote(path) + " -map 0:a:" + std::to_string(stream) +
               " -c:a copy -f data - | md5sum");
}

std::string ourSound(const std::string& path, int stream)
{
    const JsonValue probe = parseJson(run(shellQuote(CVTOOL_PATH) + " probe " + shellQuote(path) + " 2>/dev/null"));
    int seen = 0;
    for (const JsonValue& entry : probe["streams"].items)
        if (entry["codec_type"].text == "audio" && seen++ == stream)
            return run(shellQuote(CVTOOL_PATH) + " extract --stream " + std::to_string(entry["index"].integer()) + " " +
                       shellQuote(path) +
                       " /dev/stdout 2>/dev/null | md5sum");
    return "no sound stream " + std::to_string(stream);
}

std::string timecodeOf(const std::string& path)
{
    for (const char* entry : {"stream_tags=timecode", "format_tags=timecode"}) {
        const std::string tags =
            run("ffprobe -v error -show_entries " + std::string(entry) + " -of csv=p=0 " + shellQuote(path));
        const size_t at = tags.find_first_of("0123456789");
        if (at != std::string::npos)
            return tags.substr(at, tags.find_first_of(",\n", at) - at);
    }
    return "";
}

std::string mediainfoComplaints(const std::string& path)
{
    return run("mediainfo " + shellQuote(path) + " | grep -ciE 'truncated|error' || true");
}

std::string setsMediainfoMisreads(const std::string& path)
{
    std::set<std::pair<long long, long long>> theirs;
    for (const MediainfoItem& item : mediainfoItems(path))
        theirs.insert({item.offset, item.size});
    const JsonValue dump = parseJson(run(shellQuote(CVTOOL_PATH) + " dump --json " + shellQuote(path)));
    std::string misread;
    size_t sets = 0;
    for (const JsonValue& partition : dump["partitions"].items)
        for (const JsonValue& set : partition["sets"].items) {
            ++sets;
            if (!theirs.count({set["offset"].integer(), set["size"].integer()}))
                misread += set["class"].text + " at " + std::to_string(set["offset"].integer()) + "\n";
        }
    return sets ? misread : "no header metadata sets\n";
}
