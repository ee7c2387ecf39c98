#include <cerrno>
#include <gtest/gtest.h>
#include <string>

#include "frame/Base.h"
#include "frame/CvResult.h"

namespace {

CvResult code(int value) { return static_cast<CvResult>(value); }

TEST(CvResult, EveryCodeRoundTripsThroughItsHresultExceptTheSharedOnes)
{
    // Codes without an HRESULT of their own come back as the code that owns
    // the value; all others come back as themselves.
    for (int value = OK; value <= Range; ++value) {
        CvResult back = CvResultFromHRESULT(HRESULTFromCvResult(code(value)));
        switch (value) {
        case InvalidArg:
        case Range:
        case NotImpl: EXPECT_EQ(back, Fail) << value; break;
        case FileNotFound: EXPECT_EQ(back, NotFound) << value; break;
        default: EXPECT_EQ(back, code(value)) << value;
        }
    }
}

TEST(CvResult, HresultValuesOutsideTheTable)
{
    EXPECT_EQ(CvResultFromHRESULT(1), False);
    EXPECT_EQ(CvResultFromHRESULT(2), OK);
    EXPECT_EQ(CvResultFromHRESULT(0x7FFFFFFF), OK);
    EXPECT_EQ(CvResultFromHRESULT(static_cast<int32_t>(0x80070013)), Fail);
    EXPECT_EQ(CvResultFromHRESULT(-1), Fail);
    EXPECT_EQ(HRESULTFromCvResult(code(37)), static_cast<int32_t>(0x80004005));
    EXPECT_EQ(HRESULTFromCvResult(code(-7)), -7);
    EXPECT_EQ(HRESULTFromCvResult(FileNotFound), static_cast<int32_t>(0x80070002));
}

TEST(CvResult, TextsAndHostCodes)
{
    EXPECT_STREQ(getErrorText(OK), L"OK");
    EXPECT_STREQ(getErrorText(NetNameDeleted), L"NetNameDeleted");
    EXPECT_STREQ(getErrorText(Range), L"Range");
    EXPECT_STREQ(getErrorText(code(37)), L"Unknown");
    EXPECT_STREQ(getErrorText(code(-1)), L"Unknown");

    // Only OK maps to the host's success; False is a success here but not there.
    EXPECT_EQ(HcErrFromCvResult(OK), 1);
    EXPECT_EQ(HcErrFromCvResult(False), 0);
    EXPECT_EQ(HcErrFromCvResult(BufferTooSmall), 8);
    EXPECT_EQ(HcErrFromCvResult(InsufficientBuffer), 8);
    EXPECT_EQ(HcErrFromCvResult(HandleEOF), 11);
    EXPECT_EQ(HcErrFromCvResult(MaxFileSizeExceeded), 2048);
    EXPECT_EQ(HcErrFromCvResult(Range), 65);
    EXPECT_EQ(HcErrFromCvResult(code(37)), 0);
    EXPECT_EQ(HcErrFromCvResult(code(static_cast<int32_t>(0x80048001))), 2012);
    EXPECT_EQ(HcErrFromCvResult(code(static_cast<int32_t>(0x80048100))), 2012);
    EXPECT_EQ(HcErrFromCvResult(code(static_cast<int32_t>(0x80048101))), 0);
}

TEST(CvResult, ErrnoIsReadAsAWindowsErrorNumber)
{
    errno = 0;
    EXPECT_EQ(CvResultFromLastError(), OK);
    EXPECT_EQ(HRFromLastError(), 0);
    errno = ENOENT;
    EXPECT_EQ(CvResultFromLastError(), NotFound);
    errno = EIO;
    EXPECT_EQ(CvResultFromLastError(), AccessDenied);
    errno = ENOSPC;  // 28 has no entry of its own
    EXPECT_EQ(HRFromLastError(), static_cast<int32_t>(0x8007001C));
    EXPECT_EQ(CvResultFromLastError(), Fail);
    errno = 0;
}

TEST(BaseErrors, MessagesPileUpBehindABlankUntilTheLimit)
{
    Corvidane::Base base;
    base.setLastError(Fail, L"x");
    EXPECT_STREQ(base.getLastError(), L" x Fail");
    base.setLastError(NotFound, L"open %ls at %d", L"a.mov", 7);
    EXPECT_STREQ(base.getLastError(), L" x Fail open a.mov at 7 NotFound");
    base.setLastError(Abort);
    EXPECT_STREQ(base.getLastError(), L" x Fail open a.mov at 7 NotFound Abort");

    // 1,000 characters and a message of 24 stay together (1,025 with the
    // blank); a message of 30 replaces them.
    std::wstring thousand(1000, L'a');
    base.setLastError(thousand);
    base.setLastError(Fail, std::wstring(19, L'b').c_str());  // 19 + blank + "Fail" = 24
    EXPECT_EQ(std::wstring(base.getLastError()), thousand + L" " + std::wstring(19, L'b') + L" Fail");
    base.setLastError(thousand);
    base.setLastError(Fail, std::wstring(25, L'c').c_str());  // 30
    EXPECT_EQ(std::wstring(base.getLastError()), std::wstring(25, L'c') + L" Fail");
}

TEST(BaseErrors, UnprintableMessagesAndCopies)
{
    Corvidane::Base base;
    base.setLastError(L"kept");
    // A message that doesn't fit the 512-character print buffer is dropped.
    base.setLastError(Fail, L"%ls", std::wstring(600, L'z').c_str());
    EXPECT_STREQ(base.getLastError(), L"kept");
    base.setLastError(L"text", DiskFull);
    EXPECT_STREQ(base.getLastError(), L"text DiskFull");

    base.setDebugLogFile(L"/tmp/debug.log");
    Corvidane::Base copy(base);
    EXPECT_STREQ(copy.getLastError(), L"text DiskFull");
    EXPECT_TRUE(base.isDebugLogFileSet());
    EXPECT_FALSE(copy.isDebugLogFileSet());
}

} // namespace
