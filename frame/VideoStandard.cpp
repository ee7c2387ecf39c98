#include "frame/VideoStandard.h"

namespace Corvidane {

namespace {

const unsigned Aspect4x3 = 0x00040003;
const unsigned Aspect16x9 = 0x00100009;

struct StandardRow {
    const wchar_t* name;
    unsigned width;
    unsigned height;
    unsigned timecodeBase;
    unsigned rateNumerator;
    unsigned rateDenominator;
    // A picture or field period in 100 ns units, as other software expects it;
    // the 23.98 rows of 720p, 1080psf and QFHD carry half a frame.
    unsigned durationNumerator;
    unsigned durationDenominator;
    unsigned layout;
    unsigned aspect;
    bool dropFrame;
    unsigned lineCode;
    unsigned rateCode;
};

const StandardRow kStandards[VideoStandardEx::Count] = {
    {L"Invalid Std",      0,    0,    0,  0,     0,    0,        0,  1, Aspect4x3,  false, 0,  0},
    {L"Pal",              720,  576,  25, 25,    1,    200000,   1,  1, Aspect4x3,  false, 34, 0},
    {L"Ntsc",             720,  486,  30, 30000, 1001, 1001000,  6,  2, Aspect4x3,  true,  30, 1},
    {L"720p@24",          1280, 720,  24, 24,    1,    10000000, 24, 3, Aspect16x9, false, 19, 5},
    {L"720p@23.98",       1280, 720,  24, 24000, 1001, 1251250,  6,  3, Aspect16x9, false, 19, 2},
    {L"720p@25",          1280, 720,  25, 25,    1,    400000,   1,  3, Aspect16x9, false, 19, 0},
    {L"720p@29.97",       1280, 720,  30, 30000, 1001, 2002000,  6,  3, Aspect16x9, true,  19, 1},
    {L"720p@50",          1280, 720,  50, 50,    1,    200000,   1,  3, Aspect16x9, false, 19, 3},
    {L"720p@60",          1280, 720,  60, 60,    1,    1000000,  6,  3, Aspect16x9, false, 19, 6},
    {L"720p@59.94",       1280, 720,  60, 60000, 1001, 1001000,  6,  3, Aspect16x9, true,  19, 4},
    {L"1080psf@24",       1920, 1080, 24, 24,    1,    10000000, 24, 4, Aspect16x9, false, 30, 5},
    {L"1080psf@23.98",    1920, 1080, 24, 24000, 1001, 1251250,  6,  4, Aspect16x9, false, 30, 2},
    {L"1080i@25",         1920, 1080, 25, 25,    1,    200000,   1,  1, Aspect16x9, false, 30, 0},
    {L"1080i@30",         1920, 1080, 30, 30,    1,    1000000,  6,  1, Aspect16x9, false, 30, 7},
    {L"1080i@29.97",      1920, 1080, 30, 30000, 1001, 1001000,  6,  1, Aspect16x9, true,  30, 1},
    {L"1080p@25",         1920, 1080, 25, 25,    1,    400000,   1,  3, Aspect16x9, false, 30, 0},
    {L"1080p@30",         1920, 1080, 30, 30,    1,    2000000,  6,  3, Aspect16x9, false, 30, 7},
    {L"1080p@29.97",      1920, 1080, 30, 30000, 1001, 2002000,  6,  3, Aspect16x9, true,  30, 1},
    {L"1080p@50",         1920, 1080, 50, 50,    1,    200000,   1,  3, Aspect16x9, false, 35, 3},
    {L"1080p@60",         1920, 1080, 60, 60,    1,    1000000,  6,  3, Aspect16x9, false, 35, 6},
    {L"1080p@59.94",      1920, 1080, 60, 60000, 1001, 1001000,  6,  3, Aspect16x9, true,  35, 4},
    {L"QFHD@23.98",       3840, 2160, 24, 24000, 1001, 1251250,  6,  3, Aspect16x9, false, 0,  2},
    {L"QFHD@25",          3840, 2160, 25, 25,    1,    400000,   1,  3, Aspect16x9, false, 0,  0},
    {L"QFHD@29.97",       3840, 2160, 30, 30000, 1001, 2002000,  6,  3, Aspect16x9, true,  0,  1},
    {L"QFHD@50",          3840, 2160, 50, 50,    1,    200000,   1,  3, Aspect16x9, false, 0,  3},
    {L"QFHD@59.94",       3840, 2160, 60, 60000, 1001, 1001000,  6,  3, Aspect16x9, true,  0,  4},
    {L"4k@23.98",         4096, 2160, 24, 24000, 1001, 2502500,  6,  3, Aspect16x9, false, 0,  2},
    {L"4k@25",            4096, 2160, 25, 25,    1,    400000,   1,  3, Aspect16x9, false, 0,  0},
    {L"4k@29.97",         4096, 2160, 30, 30000, 1001, 2002000,  6,  3, Aspect16x9, true,  0,  1},
    {L"4k@50",            4096, 2160, 50, 50,    1,    200000,   1,  3, Aspect16x9, false, 0,  3},
    {L"4k@59.94",         4096, 2160, 60, 60000, 1001, 1001000,  6,  3, Aspect16x9, true,  40, 4},
};

// The first row that fits and runs at this rate; where an interlaced and a
// progressive row both fit, the one whose scan agrees with `progressive`.
template <class Fits>
VideoStandard findRow(double rate, bool progressive, Fits fits)
{
    const unsigned rateCode = static_cast<unsigned>(namedRate(rate));
    VideoStandard found = 0;
    for (VideoStandard s = 1; s < VideoStandardEx::Count; ++s) {
        const StandardRow& row = kStandards[s];
        if (row.rateCode != rateCode || !fits(row))
            continue;
        if (VideoStandardEx::isProgressiveLayout(row.layout) == progressive)
            return s;
        if (found == 0)
            found = s;
    }
    return found;
}

} // namespace

NamedRate namedRate(double rate)
{
    struct Band {
        double above;
        double below;
        NamedRate name;
    };
    static const Band bands[] = {
        {23.97, 23.99, NamedRate::Rate23_98},
        {23.9999, 24.00001, NamedRate::Rate24},
        {29.96, 29.98, NamedRate::Rate29_97},
        {29.9999, 30.00001, NamedRate::Rate30},
        {59.93, 59.95, NamedRate::Rate59_94},
        {59.9999, 60.00001, NamedRate::Rate60},
    };
    if (rate == 25.0)
        return NamedRate::Rate25;
    if (rate == 50.0)
        return NamedRate::Rate50;
    for (const Band& band : bands) {
        if (rate > band.above && rate < band.below)
            return band.name;
    }
    return NamedRate::Other;
}

VideoStandardEx::VideoStandardEx(VideoStandard standard)
{
    assignRow(standard < Count ? standard : 0);
}

VideoStandardEx::VideoStandardEx(double rate, unsigned lineCode, unsigned width, bool progressive)
{
    assignRow(findRow(rate, progressive, [&](const StandardRow& row) {
        return row.lineCode == lineCode && row.width == width;
    }));
}

VideoStandardEx::~VideoStandardEx() = default;

VideoStandard VideoStandardEx::fromData(double rate, unsigned height, unsigned width, bool progressive)
{
    // CIF and SIF name their system by size alone.
    if (width == 352)
        return height == 288 ? 1 : height == 240 ? 2 : 0;

    // Bring stored sizes to the table's: SD with VBI lines kept, and the
    // horizontally subsampled HD of DVCPRO HD and HDV.
    if (width == 720 && height == 608)
        height = 576;
    else if (width == 720 && (height == 480 || height == 512))
        height = 486;
    else if (width == 960 && height == 720)
        width = 1280;
    else if (width == 1440 && height == 1080)
        width = 1920;
    else if (width == 1280 && height == 1080) {
        // DVCPRO HD has no 1080-line format above 30 frames.
        const NamedRate named = namedRate(rate);
        if (named == NamedRate::Rate50 || named == NamedRate::Rate59_94 || named == NamedRate::Rate60)
            return 0;
        width = 1920;
    }

    return findRow(rate, progressive, [&](const StandardRow& row) {
        return row.width == width && row.height == height;
    });
}

double VideoStandardEx::getRate() const
{
    return m_rateDenominator ? static_cast<double>(m_rateNumerator) / m_rateDenominator : 0.0;
}

void VideoStandardEx::assignRow(VideoStandard standard)
{
    const StandardRow& row = kStandards[standard];
    m_standard = standard;
    m_name = row.name;
    m_width = row.width;
    m_height = row.height;
    m_timecodeBase = row.timecodeBase;
    m_rateNumerator = row.rateNumerator;
    m_rateDenominator = row.rateDenominator;
    m_durationNumerator = row.durationNumerator;
    m_durationDenominator = row.durationDenominator;
    m_layout = row.layout;
    m_aspect = row.aspect;
    m_dropFrame = row.dropFrame;
    m_lineCode = row.lineCode;
    m_rateCode = row.rateCode;
}

} // namespace Corvidane
