#pragma once
#include <algorithm>
#include <string>
#include <vector>

#include "frame/MediaFileReader.h"

// A container reader whose streams say what a test sets: by default one
// 25 fps video stream with the key frames given. Samples read are filled with
// their number, and the reader counts the calls that reach the essence.
class ScriptedReader : public Corvidane::MediaFileReader {
public:
    struct Stream {
        enum Kind { Video, Audio, Timecode } kind = Video;
        unsigned fcc = 0;
        int width = 0;
        int height = 0;
        unsigned length = 0;
        int rate = 25;
        int scale = 1;
        int bits = 0;
        int channels = 0;
        unsigned sampleRate = 0;
        int polarity = 0;
        int origin = 0;
        std::wstring compressorName;
        unsigned timecode = 0;
        // Bytes of one sample (one sample group for sound).
        unsigned sampleSize = 100;

        // 16-bit sound at 48 kHz.
        static Stream sound(unsigned fcc, int channels, unsigned length, unsigned sampleSize)
        {
            Stream stream;
            stream.kind = Audio;
            stream.fcc = fcc;
            stream.channels = channels;
            stream.bits = 16;
            stream.sampleRate = 48000;
            stream.length = length;
            stream.sampleSize = sampleSize;
            return stream;
        }
    };

    std::vector<Stream> streams = {Stream{}};
    std::vector<unsigned> keyFrames;  // ascending, of the first stream
    unsigned length = 0;              // of the first stream, when its own is 0
    int gopLength = 15;
    int anchorDistance = 0;
    int fileType = 2;
    bool clipWrapped = true;
    bool op1a = false;
    std::string json;
    // Calls that reached samples: index entries, GOP orders and reads.
    unsigned essenceCalls = 0;

    bool findKeyframe(unsigned frame, bool forward, unsigned& keyframe) override
    {
        if (forward) {
            auto it = std::lower_bound(keyFrames.begin(), keyFrames.end(), frame);
            if (it == keyFrames.end())
                return false;
            keyframe = *it;
            return true;
        }
        auto it = std::upper_bound(keyFrames.begin(), keyFrames.end(), frame);
        if (it == keyFrames.begin())
            return false;
        keyframe = *--it;
        return true;
    }
    int getGopLength(int) override { return gopLength; }
    unsigned getOpenEssenceStreamIndex() override { return m_open; }

    CvResult loadFile(const std::wstring&, iFile::eFlags) override { return OK; }
    CvResult essenceOpen(unsigned stream) override
    {
        if (stream >= streams.size())
            return Fail;
        m_open = stream;
        return OK;
    }
    CvResult parseMetadata() override { return OK; }
    bool get_IsVideo(int s) override { return valid(s) && streams[s].kind == Stream::Video; }
    bool get_IsAudio(int s) override { return valid(s) && streams[s].kind == Stream::Audio; }
    bool get_HasIndexTable(int) override { return true; }
    bool get_IsIndexOK(int) override { return true; }
    int get_StreamCount() override { return int(streams.size()); }
    CvResult get_FCC(int s, unsigned& fcc) override
    {
        fcc = valid(s) ? streams[s].fcc : 0;
        return OK;
    }
    double get_Rate(int s) override { return valid(s) ? double(streams[s].rate) / streams[s].scale : 0; }
    unsigned get_Length(int s) override { return valid(s) ? lengthOf(s) : 0; }
    int get_BitsPerSample(int s) override { return valid(s) ? streams[s].bits : 0; }
    int get_Width(int s) override { return valid(s) ? streams[s].width : 0; }
    int get_Height(int s) override { return valid(s) ? streams[s].height : 0; }
    CvResult getPixelAspect(int, int&, int&) override { return False; }
    int getFramePolarity(int s) override { return valid(s) ? streams[s].polarity : 0; }
    int getScanMode(int) override { return 0; }
    std::wstring getSourceTape() override { return {}; }
    unsigned get_ApproxDataRate(int) override { return 0; }
    int get_FileType() override { return fileType; }
    int get_ChannelCount(int s) override { return valid(s) ? streams[s].channels : 0; }
    CvResult get_RateAndScale(int s, int* rate, int* scale) override
    {
        if (!valid(s))
            return Fail;
        *rate = streams[s].rate;
        *scale = streams[s].scale;
        return OK;
    }
    CvResult get_AudioSampleRate(int s, unsigned& rate) override
    {
        if (!valid(s) || !streams[s].sampleRate)
            return Fail;
        rate = streams[s].sampleRate;
        return OK;
    }
    bool get_IsTimeCode(int s) override { return valid(s) && streams[s].kind == Stream::Timecode; }
    CvResult get_TimeCode(int s, unsigned, unsigned* timecode) override
    {
        if (!valid(s) || streams[s].kind != Stream::Timecode)
            return Fail;
        *timecode = streams[s].timecode;
        return OK;
    }
    bool get_IsDropFrame(int) override { return false; }
    int getAudioByteOrder(int) override { return 1; }
    CvResult get_MetadataJSON(std::string& text, std::map<LightweightString<char>, Corvidane::CByteBuffer>&) override
    {
        text = json;
        return OK;
    }
    int getM() override { return anchorDistance; }
    int getN() override { return 0; }
    int get_Origin(int s) override { return valid(s) ? streams[s].origin : 0; }
    bool getIsOpenGop(int) override { return false; }
    CvResult getIndexEntry(unsigned sample, Corvidane::IndexEntry& entry) override
    {
        ++essenceCalls;
        if (sample >= lengthOf(int(m_open)))
            return HandleEOF;
        entry.offset = uint64_t(sample) * 1000;
        entry.size = streams[m_open].sampleSize;
        entry.frameType = isKey(sample) ? Corvidane::FrameKey : 16;
        entry.presentationIndex = entry.decodeIndex = sample;
        return OK;
    }
    bool essenceIsPresent(int) override { return true; }
    unsigned get_BufferSize(int s) override { return valid(s) ? streams[s].sampleSize : 0; }
    CvResult loadIndexTable() override { return OK; }
    bool isOp1a() override { return op1a; }
    bool isClipWrapped() const override { return clipWrapped; }
    // Samples hold their number in every byte; sound samples of a run one
    // group each.
    CvResult essenceRead(unsigned long start, unsigned count, unsigned char* buffer, unsigned capacity,
                         unsigned& offset, unsigned& size) override
    {
        ++essenceCalls;
        offset = 0;
        size = 0;
        const unsigned length = lengthOf(int(m_open));
        if (start >= length)
            return HandleEOF;
        count = std::min<unsigned>(count, unsigned(length - start));
        const unsigned each = streams[m_open].sampleSize;
        if (uint64_t(each) * count > capacity) {
            size = each * count;
            return BufferTooSmall;
        }
        for (unsigned i = 0; i < count; ++i)
            std::fill_n(buffer + size_t(i) * each, each, static_cast<unsigned char>(start + i));
        size = each * count;
        return OK;
    }
    CvResult getGopAndPresentationOrder(unsigned, Corvidane::GOPInfo&, std::vector<unsigned short>&, bool) override
    {
        return Fail;
    }
    CvResult getGopAndPresentationOrder(unsigned frame, unsigned count, std::vector<unsigned>& decode,
                                        std::vector<unsigned>& presentation,
                                        std::vector<unsigned short>& order) override
    {
        ++essenceCalls;
        const unsigned length = lengthOf(int(m_open));
        for (unsigned sample = frame; sample < length && sample - frame < count; ++sample) {
            decode.push_back(sample);
            presentation.push_back(sample);
            order.push_back(isKey(sample) ? Corvidane::FrameKey : 16);
        }
        return decode.empty() ? NotFound : OK;
    }
    bool getExtensionItem(int, unsigned, Corvidane::CByteBuffer&) override { return false; }
    unsigned get_UncompressedSamples(int s) override { return get_Length(s); }
    std::wstring getCompressorName2(int s) override { return valid(s) ? streams[s].compressorName : std::wstring(); }
    int getAvidResolutionId(int) override { return 0; }
    int64_t getCreationTime() override { return 0; }
    int64_t getModifiedTime() override { return 0; }

private:
    bool valid(int s) const { return s >= 0 && size_t(s) < streams.size(); }
    unsigned lengthOf(int s) const { return s == 0 && streams[0].length == 0 ? length : streams[size_t(s)].length; }
    bool isKey(unsigned sample) const { return std::binary_search(keyFrames.begin(), keyFrames.end(), sample); }

    unsigned m_open = 0;
};
