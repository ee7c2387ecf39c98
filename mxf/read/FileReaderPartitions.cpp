#include <algorithm>

#include "mxf/model/KlvBufferWalk.h"
#include "mxf/model/MxfResults.h"
#include "mxf/model/RipPack.h"
#include "mxf/read/FileReader.h"
#include "mxf/read/IndexSegmentLoading.h"

// Finding the partitions: through the random index, the footer and the
// chain of previous partitions, or by hopping from partition to partition.
namespace Corvidane::MXF {

namespace {

constexpr size_t probeBlock = 0x10000;
constexpr size_t footerBlock = 0x100000;
// Two pages: a body partition's pack and the index segment behind it, which
// ffmpeg writes every ten seconds (about 4 KB), come in one read.
constexpr size_t packHead = 8192;
// A key and the longest BER length this reader takes.
constexpr size_t itemHead = 25;

} // namespace

std::unique_ptr<CMxfPartitionPack> CMxf_FileReader::partitionPackAt(std::vector<unsigned char>& bytes, size_t at)
{
    CKlvItem item;
    if (!klvHeaderAt(bytes.data(), bytes.size(), at, item) || !CMxfPartitionPack::IsULPartitionPack(item.key))
        return nullptr;
    if (item.length > bytes.size() - at - 16 - item.lengthLength)
        return nullptr;
    auto pack = std::make_unique<CMxfPartitionPack>();
    if (!pack->SetKLV(item))
        return nullptr;
    pack->value = nullptr;
    return pack;
}

uint64_t CMxf_FileReader::fillerBehindPack(std::vector<unsigned char>& bytes, const CMxfPartitionPack& pack)
{
    CKlvItem filler;
    if (!klvHeaderAt(bytes.data(), bytes.size(), 16 + pack.lengthLength + pack.length, filler) ||
        !isFiller(filler.key))
        return 0;
    return 16 + filler.lengthLength + filler.length;
}

// The bytes of the partition pack at `offset` and the head of the item behind
// it: two pages, or as much more as the pack claims, up to a probe block. A
// file of a thousand body partitions is thus opened by reading 8 KiB each.
CvResult CMxf_FileReader::readPackHead(uint64_t offset, std::vector<unsigned char>& bytes)
{
    const uint64_t remaining = m_fileSize - offset;
    CvResult result = readAt(offset, size_t(std::min<uint64_t>(remaining, packHead)), bytes);
    CKlvItem pack;
    if (result != OK || !klvHeaderAt(bytes.data(), bytes.size(), 0, pack))
        return result;
    const uint64_t wanted = 16 + pack.lengthLength + pack.length + itemHead;
    if (wanted <= bytes.size() || bytes.size() >= remaining)
        return OK;
    return readAt(offset, size_t(std::min<uint64_t>({remaining, wanted, probeBlock})), bytes);
}

uint64_t CMxf_FileReader::fillerBehind(uint64_t offset)
{
    std::vector<unsigned char> head;
    readAt(offset, itemHead, head);
    CKlvItem item;
    if (!klvHeaderAt(head.data(), head.size(), 0, item) || !isFiller(item.key))
        return 0;
    return 16 + item.lengthLength + item.length;
}

CvResult CMxf_FileReader::readPartitionsFromRip(std::vector<unsigned char>& block, bool& ripGood)
{
    ripGood = false;
    const size_t size = block.size();
    if (size < 4)
        return OK;
    const uint32_t ripLength = uint32_t(block[size - 4]) << 24 | uint32_t(block[size - 3]) << 16 |
                               uint32_t(block[size - 2]) << 8 | block[size - 1];
    if (ripLength < 33 || ripLength >= size)
        return OK;
    CRipPack rip;
    if (!rip.SetKLV(block.data() + size - ripLength, ripLength) || rip.entries.size() < 2)
        return OK;
    ripGood = true;
    std::vector<std::unique_ptr<CMxfPartitionPack>> found;
    CMxfPartitionPack* demoted = nullptr;
    for (size_t i = 1; i < rip.entries.size(); ++i) {
        const uint64_t offset = rip.entries[i].byteOffset + m_partitions.runIn;
        if (offset > m_fileSize)
            continue;
        const bool nearEnd = m_fileSize - offset < probeBlock;
        std::vector<unsigned char> bytes;
        if (readPackHead(offset, bytes) != OK)
            continue;
        std::unique_ptr<CMxfPartitionPack> pack = partitionPackAt(bytes, 0);
        if (!pack)
            continue;
        if (demoted && pack->getType() == PartitionFooter) {
            demoted->set_Type(PartitionBody);
            demoted = nullptr;
        }
        // A last body partition near the end stands in for a footer that
        // was never written.
        if (nearEnd && pack->getType() != PartitionFooter && pack->bodyOffset == 0) {
            if (pack->getType() == PartitionBody)
                demoted = pack.get();
            pack->set_Type(PartitionFooter);
        }
        pack->fillerLength = fillerBehindPack(bytes, *pack);
        keepIndexSegments(m_partitions.runIn, *pack, bytes, m_indexInHand);
        found.push_back(std::move(pack));
    }
    std::vector<std::unique_ptr<CMxfPartitionPack>> all;
    all.push_back(std::make_unique<CMxfPartitionPack>(*m_partitions.header()));
    for (auto& pack : found)
        all.push_back(std::move(pack));
    m_partitions.assign(std::move(all));
    return OK;
}

CvResult CMxf_FileReader::loadFooter()
{
    const uint64_t offset = uint64_t(m_partitions.runIn) + m_partitions.getHeader_FooterPartition();
    if (offset >= m_fileSize) {
        setLastError(OK, L"Failed to open file. File size less than footer offset.");
        return isFileGrowing() ? OK : Fail;
    }
    std::vector<unsigned char> bytes;
    CvResult result = readAt(offset, size_t(std::min<uint64_t>(m_fileSize - offset, footerBlock)), bytes);
    if (result != OK)
        return fail(result, L"Failed to open file.");
    if (bytes.size() < 16 || !hasSmptePrefix(bytes.data()))
        return fail(MxfBadFooter, L"Failed to open footer, invalid ul.");
    CKlvItem item;
    if (!klvHeaderAt(bytes.data(), bytes.size(), 0, item))
        return fail(MxfBadFooter, L"Failed to open footer, setklv failed.");
    if (!CMxfPartitionPack::IsULPartitionPack(item.key))
        return fail(MxfBadFooter, L"Failed to open footer, ul is not a partition pack.");
    if (item.key[13] != PartitionFooter)
        return OK;
    std::unique_ptr<CMxfPartitionPack> pack = partitionPackAt(bytes, 0);
    if (!pack)
        return fail(MxfBadFooter, L"Failed to open footer, setklv failed.");
    pack->fillerLength = fillerBehindPack(bytes, *pack);
    m_partitions.append(std::move(pack));
    return OK;
}

CvResult CMxf_FileReader::walkBackFromFooter(size_t blockSize)
{
    std::vector<std::unique_ptr<CMxfPartitionPack>> collected;
    collected.push_back(std::make_unique<CMxfPartitionPack>(*m_partitions.last()));
    // Each step must go back: a chain that doesn't ends the walk. Partition
    // offsets count from the end of the run-in.
    const uint64_t runIn = m_partitions.runIn;
    uint64_t offset = collected.back()->previousPartition;
    uint64_t bound = collected.back()->thisPartition;
    while (offset < bound && offset < m_fileSize - std::min<uint64_t>(runIn, m_fileSize)) {
        std::vector<unsigned char> bytes;
        CvResult result = readAt(runIn + offset, blockSize, bytes);
        if (result == PartialCopy && m_fileSize - (runIn + offset) < blockSize)
            result = OK;
        if (result != OK)
            break;
        std::unique_ptr<CMxfPartitionPack> pack = partitionPackAt(bytes, 0);
        if (!pack || pack->getType() == PartitionHeader)
            break;
        pack->fillerLength = fillerBehindPack(bytes, *pack);
        keepIndexSegments(m_partitions.runIn, *pack, bytes, m_indexInHand);
        const uint64_t previous = pack->previousPartition;
        collected.push_back(std::move(pack));
        if (previous == 0)
            break;
        bound = offset;
        offset = previous;
    }
    if (collected.size() >= 2) {
        std::vector<std::unique_ptr<CMxfPartitionPack>> all;
        all.push_back(std::make_unique<CMxfPartitionPack>(*m_partitions.header()));
        for (auto it = collected.rbegin(); it != collected.rend(); ++it)
            all.push_back(std::move(*it));
        m_partitions.assign(std::move(all));
    }
    return OK;
}

CvResult CMxf_FileReader::findAndAddPartition(uint64_t offset, bool walk, uint64_t& foundAt)
{
    for (;;) {
        if (offset >= m_fileSize)
            return NotImpl;
        if (offset >= m_fileSize - 20)
            return Fail;
        std::vector<unsigned char> head;
        CvResult result = readAt(offset, size_t(std::min<uint64_t>(itemHead, m_fileSize - offset)), head);
        if (result != OK)
            return result;
        CKlvItem item;
        if (!klvHeaderAt(head.data(), head.size(), 0, item))
            return Fail;
        const uint64_t itemSize = 16 + item.lengthLength + item.length;
        if (item.length > m_fileSize || itemSize > m_fileSize - offset)
            return Fail;
        if (CMxfPartitionPack::IsULPartitionPack(item.key)) {
            std::vector<unsigned char> bytes;
            if (readAt(offset, size_t(itemSize), bytes) != OK)
                return Fail;
            std::unique_ptr<CMxfPartitionPack> pack = partitionPackAt(bytes, 0);
            if (!pack)
                return Fail;
            pack->fillerLength = fillerBehind(offset + itemSize);
            m_partitions.append(std::move(pack));
            foundAt = offset;
            return OK;
        }
        if (!walk)
            return Fail;
        offset += itemSize;
        // Whole items up to the end: essence written after the last index
        // (a file still growing, or one whose writer stopped), and no more packs.
        if (offset >= m_fileSize - 20)
            return NotImpl;
    }
}

CvResult CMxf_FileReader::findPartitions_NoRIP(bool metadataRead)
{
    // Where the last pack lies in the file. A pack's own position may lie, so
    // each hop must also land behind the last pack found, or the walk ends.
    uint64_t reached = m_partitions.runIn + m_partitions.last()->thisPartition;
    for (;;) {
        const CMxfPartitionPack& pack = *m_partitions.last();
        // The last partition reached: a footer, or the end of the file.
        if (pack.getType() == PartitionFooter && m_partitions.getNumPartitions() > 1)
            return OK;
        const bool opAtom = m_partitions.isOpAtom();
        const bool noIndex = opAtom ? pack.bodySID == 0 : pack.indexByteCount == 0;
        const uint64_t here = m_partitions.runIn + pack.thisPartition;
        uint64_t next = 0;
        if (noIndex) {
            next = here + pack.get_TotalLengthOfAllItems();
        } else {
            if (!metadataRead) {
                CvResult result = loadMetadata();
                if (!isSuccess(result))
                    return result;
                metadataRead = true;
            }
            std::unique_ptr<CMxf_IndexTable_Segment> segment;
            CvResult result = indexTable_LoadSegmentFromPartition(*file, m_partitions.runIn, pack, segment, *this);
            // Essence whose index isn't written yet (an OP-Atom body before
            // its footer): nothing tells where it ends, and no pack follows
            // it until the footer does.
            if (result == IndexAbsent)
                return OK;
            if (!isSuccess(result))
                return result;
            if (!segment || segment->editUnitByteCount != 0 || segment->indexDuration == 0)
                return NotSupported;
            uint64_t offset = 0, size = 0;
            result = m_locator.getStreamOffsetAndSizeFromIndex(
                *segment, segment->indexStartPosition + segment->indexDuration - 1,
                int(segment->deltaEntries.size()) - 1, &offset, &size);
            if (!isSuccess(result))
                return result;
            next = m_partitions.modifyOffsetForPartition(pack, offset + size);
        }
        if (next <= here || next <= reached)
            return OK;
        CvResult result = findAndAddPartition(next, noIndex ? !opAtom : true, reached);
        if (result == NotImpl || (result == Fail && next >= m_fileSize - 20))
            return OK;
        if (result != OK)
            return result;
    }
}

} // namespace Corvidane::MXF
