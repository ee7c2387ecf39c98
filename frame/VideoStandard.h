#pragma once

#include <string>

namespace Corvidane {

// A row of the table of video standards: 0 is "Invalid Std", 1 to 30 are real formats.
typedef unsigned VideoStandard;

// The frame rates that the system knows by name. Each name stands for a narrow band
// around the nominal rate (25 and 50 are exact), so that 23.976, 23.98 and
// 24000/1001 all land on the same name. The values are the rate codes of the table.
enum class NamedRate : unsigned {
    Rate25 = 0,
    Rate29_97 = 1,
    Rate23_98 = 2,
    Rate50 = 3,
    Rate59_94 = 4,
    Rate24 = 5,
    Rate60 = 6,
    Rate30 = 7,
    Other = 8,
};

NamedRate namedRate(double rate);

// Everything the system knows about one video standard.
class VideoStandardEx {
public:
    static const VideoStandard Count = 31;

    // A row by number; a number outside the table gives "Invalid Std".
    explicit VideoStandardEx(VideoStandard standard);
    // The row of this rate, line code and width; "Invalid Std" when none fits.
    // Where interlaced and progressive rows share all three, `progressive` decides.
    VideoStandardEx(double rate, unsigned lineCode, unsigned width, bool progressive);
    virtual ~VideoStandardEx();

    // The row that matches a picture's rate and stored size, or 0.
    static VideoStandard fromData(double rate, unsigned height, unsigned width, bool progressive);

    VideoStandard getStandard() const { return m_standard; }
    const std::wstring& getName() const { return m_name; }
    unsigned getWidth() const { return m_width; }
    unsigned getHeight() const { return m_height; }
    unsigned getTimecodeBase() const { return m_timecodeBase; }
    unsigned getRateNumerator() const { return m_rateNumerator; }
    unsigned getRateDenominator() const { return m_rateDenominator; }
    unsigned getDurationNumerator() const { return m_durationNumerator; }
    unsigned getDurationDenominator() const { return m_durationDenominator; }
    // 1 interlaced upper field first, 2 lower field first, 3 progressive, 4 segmented frames.
    unsigned getLayout() const { return m_layout; }
    // Two 16-bit halves: 0x00040003 is 4:3, 0x00100009 is 16:9.
    unsigned getAspect() const { return m_aspect; }
    bool isDropFrame() const { return m_dropFrame; }
    unsigned getLineCode() const { return m_lineCode; }
    unsigned getRateCode() const { return m_rateCode; }

    // The frame rate as a number; 0 for "Invalid Std".
    double getRate() const;
    // Progressive and segmented frames both carry whole pictures.
    static bool isProgressiveLayout(unsigned layout) { return layout == 3 || layout == 4; }
    bool isProgressive() const { return isProgressiveLayout(m_layout); }

private:
    void assignRow(VideoStandard standard);

    VideoStandard m_standard;
    std::wstring m_name;
    unsigned m_width;
    unsigned m_height;
    unsigned m_timecodeBase;
    unsigned m_rateNumerator;
    unsigned m_rateDenominator;
    unsigned m_durationNumerator;
    unsigned m_durationDenominator;
    unsigned m_layout;
    unsigned m_aspect;
    bool m_dropFrame;
    unsigned m_lineCode;
    unsigned m_rateCode;
};

} // namespace Corvidane
