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
