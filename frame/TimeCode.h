#pragma once

#include "frame/VideoStandard.h"

#include <cstdint>
#include <memory>
#include <string>

namespace Corvidane {

// A timecode: a frame count at a rate, with SMPTE 12M drop frame labelling at
// 29.97 and 59.94, text in and out, and the 4-byte Sony BCD form of MXF system items.
//
// Two labellings exist at the drop frame rates. The "drop frame digits" form
// (`mode` above 0, `asDropFrame` true) follows the drop flag: with it set, labels
// are SMPTE drop frame labels; without it, plain counts of 30 or 60 per second.
// The other form (`mode` 0, `asDropFrame` false) always counts in drop frame
// arithmetic, but skips the last labels of the minute before instead of a
// minute's first ones: 00:00:59:27 is followed by 00:01:00:00.
class CTimeCodeEx {
public:
    // The frame count of a value that isn't a time.
    static const unsigned long InvalidFrames = 0xFFFFFFFF;
    // The largest count plus one when the value doesn't wrap at midnight.
    static const unsigned long UnwrappedLimit = 0xFFFFFFFE;

    CTimeCodeEx();
    explicit CTimeCodeEx(double rate);
    explicit CTimeCodeEx(VideoStandard standard);
    CTimeCodeEx(VideoStandard standard, bool dropFrame);
    CTimeCodeEx(unsigned long frames, double rate, bool dropFrame);
    CTimeCodeEx(unsigned long frames, VideoStandard standard);
    CTimeCodeEx(unsigned long frames, VideoStandard standard, bool dropFrame);
    CTimeCodeEx(short hours, short minutes, short seconds, short frames, VideoStandard standard,
                bool dropFrame, bool dropFrameDigits);
    CTimeCodeEx(const wchar_t* text, double rate, bool setDrop, bool dropFrameDigits);
    CTimeCodeEx(const wchar_t* text, VideoStandard standard, bool setDrop, bool dropFrameDigits);
    CTimeCodeEx(const CTimeCodeEx& other);
    CTimeCodeEx& operator=(const CTimeCodeEx& other);
    virtual ~CTimeCodeEx();

    // Queries.
    unsigned long getFrameDuration() const;
    double getTimecodeRate() const;
    bool isDropFrame() const;
    bool getWrap() const;
    bool isValid() const;
    // Frames in a day when wrapping, else UnwrappedLimit.
    unsigned long getMaxFrames() const;
    wchar_t getDelim() const;
    static wchar_t getDelim(bool dropFrame);

    // Changes.
    void clear();
    bool setDuration(unsigned long frames, bool wrapAround);
    // Only 29.97 and 59.94 know drop frame; at other rates this is ignored.
    void setDropFrame(bool dropFrame);
    void setWrap(bool wrap);
    // "HH:MM:SS:FF"; the third separator may be ':', ';' or '.'; with `setDrop`
    // it sets the drop flag (anything but ':' means drop frame).
    bool fromString(const wchar_t* text, bool setDrop, int mode);
    bool fromSeconds(int seconds);
    bool fromMilliseconds(const unsigned& milliseconds);
    bool setFromSony(const unsigned char* bytes);
    bool setFromSystemTime();

    // The count of a label, or InvalidFrames when it lies outside the range.
    unsigned long toFrameCount(short hours, short minutes, short seconds, short frames, int mode) const;

    // Output.
    bool toHHMMSSFF(short& hours, short& minutes, short& seconds, short& frames, bool asDropFrame) const;
    // False for a null or too small buffer; the text is cut to fit and always terminated.
    bool toString(wchar_t* buffer, unsigned long size, bool asDropFrame) const;
    std::wstring toStdString(bool asDropFrame) const;
    bool formatSony(char* bytes, bool withDropFlag) const;
    // Time from the count; 0 for an invalid value.
    double toSeconds() const;
    double toMilliseconds() const;
    int64_t toRefTime() const;  // 100 ns units
    static std::wstring getErrorTimecode(bool dropFrame);
    static std::wstring getZeroTimecode(bool dropFrame);

    // Arithmetic on the count: it wraps at midnight when the value wraps, and
    // becomes invalid when it would leave the range otherwise.
    CTimeCodeEx& operator+=(const CTimeCodeEx& other);
    CTimeCodeEx& operator-=(const CTimeCodeEx& other);
    CTimeCodeEx& operator+=(unsigned long frames);
    CTimeCodeEx& operator++();
    CTimeCodeEx operator++(int);
    CTimeCodeEx& operator--();
    CTimeCodeEx operator--(int);
    CTimeCodeEx operator+(const CTimeCodeEx& other) const;
    CTimeCodeEx operator-(const CTimeCodeEx& other) const;

    bool operator==(const CTimeCodeEx& other) const;  // rate and count
    bool operator!=(const CTimeCodeEx& other) const;
    bool operator<(const CTimeCodeEx& other) const;   // count only, as are the rest
    bool operator<=(const CTimeCodeEx& other) const;
    bool operator>(const CTimeCodeEx& other) const;
    bool operator>=(const CTimeCodeEx& other) const;

private:
    struct Record;

    void setRate(double rate);
    void setStandard(VideoStandard standard, bool dropFrame);
    void addFrames(unsigned long frames);
    void subtractFrames(unsigned long frames);

    std::unique_ptr<Record> m_record;
};

} // namespace Corvidane
