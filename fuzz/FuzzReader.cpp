// A libFuzzer target for one container reader: its input is opened as a file
// of kind FUZZ_KIND through the plug-in's open dispatch, and the whole reader
// contract is driven over it.
#include <cstddef>
#include <cstdint>
#include <string>

#include "support/InputHarness.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    static InputHarness harness;
    harness.run(FUZZ_KIND, std::string(reinterpret_cast<const char*>(data), size));
    return 0;
}
