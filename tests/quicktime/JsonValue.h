#pragma once
#include <cctype>
#include <cstdlib>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

// Just enough JSON to read what ffprobe and cvtool print: objects, arrays,
// strings without escapes beyond the simple ones, numbers, true, false, null.
// A key that appears twice in one object is refused.
struct JsonValue {
    enum Kind { Null, Bool, Number, String, Array, Object } kind = Null;
    double number = 0;
    std::string text;
    std::vector<JsonValue> items;
    std::map<std::string, JsonValue> members;

    const JsonValue& operator[](const std::string& name) const
    {
        static const JsonValue none;
        auto at = members.find(name);
        return at == members.end() ? none : at->second;
    }
    bool has(const std::string& name) const { return members.count(name) != 0; }
    // A number, or a number written as a string as ffprobe does.
    long long integer() const { return kind == String ? std::atoll(text.c_str()) : static_cast<long long>(number); }

    static JsonValue parse(const std::string& source)
    {
        size_t at = 0;
        JsonValue value = parseValue(source, at);
        return value;
    }

private:
    static void skipSpace(const std::string& s, size_t& at)
    {
        while (at < s.size() && std::isspace(static_cast<unsigned char>(s[at])))
            ++at;
    }
    static JsonValue parseValue(const std::string& s, size_t& at)
    {
        skipSpace(s, at);
        if (at >= s.size())
            throw std::runtime_error("JSON ends early");
        JsonValue value;
        char c = s[at];
        if (c == '{') {
            value.kind = Object;
            ++at;
            skipSpace(s, at);
            while (at < s.size() && s[at] != '}') {
                std::string name = parseValue(s, at).text;
                skipSpace(s, at);
                ++at; // ':'
                // A key twice in one object is a fault of the writer, which a
                // map would hide by keeping one of them.
                if (!value.members.emplace(name, parseValue(s, at)).second)
                    throw std::runtime_error("JSON key \"" + name + "\" twice in one object");
                skipSpace(s, at);
                if (at < s.size() && s[at] == ',')
                    ++at, skipSpace(s, at);
            }
            ++at;
        } else if (c == '[') {
            value.kind = Array;
            ++at;
            skipSpace(s, at);
            while (at < s.size() && s[at] != ']') {
                value.items.push_back(parseValue(s, at));
                skipSpace(s, at);
                if (at < s.size() && s[at] == ',')
                    ++at, skipSpace(s, at);
            }
            ++at;
        } else if (c == '"') {
            value.kind = String;
            for (++at; at < s.size() && s[at] != '"'; ++at) {
                if (s[at] == '\\' && at + 1 < s.size())
                    ++at;
                value.text += s[at];
            }
            ++at;
        } else if (s.compare(at, 4, "true") == 0 || s.compare(at, 5, "false") == 0) {
            value.kind = Bool;
            value.number = s[at] == 't';
            at += s[at] == 't' ? 4 : 5;
        } else if (s.compare(at, 4, "null") == 0) {
            at += 4;
        } else {
            value.kind = Number;
            char* end = nullptr;
            value.number = std::strtod(s.c_str() + at, &end);
            if (end == s.c_str() + at)
                throw std::runtime_error("bad JSON at " + std::to_string(at));
            at = static_cast<size_t>(end - s.c_str());
        }
        return value;
    }
};
