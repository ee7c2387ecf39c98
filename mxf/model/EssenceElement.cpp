#include "mxf/model/EssenceElement.h"

namespace Corvidane::MXF {

namespace {

// 06.0E.2B.34 and the three bytes given, then the container class 0D.01.03.01.
bool isContainerKey(const MXFUL& ul, unsigned char b4, unsigned char b5, unsigned char b6)
{
    return hasSmptePrefix(ul.bytes) && ul[4] == b4 && ul[5] == b5 && ul[6] == b6 && ul[8] == 0x0D &&
           ul[9] == 0x01 && ul[10] == 0x03 && ul[11] == 0x01;
}

} // namespace

bool CMxf_GC_EssenceElement::IsULEssenceElement(const MXFUL& ul)
{
    return isContainerKey(ul, 0x01, 0x02, 0x01) &&
           ((ul[12] >= 0x05 && ul[12] <= 0x07) || (ul[12] >= 0x15 && ul[12] <= 0x18));
}

bool CMxf_GC_EssenceElement::IsULCPSystemElement(const MXFUL& ul)
{
    return isContainerKey(ul, 0x02, 0x05, 0x01) && ul[12] == 0x04;
}

bool CMxf_GC_EssenceElement::IsULPackageMetadata(const MXFUL& ul)
{
    return isContainerKey(ul, 0x02, 0x43, 0x01) && ul[12] == 0x04;
}

bool CMxf_GC_EssenceElement::isAvid(const MXFUL& ul)
{
    return hasSmptePrefix(ul.bytes) && ul[4] == 0x01 && ul[5] == 0x02 && ul[6] == 0x01 && ul[8] == 0x0E &&
           ul[11] == 0x01;
}

} // namespace Corvidane::MXF
