#include "support/MediainfoDetails.h"

#include <cstdlib>
#include <sstream>

#include "support/TestMedia.h"

std::vector<MediainfoItem> mediainfoItems(const std::string& path)
{
    std::vector<MediainfoItem> items;
    std::istringstream lines(runCommand("mediainfo --Details=1 " + shellQuote(path)));
    std::string line;
    while (std::getline(lines, line)) {
        size_t space = line.find(' ');
        if (space == std::string::npos || space == 0 || line.find_first_not_of("0123456789ABCDEF") != space ||
            space + 1 >= line.size() || line[space + 1] == ' ')
            continue;
        size_t open = line.rfind(" (");
        if (open == std::string::npos || line.find(" bytes)", open) == std::string::npos)
            continue;
        std::string name = line.substr(space + 1, open - space - 1);
        name = name.substr(0, name.find(" - "));
        items.push_back({std::strtoll(line.substr(0, space).c_str(), nullptr, 16), name,
                         std::atoll(line.c_str() + open + 2)});
    }
    return items;
}
