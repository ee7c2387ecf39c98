#pragma once
#include <string>

// The host's string class; a standard string serves without the host.
template <class Char>
using LightweightString = std::basic_string<Char>;
