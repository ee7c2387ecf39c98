#include "avi/FileWriter.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstring>

#include "frame/FourCC.h"
#include "frame/TimeCode.h"
#include "frame/Utf8.h"

namespace Corvidane::Avi {

void FileWriter::initVariables()
{
    for (TrackStructuralData& track : tracks)
        freeExtendedData(track);
    tracks.clear();
    trackOrder.clear();
    strl.clear();
    header.clear();
    header.shrink_to_fit();
    avixHead.clear();
    frameBuffer.clear();
    frameBuffer.shrink_to_fit();
    fileName.clear();
    framesSinceFlush = 0;
    riffSize = moviSize = riffStartOffset = endOfData = 0;
    moviListAt = 0;
    riffIndex = 0;
    maxFrames = 2000000;
    startTimecode = 0;
    startTimecodeDrop = false;
    maxIndexEntries = (0x10000 - 32) / 8;
    legacyIndexWritten = false;
    totalFramesAt = maxBytesPerSecAt = suggestedBufferSizeAt = dmlhFramesAt = 0;
}

double FileWriter::videoRate() const
{
    const VideoStructuralData& video = tracks[trackOrder[0]].video;
    return video.rateDenominator ? double(video.rateNumerator) / video.rateDenominator : 0.0;
}

namespace {

// What the system said of a write that failed ("No space left on device"),
// for the writer's error texts; the result code alone can't say it.
std::wstring systemReason(int error) { return error > 0 ? fromUtf8(std::strerror(error)) : std::wstring(); }

} // namespace

uint64_t FileWriter::junkRoom(uint64_t position) const
{
    const uint64_t room = roundToSector(position) - position;
    if (room == 0)
        return 0;
    return room < 12 ? room + sectorSize : room;
}

CvResult FileWriter::create(const std::wstring& name, const TrackStructuralData* given, unsigned count)
{
    close();
    clearLastError();
    if (!given || count == 0)
        return InvalidArg;
    for (unsigned i = 0; i < count && trackOrder.empty(); ++i)
        if (given[i].streamType == StreamVideo)
            trackOrder.push_back(static_cast<uint16_t>(i));
    if (trackOrder.empty()) {
        setLastError(InvalidArg, L"Cannot create file with no video track.");
        return InvalidArg;
    }
    bool timecodeSeen = false;
    size_t extra = 0;
    for (unsigned i = 0; i < count; ++i) {
        if (given[i].streamType == StreamAudio)
            trackOrder.push_back(static_cast<uint16_t>(i));
        if (given[i].streamType == StreamTimecode && !timecodeSeen) {
            startTimecode = given[i].timecode.startFrame;
            startTimecodeDrop = given[i].timecode.dropFrame != 0;
            timecodeSeen = true;
        }
        if (given[i].extendedData)
            extra += given[i].extendedDataSize;
    }
    if (extra > 4096) {
        setLastError(Fail, L"The tracks carry %zu bytes of format data, more than 4096.", extra);
        trackOrder.clear();
        return Fail;
    }
    CvResult result = file.create(name, iFile::Unbuffered, iFile::CreateAlways);
    if (!isSuccess(result)) {
        setLastError(result, L"Failed to create %ls.", name.c_str());
        trackOrder.clear();
        return result;
    }
    fileName = name;
    sectorSize = file.getSectorSize();
    for (unsigned i = 0; i < count; ++i)
        tracks.push_back(copyTrackStructuralData(given[i]));
    maxFrames = static_cast<uint64_t>(std::max(videoRate(), 1.0) * 86400);
    if (!flushFrequencyChosen)
        flushFrequency = static_cast<unsigned>(std::lround(std::max(videoRate(), 1.0)));

    strl.resize(trackOrder.size());
    header.assign(roundToSector(uint64_t(count) * 0x15000 + 4096), 0);
    RiffBuilder out(header);
    out.u32(fourCC("RIFF"));
    out.u32(0);
    out.u32(fourCC("AVI "));
    Header_CreateChunk_hdrl(out);
    Header_CreateChunk_INFO(out);
    if (const uint64_t room = junkRoom(out.position()))
        out.junkTo(out.position() + room);
    moviListAt = out.position();
    for (const CStrl& stream : strl)
        if (stream.indexType == 16)
            maxIndexEntries = (0x10000 - 32) / 24;
    result = CreateNewRIFFChunk();
    if (!isSuccess(result)) {
        file.close();
        Vex::CDiskFile::remove(fileName);
        initVariables();
    }
    return result;
}

void FileWriter::Header_CreateChunk_hdrl(RiffBuilder& out)
{
    size_t list = out.open(fourCC("LIST"), fourCC("hdrl"));
    Header_CreateChunk_avih(out);
    for (size_t s = 0; s < strl.size(); ++s)
        strl[s].Create(static_cast<unsigned>(s), tracks[trackOrder[s]], out);
    Header_CreateChunk_odml(out);
    out.close(list);
}

void FileWriter::Header_CreateChunk_avih(RiffBuilder& out)
{
    const VideoStructuralData& video = tracks[trackOrder[0]].video;
    size_t chunk = out.open(fourCC("avih"));
    out.u32(video.rateNumerator ? static_cast<uint32_t>(uint64_t(1000000) * video.rateDenominator / video.rateNumerator)
                                : 0);
    maxBytesPerSecAt = out.position();
    out.u32(0);
    out.u32(sectorSize);   // dwPaddingGranularity
    out.u32(strl.size() >= 2 ? 0x10130 : 0x10030);
    totalFramesAt = out.position();
    out.u32(0);
    out.u32(0);            // dwInitialFrames
    out.u32(static_cast<uint32_t>(strl.size()));
    suggestedBufferSizeAt = out.position();
    out.u32(0);
    out.u32(video.width);
    out.u32(video.height);
    out.zeros(16);
    out.close(chunk);
}

void FileWriter::Header_CreateChunk_odml(RiffBuilder& out)
{
    size_t list = out.open(fourCC("LIST"), fourCC("odml"));
    size_t chunk = out.open(fourCC("dmlh"));
    dmlhFramesAt = out.position();
    out.zeros(248);
    out.close(chunk);
    out.close(list);
}

void FileWriter::Header_CreateChunk_INFO(RiffBuilder& out)
{
    size_t list = out.open(fourCC("LIST"), fourCC("INFO"));
    Header_CreateChunk_ISFT(out);
    Header_CreateChunk_ISMP(out);
    out.close(list);
}

void FileWriter::Header_CreateChunk_ISFT(RiffBuilder& out)
{
    Header_CreateChunk_ISXX(out, fourCC("ISFT"), "Halcyonics AVI v1.0.0.0");
}

void FileWriter::Header_CreateChunk_ISMP(RiffBuilder& out)
{
    // The start as the timecode track counts it: drop frame at 29.97 and
    // 59.94 when it says so, else whole frames at the rounded rate.
    short hours = 0, minutes = 0, seconds = 0, frames = 0;
    const double rate = startTimecodeDrop ? videoRate() : std::round(videoRate());
    CTimeCodeEx(startTimecode, rate, startTimecodeDrop)
        .toHHMMSSFF(hours, minutes, seconds, frames, startTimecodeDrop);
    char text[32];
    std::snprintf(text, sizeof text, "%02d:%02d:%02d.%02d", hours, minutes, seconds, frames);
    Header_CreateChunk_ISXX(out, fourCC("ISMP"), text);
}

void FileWriter::Header_CreateChunk_ISXX(RiffBuilder& out, uint32_t fourcc, const std::string& text)
{
    size_t chunk = out.open(fourcc);
    out.bytes(reinterpret_cast<const unsigned char*>(text.c_str()), text.size() + 1);
    out.close(chunk);
}

CvResult FileWriter::WriteAtOffset(uint64_t offset, const unsigned char* data, size_t size, const wchar_t* what)
{
    CvResult result = file.seek(static_cast<unsigned long>(offset), nullptr, 0);
    unsigned written = 0;
    if (isSuccess(result))
        result = file.write(data, static_cast<unsigned>(size), written);
    if (!isSuccess(result))
        setLastError(result, L"Failed to write %ls at offset %llu. %ls", what, static_cast<unsigned long long>(offset),
                     systemReason(errno).c_str());
    return result;
}

CvResult FileWriter::WriteHeader() { return WriteAtOffset(0, header.data(), header.size(), L"the AVI header"); }

CvResult FileWriter::CreateNewRIFFChunk()
{
    CvResult result = OK;
    const bool first = endOfData == 0;
    if (!first) {
        if (strl[0].samplesInRiff && !legacyIndexWritten && !isSuccess(result = WriteLegacyIndexTable()))
            return result;
        if (!isSuccess(result = WriteIndexTable(true, true)) || !isSuccess(result = Flush()))
            return result;
        ++riffIndex;
    }
    for (CStrl& stream : strl) {
        stream.IndexList_Reset();
        stream.startRiff();
    }
    const uint64_t slots = uint64_t(strl.size()) * CStrl::indexSlotSize;
    if (first) {
        // The first movi list starts in the header, its index room first; the
        // frames follow the header's reserved size.
        RiffBuilder out(header, moviListAt);
        out.open(fourCC("LIST"), fourCC("movi"));
        out.zeros(slots);
        out.junkTo(std::max<uint64_t>(header.size(), roundToSector(out.position() + 8)));
        riffStartOffset = 0;
        endOfData = header.size();
        riffSize = header.size() - 8;
    } else {
        riffStartOffset = endOfData;
        moviListAt = 12;
        avixHead.assign(roundToSector(12 + 12 + slots + 8), 0);
        RiffBuilder out(avixHead);
        out.u32(fourCC("RIFF"));
        out.u32(0);
        out.u32(fourCC("AVIX"));
        out.open(fourCC("LIST"), fourCC("movi"));
        out.zeros(slots);
        if (avixHead.size() - out.position() < 8) {
            setLastError(Fail, L"The AVIX head has no room for its JUNK chunk.");
            return Fail;
        }
        out.junkTo(avixHead.size());
        endOfData = riffStartOffset + avixHead.size();
        riffSize = avixHead.size() - 8;
    }
    moviSize = currentHead().size() - moviListAt - 8;
    writeLE32(currentHead().data() + 4, static_cast<uint32_t>(riffSize));
    writeLE32(currentHead().data() + moviListAt + 4, static_cast<uint32_t>(moviSize));
    return WriteIndexTable(true);
}

CvResult FileWriter::WriteIndexTable(bool updateHeader, bool lastPass)
{
    std::vector<unsigned char>& head = currentHead();
    bool headerChanged = false;
    for (CStrl& stream : strl) {
        if (stream.IndexList_Size() >= maxIndexEntries) {
            setLastError(Fail, L"Avi::FileWriter::WriteIndexTable: (%d) has exceed max entries (%d)",
                         int(stream.IndexList_Size()), int(maxIndexEntries));
            return Fail;
        }
        size_t slot = indexSlotAt(stream.streamIndex);
        CvResult result = stream.WriteIndexTable(head.data() + slot, riffStartOffset + slot, moviBase(), header,
                                                 headerChanged, *this, lastPass);
        if (!isSuccess(result))
            return result;
    }
    CvResult result = WriteAtOffset(riffStartOffset, head.data(), head.size(), L"the RIFF's indexes");
    if (isSuccess(result) && updateHeader && riffIndex && headerChanged)
        result = WriteHeader();
    return result;
}

CvResult FileWriter::WriteLegacyIndexTable()
{
    if (legacyIndexWritten || strl[0].samplesWritten == 0)
        return OK;
    size_t rows = 0;
    for (const CStrl& stream : strl)
        rows = std::max(rows, stream.IndexList_Size());
    std::vector<unsigned char> block;
    RiffBuilder out(block);
    size_t chunk = out.open(fourCC("idx1"));
    // One entry per stream per frame, offsets from the movi list's code.
    const uint64_t base = moviBase();
    for (size_t row = 0; row < rows; ++row)
        for (const CStrl& stream : strl) {
            if (row >= stream.IndexList_Size())
                continue;
            const CIndexEntry& entry = stream.IndexList_GetEntry(row);
            out.u32(entry.chunkId);
            out.u32(entry.flags);
            out.u32(static_cast<uint32_t>(entry.offset - base));
            out.u32(entry.size);
        }
    out.close(chunk);
    if (const uint64_t room = junkRoom(out.position()))
        out.junkTo(out.position() + room);
    // Marked written only once it is on the disk: a write that failed is
    // tried again at the next roll-over or at close.
    CvResult result = WriteAtOffset(endOfData, block.data(), block.size(), L"the idx1 index");
    if (!isSuccess(result))
        return result;
    legacyIndexWritten = true;
    endOfData += block.size();
    riffSize += block.size();
    uint32_t maxBuffer = 0;
    writeLE32(header.data() + totalFramesAt, static_cast<uint32_t>(strl[0].samplesWritten));
    writeLE32(header.data() + maxBytesPerSecAt, static_cast<uint32_t>(strl[0].get_MaxBufferSize() * videoRate()));
    for (const CStrl& stream : strl)
        stream.Flush(header, sectorSize, maxBuffer);
    return OK;
}

CvResult FileWriter::Flush()
{
    if (strl.empty())
        return OK;
    uint32_t maxBuffer = 0, firstBuffer = 0;
    for (size_t s = 0; s < strl.size(); ++s) {
        strl[s].Flush(header, sectorSize, maxBuffer);
        if (s == 0)
            firstBuffer = maxBuffer;
    }
    writeLE32(header.data() + suggestedBufferSizeAt, firstBuffer);
    writeLE32(header.data() + totalFramesAt, static_cast<uint32_t>(strl[0].samplesWritten));
    writeLE32(header.data() + dmlhFramesAt, static_cast<uint32_t>(strl[0].samplesWritten));
    std::vector<unsigned char>& head = currentHead();
    writeLE32(head.data() + 4, static_cast<uint32_t>(riffSize));
    writeLE32(head.data() + moviListAt + 4, static_cast<uint32_t>(moviSize));
    CvResult result = WriteHeader();
    if (isSuccess(result) && riffIndex)
        result = WriteAtOffset(riffStartOffset, avixHead.data(), avixHead.size(), L"the AVIX head");
    return result;
}

CvResult FileWriter::WriteSamples(const TrackData* items, unsigned count)
{
    if (strl.empty())
        return InvalidState;
    if (!items || count < tracks.size())
        return InvalidArg;
    if (strl[0].samplesWritten >= maxFrames)
        return MaxFileSizeExceeded;
    uint64_t needed = 0;
    for (size_t s = 0; s < strl.size(); ++s)
        needed += uint64_t(items[trackOrder[s]].size) + 2 * sectorSize;
    if (frameBuffer.size() < needed)
        frameBuffer.resize(2 * needed);

    CvResult result = rollOverIfDue(items, needed);
    if (!isSuccess(result))
        return result;

    uint64_t written = 0;
    result = WriteNextFrame(items, written);
    if (!isSuccess(result))
        return result;
    riffSize += written;
    moviSize += written;
    for (CStrl& stream : strl) {
        const TrackData& item = items[trackOrder[stream.streamIndex]];
        if (item.size == 0)
            continue;
        stream.maxItemSize = std::max(stream.maxItemSize, item.size);
        stream.IncrementSamplesWritten(stream.get_SampleCountFromDataSize(item.size));
    }
    if (flushFrequency && ++framesSinceFlush >= flushFrequency) {
        bool ready = true;
        for (const CStrl& stream : strl)
            ready = ready && stream.HaveAllFrames();
        if (ready) {
            framesSinceFlush = 0;
            if (!isSuccess(result = WriteIndexTable(false)) || !isSuccess(result = Flush()))
                return result;
        }
    }
    return OK;
}

CvResult FileWriter::rollOverIfDue(const TrackData* items, uint64_t needed)
{
    if (strl[0].samplesWritten == 0)
        return OK;
    size_t longest = 0;
    bool displayComplete = true;
    for (const CStrl& stream : strl) {
        longest = std::max(longest, stream.IndexList_Size());
        displayComplete = displayComplete && stream.HaveAllFrames();
    }
    const uint64_t limit = riffIndex ? avixRiffLimit : firstRiffLimit;
    if (riffSize + 2 * needed <= limit && longest + 64 < maxIndexEntries)
        return OK;
    const uint32_t frameType = items[trackOrder[0]].frameType;
    const bool overdue = riffSize + 2 * needed > overdueRiffSize || longest + overdueIndexMargin >= maxIndexEntries;
    const bool full = riffSize + needed >= fullRiffSize || longest + 1 >= maxIndexEntries;
    if (isKeyFrameType(frameType) || (overdue && displayComplete) || full)
        return CreateNewRIFFChunk();
    setLastError(L"Cannot create new riff chunk item not a key frame, frame type=" + std::to_wstring(frameType));
    return OK;
}

uint32_t FileWriter::displayPositionOf(const TrackData& item)
{
    const uint32_t shown = nextRealLocation != noRealLocation ? nextRealLocation : item.presentationIndex;
    nextRealLocation = noRealLocation;
    return shown;
}

CvResult FileWriter::WriteNextFrame(const TrackData* items, uint64_t& written)
{
    const uint32_t realLocation = nextRealLocation;
    written = 0;
    size_t at = 0;
    std::vector<size_t> added;
    for (CStrl& stream : strl) {
        const TrackData& item = items[trackOrder[stream.streamIndex]];
        if (item.size == 0 || !item.data)
            continue;
        stream.IndexList_Add(endOfData + at, item, stream.isVideo ? displayPositionOf(item) : 0,
                             findIBPRealLocation);
        added.push_back(stream.streamIndex);
        writeLE32(frameBuffer.data() + at, stream.chunkId);
        writeLE32(frameBuffer.data() + at + 4, item.size);
        std::copy(item.data, item.data + item.size, frameBuffer.data() + at + 8);
        at += 8 + item.size;
        if (at & 1)
            frameBuffer[at++] = 0;
        // Each chunk is followed by JUNK up to a sector boundary.
        const uint64_t room = junkRoom(endOfData + at);
        if (room) {
            writeLE32(frameBuffer.data() + at, fourCC("JUNK"));
            writeLE32(frameBuffer.data() + at + 4, static_cast<uint32_t>(room - 8));
            std::fill(frameBuffer.data() + at + 8, frameBuffer.data() + at + room, 0);
            at += room;
        }
    }
    if (at == 0)
        return OK;
    auto undo = [&] {
        for (size_t s : added)
            strl[s].IndexList_RemoveLast(findIBPRealLocation);
        nextRealLocation = realLocation;
    };
    unsigned done = 0;
    CvResult result = file.seek(static_cast<unsigned long>(endOfData), nullptr, 0);
    if (isSuccess(result))
        result = file.write(frameBuffer.data(), static_cast<unsigned>(at), done);
    if (!isSuccess(result)) {
        const int error = errno;
        undo();
        setLastError(result, L"WriteNextFrame failed to write data. %ls", systemReason(error).c_str());
        return result;
    }
    if (done != at) {
        undo();
        setLastError(Fail, L"WriteNextFrame only write %d/%zd bytes", int(done), at);
        return Fail;
    }
    endOfData += at;
    written = at;
    return OK;
}

CvResult FileWriter::close()
{
    if (strl.empty()) {
        initVariables();
        return OK;
    }
    CvResult result = OK;
    const bool hasFrames = strl[0].samplesWritten > 0;
    if (hasFrames) {
        result = WriteIndexTable(false, true);
        CvResult legacy = WriteLegacyIndexTable();
        CvResult flushed = Flush();
        if (isSuccess(result))
            result = !isSuccess(legacy) ? legacy : flushed;
    }
    file.close();
    if (!hasFrames)
        Vex::CDiskFile::remove(fileName);
    initVariables();
    return result;
}

} // namespace Corvidane::Avi
