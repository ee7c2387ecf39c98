#include "front/write/QtFileWriter.h"

#include <algorithm>
#include <cstdlib>

#include "frame/FourCC.h"
#include "frame/Rates.h"
#include "host/FrameRates.h"

using Corvidane::fourCC;

namespace qt {

int FileWriter::openFile(const std::wstring& name, const Hc::FileWriterParams& params, Hc::FileInfoBase*& file)
{
    file = nullptr;
    const unsigned audioCount = unsigned(params.audio.size());
    const unsigned count = (audioCount + 2) & 0xFFFF;
    if (count < 2)
        return 0;
    std::vector<Corvidane::TrackStructuralData> tracks(count, Corvidane::TrackStructuralData{});
    const unsigned timecodeRow = audioCount + 1;
    const configb& config = params.config;

    tracks[timecodeRow] = timecodeTrack(config);

    Corvidane::TrackStructuralData& video = tracks[0];
    video.streamType = Corvidane::StreamVideo;
    Corvidane::VideoStructuralData& v = video.video;
    v.fourcc = codeOf(setting(config, "codec_type"), params.compression);
    std::wstring xml;
    addMetadata(xml, config, "reelid", "source_reel");
    if (!xml.empty())
        assignXMLMetadata(xml, video);
    const bool dvFamily = v.fourcc == fourCC("dvsd") || v.fourcc == fourCC("dv25") || v.fourcc == fourCC("dv50") ||
                          v.fourcc == fourCC("PPG2");
    v.height = dvFamily && params.height == 486 ? 480 : params.height;
    v.width = params.width;
    if (params.compression == 1244)
        v.width = 1440;
    else if (v.fourcc == fourCC("dvh1") && params.width == 1920)
        v.width = params.frameRate == Hc::Rate25 ? 1440 : params.frameRate == Hc::Rate30 ? 1280 : params.width;
    else if (v.fourcc == fourCC("dvh1") && params.width == 1280)
        v.width = 960;
    v.activeWidth = settingNumber(config, "activeWidth");
    v.activeHeight = settingNumber(config, "activeHeight");
    v.bitsPerPixel = Corvidane::getBppForFCC(v.fourcc);
    setFrameFields(params, v);
    if (params.compression == fourCC("apxx"))
        v.flags = Corvidane::VideoFollowGuidelines;
    if (params.compression == fourCC("AVdr"))
        v.resolutionId = codeOf(setting(config, "codec_type"), fourCC("AVdr"));
    setAspectAndColour(params, v);
    for (unsigned i = 0; i < audioCount; ++i)
        tracks[1 + i] = soundTrack(params.audio[i]);

    // A file of a known length reserves its index for that length, not for
    // the largest file accepted.
    unsigned maxFrames = 0;
    const double duration = std::atof(setting(config, "Duration").c_str());
    if (duration > 0)
        maxFrames = unsigned(duration * Hc::getFramesPerSecond(params.frameRate) + 0.5);

    auto writer = std::make_unique<Corvidane::QuickTime::FileWriter>();
    // The index goes ahead of the samples unless the caller asks for it last
    // (a setting of ours, for files that needn't be read while written).
    const bool indexFirst = settingNumber(config, "index_last") == 0;
    const CvResult created = writer->create(name, tracks.data(), int(count), maxFrames, indexFirst);
    setLastError(isSuccess(created) ? std::wstring() : std::wstring(writer->getLastError()));
    if (!isSuccess(created)) {
        for (Corvidane::TrackStructuralData& track : tracks)
            Corvidane::freeExtendedData(track);
        return HcErrFromCvResult(created);
    }
    file = new FileInfo(std::move(writer), std::move(tracks), params,
                        CvWrappers::WriteLoop::Layout{timecodeRow, 0, 1, true});
    return file->initialise();
}

} // namespace qt
