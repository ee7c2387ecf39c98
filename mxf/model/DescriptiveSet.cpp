#include "mxf/model/DescriptiveSet.h"

namespace Corvidane::MXF {

const ItemValue* SetBase::getPropertyValue(const std::string& name) const
{
    auto found = values.find(name);
    if (found == values.end() || std::holds_alternative<std::monostate>(found->second))
        return nullptr;
    return &found->second;
}

std::wstring SetBase::getPropertyText(const std::string& name) const
{
    const ItemValue* value = getPropertyValue(name);
    if (!value)
        return std::wstring();
    if (const std::wstring* text = std::get_if<std::wstring>(value))
        return *text;
    if (const uint64_t* number = std::get_if<uint64_t>(value))
        return std::to_wstring(*number);
    if (const int64_t* number = std::get_if<int64_t>(value))
        return std::to_wstring(*number);
    return std::wstring();
}

SetItem propertyItem(uint16_t tag, const char* tail, const char* name, ItemType type)
{
    SetItem item;
    item.tag = tag;
    item.label = propertyLabel(tail);
    item.name = name;
    item.type = type;
    item.anyItemSize = true;
    if (type == ItemType::Iso7Text)
        item.textLimit = 1024;
    if (type == ItemType::Utf16)
        item.textLimit = 2048;
    const std::string key = name;
    item.store = [key](CMxf_SM_BaseSet& set, const ItemValue& v) { static_cast<SetBase&>(set).values[key] = v; };
    item.load = [key](const CMxf_SM_BaseSet& set) {
        const ItemValue* value = static_cast<const SetBase&>(set).getPropertyValue(key);
        return value ? *value : ItemValue();
    };
    return item;
}

} // namespace Corvidane::MXF
