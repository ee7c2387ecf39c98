#pragma once
#include <cstdint>

#include "mxf/model/Labels.h"

namespace Corvidane::MXF {

// One key-length-value item. A parsed item is a view into the caller's
// buffer, which must outlive it; the item owns its value only when it made
// a copy (ownsValue).
class CKlvItem {
public:
    CKlvItem() = default;
    CKlvItem(const CKlvItem& other) { Assign(other); }
    CKlvItem& operator=(const CKlvItem& other);
    virtual ~CKlvItem() { CKlvItem::Reset(); }

    virtual void FreeValue();
    // Keeps `p` as a view, or with `copy` takes an owned copy of `length` bytes.
    virtual bool SetValue(unsigned char* p, bool copy);
    virtual bool SetKey(unsigned char* p) { return setKey(p, true); }
    // Copies the 16 key bytes and classifies them; with `strict` a key that
    // isn't an SMPTE label is refused and nothing changes.
    virtual bool setKey(unsigned char* p, bool strict);
    // Reads a BER length; `lengthLengthOut` gets the bytes it took.
    virtual bool SetLength(unsigned char* p, int* lengthLengthOut);
    virtual bool SetKLV(unsigned char** pp) { return setKLV(pp, true); }
    // Parses key, length and a view of the value at *pp and moves *pp past
    // them; a failure leaves *pp where it was. The caller guards the bounds.
    virtual bool setKLV(unsigned char** pp, bool strict);
    virtual void Reset();
    // Writes key, BER length and value; the total size, or -1 without a
    // value, -2 when `dstSize` is too small, -4 when the length can't be written.
    virtual int64_t ToStream(unsigned char* dst, int dstSize);

    void Assign(const CKlvItem& other);
    uint8_t getLengthLength() const { return lengthLength; }
    // Where the key lay in the parsed buffer; null without a value.
    unsigned char* getStart() const { return value ? value - lengthLength - 16 : nullptr; }

    // A BER length of `size` bytes (0x80 + size - 1, then size - 1 bytes)
    // at `dst`; `size` alone for a null `dst`, 0 when it exceeds `max`.
    static int LengthToBERLength(uint64_t length, int size, unsigned char* dst, int max);
    // The same in the size this system writes: never fewer than 4 bytes.
    static int LengthToBERLength(uint64_t length, unsigned char* dst, int max);
    static int naturalBERSize(uint64_t length);
    // Key and BER length at `dst`, in `berSize` bytes when the length fits
    // them (0: the natural size); the bytes written, or 0.
    static int create(const MXFUL& key, int berSize, uint64_t length, unsigned char* dst, int max);
    static int create(const MXFUL& key, uint64_t length, unsigned char* dst, int max)
    {
        return create(key, 0, length, dst, max);
    }

    MXFUL key;
    uint64_t length = 0;
    unsigned char* value = nullptr;
    uint8_t lengthLength = 0;
    bool ownsValue = false;
    bool isUniversalSet = false;
    int32_t itemKind = -1;

private:
    void classify();
};

} // namespace Corvidane::MXF
