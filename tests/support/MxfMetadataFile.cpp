#include "support/MxfMetadataFile.h"

#include <algorithm>

#include "support/TempDir.h"
#include "mxf/model/KlvLocalSet.h"
#include "mxf/model/KlvBufferWalk.h"
#include "mxf/model/PartitionPack.h"

using namespace Corvidane::MXF;

MxfMetadataFile::MxfMetadataFile(const std::string& path)
{
    std::string text = readFile(path);
    bytes.assign(text.begin(), text.end());
    CKlvBufferWalk walk(bytes.data(), bytes.size());
    CKlvItem item;
    int partitions = 0;
    while (walk.next(item)) {
        if (CMxfPartitionPack::IsULPartitionPack(item.key) && ++partitions > 1)
            break;
        std::string name;
        if (getULDescription(item.key, name) && name == "MXFUL_PRIMER")
            primer.load(item);
        else if (item.key[4] == 0x02 && item.key[5] == 0x53 && item.key[8] == 0x0D && item.key[10] == 0x01 &&
                 item.key[12] == 0x01)
            sets.push_back(Set{item, walk.itemOffset()});
    }
}

std::vector<const MxfMetadataFile::Set*> MxfMetadataFile::setsOf(unsigned char classByte) const
{
    std::vector<const Set*> found;
    for (const Set& set : sets)
        if (set.item.key[14] == classByte)
            found.push_back(&set);
    return found;
}

std::vector<unsigned char> rewriteSet(const CMxf_SM_BaseSet& set, const SetDescription& description,
                                      const CKlvItem& original, const CMxf_SM_Primer& primer)
{
    std::vector<MXF_TAG2UL> items;
    CKlvLocalSet walk(original);
    do {
        if (const MXF_TAG2UL* entry = primer.FindTag(static_cast<uint16_t>(walk.getTag())))
            items.push_back(*entry);
    } while (walk.moveNext() == OK);
    std::vector<unsigned char> out(original.length + 64);
    int64_t written = description.write(set, original.key, items, out.data(), out.size());
    // Key, then the 4-byte BER length this system writes.
    if (written < 20 || out[16] != 0x83)
        return {};
    return std::vector<unsigned char>(out.begin() + 20, out.begin() + written);
}

void replaceEverywhere(std::vector<unsigned char>& bytes, const CKlvItem& set, const std::vector<unsigned char>& value)
{
    const std::vector<unsigned char> old(set.value, set.value + set.length);
    for (auto at = std::search(bytes.begin(), bytes.end(), old.begin(), old.end()); at != bytes.end();
         at = std::search(at + old.size(), bytes.end(), old.begin(), old.end()))
        std::copy(value.begin(), value.end(), at);
}
