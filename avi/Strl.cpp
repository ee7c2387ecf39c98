#include "avi/Strl.h"

#include <algorithm>
#include <cstdio>

#include "avi/AviMediaType.h"
#include "frame/FourCC.h"

namespace Corvidane::Avi {

namespace {

double rateOf(const VideoStructuralData& video)
{
    return video.rateDenominator ? double(video.rateNumerator) / video.rateDenominator : 0.0;
}

bool inBand(double rate, double low, double high) { return rate >= low && rate <= high; }
bool ntscBand(double rate) { return inBand(rate, 29.96, 29.98); }

// Codes whose frames are stored as they are, one picture per chunk ("db").
bool isUncompressed(uint32_t code)
{
    for (uint32_t plain : {fourCC("YUY2"), fourCC("yuy2"), fourCC("HDYC"), fourCC("UYVY"), fourCC("uyvy"),
                           fourCC("yvyu")})
        if (code == plain)
            return true;
    return false;
}

// The fixed frame size of DV at the two standard definition sizes.
uint32_t dvFrameSize(const VideoStructuralData& video)
{
    const double rate = rateOf(video);
    const bool ntsc = video.width == 720 && video.height == 480 && ntscBand(rate);
    const bool pal = video.width == 720 && video.height == 576 && rate == 25.0;
    if (video.fourcc == fourCC("dv50"))
        return ntsc ? 240128 : pal ? 288256 : 0;
    if (video.fourcc == fourCC("dvsd") || video.fourcc == fourCC("dv25"))
        return ntsc ? 120320 : pal ? 144384 : 0;
    return 0;
}

std::string twoDigits(unsigned index)
{
    char text[8];
    std::snprintf(text, sizeof text, "%02u", index % 100);
    return text;
}

uint32_t codeOf(const std::string& text)
{
    return uint32_t(uint8_t(text[0])) | uint32_t(uint8_t(text[1])) << 8 | uint32_t(uint8_t(text[2])) << 16 |
           uint32_t(uint8_t(text[3])) << 24;
}

bool rewrite32(std::vector<unsigned char>& header, size_t at, uint32_t value)
{
    if (!at || readLE32(header.data() + at) == value)
        return false;
    writeLE32(header.data() + at, value);
    return true;
}

} // namespace

void CStrl::Create(unsigned index, const TrackStructuralData& track, RiffBuilder& header)
{
    streamIndex = index;
    isVideo = track.streamType == StreamVideo;
    const std::string number = twoDigits(index);
    if (isVideo) {
        chunkId = codeOf(number + (isUncompressed(track.video.fourcc) ? "db" : "dc"));
        fixedFrameSize = dvFrameSize(track.video);
        const uint32_t code = track.video.fourcc;
        if ((code == fourCC("MMES") || code == fourCC("mmes")) &&
            namesMpeg2Video(track.extendedData, track.extendedData ? track.extendedDataSize : 0))
            indexType = 16;
    } else {
        chunkId = codeOf(number + "wb");
        blockAlign = track.audio.blockAlign ? track.audio.blockAlign : 1;
    }
    indexChunkId = codeOf("ix" + number);

    size_t list = header.open(fourCC("LIST"), fourCC("strl"));
    CreateChunk_strh(track, header);
    CreateChunk_strf(track, header);
    CreateChunk_indx(header);
    if (isVideo)
        CreateChunk_vprp(track, header);
    header.close(list);
}

void CStrl::CreateChunk_strh(const TrackStructuralData& track, RiffBuilder& header)
{
    size_t chunk = header.open(fourCC("strh"));
    if (isVideo) {
        header.u32(fourCC("vids"));
        header.u32(track.video.fourcc);
    } else {
        header.u32(fourCC("auds"));
        header.u32(track.audio.format);
    }
    header.u32(0);   // dwFlags
    header.u16(0);   // wPriority
    header.u16(0);   // wLanguage
    header.u32(0);   // dwInitialFrames
    header.u32(isVideo ? track.video.rateDenominator : 1);
    header.u32(isVideo ? track.video.rateNumerator : track.audio.sampleRate);
    header.u32(0);   // dwStart
    dwLengthAt = header.position();
    header.u32(0);
    dwSuggestedBufferSizeAt = header.position();
    header.u32(0);
    header.u32(0);   // dwQuality
    header.u32(isVideo ? 0 : blockAlign);
    header.u16(0);
    header.u16(0);
    header.u16(isVideo ? static_cast<uint16_t>(track.video.width) : 0);
    header.u16(isVideo ? static_cast<uint16_t>(track.video.height) : 0);
    header.close(chunk);
}

void CStrl::CreateChunk_strf(const TrackStructuralData& track, RiffBuilder& header)
{
    const uint16_t extra = track.extendedData ? track.extendedDataSize : 0;
    size_t chunk = header.open(fourCC("strf"));
    if (isVideo) {
        header.u32(40);
        header.u32(track.video.width);
        header.u32(track.video.height);
        header.u16(1);
        header.u16(static_cast<uint16_t>(track.video.bitsPerPixel ? track.video.bitsPerPixel : 24));
        header.u32(track.video.fourcc);
        biSizeImageAt = header.position();
        header.u32(0);
        header.zeros(16);   // resolution and palette counts
    } else {
        const AudioStructuralData& audio = track.audio;
        header.u16(static_cast<uint16_t>(audio.format));
        header.u16(audio.channels);
        header.u32(audio.sampleRate);
        header.u32(audio.bytesPerSecond ? audio.bytesPerSecond : audio.sampleRate * blockAlign);
        header.u16(blockAlign);
        header.u16(audio.bitsPerSample);
        header.u16(extra);
    }
    if (extra)
        header.bytes(track.extendedData, extra);
    header.close(chunk);
}

void CStrl::CreateChunk_indx(RiffBuilder& header)
{
    size_t chunk = header.open(fourCC("indx"));
    header.u16(4);   // wLongsPerEntry
    header.u8(static_cast<uint8_t>(indexType));
    header.u8(0);    // an index of indexes
    superIndexCountAt = header.position();
    header.u32(0);
    header.u32(chunkId);
    header.zeros(12);
    superIndexFirstAt = header.position();
    header.zeros(size_t(maxSuperIndexEntries) * 16);
    header.close(chunk);
}

void CStrl::CreateChunk_vprp(const TrackStructuralData& track, RiffBuilder& header)
{
    // The OpenDML video properties: the signal behind the stored frame, for
    // the sizes that have a broadcast standard.
    const VideoStructuralData& video = track.video;
    const double rate = rateOf(video);
    uint32_t token = 0, standard = 0, refresh = 0, hTotal = 0, vTotal = 0;
    if (video.width == 720) {
        if (ntscBand(rate)) {
            token = 4, standard = 2, refresh = 60, hTotal = 858, vTotal = 525;
        } else if (inBand(rate, 23.97, 23.99) || inBand(rate, 59.93, 59.95)) {
            return;
        } else {
            token = 2, standard = 1, refresh = 50, hTotal = 864, vTotal = 625;
        }
    } else if (video.width == 1920 && video.height == 1080) {
        vTotal = 1125;
        if (rate == 25.0 || rate == 50.0)
            hTotal = 2640, refresh = 50;
        else if (inBand(rate, 23.97, 24.01))
            hTotal = 2750, refresh = 24;
        else
            hTotal = 2200, refresh = 60;
    } else if (video.width == 1280 && (inBand(rate, 59.93, 59.95) || rate == 60.0)) {
        vTotal = 750, hTotal = 1650, refresh = 60;
    } else {
        return;
    }
    const uint32_t fields = video.frameLayout == 3 ? 2 : 1;
    const uint32_t fieldHeight = video.height / fields;
    // The first active line of each field (or of the frame), by the lines of the system.
    uint32_t firstLine[2] = {23, 336};
    if (vTotal == 525)
        firstLine[0] = 20, firstLine[1] = 283;
    else if (vTotal == 1125)
        firstLine[0] = fields == 2 ? 21 : 42, firstLine[1] = 584;
    else if (vTotal == 750)
        firstLine[0] = 26;
    size_t chunk = header.open(fourCC("vprp"));
    header.u32(token);
    header.u32(standard);
    header.u32(refresh);
    header.u32(hTotal);
    header.u32(vTotal);
    header.u32(video.aspect ? video.aspect : (16u << 16 | 9u));
    header.u32(video.width);
    header.u32(video.height);
    header.u32(fields);
    for (uint32_t field = 0; field < fields; ++field) {
        header.u32(fieldHeight);   // compressed bitmap height and width
        header.u32(video.width);
        header.u32(fieldHeight);   // valid bitmap height and width
        header.u32(video.width);
        header.u32(0);             // valid bitmap x and y offsets
        header.u32(0);
        header.u32(0);             // x offset in T
        header.u32(firstLine[field]);
    }
    header.close(chunk);
}

void CStrl::IndexList_Add(uint64_t offset, const TrackData& item, uint32_t shownAt, bool shownFromTypes)
{
    CIndexEntry entry;
    entry.chunkId = chunkId;
    // P and B pictures are no key frames in idx1, nor in a plain index.
    entry.flags = isKeyFrameType(item.frameType) ? idx1KeyFrame : 0;
    entry.offset = offset;
    entry.size = item.size;
    entry.frameType = std::max<uint16_t>(indexFrameType(item.frameType), FrameIntra);
    entry.decodeIndex = indexList.empty() ? static_cast<uint32_t>(samplesWritten) : indexList.back().decodeIndex + 1;
    entry.displayIndex = entry.decodeIndex;
    if (isVideo && indexType == 16) {
        entry.displayIndex = shownAt;
        if (shownFromTypes) {
            CIndexEntry* anchor = entry.frameType & FrameBidirectional ? lastAnchor() : nullptr;
            entry.displayIndex = anchor ? anchor->displayIndex++ : entry.decodeIndex;
        }
    }
    indexList.push_back(entry);
}

CIndexEntry* CStrl::lastAnchor()
{
    const size_t stop = indexList.size() > displayReach ? indexList.size() - displayReach : 0;
    for (size_t i = indexList.size(); i-- > stop;)
        if (!(indexList[i].frameType & FrameBidirectional))
            return &indexList[i];
    return nullptr;
}

void CStrl::IndexList_RemoveLast(bool shownFromTypes)
{
    if (indexList.empty())
        return;
    const CIndexEntry removed = indexList.back();
    indexList.pop_back();
    if (shownFromTypes && isVideo && indexType == 16 && (removed.frameType & FrameBidirectional))
        if (CIndexEntry* anchor = lastAnchor())
            --anchor->displayIndex;
}

void CStrl::IndexList_Reset() { indexList.clear(); }

uint64_t CStrl::get_SampleCountFromDataSize(uint32_t size) const { return isVideo ? 1 : size / blockAlign; }

bool CStrl::Flush(std::vector<unsigned char>& header, unsigned sectorSize, uint32_t& maxBuffer) const
{
    uint64_t rounded = (uint64_t(maxItemSize) + sectorSize - 1) / sectorSize * sectorSize;
    maxBuffer = static_cast<uint32_t>(std::max<uint64_t>(std::min<uint64_t>(rounded, UINT32_MAX), fixedFrameSize));
    bool changed = rewrite32(header, dwLengthAt, static_cast<uint32_t>(samplesWritten));
    changed |= rewrite32(header, dwSuggestedBufferSizeAt, maxBuffer);
    if (isVideo)
        changed |= rewrite32(header, biSizeImageAt, maxBuffer);
    return changed;
}

bool CStrl::WriteMQIndexEntry(size_t i, unsigned char* out, bool lastPass) const
{
    const CIndexEntry& entry = indexList[i];
    const uint32_t expected = entry.decodeIndex;
    // The frame shown at this entry's place lies within reach of it.
    const size_t from = i > displayReach ? i - displayReach : 0, to = std::min(indexList.size(), i + displayReach + 1);
    const CIndexEntry* shown = nullptr;
    for (size_t j = from; j < to && !shown; ++j)
        if (indexList[j].displayIndex == expected)
            shown = &indexList[j];
    // A RIFF that ends before that frame came (display positions that were
    // never complete) lists the entry as shown in its own place, so that its
    // index holds every frame it holds.
    if (!shown && !lastPass)
        return false;
    if (!shown)
        shown = &entry;
    uint32_t sizeAndType = entry.size;
    if (entry.frameType & FrameBidirectional)
        sizeAndType |= 0x40000000;
    else if (entry.frameType & FramePredicted)
        sizeAndType |= 1u << 29;
    writeLE64(out, entry.offset + 8);
    writeLE32(out + 8, sizeAndType);
    writeLE32(out + 12, entry.displayIndex);
    writeLE32(out + 16, shown->decodeIndex);
    writeLE32(out + 20, 0);
    return true;
}

CvResult CStrl::WriteIndexTable(unsigned char* slot, uint64_t slotOffset, uint64_t moviBase,
                                std::vector<unsigned char>& header, bool& headerChanged, Base& errors,
                                bool lastPass)
{
    if (superIndexUsed >= maxSuperIndexEntries) {
        errors.setLastError(Fail, L"Avi::CStrl::WriteIndexTable: SuperIndexEntries (%d) has exceed max entries (%d)",
                            int(superIndexUsed), int(maxSuperIndexEntries));
        return Fail;
    }
    const unsigned longs = GetLongsPerEntryForIndexType(indexType);
    if (!longs) {
        errors.setLastError(Unexpected, L"Avi::CStrl::WriteIndexTable: WriteIndexTable unexpected index type %d",
                            int(indexType));
        return Unexpected;
    }
    const size_t entrySize = size_t(longs) * 4;
    const size_t room = (indexSlotSize - superIndexHeadSize) / entrySize;
    uint32_t written = 0;
    for (size_t i = 0; i < indexList.size() && i < room; ++i, ++written) {
        unsigned char* out = slot + superIndexHeadSize + i * entrySize;
        if (indexType == 16) {
            // What can't be paired yet waits for the next pass.
            if (!WriteMQIndexEntry(i, out, lastPass))
                break;
            continue;
        }
        writeLE32(out, static_cast<uint32_t>(indexList[i].offset + 8 - moviBase));
        writeLE32(out + 4, indexList[i].size | (indexList[i].flags & idx1KeyFrame ? 0 : stdIndexNotKey));
    }
    writeLE32(slot, indexChunkId);
    writeLE32(slot + 4, indexSlotSize - 8);
    writeLE16(slot + 8, static_cast<uint16_t>(longs));
    slot[10] = static_cast<unsigned char>(indexType);
    slot[11] = 1;   // an index of chunks
    writeLE32(slot + 12, written);
    writeLE32(slot + 16, chunkId);
    writeLE64(slot + 20, moviBase);
    writeLE32(slot + 28, 0);

    if (samplesInRiff == 0)
        return OK;
    if (needsNewSuperEntry) {
        needsNewSuperEntry = false;
        ++superIndexUsed;
        writeLE32(header.data() + superIndexCountAt, superIndexUsed);
    }
    unsigned char* super = header.data() + superIndexFirstAt + size_t(superIndexUsed - 1) * 16;
    writeLE64(super, slotOffset);
    writeLE32(super + 8, indexSlotSize);
    writeLE32(super + 12, static_cast<uint32_t>(samplesInRiff));
    headerChanged = true;
    return OK;
}

bool CStrl::HaveAllFrames() const
{
    if (!isVideo || indexType != 16 || samplesWritten == 0)
        return true;
    const uint32_t last = static_cast<uint32_t>(samplesWritten - 1);
    const size_t from = indexList.size() > displayReach ? indexList.size() - displayReach : 0;
    for (size_t i = indexList.size(); i-- > from;)
        if (indexList[i].displayIndex == last)
            return true;
    return false;
}

int CStrl::get_ApproxGopLen() const
{
    int longest = 0;
    size_t previous = SIZE_MAX;
    for (size_t i = 0; i < indexList.size() && i < 128; ++i) {
        if (!(indexList[i].frameType & FrameKey))
            continue;
        if (previous != SIZE_MAX)
            longest = std::max(longest, static_cast<int>(i - previous));
        previous = i;
    }
    return longest ? longest : 1;
}

} // namespace Corvidane::Avi
