#include <filesystem>
#include <gtest/gtest.h>

#include "support/InputHarness.h"
#include "support/TempDir.h"

namespace {

// Every input that once crashed or hung a reader under the fuzzers, replayed
// through the same harness: each must open or be refused, and survive the
// whole contract.
TEST(FuzzRegressions, EveryKeptInputIsHandled)
{
    InputHarness harness;
    int replayed = 0;
    for (const auto& folder : std::filesystem::directory_iterator(CV_FUZZ_REGRESSIONS)) {
        if (!folder.is_directory())
            continue;
        std::string kind = folder.path().filename().string();
        for (const auto& input : std::filesystem::directory_iterator(folder.path())) {
            SCOPED_TRACE(input.path().string());
            harness.run(kind, readFile(input.path().string()));
            ++replayed;
        }
    }
    EXPECT_GT(replayed, 0);
}

} // namespace

namespace {

// Every prefix of the seed sidecars, and copies with each header byte
// flipped: each opens or is refused, and survives the whole contract.
TEST(SidecarSweep, EveryPrefixAndEveryFlippedHeaderByte)
{
    InputHarness harness;
    int opened = 0, refused = 0;
    for (const auto& seed : std::filesystem::directory_iterator(std::string(CV_FUZZ_REGRESSIONS) + "/cvindex")) {
        std::string bytes = readFile(seed.path().string());
        SCOPED_TRACE(seed.path().string());
        for (size_t length = 0; length <= bytes.size(); ++length)
            (harness.run("cvindex", bytes.substr(0, length)) ? opened : refused)++;
        for (size_t at = 0; at < std::min<size_t>(bytes.size(), 512); ++at) {
            std::string flipped = bytes;
            flipped[at] = static_cast<char>(flipped[at] ^ 0xFF);
            (harness.run("cvindex", flipped) ? opened : refused)++;
        }
    }
    // Both outcomes occur: whole rows open, a bare header or a bad magic doesn't.
    EXPECT_GT(opened, 0);
    EXPECT_GT(refused, 0);
}

} // namespace
