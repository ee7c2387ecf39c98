#pragma once
#include <string>

namespace Corvidane {

// Paths cross to the file service as UTF-8 whatever the locale, so that any
// name the file system holds can be reached. False for a text with characters
// that have no UTF-8 form (surrogates, values above U+10FFFF).
bool toUtf8(const std::wstring& text, std::string& out);
// Invalid sequences become U+FFFD.
std::wstring fromUtf8(const std::string& text);

} // namespace Corvidane
