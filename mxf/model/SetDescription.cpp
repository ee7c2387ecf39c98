#include "mxf/model/SetDescription.h"

#include <string>

#include "mxf/model/MxfResults.h"

namespace Corvidane::MXF {

MXFUL propertyLabel(const char* tail)
{
    return labelFromText((std::string("06.0E.2B.34.01.01.01.") + tail).c_str());
}

SetItem ignoredItem(uint16_t tag, const char* tail, const char* name, ItemType type)
{
    SetItem item;
    item.tag = tag;
    item.label = propertyLabel(tail);
    item.name = name;
    item.type = type;
    return item;
}

SetDescription::SetDescription(const char* className, const SetDescription* parent, std::vector<SetItem> items)
    : m_className(className), m_parent(parent), m_items(std::move(items))
{
}

const SetItem* SetDescription::findIn(const MXFUL& label, bool exact) const
{
    static const MXFUL none;
    for (const SetItem& item : m_items) {
        if (exact ? item.label == label : versionBlindEqual(item.label, label))
            return &item;
        if (item.alsoRead != none && (exact ? item.alsoRead == label : versionBlindEqual(item.alsoRead, label)))
            return &item;
    }
    return m_parent ? m_parent->findIn(label, exact) : nullptr;
}

const SetItem* SetDescription::find(const MXFUL& label) const
{
    if (const SetItem* item = findIn(label, true))
        return item;
    return findIn(label, false);
}

const SetItem* SetDescription::findTag(uint16_t tag) const
{
    for (const SetItem& item : m_items)
        if (item.tag == tag)
            return &item;
    return m_parent ? m_parent->findTag(tag) : nullptr;
}

std::vector<MXF_TAG2UL> SetDescription::itemsForTags(std::initializer_list<uint16_t> tags) const
{
    std::vector<MXF_TAG2UL> items;
    for (uint16_t tag : tags)
        if (const SetItem* item = findTag(tag))
            items.push_back(MXF_TAG2UL{tag, item->label});
    return items;
}

CvResult SetDescription::fill(CMxf_SM_BaseSet& set, CKlvLocalSet& items, const CMxf_SM_Primer& primer,
                              const DecodeRules& rules, const wchar_t* badShapeText, std::wstring& errorText) const
{
    CvResult result = OK;
    // Tag 0 is no local tag: the walker holds it when the set has no items.
    if (items.getTag() == 0)
        return result;
    do {
        const MXF_TAG2UL* entry = primer.FindTag(static_cast<uint16_t>(items.getTag()));
        if (!entry) {
            errorText = L"Tag not found";
            return MxfTagNotInPrimer;
        }
        if (items.getItemLength() > items.getRemaining()) {
            errorText = L"Item longer than its set";
            return MxfBadKlv;
        }
        const SetItem* item = find(entry->ul);
        if (!item) {
            result = False;
            if (rules.endAtUnknownLabel)
                break;
            continue;
        }
        if (!item->store)
            continue;
        if (item->textLimit && (items.getItemLength() == 0 || items.getItemLength() > item->textLimit))
            continue;
        ItemValue value;
        const ItemBytes bytes{items.getItemData(), items.getItemLength(), items.getRemaining()};
        DecodeRules itemRules = rules;
        itemRules.anyBatchItemSize = rules.anyBatchItemSize || item->anyItemSize;
        if (decodeItem(item->type, bytes, itemRules, value) != DecodeStatus::Ok) {
            if (!badShapeText)
                continue;
            errorText = badShapeText;
            return MxfBadBatch;
        }
        item->store(set, value);
    } while (items.moveNext() == OK);
    return result;
}

int64_t SetDescription::write(const CMxf_SM_BaseSet& set, const MXFUL& key, const std::vector<MXF_TAG2UL>& items,
                              unsigned char* buffer, uint64_t capacity, int berSize) const
{
    CKlvLocalSet out;
    if (out.create(key, berSize, buffer, capacity) <= 0)
        return 0;
    for (const MXF_TAG2UL& entry : items) {
        const SetItem* item = find(entry.ul);
        if (!item || !item->load)
            return 0;
        std::vector<unsigned char> bytes = encodeItem(item->type, item->load(set));
        // Tag and a 2-byte length, as the sets of this system have them.
        if (bytes.size() > 0xFFFF || out.getWritten() + 4 + bytes.size() > capacity)
            return 0;
        const uint16_t wireTag = static_cast<uint16_t>(entry.tag << 8 | entry.tag >> 8);
        out.Append(wireTag, bytes.data(), bytes.size());
    }
    return int64_t(out.getWritten());
}

} // namespace Corvidane::MXF
