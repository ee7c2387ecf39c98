#include "support/MxfMetadataFile.h"

#include "support/TempDir.h"
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
