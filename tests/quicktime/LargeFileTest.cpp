#include <gtest/gtest.h>

#include <fstream>
#include <vector>

#include "quicktime/MovieBytes.h"
#include "quicktime/QtReaderFixture.h"

using namespace movie_bytes;
using Corvidane::IndexEntry;

namespace {

class QuickTimeLargeFile : public QtReaderFixture {};

// A movie whose 64-bit mdat runs past 4 GiB, with co64 offsets out there and
// the movie atom behind it, in a sparse file.
TEST_F(QuickTimeLargeFile, SamplesBeyondFourGibibytesAreReadFromTheRightPlace)
{
    const uint64_t gib4 = uint64_t(1) << 32;
    const std::vector<uint64_t> offsets = {gib4 - 100, gib4 + 1000, gib4 + (uint64_t(1) << 30) + 7};
    const std::vector<uint32_t> sizes = {300, 5000, 777};
    const uint64_t mdatEnd = offsets.back() + sizes.back() + 33;

    Track t;
    t.sizes = sizes;
    t.chunkOffsets = offsets;
    t.offsets64 = true;
    std::string movie = moov(trak(t));
    std::string path = m_dir.file("big.mov");
    {
        std::ofstream out(path, std::ios::binary | std::ios::trunc);
        std::string head = atom("ftyp", "qt  " + be32(0) + "qt  ") + be32(1) + "mdat" + be64(mdatEnd - 20);
        out.write(head.data(), std::streamsize(head.size()));
        for (size_t i = 0; i < offsets.size(); ++i) {
            std::string sample(sizes[i], char('p' + i));
            sample.replace(0, 8, be64(offsets[i]));
            out.seekp(std::streamoff(offsets[i]));
            out.write(sample.data(), std::streamsize(sample.size()));
        }
        out.seekp(std::streamoff(mdatEnd));
        out.write(movie.data(), std::streamsize(movie.size()));
        ASSERT_TRUE(out.good());
    }
    auto opened = openPath(path);
    ASSERT_TRUE(opened.ok()) << opened.error();
    auto& reader = *opened.reader;
    EXPECT_EQ(reader.moovOffset(), mdatEnd) << "the walk stepped over the 64-bit mdat";
    ASSERT_EQ(reader.essenceOpen(0), OK);
    EXPECT_TRUE(reader.essenceIsPresent(0));
    std::vector<unsigned char> buffer(16384);
    for (unsigned i = 0; i < offsets.size(); ++i) {
        IndexEntry entry;
        ASSERT_EQ(reader.getIndexEntry(i, entry), OK);
        EXPECT_EQ(uint64_t(entry.offset), offsets[i]);
        EXPECT_EQ(uint32_t(entry.size), sizes[i]);
        unsigned offset = 0, size = 0;
        ASSERT_EQ(reader.essenceRead(i, 1, buffer.data(), unsigned(buffer.size()), offset, size), OK);
        ASSERT_EQ(size, sizes[i]);
        std::string got(reinterpret_cast<char*>(buffer.data()) + offset, size);
        EXPECT_EQ(got.substr(0, 8), be64(offsets[i])) << "sample " << i << " read at its own offset";
        EXPECT_EQ(got.substr(8), std::string(sizes[i] - 8, char('p' + i)));
    }
}

} // namespace
