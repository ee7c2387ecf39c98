#include "host/AspectRatios.h"

namespace Hc {

double getAspectRatio(unsigned code)
{
    static const double ratios[aspectRatioCount] = {4.0 / 3, 16.0 / 9, 1.0,    3.0 / 2, 5.0 / 4,
                                                     14.0 / 9, 1.85,    2.39, 2.0,      256.0 / 135};
    return code >= 1 && code <= aspectRatioCount ? ratios[code - 1] : 0.0;
}

} // namespace Hc
