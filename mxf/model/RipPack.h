#pragma once
#include <cstdint>
#include <vector>

#include "mxf/model/KlvItem.h"

namespace Corvidane::MXF {

// The random index pack at the end of a file: where each partition starts,
// and the pack's own length so that a reader can find it from the end.
class CRipPack : public CKlvItem {
public:
    struct Entry {
        uint32_t bodySID = 0;
        uint64_t byteOffset = 0;
    };

    ~CRipPack() override { CRipPack::Reset(); }
    static bool IsMyKey(const MXFUL& ul);
    // Parses the pack at *pp; false for another key or for records or a
    // length that the value doesn't hold (the records read so far stay).
    // The caller vouches that the bytes the pack's length claims are there.
    bool SetKLV(unsigned char** pp) override;
    // The same for a pack that must end within the `size` bytes at `data`:
    // a length that claims more fails before anything is read or sized by it.
    bool SetKLV(unsigned char* data, uint64_t size);
    void Reset() override;
    virtual void initVariables();
    // The pack of `entries`: key, a four-byte BER length, the records and the
    // closing overall length.
    std::vector<unsigned char> toBytes() const;

    std::vector<Entry> entries;
    int32_t count = 0;
    uint32_t totalLength = 0;
};

} // namespace Corvidane::MXF
