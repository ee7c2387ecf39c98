#include "mxf/model/SystemItem.h"

#include "frame/BigEndian.h"
#include "mxf/model/EssenceElement.h"

namespace Corvidane::MXF {

namespace {

// Bitmap, rate, type, channel handle, continuity count and the container label.
constexpr uint64_t fieldsSize = 1 + 1 + 1 + 2 + 2 + 16;

} // namespace

bool CMxf_GC_SystemItem::IsULSystemItem(const MXFUL& ul)
{
    return CMxf_GC_EssenceElement::IsULCPSystemElement(ul) && ul[13] == 0x01 && ul[14] == 0x01 && ul[15] == 0x00;
}

bool CMxf_GC_SystemItem::SetKLV(CKlvItem& item)
{
    if (!IsULSystemItem(item.key))
        return false;
    Reset();
    key = item.key;
    length = item.length;
    lengthLength = item.lengthLength;
    SetValue(item.value, false);
    return SetElementsFromValue();
}

bool CMxf_GC_SystemItem::SetElementsFromValue()
{
    if (!value || length < fieldsSize)
        return false;
    systemMetadataBitmap = value[0];
    contentPackageRate = value[1];
    contentPackageType = value[2];
    channelHandle = readBE16(value + 3);
    continuityCount = readBE16(value + 5);
    essenceContainer = MXFUL::fromData(value + 7);
    return true;
}

} // namespace Corvidane::MXF
