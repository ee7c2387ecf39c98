#include <gtest/gtest.h>
#include <sstream>
#include <string>
#include <vector>

#include "support/TestMedia.h"

namespace {

// What cvtool prints, the host's log lines left out.
std::string cvtool(const std::string& args, int* status)
{
    return runCommand("HC_LOG_FILE=/dev/null " + shellQuote(CVTOOL_PATH) + " " + args + " 2>&1", status);
}

TEST(Plugin, ExportsOnlyTheEntry)
{
    int status = 0;
    std::string symbols = runCommand("nm -D --defined-only " + shellQuote(CV_PLUGIN_PATH), &status);
    ASSERT_EQ(status, 0);
    EXPECT_NE(symbols.find(" T hcPluginInstance"), std::string::npos) << symbols;
    // Nothing of the container code leaks out of the library.
    EXPECT_EQ(symbols.find("Corvidane"), std::string::npos) << symbols;
    EXPECT_EQ(symbols.find("CvFileIOFactory"), std::string::npos) << symbols;
}

TEST(Plugin, ResourcesInCreationOrderHonouringUseFFmpegAVI)
{
    int status = 0;
    std::string listing = cvtool("plugins", &status);
    ASSERT_EQ(status, 0) << listing;
    EXPECT_EQ(listing,
              "Halcyonics CvWrappers 17.1.0.149111\n"
              "0 reader \"CVRD\" CvWrapper FileReader AVI,MXF,MOV,MP4,M4V,M4A,LRV\n"
              "1 writer \"AVI \" AVI FileWriter AVI\n"
              "2 writer \"MXF \" Mxf FileWriter MXF\n"
              "3 writer \"QT  \" Qt FileWriter MOV\n");

    listing = cvtool("--config useFFmpegAVI=1 plugins", &status);
    ASSERT_EQ(status, 0) << listing;
    EXPECT_EQ(listing,
              "Halcyonics CvWrappers 17.1.0.149111\n"
              "0 reader \"CVRD\" CvWrapper FileReader AVI,MXF,MOV,MP4,M4V,M4A,LRV\n"
              "1 writer \"MXF \" Mxf FileWriter MXF\n"
              "2 writer \"QT  \" Qt FileWriter MOV\n");

    // Only the value 1 hands AVI writing to the host.
    listing = cvtool("--config useFFmpegAVI=2 plugins", &status);
    EXPECT_NE(listing.find("AVI FileWriter"), std::string::npos);
}

// One frame read alone through the plug-in: the same place, size, key flag
// and bytes as ffprobe's packet, in files read by table, by fragment jump and
// by fragment walk; a frame past the end fails with the reader's text.
TEST(Plugin, ReadsOneFrameAsFfprobeListsIt)
{
    for (const char* name : {"h264_aac.mp4", "frag_empty_moov.mp4", "frag_no_mfra.mp4",
                             "frag_moov_samples.mp4"}) {
        SCOPED_TRACE(name);
        std::string path = testMedia(name);
        int status = 0;
        std::istringstream packets(runCommand("ffprobe -v error -select_streams v:0 -show_data_hash MD5 "
                                              "-show_entries packet=pos,size,flags,data_hash -of csv=p=0 " +
                                              shellQuote(path)));
        std::vector<std::string> lines;
        for (std::string line; std::getline(packets, line);)
            lines.push_back(line);
        ASSERT_GT(lines.size(), 40u);
        for (size_t frame : {lines.size() - 1, size_t(0), size_t(37)}) {
            std::string ours = cvtool("read --frame " + std::to_string(frame) + " " + shellQuote(path), &status);
            ASSERT_EQ(status, 0) << ours;
            // ffprobe: size,pos,flags,MD5:hash
            std::istringstream fields(lines[frame]);
            std::string size, pos, flags, hash;
            std::getline(fields, size, ','), std::getline(fields, pos, ','), std::getline(fields, flags, ',');
            std::getline(fields, hash);
            std::string expected = "frame " + std::to_string(frame) + " pos " + pos + " size " + size + " key " +
                                   (flags[0] == 'K' ? "1" : "0") + " md5 " + hash.substr(4) + " host_size ";
            EXPECT_EQ(ours.substr(0, expected.size()), expected);
            // What the editor receives is the sample in byte-stream form: a
            // frame of one coded slice keeps its size, start code for length.
            if (flags[0] != 'K') {
                EXPECT_NE(ours.find(" host_size " + size + " "), std::string::npos) << ours;
            }
        }
        std::string past = cvtool("read --frame " + std::to_string(lines.size()) + " " + shellQuote(path), &status);
        EXPECT_NE(status, 0);
        EXPECT_NE(past.find("reached end of file"), std::string::npos) << past;
        // Read in order as the editor plays it, a fragmented movie (whose
        // length is nominal, a day of frames) ends at its last picture.
        std::string whole = cvtool("read " + shellQuote(path) + " | grep '^frames'", &status);
        EXPECT_EQ(status, 0) << whole;
        EXPECT_EQ(whole.rfind("frames " + std::to_string(lines.size()) + " ", 0), 0u) << whole;
    }
}

} // namespace
