#include <cstring>
#include <gtest/gtest.h>

#include "frame/ByteBuffer.h"
#include "support/DriverFixture.h"
#include "support/TempDir.h"

using Corvidane::CByteBuffer;

namespace {

TEST(ByteBuffer, BorrowedMemoryIsLeftToItsLender)
{
    unsigned char memory[16];
    std::memset(memory, 0x5A, sizeof memory);
    {
        CByteBuffer borrowed(memory, sizeof memory);
        EXPECT_FALSE(borrowed.owned());
        EXPECT_TRUE(borrowed.append(reinterpret_cast<const unsigned char*>("abc"), 3));
        // A copy owns memory of its own.
        CByteBuffer copy(borrowed);
        EXPECT_TRUE(copy.owned());
        EXPECT_NE(copy.getBuffer(), memory);
        EXPECT_EQ(copy.used(), 3u);
        EXPECT_EQ(copy.capacity(), 16u);
        EXPECT_EQ(std::memcmp(copy.getBuffer(), "abc", 3), 0);
    }
    // The buffer died without freeing (ASan would object) and left the bytes.
    EXPECT_EQ(std::memcmp(memory, "abc", 3), 0);

    // attach() on a default buffer takes the block; detach() hands it back.
    uint64_t actual = 0;
    unsigned char* block = CByteBuffer::allocateMemory(8, actual);
    {
        CByteBuffer attached;
        attached.attach(block, actual);
        EXPECT_TRUE(attached.owned());
        attached.detach();
        EXPECT_EQ(attached.getBuffer(), nullptr);
    }
    CByteBuffer::freeMemory(block);
}

TEST(ByteBuffer, AppendsThatDoNotFitChangeNothing)
{
    CByteBuffer buffer(8);
    const unsigned char bytes[] = {1, 2, 3, 4, 5, 6};
    EXPECT_TRUE(buffer.append(bytes, 6));
    EXPECT_TRUE(buffer.append(bytes, 3));  // doesn't fit: true, nothing copied
    EXPECT_EQ(buffer.used(), 6u);
    EXPECT_FALSE(buffer.append(nullptr, 1));
    EXPECT_FALSE(buffer.append3(9, 3));
    EXPECT_TRUE(buffer.append3(9, 2));
    EXPECT_EQ(buffer.used(), 8u);
    EXPECT_EQ(buffer.getBufferAtEnd(), nullptr);  // full
    EXPECT_EQ(buffer.at(7), 9);
    EXPECT_EQ(buffer.at(8), 0);
    EXPECT_FALSE(buffer.setUsed(9));
    EXPECT_FALSE(buffer.setOffset(8));
    EXPECT_TRUE(buffer.setOffset(2));

    // Appending a buffer takes its content, from its offset to its used size.
    CByteBuffer other(16);
    EXPECT_TRUE(other.append(buffer));
    EXPECT_EQ(other.used(), 6u);
    EXPECT_EQ(other.at(0), 3);

    CByteBuffer none;
    EXPECT_FALSE(none.append(bytes, 1));
    EXPECT_TRUE(none.empty());
    EXPECT_EQ(none.getBufferAtOffset(), nullptr);
}

TEST(ByteBuffer, InflateAssignAndFlush)
{
    CByteBuffer buffer(4);
    const unsigned char bytes[] = {1, 2, 3};
    buffer.append(bytes, 3);
    buffer.setOffset(1);
    EXPECT_FALSE(buffer.inflate(4));
    EXPECT_TRUE(buffer.inflate(64));
    EXPECT_EQ(buffer.capacity(), 64u);
    EXPECT_EQ(buffer.used(), 3u);
    EXPECT_EQ(buffer.offset(), 1u);
    EXPECT_EQ(buffer.at(2), 3);

    CByteBuffer small(2);
    small = buffer;
    EXPECT_EQ(small.capacity(), 64u);
    EXPECT_EQ(small.offset(), 1u);
    small = small;
    EXPECT_EQ(small.used(), 3u);
    small = CByteBuffer();
    EXPECT_EQ(small.capacity(), 0u);

    buffer.flush(0xEE, 2);
    EXPECT_TRUE(buffer.empty());
    EXPECT_EQ(buffer.offset(), 0u);
    EXPECT_EQ(buffer.at(1), 0xEE);
    EXPECT_EQ(buffer.at(2), 3);
}

class ByteBufferFiles : public DriverFixture {
protected:
    TempDir m_dir;
};

TEST_F(ByteBufferFiles, FileRoundTripAndLimit)
{
    CByteBuffer out(100);
    for (int i = 0; i < 100; ++i)
        out.append3(static_cast<unsigned char>(i), 1);
    EXPECT_EQ(out.toFile(m_dir.wfile("buffer.bin").c_str()), 1);

    CByteBuffer in;
    EXPECT_EQ(in.fromFile(m_dir.wfile("buffer.bin").c_str(), 0), 100);
    EXPECT_EQ(in.capacity(), 132u);
    EXPECT_EQ(std::memcmp(in.getBuffer(), out.getBuffer(), 100), 0);
    EXPECT_EQ(in.fromFile(m_dir.wfile("buffer.bin").c_str(), 99), static_cast<int32_t>(0x80004005));
    EXPECT_EQ(in.fromFile(m_dir.wfile("missing").c_str(), 0), static_cast<int32_t>(0x80070002));
    EXPECT_NE(out.toFile(m_dir.wfile("no/such/folder").c_str()), 1);
}

} // namespace
