#pragma once
#include "mxf/model/Labels.h"

namespace Corvidane::MXF {

// Which descriptive set a key names: keys 06.0E.2B.34.02.53.01.xx
// 0D.01.04.01.cc.yy.zz.00 of one class `cc` (01 for DMS-1, 04 for the
// text-based sets); the identifier is yy * 256 + zz.
class DescriptiveSetID {
public:
    enum { OtherClass = -1, Unlisted = 516 };

    long get() const { return m_id; }
    // A set the class's table lists.
    bool isSetKnown() const { return m_id != OtherClass && m_id != Unlisted; }
    // Takes a listed identifier and its key; false for others.
    bool create(long id);
    const MXFUL& key() const { return m_key; }
    // The set's name in the registers; null for a set the table doesn't name.
    const char* className() const;

    struct Row {
        long id;
        const char* className;  // null where the registers' name isn't used by this system
    };

protected:
    DescriptiveSetID(unsigned char classByte, const Row* rows, size_t count);
    void fromKey(const MXFUL& key);

private:
    unsigned char m_class;
    const Row* m_rows;
    size_t m_count;
    long m_id = OtherClass;
    MXFUL m_key;
};

// DMS-1 sets: frameworks and the sets they gather.
class CMxf_DM_SetID : public DescriptiveSetID {
public:
    CMxf_DM_SetID();
    explicit CMxf_DM_SetID(const MXFUL& key);
    explicit CMxf_DM_SetID(long id);
};

// Text-based sets: the framework and the sets that carry the text.
class CMxf_TBDM_SetID : public DescriptiveSetID {
public:
    CMxf_TBDM_SetID();
    explicit CMxf_TBDM_SetID(const MXFUL& key);
    explicit CMxf_TBDM_SetID(long id);
};

} // namespace Corvidane::MXF
