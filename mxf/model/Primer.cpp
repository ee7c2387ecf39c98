#include "mxf/model/Primer.h"

#include <algorithm>
#include <string>

#include "frame/BigEndian.h"

namespace Corvidane::MXF {

namespace {

// 06.0E.2B.34.01.01.01 and the rest of a label, from byte 7 on.
MXF_TAG2UL preset(uint16_t tag, const char* tail)
{
    std::string text = std::string("06.0E.2B.34.01.01.01.") + tail;
    return MXF_TAG2UL{tag, labelFromText(text.c_str())};
}

} // namespace

bool CMxf_SM_Primer::load(const CKlvItem& item)
{
    loadPresetsB();
    if (!item.value || item.length < 4)
        return false;
    const int32_t count = static_cast<int32_t>(readBE32(item.value));
    if (count == 0)
        return false;
    if (count < 0)
        return true;
    // The item size at offset 4 is not looked at: records lie 18 bytes apart.
    for (uint64_t i = 0, at = 8; i < uint64_t(count) && at + 18 <= item.length; ++i, at += 18)
        append(readBE16(item.value + at), MXFUL::fromData(item.value + at + 2));
    return true;
}

const MXF_TAG2UL* CMxf_SM_Primer::FindTag(uint16_t tag) const
{
    auto it = std::find_if(m_list.begin(), m_list.end(), [tag](const MXF_TAG2UL& e) { return e.tag == tag; });
    return it == m_list.end() ? nullptr : &*it;
}

const MXF_TAG2UL* CMxf_SM_Primer::FindTag(const unsigned char* wireTag) const
{
    return wireTag ? FindTag(readBE16(wireTag)) : nullptr;
}

CMxf_SM_Primer::List::const_iterator CMxf_SM_Primer::find(const MXFUL& ul) const
{
    return std::find_if(m_list.begin(), m_list.end(), [&ul](const MXF_TAG2UL& e) { return e.ul == ul; });
}

const MXF_TAG2UL* CMxf_SM_Primer::FindTag(const MXFUL& ul) const
{
    auto it = find(ul);
    return it == m_list.end() ? nullptr : &*it;
}

bool CMxf_SM_Primer::erase(const MXFUL& ul)
{
    auto it = find(ul);
    if (it == m_list.end())
        return false;
    m_list.erase(it);
    return true;
}

size_t CMxf_SM_Primer::addList(const List& list)
{
    size_t added = 0;
    for (const MXF_TAG2UL& entry : list)
        if (!FindTag(entry.tag)) {
            m_list.push_back(entry);
            ++added;
        }
    return added;
}

void CMxf_SM_Primer::loadPresetsB() { addList({preset(0x0248, "02.01.07.01.02.01.00.00.00")}); }

void CMxf_SM_Primer::loadPresetsAaf()
{
    addList({
        preset(0x0800, "02.06.01.01.07.01.00.00.00"), preset(0x0900, "02.06.01.01.07.02.00.00.00"),
        preset(0x0A00, "02.06.01.01.07.03.00.00.00"), preset(0x0C00, "02.03.01.02.02.01.00.00.00"),
        preset(0x0B00, "02.06.01.01.07.04.00.00.00"), preset(0x0D00, "02.06.01.01.07.05.00.00.00"),
        preset(0x0E00, "02.06.01.01.07.06.00.00.00"), preset(0x1100, "02.06.01.01.07.09.00.00.00"),
        preset(0x1300, "02.03.01.02.03.0B.00.00.00"), preset(0x1200, "02.06.01.01.07.0A.00.00.00"),
        preset(0x1500, "02.03.01.02.03.04.00.00.00"), preset(0x1600, "02.03.01.02.03.05.00.00.00"),
        preset(0x1400, "02.06.01.01.07.0B.00.00.00"), preset(0x1800, "02.03.01.02.03.03.00.00.00"),
        preset(0x1700, "02.06.01.01.07.0C.00.00.00"), preset(0x1900, "02.06.01.01.07.0D.00.00.00"),
        preset(0x1A00, "02.06.01.01.07.0E.00.00.00"), preset(0x1D00, "02.03.01.02.03.06.00.00.00"),
        preset(0x1C00, "02.06.01.01.07.11.00.00.00"), preset(0x1E00, "02.06.01.01.07.12.00.00.00"),
        preset(0x1F00, "02.03.01.02.03.07.00.00.00"), preset(0x2000, "02.03.01.02.03.08.00.00.00"),
        preset(0x0600, "02.03.02.04.01.02.01.00.00"), preset(0x0500, "02.06.01.01.07.13.00.00.00"),
        preset(0x0700, "02.06.01.01.07.14.01.00.00"), preset(0x0326, "02.06.01.01.04.05.03.00.00"),
        preset(0x0426, "02.06.01.01.04.05.04.00.00"), preset(0x0526, "02.06.01.01.04.05.05.00.00"),
        preset(0x0626, "02.06.01.01.04.05.06.00.00"), preset(0x0726, "02.06.01.01.04.05.07.00.00"),
        preset(0x0826, "02.06.01.01.04.05.08.00.00"), preset(0x0926, "02.06.01.01.04.05.09.00.00"),
        preset(0x0A26, "07.06.01.01.04.05.0A.00.00"), preset(0x0B26, "07.06.01.01.04.05.0B.00.00"),
        preset(0x031B, "02.03.02.03.01.02.01.00.00"), preset(0x021B, "02.01.07.01.02.03.01.00.00"),
        preset(0x011B, "02.01.01.15.03.00.00.00.00"),
    });
}

} // namespace Corvidane::MXF
