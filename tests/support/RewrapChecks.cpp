#include "support/RewrapChecks.h"

#include <gtest/gtest.h>

#include "quicktime/JsonValue.h"
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
    std::string packets;
    for (const JsonValue& packet : probe["packets"].items)
        if (packet["stream_index"].integer() == 0)
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

std::string decodedSound(const std::string& path)
{
    return run("ffmpeg -v error -i " + shellQuote(path) + " -map 0:a? -c:a pcm_s32le -f md5 -");
}

std::string timecodeOf(const std::string& path)
{
    const std::string tags = run("ffprobe -v error -show_entries stream_tags=timecode -of csv=p=0 " + shellQuote(path));
    return tags.substr(0, tags.find_first_of(",\n"));
}

std::string mediainfoComplaints(const std::string& path)
{
    return run("mediainfo " + shellQuote(path) + " | grep -ciE 'truncated|error' || true");
}
