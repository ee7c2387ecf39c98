#pragma once
#include <cstdint>
#include <string>
#include <vector>

namespace JSON {

// Writes one JSON document member by member, in the order they are added.
// Names are ignored inside arrays. Texts are UTF-8.
class Builder {
public:
    explicit Builder(int indent = 2);

    void startChild(const std::string& name = {});
    void startArray(const std::string& name);
    void endChild();
    void endArray() { endChild(); }

    void add(const std::string& name, const std::string& value);
    void add(const std::string& name, const char* value) { add(name, std::string(value ? value : "")); }
    void add(const std::string& name, int64_t value);
    void add(const std::string& name, int value) { add(name, static_cast<int64_t>(value)); }
    void add(const std::string& name, unsigned value) { add(name, static_cast<int64_t>(value)); }
    void add(const std::string& name, uint64_t value);
    void add(const std::string& name, double value);
    void add(const std::string& name, bool value);

    // The document so far, with every open object and array closed; after
    // drain(), only what was added since, with the closing.
    std::string output() const;
    // Takes the text added so far, for writing out a long document as it
    // grows; output() then gives the rest.
    std::string drain();

private:
    void member(const std::string& name);
    void newline(size_t depth, std::string& text) const;

    struct Level {
        bool isArray;
        bool empty;
    };
    int m_indent;
    std::string m_text;
    std::vector<Level> m_levels;
    bool m_drained = false;
};

// A JSON string literal of a UTF-8 text, quotes included.
std::string quote(const std::string& text);

} // namespace JSON
