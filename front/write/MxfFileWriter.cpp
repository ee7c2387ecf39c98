#include "front/write/MxfFileWriter.h"

#include <dlfcn.h>

#include <algorithm>
#include <filesystem>

#include "frame/FourCC.h"
#include "frame/Utf8.h"
#include "host/FormatCodes.h"

using Corvidane::fourCC;

namespace mxf {

namespace {

constexpr uint32_t noVideo = 0xFFFFFFFFu;
constexpr int opAtom = 0;
constexpr int op1a = 1;

// The dictionaries that OP-Atom files carry are looked for where an
// installation puts them, then in the folder "mxf" beside the plug-in's own
// file, where the build puts them, so that a build tree writes OP-Atom
// without being installed. When neither holds them the installed folder is
// named, and the writer's error names it.
std::wstring dictionaryFolder()
{
    namespace fs = std::filesystem;
    const char* const probe = "corvidane_metadata_dictionary.bin";
    const std::wstring installed = L"/usr/share/halcyonics/";
    std::error_code error;
    if (fs::exists(fs::path("/usr/share/halcyonics") / probe, error))
        return installed;
    Dl_info self{};
    if (::dladdr(reinterpret_cast<void*>(&dictionaryFolder), &self) && self.dli_fname) {
        const fs::path beside = fs::path(self.dli_fname).parent_path() / "mxf";
        if (fs::exists(beside / probe, error))
            return Corvidane::fromUtf8(beside.string() + "/");
    }
    return installed;
}

// Edit units in a second of the file's main rate, at least one: the picture's,
// or for sound alone the timecode's, one host call a frame.
unsigned editUnitsPerSecond(const Corvidane::TrackStructuralData& track)
{
    const bool picture = track.streamType == Corvidane::StreamVideo;
    const uint32_t numerator = picture ? track.video.rateNumerator : track.timecode.rateNumerator;
    const uint32_t denominator = picture ? track.video.rateDenominator : track.timecode.rateDenominator;
    return denominator ? std::max(1u, unsigned((uint64_t(numerator) + denominator / 2) / denominator)) : 1u;
}

} // namespace

int FileWriter::openFile(const std::wstring& name, const Hc::FileWriterParams& params, Hc::FileInfoBase*& file)
{
    file = nullptr;
    const bool video = params.compression != noVideo;
    const unsigned audioCount = unsigned(params.audio.size());
    const unsigned count = audioCount + (video ? 2 : 1);
    const unsigned videoRow = 1, firstAudioRow = video ? 2 : 1;
    const int pattern = !video || audioCount == 0 || params.multiplexing == 2 ? opAtom : op1a;
    std::vector<Corvidane::TrackStructuralData> tracks(count, Corvidane::TrackStructuralData{});
    const configb& config = params.config;

    tracks[0] = timecodeTrack(config);

    if (video) {
        Corvidane::TrackStructuralData& picture = tracks[videoRow];
        picture = pictureTrack(params, Hc::lookupPlayoutFCC(codeOf(setting(config, "codec_type"), params.compression)));
        const Corvidane::VideoStructuralData& v = picture.video;
        // These codings go to OP-Atom files whatever the tracks say.
        std::wstring xml;
        const bool mxfFormat = params.formatType.size() >= 3 &&
                               params.formatType.compare(params.formatType.size() - 3, 3, "MXF") == 0;
        if (mxfFormat && (v.fourcc == fourCC("dv25") || v.fourcc == fourCC("dv50") || v.fourcc == fourCC("dvh1") ||
                          v.fourcc == fourCC("avc5") || v.fourcc == fourCC("avc6") || v.fourcc == noVideo))
            xml = L"<op>atom</op>";
        // "shot" names the take and "take" the shot: kept so.
        static const std::pair<const char*, const char*> comments[] = {
            {"reelid", "source_reel"}, {"scene", "scene"}, {"shot", "take"},
            {"notes", "comment"},      {"name", "clip_name"}, {"take", "shot"}};
        for (const auto& comment : comments)
            addMetadata(xml, config, comment.first, comment.second);
        if (!xml.empty())
            assignXMLMetadata(xml, picture);
    }
    for (unsigned i = 0; i < audioCount; ++i)
        tracks[firstAudioRow + i] = soundTrack(params.audio[i]);

    auto writer = std::make_unique<Corvidane::MXF::CMxf_FileWriter>();
    writer->setTitle(Corvidane::fromUtf8(setting(config, "name")));
    writer->setResourceFilePath(dictionaryFolder());
    const CvResult created = writer->create(name, tracks.data(), int(count), pattern);
    setLastError(isSuccess(created) ? std::wstring() : std::wstring(writer->getLastError()));
    if (!isSuccess(created)) {
        for (Corvidane::TrackStructuralData& track : tracks)
            Corvidane::freeExtendedData(track);
        return HcErrFromCvResult(created);
    }
    // A capture killed or cut off loses at most its last second: OP-Atom
    // files would otherwise keep their first header until closed, and OP1a
    // files their last body partition's. XDCAM's partitions of ten seconds
    // at most are its flushes.
    if (!writer->isOp1aXdcam())
        writer->setFlushPeriod(editUnitsPerSecond(tracks[video ? videoRow : 0]));
    file = new FileInfo(std::move(writer), std::move(tracks), params,
                        CvWrappers::WriteLoop::Layout{0, video ? videoRow : 0, firstAudioRow, false});
    return file->initialise();
}

int FileInfo::writeAudioSamples(const std::vector<std::vector<unsigned char>>& streams, unsigned count)
{
    if (params().compression != noVideo)
        return Hc::FileInfoBase::writeAudioSamples(streams, count);
    std::vector<Corvidane::TrackData>& rows = this->rows();
    const std::vector<Hc::AudioStreamDescription>& audio = params().audio;
    for (size_t i = 0; i < audio.size(); ++i) {
        const std::vector<unsigned char>* stream = i < streams.size() ? &streams[i] : nullptr;
        const size_t wanted = stream ? std::min<size_t>(size_t(count) * audio[i].bytesPerSample, stream->size()) : 0;
        rows[layout().firstAudioRow + i] = {stream ? stream->data() : nullptr, uint32_t(wanted), 0, 0};
    }
    return HcErrFromCvResult(m_writer->writeAtom(rows.data(), int(rows.size())));
}

} // namespace mxf
