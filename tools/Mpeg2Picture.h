#pragma once
#include <cstddef>

// What an MPEG-1 or MPEG-2 video frame's own headers say of it, as a decoder
// sees it: the picture's coding type (1 I, 2 P, 3 B) and whether a sequence
// header comes first. False for a frame that doesn't start with MPEG video
// headers (a sequence, GOP or picture start code) or holds no picture header.
struct Mpeg2Picture {
    unsigned codingType = 0;
    bool sequenceHeader = false;
};
bool readMpeg2Picture(const unsigned char* data, size_t size, Mpeg2Picture& picture);
