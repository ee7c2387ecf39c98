#include "mxf/model/KlvBufferWalk.h"

namespace Corvidane::MXF {

bool klvHeaderAt(unsigned char* data, uint64_t size, uint64_t at, CKlvItem& item)
{
    // Key and the BER length's first byte must be there before they are
    // read, and then the bytes that first byte announces.
    if (!data || at >= size || size - at < 17)
        return false;
    unsigned char* p = data + at;
    if ((p[16] & 0x80) && size - at < 17 + uint64_t(p[16] & 0x3F))
        return false;
    return item.setKLV(&p, true);
}

bool CKlvBufferWalk::next(CKlvItem& item)
{
    if (!klvHeaderAt(m_data, m_size, m_offset, item))
        return false;
    const uint64_t left = m_size - m_offset;
    const uint64_t head = 16 + uint64_t(item.lengthLength);
    if (item.length > left - head)
        return false;
    m_itemOffset = m_offset;
    m_offset += head + item.length;
    return true;
}

} // namespace Corvidane::MXF
