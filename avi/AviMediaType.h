#pragma once
#include <cstddef>
#include <cstdint>
#include <vector>

#include "frame/Guid.h"

namespace Corvidane::Avi {

// The DirectShow media type that a video stream's strf describes, for the
// host's decoders: major type, subtype, format type and an owned format block.
struct MediaType {
    GUID majorType{};
    GUID subType{};
    GUID formatType{};
    std::vector<unsigned char> format;
    uint32_t sampleSize = 0;
    // The essence has pictures predicted from others (long GOP).
    bool temporalCompression = false;

    bool empty() const { return majorType == GUID{}; }
};

// Published DirectShow identifiers.
extern const GUID MEDIATYPE_Video;
extern const GUID MEDIASUBTYPE_MPEG2_VIDEO;
extern const GUID FORMAT_MPEG2_VIDEO;
extern const GUID FORMAT_VideoInfo;
extern const GUID FORMAT_DvInfo;
// A subtype named by a four character code: the code inside the base GUID
// {xxxxxxxx-0000-0010-8000-00AA00389B71}.
GUID subtypeFromFourCC(uint32_t fourcc);

// A GUID as stored little-endian in a media type record.
GUID readGuid(const unsigned char* data);

// The media type record that an MPEG-2 stream's strf carries behind its
// bitmap header: major type at byte 4, subtype at byte 20.
constexpr size_t mmesMajorType = 4;
constexpr size_t mmesSubType = 20;
// The record names MPEG-2 video by its major type and subtype.
bool namesMpeg2Video(const unsigned char* record, size_t size);

} // namespace Corvidane::Avi
