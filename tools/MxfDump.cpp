#include "tools/MxfDump.h"

#include <cstdio>
#include <map>
#include <memory>
#include <set>
#include <vector>

#include "host/Json.h"
#include "mxf/model/KlvBufferWalk.h"
#include "mxf/model/KlvLocalSet.h"
#include "mxf/model/PartitionPack.h"
#include "mxf/model/Primer.h"
#include "mxf/model/SetCatalogue.h"

using namespace Corvidane;
using namespace Corvidane::MXF;

namespace {

// Partition packs and primers are small; a larger one is taken as damage.
constexpr uint64_t largestPack = 1 << 20;
// The header partition pack is looked for in the first bytes only (run-in).
constexpr uint64_t runInWindow = 0x10000;

std::string labelText(const MXFUL& ul) { return describeItem(ItemType::Label, ItemBytes{ul.bytes, 16, 16}); }

std::string hex16(uint16_t n)
{
    char text[8];
    std::snprintf(text, sizeof text, "%04x", n);
    return text;
}

struct Property {
    uint16_t tag = 0;
    MXFUL label;
    const SetItem* item = nullptr;  // null: unknown to the model
    uint64_t length = 0;
    std::string value;
    std::vector<std::string> references;
};

struct MetadataSet {
    uint64_t offset = 0;
    uint64_t size = 0;  // key, length and value
    MXFUL key;
    const char* className = nullptr;  // null: unknown set
    std::string instance;
    std::vector<Property> properties;
};

struct Partition {
    uint64_t offset = 0;
    CMxfPartitionPack pack;
    size_t primerEntries = 0;
    uint64_t primerSize = 0;
    std::vector<MetadataSet> sets;
    std::string problem;
};

class File {
public:
    explicit File(const std::string& path) : m_file(std::fopen(path.c_str(), "rb"))
    {
        if (m_file && std::fseek(m_file, 0, SEEK_END) == 0)
            m_size = uint64_t(ftello(m_file));
    }
    ~File()
    {
        if (m_file)
            std::fclose(m_file);
    }
    bool isOpen() const { return m_file != nullptr; }
    uint64_t size() const { return m_size; }
    // Up to `n` bytes at `offset`; fewer at the end of the file.
    std::vector<unsigned char> read(uint64_t offset, uint64_t n) const
    {
        if (offset >= m_size)
            return {};
        std::vector<unsigned char> bytes(std::min(n, m_size - offset));
        if (fseeko(m_file, off_t(offset), SEEK_SET) != 0 ||
            std::fread(bytes.data(), 1, bytes.size(), m_file) != bytes.size())
            return {};
        return bytes;
    }

private:
    std::FILE* m_file;
    uint64_t m_size = 0;
};

MetadataSet describeSet(CKlvItem& set, uint64_t offset, const CMxf_SM_Primer& primer)
{
    MetadataSet out;
    out.offset = offset;
    out.size = 16 + set.lengthLength + set.length;
    out.key = set.key;
    CMxf_SM_SetID id(set.key);
    const bool structural = id.get() != CMxf_SM_SetID::NotStructural;
    out.className = structural ? id.className() : descriptiveSetName(set.key);
    // A set the model doesn't hold still shows what every set has.
    const SetDescription* description =
        structural ? structuralSetDescription(id) : descriptiveSetDescription(set.key);
    if (!description)
        description = &CMxf_SM_BaseSet::description();
    CKlvLocalSet items;
    if (items.start(set) != OK)
        return out;
    do {
        Property property;
        property.tag = static_cast<uint16_t>(items.getTag());
        const uint64_t length = std::min(items.getItemLength(), items.getRemaining());
        property.length = items.getItemLength();
        const ItemBytes bytes{items.getItemData(), length, items.getRemaining()};
        const MXF_TAG2UL* entry = primer.FindTag(property.tag);
        if (entry) {
            property.label = entry->ul;
            property.item = description->find(entry->ul);
        }
        property.value = describeItem(property.item ? property.item->type : ItemType::Bytes, bytes);
        if (property.item && (property.item->type == ItemType::Reference ||
                              property.item->type == ItemType::ReferenceBatch)) {
            ItemValue value;
            if (decodeItem(property.item->type, bytes, DecodeRules{true, false}, value) == DecodeStatus::Ok) {
                if (const GUID* one = std::get_if<GUID>(&value))
                    property.references.push_back(wireUuidText(*one));
                if (const auto* many = std::get_if<std::vector<GUID>>(&value))
                    for (const GUID& reference : *many)
                        property.references.push_back(wireUuidText(reference));
            }
        }
        if (property.item && std::string(property.item->name) == "InstanceUID")
            out.instance = property.value;
        out.properties.push_back(property);
    } while (items.moveNext() == OK);
    return out;
}

// The primer and sets of a partition's header metadata.
void readMetadata(const File& file, uint64_t start, Partition& partition)
{
    std::vector<unsigned char> bytes = file.read(start, partition.pack.headerByteCount);
    if (bytes.size() != partition.pack.headerByteCount) {
        partition.problem = "header metadata runs past the end of the file";
        return;
    }
    CMxf_SM_Primer primer;
    CKlvBufferWalk walk(bytes.data(), bytes.size());
    CKlvItem item;
    std::string name;
    while (walk.next(item)) {
        if (getULDescription(item.key, name) && name == "MXFUL_FILLER")
            continue;
        if (getULDescription(item.key, name) && name == "MXFUL_PRIMER") {
            primer.clear();
            primer.load(item);
            partition.primerEntries = primer.getCount() - 1;  // less the preset row
            partition.primerSize = walk.offset() - walk.itemOffset();
            continue;
        }
        partition.sets.push_back(describeSet(item, start + walk.itemOffset(), primer));
    }
    if (walk.stoppedEarly())
        partition.problem = "no whole KLV item at " + std::to_string(start + walk.offset());
}

// The item at `offset`: key and BER length from the first bytes there.
bool itemAt(const File& file, uint64_t offset, CKlvItem& item, uint64_t& headSize)
{
    std::vector<unsigned char> head = file.read(offset, 25);
    if (head.size() < 17)
        return false;
    int berSize = 0;
    if (!item.setKey(head.data(), true) || (head[16] & 0x80 && head.size() < 17 + uint64_t(head[16] & 0x3F)) ||
        !item.SetLength(head.data() + 16, &berSize))
        return false;
    headSize = 16 + uint64_t(berSize);
    return true;
}

// Where the header partition pack starts, within the run-in window.
bool findHeader(const File& file, uint64_t& offset)
{
    std::vector<unsigned char> start = file.read(0, runInWindow);
    for (size_t at = 0; at + 16 <= start.size(); ++at)
        if (CMxfPartitionPack::IsULPartitionPack(MXFUL::fromData(start.data() + at)) && start[at + 13] == 2) {
            offset = at;
            return true;
        }
    return false;
}

// Every partition, by walking the file item by item from the header pack on.
std::vector<Partition> readPartitions(const File& file, std::string& problem)
{
    std::vector<Partition> partitions;
    uint64_t offset = 0;
    if (!findHeader(file, offset)) {
        problem = "no header partition pack in the first 64 KiB";
        return partitions;
    }
    CKlvItem item;
    uint64_t headSize = 0;
    while (offset < file.size() && itemAt(file, offset, item, headSize)) {
        const uint64_t end = offset + headSize + item.length;
        if (item.length > file.size() - offset - headSize) {
            problem = "item at " + std::to_string(offset) + " runs past the end of the file";
            break;
        }
        if (CMxfPartitionPack::IsULPartitionPack(item.key) && item.length <= largestPack) {
            std::vector<unsigned char> whole = file.read(offset, headSize + item.length);
            unsigned char* at = whole.data();
            CKlvItem parsed;
            parsed.setKLV(&at, true);
            partitions.emplace_back();
            Partition& partition = partitions.back();
            partition.offset = offset;
            partition.pack.SetKLV(parsed);
            uint64_t metadata = end;
            CKlvItem next;
            uint64_t nextHead = 0;
            std::string name;
            if (itemAt(file, end, next, nextHead) && getULDescription(next.key, name) && name == "MXFUL_FILLER")
                metadata = end + nextHead + next.length;
            if (partition.pack.headerByteCount) {
                readMetadata(file, metadata, partition);
                offset = metadata + partition.pack.headerByteCount;
                continue;
            }
        }
        offset = end;
    }
    if (problem.empty() && offset < file.size())
        problem = "no KLV item at " + std::to_string(offset);
    return partitions;
}

// The package graph: from the preface down the strong references, and from
// each source clip to the package it names.
class Graph {
public:
    explicit Graph(const std::vector<MetadataSet>& sets) : m_sets(sets)
    {
        for (const MetadataSet& set : sets) {
            if (!set.instance.empty())
                m_byInstance[set.instance] = &set;
            for (const Property& property : set.properties)
                if (property.item && std::string(property.item->name) == "PackageUID")
                    m_byPackageUid[property.value] = &set;
        }
    }

    void print(const MetadataSet& set, int depth)
    {
        std::printf("%*s%s %s\n", 4 + 2 * depth, "", set.className ? set.className : "unknown", set.instance.c_str());
        if (!m_shown.insert(&set).second)
            return;
        for (const Property& property : set.properties) {
            if (!property.item)
                continue;
            const std::string name = property.item->name;
            if (name == "SourcePackageID") {
                auto named = m_byPackageUid.find(property.value);
                if (named != m_byPackageUid.end())
                    std::printf("%*s-> %s %s (package %s)\n", 6 + 2 * depth, "", named->second->className,
                                named->second->instance.c_str(), property.value.c_str());
            }
            if (name == "PrimaryPackage")
                continue;
            for (const std::string& reference : property.references) {
                auto target = m_byInstance.find(reference);
                if (target == m_byInstance.end())
                    std::printf("%*s%s %s: no such set\n", 6 + 2 * depth, "", name.c_str(), reference.c_str());
                else
                    print(*target->second, depth + 1);
            }
        }
    }

    void printFromPreface()
    {
        for (const MetadataSet& set : m_sets)
            if (set.className && std::string(set.className) == "Preface")
                print(set, 0);
    }

private:
    const std::vector<MetadataSet>& m_sets;
    std::map<std::string, const MetadataSet*> m_byInstance;
    std::map<std::string, const MetadataSet*> m_byPackageUid;
    std::set<const MetadataSet*> m_shown;
};

void printText(const std::string& path, uint64_t size, const std::vector<Partition>& partitions,
               const std::string& problem)
{
    std::printf("%s: %llu bytes, %zu partitions\n", path.c_str(), static_cast<unsigned long long>(size),
                partitions.size());
    for (const Partition& partition : partitions) {
        const CMxfPartitionPack& pack = partition.pack;
        std::printf("\n%s partition (%s) at %llu: this %llu, previous %llu, footer %llu, header bytes %llu, "
                    "index bytes %llu, body SID %u, index SID %u, KAG %u, version %u.%u\n",
                    partitionKindtoString(pack.getType()), partitionStatustoString(pack.getStatus()),
                    static_cast<unsigned long long>(partition.offset),
                    static_cast<unsigned long long>(pack.thisPartition),
                    static_cast<unsigned long long>(pack.previousPartition),
                    static_cast<unsigned long long>(pack.footerPartition),
                    static_cast<unsigned long long>(pack.headerByteCount),
                    static_cast<unsigned long long>(pack.indexByteCount), pack.bodySID, pack.indexSID, pack.kagSize,
                    pack.majorVersion, pack.minorVersion);
        std::printf("  OperationalPattern: %s\n", labelText(pack.operationalPattern.label()).c_str());
        for (const MXFUL& container : pack.essenceContainers)
            std::printf("  EssenceContainer: %s\n", labelText(container).c_str());
        if (!pack.headerByteCount)
            continue;
        std::printf("  Primer: %zu entries, %llu bytes\n", partition.primerEntries,
                    static_cast<unsigned long long>(partition.primerSize));
        for (const MetadataSet& set : partition.sets) {
            std::printf("  %s %s at %llu", set.className ? set.className : "unknown set", set.instance.c_str(),
                        static_cast<unsigned long long>(set.offset));
            if (!set.className)
                std::printf(" (key %s)", labelText(set.key).c_str());
            std::printf("\n");
            for (const Property& property : set.properties) {
                if (property.item)
                    std::printf("    %s: %s\n", property.item->name, property.value.c_str());
                else
                    std::printf("    unknown %s (tag %s, %llu bytes): %s\n", labelText(property.label).c_str(),
                                hex16(property.tag).c_str(), static_cast<unsigned long long>(property.length),
                                property.value.c_str());
            }
        }
        std::printf("  Package graph\n");
        Graph(partition.sets).printFromPreface();
        if (!partition.problem.empty())
            std::printf("  Stopped: %s\n", partition.problem.c_str());
    }
    if (!problem.empty())
        std::printf("\nStopped: %s\n", problem.c_str());
}

void printJson(const std::string& path, uint64_t size, const std::vector<Partition>& partitions,
               const std::string& problem)
{
    JSON::Builder json;
    json.add("file", path);
    json.add("size", size);
    json.startArray("partitions");
    for (const Partition& partition : partitions) {
        const CMxfPartitionPack& pack = partition.pack;
        json.startChild();
        json.add("kind", partitionKindtoString(pack.getType()));
        json.add("status", partitionStatustoString(pack.getStatus()));
        json.add("offset", partition.offset);
        json.add("this_partition", pack.thisPartition);
        json.add("previous_partition", pack.previousPartition);
        json.add("footer_partition", pack.footerPartition);
        json.add("header_byte_count", pack.headerByteCount);
        json.add("index_byte_count", pack.indexByteCount);
        json.add("body_sid", pack.bodySID);
        json.add("index_sid", pack.indexSID);
        json.add("kag_size", pack.kagSize);
        json.add("operational_pattern", labelText(pack.operationalPattern.label()));
        json.startArray("essence_containers");
        for (const MXFUL& container : pack.essenceContainers)
            json.add("", labelText(container));
        json.endArray();
        if (pack.headerByteCount) {
            json.startChild("primer");
            json.add("entries", uint64_t(partition.primerEntries));
            json.add("size", partition.primerSize);
            json.endChild();
            json.startArray("sets");
            for (const MetadataSet& set : partition.sets) {
                json.startChild();
                json.add("class", set.className ? set.className : "unknown");
                json.add("key", labelText(set.key));
                json.add("offset", set.offset);
                json.add("size", set.size);
                json.add("instance_uid", set.instance);
                json.startArray("properties");
                for (const Property& property : set.properties) {
                    json.startChild();
                    json.add("name", property.item ? property.item->name : "unknown");
                    if (property.item)
                        json.add("type", itemTypeName(property.item->type));
                    json.add("tag", hex16(property.tag));
                    json.add("label", labelText(property.label));
                    json.add("value", property.value);
                    if (!property.references.empty()) {
                        json.startArray("references");
                        for (const std::string& reference : property.references)
                            json.add("", reference);
                        json.endArray();
                    }
                    json.endChild();
                }
                json.endArray();
                json.endChild();
            }
            json.endArray();
        }
        if (!partition.problem.empty())
            json.add("problem", partition.problem);
        json.endChild();
    }
    json.endArray();
    if (!problem.empty())
        json.add("problem", problem);
    std::printf("%s\n", json.output().c_str());
}

} // namespace

int dumpMxf(const std::string& path, bool json)
{
    File file(path);
    if (!file.isOpen()) {
        std::fprintf(stderr, "cvtool: %s: can't open the file\n", path.c_str());
        return 1;
    }
    std::string problem;
    std::vector<Partition> partitions = readPartitions(file, problem);
    if (partitions.empty()) {
        std::fprintf(stderr, "cvtool: %s: %s\n", path.c_str(), problem.c_str());
        return 1;
    }
    if (json)
        printJson(path, file.size(), partitions, problem);
    else
        printText(path, file.size(), partitions, problem);
    return 0;
}
