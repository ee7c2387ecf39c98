#include "mxf/model/PartitionPack.h"

#include <cstdlib>
#include <cstring>

#include "frame/BigEndian.h"

namespace Corvidane::MXF {

namespace {

const unsigned char packPrefix[13] = {0x06, 0x0E, 0x2B, 0x34, 0x02, 0x05, 0x01, 0x01, 0x0D, 0x01, 0x02, 0x01, 0x01};

} // namespace

const char* partitionKindtoString(int kind)
{
    switch (kind) {
    case PartitionHeader: return "Header";
    case PartitionBody: return "Body";
    case PartitionFooter: return "Footer";
    default: return "Unknown";
    }
}

const char* partitionStatustoString(int status)
{
    switch (status) {
    case OpenIncomplete: return "Open_Incomplete";
    case ClosedIncomplete: return "Closed_Incomplete";
    case OpenComplete: return "Open_Complete";
    case ClosedComplete: return "Closed_Complete";
    default: return "Unknown";
    }
}

CMxfPartitionPack::CMxfPartitionPack(const CMxfPartitionPack& other) : CKlvItem(other) { copyFields(other); }

CMxfPartitionPack& CMxfPartitionPack::operator=(const CMxfPartitionPack& other)
{
    if (this != &other) {
        Assign(other);
        copyFields(other);
    }
    return *this;
}

void CMxfPartitionPack::copyFields(const CMxfPartitionPack& other)
{
    majorVersion = other.majorVersion;
    minorVersion = other.minorVersion;
    kagSize = other.kagSize;
    thisPartition = other.thisPartition;
    previousPartition = other.previousPartition;
    footerPartition = other.footerPartition;
    headerByteCount = other.headerByteCount;
    indexByteCount = other.indexByteCount;
    indexSID = other.indexSID;
    bodyOffset = other.bodyOffset;
    bodySID = other.bodySID;
    operationalPattern = other.operationalPattern;
    essenceContainers = other.essenceContainers;
    fillerLength = other.fillerLength;
}

bool CMxfPartitionPack::IsULPartitionPack(const MXFUL& ul)
{
    return std::memcmp(ul.bytes, packPrefix, 13) == 0 && ul[13] >= 2 && ul[13] <= 4 && ul[14] >= 1 && ul[14] <= 4;
}

bool CMxfPartitionPack::SetKLV(const CKlvItem& item)
{
    if (!IsULPartitionPack(item.key))
        return false;
    FreeValue();
    key = item.key;
    length = item.length;
    lengthLength = item.lengthLength;
    itemKind = item.itemKind;
    value = item.value;
    ownsValue = false;
    SetElementsFromValue();
    return true;
}

bool CMxfPartitionPack::SetElementsFromValue()
{
    const unsigned char* v = value;
    bool complete = false;
    // A field is read when the value holds it whole; the ones after stay 0.
    auto holds = [&](uint64_t offset, uint64_t width) { return v && length >= offset + width; };
    if (holds(0, 2)) majorVersion = readBE16(v);
    if (holds(2, 2)) minorVersion = readBE16(v + 2);
    if (holds(4, 4)) kagSize = readBE32(v + 4);
    if (holds(8, 8)) thisPartition = readBE64(v + 8);
    if (holds(16, 8)) previousPartition = readBE64(v + 16);
    if (holds(24, 8)) footerPartition = readBE64(v + 24);
    if (holds(32, 8)) headerByteCount = readBE64(v + 32);
    if (holds(40, 8)) indexByteCount = readBE64(v + 40);
    if (holds(48, 4)) indexSID = readBE32(v + 48);
    if (holds(52, 8)) bodyOffset = readBE64(v + 52);
    if (holds(60, 4)) bodySID = readBE32(v + 60);
    if (holds(64, 16)) operationalPattern.SetFromData(v + 64);
    if (holds(80, 8) && length > 88) {
        uint32_t count = readBE32(v + 80);
        uint32_t itemSize = readBE32(v + 84);
        // Slots are 16 bytes whatever the batch says, and never more of them
        // than the value has bytes for, so a count in the file sizes nothing.
        uint64_t slots = (length - 88 + 15) / 16;
        essenceContainers.assign(count < slots ? count : slots, MXFUL());
        for (uint64_t i = 0; i < essenceContainers.size(); ++i) {
            uint64_t at = 88 + i * itemSize;
            uint64_t copy = itemSize < 16 ? itemSize : 16;
            if (at < length)
                std::memcpy(essenceContainers[i].bytes, v + at, length - at < copy ? length - at : copy);
        }
        complete = true;
    }
    // The pack keeps no view of the read buffer.
    FreeValue();
    return complete;
}

void CMxfPartitionPack::Reset()
{
    CKlvItem::Reset();
    essenceContainers.clear();
    majorVersion = minorVersion = 0;
    kagSize = 0;
    thisPartition = previousPartition = footerPartition = headerByteCount = indexByteCount = 0;
    indexSID = bodySID = 0;
    bodyOffset = 0;
    operationalPattern = CMxfOperationalPattern();
    fillerLength = 0;
}

int CMxfPartitionPack::getType() const
{
    return key[13] >= PartitionHeader && key[13] <= PartitionFooter ? key[13] : -1;
}

int CMxfPartitionPack::getStatus() const { return key[14] >= OpenIncomplete && key[14] <= ClosedComplete ? key[14] : -1; }

void CMxfPartitionPack::set_Type(int kind)
{
    if (kind >= PartitionHeader && kind <= PartitionFooter)
        key[13] = static_cast<unsigned char>(kind);
}

void CMxfPartitionPack::set_Status(int status)
{
    if (status >= OpenIncomplete && status <= ClosedComplete)
        key[14] = static_cast<unsigned char>(status);
}

void CMxfPartitionPack::Create(int kind, int status, uint32_t kag, uint32_t body, uint32_t index,
                               const CMxfOperationalPattern& pattern, const MXFUL* containers, uint32_t count)
{
    Reset();
    std::memcpy(key.bytes, packPrefix, 13);
    key[13] = static_cast<unsigned char>(kind);
    key[14] = static_cast<unsigned char>(status);
    key[15] = 0;
    lengthLength = 4;
    itemKind = 11;
    majorVersion = 1;
    minorVersion = 2;
    kagSize = kag;
    bodySID = body;
    indexSID = index;
    operationalPattern = pattern;
    if (containers && count >= 1)
        essenceContainers.assign(containers, containers + count);
}

bool CMxfPartitionPack::ToKlv()
{
    const uint64_t size = essenceContainers.empty() ? 80 : 88 + 16 * uint64_t(essenceContainers.size());
    // A value of our own that is large enough is reused.
    if (!(ownsValue && value && length >= size)) {
        FreeValue();
        auto* owned = static_cast<unsigned char*>(std::calloc(size, 1));
        if (!owned)
            return false;
        value = owned;
        ownsValue = true;
    }
    length = size;
    unsigned char* v = value;
    writeBE16(v, majorVersion);
    writeBE16(v + 2, minorVersion);
    writeBE32(v + 4, kagSize);
    writeBE64(v + 8, thisPartition);
    writeBE64(v + 16, previousPartition);
    writeBE64(v + 24, footerPartition);
    writeBE64(v + 32, headerByteCount);
    writeBE64(v + 40, indexByteCount);
    writeBE32(v + 48, indexSID);
    writeBE64(v + 52, bodyOffset);
    writeBE32(v + 60, bodySID);
    std::memcpy(v + 64, operationalPattern.label().bytes, 16);
    if (!essenceContainers.empty()) {
        writeBE32(v + 80, static_cast<uint32_t>(essenceContainers.size()));
        writeBE32(v + 84, 16);
        for (size_t i = 0; i < essenceContainers.size(); ++i)
            std::memcpy(v + 88 + 16 * i, essenceContainers[i].bytes, 16);
    }
    return true;
}

int64_t CMxfPartitionPack::ToStream(unsigned char* dst, int dstSize)
{
    return ToKlv() ? CKlvItem::ToStream(dst, dstSize) : -1;
}

} // namespace Corvidane::MXF
