#pragma once
#include <memory>

#include "avi/FileWriter.h"
#include "front/write/FileWriterCommon.h"

namespace avi {

// The resource that writes AVI files: OpenDML with the media type that the
// host's decoders need in the video stream's format.
class FileWriter : public CvWrappers::FileWriterCommon {
public:
    FileWriter() : FileWriterCommon("AVI FileWriter", "AVI ", {"AVI"}) {}
    int openFile(const std::wstring& name, const Hc::FileWriterParams& params, Hc::FileInfoBase*& file) override;

    // The 212-byte DirectShow media type of MPEG-2 video ("MMES" up to 720
    // pixels wide, "M701" above), for the video track's extended data.
    static std::vector<unsigned char> mpeg2MediaType(const Hc::FileWriterParams& params, unsigned width,
                                                     unsigned height);

    // One AVI file being written.
    class FileInfo : public CvWrappers::WriteLoop {
    public:
        // `reverseWords` for 10-bit BGRA, whose 32-bit words the host hands
        // over in the other byte order.
        FileInfo(std::unique_ptr<Corvidane::Avi::FileWriter> writer, std::vector<Corvidane::TrackStructuralData> tracks,
                 const Hc::FileWriterParams& params, Layout layout, bool reverseWords)
            : WriteLoop(std::move(tracks), params, layout), m_writer(std::move(writer)), m_reverseWords(reverseWords)
        {
        }

        int writeSurface(const unsigned char* bytes, unsigned size, uint32_t frameType) override;
        std::wstring lastError() const override { return m_writer->getLastError(); }

    private:
        // Failures are logged with the writer's text.
        CvResult writeRows(Corvidane::TrackData* rows, unsigned count) override;

        // Destroyed with the file: that closes it.
        std::unique_ptr<Corvidane::Avi::FileWriter> m_writer;
        bool m_reverseWords;
        std::vector<unsigned char> m_reversed;
    };
};

} // namespace avi
