#include "frame/CvResult.h"

#include <cerrno>

namespace {

constexpr int32_t hr(uint32_t value) { return static_cast<int32_t>(value); }

struct ResultRow {
    const wchar_t* text;
    int32_t hresult;
    int hostCode;
};

// Indexed by the CvResult value. Several codes share an HRESULT; the first of
// them in table order is the one that comes back from it, with the exceptions
// handled in CvResultFromHRESULT.
constexpr ResultRow resultTable[] = {
    {L"OK", 0, 1},
    {L"False", 1, 0},
    {L"Fail", hr(0x80004005), 0},
    {L"Abort", hr(0x80004004), 3},
    {L"AccessDenied", hr(0x80070005), 6},
    {L"Handle", hr(0x80070006), 7},
    {L"InvalidArg", hr(0x80004005), 16},
    {L"NotImpl", hr(0x80004001), 12},
    {L"OutOfMemory", hr(0x8007000E), 10},
    {L"Pointer", hr(0x80004003), 0},
    {L"Unexpected", hr(0x8000FFFF), 26},
    {L"FileInvalid", hr(0x800703EE), 18},
    {L"BufferTooSmall", hr(0x80090321), 8},
    {L"MediaUnavailable", hr(0x800710D4), 27},
    {L"Overflow", hr(0x8002000B), 28},
    {L"MaxFileSizeExceeded", hr(0x800713A7), 2048},
    {L"InvalidFunction", hr(0x80070001), 29},
    {L"FileNotFound", hr(0x80070002), 5},
    {L"InvalidData", hr(0x8007000D), 0},
    {L"BadLength", hr(0x80070018), 23},
    {L"SharingViolation", hr(0x80070020), 15},
    {L"HandleEOF", hr(0x80070026), 11},
    {L"NotSupported", hr(0x80070032), 14},
    {L"FileExists", hr(0x80070050), 4},
    {L"DiskFull", hr(0x80070070), 2},
    {L"InsufficientBuffer", hr(0x8007007A), 8},
    {L"PartialCopy", hr(0x8007012B), 25},
    {L"RequestAborted", hr(0x800704D3), 3},
    {L"IndexAbsent", hr(0x8007064B), 2047},
    {L"NotFound", hr(0x80070002), 5},
    {L"InvalidState", hr(0x8007139F), 17},
    {L"InvalidName", hr(0x8007007B), 18},
    {L"PathNotFound", hr(0x80070003), 19},
    {L"BadNetName", hr(0x80070043), 20},
    {L"AlreadyExists", hr(0x800700B7), 22},
    {L"NetNameDeleted", hr(0x80070040), 0},
    {L"Range", hr(0x80004005), 65},
};

constexpr int resultCount = static_cast<int>(sizeof(resultTable) / sizeof(resultTable[0]));

bool inTable(CvResult result) { return result >= 0 && result < resultCount; }

} // namespace

const wchar_t* getErrorText(CvResult result)
{
    return inTable(result) ? resultTable[result].text : L"Unknown";
}

CvResult CvResultFromHRESULT(int32_t value)
{
    if (value == 1)
        return False;
    if (value >= 0)
        return OK;
    // These codes share a value with another code, or have none of their own:
    // NotImpl's value reads back as Fail, FileNotFound's as NotFound.
    if (value == hr(0x80004001))
        return Fail;
    if (value == hr(0x80070002))
        return NotFound;
    for (int code = Fail; code < resultCount; ++code) {
        if (code == InvalidArg || code == NotImpl || code == FileNotFound || code == Range)
            continue;
        if (resultTable[code].hresult == value)
            return static_cast<CvResult>(code);
    }
    return Fail;
}

int32_t HRESULTFromCvResult(CvResult result)
{
    if (result < Fail)
        return result;
    return inTable(result) ? resultTable[result].hresult : hr(0x80004005);
}

int32_t HRFromLastError()
{
    int error = errno;
    if (error <= 0)
        return 0;
    return static_cast<int32_t>(0x80070000u | (static_cast<uint32_t>(error) & 0xFFFFu));
}

CvResult CvResultFromLastError() { return CvResultFromHRESULT(HRFromLastError()); }

int HcErrFromCvResult(CvResult result)
{
    uint32_t value = static_cast<uint32_t>(result);
    if (value >= 0x80048001u && value < 0x80048101u)
        return 2012;
    if (result < 0 || result >= resultCount)
        return 0;
    return resultTable[result].hostCode;
}
