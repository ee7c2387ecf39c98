#include "support/InputHarness.h"

#include <algorithm>
#include <vector>

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

// A few frames and a little sound through the editor's read paths: the first,
// middle and last frames, and runs of sound at the start and the middle.
void exerciseFrontEnd(CvWrappers::FileInfo& file)
{
    const int64_t length = file.videoMetadata().length;
    if (file.videoStream() >= 0 && length > 0) {
        const unsigned origin = file.getVideoOrigin();
        for (int64_t at : {int64_t(0), length / 2, length - 1}) {
            const unsigned frame = unsigned(std::min<int64_t>(at + origin, UINT32_MAX));
            Ptr<IndexInfoRep> index;
            file.hcFileIxCache_open(index, frame);
            Ptr<VideoReadRequest> request(new VideoReadRequest(file.videoMetadata(), frame, index));
            Ptr<FrameBufferRep> out;
            file.readVideo(out, request);
        }
        unsigned usable = 0;
        file.recalculateSize(unsigned(std::min<int64_t>(length, UINT32_MAX)), usable);
    }
    const std::vector<Aud::Metadata>& audio = file.audioMetadata();
    for (unsigned stream = 0; stream < audio.size() && stream < 2; ++stream) {
        const uint64_t samples = uint64_t(std::max<int64_t>(audio[stream].length, 0));
        for (uint64_t start : {uint64_t(0), samples / 2}) {
            Ptr<ByteBufferImpl> buffer;
            Ptr<AudioReadRequest> request(new AudioReadRequest(stream, start, 2000));
            file.readAudio(buffer, request);
        }
    }
}

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
    // And as the editor opens it: the metadata mapping and both read paths.
    CvWrappers::FileInfo editor(Corvidane::fromUtf8(media), 0, OpenVideoAndAudio);
    if (editor.containerReader() && editor.readMetadata() == 1)
        exerciseFrontEnd(editor);
    m_files.remove(input);
    return reader != nullptr;
}
