#include "mxf/read/UnindexedEditUnit.h"

#include <limits>
#include <string>

#include "frame/FourCC.h"
#include "mxf/model/MxfResults.h"

namespace Corvidane::MXF {

namespace {

constexpr int64_t anyRate = std::numeric_limits<int64_t>::max();

// What besides the height picks a row.
enum class Condition {
    Always,
    Progressive,
    FrameRate25,
    FrameRateNear2997,  // strictly between 29.96 and 29.98: 30 frames exactly is not DVCPRO HD
    DataRateBelow,      // dataRate in [low, high)
};

struct EditUnitRow {
    unsigned fcc;
    int height;
    Condition condition;
    int64_t low, high;
    uint32_t bytes;
};

// Frame sizes of the codings Avid writes OP-Atom files of without index. The
// first row that fits wins. IMX frames are padded to whole 4 KiB pages.
const EditUnitRow editUnitRows[] = {
    {fourCC("dvsd"), 480, Condition::Always, 0, 0, 120000},
    {fourCC("dvsd"), 576, Condition::Always, 0, 0, 144000},
    {fourCC("dv25"), 480, Condition::Always, 0, 0, 120000},
    {fourCC("dv25"), 576, Condition::Always, 0, 0, 144000},
    {fourCC("dv50"), 480, Condition::Always, 0, 0, 240000},
    {fourCC("dv50"), 576, Condition::Always, 0, 0, 288000},
    {fourCC("dvh1"), 1080, Condition::FrameRate25, 0, 0, 576000},
    {fourCC("dvh1"), 1080, Condition::FrameRateNear2997, 0, 0, 480000},
    {fourCC("AVdn"), 720, Condition::DataRateBelow, 0, 160000, 0x4A000},
    {fourCC("AVdn"), 720, Condition::Always, 0, 0, 0x70000},
    {fourCC("AVdn"), 1080, Condition::Progressive, 0, 0, 0x94000},
    {fourCC("AVdn"), 1080, Condition::DataRateBelow, 50000, 160000, 0x94000},
    {fourCC("AVdn"), 1080, Condition::DataRateBelow, 160000, anyRate, 0xE0000},
    {fourCC("AVdn"), 1080, Condition::Always, 0, 0, 0x2E000},
    {fourCC("GIMX"), 512, Condition::DataRateBelow, 0, 35001, 0x1F000},
    {fourCC("GIMX"), 512, Condition::DataRateBelow, 35001, 45001, 0x29000},
    {fourCC("GIMX"), 512, Condition::Always, 0, 0, 0x33000},
    {fourCC("GIMX"), 608, Condition::DataRateBelow, 0, 35001, 0x25000},
    {fourCC("GIMX"), 608, Condition::DataRateBelow, 35001, 45001, 0x31000},
    {fourCC("GIMX"), 608, Condition::Always, 0, 0, 0x3E000},
};

// The coding a wrong height or rate is reported under.
const struct {
    unsigned fcc;
    const wchar_t* name;
} familyNames[] = {
    {fourCC("dvsd"), L"dvsd"}, {fourCC("dv25"), L"dvsd"}, {fourCC("dv50"), L"dvsd"},
    {fourCC("GIMX"), L"dvsd"}, {fourCC("dvh1"), L"dvh1"}, {fourCC("AVdn"), L"AVdn"},
};

// Codings whose edit units vary, so that no size can stand for them.
const unsigned refusedFccs[] = {fourCC("xd25"), fourCC("xd35"), fourCC("xd50")};

bool fits(const EditUnitRow& row, const UnindexedTrack& track)
{
    const double rate = track.editRate.denominator ? double(track.editRate.numerator) / track.editRate.denominator : 0;
    switch (row.condition) {
    case Condition::Always:
        return true;
    case Condition::Progressive:
        return track.progressive;
    case Condition::FrameRate25:
        return rate == 25.0;
    case Condition::FrameRateNear2997:
        return rate > 29.96 && rate < 29.98;
    case Condition::DataRateBelow:
        return track.dataRate >= row.low && track.dataRate < row.high;
    }
    return false;
}

} // namespace

CvResult unindexedEditUnitSize(const UnindexedTrack& track, uint32_t& bytes, Base& report)
{
    if (track.fcc == UnindexedTrack::unknownFcc) {
        report.setLastError(NotImpl, L"Invalid FCC");
        return NotImpl;
    }
    if (track.fcc == fourCC("WAVE")) {
        if (track.blockAlign == 0) {
            report.setLastError(Fail, L"No usable audio descriptor found.");
            return Fail;
        }
        bytes = track.blockAlign;
        return OK;
    }
    for (unsigned refused : refusedFccs)
        if (track.fcc == refused) {
            report.setLastError(Fail, L"Cannot read file with no index table");
            return Fail;
        }
    const wchar_t* family = nullptr;
    for (const auto& name : familyNames)
        if (name.fcc == track.fcc)
            family = name.name;
    if (!family) {
        report.setLastError(NotImpl, L"Invalid compression for Avid file");
        return NotImpl;
    }
    bool heightKnown = false;
    for (const EditUnitRow& row : editUnitRows) {
        if (row.fcc != track.fcc || row.height != track.height)
            continue;
        heightKnown = true;
        if (fits(row, track)) {
            bytes = row.bytes;
            return OK;
        }
    }
    report.setLastError(NotImpl,
                        heightKnown ? L"Invalid rate for '%ls' compression in Avid file"
                                    : L"Invalid height for '%ls' compression in Avid file",
                        family);
    return NotImpl;
}

CvResult indexTable_HandleNone(CMxf_IndexSegmentList& segments, bool opAtom, const UnindexedTrack* track,
                               Base& report)
{
    report.setLastError(MxfNoIndexTable, L"No index table.");
    if (!opAtom)
        return MxfNoIndexTable;
    if (!segments.empty())
        return OK;
    if (!track) {
        report.setLastError(MxfNoIndexTable, L"Cannot handle no index table in files without video or audio.");
        return MxfNoIndexTable;
    }
    uint32_t bytes = 0;
    CvResult result = unindexedEditUnitSize(*track, bytes, report);
    if (result != OK)
        return result;
    auto segment = std::make_unique<CMxf_IndexTable_Segment>();
    segment->editUnitByteCount = bytes;
    segment->indexEditRate = track->editRate;
    segment->bodySID = 1;
    segments.append(std::move(segment));
    return OK;
}

} // namespace Corvidane::MXF
