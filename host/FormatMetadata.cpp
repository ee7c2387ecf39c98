#include "host/FormatMetadata.h"

#include "frame/FourCC.h"

using Corvidane::fourCC;

namespace Hc {

DecoderInfo::DecoderInfo()
{
    for (uint32_t code : {fourCC("apch"), fourCC("apcn"), fourCC("apcs"), fourCC("apco"), fourCC("ap4h"),
                          fourCC("AVdn"), fourCC("AVdh"), fourCC("dvsd"), fourCC("dv5p"), fourCC("dvhp"),
                          fourCC("mpg2"), fourCC("xdvc"), fourCC("hvc1"), fourCC("hev1")})
        m_formats.insert(code);
}

DecoderInfo& DecoderInfo::instance()
{
    static DecoderInfo info;
    return info;
}

bool DecoderInfo::canDecode(uint32_t format) const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_formats.count(format) != 0;
}

void DecoderInfo::addDecoder(uint32_t format)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    m_formats.insert(format);
}

bool isJpegFormat(uint32_t format)
{
    for (uint32_t code : {fourCC("jpeg"), fourCC("mjpa"), fourCC("mjpb"), fourCC("MJPG"), fourCC("mjpg"),
                          fourCC("AVRn"), fourCC("AVDJ"), fourCC("dmb1")})
        if (format == code)
            return true;
    return false;
}

bool isH264Format(uint32_t format)
{
    for (uint32_t code : {fourCC("avc1"), fourCC("avc3"), fourCC("H264"), fourCC("h264"), fourCC("x264"),
                          fourCC("ai5p"), fourCC("ai5q"), fourCC("ai12"), fourCC("ai13"), fourCC("ai1p"),
                          fourCC("ai1q")})
        if (format == code)
            return true;
    return false;
}

} // namespace Hc

uint64_t VariableFrameRateHandler::getDuration() const
{
    uint64_t total = 0;
    for (const Corvidane::TimeToSampleItem& item : durations)
        total += uint64_t(item.sampleCount) * item.sampleDuration;
    return total;
}
