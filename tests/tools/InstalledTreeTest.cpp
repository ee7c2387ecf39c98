#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "quicktime/JsonValue.h"
#include "support/TempDir.h"
#include "support/TestMedia.h"

// cvtool and the plug-in as `cmake --install` lays them out, in a prefix
// copied elsewhere so that no path of the build tree can serve: cvtool finds
// the plug-in from its own folder, the plug-in finds the MXF dictionaries
// beside itself, and the man page and the completion are there.
namespace {

namespace fs = std::filesystem;

std::string run(const std::string& command, int* status)
{
    return runCommand("env -u CV_PLUGIN -u HC_LOG_FILE " + command + " 2>&1", status);
}

class InstalledTree : public ::testing::Test {
protected:
    static void SetUpTestSuite()
    {
        s_dir = new TempDir;
        const std::string staged = s_dir->file("staged");
        int status = 0;
        const std::string log = runCommand("cmake --install " + shellQuote(CV_BUILD_DIR) + " --prefix " +
                                               shellQuote(staged) + " 2>&1",
                                           &status);
        ASSERT_EQ(status, 0) << log;
        fs::copy(staged, prefix(), fs::copy_options::recursive | fs::copy_options::copy_symlinks);
        fs::remove_all(staged);
    }
    static void TearDownTestSuite()
    {
        delete s_dir;
        s_dir = nullptr;
    }
    static std::string prefix() { return s_dir->file("moved"); }
    static std::string tool() { return shellQuote(prefix() + "/bin/cvtool"); }
    // The one plug-in in the prefix, wherever the library folder is.
    static std::string plugin()
    {
        for (const fs::directory_entry& entry : fs::recursive_directory_iterator(prefix()))
            if (entry.path().filename() == fs::path(CV_PLUGIN_PATH).filename())
                return entry.path().string();
        return {};
    }

    static TempDir* s_dir;
};

TempDir* InstalledTree::s_dir = nullptr;

TEST_F(InstalledTree, CvtoolFindsThePluginInTheCopy)
{
    const std::string library = plugin();
    ASSERT_FALSE(library.empty());
    int status = 0;
    const std::string version = run(tool() + " --version", &status);
    EXPECT_EQ(status, 0) << version;
    EXPECT_EQ(version.rfind(std::string("cvtool ") + CV_VERSION + "\n", 0), 0u) << version;
    EXPECT_NE(version.find(" (" + library + ")\n"), std::string::npos) << version;

    // It reads as the build tree's cvtool does.
    const std::string movie = shellQuote(testMedia("prores_pcm24_tc.mov"));
    const std::string probed = run(tool() + " probe --packets --hash md5 " + movie, &status);
    EXPECT_EQ(status, 0) << probed;
    EXPECT_TRUE(probed == runCommand(shellQuote(CVTOOL_PATH) + " probe --packets --hash md5 " + movie + " 2>&1"));
    EXPECT_EQ(parseJson(probed)["streams"].items.size(), 3u);
}

TEST_F(InstalledTree, OpAtomCopiesTakeTheDictionariesBesideThePlugin)
{
    const std::string source = shellQuote(testMedia("avi_dv_pal.avi"));
    TempDir out;
    int status = 0;
    std::string log = run(tool() + " rewrap --op-atom " + source + " " + shellQuote(out.file("clip.mxf")), &status);
    ASSERT_EQ(status, 0) << log;
    // The picture's file of the family holds the DV pictures, all of them.
    auto pictures = [](const std::string& path) {
        return runCommand("ffprobe -v error -count_packets -select_streams v "
                          "-show_entries stream=codec_name,nb_read_packets -of csv=p=0 " + path);
    };
    EXPECT_EQ(pictures(shellQuote(out.file("clip.mxf"))), pictures(source));

    // Without the prefix's dictionaries there is none to take.
    const fs::path dictionaries = fs::path(plugin()).parent_path() / "mxf";
    ASSERT_TRUE(fs::exists(dictionaries / "corvidane_metadata_dictionary.bin"));
    fs::rename(dictionaries, dictionaries.string() + ".away");
    log = run(tool() + " rewrap --op-atom " + source + " " + shellQuote(out.file("none.mxf")), &status);
    fs::rename(dictionaries.string() + ".away", dictionaries);
    EXPECT_EQ(status, 1) << log;
}

TEST_F(InstalledTree, ManPageAndCompletionAreInstalled)
{
    const std::string page = readFile(prefix() + "/share/man/man1/cvtool.1");
    EXPECT_EQ(page.rfind(".TH CVTOOL 1 ", 0), 0u);
    EXPECT_NE(page.find(CV_VERSION), std::string::npos);
    int status = 0;
    const std::string completion = prefix() + "/share/bash-completion/completions/cvtool";
    const std::string offered =
        run("bash -c " + shellQuote(". " + shellQuote(completion) +
                                    "; COMP_WORDS=(cvtool pro); COMP_CWORD=1; _cvtool; echo \"${COMPREPLY[@]}\""),
            &status);
    EXPECT_EQ(status, 0) << offered;
    EXPECT_EQ(offered, "probe\n");
}

// cvtool away from any plug-in says where it looked and how to name one.
TEST_F(InstalledTree, WithoutAPluginBesideItCvtoolSaysWhereItLooked)
{
    TempDir lone;
    fs::copy_file(prefix() + "/bin/cvtool", lone.file("cvtool"));
    fs::permissions(lone.file("cvtool"), fs::perms::owner_exec, fs::perm_options::add);
    int status = 0;
    const std::string said = run(shellQuote(lone.file("cvtool")) + " plugins", &status);
    EXPECT_EQ(status, 1);
    EXPECT_EQ(said.rfind("cvtool: no plug-in found (looked for " + lone.file("libcvwrappers.so") + " or ", 0), 0u)
        << said;
    EXPECT_NE(said.find("name one with --plugin LIBRARY or CV_PLUGIN"), std::string::npos) << said;
    const std::string listed = run("CV_PLUGIN=" + shellQuote(plugin()) + " " + shellQuote(lone.file("cvtool")) +
                                       " plugins",
                                   &status);
    EXPECT_EQ(status, 0) << listed;
    EXPECT_EQ(listed, run(shellQuote(CVTOOL_PATH) + " plugins", &status));
}

} // namespace
