#pragma once
#include <string>

// The plug-in takes paths as wide text, and a name that isn't UTF-8 has no
// such form. A file of such a name is reached through a link with a UTF-8
// name in a private temporary folder, which goes again with this object.
// The link sits elsewhere than the file, so sidecar indexes beside a growing
// file of such a name aren't seen.
class Utf8StandIns {
public:
    Utf8StandIns() = default;
    ~Utf8StandIns();
    Utf8StandIns(const Utf8StandIns&) = delete;
    Utf8StandIns& operator=(const Utf8StandIns&) = delete;

    // `path` itself when it is UTF-8, else the path of a link to it whose
    // name has U+FFFD for each byte out of place; empty when no link can be made.
    std::string reach(const std::string& path);

private:
    std::string m_folder;
    unsigned m_links = 0;
};
