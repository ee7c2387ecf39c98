#pragma once
#include <cstdint>

#include "mxf/model/KlvItem.h"

namespace Corvidane::MXF {

// Parses the key and BER length of the item at `at` when both lie inside
// the `size` bytes at `data`; its value may run past them.
bool klvHeaderAt(unsigned char* data, uint64_t size, uint64_t at, CKlvItem& item);

// Takes the KLV items of a buffer one after the other, each only when its
// key, BER length and value lie whole inside the buffer.
class CKlvBufferWalk {
public:
    CKlvBufferWalk(unsigned char* data, uint64_t size) : m_data(data), m_size(size) {}

    // The next item as a view into the buffer; false at the end, or where
    // the bytes are no whole item (and then `stoppedEarly()`).
    bool next(CKlvItem& item);
    // Where the item last taken starts, and where the next one would.
    uint64_t itemOffset() const { return m_itemOffset; }
    uint64_t offset() const { return m_offset; }
    bool stoppedEarly() const { return m_offset < m_size; }

private:
    unsigned char* m_data;
    uint64_t m_size;
    uint64_t m_offset = 0;
    uint64_t m_itemOffset = 0;
};

} // namespace Corvidane::MXF
