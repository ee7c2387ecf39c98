#include "frame/TimeCode.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <string>

using Corvidane::CTimeCodeEx;
using Corvidane::VideoStandard;

namespace {

const double kNtsc = 30000.0 / 1001.0;
const double kNtsc60 = 60000.0 / 1001.0;
const unsigned long kInvalid = 0xFFFFFFFF;

struct Label {
    int h, m, s, f;
    bool operator==(const Label& o) const { return h == o.h && m == o.m && s == o.s && f == o.f; }
};

// SMPTE 12M: labels run at `fps` a second, and the first `drop` labels of each
// minute not divisible by ten don't exist.
struct DropFrameRule {
    int fps;
    int drop;

    bool exists(const Label& l) const { return !(l.m % 10 != 0 && l.s == 0 && l.f < drop); }

    Label next(Label l) const
    {
        if (++l.f == fps) {
            l.f = 0;
            if (++l.s == 60) {
                l.s = 0;
                if (++l.m == 60) {
                    l.m = 0;
                    ++l.h;
                }
            }
        }
        if (!exists(l))
            l.f = drop;
        return l;
    }

    // The frame number of an existing label.
    unsigned long frameOf(const Label& l) const
    {
        const int minutes = l.h * 60 + l.m;
        return static_cast<unsigned long>((l.h * 3600 + l.m * 60 + l.s) * fps + l.f - drop * (minutes - minutes / 10));
    }
};

const DropFrameRule kRule29_97 = {30, 2};
const DropFrameRule kRule59_94 = {60, 4};

Label labelOf(const CTimeCodeEx& tc, bool asDropFrame)
{
    short h = -1, m = -1, s = -1, f = -1;
    EXPECT_TRUE(tc.toHHMMSSFF(h, m, s, f, asDropFrame));
    return {h, m, s, f};
}

std::string text(const Label& l)
{
    char buffer[48];
    std::snprintf(buffer, sizeof buffer, "%02d:%02d:%02d.%02d", l.h, l.m, l.s, l.f);
    return buffer;
}

// Every frame of a day: the label is the next SMPTE drop frame label, matches the
// SMPTE frame number, and reads back to the same count.
void checkDropFrameDay(double rate, const DropFrameRule& rule, unsigned long framesPerHour)
{
    CTimeCodeEx tc(0ul, rate, true);
    ASSERT_TRUE(tc.isDropFrame());
    ASSERT_EQ(tc.getMaxFrames(), framesPerHour * 24);

    Label expected = {0, 0, 0, 0};
    for (unsigned long n = 0; n < tc.getMaxFrames(); ++n) {
        short h, m, s, f;
        if (!tc.setDuration(n, false) || !tc.toHHMMSSFF(h, m, s, f, true))
            FAIL() << "frame " << n << " has no label";
        const Label got = {h, m, s, f};
        if (!(got == expected))
            FAIL() << "frame " << n << " printed " << text(got) << ", expected " << text(expected);
        if (rule.frameOf(got) != n)
            FAIL() << "frame " << n << " label " << text(got) << " has SMPTE number " << rule.frameOf(got);
        if (tc.toFrameCount(h, m, s, f, 1) != n)
            FAIL() << "label " << text(got) << " read back as " << tc.toFrameCount(h, m, s, f, 1) << ", expected " << n;
        expected = rule.next(expected);
    }
    EXPECT_TRUE(expected == (Label{24, 0, 0, 0}));
}

} // namespace

// ------------------------------------------------------------------ state

TEST(TimeCode, NewObjectIsInvalidAndPrintsTheErrorText)
{
    CTimeCodeEx tc;
    EXPECT_FALSE(tc.isValid());
    EXPECT_EQ(tc.getFrameDuration(), kInvalid);
    EXPECT_EQ(tc.getTimecodeRate(), 25.0);
    EXPECT_TRUE(tc.getWrap());
    EXPECT_FALSE(tc.isDropFrame());

    wchar_t buffer[32];
    EXPECT_TRUE(tc.toString(buffer, 32, true));
    EXPECT_EQ(std::wstring(buffer), L"--:--:--:--");
    EXPECT_EQ(tc.toStdString(false), L"--:--:--:--");

    short h, m, s, f;
    EXPECT_FALSE(tc.toHHMMSSFF(h, m, s, f, true));
    char sony[4];
    EXPECT_FALSE(tc.formatSony(sony, true));
    EXPECT_EQ(tc.toSeconds(), 0.0);
}

TEST(TimeCode, ErrorAndZeroTexts)
{
    EXPECT_EQ(CTimeCodeEx::getErrorTimecode(true), L"--;--;--;--");
    EXPECT_EQ(CTimeCodeEx::getErrorTimecode(false), L"--:--:--:--");
    EXPECT_EQ(CTimeCodeEx::getZeroTimecode(true), L"00;00;00;00");
    EXPECT_EQ(CTimeCodeEx::getZeroTimecode(false), L"00:00:00:00");
    EXPECT_EQ(CTimeCodeEx::getDelim(true), L';');
    EXPECT_EQ(CTimeCodeEx::getDelim(false), L':');

    CTimeCodeEx dropFrame(kNtsc);
    dropFrame.setDropFrame(true);
    EXPECT_EQ(dropFrame.getDelim(), L';');
    EXPECT_EQ(dropFrame.toStdString(true), L"--;--;--;--");

    // One delimiter throughout, chosen by the drop flag alone.
    EXPECT_EQ(CTimeCodeEx(1800ul, kNtsc, true).toStdString(true), L"00;01;00;02");
    EXPECT_EQ(CTimeCodeEx(1802ul, kNtsc, true).toStdString(false), L"00;01;00;04");
    EXPECT_EQ(CTimeCodeEx(1800ul, kNtsc, false).toStdString(true), L"00:01:00:00");
}

TEST(TimeCode, ToStringBuffers)
{
    const CTimeCodeEx tc(90000ul, 25.0, false);
    EXPECT_FALSE(tc.toString(nullptr, 32, true));

    wchar_t exact[12];
    EXPECT_TRUE(tc.toString(exact, 12, true));
    EXPECT_EQ(std::wstring(exact), L"01:00:00:00");

    wchar_t small[6];
    EXPECT_FALSE(tc.toString(small, 6, true));
    EXPECT_EQ(std::wstring(small), L"01:00");
}

TEST(TimeCode, ClearCopyAndAssignment)
{
    CTimeCodeEx tc(17982ul, kNtsc, true);
    tc.setWrap(false);
    CTimeCodeEx copy(tc);
    EXPECT_TRUE(copy == tc);
    EXPECT_TRUE(copy.isDropFrame());
    EXPECT_FALSE(copy.getWrap());

    ++copy;
    EXPECT_EQ(tc.getFrameDuration(), 17982u);
    EXPECT_EQ(copy.getFrameDuration(), 17983u);

    CTimeCodeEx assigned;
    assigned = tc;
    EXPECT_TRUE(assigned == tc);
    assigned.setDuration(5, false);
    EXPECT_EQ(tc.getFrameDuration(), 17982u);

    CTimeCodeEx& alias = assigned;
    assigned = alias;
    EXPECT_EQ(assigned.getFrameDuration(), 5u);

    tc.clear();
    EXPECT_FALSE(tc.isValid());
    EXPECT_EQ(tc.getTimecodeRate(), 25.0);
    EXPECT_TRUE(tc.getWrap());
    EXPECT_FALSE(tc.isDropFrame());
}

// ------------------------------------------------------------------ rates

TEST(TimeCode, RatesSnapToBroadcastRates)
{
    struct Case {
        double in;
        double stored;
    };
    const Case cases[] = {
        {23.976, static_cast<float>(24000.0 / 1001.0)},
        {23.98, static_cast<float>(24000.0 / 1001.0)},
        {24000.0 / 1001.0, static_cast<float>(24000.0 / 1001.0)},
        {24.000001, 24.0},
        {23.99995, 24.0},
        {29.97, static_cast<float>(kNtsc)},
        {29.965, static_cast<float>(kNtsc)},
        {30.000001, 30.0},
        {59.94, static_cast<float>(kNtsc60)},
        {59.9399, static_cast<float>(kNtsc60)},
        {60.000005, 60.0},
        {25.0, 25.0},
        {50.0, 50.0},
        // Outside every band: stored as given, to float precision.
        {23.97, static_cast<float>(23.97)},
        {23.99, static_cast<float>(23.99)},
        {29.98, static_cast<float>(29.98)},
        {12.5, 12.5},
        {120.0, 120.0},
    };
    for (const Case& c : cases)
        EXPECT_EQ(CTimeCodeEx(c.in).getTimecodeRate(), c.stored) << "rate " << c.in;

    EXPECT_EQ(CTimeCodeEx(0.5).getTimecodeRate(), 25.0);
    EXPECT_EQ(CTimeCodeEx(0.0).getTimecodeRate(), 25.0);
    EXPECT_EQ(CTimeCodeEx(-30.0).getTimecodeRate(), 25.0);
}

TEST(TimeCode, DropFrameOnlyAtTheNtscRates)
{
    for (double rate : {25.0, 24.0, 30.0, 50.0, 60.0, 23.976, 12.5}) {
        CTimeCodeEx tc(rate);
        tc.setDropFrame(true);
        EXPECT_FALSE(tc.isDropFrame()) << rate;
        EXPECT_FALSE(CTimeCodeEx(0ul, rate, true).isDropFrame()) << rate;
    }
    for (double rate : {29.97, kNtsc, 59.94, kNtsc60}) {
        CTimeCodeEx tc(rate);
        tc.setDropFrame(true);
        EXPECT_TRUE(tc.isDropFrame()) << rate;
        tc.setDropFrame(false);
        EXPECT_FALSE(tc.isDropFrame()) << rate;
    }

    CTimeCodeEx pal(25.0);
    pal.setDuration(100, false);
    pal.setDropFrame(true);
    EXPECT_FALSE(pal.isDropFrame());
    EXPECT_EQ(pal.toStdString(true), L"00:00:04:00");
}

TEST(TimeCode, VideoStandardsGiveRateAndDropFrame)
{
    const VideoStandard pal = 1, ntsc = 2, hd1080i25 = 12, hd1080i2997 = 14, hd720p5994 = 9, qfhd2398 = 21;

    EXPECT_EQ(CTimeCodeEx(pal).getTimecodeRate(), 25.0);
    EXPECT_FALSE(CTimeCodeEx(pal).isDropFrame());
    EXPECT_EQ(CTimeCodeEx(ntsc).getTimecodeRate(), static_cast<float>(kNtsc));
    EXPECT_TRUE(CTimeCodeEx(ntsc).isDropFrame());
    EXPECT_EQ(CTimeCodeEx(hd720p5994).getTimecodeRate(), static_cast<float>(kNtsc60));
    EXPECT_TRUE(CTimeCodeEx(hd720p5994).isDropFrame());
    EXPECT_EQ(CTimeCodeEx(qfhd2398).getTimecodeRate(), static_cast<float>(24000.0 / 1001.0));

    EXPECT_FALSE(CTimeCodeEx(hd1080i2997, false).isDropFrame());
    EXPECT_FALSE(CTimeCodeEx(hd1080i25, true).isDropFrame());

    // Outside the table: no rate, so nothing is ever valid.
    for (VideoStandard bad : {0u, 31u, 1000u}) {
        const CTimeCodeEx tc(0ul, bad);
        EXPECT_EQ(tc.getTimecodeRate(), 0.0) << bad;
        EXPECT_FALSE(tc.isValid()) << bad;
        EXPECT_FALSE(tc.isDropFrame()) << bad;
        EXPECT_EQ(tc.toStdString(true), L"--:--:--:--");
    }

    const CTimeCodeEx fromFrames(17982ul, hd1080i2997);
    EXPECT_TRUE(fromFrames.isDropFrame());
    EXPECT_EQ(fromFrames.toStdString(true), L"00;10;00;00");
}

// ------------------------------------------------------------------ the day and its wrap

TEST(TimeCode, MaxFramesIsOneDay)
{
    EXPECT_EQ(CTimeCodeEx(25.0).getMaxFrames(), 25ul * 86400);
    EXPECT_EQ(CTimeCodeEx(24.0).getMaxFrames(), 24ul * 86400);
    EXPECT_EQ(CTimeCodeEx(30.0).getMaxFrames(), 30ul * 86400);
    EXPECT_EQ(CTimeCodeEx(12.5).getMaxFrames(), 13ul * 86400);
    // Non-drop 29.97 labels all 30 numbers of every second.
    EXPECT_EQ(CTimeCodeEx(kNtsc).getMaxFrames(), 30ul * 86400);
    // An hour of drop frame is 107892 frames at 29.97 and twice that at 59.94.
    EXPECT_EQ(CTimeCodeEx(0ul, kNtsc, true).getMaxFrames(), 107892ul * 24);
    EXPECT_EQ(CTimeCodeEx(0ul, kNtsc60, true).getMaxFrames(), 215784ul * 24);

    CTimeCodeEx unwrapped(25.0);
    unwrapped.setWrap(false);
    EXPECT_FALSE(unwrapped.getWrap());
    EXPECT_EQ(unwrapped.getMaxFrames(), 0xFFFFFFFEul);
}

TEST(TimeCode, SetDurationWrapsOnlyWhenAskedAndAllowed)
{
    const unsigned long day = 25ul * 86400;
    CTimeCodeEx tc(25.0);

    EXPECT_TRUE(tc.setDuration(day - 1, false));
    EXPECT_EQ(tc.toStdString(true), L"23:59:59:24");

    EXPECT_FALSE(tc.setDuration(day, false));
    EXPECT_EQ(tc.getFrameDuration(), day - 1);
    EXPECT_TRUE(tc.setDuration(day, true));
    EXPECT_EQ(tc.getFrameDuration(), 0u);
    EXPECT_TRUE(tc.setDuration(3 * day + 90000, true));
    EXPECT_EQ(tc.toStdString(true), L"01:00:00:00");

    tc.setWrap(false);
    EXPECT_TRUE(tc.setDuration(day + 5, false));
    EXPECT_EQ(tc.getFrameDuration(), day + 5);
    EXPECT_FALSE(tc.setDuration(0xFFFFFFFE, true));
    EXPECT_EQ(tc.getFrameDuration(), day + 5);
    EXPECT_TRUE(tc.setDuration(0xFFFFFFFD, true));

    // A count past midnight given to a constructor isn't a time of day.
    EXPECT_FALSE(CTimeCodeEx(day, 25.0, false).isValid());
    EXPECT_FALSE(CTimeCodeEx(kInvalid, 25.0, false).isValid());
}

TEST(TimeCode, LabelsPastMidnight)
{
    CTimeCodeEx tc(25.0);
    EXPECT_EQ(tc.toFrameCount(23, 59, 59, 24, 1), 25ul * 86400 - 1);
    EXPECT_EQ(tc.toFrameCount(24, 0, 0, 0, 1), kInvalid);

    CTimeCodeEx dropFrame(0ul, kNtsc, true);
    EXPECT_EQ(dropFrame.toFrameCount(23, 59, 59, 29, 1), 107892ul * 24 - 1);
    EXPECT_EQ(dropFrame.toFrameCount(24, 0, 0, 0, 1), kInvalid);

    tc.setWrap(false);
    EXPECT_EQ(tc.toFrameCount(24, 0, 0, 0, 1), 25ul * 86400);
    EXPECT_EQ(tc.toFrameCount(99, 59, 59, 24, 1), 25ul * 360000 - 1);
    EXPECT_EQ(tc.toFrameCount(0, -1, 0, 0, 1), kInvalid);
}

// ------------------------------------------------------------------ non-drop labels

TEST(TimeCode, NonDropLabelsCountWholeSeconds)
{
    for (double rate : {24.0, 25.0, 30.0, 50.0, 60.0}) {
        const int fps = static_cast<int>(rate);
        CTimeCodeEx tc(0ul, rate, false);
        for (unsigned long n = 0; n < tc.getMaxFrames(); n += 997) {
            ASSERT_TRUE(tc.setDuration(n, false));
            const Label l = labelOf(tc, true);
            const long seconds = static_cast<long>(n / fps);
            ASSERT_TRUE((l == Label{int(seconds / 3600), int(seconds / 60 % 60), int(seconds % 60), int(n % fps)}))
                << rate << " frame " << n << " printed " << text(l);
            ASSERT_EQ(tc.toFrameCount(l.h, l.m, l.s, l.f, 1), n);
            ASSERT_EQ(tc.toFrameCount(l.h, l.m, l.s, l.f, 0), n);
            // Non-drop prints the same either way.
            ASSERT_TRUE(labelOf(tc, false) == l);
        }
    }
    EXPECT_EQ(CTimeCodeEx(90000ul, 25.0, false).toStdString(true), L"01:00:00:00");
    EXPECT_EQ(CTimeCodeEx(86400ul, 24.0, false).toStdString(true), L"01:00:00:00");
    EXPECT_EQ(CTimeCodeEx(107999ul, 30.0, false).toStdString(true), L"00:59:59:29");
}

TEST(TimeCode, NtscWithoutDropFrameLabelsThirtyASecond)
{
    CTimeCodeEx tc(17982ul, kNtsc, false);
    EXPECT_EQ(tc.toStdString(true), L"00:09:59:12");
    EXPECT_EQ(tc.toFrameCount(0, 10, 0, 0, 1), 18000u);
    EXPECT_EQ(tc.toFrameCount(0, 1, 0, 0, 1), 1800u);
}

// ------------------------------------------------------------------ drop frame

TEST(TimeCode, DropFrameKnownLabelsAt2997)
{
    struct Case {
        unsigned long frame;
        const wchar_t* label;
    };
    const Case cases[] = {
        {0, L"00;00;00;00"},         {1799, L"00;00;59;29"},     {1800, L"00;01;00;02"},
        {3597, L"00;01;59;29"},      {3598, L"00;02;00;02"},     {17981, L"00;09;59;29"},
        {17982, L"00;10;00;00"},     {19781, L"00;10;59;29"},    {19782, L"00;11;00;02"},
        {107891, L"00;59;59;29"},    {107892, L"01;00;00;00"},   {2589407, L"23;59;59;29"},
    };
    for (const Case& c : cases) {
        CTimeCodeEx tc(c.frame, kNtsc, true);
        EXPECT_EQ(tc.toStdString(true), c.label) << c.frame;
        CTimeCodeEx parsed(kNtsc);
        EXPECT_TRUE(parsed.fromString(c.label, true, 1)) << c.frame;
        EXPECT_EQ(parsed.getFrameDuration(), c.frame);
    }
}

TEST(TimeCode, DropFrameKnownLabelsAt5994)
{
    struct Case {
        unsigned long frame;
        const wchar_t* label;
    };
    const Case cases[] = {
        {3599, L"00;00;59;59"},   {3600, L"00;01;00;04"},    {35963, L"00;09;59;59"},
        {35964, L"00;10;00;00"},  {215784, L"01;00;00;00"},  {5178815, L"23;59;59;59"},
    };
    for (const Case& c : cases) {
        CTimeCodeEx tc(c.frame, kNtsc60, true);
        EXPECT_EQ(tc.toStdString(true), c.label) << c.frame;
    }
}

TEST(TimeCode, DropFrameWholeDayAt2997)
{
    checkDropFrameDay(29.97, kRule29_97, 107892);
}

TEST(TimeCode, DropFrameWholeDayAt5994)
{
    checkDropFrameDay(59.94, kRule59_94, 215784);
}

TEST(TimeCode, SkippedDropFrameLabelsReadAsTheLabelsDropBefore)
{
    const CTimeCodeEx ntsc(0ul, kNtsc, true);
    EXPECT_EQ(ntsc.toFrameCount(0, 1, 0, 0, 1), ntsc.toFrameCount(0, 0, 59, 28, 1));
    EXPECT_EQ(ntsc.toFrameCount(0, 1, 0, 0, 1), 1798u);
    EXPECT_EQ(ntsc.toFrameCount(0, 1, 0, 1, 1), 1799u);
    EXPECT_EQ(ntsc.toFrameCount(0, 1, 0, 2, 1), 1800u);
    EXPECT_EQ(ntsc.toFrameCount(1, 11, 0, 0, 1), ntsc.toFrameCount(1, 10, 59, 28, 1));
    // Every tenth minute keeps its first labels.
    EXPECT_EQ(ntsc.toFrameCount(0, 10, 0, 0, 1), 17982u);
    EXPECT_EQ(ntsc.toFrameCount(0, 20, 0, 1, 1), 2 * 17982u + 1);

    const CTimeCodeEx ntsc60(0ul, kNtsc60, true);
    for (short f = 0; f < 4; ++f)
        EXPECT_EQ(ntsc60.toFrameCount(0, 1, 0, f, 1), 3596u + f) << f;
    EXPECT_EQ(ntsc60.toFrameCount(0, 1, 0, 4, 1), 3600u);
}

TEST(TimeCode, DropCountedLabelsWithoutSkipsRoundTrip)
{
    // The second labelling at 29.97 counts in drop frame arithmetic but prints the
    // first labels of each minute; printing and reading back must agree, labels
    // must only grow, and it must not depend on the drop flag.
    CTimeCodeEx plain(0ul, kNtsc, false);
    CTimeCodeEx flagged(0ul, kNtsc, true);
    long previous = -1;
    for (unsigned long n = 0; n < 107892ul * 24; ++n) {
        short h, m, s, f, fh, fm, fs, ff;
        if (!plain.setDuration(n, false) || !flagged.setDuration(n, false)
            || !plain.toHHMMSSFF(h, m, s, f, false) || !flagged.toHHMMSSFF(fh, fm, fs, ff, false))
            FAIL() << "frame " << n << " has no label";
        const Label l = {h, m, s, f};
        if (!(Label{fh, fm, fs, ff} == l))
            FAIL() << "frame " << n << " depends on the drop flag";
        const long nominal = ((l.h * 60L + l.m) * 60 + l.s) * 30 + l.f;
        if (nominal <= previous)
            FAIL() << "frame " << n << " printed " << text(l) << ", not after the frame before";
        previous = nominal;
        if (plain.toFrameCount(h, m, s, f, 0) != n)
            FAIL() << "label " << text(l) << " read back as " << plain.toFrameCount(h, m, s, f, 0) << ", expected " << n;
    }
    EXPECT_EQ(CTimeCodeEx(1798ul, kNtsc, false).toStdString(false), L"00:01:00:00");
    EXPECT_EQ(CTimeCodeEx(17982ul, kNtsc, false).toStdString(false), L"00:10:00:00");
}

// ------------------------------------------------------------------ text

TEST(TimeCode, FromStringWrongLengthReportsOnStandardError)
{
    CTimeCodeEx tc(25.0);
    for (const wchar_t* bad : {L"01:00:00:0", L"01:00:00:000", L""}) {
        testing::internal::CaptureStderr();
        EXPECT_FALSE(tc.fromString(bad, true, 1));
        EXPECT_EQ(testing::internal::GetCapturedStderr(), "CTimeCodeEx::fromString Failed string wrong length\n");
    }
    testing::internal::CaptureStderr();
    EXPECT_FALSE(tc.fromString(nullptr, true, 1));
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    EXPECT_FALSE(tc.isValid());
}

TEST(TimeCode, FromStringDigitsAndSeparators)
{
    CTimeCodeEx tc(25.0);
    EXPECT_TRUE(tc.fromString(L"01:02:03:04", true, 1));
    EXPECT_EQ(tc.getFrameDuration(), (3600ul + 120 + 3) * 25 + 4);

    // The first two separators are not looked at.
    EXPECT_TRUE(tc.fromString(L"01x02-03:04", true, 1));
    EXPECT_EQ(tc.getFrameDuration(), (3600ul + 120 + 3) * 25 + 4);
    EXPECT_TRUE(tc.fromString(L"00:00:01.00", true, 1));
    EXPECT_EQ(tc.getFrameDuration(), 25u);

    for (const wchar_t* bad : {L"0a:00:00:00", L"00:0 :00:00", L"00:00:-1:00", L"00:00:00:0x",
                                L"00:00:00-00", L"00:00:00 00", L"+1:00:00:00"}) {
        ASSERT_TRUE(tc.fromString(L"00:00:02:00", true, 1));
        EXPECT_FALSE(tc.fromString(bad, true, 1)) << bad;
        EXPECT_EQ(tc.getFrameDuration(), 50u) << bad;
    }

    // Past midnight parses but isn't a time of day.
    EXPECT_FALSE(tc.fromString(L"24:00:00:00", true, 1));
    EXPECT_FALSE(tc.isValid());
}

TEST(TimeCode, FromStringTakesDropFrameFromTheLastSeparator)
{
    CTimeCodeEx tc(29.97);
    EXPECT_TRUE(tc.fromString(L"00:10:00;00", true, 1));
    EXPECT_TRUE(tc.isDropFrame());
    EXPECT_EQ(tc.getFrameDuration(), 17982u);

    EXPECT_TRUE(tc.fromString(L"00:10:00:00", true, 1));
    EXPECT_FALSE(tc.isDropFrame());
    EXPECT_EQ(tc.getFrameDuration(), 18000u);

    EXPECT_TRUE(tc.fromString(L"00:10:00.00", true, 1));
    EXPECT_TRUE(tc.isDropFrame());

    // Without setDrop the flag stays as it was.
    EXPECT_TRUE(tc.fromString(L"00:10:00:00", false, 1));
    EXPECT_TRUE(tc.isDropFrame());
    EXPECT_EQ(tc.getFrameDuration(), 17982u);

    // At 25 a ';' can't make drop frame.
    CTimeCodeEx pal(25.0);
    EXPECT_TRUE(pal.fromString(L"00:10:00;00", true, 1));
    EXPECT_FALSE(pal.isDropFrame());
    EXPECT_EQ(pal.getFrameDuration(), 15000u);
}

TEST(TimeCode, TextAndLabelConstructors)
{
    EXPECT_EQ(CTimeCodeEx(L"01:00:00:00", 25.0, true, true).getFrameDuration(), 90000u);
    const CTimeCodeEx ntsc(L"00:10:00;00", VideoStandard(2), true, true);
    EXPECT_TRUE(ntsc.isDropFrame());
    EXPECT_EQ(ntsc.getFrameDuration(), 17982u);
    testing::internal::CaptureStderr();
    EXPECT_FALSE(CTimeCodeEx(L"01:00:00", 25.0, true, true).isValid());
    EXPECT_FALSE(testing::internal::GetCapturedStderr().empty());

    const CTimeCodeEx fromLabel(0, 10, 0, 0, VideoStandard(14), true, true);
    EXPECT_EQ(fromLabel.getFrameDuration(), 17982u);
    EXPECT_TRUE(fromLabel.isDropFrame());
    EXPECT_EQ(CTimeCodeEx(1, 0, 0, 0, VideoStandard(12), false, true).getFrameDuration(), 90000u);
}

// ------------------------------------------------------------------ Sony BCD

TEST(TimeCode, SonyBytesRead)
{
    const unsigned char bytes[4] = {0x45, 0x30, 0x20, 0x10};
    CTimeCodeEx tc(29.97);
    ASSERT_TRUE(tc.setFromSony(bytes));
    EXPECT_TRUE(tc.isDropFrame());
    EXPECT_EQ(tc.toStdString(true), L"10;20;30;05");
    EXPECT_EQ(tc.getFrameDuration(), kRule29_97.frameOf({10, 20, 30, 5}));

    char written[4];
    ASSERT_TRUE(tc.formatSony(written, true));
    for (int i = 0; i < 4; ++i)
        EXPECT_EQ(static_cast<unsigned char>(written[i]), bytes[i]) << i;
    ASSERT_TRUE(tc.formatSony(written, false));
    EXPECT_EQ(static_cast<unsigned char>(written[0]), 0x05);

    // Without bit 6 the flag is cleared again.
    const unsigned char nonDrop[4] = {0x05, 0x30, 0x20, 0x10};
    ASSERT_TRUE(tc.setFromSony(nonDrop));
    EXPECT_FALSE(tc.isDropFrame());
    EXPECT_EQ(tc.getFrameDuration(), (10ul * 3600 + 20 * 60 + 30) * 30 + 5);

    // At 25 the drop bit is ignored.
    CTimeCodeEx pal(25.0);
    ASSERT_TRUE(pal.setFromSony(bytes));
    EXPECT_FALSE(pal.isDropFrame());
    EXPECT_EQ(pal.toStdString(true), L"10:20:30:05");
}

TEST(TimeCode, SonyBytesRejected)
{
    CTimeCodeEx pal(25.0);
    EXPECT_FALSE(pal.setFromSony(nullptr));
    const unsigned char bad[][4] = {
        {0x0A, 0x00, 0x00, 0x00},  // frames units
        {0x00, 0x0F, 0x00, 0x00},  // seconds units
        {0x00, 0x00, 0x1A, 0x00},  // minutes units
        {0x00, 0x00, 0x00, 0x0C},  // hours units
        {0x26, 0x00, 0x00, 0x00},  // frames past the rate
        {0x00, 0x60, 0x00, 0x00},  // seconds
        {0x00, 0x00, 0x60, 0x00},  // minutes
        {0x00, 0x00, 0x00, 0x24},  // hours
    };
    for (const auto& bytes : bad) {
        ASSERT_TRUE(pal.setDuration(7, false));
        EXPECT_FALSE(pal.setFromSony(bytes));
        EXPECT_EQ(pal.getFrameDuration(), 7u);
    }
    // Frames are accepted up to the rounded rate.
    const unsigned char rounded25[4] = {0x25, 0x00, 0x00, 0x00};
    EXPECT_TRUE(pal.setFromSony(rounded25));
    CTimeCodeEx ntsc(29.97);
    const unsigned char rounded30[4] = {0x30, 0x00, 0x00, 0x00};
    const unsigned char past30[4] = {0x31, 0x00, 0x00, 0x00};
    EXPECT_TRUE(ntsc.setFromSony(rounded30));
    EXPECT_FALSE(ntsc.setFromSony(past30));

    char out[4];
    EXPECT_FALSE(CTimeCodeEx(7ul, 25.0, false).formatSony(nullptr, true));
    EXPECT_TRUE(CTimeCodeEx(7ul, 25.0, false).formatSony(out, true));
}

TEST(TimeCode, SonyBytesRoundTrip)
{
    for (double rate : {25.0, 29.97, 59.94}) {
        CTimeCodeEx tc(0ul, rate, rate != 25.0);
        CTimeCodeEx back(rate);
        for (unsigned long n = 0; n < tc.getMaxFrames(); n += 1009) {
            ASSERT_TRUE(tc.setDuration(n, false));
            // Two bits of frame tens: frames 40 and up at 59.94 have no Sony form.
            if (labelOf(tc, true).f >= 40)
                continue;
            char bytes[4];
            ASSERT_TRUE(tc.formatSony(bytes, true));
            ASSERT_TRUE(back.setFromSony(reinterpret_cast<unsigned char*>(bytes)));
            ASSERT_EQ(back.isDropFrame(), tc.isDropFrame());
            ASSERT_EQ(back.getFrameDuration(), n) << rate;
        }
    }
}

// ------------------------------------------------------------------ arithmetic

TEST(TimeCode, ArithmeticWrapsAtMidnight)
{
    CTimeCodeEx tc(L"23:59:59:24", 25.0, true, true);
    ++tc;
    EXPECT_EQ(tc.toStdString(true), L"00:00:00:00");
    --tc;
    EXPECT_EQ(tc.toStdString(true), L"23:59:59:24");

    CTimeCodeEx before = tc++;
    EXPECT_EQ(before.toStdString(true), L"23:59:59:24");
    EXPECT_EQ(tc.getFrameDuration(), 0u);
    before = tc--;
    EXPECT_EQ(before.getFrameDuration(), 0u);
    EXPECT_EQ(tc.getFrameDuration(), 25ul * 86400 - 1);

    tc += 25ul * 86400 * 3 + 2;
    EXPECT_EQ(tc.getFrameDuration(), 1u);

    CTimeCodeEx dropFrame(L"23;59;59;29", 29.97, true, true);
    ++dropFrame;
    EXPECT_EQ(dropFrame.toStdString(true), L"00;00;00;00");
    dropFrame -= CTimeCodeEx(1ul, 29.97, true);
    EXPECT_EQ(dropFrame.toStdString(true), L"23;59;59;29");
}

TEST(TimeCode, ArithmeticWithoutWrapLeavesTheRange)
{
    CTimeCodeEx tc(0ul, 25.0, false);
    tc.setWrap(false);
    --tc;
    EXPECT_FALSE(tc.isValid());

    CTimeCodeEx top(25.0);
    top.setWrap(false);
    ASSERT_TRUE(top.setDuration(0xFFFFFFFD, false));
    ++top;
    EXPECT_FALSE(top.isValid());

    CTimeCodeEx day(25ul * 86400 - 1, 25.0, false);
    day.setWrap(false);
    ++day;
    EXPECT_EQ(day.getFrameDuration(), 25ul * 86400);
}

TEST(TimeCode, SumsDifferencesAndComparisons)
{
    const CTimeCodeEx hour(90000ul, 25.0, false);
    const CTimeCodeEx minute(1500ul, 25.0, false);
    EXPECT_EQ((hour + minute).toStdString(true), L"01:01:00:00");
    EXPECT_EQ((hour - minute).toStdString(true), L"00:59:00:00");
    EXPECT_EQ((minute - hour).toStdString(true), L"23:01:00:00");

    EXPECT_FALSE((hour + CTimeCodeEx()).isValid());
    EXPECT_FALSE((CTimeCodeEx() + hour).isValid());

    EXPECT_TRUE(minute < hour);
    EXPECT_TRUE(minute <= hour);
    EXPECT_TRUE(hour > minute);
    EXPECT_TRUE(hour >= hour);
    EXPECT_FALSE(hour < hour);

    // Equality needs the same rate; ordering looks at the count only.
    const CTimeCodeEx otherRate(90000ul, 30.0, false);
    EXPECT_TRUE(hour == CTimeCodeEx(90000ul, 25.0, false));
    EXPECT_FALSE(hour == otherRate);
    EXPECT_TRUE(hour != otherRate);
    EXPECT_TRUE(hour <= otherRate && hour >= otherRate);
}

// ------------------------------------------------------------------ time

TEST(TimeCode, SecondsAndMilliseconds)
{
    CTimeCodeEx tc(25.0);
    EXPECT_TRUE(tc.fromSeconds(60));
    EXPECT_EQ(tc.getFrameDuration(), 1500u);
    EXPECT_DOUBLE_EQ(tc.toSeconds(), 60.0);
    EXPECT_DOUBLE_EQ(tc.toMilliseconds(), 60000.0);
    EXPECT_EQ(tc.toRefTime(), 600000000);
    EXPECT_FALSE(tc.fromSeconds(-1));
    EXPECT_FALSE(tc.fromSeconds(86400));

    EXPECT_TRUE(tc.fromMilliseconds(1000));
    EXPECT_EQ(tc.getFrameDuration(), 25u);
    EXPECT_TRUE(tc.fromMilliseconds(79));
    EXPECT_EQ(tc.getFrameDuration(), 1u);

    CTimeCodeEx ntsc(30000ul, kNtsc, false);
    EXPECT_NEAR(ntsc.toSeconds(), 1001.0, 1e-3);

    CTimeCodeEx noRate(0ul, VideoStandard(0));
    EXPECT_FALSE(noRate.fromMilliseconds(1000));
    EXPECT_FALSE(noRate.setFromSystemTime());
}

TEST(TimeCode, SystemTimeIsLocalTime)
{
    CTimeCodeEx tc(25.0);
    const time_t before = std::time(nullptr);
    ASSERT_TRUE(tc.setFromSystemTime());
    const time_t after = std::time(nullptr);
    tm local;
    localtime_r(&before, &local);
    const long expected = local.tm_hour * 3600L + local.tm_min * 60 + local.tm_sec;
    const long seconds = static_cast<long>(tc.getFrameDuration() / 25);
    if (after == before)
        EXPECT_EQ(seconds, expected);
    else
        EXPECT_LE(std::labs(seconds - expected), 2L);
}
