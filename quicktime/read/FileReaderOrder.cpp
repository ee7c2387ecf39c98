// Display order, groups of pictures and key frames.
#include "quicktime/read/FileReader.h"

#include <algorithm>
#include <set>

namespace Corvidane::QuickTime {

int FileReader::getGopLength(int stream)
{
    Metadata_Track* t = track(stream);
    if (!t)
        return 0;
    int length = t->getGopLength();
    return length == 1 && m_movie.isFragmented() ? fragmentGopLength(*t) : length;
}

bool FileReader::getIsOpenGop(int stream)
{
    Metadata_Track* t = track(stream);
    return t && t->openGops();
}

CvResult FileReader::getPresentationOrder(unsigned start, unsigned count, std::vector<unsigned>& order)
{
    if (!m_current)
        return reportNoTrack(L"getPresentationOrder");
    order.clear();
    for (unsigned i = 0; i < count; ++i) {
        if (!m_current->hasSyncSamples()) {
            order.push_back(start + i);
            continue;
        }
        IndexEntry entry;
        if (!isSuccess(getIndexEntry(start + i, entry)))
            return Fail;
        unsigned shown = entry.presentationIndex;
        order.push_back(shown);
    }
    return OK;
}

CvResult FileReader::getGopAndPresentationOrder(unsigned frame, unsigned count, std::vector<unsigned>& decode,
                                                std::vector<unsigned>& presentation,
                                                std::vector<unsigned short>& order)
{
    return gatherGop(frame, count, SIZE_MAX, decode, presentation, order);
}

CvResult FileReader::gatherGop(unsigned frame, unsigned count, size_t limit, std::vector<unsigned>& decode,
                               std::vector<unsigned>& presentation, std::vector<unsigned short>& order)
{
    if (!m_current)
        return reportNoTrack(L"getGopAndPresentationOrder");
    unsigned length = get_Length(static_cast<int>(m_currentStream));
    if (frame > length)
        return HandleEOF;
    count = std::min(count, length - frame);
    if (count == 0)
        return OK;
    // The frames of the range in display order, struck off as they are seen;
    // frames shown inside the range but coded after it are read too, within
    // the track and within a reorder distance no coder comes near. What is
    // kept grows with the frames read, not with the count asked for.
    const uint64_t end = std::min<uint64_t>(length, uint64_t(frame) + count + maxReorderDistance);
    std::set<unsigned> seen;
    for (unsigned coded = frame, taken = 0; (taken < count || seen.size() < count) && coded < end && decode.size() < limit;
         ++coded, ++taken) {
        IndexEntry entry;
        if (!isSuccess(getIndexEntry(coded, entry))) {
            if (taken == 0) {
                setLastError(NotFound, L"get_GopAndPresentationOrder failed to retrieve index entry.");
                return NotFound;
            }
            return OK;
        }
        // Copies first: the record is packed, its fields can't be referred to.
        unsigned shown = entry.presentationIndex;
        unsigned short type = entry.frameType;
        decode.push_back(coded);
        presentation.push_back(shown);
        order.push_back(type);
        if (shown >= frame && shown - frame < count)
            seen.insert(shown);
    }
    return OK;
}

CvResult FileReader::getGopAndPresentationOrder(unsigned frame, GOPInfo& info, std::vector<unsigned short>& order,
                                                bool useCount)
{
    if (!m_current)
        return reportNoTrack(L"getGopAndPresentationOrder");
    unsigned count = static_cast<unsigned>(info.count);
    if (!useCount) {
        count = static_cast<unsigned>(std::max(getGopLength(static_cast<int>(m_currentStream)), 0));
        if (m_current->openGops())
            count *= 2;
    }
    // One frame more than there is room for decides the answer.
    std::vector<unsigned> decode, presentation;
    CvResult result = gatherGop(frame, count, info.count + 1, decode, presentation, order);
    if (!isSuccess(result))
        return result;
    if (decode.size() > info.count) {
        setLastError(InsufficientBuffer, L"GetGopAndPresentationOrder failed, insufficient space.");
        return InsufficientBuffer;
    }
    std::copy(decode.begin(), decode.end(), info.decodeOrder);
    std::copy(presentation.begin(), presentation.end(), info.presentationOrder);
    info.count = decode.size();
    return result;
}

bool FileReader::findKeyframe(unsigned frame, bool forward, unsigned& keyframe)
{
    if (!m_current)
        return false;
    if (m_movie.isFragmented())
        return findFragmentKeyframe(*m_current, frame, forward, keyframe);
    // Sync samples number the track's samples; frames count from the start sample.
    const uint64_t start = m_current->startSample();
    uint32_t sample = 0;
    if (uint64_t(frame) + start > UINT32_MAX ||
        !m_current->findKeyframe(static_cast<uint32_t>(frame + start), forward, sample) || sample < start)
        return false;
    keyframe = static_cast<unsigned>(sample - start);
    return true;
}

} // namespace Corvidane::QuickTime
