#include <gtest/gtest.h>
#include <algorithm>
#include <filesystem>
#include <sstream>
#include <sys/stat.h>

#include "support/TempDir.h"
#include "support/TestMedia.h"

namespace {

std::vector<std::string> lines(const std::string& text)
{
    std::vector<std::string> out;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);)
        out.push_back(line);
    return out;
}

// "STREAM ENTRY MD5" lines, sorted.
std::vector<std::string> hashLines(const std::string& text)
{
    std::vector<std::string> out;
    for (const std::string& line : lines(text))
        if (!line.empty() && std::isdigit(static_cast<unsigned char>(line[0])))
            out.push_back(line);
    std::sort(out.begin(), out.end());
    return out;
}

// ffprobe's MD5 of each packet, as "STREAM ENTRY MD5", sorted.
std::vector<std::string> ffprobeHashes(const std::string& file)
{
    std::string output = runCommand("ffprobe -v error -show_entries packet=stream_index,data_hash -show_data_hash MD5 "
                                    "-of csv=p=0 " + shellQuote(file));
    std::vector<std::string> out;
    std::vector<unsigned> counts(8, 0);
    for (const std::string& line : lines(output)) {
        size_t comma = line.find(',');
        size_t colon = line.find("MD5:");
        if (comma == std::string::npos || colon == std::string::npos)
            continue;
        unsigned stream = static_cast<unsigned>(std::stoul(line.substr(0, comma)));
        out.push_back(std::to_string(stream) + " " + std::to_string(counts.at(stream)++) + " " + line.substr(colon + 4));
    }
    std::sort(out.begin(), out.end());
    return out;
}

// A capture and a follower in two processes, taking turns through two pipes:
// after every tenth frame the capture says how many whole rows each sidecar
// holds, and the follower must see exactly that many frames, each one
// byte-identical to what the capture wrote.
TEST(CaptureFollow, TheFollowerReadsEveryFrameAsTheCaptureWroteIt)
{
    std::string source = testMedia("mpeg2_pcm16_growing.mxf");
    TempDir dir;
    ASSERT_EQ(::mkfifo(dir.file("to-follower").c_str(), 0600), 0);
    ASSERT_EQ(::mkfifo(dir.file("to-capture").c_str(), 0600), 0);
    std::string tool = shellQuote(CVTOOL_PATH);
    std::string output = dir.file("clip.mxf");
    std::string command = "cd " + shellQuote(dir.path()) + " || exit 1; " +
                          "(timeout 120 " + tool + " capture --handshake . --step 10 " + shellQuote(source) +
                          " clip.mxf > capture.txt; echo $? > capture.rc) & " +
                          "timeout 120 " + tool + " follow --handshake . clip.mxf > follow.txt 2> follow.err; " +
                          "echo $? > follow.rc; wait";
    runCommand(command + " 2>&1");

    EXPECT_EQ(readFile(dir.file("capture.rc")), "0\n");
    EXPECT_EQ(readFile(dir.file("follow.rc")), "0\n");
    std::string followed = readFile(dir.file("follow.txt"));
    std::vector<std::string> followLines = lines(followed);
    ASSERT_FALSE(followLines.empty());
    // The first turn comes before the first block of rows: the wait is told
    // once, apart from the frames.
    EXPECT_EQ(readFile(dir.file("follow.err")), "cvtool follow: waiting for the first rows of clip.mxf\n");
    EXPECT_TRUE(std::isdigit(static_cast<unsigned char>(followLines.front()[0]))) << followLines.front();
    // The follower fails when a fresh open of the finished file still takes
    // the growing-file reader; which container reader it gets instead
    // depends on the readers built in.
    EXPECT_EQ(followLines.back().rfind("finished: ", 0), 0u) << followLines.back();

    std::vector<std::string> captured = hashLines(readFile(dir.file("capture.txt")));
    std::vector<std::string> read = hashLines(followed);
    EXPECT_EQ(captured.size(), 200u) << "100 frames of video and of audio";
    EXPECT_EQ(read, captured);
    EXPECT_EQ(read, ffprobeHashes(source));

    EXPECT_EQ(readFile(output), readFile(source)) << "the finished capture is the source, byte for byte";
    EXPECT_FALSE(std::filesystem::exists(output + ".1.cvindex"));
    EXPECT_FALSE(std::filesystem::exists(output + ".2.cvindex"));
}

// A file whose capture was over before the follower came is read to its end
// at once through its container's reader: every frame and every sound
// packet that ffprobe lists, and exit 0.
TEST(CaptureFollow, AFinishedFileIsReadToItsEnd)
{
    const std::string source = testMedia("mpeg2_pcm16_growing.mxf");
    TempDir dir;
    int status = 0;
    const std::string followed = runCommand("timeout 60 " + shellQuote(CVTOOL_PATH) + " follow --timeout 30 " +
                                                shellQuote(source) + " 2> " + shellQuote(dir.file("err")),
                                            &status);
    EXPECT_EQ(status, 0) << readFile(dir.file("err"));
    EXPECT_EQ(readFile(dir.file("err")), "");
    std::vector<std::string> read = lines(followed);
    ASSERT_FALSE(read.empty());
    EXPECT_EQ(read.back(), "finished: container reader");
    // The container's stream numbers differ from ffprobe's; the bytes don't.
    std::vector<std::string> ours, theirs;
    for (const std::string& line : hashLines(followed))
        ours.push_back(line.substr(line.rfind(' ') + 1));
    for (const std::string& line : ffprobeHashes(source))
        theirs.push_back(line.substr(line.rfind(' ') + 1));
    std::sort(ours.begin(), ours.end());
    std::sort(theirs.begin(), theirs.end());
    EXPECT_EQ(ours.size(), 200u);
    EXPECT_EQ(ours, theirs);
}

} // namespace
