#include "tools/PluginLocation.h"

#include <cstdlib>
#include <filesystem>

namespace fs = std::filesystem;

std::vector<std::string> pluginPlaces()
{
    std::error_code error;
    const fs::path self = fs::read_symlink("/proc/self/exe", error);
    if (error)
        return {};
    const fs::path folder = self.parent_path();
    return {(folder / CV_PLUGIN_FILE_NAME).string(),
            (folder / CV_PLUGIN_FROM_TOOL / CV_PLUGIN_FILE_NAME).lexically_normal().string()};
}

std::string findPlugin(const std::string& named, std::string& error)
{
    if (!named.empty())
        return named;
    if (const char* fromEnvironment = std::getenv("CV_PLUGIN"); fromEnvironment && *fromEnvironment)
        return fromEnvironment;
    const std::vector<std::string> places = pluginPlaces();
    std::string looked;
    for (const std::string& place : places) {
        std::error_code missing;
        if (fs::is_regular_file(place, missing))
            return place;
        looked += (looked.empty() ? "" : " or ") + place;
    }
    error = "no plug-in found (looked for " + (looked.empty() ? std::string("cvtool's own folder") : looked) +
            "); name one with --plugin LIBRARY or CV_PLUGIN";
    return {};
}
