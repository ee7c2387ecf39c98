#include "mxf/read/IndexSegmentLoading.h"

#include <vector>

#include "mxf/model/KlvBufferWalk.h"
#include "mxf/model/MxfResults.h"

namespace Corvidane::MXF {

namespace {

// The index bytes of a partition, read whole: they lie between its header
// metadata and its essence.
CvResult readIndexBytes(iFile& file, uint32_t runIn, const CMxfPartitionPack& pack, std::vector<unsigned char>& bytes,
                        Base& report)
{
    if (pack.indexByteCount == 0 || pack.indexSID == 0)
        return IndexAbsent;
    if (uint32_t(pack.indexByteCount) == 0)
        return Fail;
    const uint64_t at = uint64_t(runIn) + pack.thisPartition + 16 + pack.lengthLength + pack.length +
                        pack.fillerLength + pack.headerByteCount;
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

} // namespace

CvResult indexTable_LoadSegmentsFromPartition(iFile& file, uint32_t runIn, const CMxfPartitionPack& pack,
                                              CMxf_IndexSegmentList::Segments& out, Base& report)
{
    std::vector<unsigned char> bytes;
    CvResult result = readIndexBytes(file, runIn, pack, bytes, report);
    if (result != OK)
        return result;
    CKlvBufferWalk walk(bytes.data(), bytes.size());
    bool found = false;
    for (CKlvItem item; walk.offset() < bytes.size();) {
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
                           Base& report)
{
    segments.clear();
    CMxf_IndexSegmentList::Segments found;
    for (size_t i = 0; i < partitions.getNumPartitions(); ++i) {
        CvResult result = indexTable_LoadSegmentsFromPartition(file, partitions.runIn, *partitions.at(i), found, report);
        if (!isSuccess(result) && result != IndexAbsent)
            return result;
    }
    return segments.assign(std::move(found), report);
}

} // namespace Corvidane::MXF
