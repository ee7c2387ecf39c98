#include "frame/ColourPairs.h"

namespace Corvidane {

namespace {

struct ModePair {
    VideoColourSpaceMode mode;
    VideoColourCPMode primaries;
    VideoColourTCMode transfer;
};

// Every pair that has a mode. The first entry of each mode is the pair that
// videoColourPair gives for it; later ones are only recognised.
constexpr ModePair modePairs[] = {
    {1, CPMode2, TCMode1},
    {1, CPMode3, TCMode1},
    {2, CPMode1, TCMode1},
    {3, CPMode4, TCMode1},
    {4, CPMode4, TCMode4},
    {5, CPMode4, TCMode3},
    {6, CPMode5, TCMode5},
    {6, CPMode5, TCMode1},
    {7, CPMode6, TCMode5},
    {7, CPMode6, TCMode1},
};

} // namespace

ColourPairT videoColourPair(VideoColourSpaceMode mode)
{
    // SD has two primaries and no single pair to write.
    if (mode == 1)
        return {CPModeUnknown, TCModeUnknown};
    for (const ModePair& entry : modePairs)
        if (entry.mode == mode)
            return {entry.primaries, entry.transfer};
    return {CPModeUnknown, TCModeUnknown};
}

VideoColourSpaceMode videoColourSpaceModeHDR(const ColourPairT& pair)
{
    for (const ModePair& entry : modePairs)
        if (entry.primaries == pair.first && entry.transfer == pair.second)
            return entry.mode;
    return 0;
}

VideoColourSpaceMode videoColourSpaceModeHDR(VideoColourTCMode transfer)
{
    switch (transfer) {
    case TCMode1:
        return 2;
    case TCMode2:
        return 3;
    case TCMode4:
        return 4;
    case TCMode3:
        return 5;
    case TCMode5:
        return 6;
    default:
        return 0;
    }
}

std::wstring videoColourSpaceModeHDRString(VideoColourSpaceMode mode)
{
    switch (mode) {
    case 1:
        return L"Rec. 601";
    case 2:
        return L"Rec. 709";
    case 3:
        return L"Rec. 2020";
    case 4:
        return L"Rec. 2020 HLG";
    case 5:
        return L"Rec. 2020 PQ";
    case 6:
        return L"DCI-P3";
    case 7:
        return L"P3 D65";
    default:
        return L"Unknown";
    }
}

} // namespace Corvidane
