#pragma once
#include <cstdint>
#include <vector>

#include "mxf/model/KlvItem.h"
#include "mxf/model/OperationalPattern.h"

namespace Corvidane::MXF {

enum PartitionKind { PartitionHeader = 2, PartitionBody = 3, PartitionFooter = 4 };
enum PartitionStatus { OpenIncomplete = 1, ClosedIncomplete = 2, OpenComplete = 3, ClosedComplete = 4 };
const char* partitionKindtoString(int kind);
const char* partitionStatustoString(int status);

// A header, body or footer partition pack. Kind and status live in bytes 13
// and 14 of the key; the value holds the fields below, big-endian.
class CMxfPartitionPack : public CKlvItem {
public:
    CMxfPartitionPack() = default;
    CMxfPartitionPack(const CMxfPartitionPack& other);
    CMxfPartitionPack& operator=(const CMxfPartitionPack& other);
    ~CMxfPartitionPack() override { CMxfPartitionPack::Reset(); }

    static bool IsULPartitionPack(const MXFUL& ul);
    // Takes a parsed item whose key is a partition pack's and reads its
    // value; a value too short keeps the fields it has and still answers true.
    bool SetKLV(const CKlvItem& item);
    using CKlvItem::SetKLV;
    void Reset() override;

    int getType() const;
    int getStatus() const;
    void set_Type(int kind);
    void set_Status(int status);

    // The write side: key for the kind and status, version 1.2, offsets 0.
    void Create(int kind, int status, uint32_t kagSize, uint32_t bodySID, uint32_t indexSID,
                const CMxfOperationalPattern& operationalPattern, const MXFUL* containers, uint32_t count);
    // Writes the fields into an owned value: 80 bytes without essence
    // containers (no batch head at all), 88 + 16 n with n.
    bool ToKlv();
    int64_t ToStream(unsigned char* dst, int dstSize) override;

    // From the start of the pack to the start of the essence.
    uint64_t get_TotalLengthOfAllItems() const
    {
        return length + lengthLength + 16 + fillerLength + headerByteCount + indexByteCount;
    }

    uint16_t majorVersion = 0;
    uint16_t minorVersion = 0;
    uint32_t kagSize = 0;
    uint64_t thisPartition = 0;
    uint64_t previousPartition = 0;
    uint64_t footerPartition = 0;
    uint64_t headerByteCount = 0;
    uint64_t indexByteCount = 0;
    uint32_t indexSID = 0;
    uint64_t bodyOffset = 0;
    uint32_t bodySID = 0;
    CMxfOperationalPattern operationalPattern;
    std::vector<MXFUL> essenceContainers;
    // The whole filler item (key, BER and value) right after the pack, if any.
    uint64_t fillerLength = 0;

private:
    // Reads the fields the value holds; false when it ends before the
    // essence container list.
    bool SetElementsFromValue();
    void copyFields(const CMxfPartitionPack& other);
};

} // namespace Corvidane::MXF
