#include "front/read/FileReader.h"

#include <cwctype>

#include "frame/FourCC.h"

namespace CvWrappers {

namespace {

bool endsWithAvi(const std::wstring& path)
{
    if (path.size() < 3)
        return false;
    std::wstring tail = path.substr(path.size() - 3);
    for (wchar_t& c : tail)
        c = static_cast<wchar_t>(std::towupper(static_cast<wint_t>(c)));
    return tail == L"AVI";
}

// PCM layouts the editor plays only through conversion.
bool isConvertedPcm(unsigned sampleType) { return sampleType == 232 || sampleType == 233; }

} // namespace

int FileReader::isFileFormatSupported(const std::wstring& path, int openType, const PlayFileMetadataRep& video,
                                      const Aud::Metadata& audio) const
{
    if (!isFileTypeSupported(path, openType))
        return 0;
    std::string ignored;
    if (video.config.in("avi_type", ignored) == 1)
        return 0;
    int result = 0;
    if (audio.isPCM() && !isConvertedPcm(audio.sampleType))
        result = 2;
    if (audio.decodable && !endsWithAvi(path))
        result = 2;
    uint32_t format = video.format;
    // Codings the editor plays itself, whatever its decoders.
    if (Hc::isJpegFormat(format) || Hc::isH264Format(format) || format == Corvidane::fourCC("FFV1") ||
        (format == 0 && video.bitsPerPixel < 24))
        return result;
    return Hc::DecoderInfo::instance().canDecode(format) ? result | 1 : result;
}

} // namespace CvWrappers
