#pragma once
#include <string>
#include <vector>

// The items mediainfo lists at the top level of its detailed view
// (--Details=1): offset, name (without what follows " - ") and size.
struct MediainfoItem {
    long long offset;
    std::string name;
    long long size;
};
std::vector<MediainfoItem> mediainfoItems(const std::string& path);
