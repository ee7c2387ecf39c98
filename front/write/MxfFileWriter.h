#pragma once
#include <memory>

#include "front/write/FileWriterCommon.h"
#include "mxf/write/FileWriter.h"

namespace mxf {

// The resource that writes MXF files: OP1a with pictures and sound together,
// OP-Atom (a file per track) when asked for separate files or when either is
// missing.
class FileWriter : public CvWrappers::FileWriterCommon {
public:
    FileWriter() : FileWriterCommon("Mxf FileWriter", "MXF ", {"MXF"}) {}
    int openFile(const std::wstring& name, const Hc::FileWriterParams& params, Hc::FileInfoBase*& file) override;
};

// One MXF file (or OP-Atom family) being written.
class FileInfo : public CvWrappers::WriteLoop {
public:
    FileInfo(std::unique_ptr<Corvidane::MXF::CMxf_FileWriter> writer, std::vector<Corvidane::TrackStructuralData> tracks,
             const Hc::FileWriterParams& params, Layout layout)
        : WriteLoop(std::move(tracks), params, layout), m_writer(std::move(writer))
    {
    }
    // The path of a file without pictures: one edit unit of every stream's
    // samples a call. A file with pictures leaves it to the host.
    int writeAudioSamples(const std::vector<std::vector<unsigned char>>& streams, unsigned count) override;
    std::wstring lastError() const override { return m_writer->getLastError(); }

private:
    CvResult writeRows(Corvidane::TrackData* rows, unsigned count) override
    {
        return m_writer->writeAtom(rows, int(count));
    }

    // Destroyed with the file: that closes it.
    std::unique_ptr<Corvidane::MXF::CMxf_FileWriter> m_writer;
};

} // namespace mxf
