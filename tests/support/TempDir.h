#pragma once
#include <string>

// A fresh folder under the system's temporary folder, removed with its
// contents when the object dies.
class TempDir {
public:
    TempDir();
    ~TempDir();
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;

    const std::string& path() const { return m_path; }
    std::string file(const std::string& name) const { return m_path + "/" + name; }
    std::wstring wfile(const std::string& name) const;

private:
    std::string m_path;
};

// Writes bytes to a file, replacing it.
void writeFile(const std::string& path, const std::string& bytes);
std::string readFile(const std::string& path);
