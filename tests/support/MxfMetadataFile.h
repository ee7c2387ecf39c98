#pragma once
#include <string>
#include <vector>

#include "mxf/model/KlvItem.h"
#include "mxf/model/Primer.h"
#include "mxf/model/SetDescription.h"

// The header metadata of an MXF file as test input: the file's bytes, the
// primer of its first partition and the sets that follow it, each a view
// into the bytes with its offset in the file.
struct MxfMetadataFile {
    struct Set {
        Corvidane::MXF::CKlvItem item;
        size_t offset = 0;
    };

    explicit MxfMetadataFile(const std::string& path);

    // The sets whose key names the class (byte 14 of a structural set key).
    std::vector<const Set*> setsOf(unsigned char classByte) const;

    std::vector<unsigned char> bytes;
    Corvidane::MXF::CMxf_SM_Primer primer;
    std::vector<Set> sets;
};

// `set` written again with the items of `original` (its tags, in its order):
// the value written, empty when the description couldn't write it.
std::vector<unsigned char> rewriteSet(const Corvidane::MXF::CMxf_SM_BaseSet& set,
                                      const Corvidane::MXF::SetDescription& description,
                                      const Corvidane::MXF::CKlvItem& original,
                                      const Corvidane::MXF::CMxf_SM_Primer& primer);

// Puts `value` in place of every copy of the set's value (header and footer).
void replaceEverywhere(std::vector<unsigned char>& bytes, const Corvidane::MXF::CKlvItem& set,
                       const std::vector<unsigned char>& value);
