#pragma once
#include <cstdint>

// Result of every container operation. OK and False count as success; the
// test at every call site is isSuccess().
enum CvResult : int32_t {
    OK = 0,
    False = 1,
    Fail = 2,
    Abort = 3,
    AccessDenied = 4,
    Handle = 5,
    InvalidArg = 6,
    NotImpl = 7,
    OutOfMemory = 8,
    Pointer = 9,
    Unexpected = 10,
    FileInvalid = 11,
    BufferTooSmall = 12,
    MediaUnavailable = 13,
    Overflow = 14,
    MaxFileSizeExceeded = 15,
    InvalidFunction = 16,
    FileNotFound = 17,
    InvalidData = 18,
    BadLength = 19,
    SharingViolation = 20,
    HandleEOF = 21,
    NotSupported = 22,
    FileExists = 23,
    DiskFull = 24,
    InsufficientBuffer = 25,
    PartialCopy = 26,
    RequestAborted = 27,
    IndexAbsent = 28,
    NotFound = 29,
    InvalidState = 30,
    InvalidName = 31,
    PathNotFound = 32,
    BadNetName = 33,
    AlreadyExists = 34,
    NetNameDeleted = 35,
    Range = 36,
};

inline bool isSuccess(CvResult result) { return result == OK || result == False; }

// The name of a result, "Unknown" for values outside the table.
const wchar_t* getErrorText(CvResult result);

CvResult CvResultFromHRESULT(int32_t hr);
int32_t HRESULTFromCvResult(CvResult result);

// errno read as a Windows system error number: 0x80070000 | errno. The
// numbers differ in meaning between the two systems (EIO, 5, reads as access
// denied); callers rely on exactly this mapping.
int32_t HRFromLastError();
CvResult CvResultFromLastError();

// The host's result code for a container result; the host's success is 1.
int HcErrFromCvResult(CvResult result);
