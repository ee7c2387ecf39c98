#pragma once
#include <string>
#include <vector>

// The dictionary files that OP-Atom files carry for AAF-minded readers, made
// from the register's labels: a meta-dictionary, a dictionary of data
// definitions, and those definitions. Each file is whole KLV sets; the first
// set of the two dictionary files has a nine-byte length, so its instance
// identifier item starts at byte 25.
namespace Corvidane::MXF {

// The names under which the writer looks for the files; the Avid proxy forms
// follow them.
const std::vector<std::wstring>& aafDictionaryFileNames();

// Writes every file into `folder` (ending in a separator). False with the
// reason in `error` when one can't be written.
bool writeAafDictionaryFiles(const std::wstring& folder, std::wstring& error);

} // namespace Corvidane::MXF
