#include "support/InputHarness.h"

#include "frame/CvFileIOFactory.h"
#include "frame/Utf8.h"
#include "front/read/FileInfo.h"
#include "host/Log.h"
#include "support/ReaderExerciser.h"

namespace {

std::string essence()
{
    std::string bytes(1 << 20, '\0');
    for (size_t i = 0; i < bytes.size(); ++i)
        bytes[i] = static_cast<char>((i * 131 + i / 7) & 0xFF);
    return bytes;
}

const char* sidecarMedia = "/input/clip.mov";

} // namespace

InputHarness::InputHarness()
{
    CvFileIOFactoryProvider::instance().registerCvFileIOFactory(&m_driver);
    setLogSink([](const std::string&) {});
    m_files.put(sidecarMedia, essence());
}

InputHarness::~InputHarness()
{
    setLogSink({});
    CvFileIOFactoryProvider::instance().unregisterCvFileIOFactory(&m_driver);
}

bool InputHarness::run(const std::string& kind, const std::string& bytes)
{
    bool sidecar = kind == "cvindex";
    std::string media = sidecar ? sidecarMedia : "/input/input." + kind;
    std::string input = sidecar ? media + ".0.cvindex" : media;
    m_files.put(input, bytes);
    CvWrappers::FileInfo file(Corvidane::fromUtf8(media), 0, 0);
    Corvidane::MediaFileReader* reader = file.containerReader();
    if (reader)
        exerciseReader(*reader);
    m_files.remove(input);
    return reader != nullptr;
}
