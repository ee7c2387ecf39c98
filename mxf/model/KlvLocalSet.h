#pragma once
#include <cstdint>
#include <string>

#include "frame/Guid.h"
#include "frame/CvResult.h"
#include "mxf/model/KlvItem.h"

namespace Corvidane::MXF {

// Walks the items of a local set (tag, length, value), or builds one into a
// caller's buffer. The widths of tag and length come from byte 5 of the
// set's key.
class CKlvLocalSet {
public:
    CKlvLocalSet() = default;
    // Points at the item's value and moves to its first item.
    explicit CKlvLocalSet(const CKlvItem& item) { start(item); }
    // The same, telling whether there is a first item (OK) or none (HandleEOF).
    CvResult start(const CKlvItem& item);

    // The widths for a key's byte 5; false for a byte that names none.
    bool getTagAndLenLen(const MXFUL& key);
    // OK on the next item, HandleEOF at the end (also at once for a set of
    // BER lengths, which can't be walked).
    CvResult moveNext(bool first = false);

    uint32_t getTag() const { return tag; }
    uint64_t getItemLength() const { return itemLength; }
    const unsigned char* getItemData() const { return data + position; }
    // Bytes of the set from the current item's value on: an item may claim
    // more than this, and readers take no more than it.
    uint64_t getRemaining() const { return total - position; }
    void setItemLen(uint64_t n) { itemLength = n; }

    // Building. Each writes key and BER length at the start of `buffer` and
    // leaves `position` behind them; a negative result when the key or the
    // widths don't make a local set.
    int create(const MXFUL& key, unsigned char* buffer, uint64_t capacity, uint64_t tagWidth, int lengthWidth);
    int create(const MXFUL& key, int berSize, unsigned char* buffer, uint64_t capacity);
    int create(const MXFUL& key, unsigned char* buffer, uint64_t capacity) { return create(key, 0, buffer, capacity); }
    // Appends one item; the tag's two bytes are stored as the caller's short
    // holds them, so it comes in wire order. The size of the item, or -1
    // without a buffer or with a length width other than 1, 2 or 4, -2 when
    // the buffer is full. The buffer is sized by the caller for its items.
    int64_t Append(uint16_t tagInWireOrder, const void* bytes, uint64_t size);
    int64_t append(uint16_t tagInWireOrder, const GUID& value);
    int64_t append(uint16_t tagInWireOrder, uint32_t value);
    int64_t append(uint16_t tagInWireOrder, const UMID& value);
    int64_t append(uint16_t tagInWireOrder, const MXFRATIONAL& value);
    int64_t append(uint16_t tagInWireOrder, const MXFUL& value);
    // UTF-16 big-endian with a terminating zero unit, counted in the length.
    int64_t append(uint16_t tagInWireOrder, const std::wstring& value);
    int64_t append2(uint16_t tagInWireOrder, int64_t value);
    int64_t append3(uint16_t tagInWireOrder, int64_t value) { return append2(tagInWireOrder, value); }
    // Bytes of the set built so far: key, BER length and items.
    uint64_t getWritten() const { return written; }

private:
    uint64_t tagLength = 0;
    int lengthLength = 0;
    uint64_t position = 0;
    uint64_t itemLength = 0;
    uint64_t total = 0;
    unsigned char* data = nullptr;
    uint32_t tag = 0;
    uint64_t written = 0;
    uint64_t berLength = 0;
};

} // namespace Corvidane::MXF
