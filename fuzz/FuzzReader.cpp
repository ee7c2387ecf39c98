// A libFuzzer target that stores its input as one file, opens a media path
// through the plug-in's open dispatch, and drives the whole reader contract
// over what it gets. Built once per reader: FUZZ_INPUT_PATH is where the input
// goes, FUZZ_OPEN_PATH the media path opened; when they differ, the media path
// holds fixed essence bytes (the input is then a sidecar index).
#include <cstddef>
#include <cstdint>
#include <string>

#include "frame/CvFileIOFactory.h"
#include "frame/DeviceDriver.h"
#include "frame/Utf8.h"
#include "front/read/FileInfo.h"
#include "host/Log.h"
#include "support/MemoryFiles.h"
#include "support/ReaderExerciser.h"

namespace {

std::string essence()
{
    std::string bytes(1 << 20, '\0');
    for (size_t i = 0; i < bytes.size(); ++i)
        bytes[i] = static_cast<char>((i * 131 + i / 7) & 0xFF);
    return bytes;
}

struct Harness {
    Harness()
    {
        CvFileIOFactoryProvider::instance().registerCvFileIOFactory(&driver);
        setLogSink([](const std::string&) {});
        if (std::string(FUZZ_OPEN_PATH) != FUZZ_INPUT_PATH)
            files.put(FUZZ_OPEN_PATH, essence());
    }
    CvWrappers::DeviceDriver driver;
    MemoryFiles files;
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    static Harness harness;
    harness.files.put(FUZZ_INPUT_PATH, std::string(reinterpret_cast<const char*>(data), size));
    CvWrappers::FileInfo file(Corvidane::fromUtf8(FUZZ_OPEN_PATH), 0, 0);
    if (Corvidane::MediaFileReader* reader = file.containerReader())
        exerciseReader(*reader);
    return 0;
}
