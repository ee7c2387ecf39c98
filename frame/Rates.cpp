#include "frame/Rates.h"

#include "frame/FourCC.h"

#include <cstdint>

namespace Corvidane {

namespace {

bool isBlank(wchar_t c)
{
    return c == L' ' || c == L'\t';
}

// A decimal number in text[begin, end), blanks around it allowed.
bool parseUnsigned(const std::wstring& text, std::size_t begin, std::size_t end, unsigned& value)
{
    while (begin < end && isBlank(text[begin]))
        ++begin;
    while (end > begin && isBlank(text[end - 1]))
        --end;
    if (begin == end)
        return false;
    std::uint64_t number = 0;
    for (std::size_t i = begin; i < end; ++i) {
        if (text[i] < L'0' || text[i] > L'9')
            return false;
        number = number * 10 + static_cast<std::uint64_t>(text[i] - L'0');
        if (number > UINT32_MAX)
            return false;
    }
    value = static_cast<unsigned>(number);
    return true;
}

} // namespace

bool getWStringFromFrameRateAndScale(unsigned rate, unsigned scale, std::wstring& text)
{
    text = std::to_wstring(rate) + L'/' + std::to_wstring(scale);
    return !text.empty();
}

bool getRateAndScaleFromWString(const std::wstring& text, unsigned& rate, unsigned& scale)
{
    const std::size_t slash = text.find(L'/');
    if (slash == std::wstring::npos)
        return false;
    unsigned parsedRate = 0;
    unsigned parsedScale = 0;
    if (!parseUnsigned(text, 0, slash, parsedRate)
        || !parseUnsigned(text, slash + 1, text.size(), parsedScale))
        return false;
    rate = parsedRate;
    scale = parsedScale;
    return true;
}

unsigned aspectRatioFromString(const std::wstring& text)
{
    if (text == L"4-3")
        return aspectRatio4x3;
    if (text == L"14-9")
        return aspectRatio14x9;
    return aspectRatio16x9;
}

std::wstring aspectRatioToString(unsigned value)
{
    switch (value) {
    case aspectRatio4x3:
        return L"4-3";
    case aspectRatio14x9:
        return L"14-9";
    default:
        return L"16-9";
    }
}

const std::vector<unsigned>& aspectRatios()
{
    static const std::vector<unsigned> ratios{aspectRatio16x9, aspectRatio4x3, aspectRatio14x9};
    return ratios;
}

unsigned getBitrateForFCC(unsigned fcc, unsigned, unsigned)
{
    switch (fcc) {
    case fourCC("xd35"):
        return 35000;
    case fourCC("xd25"):
    case fourCC("dv25"):
    case fourCC("dvsd"):
        return 25000;
    case fourCC("xd50"):
    case fourCC("dv50"):
    case fourCC("avc5"):
        return 50000;
    case fourCC("avc6"):
    case fourCC("dvh1"):
        return 100000;
    default:
        return 0;
    }
}

unsigned getBppForFCC(unsigned)
{
    return 24;
}

bool isValidIMXBitrate(unsigned rate)
{
    return rate == 30000 || rate == 40000 || rate == 50000;
}

} // namespace Corvidane
