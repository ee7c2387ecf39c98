#include <cstdio>
#include <filesystem>
#include <string>
#include <system_error>

#include "mxf/read/FileReader.h"

// A debug aid: an item's value as a file of its own, for a look with a hex
// viewer when a file reads wrongly.
namespace Corvidane::MXF {

bool CMxf_FileReader::saveKlv2File(const CKlvItem& item, int& counter)
{
    std::error_code error;
    const std::filesystem::path folder = std::filesystem::temp_directory_path(error);
    if (error || !item.value)
        return false;
    const std::string path = (folder / ("klvdump" + std::to_string(counter) + ".bin")).string();
    std::FILE* file = std::fopen(path.c_str(), "wb");
    if (!file)
        return false;
    ++counter;
    const bool whole = std::fwrite(item.value, 1, size_t(item.length), file) == size_t(item.length);
    return std::fclose(file) == 0 && whole;
}

} // namespace Corvidane::MXF
