#include "frame/Utf8.h"

#include <iterator>
#include <utf8.h>

namespace Corvidane {

bool toUtf8(const std::wstring& text, std::string& out)
{
    out.clear();
    try {
        for (wchar_t c : text)
            utf8::append(static_cast<uint32_t>(c), std::back_inserter(out));
    } catch (const utf8::exception&) {
        out.clear();
        return false;
    }
    return true;
}

std::wstring fromUtf8(const std::string& text)
{
    std::string valid;
    utf8::replace_invalid(text.begin(), text.end(), std::back_inserter(valid));
    std::wstring out;
    utf8::utf8to32(valid.begin(), valid.end(), std::back_inserter(out));
    return out;
}

} // namespace Corvidane
