#pragma once
#include <cstdint>
#include <memory>
#include <vector>

#include "frame/Base.h"
#include "mxf/model/PartitionPack.h"

namespace Corvidane::MXF {

// The partition packs of a file in file order, the first being the header
// pack, and where their essence lies in the file. Offsets of packs count
// from the end of the run-in.
class CMxfPartitionList {
public:
    // Appends the pack the item holds; false when its key is no partition
    // pack's. A second header or footer pack is kept all the same and named
    // in `report` with Fail.
    bool addPartitionPack(const CKlvItem& item, Base& report);
    // Replaces the list, as a reader that found the packs another way does.
    void assign(std::vector<std::unique_ptr<CMxfPartitionPack>> packs);
    // Appends a pack read elsewhere.
    void append(std::unique_ptr<CMxfPartitionPack> pack);
    void clear();

    size_t getNumPartitions() const { return m_packs.size(); }
    CMxfPartitionPack* at(size_t i) const { return i < m_packs.size() ? m_packs[i].get() : nullptr; }
    CMxfPartitionPack* header() const { return at(0); }
    CMxfPartitionPack* last() const { return m_packs.empty() ? nullptr : m_packs.back().get(); }

    bool doesHeaderHaveEssence() const { return header() && header()->bodySID != 0; }
    bool doesHeaderHaveMetaData() const { return header() && header()->headerByteCount != 0; }
    bool doesFooterHaveMetaData() const { return footer() && footer()->headerByteCount != 0; }
    uint64_t getHeader_FooterPartition() const { return header() ? header()->footerPartition : 0; }
    uint64_t getHeader_HeaderByteCount() const { return header() ? header()->headerByteCount : 0; }
    uint64_t getHeader_OverallLength() const { return overallLength(header()); }
    uint64_t getFooter_HeaderByteCount() const { return footer() ? footer()->headerByteCount : 0; }
    uint64_t getFooter_OverallLength() const { return overallLength(footer()); }

    bool getOperationalPattern(MXFUL& out) const;
    bool isOp1a() const { return header() && header()->operationalPattern.isOp1a(); }
    bool isOpAtom() const { return header() && header()->operationalPattern.isOpAtom(); }
    // False with no packs, and when the pattern says the essence lies in other files.
    bool IsAllEssenceInFile() const { return header() && !header()->operationalPattern.ExternalEssence(); }

    // The pack whose essence holds a body offset: the last pack with essence
    // whose body offset is at most `offset`, before the first with essence
    // that starts past it; the header pack when none does.
    const CMxfPartitionPack* essencePartitionForIndexOffset(uint64_t offset) const;
    // A body offset in the essence of `pack` as a file offset.
    uint64_t modifyOffsetForPartition(const CMxfPartitionPack& pack, uint64_t offset) const
    {
        return offset - pack.bodyOffset + pack.thisPartition + runIn + pack.get_TotalLengthOfAllItems();
    }
    // A body offset of an index entry as a file offset; `essenceHeaderSize`
    // skips the key and length in front of clip-wrapped essence.
    uint64_t indexOffsetToFileOffset(uint64_t offset, uint64_t essenceHeaderSize) const;

    // Bytes in front of the header pack.
    uint32_t runIn = 0;

private:
    // The last pack when there are two or more: a lone pack is the header.
    CMxfPartitionPack* footer() const { return m_packs.size() < 2 ? nullptr : last(); }
    static uint64_t overallLength(const CMxfPartitionPack* pack)
    {
        return pack ? pack->length + pack->lengthLength + 16 : 0;
    }
    void buildEssenceOrder() const;

    std::vector<std::unique_ptr<CMxfPartitionPack>> m_packs;
    // The packs with essence in file order, with the largest body offset up
    // to each; a lookup binary-searches it. Built on the first lookup after
    // a change.
    struct EssencePack {
        const CMxfPartitionPack* pack;
        uint64_t highestBodyOffset;
    };
    mutable std::vector<EssencePack> m_essenceOrder;
    mutable bool m_essenceOrderValid = false;
};

} // namespace Corvidane::MXF
