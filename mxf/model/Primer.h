#pragma once
#include <cstdint>
#include <vector>

#include "mxf/model/KlvItem.h"

namespace Corvidane::MXF {

// The primer pack: which label each 2-byte local tag of the file's sets
// stands for. Tags are held as host 16-bit numbers; the first entry found wins.
class CMxf_SM_Primer {
public:
    using List = std::vector<MXF_TAG2UL>;

    // The file's primer after the one preset; false for a count of 0.
    bool load(const CKlvItem& item);

    const MXF_TAG2UL* FindTag(uint16_t tag) const;
    // Two big-endian tag bytes as they stand in a set.
    const MXF_TAG2UL* FindTag(const unsigned char* wireTag) const;
    const MXF_TAG2UL* FindTag(const MXFUL& ul) const;
    List::const_iterator find(const MXFUL& ul) const;
    const MXF_TAG2UL* FindTagByIndex(size_t i) const { return i < m_list.size() ? &m_list[i] : nullptr; }
    const MXF_TAG2UL* getAt(size_t i) const { return FindTagByIndex(i); }
    size_t getCount() const { return m_list.size(); }
    List::const_iterator end() const { return m_list.end(); }
    void clear() { m_list.clear(); }
    bool erase(const MXFUL& ul);

    void append(const MXF_TAG2UL* entry)
    {
        if (entry)
            m_list.push_back(*entry);
    }
    void append(uint16_t tag, const MXFUL& ul) { m_list.push_back(MXF_TAG2UL{tag, ul}); }
    // Adds the entries whose tag isn't present yet; the count added.
    size_t addList(const List& list);
    // The track name row, with the tag's bytes swapped as the list holds it.
    void loadPresetsB();
    // The AAF rows the writer emits, tags swapped in the same way.
    void loadPresetsAaf();

private:
    List m_list;
};

} // namespace Corvidane::MXF
