// A libFuzzer target that opens its input as a file of one extension through
// the plug-in's open dispatch, then drives the whole reader contract over it.
// Built once per extension (FUZZ_EXTENSION).
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include "frame/CvFileIOFactory.h"
#include "frame/DeviceDriver.h"
#include "frame/Utf8.h"
#include "front/read/FileInfo.h"
#include "host/Log.h"
#include "support/MemoryFiles.h"
#include "support/ReaderExerciser.h"

namespace {

struct Harness {
    Harness()
    {
        CvFileIOFactoryProvider::instance().registerCvFileIOFactory(&driver);
        setLogSink([](const std::string&) {});
    }
    CvWrappers::DeviceDriver driver;
    MemoryFiles files;
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    static Harness harness;
    static const std::string path = std::string("/fuzz/input.") + FUZZ_EXTENSION;
    harness.files.put(path, std::string(reinterpret_cast<const char*>(data), size));
    CvWrappers::FileInfo file(Corvidane::fromUtf8(path), 0, 0);
    if (Corvidane::MediaFileReader* reader = file.containerReader())
        exerciseReader(*reader);
    return 0;
}
