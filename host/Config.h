#pragma once
#include <map>
#include <string>

// Global integer settings of the host. Without the host, a key is read from the
// environment variable of the same name; a missing or unparsable value gives
// the default, and the result is clamped to [min, max].
int config_int(const char* key, int defaultValue, int min, int max);

// The host's per-file store of key and value strings.
class configb {
public:
    void set(const std::string& key, const std::string& value) { m_values[key] = value; }
    // 1 when the key is present, with its value copied out; 0 otherwise.
    int in(const std::string& key, std::string& value) const;
    bool empty() const { return m_values.empty(); }

private:
    std::map<std::string, std::string> m_values;
};
