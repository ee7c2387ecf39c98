#pragma once

namespace Corvidane {

// Colour primaries of a picture. The comment on each value names the code point
// of the QuickTime 'colr' primaries field that maps to it.
enum VideoColourCPMode : int {
    CPModeUnknown = 0,
    CPMode1 = 1,  // colr 1, BT.709
    CPMode2 = 2,  // colr 5, BT.470 B/G
    CPMode3 = 3,  // colr 6, SMPTE 170M
    CPMode4 = 4,  // colr 9, BT.2020
    CPMode5 = 5,  // colr 11, DCI P3
    CPMode6 = 6,  // colr 12, P3 D65
};

// Transfer characteristic of a picture, again with its 'colr' code point.
enum VideoColourTCMode : int {
    TCModeUnknown = 0,
    TCMode1 = 1,  // colr 1, BT.709
    TCMode2 = 2,
    TCMode3 = 3,  // colr 16, PQ
    TCMode4 = 4,  // colr 18, HLG
    TCMode5 = 5,  // colr 17, SMPTE 428
};

} // namespace Corvidane
