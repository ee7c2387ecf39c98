// The AVI writer resource: the host's parameters become the file's tracks,
// frames are handed over as the host holds them, and a write that fails is
// logged with the writer's words.
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <sys/stat.h>
#include <vector>

#include "frame/FourCC.h"
#include "front/write/AviFileWriter.h"
#include "host/FrameRates.h"
#include "host/Log.h"
#include "support/DriverFixture.h"
#include "support/FaultyFiles.h"
#include "support/RewrapChecks.h"
#include "support/TempDir.h"
#include "support/TestMedia.h"

using Corvidane::fourCC;

namespace {

class AviFileWriterResource : public DriverFixture {
protected:
    static Hc::FileWriterParams paramsFor(uint32_t code, unsigned width, unsigned height)
    {
        Hc::FileWriterParams params;
        params.formatType = "AVI";
        params.compression = code;
        params.frameRate = Hc::Rate25;
        params.width = width;
        params.height = height;
        params.scanMode = 3;
        return params;
    }

    // Opens a file through the resource.
    std::unique_ptr<Hc::FileInfoBase> open(const std::string& name, const Hc::FileWriterParams& params)
    {
        Hc::FileInfoBase* file = nullptr;
        EXPECT_EQ(m_resource.openFile(m_dir.wfile(name), params, file), 1);
        return std::unique_ptr<Hc::FileInfoBase>(file);
    }

    avi::FileWriter m_resource;
    TempDir m_dir;
};

std::string md5Of(const std::string& bytes, const TempDir& dir)
{
    writeFile(dir.file("frame.raw"), bytes);
    return run("md5sum < " + shellQuote(dir.file("frame.raw")) + " | cut -d' ' -f1");
}

// Ten-bit BGRA comes from the host with its 32-bit words in the other byte
// order: the file holds each word reversed, eight-bit BGRA as it came, and
// the host's buffer is left as it was.
TEST_F(AviFileWriterResource, TenBitBgraWordsAreStoredReversed)
{
    std::string frame;
    for (int i = 0; i < 4 * 4 * 2; ++i)
        frame += char(i);
    std::string reversed = frame;
    for (size_t at = 0; at < reversed.size(); at += 4)
        std::reverse(reversed.begin() + std::ptrdiff_t(at), reversed.begin() + std::ptrdiff_t(at + 4));
    for (unsigned bits : {10u, 8u}) {
        SCOPED_TRACE(std::to_string(bits) + " bits");
        Hc::FileWriterParams params = paramsFor(fourCC("BGRA"), 4, 2);
        params.bitsPerComponent = bits;
        const std::string name = "bgra" + std::to_string(bits) + ".avi";
        {
            std::unique_ptr<Hc::FileInfoBase> file = open(name, params);
            ASSERT_TRUE(file);
            const std::string handed = frame;
            EXPECT_EQ(file->writeSurface(reinterpret_cast<const unsigned char*>(handed.data()), unsigned(handed.size()),
                                         Corvidane::HalcIFrame),
                      1);
            EXPECT_EQ(handed, frame) << "the host's buffer is untouched";
        }
        const std::string packets = videoPackets(m_dir.file(name));
        EXPECT_NE(packets.find(md5Of(bits == 10 ? reversed : frame, m_dir).substr(0, 32)), std::string::npos)
            << packets;
        EXPECT_EQ(ourVideoPackets(m_dir.file(name)), videoPacketsKeyFlagOnly(m_dir.file(name)));
    }
}

// DV handed over at the 486 lines of the host's NTSC raster is stored at
// DV's own 480, as ffprobe and our reader see it.
TEST_F(AviFileWriterResource, DvOf486LinesIsStoredAt480)
{
    const std::string source = testMedia("avi_dv_ntsc.avi");
    const std::string frame = run("ffmpeg -v error -i " + shellQuote(source) + " -map 0:v -c copy -frames:v 1 -f dv -");
    ASSERT_EQ(frame.size(), 120000u);
    Hc::FileWriterParams params = paramsFor(fourCC("dvsd"), 720, 486);
    params.frameRate = Hc::Rate29_97;
    {
        std::unique_ptr<Hc::FileInfoBase> file = open("dv.avi", params);
        ASSERT_TRUE(file);
        EXPECT_EQ(file->writeSurface(reinterpret_cast<const unsigned char*>(frame.data()), unsigned(frame.size()),
                                     Corvidane::HalcIFrame),
                  1);
    }
    const std::string path = m_dir.file("dv.avi");
    EXPECT_EQ(run("ffprobe -v error -select_streams v -show_entries stream=height -of csv=p=0 " + shellQuote(path)),
              "480\n");
    EXPECT_NE(run(shellQuote(CVTOOL_PATH) + " probe " + shellQuote(path) + " 2>/dev/null").find("\"height\": 480"),
              std::string::npos);
}

// A frame the disk has no room for: the host hears of a failure, and the
// log holds the writer's words for it.
TEST_F(AviFileWriterResource, AFailedWriteIsLoggedWithTheWritersText)
{
    std::vector<std::string> log;
    setLogSink([&log](const std::string& line) { log.push_back(line); });
    FaultyFiles faulty;
    std::unique_ptr<Hc::FileInfoBase> file = open("full.avi", paramsFor(fourCC("MJPG"), 64, 48));
    ASSERT_TRUE(file);
    struct stat info{};
    ASSERT_EQ(::stat(m_dir.file("full.avi").c_str(), &info), 0);
    faulty.faults().diskSpace = uint64_t(info.st_size);
    const std::string frame(1000, 'j');
    EXPECT_NE(file->writeSurface(reinterpret_cast<const unsigned char*>(frame.data()), unsigned(frame.size()),
                                 Corvidane::HalcIFrame),
              1);
    setLogSink({});
    ASSERT_EQ(log.size(), 1u);
    EXPECT_NE(log[0].find("WriteNextFrame failed to write data. No space left on device"), std::string::npos) << log[0];
    file.reset();
}

} // namespace
