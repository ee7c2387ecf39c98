#include "mxf/read/TrackDeltaMap.h"

#include <algorithm>

#include "mxf/model/EssenceElement.h"
#include "mxf/model/KlvBufferWalk.h"
#include "mxf/model/SystemItem.h"

namespace Corvidane::MXF {

namespace {

// Key, the longest BER length, and no more: only the item's head is looked at.
constexpr uint64_t headSize = 16 + 9;

// The MPEG picture element of the generic container: met a second time, the
// walk has passed the first content package.
const MXFUL mpegPictureElement = {{0x06, 0x0E, 0x2B, 0x34, 0x01, 0x02, 0x01, 0x01, 0x0D, 0x01, 0x03, 0x01, 0x15, 0x01,
                                   0x05, 0x00}};

// The key and length of the item at `at`; false where the file holds none.
bool itemHeadAt(iFile& file, uint64_t at, CKlvItem& item, unsigned char (&head)[headSize])
{
    const uint64_t size = file.getSize();
    if (at >= size)
        return false;
    const uint64_t wanted = std::min<uint64_t>(headSize, size - at);
    const uint64_t got = file.read(at, head, wanted);
    return got >= 17 && hasSmptePrefix(head) && klvHeaderAt(head, got, 0, item);
}

} // namespace

void CMxf_TrackDeltaMap::mapTrackToDeltaIndex(int openStream, int& deltaIndex, iFile& file, uint64_t essenceOffset,
                                              bool clipWrapped, const CMxf_IndexTable_Segment* firstSegment,
                                              const ContentPackageTracks& tracks, Base& report)
{
    // A constant edit unit without delta entries has its elements placed
    // track by track (`findStreamOffsets`): the stream is its own slot, and
    // an element index would pick another track's slot where a track
    // without element (a timecode track) comes first.
    if (firstSegment && firstSegment->isConstant() && firstSegment->deltaEntries.empty())
        return;
    if (!isBuilt()) {
        build(file, essenceOffset, clipWrapped, firstSegment, tracks);
        report.setLastError(std::wstring(L"No Error"));
    }
    if (openStream >= 0 && size_t(openStream) < m_map.size() && m_map[size_t(openStream)] != none)
        deltaIndex = m_map[size_t(openStream)];
}

void CMxf_TrackDeltaMap::build(iFile& file, uint64_t essenceOffset, bool clipWrapped,
                               const CMxf_IndexTable_Segment* firstSegment, const ContentPackageTracks& tracks)
{
    const std::vector<std::optional<uint32_t>>& numbers = tracks.materialTrackNumbers;
    m_map.assign(numbers.size() + 1, none);
    const std::vector<MXFDELTAENTRY> noDeltas;
    const std::vector<MXFDELTAENTRY>& deltas = firstSegment ? firstSegment->deltaEntries : noDeltas;

    const uint64_t fileSize = file.getSize();
    uint64_t running = 0;
    size_t element = 0, systemItems = 0, mpegPictures = 0;
    bool seenElement = false;
    std::vector<uint32_t> seenNumbers;
    unsigned char head[headSize];
    while (element < tracks.sourceTrackCount) {
        CKlvItem item;
        const uint64_t at = essenceOffset + running;
        if (at < essenceOffset || !itemHeadAt(file, at, item, head)) {
            if (clipWrapped)
                m_map[0] = 0;
            break;
        }
        const uint64_t itemSize = 16 + item.lengthLength + item.length;
        // Past the end of the file the next look finds no item.
        const uint64_t step = itemSize < item.length ? fileSize : itemSize;
        if (item.length == 0 || isFiller(item.key)) {
            running += step;
            continue;
        }
        if (CMxf_GC_SystemItem::IsULSystemItem(item.key)) {
            if (systemItems++ == 0) {
                m_map[0] = int(element);
                seenElement = false;
            } else if (seenElement) {
                break;
            }
            running += step;
            continue;
        }
        if (item.key == mpegPictureElement && mpegPictures++ == 1)
            break;
        if (!isEssenceElementKey(item.key) && !isCPSystemElementKey(item.key)) {
            running += step;
            continue;
        }
        // After a system item the elements are placed by the delta entries.
        if (!seenElement && !deltas.empty() &&
            (element >= deltas.size() || deltas[element].elementDelta != running)) {
            auto match = std::find_if(deltas.begin(), deltas.end(),
                                      [running](const MXFDELTAENTRY& d) { return d.elementDelta == running; });
            if (match != deltas.end())
                element = size_t(match - deltas.begin());
        }
        const uint32_t trackNumber = CMxf_GC_EssenceElement(item.key).GetTrackNumber();
        // Elements of one content package have their own numbers: one met
        // again belongs to the next package (frame after frame of OP-Atom).
        if (std::find(seenNumbers.begin(), seenNumbers.end(), trackNumber) != seenNumbers.end())
            break;
        seenNumbers.push_back(trackNumber);
        for (size_t i = 0; i < numbers.size(); ++i)
            if (numbers[i] && *numbers[i] == trackNumber)
                m_map[i] = int(element);
        ++element;
        seenElement = true;
        running += step;
    }
}

} // namespace Corvidane::MXF
