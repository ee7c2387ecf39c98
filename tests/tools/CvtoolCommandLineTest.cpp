#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <sstream>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

#include "support/TempDir.h"
#include "support/TestMedia.h"

// cvtool as a user meets it: help and version on standard output with exit 0,
// a refused argument named with exit 2, a file that can't be read said in
// the user's words with exit 1, before the plug-in is asked, and every
// message once.
namespace {

struct Outcome {
    int status = 0;
    std::string out;
    std::string err;
};

Outcome cvtool(const std::string& args, const std::string& environment = "")
{
    TempDir dir;
    Outcome run;
    run.out = runCommand("env -u CV_PLUGIN -u HC_LOG_FILE " + environment + " " + shellQuote(CVTOOL_PATH) + " " +
                             args + " 2> " + shellQuote(dir.file("err")),
                         &run.status);
    run.err = readFile(dir.file("err"));
    return run;
}

std::string firstLine(const std::string& text) { return text.substr(0, text.find('\n')); }

size_t occurrences(const std::string& text, const std::string& part)
{
    size_t count = 0;
    for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1))
        ++count;
    return count;
}

TEST(CvtoolHelp, GoesToStandardOutputWithExitZero)
{
    const Outcome help = cvtool("--help");
    EXPECT_EQ(help.status, 0);
    EXPECT_EQ(help.err, "");
    EXPECT_EQ(help.out.rfind("usage: cvtool ", 0), 0u) << help.out;
    for (const char* same : {"-h", "help"}) {
        const Outcome other = cvtool(same);
        EXPECT_EQ(other.status, 0) << same;
        EXPECT_EQ(other.out, help.out) << same;
    }

    // Every command the help lists tells what it takes, the same two ways.
    std::istringstream lines(help.out.substr(help.out.find("commands:\n")));
    std::vector<std::string> commands;
    for (std::string line; std::getline(lines, line) && !line.empty();)
        if (line.rfind("  ", 0) == 0 && line.find("help [COMMAND]") == std::string::npos)
            commands.push_back(line.substr(2, line.find(' ', 2) - 2));
    ASSERT_GE(commands.size(), 10u) << help.out;
    for (const std::string& command : commands) {
        const Outcome asked = cvtool("help " + command);
        EXPECT_EQ(asked.status, 0) << command;
        EXPECT_EQ(asked.out.rfind("usage: cvtool " + command, 0), 0u) << asked.out;
        for (const char* flag : {" --help", " -h"}) {
            const Outcome own = cvtool(command + flag);
            EXPECT_EQ(own.status, 0) << command << flag;
            EXPECT_EQ(own.out, asked.out) << command << flag;
            EXPECT_EQ(own.err, "") << command << flag;
        }
    }
}

TEST(CvtoolVersion, TellsTheToolsVersionAndThePluginsFromThePlugin)
{
    const Outcome plugins = cvtool("plugins");
    ASSERT_EQ(plugins.status, 0) << plugins.err;
    const Outcome version = cvtool("--version");
    EXPECT_EQ(version.status, 0) << version.err;
    EXPECT_EQ(version.out, std::string("cvtool ") + CV_VERSION + "\nplug-in " + firstLine(plugins.out) + " (" +
                               CV_PLUGIN_PATH + ")\n");
}

// A refused argument: exit 2, and the first line names the token refused.
TEST(CvtoolUsage, EachRefusalNamesWhatItRefused)
{
    const struct {
        const char* args;
        const char* firstLine;
    } cases[] = {
        {"", "cvtool: no command given"},
        {"frobnicate", "cvtool: unknown command 'frobnicate'"},
        {"--frob plugins", "cvtool: unknown option '--frob'"},
        {"--plugin", "cvtool: --plugin needs a value"},
        {"--config noSuchKey=1 plugins",
         "cvtool: --config noSuchKey=1: unknown setting 'noSuchKey' (the plug-in reads useFFmpegAVI and "
         "EnableMpeg422AVI)"},
        {"--config useFFmpegAVI=yes plugins",
         "cvtool: --config useFFmpegAVI=yes: setting useFFmpegAVI takes a whole number, not 'yes'"},
        {"--config useFFmpegAVI=1.5 plugins",
         "cvtool: --config useFFmpegAVI=1.5: setting useFFmpegAVI takes a whole number, not '1.5'"},
        {"--config EnableMpeg422AVI=99999999999 plugins",
         "cvtool: --config EnableMpeg422AVI=99999999999: setting EnableMpeg422AVI takes a whole number, not "
         "'99999999999'"},
        {"help nosuch", "cvtool: no command 'nosuch' to tell of"},
        {"probe", "cvtool probe: FILE is missing"},
        {"probe --packetz a.mov", "cvtool probe: unknown option '--packetz'"},
        {"probe --hash sha1 a.mov", "cvtool probe: --hash takes md5, not 'sha1'"},
        {"probe a.mov --hash", "cvtool probe: --hash needs a value (md5)"},
        {"probe a.mov b.mov", "cvtool probe: unexpected argument 'b.mov'"},
        {"probe -select_streams x a.mov",
         "cvtool probe: -select_streams takes v, a, d, TYPE:N or a stream index, not 'x'"},
        {"probe -show_entries frame=pts a.mov",
         "cvtool probe: -show_entries: no section 'frame' (stream, format, packet, stream_tags, format_tags)"},
        {"read --frame -1 a.mov", "cvtool read: --frame takes a whole number, not '-1'"},
        {"read --frame 3 --alternate a.mov",
         "cvtool read: --frame reads one frame alone; --alternate doesn't go with it"},
        {"rewrap a.mov", "cvtool rewrap: OUTPUT.{mov,mxf,avi} is missing"},
        {"extract --stream one a.mov b.raw", "cvtool extract: --stream takes a whole number, not 'one'"},
        {"follow --poll-ms fast a.mxf", "cvtool follow: --poll-ms takes a whole number, not 'fast'"},
        {"follow --timeout soon a.mxf", "cvtool follow: --timeout takes a number, not 'soon'"},
        {"capture --pace x a.mxf b.mxf", "cvtool capture: --pace takes a number, not 'x'"},
        {"dump --xml a.mxf", "cvtool dump: unknown option '--xml'"},
        {"mxf-dictionaries", "cvtool mxf-dictionaries: FOLDER is missing"},
    };
    for (const auto& c : cases) {
        const Outcome run = cvtool(c.args);
        EXPECT_EQ(run.status, 2) << c.args;
        EXPECT_EQ(firstLine(run.err), c.firstLine) << c.args;
        EXPECT_EQ(run.out, "") << c.args;
        // Said once, with the usage after it.
        EXPECT_EQ(occurrences(run.err, c.firstLine), 1u) << run.err;
        EXPECT_NE(run.err.find("usage: cvtool "), std::string::npos) << run.err;
    }
}

// A file that can't be read: exit 1, the reason in the user's words before
// the plug-in is asked, or else the plug-in's own account after ours, once;
// never any JSON.
TEST(CvtoolFiles, EachUnreadableFileSaysWhy)
{
    TempDir dir;
    writeFile(dir.file("notes.txt"), "hello");
    writeFile(dir.file("no extension"), "hello");
    writeFile(dir.file("empty.mov"), "");
    writeFile(dir.file("junk.mov"), std::string(5000, 'j'));
    std::filesystem::create_directory(dir.file("folder.mov"));
    ASSERT_EQ(::mkfifo(dir.file("pipe.mov").c_str(), 0600), 0);
    const std::string types = "(it reads .avi, .mxf, .mov, .mp4, .m4v, .m4a, .lrv)";
    const std::string dv = testMedia("avi_dv_pal.avi");
    const struct {
        std::string args;
        std::string firstLine;
    } cases[] = {
        {"probe " + dir.file("missing.mov"), "cvtool: " + dir.file("missing.mov") + ": no such file"},
        {"probe " + dir.file("folder.mov"), "cvtool: " + dir.file("folder.mov") + ": is a directory"},
        {"probe " + dir.file("empty.mov"), "cvtool: " + dir.file("empty.mov") + ": is empty"},
        {"probe " + dir.file("pipe.mov"), "cvtool: " + dir.file("pipe.mov") + ": is not a regular file"},
        {"probe " + dir.file("notes.txt"),
         "cvtool: " + dir.file("notes.txt") + ": not a file type the plug-in reads " + types},
        {"probe '" + dir.file("no extension") + "'",
         "cvtool: " + dir.file("no extension") + ": not a file type the plug-in reads " + types},
        {"probe --packets --hash md5 " + dir.file("junk.mov"),
         "cvtool: " + dir.file("junk.mov") + ": the plug-in can't open this file:"},
        {"read " + dir.file("junk.mov"), "cvtool: " + dir.file("junk.mov") + ": the plug-in can't open this file:"},
        {"read --frame 0 " + dir.file("missing.mov"), "cvtool: " + dir.file("missing.mov") + ": no such file"},
        {"extract " + dir.file("empty.mov") + " " + dir.file("out.raw"), "cvtool: " + dir.file("empty.mov") + ": is empty"},
        {"rewrap " + dir.file("notes.txt") + " " + dir.file("out.mov"),
         "cvtool: " + dir.file("notes.txt") + ": not a file type the plug-in reads " + types},
        {"dump " + dir.file("missing.mxf"), "cvtool: " + dir.file("missing.mxf") + ": no such file"},
        // An output the writer can't make: each container's writer in its own words.
        {"rewrap " + dv + " " + dir.file("nowhere/out.mov"),
         "cvtool rewrap: " + dir.file("nowhere/out.mov") +
             ": the writer refused it (5):  Can't create CFileWriterUnbuffered NotFound"},
        {"rewrap " + dv + " " + dir.file("nowhere/out.avi"),
         "cvtool rewrap: " + dir.file("nowhere/out.avi") + ": the writer refused it (5):  Failed to create " +
             dir.file("nowhere/out.avi") + ". NotFound"},
        {"rewrap " + dv + " " + dir.file("nowhere/out.mxf"),
         "cvtool rewrap: " + dir.file("nowhere/out.mxf") + ": the writer refused it (5):  Failed to create output file '" +
             dir.file("nowhere/out.mxf") + "' NotFound"},
        {"--plugin /nonexistent/libx.so plugins",
         "cvtool: /nonexistent/libx.so: cannot open shared object file: No such file or directory"},
    };
    for (const auto& c : cases) {
        const Outcome run = cvtool(c.args);
        EXPECT_EQ(run.status, 1) << c.args;
        EXPECT_EQ(firstLine(run.err), c.firstLine) << c.args;
        EXPECT_EQ(run.out.find('{'), std::string::npos) << c.args << ": " << run.out;
    }

    // The plug-in's account follows ours, once, though the editor's way of
    // opening asks it twice (pictures and sound, then sound alone).
    const Outcome junk = cvtool("probe " + dir.file("junk.mov"));
    EXPECT_EQ(occurrences(junk.err, "Failed to open source file"), 1u) << junk.err;
    EXPECT_EQ(occurrences(junk.err, "\n"), 2u) << junk.err;

    if (::geteuid() != 0) {  // root reads whatever the mode says
        writeFile(dir.file("locked.mov"), "hello");
        ::chmod(dir.file("locked.mov").c_str(), 0);
        const Outcome locked = cvtool("probe " + dir.file("locked.mov"));
        EXPECT_EQ(locked.status, 1);
        EXPECT_EQ(firstLine(locked.err), "cvtool: " + dir.file("locked.mov") + ": permission denied");
    }
}

// A name that isn't UTF-8, of the file or of its folder, still opens, and
// reads as the same file does under a plain name.
TEST(CvtoolFiles, NamesThatAreNotUtf8StillOpen)
{
    const std::string source = testMedia("h264_aac.mp4");
    TempDir dir;
    const std::string folder = dir.file("\xff\xfe folder");
    std::filesystem::create_directory(folder);
    const std::string expected = cvtool("probe --packets --hash md5 " + shellQuote(source)).out;
    ASSERT_NE(expected.find("\"packets\""), std::string::npos);
    for (const std::string& path : {dir.file("clip \xe9t\xe9.mp4"), folder + "/clip.mp4"}) {
        std::filesystem::copy_file(source, path);
        const Outcome run = cvtool("probe --packets --hash md5 " + shellQuote(path));
        EXPECT_EQ(run.status, 0) << run.err;
        EXPECT_TRUE(run.out == expected) << "the same document as under the plain name";
        const Outcome frame = cvtool("read --frame 10 " + shellQuote(path));
        EXPECT_EQ(frame.status, 0) << frame.err;
        EXPECT_EQ(frame.out, cvtool("read --frame 10 " + shellQuote(source)).out);
        EXPECT_EQ(frame.out.rfind("frame 10 pos ", 0), 0u) << frame.out;
    }
}

} // namespace
