#pragma once
#include <string>
#include <vector>

#include "host/ByteBufferImpl.h"
#include "host/FormatMetadata.h"
#include "host/IndexInfoRep.h"
#include "host/Plugin.h"
#include "host/ReadRequests.h"
#include "host/WriterParams.h"

namespace Corvidane {
class MediaFileReader;
}

// What the host wants of a file it opens: bits of the open type.
enum OpenType : int { OpenVideo = 1, OpenAudio = 2, OpenVideoAndAudio = 3 };

// One file opened by a reader resource.
class FileReadInstance {
public:
    virtual ~FileReadInstance() = default;
    // Reads what the file holds; the host's success code is 1.
    virtual int readMetadata() = 0;
    // The container reader behind the file, for what only the container can
    // tell (its packets as stored); the editor reads through the calls below.
    virtual Corvidane::MediaFileReader* containerReader() = 0;

    // What readMetadata found: the video's description and one per audio stream.
    virtual const PlayFileMetadataRep& videoMetadata() const = 0;
    virtual const std::vector<Aud::Metadata>& audioMetadata() const = 0;
    // The container's stream numbers of the video and of the first audio
    // stream, -1 for none.
    virtual int videoStream() const = 0;
    virtual int firstAudioStream() const = 0;
    // The start timecode in frames, its rate and its drop-frame flag; a rate
    // of 0.0 when the file has no timecode.
    virtual int64_t startTimecode() const = 0;
    virtual double timecodeRate() const = 0;
    virtual bool isDropFrame() const = 0;
    virtual unsigned getVideoOrigin() const = 0;

    // The block of a long-GOP stream around a frame, cached; null for an
    // intra-only stream.
    virtual void hcFileIxCache_open(Ptr<IndexInfoRep>& out, unsigned frame) = 0;
    // Reads a request's frame (a long-GOP stream's whole block): 2 done, 3 failed.
    virtual int readVideo(Ptr<FrameBufferRep>& out, Ptr<VideoReadRequest>& request) = 0;
    // Audio by position: the host's code, 1 done, 11 at the end of the data.
    virtual int readAudio(Ptr<ByteBufferImpl>& buffer, Ptr<AudioReadRequest>& request) = 0;
    // Measures a growing file again: the frames usable now.
    virtual void recalculateSize(unsigned length, unsigned& newLength) = 0;
};

namespace Hc {

// A resource that opens files of the extensions it lists.
class FileReaderResource : public HcComponentBase {
public:
    explicit FileReaderResource(std::vector<std::string> extensions) : m_extensions(std::move(extensions)) {}
    FileReaderResource* asFileReader() override { return this; }

    const std::vector<std::string>& extensions() const { return m_extensions; }
    virtual int priority() const { return 100; }
    virtual int getMaxRequests() const { return 1; }
    // True when the path's extension is one of the list, whatever its case.
    virtual bool isFileTypeSupported(const std::wstring& path, int openType) const;
    // What the host can do with a file of this description: bit 1 the video
    // can be played, bit 2 the audio needs converting.
    virtual int isFileFormatSupported(const std::wstring& path, int openType, const PlayFileMetadataRep& video,
                                      const Aud::Metadata& audio) const
    {
        return isFileTypeSupported(path, openType) ? 1 : 0;
    }
    // A new open file, or null; the caller owns it.
    virtual FileReadInstance* openFile(const std::wstring& path, int format, int openType) = 0;

private:
    std::vector<std::string> m_extensions;
};

// A resource that creates files of the formats it lists.
class FileWriterResource : public HcComponentBase {
public:
    explicit FileWriterResource(std::vector<std::string> formats) : m_formats(std::move(formats)) {}
    FileWriterResource* asFileWriter() override { return this; }
    const std::vector<std::string>& formats() const { return m_formats; }
    // Creates a file; the host's code, 1 with `file` set (the caller owns it).
    virtual int openFile(const std::wstring& name, const FileWriterParams& params, FileInfoBase*& file)
    {
        file = nullptr;
        return 12;
    }
    // Why the last openFile failed, in the container writer's words; empty
    // when it didn't say.
    virtual std::wstring lastError() const { return {}; }

private:
    std::vector<std::string> m_formats;
};

// The extension of a path without the dot, or empty.
std::wstring getExtension(const std::wstring& path);

} // namespace Hc

#include <memory>

namespace Hc {

// A reader resource whose open files are objects of one class, built from the
// path and kept when they read their metadata.
template <class Info>
class FileReaderCommon : public FileReaderResource {
public:
    using FileReaderResource::FileReaderResource;
    FileReadInstance* openFile(const std::wstring& path, int format, int openType) override
    {
        auto info = std::make_unique<Info>(path, format, openType);
        return info->readMetadata() == 1 ? info.release() : nullptr;
    }
};

} // namespace Hc
