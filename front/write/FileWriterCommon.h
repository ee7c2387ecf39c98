#pragma once
#include <cstdint>
#include <string>
#include <vector>

#include "frame/CvResult.h"
#include "frame/TrackRecords.h"
#include "host/FileReaderResource.h"

namespace CvWrappers {

// What the three writer resources share: their names, and the per-file
// settings that travel to a track as a small XML fragment.
class FileWriterCommon : public Hc::FileWriterResource {
public:
    FileWriterCommon(std::string name, std::string code, std::vector<std::string> formats)
        : FileWriterResource(std::move(formats)), m_name(std::move(name)), m_code(std::move(code))
    {
    }
    std::string resourceName() const override { return m_name; }
    std::string resourceCode() const override { return m_code; }
    std::wstring lastError() const override { return m_lastError; }

    // Appends <tag>value</tag> for the setting `key`, unescaped, when it has
    // a value.
    static void addMetadata(std::wstring& xml, const configb& config, const std::string& key, const std::string& tag);
    // Gives the track the fragment as zero-terminated 32-bit characters.
    static void assignXMLMetadata(const std::wstring& text, Corvidane::TrackStructuralData& track);

protected:
    // What the resources share of the mapping from the host's parameters:
    // a setting's text (empty when absent) and number, a setting's four
    // letters as a code (`fallback` for other texts), the timecode track of
    // "TcFps", "TcStartFrame" and "drop", a sound track of linear PCM, and
    // the picture's aspect and colour.
    static std::string setting(const configb& config, const char* key);
    static unsigned settingNumber(const configb& config, const char* key);
    static uint32_t codeOf(const std::string& text, uint32_t fallback);
    static Corvidane::TrackStructuralData timecodeTrack(const configb& config);
    static Corvidane::TrackStructuralData soundTrack(const Hc::AudioStreamDescription& stream);
    static void setAspectAndColour(const Hc::FileWriterParams& params, Corvidane::VideoStructuralData& video);
    // The picture's stride, scan, rate, GOP and data rate from the host's parameters.
    static void setFrameFields(const Hc::FileWriterParams& params, Corvidane::VideoStructuralData& video);
    // The container writer's words on the last openFile; empty after one
    // that succeeded.
    void setLastError(std::wstring text) { m_lastError = std::move(text); }
    // The picture track of the MXF and AVI resources for the coding
    // `fourcc`: DV's 486 lines stored as 480, IMX's as 512 or 608 with its
    // VBI, the 1440-wide HDV and DVCPRO HD codes, and the matrix that goes
    // with the primaries.
    static Corvidane::TrackStructuralData pictureTrack(const Hc::FileWriterParams& params, uint32_t fourcc);

private:
    std::string m_name;
    std::string m_code;
    std::wstring m_lastError;
};

// The write loop the per-file objects share: each call pairs one video frame
// with the audio that goes with it, fills one row per track and hands the
// rows to the container writer. Owns the tracks and the rows.
class WriteLoop : public Hc::FileInfoBase {
public:
    struct Layout {
        unsigned timecodeRow;
        unsigned videoRow;
        unsigned firstAudioRow;
        // QuickTime stores 24-bit sound big-endian.
        bool swap24BitSound;
    };
    WriteLoop(std::vector<Corvidane::TrackStructuralData> tracks, const Hc::FileWriterParams& params, Layout layout);
    ~WriteLoop() override;
    WriteLoop(const WriteLoop&) = delete;
    WriteLoop& operator=(const WriteLoop&) = delete;

    int writeSurface(const unsigned char* bytes, unsigned size, uint32_t frameType) override;

protected:
    // Hands the filled rows to the container writer.
    virtual CvResult writeRows(Corvidane::TrackData* rows, unsigned count) = 0;
    std::vector<Corvidane::TrackData>& rows() { return m_rows; }
    const Hc::FileWriterParams& params() const { return m_params; }
    const Layout& layout() const { return m_layout; }

private:
    std::vector<Corvidane::TrackStructuralData> m_tracks;
    std::vector<Corvidane::TrackData> m_rows;
    Hc::FileWriterParams m_params;
    Layout m_layout;
    uint32_t m_timecodeSample = 0;
    std::vector<std::vector<unsigned char>> m_swapped;
};

} // namespace CvWrappers
