#include "tools/Utf8StandIn.h"

#include <cstdlib>
#include <filesystem>
#include <iterator>
#include <unistd.h>
#include <utf8.h>

namespace fs = std::filesystem;

std::string Utf8StandIns::reach(const std::string& path)
{
    if (utf8::is_valid(path.begin(), path.end()))
        return path;
    std::error_code error;
    if (m_folder.empty()) {
        std::string pattern = (fs::temp_directory_path(error) / "cvtool-XXXXXX").string();
        if (error || !::mkdtemp(pattern.data()))
            return {};
        m_folder = pattern;
    }
    // A folder per link, so that two names that read alike don't meet.
    const fs::path folder = fs::path(m_folder) / std::to_string(m_links++);
    const std::string name = fs::path(path).filename().string();
    std::string readable;
    utf8::replace_invalid(name.begin(), name.end(), std::back_inserter(readable));
    const fs::path link = folder / readable;
    fs::create_directory(folder, error);
    if (!error)
        fs::create_symlink(fs::absolute(path, error), link, error);
    if (error)
        return {};
    return link.string();
}

Utf8StandIns::~Utf8StandIns()
{
    if (m_folder.empty())
        return;
    std::error_code error;
    fs::remove_all(m_folder, error);
}
