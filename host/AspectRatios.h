#pragma once

namespace Hc {

// The host's ten picture aspect ratios, by code 1 to 10 (1 is 4:3, 2 16:9);
// 0.0 for any other code.
double getAspectRatio(unsigned code);
constexpr unsigned aspectRatioCount = 10;

} // namespace Hc
