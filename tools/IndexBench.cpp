// `cvtool indexbench`: times the sidecar index of growing files: appending
// rows as a capture does, and reading entries back at random from one and
// from two threads that share one indexer, as the editor's video and audio
// paths do, and the backward search for the key frame of a seek, from 1,000
// and from 99,999 frames past it.
#include "tools/IndexBench.h"

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <random>
#include <thread>

#include "frame/Utf8.h"
#include "growing/BinaryIndexer.h"
#include "growing/IndexReader.h"
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

// A key frame every keySpacing rows, predicted frames between.
constexpr unsigned keySpacing = 100000;

// `searches` key-frame searches from `distance` frames past a key frame, each
// after a random get elsewhere, as a seek comes; false on a wrong answer.
bool keyFrameSearches(Reader& keys, BinaryIndexer& index, unsigned rows, unsigned distance, unsigned searches,
                      unsigned seed)
{
    std::mt19937 random(seed);
    unsigned keyFrames = (rows - 1 - distance) / keySpacing + 1;
    for (unsigned n = 0; n < searches; ++n) {
        IndexEntry entry;
        if (index.get(0, random() % rows, entry) != OK)
            return false;
        unsigned key = (random() % keyFrames) * keySpacing;
        unsigned left = 0, right = 0;
        bool hasLeft = false, hasRight = false;
        if (!keys.findKeyFrames(key + distance, left, hasLeft, right, hasRight) || !hasLeft || left != key)
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
        for (unsigned i = 0; i < rows; ++i) {
            uint16_t type = i % keySpacing ? FramePredicted : FrameIntra;
            if (writer.add(0, i, IndexEntry{1000ull * i, 1000, type, i, i}) != OK)
                return 1;
        }
    }
    double append = secondsSince(start);

    auto shared = std::make_shared<BinaryIndexer>();
    BinaryIndexer& reader = *shared;
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

    // Seeks: a random get, then the search back to the key frame. Per search,
    // and per frame that the search steps over.
    Reader keys(shared);
    keys.setCurrentTrack(0);
    const unsigned nearDistance = 1000, farDistance = keySpacing - 1;
    double nearSearch = 0, farSearch = 0;
    if (rows > keySpacing) {
        unsigned nearCount = std::max(1u, gets / 10), farCount = std::max(1u, gets / 500);
        start = std::chrono::steady_clock::now();
        if (!keyFrameSearches(keys, reader, rows, nearDistance, nearCount, 4))
            return 1;
        nearSearch = secondsSince(start) / nearCount;
        start = std::chrono::steady_clock::now();
        if (!keyFrameSearches(keys, reader, rows, farDistance, farCount, 5))
            return 1;
        farSearch = secondsSince(start) / farCount;
    }

    std::printf("rows %u\n", rows);
    std::printf("append_ns_per_row %.1f\n", append * 1e9 / rows);
    std::printf("get_sequential_ns %.1f\n", sequential * 1e9 / rows);
    std::printf("get_random_1thread_ns %.1f\n", oneThread * 1e9 / gets);
    // Two threads at once: wall time per get over both threads' gets.
    std::printf("get_random_2threads_ns %.1f\n", twoThreads * 1e9 / (2.0 * gets));
    if (rows > keySpacing) {
        // A seek: one random get and the search back over DISTANCE frames.
        std::printf("keyframe_back_%u_ns %.1f\n", nearDistance, nearSearch * 1e9);
        std::printf("keyframe_back_%u_ns_per_frame %.2f\n", nearDistance, nearSearch * 1e9 / nearDistance);
        std::printf("keyframe_back_%u_ns %.1f\n", farDistance, farSearch * 1e9);
        std::printf("keyframe_back_%u_ns_per_frame %.2f\n", farDistance, farSearch * 1e9 / farDistance);
    }
    return 0;
}
