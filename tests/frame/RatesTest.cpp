#include "frame/FourCC.h"
#include "frame/Rates.h"

#include <gtest/gtest.h>

#include <climits>

using namespace Corvidane;

TEST(RateScaleText, PrintsAndParsesBack)
{
    const unsigned pairs[][2] = {{25, 1}, {30000, 1001}, {0, 0}, {UINT_MAX, UINT_MAX}, {1, 0}};
    for (const auto& p : pairs) {
        std::wstring text;
        ASSERT_TRUE(getWStringFromFrameRateAndScale(p[0], p[1], text));
        unsigned rate = 7, scale = 7;
        ASSERT_TRUE(getRateAndScaleFromWString(text, rate, scale)) << text;
        EXPECT_EQ(rate, p[0]);
        EXPECT_EQ(scale, p[1]);
    }
    std::wstring text;
    getWStringFromFrameRateAndScale(30000, 1001, text);
    EXPECT_EQ(text, L"30000/1001");
}

TEST(RateScaleText, ParseAcceptsBlanksAroundNumbers)
{
    unsigned rate = 0, scale = 0;
    ASSERT_TRUE(getRateAndScaleFromWString(L" 24000 / 1001 ", rate, scale));
    EXPECT_EQ(rate, 24000u);
    EXPECT_EQ(scale, 1001u);
    ASSERT_TRUE(getRateAndScaleFromWString(L"0050/01", rate, scale));
    EXPECT_EQ(rate, 50u);
    EXPECT_EQ(scale, 1u);
}

TEST(RateScaleText, ParseRejectsMalformedTextWithoutTouchingOutputs)
{
    for (const wchar_t* bad : {L"", L"25", L"/", L"/1", L"25/", L" / ", L"25/1/2", L"-1/1", L"+1/1",
                               L"1e3/1", L"25/1x", L"25.0/1", L"4294967296/1", L"1/4294967296",
                               L"99999999999999999999999999/1"}) {
        unsigned rate = 123, scale = 456;
        EXPECT_FALSE(getRateAndScaleFromWString(bad, rate, scale)) << bad;
        EXPECT_EQ(rate, 123u) << bad;
        EXPECT_EQ(scale, 456u) << bad;
    }
}

TEST(AspectRatioText, KnownRatiosRoundTrip)
{
    const std::vector<unsigned>& ratios = aspectRatios();
    ASSERT_EQ(ratios, (std::vector<unsigned>{0x00100009u, 0x00040003u, 0x000E0009u}));
    EXPECT_EQ(&ratios, &aspectRatios());
    for (unsigned ratio : ratios)
        EXPECT_EQ(aspectRatioFromString(aspectRatioToString(ratio)), ratio);

    EXPECT_EQ(aspectRatioToString(0x00040003), L"4-3");
    EXPECT_EQ(aspectRatioToString(0x000E0009), L"14-9");
    EXPECT_EQ(aspectRatioFromString(L"16-9"), 0x00100009u);
}

TEST(AspectRatioText, UnknownTextAndValuesMeanSixteenByNine)
{
    for (const wchar_t* text : {L"", L"16:9", L"4-3 ", L"4:3", L"1-1", L"garbage"})
        EXPECT_EQ(aspectRatioFromString(text), 0x00100009u) << text;
    for (unsigned value : {0u, 0x00010001u, 0x00030004u, 0xFFFFFFFFu})
        EXPECT_EQ(aspectRatioToString(value), L"16-9");
}

TEST(FourCCCode, LowByteIsFirstLetter)
{
    static_assert(fourCC("xd35") == (0x78u | 0x64u << 8 | 0x33u << 16 | 0x35u << 24));
    EXPECT_EQ(fourCCToString(fourCC("avc1")), "avc1");
    EXPECT_EQ(fourCCToString(fourCC("\xff\x01 Z")), "\xff\x01 Z");
    EXPECT_EQ(fourCCToString(0), std::string(4, '\0'));
}

TEST(CodecSizes, FixedBitrates)
{
    const struct {
        unsigned fcc;
        unsigned kbps;
    } table[] = {
        {fourCC("xd35"), 35000},  {fourCC("xd25"), 25000}, {fourCC("dv25"), 25000},
        {fourCC("dvsd"), 25000},  {fourCC("xd50"), 50000}, {fourCC("dv50"), 50000},
        {fourCC("avc5"), 50000},  {fourCC("avc6"), 100000}, {fourCC("dvh1"), 100000},
        {fourCC("XD35"), 0},      {fourCC("avc1"), 0},      {fourCC("53dx"), 0},
        {0, 0},
    };
    for (const auto& row : table)
        EXPECT_EQ(getBitrateForFCC(row.fcc, 1920, 1080), row.kbps) << fourCCToString(row.fcc);
    EXPECT_EQ(getBitrateForFCC(fourCC("dv50"), 0, 0), 50000u);

    EXPECT_EQ(getBppForFCC(fourCC("avc1")), 24u);
    EXPECT_EQ(getBppForFCC(0), 24u);
}

TEST(CodecSizes, ImxBitrates)
{
    for (unsigned rate : {30000u, 40000u, 50000u})
        EXPECT_TRUE(isValidIMXBitrate(rate));
    for (unsigned rate : {0u, 30u, 35000u, 45000u, 60000u, 50001u})
        EXPECT_FALSE(isValidIMXBitrate(rate));
}
