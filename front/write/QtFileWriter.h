#pragma once
#include <memory>

#include "front/write/FileWriterCommon.h"
#include "quicktime/write/FileWriter.h"

namespace qt {

// The resource that writes QuickTime movies: the host's parameters become
// track records, and each file a QuickTime writer behind the shared loop.
class FileWriter : public CvWrappers::FileWriterCommon {
public:
    FileWriter() : FileWriterCommon("Qt FileWriter", "QT  ", {"MOV"}) {}
    int openFile(const std::wstring& name, const Hc::FileWriterParams& params, Hc::FileInfoBase*& file) override;

    // One movie being written.
    class FileInfo : public CvWrappers::WriteLoop {
    public:
        FileInfo(std::unique_ptr<Corvidane::QuickTime::FileWriter> writer,
                 std::vector<Corvidane::TrackStructuralData> tracks, const Hc::FileWriterParams& params,
                 Layout layout)
            : WriteLoop(std::move(tracks), params, layout), m_writer(std::move(writer))
        {
        }
        std::wstring lastError() const override { return m_writer->getLastError(); }

    private:
        CvResult writeRows(Corvidane::TrackData* rows, unsigned count) override
        {
            return m_writer->writeSamples(rows, int(count & 0xFFFF));
        }

        // Destroyed with the file: that closes it.
        std::unique_ptr<Corvidane::QuickTime::FileWriter> m_writer;
    };
};

} // namespace qt
