#pragma once
#include <map>
#include <string>
#include <vector>

namespace JSON {

// A parsed JSON document: objects, arrays, strings, numbers, true, false, null.
struct Value {
    enum Kind { Null, Bool, Number, String, Array, Object } kind = Null;
    double number = 0;
    std::string text;
    std::vector<Value> items;
    std::map<std::string, Value> members;

    // The member of that name, or a null value.
    const Value& operator[](const std::string& name) const;
    bool has(const std::string& name) const { return members.count(name) != 0; }
    // A number, or a number written as a string as ffprobe writes many.
    long long integer() const;
};

// Parses a whole document; false, with `error` telling why, for text that is
// not JSON, nests deeper than 64 levels, or names a key twice in one object
// (a writer's fault, which a map would hide).
bool parse(const std::string& source, Value& out, std::string& error);

} // namespace JSON
