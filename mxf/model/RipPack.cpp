#include "mxf/model/RipPack.h"

#include "frame/BigEndian.h"
#include "mxf/model/KlvBufferWalk.h"

namespace Corvidane::MXF {

bool CRipPack::IsMyKey(const MXFUL& ul)
{
    static const MXFUL rip = labelFromText("06.0E.2B.34.02.05.01.01.0D.01.02.01.01.11.01.00");
    return ul == rip;
}

void CRipPack::initVariables()
{
    entries.clear();
    count = 0;
    totalLength = 0;
}

void CRipPack::Reset()
{
    CKlvItem::Reset();
    initVariables();
}

bool CRipPack::SetKLV(unsigned char* data, uint64_t size)
{
    initVariables();
    CKlvBufferWalk walk(data, size);
    unsigned char* at = data;
    return walk.next(*this) && SetKLV(&at);
}

bool CRipPack::SetKLV(unsigned char** pp)
{
    initVariables();
    if (!CKlvItem::SetKLV(pp) || !IsMyKey(key) || !value || length < 4)
        return false;
    const uint64_t records = (length - 4) / 12;
    count = records > INT32_MAX ? INT32_MAX : static_cast<int32_t>(records);
    // Entries grow as records are read, never sized by the count alone.
    for (uint64_t i = 0; i < records; ++i) {
        const uint64_t at = i * 12;
        if (at + 12 > length)
            return false;
        Entry entry;
        entry.bodySID = readBE32(value + at);
        entry.byteOffset = readBE64(value + at + 4);
        entries.push_back(entry);
    }
    totalLength = readBE32(value + records * 12);
    return true;
}

std::vector<unsigned char> CRipPack::toBytes() const
{
    static const MXFUL rip = labelFromText("06.0E.2B.34.02.05.01.01.0D.01.02.01.01.11.01.00");
    const uint32_t valueLength = uint32_t(12 * entries.size() + 4);
    std::vector<unsigned char> bytes(20 + valueLength);
    CKlvItem::create(rip, 4, valueLength, bytes.data(), 20);
    unsigned char* p = bytes.data() + 20;
    for (const Entry& entry : entries) {
        writeBE32(p, entry.bodySID);
        writeBE64(p + 4, entry.byteOffset);
        p += 12;
    }
    writeBE32(p, uint32_t(bytes.size()));
    return bytes;
}

} // namespace Corvidane::MXF
