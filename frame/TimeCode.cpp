#include "frame/TimeCode.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <ctime>
#include <cwchar>

namespace Corvidane {

namespace {

// A label's frame field is a short, so faster rates cannot be labelled.
const double kMaxRate = 32768.0;
const uint64_t kSecondsPerDay = 86400;

// The SMPTE 12M drop frame constants of one rate. Labels run at the nominal
// rate `fps`; the first `drop` labels of every minute not divisible by ten are
// skipped, so that the labels keep step with the clock.
struct DropFrameCounts {
    uint64_t fps;             // nominal labels per second
    uint64_t drop;            // labels skipped at the start of such a minute
    uint64_t labelsPerMinute; // fps * 60
    uint64_t labelsPerTen;    // ten minutes of labels
    uint64_t framesPerMinute; // a minute that skips: labelsPerMinute - drop
    uint64_t framesPerTen;    // ten minutes of frames: labelsPerTen - 9 * drop
};

const DropFrameCounts kDrop29_97 = {30, 2, 1800, 18000, 1798, 17982};
const DropFrameCounts kDrop59_94 = {60, 4, 3600, 36000, 3596, 35964};

// The constants for a rate that has drop frame, else null.
const DropFrameCounts* dropFrameCounts(float rate)
{
    switch (namedRate(rate)) {
    case NamedRate::Rate29_97:
        return &kDrop29_97;
    case NamedRate::Rate59_94:
        return &kDrop59_94;
    default:
        return nullptr;
    }
}

// Labels skipped below the label whose nominal count is `labels`.
uint64_t skippedLabels(uint64_t labels, const DropFrameCounts& c)
{
    return (labels % c.labelsPerTen) / c.labelsPerMinute * c.drop + labels / c.labelsPerTen * c.drop * 9;
}

// Labels per second: the rate rounded up.
uint64_t labelsPerSecond(float rate)
{
    return rate > 0.0f ? static_cast<uint64_t>(std::ceil(rate)) : 0;
}

std::wstring fourFields(const wchar_t* field, wchar_t delim)
{
    std::wstring text = field;
    for (int i = 0; i < 3; ++i) {
        text += delim;
        text += field;
    }
    return text;
}

bool isDigit(wchar_t c)
{
    return c >= L'0' && c <= L'9';
}

char toBcd(short value)
{
    return static_cast<char>(static_cast<unsigned char>((value / 10) << 4 | value % 10));
}

} // namespace

struct CTimeCodeEx::Record {
    float rate = 25.0f;
    uint64_t frames = InvalidFrames;
    bool wrap = true;
    bool dropFrame = false;
};

CTimeCodeEx::CTimeCodeEx() : m_record(new Record) {}

CTimeCodeEx::CTimeCodeEx(double rate) : m_record(new Record)
{
    setRate(rate);
}

CTimeCodeEx::CTimeCodeEx(VideoStandard standard)
    : CTimeCodeEx(standard, VideoStandardEx(standard).isDropFrame())
{
}

CTimeCodeEx::CTimeCodeEx(VideoStandard standard, bool dropFrame) : m_record(new Record)
{
    setStandard(standard, dropFrame);
}

CTimeCodeEx::CTimeCodeEx(unsigned long frames, double rate, bool dropFrame) : m_record(new Record)
{
    setRate(rate);
    setDropFrame(dropFrame);
    setDuration(frames, false);
}

CTimeCodeEx::CTimeCodeEx(unsigned long frames, VideoStandard standard)
    : CTimeCodeEx(frames, standard, VideoStandardEx(standard).isDropFrame())
{
}

CTimeCodeEx::CTimeCodeEx(unsigned long frames, VideoStandard standard, bool dropFrame) : m_record(new Record)
{
    setStandard(standard, dropFrame);
    setDuration(frames, false);
}

CTimeCodeEx::CTimeCodeEx(short hours, short minutes, short seconds, short frames, VideoStandard standard,
                         bool dropFrame, bool dropFrameDigits)
    : m_record(new Record)
{
    setStandard(standard, dropFrame);
    m_record->frames = toFrameCount(hours, minutes, seconds, frames, dropFrameDigits ? 1 : 0);
}

CTimeCodeEx::CTimeCodeEx(const wchar_t* text, double rate, bool setDrop, bool dropFrameDigits)
    : m_record(new Record)
{
    setRate(rate);
    fromString(text, setDrop, dropFrameDigits ? 1 : 0);
}

CTimeCodeEx::CTimeCodeEx(const wchar_t* text, VideoStandard standard, bool setDrop, bool dropFrameDigits)
    : m_record(new Record)
{
    setStandard(standard, VideoStandardEx(standard).isDropFrame());
    fromString(text, setDrop, dropFrameDigits ? 1 : 0);
}

CTimeCodeEx::CTimeCodeEx(const CTimeCodeEx& other) : m_record(new Record(*other.m_record)) {}

CTimeCodeEx& CTimeCodeEx::operator=(const CTimeCodeEx& other)
{
    *m_record = *other.m_record;
    return *this;
}

CTimeCodeEx::~CTimeCodeEx() = default;

// ---------------------------------------------------------------- queries

unsigned long CTimeCodeEx::getFrameDuration() const
{
    return m_record->frames;
}

double CTimeCodeEx::getTimecodeRate() const
{
    return m_record->rate;
}

bool CTimeCodeEx::isDropFrame() const
{
    return m_record->dropFrame;
}

bool CTimeCodeEx::getWrap() const
{
    return m_record->wrap;
}

bool CTimeCodeEx::isValid() const
{
    return m_record->frames != InvalidFrames && m_record->rate >= 1.0f;
}

unsigned long CTimeCodeEx::getMaxFrames() const
{
    const Record& r = *m_record;
    if (!r.wrap)
        return UnwrappedLimit;
    uint64_t day = labelsPerSecond(r.rate) * kSecondsPerDay;
    const DropFrameCounts* counts = dropFrameCounts(r.rate);
    if (counts && r.dropFrame)
        day -= skippedLabels(day, *counts);
    return day;
}

wchar_t CTimeCodeEx::getDelim() const
{
    return getDelim(m_record->dropFrame);
}

wchar_t CTimeCodeEx::getDelim(bool dropFrame)
{
    return dropFrame ? L';' : L':';
}

// ---------------------------------------------------------------- changes

void CTimeCodeEx::clear()
{
    *m_record = Record();
}

bool CTimeCodeEx::setDuration(unsigned long frames, bool wrapAround)
{
    Record& r = *m_record;
    const uint64_t max = getMaxFrames();
    if (frames < max) {
        r.frames = frames;
        return true;
    }
    if (wrapAround && r.wrap && max > 0) {
        r.frames = frames % max;
        return true;
    }
    return false;
}

void CTimeCodeEx::setDropFrame(bool dropFrame)
{
    if (dropFrameCounts(m_record->rate))
        m_record->dropFrame = dropFrame;
}

void CTimeCodeEx::setWrap(bool wrap)
{
    m_record->wrap = wrap;
}

bool CTimeCodeEx::fromString(const wchar_t* text, bool setDrop, int mode)
{
    if (!text)
        return false;
    if (::wcsnlen(text, 12) != 11) {
        std::fputs("CTimeCodeEx::fromString Failed string wrong length\n", stderr);
        return false;
    }

    // Pairs of digits at 0, 3, 6 and 9; the first two separators may be anything.
    short fields[4];
    for (int i = 0; i < 4; ++i) {
        const wchar_t tens = text[i * 3];
        const wchar_t units = text[i * 3 + 1];
        if (!isDigit(tens) || !isDigit(units))
            return false;
        fields[i] = static_cast<short>((tens - L'0') * 10 + (units - L'0'));
    }
    const wchar_t frameSeparator = text[8];
    if (frameSeparator != L':' && frameSeparator != L';' && frameSeparator != L'.')
        return false;

    if (setDrop)
        setDropFrame(frameSeparator != L':');
    m_record->frames = toFrameCount(fields[0], fields[1], fields[2], fields[3], mode);
    return isValid();
}

bool CTimeCodeEx::fromSeconds(int seconds)
{
    if (seconds < 0)
        return false;
    return setDuration(static_cast<unsigned long>(seconds * static_cast<double>(m_record->rate)), false);
}

bool CTimeCodeEx::fromMilliseconds(const unsigned& milliseconds)
{
    const double rate = m_record->rate;
    if (rate < 1.0)
        return false;
    return setDuration(static_cast<unsigned long>(milliseconds / (1000.0 / rate)), false);
}

bool CTimeCodeEx::setFromSony(const unsigned char* bytes)
{
    if (!bytes)
        return false;
    for (int i = 0; i < 4; ++i) {
        if ((bytes[i] & 0x0F) > 9)
            return false;
    }
    const short frames = static_cast<short>((bytes[0] >> 4 & 0x3) * 10 + (bytes[0] & 0x0F));
    const short seconds = static_cast<short>((bytes[1] >> 4 & 0x7) * 10 + (bytes[1] & 0x0F));
    const short minutes = static_cast<short>((bytes[2] >> 4 & 0x7) * 10 + (bytes[2] & 0x0F));
    const short hours = static_cast<short>((bytes[3] >> 4 & 0x3) * 10 + (bytes[3] & 0x0F));

    // Frames are accepted up to the rounded rate.
    if (frames > std::floor(m_record->rate + 0.5) || seconds > 59 || minutes > 59 || hours > 23)
        return false;

    setDropFrame((bytes[0] & 0x40) != 0);
    m_record->frames = toFrameCount(hours, minutes, seconds, frames, 1);
    return true;
}

bool CTimeCodeEx::setFromSystemTime()
{
    const double rate = m_record->rate;
    if (rate < 1.0)
        return false;
    timespec now;
    tm local;
    if (clock_gettime(CLOCK_REALTIME, &now) != 0 || !localtime_r(&now.tv_sec, &local))
        return false;
    const long milliseconds = now.tv_nsec / 1000000;
    const short frames = static_cast<short>(milliseconds / (1000.0 / rate));
    m_record->frames = toFrameCount(static_cast<short>(local.tm_hour), static_cast<short>(local.tm_min),
                                    static_cast<short>(local.tm_sec), frames, 1);
    return isValid();
}

unsigned long CTimeCodeEx::toFrameCount(short hours, short minutes, short seconds, short frames, int mode) const
{
    const Record& r = *m_record;
    const DropFrameCounts* counts = dropFrameCounts(r.rate);
    int64_t h = hours, m = minutes, s = seconds, f = frames;

    // A label that drop frame skips reads as the label `drop` before it,
    // mirroring how toHHMMSSFF folds the end of a minute.
    if (mode > 0 && counts && r.dropFrame && m % 10 != 0 && s == 0 && f < static_cast<int64_t>(counts->drop)) {
        m -= 1;
        s = 59;
        f += counts->fps - counts->drop;
    }

    const int64_t nominal = f + (h * 3600 + m * 60 + s) * static_cast<int64_t>(labelsPerSecond(r.rate));
    if (nominal < 0)
        return InvalidFrames;
    uint64_t count = static_cast<uint64_t>(nominal);
    if (counts && (mode == 0 || r.dropFrame))
        count -= skippedLabels(count, *counts);

    return count < getMaxFrames() ? count : InvalidFrames;
}

// ---------------------------------------------------------------- output

bool CTimeCodeEx::toHHMMSSFF(short& hours, short& minutes, short& seconds, short& frames, bool asDropFrame) const
{
    if (!isValid())
        return false;
    const Record& r = *m_record;
    const DropFrameCounts* counts = dropFrameCounts(r.rate);
    const uint64_t base = labelsPerSecond(r.rate);
    uint64_t n = r.frames;

    // Turn the frame count into a nominal label count: add the labels skipped
    // by whole ten-minute blocks, and by the minutes begun in this block. The
    // minute number overshoots by one for the last `drop` frames of a minute;
    // those come out as a minute's skipped labels and are folded back below.
    if (counts && (r.dropFrame || !asDropFrame)) {
        const uint64_t tens = n / counts->framesPerTen;
        uint64_t minute = n % counts->framesPerTen / counts->framesPerMinute;
        // A block has nine minutes that skip; its last `drop` frames would
        // otherwise count a tenth.
        if (minute == 10)
            minute = 9;
        n += (tens * 9 + minute) * counts->drop;
    }

    frames = static_cast<short>(n % base);
    const uint64_t totalSeconds = n / base;
    seconds = static_cast<short>(totalSeconds % 60);
    minutes = static_cast<short>(totalSeconds / 60 % 60);
    hours = static_cast<short>(totalSeconds / 3600 % 60);

    if (asDropFrame && r.dropFrame && counts && minutes % 10 > 0 && seconds == 0
        && frames < static_cast<short>(counts->drop)) {
        minutes -= 1;
        seconds = 59;
        frames = static_cast<short>(frames + counts->fps - counts->drop);
    }
    return true;
}

bool CTimeCodeEx::toString(wchar_t* buffer, unsigned long size, bool asDropFrame) const
{
    if (!buffer || size == 0)
        return false;
    const std::wstring text = toStdString(asDropFrame);
    const size_t length = std::min<size_t>(text.size(), size - 1);
    text.copy(buffer, length);
    buffer[length] = L'\0';
    return text.size() < size;
}

std::wstring CTimeCodeEx::toStdString(bool asDropFrame) const
{
    short hours, minutes, seconds, frames;
    if (!toHHMMSSFF(hours, minutes, seconds, frames, asDropFrame))
        return getErrorTimecode(isDropFrame());
    const wint_t delim = static_cast<wint_t>(getDelim());
    wchar_t text[32];
    std::swprintf(text, sizeof text / sizeof text[0], L"%.2d%lc%.2d%lc%.2d%lc%.2d", hours, delim, minutes, delim,
                  seconds, delim, frames);
    return text;
}

bool CTimeCodeEx::formatSony(char* bytes, bool withDropFlag) const
{
    short hours, minutes, seconds, frames;
    if (!bytes || !toHHMMSSFF(hours, minutes, seconds, frames, true))
        return false;
    bytes[0] = toBcd(frames);
    if (withDropFlag && isDropFrame())
        bytes[0] = static_cast<char>(bytes[0] | 0x40);
    bytes[1] = toBcd(seconds);
    bytes[2] = toBcd(minutes);
    bytes[3] = toBcd(hours);
    return true;
}

double CTimeCodeEx::toSeconds() const
{
    return isValid() ? m_record->frames / static_cast<double>(m_record->rate) : 0.0;
}

double CTimeCodeEx::toMilliseconds() const
{
    return toSeconds() * 1000.0;
}

int64_t CTimeCodeEx::toRefTime() const
{
    return std::llround(toSeconds() * 10000000.0);
}

std::wstring CTimeCodeEx::getErrorTimecode(bool dropFrame)
{
    return fourFields(L"--", getDelim(dropFrame));
}

std::wstring CTimeCodeEx::getZeroTimecode(bool dropFrame)
{
    return fourFields(L"00", getDelim(dropFrame));
}

// ---------------------------------------------------------------- operators

CTimeCodeEx& CTimeCodeEx::operator+=(const CTimeCodeEx& other)
{
    if (!other.isValid())
        m_record->frames = InvalidFrames;
    else
        addFrames(other.m_record->frames);
    return *this;
}

CTimeCodeEx& CTimeCodeEx::operator-=(const CTimeCodeEx& other)
{
    if (!other.isValid())
        m_record->frames = InvalidFrames;
    else
        subtractFrames(other.m_record->frames);
    return *this;
}

CTimeCodeEx& CTimeCodeEx::operator+=(unsigned long frames)
{
    addFrames(frames);
    return *this;
}

CTimeCodeEx& CTimeCodeEx::operator++()
{
    addFrames(1);
    return *this;
}

CTimeCodeEx CTimeCodeEx::operator++(int)
{
    CTimeCodeEx before(*this);
    addFrames(1);
    return before;
}

CTimeCodeEx& CTimeCodeEx::operator--()
{
    subtractFrames(1);
    return *this;
}

CTimeCodeEx CTimeCodeEx::operator--(int)
{
    CTimeCodeEx before(*this);
    subtractFrames(1);
    return before;
}

CTimeCodeEx CTimeCodeEx::operator+(const CTimeCodeEx& other) const
{
    CTimeCodeEx sum(*this);
    sum += other;
    return sum;
}

CTimeCodeEx CTimeCodeEx::operator-(const CTimeCodeEx& other) const
{
    CTimeCodeEx difference(*this);
    difference -= other;
    return difference;
}

bool CTimeCodeEx::operator==(const CTimeCodeEx& other) const
{
    return m_record->rate == other.m_record->rate && m_record->frames == other.m_record->frames;
}

bool CTimeCodeEx::operator!=(const CTimeCodeEx& other) const
{
    return !(*this == other);
}

bool CTimeCodeEx::operator<(const CTimeCodeEx& other) const
{
    return m_record->frames < other.m_record->frames;
}

bool CTimeCodeEx::operator<=(const CTimeCodeEx& other) const
{
    return m_record->frames <= other.m_record->frames;
}

bool CTimeCodeEx::operator>(const CTimeCodeEx& other) const
{
    return m_record->frames > other.m_record->frames;
}

bool CTimeCodeEx::operator>=(const CTimeCodeEx& other) const
{
    return m_record->frames >= other.m_record->frames;
}

// ---------------------------------------------------------------- private

void CTimeCodeEx::setRate(double rate)
{
    if (!(rate >= 1.0) || rate > kMaxRate)
        return;
    // Rates that arrive rounded or as decimals are stored as the exact broadcast rate.
    switch (namedRate(rate)) {
    case NamedRate::Rate23_98:
        rate = 24000.0 / 1001.0;
        break;
    case NamedRate::Rate24:
        rate = 24.0;
        break;
    case NamedRate::Rate29_97:
        rate = 30000.0 / 1001.0;
        break;
    case NamedRate::Rate30:
        rate = 30.0;
        break;
    case NamedRate::Rate59_94:
        rate = 60000.0 / 1001.0;
        break;
    case NamedRate::Rate60:
        rate = 60.0;
        break;
    default:
        break;
    }
    m_record->rate = static_cast<float>(rate);
}

void CTimeCodeEx::setStandard(VideoStandard standard, bool dropFrame)
{
    const VideoStandardEx row(standard);
    // Outside the table there is no rate, and so no valid value.
    if (row.getStandard() == 0)
        m_record->rate = 0.0f;
    else
        setRate(row.getRate());
    setDropFrame(dropFrame);
}

void CTimeCodeEx::addFrames(unsigned long frames)
{
    if (!isValid())
        return;
    Record& r = *m_record;
    const uint64_t max = getMaxFrames();
    if (r.wrap)
        r.frames = (r.frames % max + frames % max) % max;
    else if (r.frames >= max || frames >= max - r.frames)
        r.frames = InvalidFrames;
    else
        r.frames += frames;
}

void CTimeCodeEx::subtractFrames(unsigned long frames)
{
    if (!isValid())
        return;
    Record& r = *m_record;
    const uint64_t max = getMaxFrames();
    if (r.wrap)
        r.frames = (r.frames % max + max - frames % max) % max;
    else if (frames > r.frames)
        r.frames = InvalidFrames;
    else
        r.frames -= frames;
}

} // namespace Corvidane
