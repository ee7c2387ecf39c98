#include <gtest/gtest.h>
#include <atomic>
#include <random>
#include <thread>

#include "growing/BinaryIndexer.h"
#include "frame/DeviceDriver.h"
#include "support/TempDir.h"

using namespace Corvidane;
using namespace Corvidane::ExternalIndexer;

namespace {

IndexEntry expectedEntry(unsigned i) { return IndexEntry{7ull * i + 3, i % 1000 + 1, uint16_t(i % 7 ? 0 : 4), i ^ 1u, i}; }

// Several threads of one process share one indexer and read entries far
// apart, so that each of them keeps refilling the cache the others read,
// and every one of them must still get the entry it asked for.
// Run under ThreadSanitizer this is the check of the cache's spin lock.
TEST(ConcurrentReaders, ThreadsSharingOneIndexerReadTheRightEntries)
{
    CvWrappers::DeviceDriver driver;
    CvFileIOFactoryProvider::instance().registerCvFileIOFactory(&driver);
    TempDir dir;
    const unsigned rows = 200000; // more rows than one cache fill holds
    {
        BinaryIndexer writer;
        writer.setOption(Indexer::DeleteOnClose, L"no");
        TrackStructuralData video{};
        video.streamType = StreamVideo;
        ASSERT_EQ(writer.create(dir.wfile("clip.mov.0.cvindex"), {video}), OK);
        for (unsigned i = 0; i < rows; ++i)
            ASSERT_EQ(writer.add(0, i, expectedEntry(i)), OK);
    }
    BinaryIndexer reader;
    reader.setOption(Indexer::DeleteOnClose, L"no");
    ASSERT_EQ(reader.open(dir.wfile("clip.mov.0.cvindex")), OK);
    ASSERT_EQ(reader.getNumEntries(), rows);

    std::atomic<unsigned> wrong{0}, failed{0};
    std::vector<std::thread> threads;
    for (unsigned t = 0; t < 4; ++t) {
        threads.emplace_back([&, t] {
            std::mt19937 random(t + 1);
            unsigned i = 0;
            // Runs of 40 entries from random places, as a player reads.
            for (unsigned n = 0; n < 8000; ++n) {
                i = n % 40 ? (i + 1) % rows : random() % rows;
                IndexEntry entry;
                if (reader.get(0, i, entry) != OK) {
                    ++failed;
                    continue;
                }
                IndexEntry expected = expectedEntry(i);
                if (entry.offset != expected.offset || entry.size != expected.size ||
                    entry.frameType != expected.frameType || entry.presentationIndex != expected.presentationIndex ||
                    entry.decodeIndex != expected.decodeIndex)
                    ++wrong;
            }
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(wrong.load(), 0u);
    EXPECT_EQ(failed.load(), 0u);
    CvFileIOFactoryProvider::instance().unregisterCvFileIOFactory(&driver);
}

} // namespace
