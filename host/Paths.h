#pragma once
#include <string>

namespace HcPaths {

// The folder where the host keeps looks (LUT files); empty when it has none.
// Without the host, the folder named by HC_LOOKS_DIR.
std::wstring looksFolder();

} // namespace HcPaths
