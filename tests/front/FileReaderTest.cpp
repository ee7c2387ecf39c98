#include <gtest/gtest.h>

#include "frame/FourCC.h"
#include "front/read/FileReader.h"

using Corvidane::fourCC;

namespace {

TEST(ReaderResource, TakesItsExtensionsInAnyCase)
{
    CvWrappers::FileReader resource;
    EXPECT_EQ(resource.resourceName(), "CvWrapper FileReader");
    EXPECT_EQ(resource.resourceCode(), "CVRD");
    EXPECT_EQ(resource.priority(), 200);
    EXPECT_EQ(resource.getMaxRequests(), 32);
    for (const wchar_t* path : {L"/a/CLIP.Mp4", L"clip.mov", L"x.AVI", L"x.mxf", L"x.m4v", L"x.M4A", L"GX01.LRV"})
        EXPECT_TRUE(resource.isFileTypeSupported(path, 0)) << path;
    for (const wchar_t* path : {L"clip", L"clip.mov.0.cvindex", L"clip.mp3", L"/dir.mov/clip", L"clip.", L".mov2"})
        EXPECT_FALSE(resource.isFileTypeSupported(path, 0)) << path;
}

TEST(ReaderResource, AnswersWhatTheHostCanPlay)
{
    CvWrappers::FileReader resource;
    PlayFileMetadataRep video;
    Aud::Metadata audio;

    video.format = fourCC("apch");  // a decoder the host has
    EXPECT_EQ(resource.isFileFormatSupported(L"a.mov", 0, video, audio), 1);
    EXPECT_EQ(resource.isFileFormatSupported(L"a.txt", 0, video, audio), 0);
    video.format = fourCC("zzzz");
    EXPECT_EQ(resource.isFileFormatSupported(L"a.mov", 0, video, audio), 0);
    Hc::DecoderInfo::instance().addDecoder(fourCC("zzzz"));
    EXPECT_EQ(resource.isFileFormatSupported(L"a.mov", 0, video, audio), 1);

    // Codings the host plays itself never ask for a decoder.
    for (uint32_t format : {fourCC("avc1"), fourCC("jpeg"), fourCC("FFV1")}) {
        video.format = format;
        EXPECT_EQ(resource.isFileFormatSupported(L"a.mov", 0, video, audio), 0);
    }
    video.format = 0;
    video.bitsPerPixel = 16;
    EXPECT_EQ(resource.isFileFormatSupported(L"a.mov", 0, video, audio), 0);

    // Audio bit: PCM other than the two converted layouts, or decodable audio outside AVI.
    video.format = fourCC("apch");
    audio.pcm = true;
    EXPECT_EQ(resource.isFileFormatSupported(L"a.mov", 0, video, audio), 3);
    audio.sampleType = 232;
    EXPECT_EQ(resource.isFileFormatSupported(L"a.mov", 0, video, audio), 1);
    audio.decodable = true;
    EXPECT_EQ(resource.isFileFormatSupported(L"a.mov", 0, video, audio), 3);
    EXPECT_EQ(resource.isFileFormatSupported(L"a.AvI", 0, video, audio), 1);

    // A file the host marked as its own AVI is left to the host.
    video.config.set("avi_type", "1");
    EXPECT_EQ(resource.isFileFormatSupported(L"a.avi", 0, video, audio), 0);
}

} // namespace
