#include "frame/VideoStandard.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cwchar>
#include <string>

using Corvidane::namedRate;
using Corvidane::NamedRate;
using Corvidane::VideoStandard;
using Corvidane::VideoStandardEx;

namespace {

const unsigned kAspect4x3 = 0x00040003;
const unsigned kAspect16x9 = 0x00100009;

// What a standard's name says about it: "<family>@<rate>", or the SD system names.
struct NameParts {
    std::wstring family;
    std::wstring rate;
};

NameParts splitName(const std::wstring& name)
{
    if (name == L"Pal")
        return {name, L"25"};
    if (name == L"Ntsc")
        return {name, L"29.97"};
    const size_t at = name.find(L'@');
    return {name.substr(0, at), name.substr(at + 1)};
}

// The rate codes by rate name.
unsigned rateCodeOf(const std::wstring& rate)
{
    const wchar_t* names[] = {L"25", L"29.97", L"23.98", L"50", L"59.94", L"24", L"60", L"30"};
    for (unsigned code = 0; code < 8; ++code) {
        if (rate == names[code])
            return code;
    }
    ADD_FAILURE() << "no rate code for this rate";
    return 99;
}

struct Family {
    const wchar_t* name;
    unsigned width, height, layout;
};

const Family kFamilies[] = {
    {L"Pal", 720, 576, 1},        {L"Ntsc", 720, 486, 2},       {L"720p", 1280, 720, 3},
    {L"1080psf", 1920, 1080, 4},  {L"1080i", 1920, 1080, 1},    {L"1080p", 1920, 1080, 3},
    {L"QFHD", 3840, 2160, 3},     {L"4k", 4096, 2160, 3},
};

const Family* familyOf(const std::wstring& family)
{
    for (const Family& f : kFamilies) {
        if (family == f.name)
            return &f;
    }
    return nullptr;
}

bool interlaced(unsigned layout)
{
    return layout == 1 || layout == 2;
}

} // namespace

TEST(VideoStandard, InvalidRow)
{
    const VideoStandardEx invalid(0);
    EXPECT_EQ(invalid.getStandard(), 0u);
    EXPECT_EQ(invalid.getName(), L"Invalid Std");
    EXPECT_EQ(invalid.getLayout(), 1u);
    EXPECT_EQ(invalid.getAspect(), kAspect4x3);
    EXPECT_EQ(invalid.getWidth(), 0u);
    EXPECT_EQ(invalid.getHeight(), 0u);
    EXPECT_EQ(invalid.getTimecodeBase(), 0u);
    EXPECT_EQ(invalid.getRateNumerator(), 0u);
    EXPECT_EQ(invalid.getRateDenominator(), 0u);
    EXPECT_EQ(invalid.getDurationNumerator(), 0u);
    EXPECT_EQ(invalid.getDurationDenominator(), 0u);
    EXPECT_FALSE(invalid.isDropFrame());
    EXPECT_EQ(invalid.getLineCode(), 0u);
    EXPECT_EQ(invalid.getRateCode(), 0u);
    EXPECT_EQ(invalid.getRate(), 0.0);

    for (VideoStandard outside : {31u, 32u, 0xFFFFFFFFu}) {
        const VideoStandardEx row(outside);
        EXPECT_EQ(row.getStandard(), 0u);
        EXPECT_EQ(row.getName(), L"Invalid Std");
    }
}

TEST(VideoStandard, RowsAgreeWithTheirNames)
{
    for (VideoStandard s = 1; s < VideoStandardEx::Count; ++s) {
        const VideoStandardEx row(s);
        SCOPED_TRACE(testing::Message() << "standard " << s);
        EXPECT_EQ(row.getStandard(), s);

        const NameParts parts = splitName(row.getName());
        const Family* family = familyOf(parts.family);
        ASSERT_NE(family, nullptr);
        EXPECT_EQ(row.getWidth(), family->width);
        EXPECT_EQ(row.getHeight(), family->height);
        EXPECT_EQ(row.getLayout(), family->layout);

        const double nameRate = std::wcstod(parts.rate.c_str(), nullptr);
        const double rate = row.getRate();
        EXPECT_NEAR(rate, nameRate, 0.005);
        // The named rates that aren't whole are the 1000/1001 rates.
        if (nameRate != std::floor(nameRate))
            EXPECT_EQ(row.getRateDenominator(), 1001u);
        else
            EXPECT_EQ(row.getRateDenominator(), 1u);
        EXPECT_EQ(row.getTimecodeBase(), static_cast<unsigned>(std::ceil(rate)));
        EXPECT_EQ(row.getRateCode(), rateCodeOf(parts.rate));

        // SMPTE drop frame exists at 29.97 and 59.94 only.
        EXPECT_EQ(row.isDropFrame(), parts.rate == L"29.97" || parts.rate == L"59.94");
        EXPECT_EQ(row.getAspect(), row.getHeight() < 720 ? kAspect4x3 : kAspect16x9);

        unsigned lineCode = 0;
        if (row.getHeight() == 576)
            lineCode = 34;
        else if (row.getHeight() == 486)
            lineCode = 30;
        else if (row.getHeight() == 720)
            lineCode = 19;
        else if (row.getHeight() == 1080)
            lineCode = rate <= 30.0 ? 30 : 35;
        else if (row.getWidth() == 4096 && parts.rate == L"59.94")
            lineCode = 40;
        EXPECT_EQ(row.getLineCode(), lineCode);

        // The period in 100 ns units: a field when interlaced, else a frame; the
        // 23.98 rows of 720p, 1080psf and QFHD are tabled at half a frame.
        double period = 1e7 * row.getRateDenominator() / row.getRateNumerator();
        if (interlaced(row.getLayout()) || s == 4 || s == 11 || s == 21)
            period /= 2;
        EXPECT_NEAR(static_cast<double>(row.getDurationNumerator()) / row.getDurationDenominator(), period, 1e-3);
    }
}

TEST(VideoStandard, NamedRateBands)
{
    struct Case {
        double rate;
        NamedRate name;
    };
    const Case cases[] = {
        {23.97, NamedRate::Other},      {23.9701, NamedRate::Rate23_98}, {24000.0 / 1001, NamedRate::Rate23_98},
        {23.99, NamedRate::Other},      {23.9999, NamedRate::Other},     {23.99995, NamedRate::Rate24},
        {24.0, NamedRate::Rate24},      {24.00001, NamedRate::Other},    {25.0, NamedRate::Rate25},
        {24.99999, NamedRate::Other},   {25.00001, NamedRate::Other},    {29.96, NamedRate::Other},
        {29.97, NamedRate::Rate29_97},  {29.98, NamedRate::Other},       {30.0, NamedRate::Rate30},
        {30.00001, NamedRate::Other},   {50.0, NamedRate::Rate50},       {49.9999, NamedRate::Other},
        {59.93, NamedRate::Other},      {59.94, NamedRate::Rate59_94},   {59.95, NamedRate::Other},
        {60.0, NamedRate::Rate60},      {60.00001, NamedRate::Other},    {0.0, NamedRate::Other},
    };
    for (const Case& c : cases)
        EXPECT_EQ(namedRate(c.rate), c.name) << c.rate;
}

TEST(VideoStandard, FromDataFindsEveryRowByItsOwnFields)
{
    for (VideoStandard s = 1; s < VideoStandardEx::Count; ++s) {
        const VideoStandardEx row(s);
        EXPECT_EQ(VideoStandardEx::fromData(row.getRate(), row.getHeight(), row.getWidth(), row.isProgressive()), s)
            << row.getName().c_str();
        const VideoStandardEx byCode(row.getRate(), row.getLineCode(), row.getWidth(), row.isProgressive());
        EXPECT_EQ(byCode.getStandard(), s);
        EXPECT_EQ(byCode.getName(), row.getName());
        EXPECT_EQ(byCode.getDurationNumerator(), row.getDurationNumerator());
    }
}

TEST(VideoStandard, FromDataBySize)
{
    struct Case {
        double rate;
        unsigned height, width;
        bool progressive;
        VideoStandard expected;
    };
    const Case cases[] = {
        // CIF and SIF: any rate.
        {10.0, 288, 352, false, 1},
        {60.0, 240, 352, true, 2},
        {25.0, 480, 352, false, 0},
        // SD, also with VBI lines.
        {25.0, 576, 720, false, 1},
        {25.0, 608, 720, true, 1},
        {29.97, 576, 720, false, 0},
        {29.97, 480, 720, false, 2},
        {29.97, 486, 720, true, 2},
        {29.97, 512, 720, false, 2},
        {25.0, 486, 720, false, 0},
        {30.0, 486, 720, false, 0},
        // 720 lines, full and DVCPRO HD widths.
        {23.976, 720, 1280, true, 4},
        {24.0, 720, 960, true, 3},
        {25.0, 720, 960, true, 5},
        {29.97, 720, 1280, false, 6},
        {50.0, 720, 960, true, 7},
        {59.94, 720, 1280, true, 9},
        {60.0, 720, 1280, true, 8},
        {30.0, 720, 1280, true, 0},
        // 1080 lines.
        {29.97, 1080, 1920, false, 14},
        {29.97, 1080, 1920, true, 17},
        {25.0, 1080, 1440, false, 12},
        {25.0, 1080, 1440, true, 15},
        {30.0, 1080, 1920, false, 13},
        {30.0, 1080, 1920, true, 16},
        {23.976, 1080, 1920, false, 11},
        {23.976, 1080, 1920, true, 11},
        {24.0, 1080, 1440, false, 10},
        {50.0, 1080, 1920, false, 18},
        {59.94, 1080, 1440, false, 20},
        {60.0, 1080, 1920, true, 19},
        // DVCPRO HD 1080: up to 30 frames only.
        {29.97, 1080, 1280, false, 14},
        {29.97, 1080, 1280, true, 17},
        {25.0, 1080, 1280, true, 15},
        {23.976, 1080, 1280, false, 11},
        {24.0, 1080, 1280, true, 10},
        {50.0, 1080, 1280, true, 0},
        {59.94, 1080, 1280, true, 0},
        {60.0, 1080, 1280, true, 0},
        // 2160 lines.
        {24.0, 2160, 3840, true, 0},
        {23.976, 2160, 3840, true, 21},
        {59.94, 2160, 3840, true, 25},
        {30.0, 2160, 3840, true, 0},
        {59.94, 2160, 4096, true, 30},
        {24.0, 2160, 4096, true, 0},
        {50.0, 2160, 4096, false, 29},
        // Sizes and rates the table doesn't know.
        {25.0, 1088, 1920, false, 0},
        {25.0, 1080, 2048, false, 0},
        {23.97, 1080, 1920, false, 0},
        {25.001, 1080, 1920, false, 0},
        {0.0, 0, 0, false, 0},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(VideoStandardEx::fromData(c.rate, c.height, c.width, c.progressive), c.expected)
            << c.rate << " " << c.width << "x" << c.height << (c.progressive ? "p" : "i");
    }
}

TEST(VideoStandard, ConstructorByLineCode)
{
    EXPECT_EQ(VideoStandardEx(25.0, 34, 720, false).getStandard(), 1u);
    EXPECT_EQ(VideoStandardEx(29.97, 30, 720, false).getStandard(), 2u);
    EXPECT_EQ(VideoStandardEx(29.97, 30, 1920, false).getStandard(), 14u);
    EXPECT_EQ(VideoStandardEx(29.97, 30, 1920, true).getStandard(), 17u);
    EXPECT_EQ(VideoStandardEx(50.0, 35, 1920, true).getStandard(), 18u);
    EXPECT_EQ(VideoStandardEx(59.94, 40, 4096, true).getStandard(), 30u);
    EXPECT_EQ(VideoStandardEx(23.976, 0, 3840, true).getStandard(), 21u);
    // A single row for the rate decides whatever the scan.
    EXPECT_EQ(VideoStandardEx(23.976, 30, 1920, false).getStandard(), 11u);
    EXPECT_EQ(VideoStandardEx(25.0, 34, 720, true).getStandard(), 1u);

    // Nothing fits.
    EXPECT_EQ(VideoStandardEx(59.94, 0, 4096, true).getStandard(), 0u);
    EXPECT_EQ(VideoStandardEx(24.0, 0, 3840, true).getStandard(), 0u);
    EXPECT_EQ(VideoStandardEx(50.0, 30, 1920, true).getStandard(), 0u);
    EXPECT_EQ(VideoStandardEx(25.0, 51, 720, false).getStandard(), 0u);
    EXPECT_EQ(VideoStandardEx(25.0, 1080, 1920, false).getStandard(), 0u);
    const VideoStandardEx none(12.0, 30, 1920, false);
    EXPECT_EQ(none.getName(), L"Invalid Std");
    EXPECT_EQ(none.getLayout(), 1u);
    EXPECT_EQ(none.getAspect(), kAspect4x3);
}
