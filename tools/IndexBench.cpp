// `cvtool indexbench`: times the sidecar index of growing files: appending
// rows as a capture does, and reading entries back at random from one and
// from two threads that share one indexer, as the editor's video and audio
// paths do.
#include "tools/IndexBench.h"

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <random>
#include <thread>

#include "frame/Utf8.h"
#include "growing/BinaryIndexer.h"
#include "tools/DriverRegistration.h"

using namespace Corvidane;
using namespace Corvidane::ExternalIndexer;

namespace {

double secondsSince(std::chrono::steady_clock::time_point start)
{
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

// Reads `gets` random entries; false when one isn't the entry written.
bool randomGets(BinaryIndexer& reader, unsigned rows, unsigned gets, unsigned seed)
{
    std::mt19937 random(seed);
    for (unsigned n = 0; n < gets; ++n) {
        unsigned i = random() % rows;
        IndexEntry entry;
        if (reader.get(0, i, entry) != OK || entry.decodeIndex != i)
            return false;
    }
    return true;
}

} // namespace

int indexBench(const std::vector<std::string>& args)
{
    unsigned rows = 3000000, gets = 20000;
    std::string folder;
    for (size_t i = 0; i < args.size(); ++i) {
        if (args[i] == "--rows" && i + 1 < args.size())
            rows = static_cast<unsigned>(std::strtoul(args[++i].c_str(), nullptr, 10));
        else if (args[i] == "--gets" && i + 1 < args.size())
            gets = static_cast<unsigned>(std::strtoul(args[++i].c_str(), nullptr, 10));
        else if (folder.empty() && args[i].rfind("--", 0) != 0)
            folder = args[i];
        else
            return 2;
    }
    if (folder.empty() || rows == 0)
        return 2;
    DriverRegistration files;
    std::wstring path = fromUtf8(std::filesystem::absolute(folder).string() + "/indexbench.mov.0.cvindex");

    TrackStructuralData video{};
    video.streamType = StreamVideo;
    auto start = std::chrono::steady_clock::now();
    {
        BinaryIndexer writer;
        writer.setOption(Indexer::DeleteOnClose, L"no");
        if (writer.create(path, {video}) != OK)
            return 1;
        for (unsigned i = 0; i < rows; ++i)
            if (writer.add(0, i, IndexEntry{1000ull * i, 1000, FrameIntra, i, i}) != OK)
                return 1;
    }
    double append = secondsSince(start);

    BinaryIndexer reader;
    reader.setOption(Indexer::DeleteOnClose, L"no");
    if (reader.open(path) != OK || reader.getNumEntries() != rows) {
        std::fprintf(stderr, "cvtool indexbench: the index doesn't hold the rows written\n");
        return 1;
    }
    start = std::chrono::steady_clock::now();
    for (unsigned i = 0; i < rows; ++i) {
        IndexEntry entry;
        if (reader.get(0, i, entry) != OK || entry.decodeIndex != i)
            return 1;
    }
    double sequential = secondsSince(start);

    start = std::chrono::steady_clock::now();
    if (!randomGets(reader, rows, gets, 1))
        return 1;
    double oneThread = secondsSince(start);

    start = std::chrono::steady_clock::now();
    bool good[2] = {false, false};
    std::thread other([&] { good[1] = randomGets(reader, rows, gets, 2); });
    good[0] = randomGets(reader, rows, gets, 3);
    other.join();
    double twoThreads = secondsSince(start);
    if (!good[0] || !good[1])
        return 1;

    std::printf("rows %u\n", rows);
    std::printf("append_ns_per_row %.1f\n", append * 1e9 / rows);
    std::printf("get_sequential_ns %.1f\n", sequential * 1e9 / rows);
    std::printf("get_random_1thread_ns %.1f\n", oneThread * 1e9 / gets);
    // Two threads at once: wall time per get over both threads' gets.
    std::printf("get_random_2threads_ns %.1f\n", twoThreads * 1e9 / (2.0 * gets));
    return 0;
}
