#include "mxf/model/OperationalPattern.h"

#include "frame/StringException.h"

namespace Corvidane::MXF {

CMxfOperationalPattern& CMxfOperationalPattern::operator=(const CMxfOperationalPattern& other)
{
    if (this == &other)
        throw string_exception("self assignment in CMxfOperationalPattern::assign");
    m_ul = other.m_ul;
    return *this;
}

bool CMxfOperationalPattern::SetFromData(const unsigned char* p)
{
    static const unsigned char head[7] = {0x06, 0x0E, 0x2B, 0x34, 0x04, 0x01, 0x01};
    static const unsigned char tail[4] = {0x0D, 0x01, 0x02, 0x01};
    if (!p || std::memcmp(p, head, 7) != 0 || std::memcmp(p + 8, tail, 4) != 0)
        return false;
    m_ul = MXFUL::fromData(p);
    return true;
}

bool CMxfOperationalPattern::isOp1a(const unsigned char* p)
{
    CMxfOperationalPattern pattern;
    return pattern.SetFromData(p) && pattern.isOp1a();
}

bool CMxfOperationalPattern::isOpAtom(const unsigned char* p)
{
    CMxfOperationalPattern pattern;
    return pattern.SetFromData(p) && pattern.isOpAtom();
}

void CMxfOperationalPattern::setOP1A() { m_ul = labelFromText("06.0E.2B.34.04.01.01.01.0D.01.02.01.01.01.09.00"); }
void CMxfOperationalPattern::setOPAtom() { m_ul = labelFromText("06.0E.2B.34.04.01.01.02.0D.01.02.01.10.02.00.00"); }

} // namespace Corvidane::MXF
