#pragma once

#include <exception>
#include <stdexcept>
#include <string>

namespace Corvidane {

// An exception that carries nothing but a text. The text is kept in a
// std::runtime_error so that copying the exception can never throw.
class string_exception : public std::exception {
public:
    explicit string_exception(const std::string& text) : m_text(text) {}
    explicit string_exception(const char* text) : m_text(text ? text : "") {}

    const char* what() const noexcept override { return m_text.what(); }

private:
    std::runtime_error m_text;
};

} // namespace Corvidane
