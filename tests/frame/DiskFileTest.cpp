#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "frame/DiskFileReader.h"
#include "frame/DiskFileWriter.h"
#include "frame/Utf8.h"
#include "support/DriverFixture.h"
#include "support/FaultyFiles.h"
#include "support/TempDir.h"

namespace {

std::string pattern(size_t size)
{
    std::string bytes(size, '\0');
    for (size_t i = 0; i < size; ++i)
        bytes[i] = static_cast<char>((i * 7 + i / 251) & 0xFF);
    return bytes;
}

class DiskFileTest : public DriverFixture {
protected:
    TempDir m_dir;
    FaultyFiles m_faults;
};

TEST_F(DiskFileTest, UnbufferedReadLandsOnSectorsAndReportsTheOffset)
{
    m_faults.faults().sectorSize = 512;
    std::string bytes = pattern(4096);
    writeFile(m_dir.file("a.bin"), bytes);

    Vex::CFileReaderUnbuffered reader;
    ASSERT_EQ(reader.load(m_dir.wfile("a.bin"), iFile::Unbuffered), OK);
    EXPECT_EQ(reader.getSectorSize(), 512u);
    ASSERT_EQ(reader.seek(1000, 0), OK);
    EXPECT_EQ(reader.getPos(), 512u);
    EXPECT_EQ(reader.getAlignmentOffset(), 488u);

    std::vector<unsigned char> buffer(2048);
    unsigned read = 0, offset = 0;
    EXPECT_EQ(reader.read(buffer.data(), 1000, 100, read, offset), InsufficientBuffer);
    EXPECT_EQ(read, 1024u);
    ASSERT_EQ(reader.read(buffer.data(), 1024, 100, read, offset), OK);
    EXPECT_EQ(read, 1024u);
    EXPECT_EQ(offset, 488u);
    EXPECT_EQ(std::string(buffer.begin() + offset, buffer.begin() + offset + 100), bytes.substr(1000, 100));

    // Aligned to 64 bytes in memory: 488 % 64 = 40, so the buffer moves by 24.
    ASSERT_EQ(reader.seek(1000, 0), OK);
    ASSERT_EQ(reader.alignedRead(64, buffer.data(), 2048, 100, read, offset), OK);
    EXPECT_EQ(offset, 512u);
    EXPECT_EQ(offset % 64, 0u);
    EXPECT_EQ(std::string(buffer.begin() + offset, buffer.begin() + offset + 100), bytes.substr(1000, 100));

    // The last sector is short: the read gives what the file has.
    ASSERT_EQ(reader.seek(4000, 0), OK);
    ASSERT_EQ(reader.read(buffer.data(), 2048, 96, read, offset), OK);
    EXPECT_EQ(read, 4096u - 3584u);
    EXPECT_EQ(std::string(buffer.begin() + offset, buffer.begin() + offset + 96), bytes.substr(4000, 96));

    // At end of file nothing is read and the result is still OK.
    ASSERT_EQ(reader.seek(8192, 0), OK);
    read = 12345;
    EXPECT_EQ(reader.read(buffer.data(), 2048, 10, read, offset), OK);
    EXPECT_EQ(read, 12345u);

    // A second open of an open reader is refused and leaves the file open.
    EXPECT_EQ(reader.load(m_dir.wfile("a.bin"), iFile::Unbuffered), InvalidState);
    EXPECT_TRUE(reader.isOpen());
    EXPECT_EQ(reader.seek(0, 7), InvalidArg);
    ASSERT_EQ(reader.seek(static_cast<unsigned long>(-96), 2), OK);
    EXPECT_EQ(reader.getPos(), 3584u);
}

TEST_F(DiskFileTest, BufferedReaderAndOpenFailures)
{
    writeFile(m_dir.file("b.bin"), pattern(10));
    Vex::CFileReader reader;
    ASSERT_EQ(reader.load(m_dir.wfile("b.bin")), OK);
    EXPECT_EQ(reader.getSectorSize(), 1u);
    unsigned char buffer[32];
    unsigned read = 0;
    ASSERT_EQ(reader.read(buffer, sizeof buffer, read), OK);
    EXPECT_EQ(read, 10u);

    Vex::CFileReader missing;
    EXPECT_EQ(missing.load(m_dir.wfile("nothing")), NotFound);
    EXPECT_FALSE(missing.isOpen());
    EXPECT_EQ(missing.load(L""), InvalidArg);
    EXPECT_FALSE(isSuccess(missing.load(Corvidane::fromUtf8(m_dir.path()))));
    // A path with a lone surrogate has no UTF-8 form.
    EXPECT_FALSE(isSuccess(missing.load(std::wstring(L"/tmp/\xD800.mov"))));
    EXPECT_EQ(missing.seek(0, 0), Fail);
}

TEST_F(DiskFileTest, ShortReadsAndReadErrorsReachTheCaller)
{
    m_faults.faults().sectorSize = 512;
    writeFile(m_dir.file("c.bin"), pattern(2048));
    Vex::CFileReaderUnbuffered reader;
    ASSERT_EQ(reader.load(m_dir.wfile("c.bin"), iFile::Unbuffered), OK);

    m_faults.faults().shortReadLimit = 300;
    std::vector<unsigned char> buffer(2048);
    unsigned read = 0, offset = 0;
    ASSERT_EQ(reader.seek(0, 0), OK);
    ASSERT_EQ(reader.read(buffer.data(), 2048, 1024, read, offset), OK);
    EXPECT_EQ(read, 300u);  // the caller learns it got less than it needs

    m_faults.faults().shortReadLimit = 0;
    m_faults.faults().readErrno = EIO;
    ASSERT_EQ(reader.seek(0, 0), OK);
    EXPECT_EQ(reader.read(buffer.data(), 2048, 10, read, offset), AccessDenied);
}

TEST_F(DiskFileTest, UnbufferedWriterKeepsToWholeSectorsAndReportsAFullDisk)
{
    Vex::CFileWriterUnbuffered writer;
    EXPECT_EQ(writer.create(L"ab", iFile::Unbuffered, iFile::CreateAlways), InvalidArg);
    ASSERT_EQ(writer.create(m_dir.wfile("w.bin"), iFile::Unbuffered, iFile::CreateAlways), OK);
    EXPECT_EQ(writer.getSectorSize(), 512u);

    std::string bytes = pattern(1536);
    unsigned written = 0;
    EXPECT_EQ(writer.write(reinterpret_cast<const unsigned char*>(bytes.data()), 513, written), InvalidArg);
    EXPECT_EQ(writer.getSize(), 0u);
    ASSERT_EQ(writer.write(reinterpret_cast<const unsigned char*>(bytes.data()), 1024, written), OK);
    EXPECT_EQ(written, 1024u);

    unsigned long previous = 0;
    EXPECT_EQ(writer.seek(100, &previous, 0), InvalidArg);
    ASSERT_EQ(writer.seek(512, &previous, 0), OK);
    EXPECT_EQ(previous, 1024u);
    ASSERT_EQ(writer.write(reinterpret_cast<const unsigned char*>(bytes.data()) + 1024, 512, written), OK);

    // The disk fills up: the write fails, and what was written before stays.
    m_faults.faults().diskSpace = 1024;
    ASSERT_EQ(writer.seek(1024, nullptr, 0), OK);
    EXPECT_FALSE(isSuccess(writer.write(reinterpret_cast<const unsigned char*>(bytes.data()), 512, written)));
    writer.close();
    EXPECT_EQ(readFile(m_dir.file("w.bin")), bytes.substr(0, 512) + bytes.substr(1024, 512));

    // create() refuses an existing file; open() takes it.
    Vex::CFileWriter plain;
    EXPECT_EQ(plain.create(m_dir.wfile("w.bin")), Fail);  // EEXIST has no code of its own
    EXPECT_EQ(plain.open(m_dir.wfile("w.bin")), OK);
    EXPECT_EQ(plain.getSectorSize(), 1u);
    EXPECT_EQ(plain.open(m_dir.wfile("w.bin")), InvalidState);
}

TEST_F(DiskFileTest, StaticHelpers)
{
    writeFile(m_dir.file("s.bin"), "x");
    EXPECT_TRUE(Vex::CDiskFile::exists(m_dir.wfile("s.bin")));
    EXPECT_TRUE(Vex::CDiskFile::remove(m_dir.wfile("s.bin")));
    EXPECT_FALSE(Vex::CDiskFile::exists(m_dir.wfile("s.bin")));
    EXPECT_FALSE(Vex::CDiskFile::remove(m_dir.wfile("s.bin")));
    m_faults.faults().sectorSize = 4096;
    EXPECT_EQ(Vex::CDiskFile::sectorSizeFromPath(m_dir.wfile("s.bin")), 4096u);
}

} // namespace
