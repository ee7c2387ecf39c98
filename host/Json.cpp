#include "host/Json.h"

#include <cmath>
#include <cstdio>

namespace JSON {

Builder::Builder(int indent) : m_indent(indent) { m_levels.push_back({false, true}); }

std::string quote(const std::string& text)
{
    std::string out = "\"";
    for (unsigned char c : text) {
        switch (c) {
        case '"': out += "\\\""; break;
        case '\\': out += "\\\\"; break;
        case '\n': out += "\\n"; break;
        case '\r': out += "\\r"; break;
        case '\t': out += "\\t"; break;
        default:
            if (c < 0x20) {
                char escaped[8];
                std::snprintf(escaped, sizeof escaped, "\\u%04x", c);
                out += escaped;
            } else {
                out += static_cast<char>(c);
            }
        }
    }
    return out + "\"";
}

void Builder::newline(size_t depth, std::string& text) const
{
    if (m_indent <= 0)
        return;
    text += '\n';
    text.append(depth * static_cast<size_t>(m_indent), ' ');
}

void Builder::member(const std::string& name)
{
    Level& level = m_levels.back();
    if (!level.empty)
        m_text += ',';
    level.empty = false;
    newline(m_levels.size(), m_text);
    if (!level.isArray) {
        m_text += quote(name);
        m_text += m_indent > 0 ? ": " : ":";
    }
}

void Builder::startChild(const std::string& name)
{
    member(name);
    m_text += '{';
    m_levels.push_back({false, true});
}

void Builder::startArray(const std::string& name)
{
    member(name);
    m_text += '[';
    m_levels.push_back({true, true});
}

void Builder::endChild()
{
    if (m_levels.size() <= 1)
        return;
    Level level = m_levels.back();
    m_levels.pop_back();
    if (!level.empty)
        newline(m_levels.size(), m_text);
    m_text += level.isArray ? ']' : '}';
}

void Builder::add(const std::string& name, const std::string& value)
{
    member(name);
    m_text += quote(value);
}

void Builder::add(const std::string& name, int64_t value)
{
    member(name);
    m_text += std::to_string(value);
}

void Builder::add(const std::string& name, uint64_t value)
{
    member(name);
    m_text += std::to_string(value);
}

void Builder::add(const std::string& name, double value)
{
    member(name);
    if (!std::isfinite(value)) {
        m_text += "null";
        return;
    }
    char text[32];
    std::snprintf(text, sizeof text, "%.17g", value);
    m_text += text;
}

void Builder::add(const std::string& name, bool value)
{
    member(name);
    m_text += value ? "true" : "false";
}

std::string Builder::drain()
{
    std::string text = (m_drained ? "" : "{") + m_text;
    m_text.clear();
    m_drained = true;
    return text;
}

std::string Builder::output() const
{
    std::string text = (m_drained ? "" : "{") + m_text;
    for (size_t depth = m_levels.size(); depth-- > 1;) {
        if (!m_levels[depth].empty)
            newline(depth, text);
        text += m_levels[depth].isArray ? ']' : '}';
    }
    if (!m_levels.front().empty)
        newline(0, text);
    return text + "}";
}

} // namespace JSON
