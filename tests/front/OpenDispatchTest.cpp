#include <filesystem>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <vector>

#include "front/read/FileInfo.h"
#include "front/read/FileReader.h"
#include "growing/SidecarBytes.h"
#include "host/Log.h"
#include "support/DriverFixture.h"
#include "support/TempDir.h"
#include "support/TestMedia.h"

namespace {

// Opens files as the host does, through the reader resource, and keeps the
// log lines the open writes.
class OpenDispatchTest : public DriverFixture {
protected:
    void SetUp() override
    {
        DriverFixture::SetUp();
        setLogSink([this](const std::string& line) { m_log.push_back(line); });
    }
    void TearDown() override
    {
        setLogSink({});
        DriverFixture::TearDown();
    }

    // The file type of the reader that the open chose and loaded, or -1 when
    // none did.
    int openedAs(const std::string& name)
    {
        CvWrappers::FileInfo file(m_dir.wfile(name), 0, OpenVideoAndAudio);
        return file.containerReader() ? file.containerReader()->get_FileType() : -1;
    }
    void copyMedia(const std::string& media, const std::string& name)
    {
        std::filesystem::copy_file(testMedia(media), m_dir.file(name));
    }
    void sidecarFor(const std::string& name, int track)
    {
        SidecarBytes sidecar(1, 1);
        sidecar.record(0, 100, 68, 0, 0);
        writeFile(m_dir.file(name + "." + std::to_string(track) + ".cvindex"), sidecar.bytes());
    }

    CvWrappers::FileReader m_resource;
    TempDir m_dir;
    std::vector<std::string> m_log;
};

TEST_F(OpenDispatchTest, EachContainerGetsItsReaderWhateverTheCase)
{
    copyMedia("mjpeg_small.mov", "CLIP.Mp4");
    copyMedia("mjpeg_small.mov", "clip.LRV");
    copyMedia("avi_h264.avi", "clip.Avi");
    copyMedia("mxf_op1a_mpeg2_tc.mxf", "clip.Mxf");
    EXPECT_EQ(openedAs("CLIP.Mp4"), 2);
    EXPECT_EQ(openedAs("clip.LRV"), 2);
    EXPECT_EQ(openedAs("clip.Avi"), 0);
    EXPECT_EQ(openedAs("clip.Mxf"), 3);
    EXPECT_TRUE(m_log.empty());
}

TEST_F(OpenDispatchTest, ASidecarMakesAGrowingFileExceptForAvi)
{
    copyMedia("mjpeg_small.mov", "clip.mov");
    sidecarFor("clip.mov", 0);
    EXPECT_EQ(openedAs("clip.mov"), 6);
    copyMedia("avi_h264.avi", "clip.avi");
    sidecarFor("clip.avi", 0);
    EXPECT_EQ(openedAs("clip.avi"), 0);
    // Once the capture removes its sidecar, the container's own reader takes over.
    std::filesystem::remove(m_dir.file("clip.mov.0.cvindex"));
    EXPECT_EQ(openedAs("clip.mov"), 2);
}

TEST_F(OpenDispatchTest, FilesNoReaderTakesFailOnceAndQuietly)
{
    writeFile(m_dir.file("clip"), "no extension");
    EXPECT_EQ(openedAs("clip"), -1);
    EXPECT_TRUE(m_log.empty());

    writeFile(m_dir.file("clip.mxf"), std::string(4096, '\0'));
    EXPECT_EQ(openedAs("clip.mxf"), -1);
    ASSERT_EQ(m_log.size(), 1u);
    // No header partition in the zeros: the MXF reader says so.
    EXPECT_NE(m_log[0].find("Failed to open file."), std::string::npos);

    m_log.clear();
    // The start of a movie whose header lies behind its media.
    writeFile(m_dir.file("broken.mov"), readFile(testMedia("mjpeg_small.mov")).substr(0, 100));
    EXPECT_EQ(openedAs("broken.mov"), -1);
    ASSERT_EQ(m_log.size(), 1u);
    EXPECT_EQ(m_log[0].rfind("CvWrappers: Failed to open source file ", 0), 0u);
    EXPECT_GT(m_log[0].size(), std::string("CvWrappers: Failed to open source file \n").size()) << "the reader says why";
}

} // namespace
