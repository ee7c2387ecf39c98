#pragma once
#include <memory>
#include <string>
#include <vector>

#include "frame/MediaFileReader.h"
#include "front/read/AudioReader.h"
#include "host/CriticalSection.h"
#include "host/FileReaderResource.h"
#include "host/MovAvcToH264ByteStream.h"

namespace CvWrappers {

// One open source file: the container reader that fits it, chosen and loaded
// when the object is built; the host's records of what it holds; and the
// video and audio read paths over it.
class FileInfo : public FileReadInstance, public MovAvcToH264ByteStream, public AudioReader {
public:
    FileInfo(const std::wstring& path, int format, int openType);
    // Over a reader already loaded, for a host that chooses its own.
    FileInfo(std::unique_ptr<Corvidane::MediaFileReader> reader, const std::wstring& path, int openType);
    ~FileInfo() override;

    int readMetadata() override;
    Corvidane::MediaFileReader* containerReader() override { return m_reader.get(); }
    const PlayFileMetadataRep& videoMetadata() const override { return m_metadata; }
    const std::vector<Aud::Metadata>& audioMetadata() const override { return m_audio; }
    int videoStream() const override { return m_videoStream; }
    int firstAudioStream() const override { return m_hasAudio ? int(m_firstAudioStream) : -1; }
    int64_t startTimecode() const override { return m_startTimecode; }
    double timecodeRate() const override { return m_timecodeRate; }
    bool isDropFrame() const override { return m_isDropFrame; }
    unsigned getVideoOrigin() const override { return m_videoOrigin; }

    void hcFileIxCache_open(Ptr<IndexInfoRep>& out, unsigned frame) override;
    int readVideo(Ptr<FrameBufferRep>& out, Ptr<VideoReadRequest>& request) override;
    // Sound is read under the file's lock too: the reader has one current
    // stream, which a picture read on another thread would move.
    int readAudio(Ptr<ByteBufferImpl>& buffer, Ptr<AudioReadRequest>& request) override
    {
        CriticalSection::Lock lock(m_criticalSection);
        return Hc::AudioReader::readAudio(buffer, request);
    }
    void recalculateSize(unsigned length, unsigned& newLength) override;

    unsigned sectorSize() const { return m_sectorSize; }
    // The samples of a block (a long-GOP stream's) or of one frame, each in a
    // fresh buffer in byte-stream form; the host's code of the last sample.
    int readVideo(std::vector<Ptr<iMemHolder>>& buffers, unsigned frame, Ptr<IndexInfoRep>& index, unsigned& extra);

private:
    // Metadata steps, in the order readMetadata takes them.
    void findStreams();
    int readTimecode();
    void readBinaryItems(const std::map<LightweightString<char>, Corvidane::CByteBuffer>& items);
    bool readVideoMetadata(int openType, const std::string& json);
    void readGopLength();
    void readImageDimensions();
    void readBitsAndLayout();
    void readScanMode();
    void readPixelAspect();
    void readFrameRate(const std::string& json, int64_t& length);
    void readColour();
    double readTrackRate(int stream);
    void readStartTimeCodeOffset();
    void readAudioMetadata();
    void measureSampleGroup(int stream, Aud::Metadata& audio);
    void readExtendedMetadata(const std::string& json);
    bool checkPresence(int openType);
    void readFirstFrame();

    // A block of frames from `start`, `count` of them; null when the reader fails.
    Ptr<IndexInfoRep> readBlock(unsigned start, unsigned count);

    std::unique_ptr<Corvidane::MediaFileReader> m_reader;
    std::wstring m_path;
    int m_openType = 0;
    CriticalSection m_criticalSection;
    std::vector<Ptr<IndexInfoRep>> m_indexCache;
    PlayFileMetadataRep m_metadata;
    int m_videoStream = -1;
    bool m_hasAudio = false;
    unsigned m_videoOrigin = 0;
    int m_timecodeStreamCount = 0;
    int m_timecodeStream = -1;
    double m_timecodeRate = 0.0;
    bool m_isDropFrame = false;
    int64_t m_startTimecode = 0;
};

} // namespace CvWrappers
