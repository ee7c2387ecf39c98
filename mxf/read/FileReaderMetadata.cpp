#include <algorithm>
#include <cstring>
#include <unordered_map>

#include "frame/Text.h"
#include "mxf/model/DescriptiveMetadata.h"
#include "mxf/model/DescriptorReaders.h"
#include "mxf/model/KlvBufferWalk.h"
#include "mxf/model/MxfResults.h"
#include "mxf/model/SetID.h"
#include "mxf/read/FileReader.h"
#include "mxf/read/IndexSegmentLoading.h"

// Reading the header metadata into the model and tying its sets together.
namespace Corvidane::MXF {

namespace {

const MXFUL primerKey = labelFromText("06.0E.2B.34.02.05.01.01.0D.01.02.01.01.05.01.00");
const MXFUL metadataDictionaryKey = labelFromText("06.0E.2B.34.02.53.01.01.0D.01.01.01.02.25.00.00");
const MXFUL classDefinitionKey = labelFromText("06.0E.2B.34.02.53.01.01.0D.01.01.01.02.01.00.00");
const MXFUL propertyDefinitionKey = labelFromText("06.0E.2B.34.02.53.01.01.0D.01.01.01.02.02.00.00");
// Identifiers of AAF objects that may follow the metadata of an Avid file.
const MXFUL aafMetaDictionary = labelFromText("96.13.B3.8A.87.34.87.46.F1.02.96.F0.56.E0.4D.2A");
const MXFUL aafHeader = labelFromText("80.53.08.00.36.21.08.04.B3.B3.98.A5.1C.90.11.D4");
// How far past a filler the next item is looked for.
constexpr size_t fillerSearch = 2048;

bool isEmbeddedXml(const MXFUL& key)
{
    static const MXFUL xml = labelFromText("06.0E.2B.34.01.01.01.05.03.01.02.20.01.00.00.00");
    if (std::memcmp(key.bytes, xml.bytes, 16) == 0)
        return true;
    MXFUL other = key;
    other[13] = 0x01;
    return (key[13] == 1 || key[13] == 2 || key[13] == 3) && std::memcmp(other.bytes, xml.bytes, 16) == 0;
}

std::string guidKey(const GUID& guid) { return std::string(reinterpret_cast<const char*>(&guid), sizeof guid); }

} // namespace

// The sets of a metadata walk before they are tied to their packages.
struct CMxf_FileReader::LoadedSets {
    std::vector<CMxf_SM_Package> materialPackages, sourcePackages;
    std::vector<CMxf_SM_Track> tracks;
    std::vector<CMxf_SM_Sequence> sequences;
    std::vector<CMxf_SM_SourceClip> clips;
    std::vector<CDescriptor> descriptors;
};

CvResult CMxf_FileReader::SetPrimer(const CKlvItem& item)
{
    m_primer.clear();
    if (!m_primer.load(item))
        return fail(MxfEmptyPrimer, L"No items in the primer.");
    return OK;
}

CvResult CMxf_FileReader::loadMetadata()
{
    if (!file)
        return fail(InvalidState, L"No open file.");
    const uint64_t oldSize = m_fileSize;
    updateFileSize();
    const bool grew = m_fileSize > oldSize && !m_segments.empty();
    if (m_currentSP >= 0 && checkStreamIndex(0) && findFirstTrackOf(StreamVideo) >= 0 &&
        m_partitions.last()->getType() != PartitionFooter) {
        if (findPartitions_NoRIP(true) != OK)
            return fail(MxfNoFooter, L"No footer.");
    }

    // The footer's copy of the metadata is the final one.
    uint64_t offset = 0, size = 0;
    const CMxfPartitionPack& last = *m_partitions.last();
    if (m_partitions.getNumPartitions() > 1 && last.headerByteCount) {
        const uint64_t lastLength = 16 + last.lengthLength + last.length;
        if (m_partitions.getHeader_FooterPartition())
            offset = m_partitions.getHeader_FooterPartition() + m_partitions.runIn + lastLength;
        else if (last.getType() == PartitionFooter)
            offset = m_partitions.runIn + last.thisPartition + lastLength;
        size = last.headerByteCount;
    }
    if (!size && m_partitions.doesHeaderHaveMetaData()) {
        offset = m_partitions.runIn + m_partitions.getHeader_OverallLength();
        size = m_partitions.getHeader_HeaderByteCount();
    }
    if (!size)
        return fail(MxfNoFooter, L"No open file.");
    if (offset >= m_fileSize || size > m_fileSize - offset)
        return fail(InvalidArg, L"Argument was invalid.");
    std::vector<unsigned char> bytes;
    CvResult result = readAt(offset, size_t(size), bytes);
    if (result != OK)
        return fail(result, L"Argument was invalid.");
    if (bytes.size() < 16 || !hasSmptePrefix(bytes.data()))
        return fail(MxfNoLabel, L"loadMetadata, No ul at start of data.");
    CKlvItem item;
    if (!klvHeaderAt(bytes.data(), bytes.size(), 0, item))
        return fail(MxfBadKlv, L"Argument was invalid.");
    if (isFiller(item.key)) {
        // The pack didn't say that a filler comes first: read as much again
        // from behind it.
        const uint64_t skip = 16 + item.lengthLength + item.length;
        if (item.length > m_fileSize || offset + skip >= m_fileSize)
            return fail(InvalidArg, L"Argument was invalid.");
        offset += skip;
        size = std::min<uint64_t>(size, m_fileSize - offset);
        if ((result = readAt(offset, size_t(size), bytes)) != OK)
            return fail(result, L"Argument was invalid.");
        if (!klvHeaderAt(bytes.data(), bytes.size(), 0, item))
            return fail(MxfBadKlv, L"Argument was invalid.");
    }
    if (item.key != primerKey || item.length > bytes.size() - 16 - item.lengthLength)
        return fail(MxfNoPrimer, L"Failed to find primer.");
    metadataClose();
    if ((result = SetPrimer(item)) != OK)
        return result;

    LoadedSets sets;
    const size_t primerEnd = 16 + item.lengthLength + size_t(item.length);
    if ((result = walkMetadata(bytes.data() + primerEnd, bytes.size() - primerEnd, sets)) != OK)
        return result;
    if ((result = tieGraph(sets)) != OK)
        return result;
    if (grew)
        return isSuccess(result = loadIndexTable()) ? OK : result;
    if (m_sourcePackages.size() == 1)
        m_currentSP = 0;
    else
        chooseSourcePackage();
    if (m_currentSP < 0)
        return fail(Fail, L"Failed to set source package");
    return OK;
}

CvResult CMxf_FileReader::walkMetadata(unsigned char* data, size_t size, LoadedSets& sets)
{
    SetReadContext context(m_primer);
    context.shortReferences = m_partitions.header()->majorVersion == 1 && m_partitions.header()->minorVersion < 2;
    // Durations written as unknown are measured while the sets are read, before
    // the index is loaded: the segments are loaded for it first, quietly, as a
    // failure only leaves the duration unknown.
    context.lengthFromEssence = [this] {
        if (m_segments.empty() && file) {
            Base quiet;
            if (!isSuccess(loadIndexSegments(*file, m_partitions, m_segments, quiet)))
                return int64_t(-1);
        }
        return m_locator.calculateLengthFromEssence();
    };
    bool sourcePackageRead = false;
    size_t at = 0;
    while (at < size) {
        CKlvItem item;
        if (size - at < 17)
            return OK;
        if (!hasSmptePrefix(data + at) || !klvHeaderAt(data, size, at, item)) {
            // Two AAF objects of an Avid file may follow the metadata; they
            // are taken whatever their first bytes, anything else ends it.
            const MXFUL id = MXFUL::fromData(data + at);
            unsigned char* p = data + at;
            if (data[at] == 0 || (id != aafMetaDictionary && id != aafHeader) ||
                ((p[16] & 0x80) && size - at < 17 + uint64_t(p[16] & 0x3F)) || !item.setKLV(&p, false))
                return OK;
        }
        const uint64_t head = 16 + item.lengthLength;
        if (item.length > size - at - head)
            return OK;
        const size_t next = at + size_t(head + item.length);
        if (isFiller(item.key)) {
            if (sourcePackageRead)
                return OK;
            size_t scan = next;
            const size_t end = std::min(size, next + fillerSearch);
            while (scan + 4 <= end && !hasSmptePrefix(data + scan))
                ++scan;
            if (scan + 4 > end) {
                if (next >= size)
                    return OK;
                return fail(Fail, L"Failed to find valid KLV item after fill.");
            }
            at = scan;
            continue;
        }
        at = next;
        // Avid writes its dictionary ahead of the preface: it and its
        // definitions are passed over, and the sets behind them still read.
        if (item.key == metadataDictionaryKey || item.key == classDefinitionKey ||
            item.key == propertyDefinitionKey || isKeyTypeDefinition(item.key))
            continue;
        if (isEmbeddedXml(item.key)) {
            m_embeddedXmlKey = item.key;
            m_embeddedXml.assign(item.value, item.value + item.length);
            continue;
        }
        const CMxf_SM_SetID id(item.key);
        CKlvLocalSet items(item);
        context.errorText.clear();
        // A set that fails to read is dropped; the walk goes on.
        switch (id.get()) {
        case 0:
            readPreface(items, m_preface, context);
            break;
        case 1:
            readIdentification(items, m_preface, context);
            break;
        case 2:
            readContentStorage(items, m_preface, context);
            break;
        case 3:
            readEssenceContainerData(items, m_preface.contentStorage, m_essenceContainerData, context);
            break;
        case 4:
        case 5: {
            CMxf_SM_Package package;
            if (succeeded(readPackage(items, package, context))) {
                (id.get() == 4 ? sets.materialPackages : sets.sourcePackages).push_back(package);
                sourcePackageRead |= id.get() == 5;
            }
            break;
        }
        case 6:
        case 7:
        case 8: {
            CMxf_SM_Track track;
            if (succeeded(readTrack(items, track, context)))
                sets.tracks.push_back(track);
            break;
        }
        case 9: {
            CMxf_SM_Sequence sequence;
            if (succeeded(readSequence(items, sequence, context)))
                sets.sequences.push_back(sequence);
            break;
        }
        case 10:
        case 11: {
            CMxf_SM_SourceClip clip;
            if (succeeded(id.get() == 10 ? readSourceClip(items, clip, context)
                                         : readTimecodeComponent(items, clip, context)))
                sets.clips.push_back(clip);
            break;
        }
        case 31: {
            CategorizedComment comment;
            if (succeeded(readCategorizedComment(items, comment, context)))
                m_comments.push_back(comment);
            break;
        }
        case -1:
            // Descriptive metadata: DMS-1 or text-based sets give their values.
            if (!dms1ProcessSet(item, m_primer, m_metadata))
                textBasedDmsProcessSet(item, m_primer, m_metadata);
            break;
        default: {
            context.repeatedChannelCountIsBits = getFileManufacturer() == ManufacturerSony;
            CDescriptor descriptor;
            if (succeeded(readDescriptor(items, id, &descriptor, context)) && descriptor.type != 0)
                sets.descriptors.push_back(descriptor);
            break;
        }
        }
    }
    return OK;
}

CvResult CMxf_FileReader::tieGraph(LoadedSets& sets)
{
    commentsToMetadata(m_comments, m_metadata);
    for (bool material : {true, false})
        for (CMxf_SM_Package& package : material ? sets.materialPackages : sets.sourcePackages) {
            addCCComments(package, m_comments);
            CvResult result = addSourcePackage(material, package);
            if (!isSuccess(result))
                return result;
        }

    // Descriptors gathered by a multiple descriptor take the slots of the
    // package that refers to it.
    std::vector<CDescriptor> multiples;
    auto split = std::stable_partition(sets.descriptors.begin(), sets.descriptors.end(),
                                       [](const CDescriptor& d) { return d.type != DescriptorType<CMxf_SM_DescriptorMutipleSet>::value; });
    multiples.assign(split, sets.descriptors.end());
    sets.descriptors.erase(split, sets.descriptors.end());
    for (const CDescriptor& multiple : multiples)
        for (CMxf_SM_Package& package : m_sourcePackages)
            if (!package.packageDescriptors.empty() &&
                package.packageDescriptors.front().instanceUUID == multiple.get_InstanceUUID()) {
                const std::vector<GUID>& subs = multiple.descriptor->subDescriptorUIDs;
                package.packageDescriptors.assign(subs.size(), PACKAGE_DESCRIPTOR());
                for (size_t i = 0; i < subs.size(); ++i)
                    package.packageDescriptors[i].instanceUUID = subs[i];
            }
    std::unordered_map<std::string, PACKAGE_DESCRIPTOR*> descriptorSlots;
    for (CMxf_SM_Package& package : m_sourcePackages)
        for (PACKAGE_DESCRIPTOR& slot : package.packageDescriptors)
            descriptorSlots.emplace(guidKey(slot.instanceUUID), &slot);
    bool orphans = false;
    for (const CDescriptor& descriptor : sets.descriptors) {
        auto slot = descriptorSlots.find(guidKey(descriptor.get_InstanceUUID()));
        if (slot == descriptorSlots.end())
            return fail(MxfNoDescriptor, L"Descriptor_Sound_Wave failed to find descriptor.");
        if (!descriptor.toPACKAGE_DESCRIPTOR(*slot->second))
            orphans = true;
    }
    if (orphans)
        setLastError(Fail, L"There are orphaned descriptors.");

    // Tracks first, then sequences, then clips: placing a track replaces
    // its whole sequence.
    std::unordered_map<std::string, CMxf_SM_Track*> trackSlots;
    for (auto* packages : {&m_materialPackages, &m_sourcePackages})
        for (CMxf_SM_Package& package : *packages)
            for (CMxf_SM_Track& slot : package.tracks)
                trackSlots.emplace(guidKey(slot.instanceUUID), &slot);
    for (const CMxf_SM_Track& track : sets.tracks) {
        auto slot = trackSlots.find(guidKey(track.instanceUUID));
        if (slot != trackSlots.end())
            *slot->second = track;
    }
    std::unordered_map<std::string, CMxf_SM_Track*> bySequence;
    for (auto& [key, track] : trackSlots)
        bySequence.emplace(guidKey(track->sequence.instanceUUID), track);
    for (const CMxf_SM_Sequence& sequence : sets.sequences) {
        auto track = bySequence.find(guidKey(sequence.instanceUUID));
        if (track != bySequence.end())
            track->second->sequence = sequence;
    }
    std::unordered_map<std::string, CMxf_SM_SourceClip*> clipSlots;
    for (auto* packages : {&m_materialPackages, &m_sourcePackages})
        for (CMxf_SM_Package& package : *packages)
            for (CMxf_SM_Track& track : package.tracks)
                for (CMxf_SM_SourceClip& slot : track.sequence.sourceClips)
                    clipSlots.emplace(guidKey(slot.instanceUUID), &slot);
    for (const CMxf_SM_SourceClip& clip : sets.clips) {
        auto slot = clipSlots.find(guidKey(clip.instanceUUID));
        if (slot != clipSlots.end())
            *slot->second = clip;
    }

    if (m_sourcePackages.empty())
        return fail(Fail, L"No source packages");
    ensureAvidTimecodeTrack(sets.clips);
    extractMetadata();
    const CMxf_SM_Package* material = getCurrentMP();
    if (!material)
        return fail(Fail, L"No current material package");
    if (material->tracks.empty())
        return fail(Fail, L"No tracks in current material package");
    if (material->tracks.front().sequence.sourceClips.empty())
        return fail(Fail, L"No source clips in first track in current material package");
    return OK;
}

} // namespace Corvidane::MXF
