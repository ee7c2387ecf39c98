#pragma once
#include <cstdint>
#include <string>

#include "frame/CvResult.h"

namespace Corvidane::QuickTime {

// Walks the children of one atom held in memory and hands each to OnAtom.
// A result above 1 from any step ends the walk with that result.
class AtomParser {
public:
    virtual ~AtomParser() = default;
    // `data` points at the parent's header, `length` is the parent's length
    // and `offset` the parent's position in the file. Only the parent's 8-byte
    // header is skipped. A child's length of 0 ends the walk; a child that runs
    // past the parent is handed over cut at the parent's end.
    virtual CvResult Parse(const unsigned char* data, size_t length, const std::wstring& file, uint64_t offset);
    // `type` points at the child's code, `data` at its header; `length`
    // includes the header.
    virtual CvResult OnAtom(const uint32_t* type, const unsigned char* data, size_t length) = 0;
    virtual CvResult OnParseStart() { return OK; }
    virtual CvResult OnParseEnd() { return OK; }

    // A display name of an atom's code, for logs.
    static const char* getAtomDescription(uint32_t code);

protected:
    std::wstring filename;
    // Absolute file position of the child being visited.
    uint64_t fileOffset = 0;
};

} // namespace Corvidane::QuickTime
