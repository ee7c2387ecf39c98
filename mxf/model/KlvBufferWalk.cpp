#include "mxf/model/KlvBufferWalk.h"

namespace Corvidane::MXF {

bool CKlvBufferWalk::next(CKlvItem& item)
{
    // Key and the longest BER length (9 bytes) must be there before they are read.
    const uint64_t left = m_size - m_offset;
    if (!m_data || m_offset >= m_size || left < 17)
        return false;
    unsigned char* p = m_data + m_offset;
    if ((p[16] & 0x80) && left < 17 + uint64_t(p[16] & 0x3F))
        return false;
    unsigned char* at = p;
    if (!item.setKLV(&at, true))
        return false;
    const uint64_t head = 16 + uint64_t(item.lengthLength);
    if (item.length > left - head)
        return false;
    m_itemOffset = m_offset;
    m_offset += head + item.length;
    return true;
}

} // namespace Corvidane::MXF
