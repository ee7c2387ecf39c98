#include <gtest/gtest.h>
#include <string>

#include "support/TempDir.h"
#include "support/TestMedia.h"

namespace {

std::string cvtool(const std::string& args, int* status)
{
    return runCommand(shellQuote(CVTOOL_PATH) + " " + args + " 2>&1", status);
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

TEST(Plugin, ProbeRefusesWhatItCannotReadWithAnErrorAndAnExitCode)
{
    TempDir dir;
    writeFile(dir.file("notes.txt"), "hello");
    writeFile(dir.file("empty.mov"), "");
    int status = 0;

    std::string out = cvtool("probe " + shellQuote(dir.file("notes.txt")), &status);
    EXPECT_NE(status, 0);
    EXPECT_NE(out.find("not a file type the plug-in reads"), std::string::npos) << out;

    out = cvtool("probe " + shellQuote(dir.file("no extension")), &status);
    EXPECT_NE(status, 0);

    for (const char* name : {"missing.mov", "empty.mov", "folder.mov"}) {
        if (std::string(name) == "folder.mov")
            runCommand("mkdir " + shellQuote(dir.file(name)));
        out = cvtool("probe --packets --hash md5 " + shellQuote(dir.file(name)), &status);
        EXPECT_NE(status, 0) << name;
        EXPECT_NE(out.find("cvtool: "), std::string::npos) << out;
        EXPECT_EQ(out.find("{"), std::string::npos) << "no JSON for a file that can't be read: " << out;
    }

    out = cvtool("frobnicate", &status);
    EXPECT_EQ(status, 2);
    EXPECT_NE(out.find("usage:"), std::string::npos);
    out = cvtool("--plugin /nonexistent.so plugins", &status);
    EXPECT_NE(status, 0);
}

} // namespace
