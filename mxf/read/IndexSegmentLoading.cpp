#include "mxf/read/IndexSegmentLoading.h"

#include <vector>

#include "mxf/model/KlvBufferWalk.h"
#include "mxf/model/MxfResults.h"

namespace Corvidane::MXF {

namespace {

// Where a partition's index bytes start: between its header metadata and its
// essence.
uint64_t indexBytesAt(uint32_t runIn, const CMxfPartitionPack& pack)
{
    return uint64_t(runIn) + pack.thisPartition + 16 + pack.lengthLength + pack.length + pack.fillerLength +
           pack.headerByteCount;
}

CvResult checkIndexCount(const CMxfPartitionPack& pack)
{
    if (pack.indexByteCount == 0 || pack.indexSID == 0)
        return IndexAbsent;
    if (uint32_t(pack.indexByteCount) == 0)
        return Fail;
    return OK;
}

// The index bytes of a partition, read whole.
CvResult readIndexBytes(iFile& file, uint32_t runIn, const CMxfPartitionPack& pack, std::vector<unsigned char>& bytes,
                        Base& report)
{
    CvResult result = checkIndexCount(pack);
    if (result != OK)
        return result;
    const uint64_t at = indexBytesAt(runIn, pack);
    const uint64_t size = file.getSize();
    // Sized only by bytes the file has.
    if (at >= size || pack.indexByteCount > size - at) {
        report.setLastError(InvalidArg, L"Argument was invalid.");
        return InvalidArg;
    }
    bytes.resize(pack.indexByteCount);
    if (file.read(at, bytes.data(), bytes.size()) != bytes.size()) {
        report.setLastError(Fail, L"Argument was invalid.");
        return Fail;
    }
    return OK;
}

std::unique_ptr<CMxf_IndexTable_Segment> segmentOf(const CKlvItem& item)
{
    auto segment = std::make_unique<CMxf_IndexTable_Segment>();
    segment->read(item);
    return segment;
}

// Every index table segment of a partition's index bytes, appended to `out`.
CvResult segmentsOfIndexBytes(unsigned char* bytes, size_t size, CMxf_IndexSegmentList::Segments& out,
                              Base& report)
{
    CvResult result = OK;
    CKlvBufferWalk walk(bytes, size);
    bool found = false;
    for (CKlvItem item; walk.offset() < size;) {
        if (!walk.next(item)) {
            report.setLastError(Fail, L"Failed to set klv for index table segment.");
            return Fail;
        }
        if (item.length == 0)
            continue;
        if (CMxf_IndexTable_Segment::IsMyKey(item.key)) {
            out.push_back(segmentOf(item));
            found = true;
        } else if (isFiller(item.key)) {
            if (!found)
                result = IndexAbsent;
        } else {
            report.setLastError(MxfNoIndexSegment, L"Failed to find start of index table segment.");
            return MxfNoIndexSegment;
        }
    }
    return result;
}

} // namespace

void keepIndexSegments(uint32_t runIn, const CMxfPartitionPack& pack, std::vector<unsigned char>& bytes,
                       IndexSegmentsInHand& inHand)
{
    if (checkIndexCount(pack) != OK)
        return;
    const uint64_t at = indexBytesAt(runIn, pack);
    const uint64_t start = uint64_t(runIn) + pack.thisPartition;
    if (at < start || at - start > bytes.size() || pack.indexByteCount > bytes.size() - (at - start))
        return;
    // A failure is left for the load to meet again and name.
    Base quiet;
    IndexSegmentsInHand::mapped_type kept;
    kept.result = segmentsOfIndexBytes(bytes.data() + (at - start), size_t(pack.indexByteCount), kept.segments, quiet);
    if (kept.result == OK || kept.result == IndexAbsent)
        inHand[at] = std::move(kept);
}

CvResult indexTable_LoadSegmentsFromPartition(iFile& file, uint32_t runIn, const CMxfPartitionPack& pack,
                                              CMxf_IndexSegmentList::Segments& out, Base& report,
                                              IndexSegmentsInHand* inHand)
{
    if (inHand && checkIndexCount(pack) == OK) {
        auto kept = inHand->find(indexBytesAt(runIn, pack));
        if (kept != inHand->end()) {
            for (auto& segment : kept->second.segments)
                out.push_back(std::move(segment));
            const CvResult result = kept->second.result;
            inHand->erase(kept);
            return result;
        }
    }
    std::vector<unsigned char> bytes;
    CvResult result = readIndexBytes(file, runIn, pack, bytes, report);
    if (result != OK)
        return result;
    return segmentsOfIndexBytes(bytes.data(), bytes.size(), out, report);
}

CvResult indexTable_LoadSegmentFromPartition(iFile& file, uint32_t runIn, const CMxfPartitionPack& pack,
                                             std::unique_ptr<CMxf_IndexTable_Segment>& out, Base& report)
{
    std::vector<unsigned char> bytes;
    CvResult result = readIndexBytes(file, runIn, pack, bytes, report);
    if (result != OK)
        return result;
    CKlvBufferWalk walk(bytes.data(), bytes.size());
    CKlvItem item;
    if (!walk.next(item)) {
        report.setLastError(Fail, L"Failed to set klv for index table segment.");
        return Fail;
    }
    if (CMxf_IndexTable_Segment::IsMyKey(item.key)) {
        out = segmentOf(item);
        return OK;
    }
    if (isFiller(item.key))
        return IndexAbsent;
    report.setLastError(MxfNoIndexSegment, L"Failed to find start of index table segment.");
    return MxfNoIndexSegment;
}

CvResult loadIndexSegments(iFile& file, const CMxfPartitionList& partitions, CMxf_IndexSegmentList& segments,
                           Base& report, IndexSegmentsInHand* inHand)
{
    segments.clear();
    CMxf_IndexSegmentList::Segments found;
    for (size_t i = 0; i < partitions.getNumPartitions(); ++i) {
        CvResult result =
            indexTable_LoadSegmentsFromPartition(file, partitions.runIn, *partitions.at(i), found, report, inHand);
        if (!isSuccess(result) && result != IndexAbsent)
            return result;
    }
    return segments.assign(std::move(found), report);
}

} // namespace Corvidane::MXF
