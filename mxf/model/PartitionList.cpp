#include "mxf/model/PartitionList.h"

#include <algorithm>

namespace Corvidane::MXF {

bool CMxfPartitionList::addPartitionPack(const CKlvItem& item, Base& report)
{
    auto pack = std::make_unique<CMxfPartitionPack>();
    if (!pack->SetKLV(item))
        return false;
    const int kind = pack->getType();
    if (kind == PartitionHeader || kind == PartitionFooter) {
        for (const auto& existing : m_packs) {
            if (existing->getType() != kind)
                continue;
            // Reported, never dropped: the caller learns of the damage and
            // still finds every pack the file has.
            std::wstring text = L"Failed to add partition, duplicate type: ";
            for (const char* name = partitionKindtoString(kind); *name; ++name)
                text += static_cast<wchar_t>(*name);
            report.setLastError(Fail, L"%ls", text.c_str());
        }
    }
    m_packs.push_back(std::move(pack));
    m_essenceOrderValid = false;
    return true;
}

void CMxfPartitionList::assign(std::vector<std::unique_ptr<CMxfPartitionPack>> packs)
{
    m_packs = std::move(packs);
    m_essenceOrderValid = false;
}

void CMxfPartitionList::append(std::unique_ptr<CMxfPartitionPack> pack)
{
    m_packs.push_back(std::move(pack));
    m_essenceOrderValid = false;
}

void CMxfPartitionList::clear() { assign({}); }

bool CMxfPartitionList::getOperationalPattern(MXFUL& out) const
{
    if (!header())
        return false;
    out = header()->operationalPattern.label();
    return true;
}

void CMxfPartitionList::buildEssenceOrder() const
{
    m_essenceOrder.clear();
    uint64_t highest = 0;
    for (const auto& pack : m_packs) {
        if (pack->bodySID == 0)
            continue;
        highest = std::max(highest, pack->bodyOffset);
        m_essenceOrder.push_back(EssencePack{pack.get(), highest});
    }
    m_essenceOrderValid = true;
}

const CMxfPartitionPack* CMxfPartitionList::essencePartitionForIndexOffset(uint64_t offset) const
{
    if (!m_essenceOrderValid)
        buildEssenceOrder();
    // The first pack with essence past `offset` is the first whose running
    // highest body offset passes it; the pack before it holds the offset.
    auto past = std::upper_bound(m_essenceOrder.begin(), m_essenceOrder.end(), offset,
                                 [](uint64_t wanted, const EssencePack& e) { return wanted < e.highestBodyOffset; });
    return past == m_essenceOrder.begin() ? header() : std::prev(past)->pack;
}

uint64_t CMxfPartitionList::indexOffsetToFileOffset(uint64_t offset, uint64_t essenceHeaderSize) const
{
    const CMxfPartitionPack* pack = essencePartitionForIndexOffset(offset);
    return pack ? modifyOffsetForPartition(*pack, offset) + essenceHeaderSize : 0;
}

} // namespace Corvidane::MXF
