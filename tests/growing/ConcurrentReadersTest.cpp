#include <gtest/gtest.h>
#include <atomic>
#include <filesystem>
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

// The sidecar shrank behind the size the indexer measured, so every get that
// misses the cache fails and sets the last error, from several threads at
// once, while others ask for the text and the length. Each caller gets the
// failure and the text whole. Run under ThreadSanitizer this is the check of
// the error text's lock: unguarded, the assignments race.
TEST(ConcurrentReaders, FailingGetsFromSeveralThreadsKeepTheErrorTextWhole)
{
    CvWrappers::DeviceDriver driver;
    CvFileIOFactoryProvider::instance().registerCvFileIOFactory(&driver);
    TempDir dir;
    const unsigned rows = 20000;
    std::string name = dir.file("clip.mov.0.cvindex");
    {
        BinaryIndexer writer;
        writer.setOption(Indexer::DeleteOnClose, L"no");
        TrackStructuralData video{};
        video.streamType = StreamVideo;
        ASSERT_EQ(writer.create(dir.wfile("clip.mov.0.cvindex"), {video}), OK);
        for (unsigned i = 0; i < rows; ++i)
            ASSERT_EQ(writer.add(0, i, expectedEntry(i)), OK);
    }
    // Part of a further row, so that getLength reads the last whole row's entry.
    std::filesystem::resize_file(name, std::filesystem::file_size(name) + 10);
    BinaryIndexer reader;
    reader.setOption(Indexer::DeleteOnClose, L"no");
    ASSERT_EQ(reader.open(dir.wfile("clip.mov.0.cvindex")), OK);
    std::filesystem::resize_file(name, BinaryIndexer::headerSize + BinaryIndexer::entrySize);
    ASSERT_EQ(reader.getNumEntries(), rows) << "the size measured at open still counts";

    std::atomic<unsigned> unexpected{0}, badText{0};
    std::vector<std::thread> threads;
    for (unsigned t = 0; t < 4; ++t) {
        threads.emplace_back([&, t] {
            std::mt19937 random(t + 11);
            for (unsigned n = 0; n < 3000; ++n) {
                if (t == 3) {
                    // Reads the last entry, whose short read sets the text too.
                    if (reader.getLength() != rows)
                        ++unexpected;
                    std::wstring text = reader.getLastError();
                    if (text != L"Failed to read expected count")
                        ++badText;
                    continue;
                }
                IndexEntry entry;
                if (reader.get(0, 1000 + random() % (rows - 1000), entry) != Fail)
                    ++unexpected;
                if (reader.getLastError() != L"Failed to read expected count")
                    ++badText;
            }
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(unexpected.load(), 0u);
    EXPECT_EQ(badText.load(), 0u);
    CvFileIOFactoryProvider::instance().unregisterCvFileIOFactory(&driver);
}

} // namespace
