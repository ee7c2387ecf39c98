#include "host/Paths.h"

#include "frame/Text.h"

namespace HcPaths {

std::wstring looksFolder() { return Corvidane::getenv(std::wstring(L"HC_LOOKS_DIR")); }

} // namespace HcPaths
