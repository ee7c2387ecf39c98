#pragma once
#include <cstdint>
#include <functional>
#include <initializer_list>
#include <string>
#include <vector>

#include "frame/CvResult.h"
#include "mxf/model/ItemValue.h"
#include "mxf/model/KlvLocalSet.h"
#include "mxf/model/Primer.h"

namespace Corvidane::MXF {

class CMxf_SM_BaseSet;

// One property of a set: the local tag this system writes for it, its label,
// its name in the SMPTE registers, its wire type, and the member it fills.
// A property without `store` is read over; one without `load` isn't written.
struct SetItem {
    uint16_t tag = 0;
    MXFUL label;
    MXFUL alsoRead;  // a second label read into the same member; zero when none
    const char* name = "";
    ItemType type = ItemType::Bytes;
    bool anyItemSize = false;  // a batch whose item size the reader doesn't test
    uint32_t textLimit = 0;    // text of 1 to this many bytes, others refused; 0: any length
    std::function<void(CMxf_SM_BaseSet&, const ItemValue&)> store;
    std::function<ItemValue(const CMxf_SM_BaseSet&)> load;
};

// The items of one set class, after those of the class it derives from. One
// description serves reading (labels from the file's primer select the
// item), writing (tags and labels in the writer's order), and showing a set.
class SetDescription {
public:
    SetDescription(const char* className, const SetDescription* parent, std::vector<SetItem> items);

    const char* className() const { return m_className; }
    // By label: exactly first, in this class and then its parents, and then
    // without the version byte, since writers differ in the register version
    // they quote for the same property.
    const SetItem* find(const MXFUL& label) const;
    // By the tag this system writes.
    const SetItem* findTag(uint16_t tag) const;
    // The tags given with their labels, in the order given, to write a set
    // with; a tag that isn't the set's is left out.
    std::vector<MXF_TAG2UL> itemsForTags(std::initializer_list<uint16_t> tags) const;

    // Fills `set` from a local set already placed on its first item. OK, or
    // False when some label was not the set's (skipped). A tag missing from
    // the primer gives MxfTagNotInPrimer, an item longer than the set
    // MxfBadKlv; a batch or reference of the wrong shape gives MxfBadBatch
    // with `badShapeText` when there is one, and leaves the member as it was
    // when there is none. `errorText` gets the text for a failure.
    CvResult fill(CMxf_SM_BaseSet& set, CKlvLocalSet& items, const CMxf_SM_Primer& primer, const DecodeRules& rules,
                  const wchar_t* badShapeText, std::wstring& errorText) const;

    // Writes `set` under `key` with the items named, each under its tag; the
    // bytes written, or 0 when they don't fit `capacity` or a label isn't the
    // set's. `berSize` fixes the bytes of the set's length (0: four).
    int64_t write(const CMxf_SM_BaseSet& set, const MXFUL& key, const std::vector<MXF_TAG2UL>& items,
                  unsigned char* buffer, uint64_t capacity, int berSize = 0) const;

private:
    const SetItem* findIn(const MXFUL& label, bool exact) const;

    const char* m_className;
    const SetDescription* m_parent;
    std::vector<SetItem> m_items;
};

// A property label from its tail after 06.0E.2B.34.01.01.01, byte 7 first.
MXFUL propertyLabel(const char* tail);

// Members to and from item values.
inline ItemValue toItemValue(uint8_t v) { return uint64_t(v); }
inline ItemValue toItemValue(uint16_t v) { return uint64_t(v); }
inline ItemValue toItemValue(uint32_t v) { return uint64_t(v); }
inline ItemValue toItemValue(bool v) { return uint64_t(v ? 1 : 0); }
inline ItemValue toItemValue(int8_t v) { return int64_t(v); }
inline ItemValue toItemValue(int32_t v) { return int64_t(v); }
inline ItemValue toItemValue(int64_t v) { return v; }
template <class T>
ItemValue toItemValue(const T& v)
{
    return v;
}

inline void fromItemValue(const ItemValue& v, uint8_t& m) { m = static_cast<uint8_t>(std::get<uint64_t>(v)); }
inline void fromItemValue(const ItemValue& v, uint16_t& m) { m = static_cast<uint16_t>(std::get<uint64_t>(v)); }
inline void fromItemValue(const ItemValue& v, uint32_t& m) { m = static_cast<uint32_t>(std::get<uint64_t>(v)); }
inline void fromItemValue(const ItemValue& v, bool& m) { m = std::get<uint64_t>(v) != 0; }
inline void fromItemValue(const ItemValue& v, int8_t& m) { m = static_cast<int8_t>(std::get<int64_t>(v)); }
inline void fromItemValue(const ItemValue& v, int32_t& m) { m = static_cast<int32_t>(std::get<int64_t>(v)); }
template <class T>
void fromItemValue(const ItemValue& v, T& m)
{
    m = std::get<T>(v);
}

// An item that fills one member of `Set`.
template <class Set, class Field>
SetItem memberItem(uint16_t tag, const char* tail, const char* name, ItemType type, Field Set::*member)
{
    SetItem item;
    item.tag = tag;
    item.label = propertyLabel(tail);
    item.name = name;
    item.type = type;
    item.store = [member](CMxf_SM_BaseSet& set, const ItemValue& v) {
        fromItemValue(v, static_cast<Set&>(set).*member);
    };
    item.load = [member](const CMxf_SM_BaseSet& set) { return toItemValue(static_cast<const Set&>(set).*member); };
    return item;
}

// A reference to a set held by value: it fills that set's instance identifier.
template <class Set, class Object>
SetItem referenceItem(uint16_t tag, const char* tail, const char* name, Object Set::*member)
{
    SetItem item;
    item.tag = tag;
    item.label = propertyLabel(tail);
    item.name = name;
    item.type = ItemType::Reference;
    item.store = [member](CMxf_SM_BaseSet& set, const ItemValue& v) {
        (static_cast<Set&>(set).*member).instanceUUID = std::get<GUID>(v);
    };
    item.load = [member](const CMxf_SM_BaseSet& set) {
        return ItemValue((static_cast<const Set&>(set).*member).instanceUUID);
    };
    return item;
}

// A batch of references to sets held in a list: the list takes one slot per
// reference, each slot knowing only its instance identifier until the set
// itself is read.
template <class Set, class Object>
SetItem referenceListItem(uint16_t tag, const char* tail, const char* name, std::vector<Object> Set::*member)
{
    SetItem item;
    item.tag = tag;
    item.label = propertyLabel(tail);
    item.name = name;
    item.type = ItemType::ReferenceBatch;
    item.store = [member](CMxf_SM_BaseSet& set, const ItemValue& v) {
        const std::vector<GUID>& references = std::get<std::vector<GUID>>(v);
        std::vector<Object>& list = static_cast<Set&>(set).*member;
        list.clear();
        list.resize(references.size());
        for (size_t i = 0; i < references.size(); ++i)
            list[i].instanceUUID = references[i];
    };
    item.load = [member](const CMxf_SM_BaseSet& set) {
        std::vector<GUID> references;
        for (const Object& object : static_cast<const Set&>(set).*member)
            references.push_back(object.instanceUUID);
        return ItemValue(std::move(references));
    };
    return item;
}

// A property that is recognised and read over: nothing keeps it.
SetItem ignoredItem(uint16_t tag, const char* tail, const char* name, ItemType type);

} // namespace Corvidane::MXF
