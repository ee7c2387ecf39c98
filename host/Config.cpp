#include "host/Config.h"

#include <cerrno>
#include <cstdlib>

int config_int(const char* key, int defaultValue, int min, int max)
{
    const char* text = key ? std::getenv(key) : nullptr;
    if (!text || !*text)
        return defaultValue;
    char* end = nullptr;
    errno = 0;
    long value = std::strtol(text, &end, 0);
    if (errno != 0 || *end != '\0')
        return defaultValue;
    if (value < min)
        return min;
    if (value > max)
        return max;
    return static_cast<int>(value);
}

int configb::in(const std::string& key, std::string& value) const
{
    auto it = m_values.find(key);
    if (it == m_values.end())
        return 0;
    value = it->second;
    return 1;
}
