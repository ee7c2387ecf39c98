#pragma once
#include "mxf/model/Labels.h"

namespace Corvidane::MXF {

// Which structural set a key names. The keys are 06.0E.2B.34.02.53.01.xx
// 0D.01.01.01.01.01.yy.00; `yy` gives the set.
class CMxf_SM_SetID {
public:
    enum { NotStructural = -1, Unlisted = 40 };

    CMxf_SM_SetID() = default;
    explicit CMxf_SM_SetID(const MXFUL& key);
    explicit CMxf_SM_SetID(long id) : m_id(id) { create(id); }

    long get() const { return m_id; }
    // A set the table lists: not for other keys, nor for unlisted sets of the class.
    bool IsSetKnown() const { return m_id >= 0 && m_id < Unlisted; }
    // Takes the identifier and its key, for the sets the writer makes (up to
    // 31, and 37 and 38); false for others.
    bool create(long id);
    const MXFUL& key() const { return m_key; }
    // The set's class name in the SMPTE registers; null for a set the table doesn't name.
    const char* className() const;

private:
    long m_id = NotStructural;
    MXFUL m_key;
};

} // namespace Corvidane::MXF
