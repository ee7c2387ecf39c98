#pragma once
#include <stdexcept>
#include <string>

#include "host/JsonValue.h"

using JsonValue = JSON::Value;

// A document parsed for a test: one that doesn't parse fails the test.
inline JsonValue parseJson(const std::string& source)
{
    JsonValue value;
    std::string error;
    if (!JSON::parse(source, value, error))
        throw std::runtime_error("bad JSON: " + error);
    return value;
}
