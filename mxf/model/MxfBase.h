#pragma once
#include <cstdint>
#include <string>

#include "frame/CvResult.h"
#include "host/Ptr.h"
#include "host/iFile.h"
#include "mxf/model/KlvItem.h"

namespace Corvidane::MXF {

// What the MXF reader and writer share: the file, its name and a set of flags.
class CMxf_BaseClass {
public:
    virtual ~CMxf_BaseClass() = default;

    // FileInvalid without a file, the last error's result when the seek fails.
    CvResult setFilePointer(uint64_t offset);
    bool getFilesize(uint64_t& size) const;
    bool isFlagSet(uint32_t mask) const { return (flags & mask) != 0; }
    void setFlag(uint32_t mask, bool on) { flags = on ? flags | mask : flags & ~mask; }
    void setFlags(uint32_t mask) { flags = mask; }
    const std::wstring& getFilename() const { return filename; }
    // "Error Code 0x%x" in a new 32-character buffer that the caller frees with delete[].
    static wchar_t* GetErrorText(uint32_t code);
    void closeFile() { file = nullptr; }
    // Creates `path` and writes the item's value alone into it.
    static bool klvToFile(const std::wstring& path, const CKlvItem& item);

protected:
    std::wstring filename;
    Ptr<iFile> file;
    uint32_t flags = 0;
};

} // namespace Corvidane::MXF
