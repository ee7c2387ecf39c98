#pragma once
#include "mxf/model/Labels.h"

namespace Corvidane::MXF {

// The operational pattern label of a partition pack: 06.0E.2B.34.04.01.01.xx.0D.01.02.01
// followed by the pattern's four bytes.
class CMxfOperationalPattern {
public:
    CMxfOperationalPattern() = default;
    CMxfOperationalPattern(const CMxfOperationalPattern& other) = default;
    CMxfOperationalPattern& operator=(const CMxfOperationalPattern& other);

    // Takes the label when it is an operational pattern; false leaves the old one.
    bool SetFromData(const unsigned char* p);
    const MXFUL& label() const { return m_ul; }

    bool isOp1a() const { return m_ul[12] == 1 && m_ul[13] == 1; }
    bool isOpAtom() const { return m_ul[12] == 0x10; }
    bool CanStream() const { return (m_ul[14] & 0x04) == 0; }
    bool IsMultiTrack() const { return (m_ul[14] & 0x08) != 0; }
    bool ExternalEssence() const { return (m_ul[14] & 0x02) != 0; }
    static bool isOp1a(const unsigned char* p);
    static bool isOpAtom(const unsigned char* p);

    void setOP1A();
    void setOPAtom();

private:
    MXFUL m_ul;
};

} // namespace Corvidane::MXF
