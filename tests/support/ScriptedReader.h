#pragma once
#include <algorithm>
#include <vector>

#include "frame/MediaFileReader.h"

// A container reader whose one stream has the key frames a test gives it.
// Every query not about key frames answers as an empty container would.
class ScriptedReader : public Corvidane::MediaFileReader {
public:
    std::vector<unsigned> keyFrames;  // ascending
    unsigned length = 0;
    int gopLength = 15;

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
    unsigned getOpenEssenceStreamIndex() override { return 0; }

    CvResult loadFile(const std::wstring&, iFile::eFlags) override { return OK; }
    CvResult essenceOpen(unsigned) override { return OK; }
    CvResult parseMetadata() override { return OK; }
    bool get_IsVideo(int) override { return true; }
    bool get_IsAudio(int) override { return false; }
    bool get_HasIndexTable(int) override { return true; }
    bool get_IsIndexOK(int) override { return true; }
    int get_StreamCount() override { return 1; }
    CvResult get_FCC(int, unsigned& fcc) override { fcc = 0; return OK; }
    double get_Rate(int) override { return 25.0; }
    unsigned get_Length(int) override { return length; }
    int get_BitsPerSample(int) override { return 0; }
    int get_Width(int) override { return 0; }
    int get_Height(int) override { return 0; }
    CvResult getPixelAspect(int, int&, int&) override { return False; }
    int getFramePolarity(int) override { return 0; }
    int getScanMode(int) override { return 0; }
    std::wstring getSourceTape() override { return {}; }
    unsigned get_ApproxDataRate(int) override { return 0; }
    int get_FileType() override { return 2; }
    int get_ChannelCount(int) override { return 0; }
    CvResult get_RateAndScale(int, int* rate, int* scale) override { *rate = 25; *scale = 1; return OK; }
    CvResult get_AudioSampleRate(int, unsigned&) override { return Fail; }
    bool get_IsTimeCode(int) override { return false; }
    CvResult get_TimeCode(int, unsigned, unsigned*) override { return Fail; }
    bool get_IsDropFrame(int) override { return false; }
    int getAudioByteOrder(int) override { return 1; }
    CvResult get_MetadataJSON(std::string&, std::map<LightweightString<char>, Corvidane::CByteBuffer>&) override
    {
        return OK;
    }
    int getM() override { return 0; }
    int getN() override { return 0; }
    int get_Origin(int) override { return 0; }
    bool getIsOpenGop(int) override { return false; }
    CvResult getIndexEntry(unsigned, Corvidane::IndexEntry&) override { return Fail; }
    bool essenceIsPresent(int) override { return true; }
    unsigned get_BufferSize(int) override { return 0; }
    CvResult loadIndexTable() override { return OK; }
    bool isOp1a() override { return false; }
    CvResult essenceRead(unsigned long, unsigned, unsigned char*, unsigned, unsigned&, unsigned&) override
    {
        return Fail;
    }
    CvResult getGopAndPresentationOrder(unsigned, Corvidane::GOPInfo&, std::vector<unsigned short>&, bool) override
    {
        return Fail;
    }
    CvResult getGopAndPresentationOrder(unsigned, unsigned, std::vector<unsigned>&, std::vector<unsigned>&,
                                        std::vector<unsigned short>&) override
    {
        return Fail;
    }
    bool getExtensionItem(int, unsigned, Corvidane::CByteBuffer&) override { return false; }
    unsigned get_UncompressedSamples(int) override { return 0; }
    std::wstring getCompressorName2(int) override { return {}; }
    int getAvidResolutionId(int) override { return 0; }
    int64_t getCreationTime() override { return 0; }
    int64_t getModifiedTime() override { return 0; }
};
