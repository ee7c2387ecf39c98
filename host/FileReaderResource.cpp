#include "host/FileReaderResource.h"

#include <cwctype>

namespace Hc {

std::wstring getExtension(const std::wstring& path)
{
    auto dot = path.find_last_of(L'.');
    auto slash = path.find_last_of(L'/');
    if (dot == std::wstring::npos || (slash != std::wstring::npos && dot < slash))
        return {};
    return path.substr(dot + 1);
}

bool FileReaderResource::isFileTypeSupported(const std::wstring& path, int) const
{
    std::wstring extension = getExtension(path);
    for (const std::string& candidate : m_extensions) {
        if (candidate.size() != extension.size())
            continue;
        bool same = true;
        for (size_t i = 0; i < candidate.size() && same; ++i)
            same = std::towupper(static_cast<wint_t>(extension[i])) ==
                   static_cast<wint_t>(static_cast<unsigned char>(candidate[i]));
        if (same)
            return true;
    }
    return false;
}

} // namespace Hc
