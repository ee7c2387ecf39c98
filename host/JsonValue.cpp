#include "host/JsonValue.h"

#include <cctype>
#include <cstdlib>

namespace JSON {

namespace {

constexpr int maxDepth = 64;

class Parser {
public:
    explicit Parser(const std::string& source) : m_s(source) {}

    bool document(Value& out)
    {
        if (!value(out, 0))
            return false;
        skipSpace();
        return m_at == m_s.size() || fail("text after the document");
    }
    std::string error() const { return m_error + " at " + std::to_string(m_at); }

private:
    bool fail(const std::string& why)
    {
        if (m_error.empty())
            m_error = why;
        return false;
    }
    void skipSpace()
    {
        while (m_at < m_s.size() && std::isspace(static_cast<unsigned char>(m_s[m_at])))
            ++m_at;
    }
    bool take(char c)
    {
        skipSpace();
        if (m_at < m_s.size() && m_s[m_at] == c) {
            ++m_at;
            return true;
        }
        return false;
    }
    bool literal(const char* word)
    {
        const std::string text(word);
        if (m_s.compare(m_at, text.size(), text) != 0)
            return false;
        m_at += text.size();
        return true;
    }

    bool value(Value& out, int depth)
    {
        if (depth > maxDepth)
            return fail("nested too deep");
        skipSpace();
        if (m_at >= m_s.size())
            return fail("document ends early");
        const char c = m_s[m_at];
        if (c == '{')
            return object(out, depth);
        if (c == '[')
            return array(out, depth);
        if (c == '"') {
            out.kind = Value::String;
            return string(out.text);
        }
        if (literal("true") || literal("false")) {
            out.kind = Value::Bool;
            out.number = c == 't';
            return true;
        }
        if (literal("null"))
            return true;
        const char* start = m_s.c_str() + m_at;
        char* end = nullptr;
        out.kind = Value::Number;
        out.number = std::strtod(start, &end);
        if (end == start)
            return fail("not a value");
        m_at += size_t(end - start);
        return true;
    }

    bool object(Value& out, int depth)
    {
        out.kind = Value::Object;
        ++m_at;
        if (take('}'))
            return true;
        do {
            skipSpace();
            std::string name;
            if (m_at >= m_s.size() || m_s[m_at] != '"' || !string(name))
                return fail("no key");
            if (!take(':'))
                return fail("no ':'");
            Value member;
            if (!value(member, depth + 1))
                return false;
            if (!out.members.emplace(name, std::move(member)).second)
                return fail("key \"" + name + "\" twice in one object");
        } while (take(','));
        return take('}') || fail("no '}'");
    }

    bool array(Value& out, int depth)
    {
        out.kind = Value::Array;
        ++m_at;
        if (take(']'))
            return true;
        do {
            Value item;
            if (!value(item, depth + 1))
                return false;
            out.items.push_back(std::move(item));
        } while (take(','));
        return take(']') || fail("no ']'");
    }

    // A string with its escapes; \u escapes become UTF-8.
    bool string(std::string& out)
    {
        for (++m_at; m_at < m_s.size(); ++m_at) {
            char c = m_s[m_at];
            if (c == '"') {
                ++m_at;
                return true;
            }
            if (c != '\\') {
                out += c;
                continue;
            }
            if (++m_at >= m_s.size())
                break;
            c = m_s[m_at];
            switch (c) {
            case 'n': out += '\n'; break;
            case 't': out += '\t'; break;
            case 'r': out += '\r'; break;
            case 'b': out += '\b'; break;
            case 'f': out += '\f'; break;
            case 'u': {
                if (m_s.size() - m_at < 5)
                    return fail("short \\u escape");
                const unsigned code = unsigned(std::strtoul(m_s.substr(m_at + 1, 4).c_str(), nullptr, 16));
                m_at += 4;
                if (code < 0x80) {
                    out += char(code);
                } else if (code < 0x800) {
                    out += char(0xC0 | code >> 6);
                    out += char(0x80 | (code & 0x3F));
                } else {
                    out += char(0xE0 | code >> 12);
                    out += char(0x80 | (code >> 6 & 0x3F));
                    out += char(0x80 | (code & 0x3F));
                }
                break;
            }
            default: out += c; break;
            }
        }
        return fail("string not closed");
    }

    const std::string& m_s;
    size_t m_at = 0;
    std::string m_error;
};

} // namespace

const Value& Value::operator[](const std::string& name) const
{
    static const Value none;
    auto at = members.find(name);
    return at == members.end() ? none : at->second;
}

long long Value::integer() const
{
    return kind == String ? std::atoll(text.c_str()) : static_cast<long long>(number);
}

bool parse(const std::string& source, Value& out, std::string& error)
{
    out = Value();
    Parser parser(source);
    if (parser.document(out))
        return true;
    error = parser.error();
    out = Value();
    return false;
}

} // namespace JSON
