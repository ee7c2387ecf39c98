#pragma once
#include <map>
#include <string>

#include "mxf/model/BaseSet.h"

namespace Corvidane::MXF {

// A descriptive set held as a table of its values by property name: the
// reader picks a few of them and keeps no graph of these sets.
class SetBase : public CMxf_SM_BaseSet {
public:
    // The value under that name; null when the name is unknown or nothing was read.
    const ItemValue* getPropertyValue(const std::string& name) const;
    // A value as text: text as it stands, numbers in decimal; empty when there is none.
    std::wstring getPropertyText(const std::string& name) const;

    std::map<std::string, ItemValue> values;
};

// A property of a descriptive set: kept in the table under its name. Texts
// hold 1 to 1024 bytes (ISO 7-bit) or 2048 bytes (UTF-16); other lengths are
// refused and leave the property unread. `tail` follows 06.0E.2B.34.01.01.01.
SetItem propertyItem(uint16_t tag, const char* tail, const char* name, ItemType type);

} // namespace Corvidane::MXF
