#include <gtest/gtest.h>

#include <cstdlib>
#include <optional>
#include <string>

#include "mxf/read/FileReader.h"
#include "support/TempDir.h"
#include "support/TestMedia.h"

using namespace Corvidane::MXF;

// The dump of an item holds its value, byte for byte, in a file of the
// temporary folder named by a running number.
namespace {

// Points TMPDIR at a folder while it lives.
class TemporaryFolder {
public:
    explicit TemporaryFolder(const std::string& path)
    {
        if (const char* old = std::getenv("TMPDIR"))
            m_old = old;
        ::setenv("TMPDIR", path.c_str(), 1);
    }
    ~TemporaryFolder()
    {
        if (m_old)
            ::setenv("TMPDIR", m_old->c_str(), 1);
        else
            ::unsetenv("TMPDIR");
    }

private:
    std::optional<std::string> m_old;
};

TEST(MxfKlvDump, ValuesOfItemsGoToNumberedFiles)
{
    // The header partition pack and the item behind it, as ffmpeg wrote them.
    std::string bytes = readFile(testMedia("mxf_jpeg2000.mxf"));
    unsigned char* p = reinterpret_cast<unsigned char*>(bytes.data());
    CKlvItem pack, next;
    ASSERT_TRUE(pack.SetKLV(&p));
    ASSERT_TRUE(next.SetKLV(&p));
    ASSERT_GT(pack.length, 0u);
    const std::string packValue(reinterpret_cast<const char*>(pack.value), size_t(pack.length));
    const std::string nextValue(reinterpret_cast<const char*>(next.value), size_t(next.length));
    // A partition pack's value opens with its version, 1.3 from ffmpeg.
    ASSERT_EQ(packValue.substr(0, 4), std::string("\x00\x01\x00\x03", 4));

    TempDir dir;
    TemporaryFolder folder(dir.path());
    int counter = 7;
    EXPECT_TRUE(CMxf_FileReader::saveKlv2File(pack, counter));
    EXPECT_TRUE(CMxf_FileReader::saveKlv2File(next, counter));
    EXPECT_EQ(counter, 9);
    EXPECT_EQ(readFile(dir.file("klvdump7.bin")), packValue);
    EXPECT_EQ(readFile(dir.file("klvdump8.bin")), nextValue);
}

TEST(MxfKlvDump, NothingToWriteOrNowhereToWriteIt)
{
    TempDir dir;
    int counter = 0;
    {
        TemporaryFolder folder(dir.path());
        EXPECT_FALSE(CMxf_FileReader::saveKlv2File(CKlvItem(), counter));
    }
    std::string bytes = readFile(testMedia("mxf_jpeg2000.mxf"));
    unsigned char* p = reinterpret_cast<unsigned char*>(bytes.data());
    CKlvItem pack;
    ASSERT_TRUE(pack.SetKLV(&p));
    {
        TemporaryFolder folder(dir.file("missing"));
        EXPECT_FALSE(CMxf_FileReader::saveKlv2File(pack, counter));
    }
    EXPECT_EQ(counter, 0);
}

} // namespace
