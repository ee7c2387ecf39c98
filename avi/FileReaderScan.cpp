// Index loading for a file whose indexes were never written, as a capture
// killed before its first flush or a file cut short leaves it: the chunks of
// its movi lists as they lie, up to the last whole one.
#include <algorithm>

#include "avi/FileReader.h"

namespace Corvidane::Avi {

namespace {

// The chunk heads are read in blocks of this size, a block at each head that
// the one before doesn't hold: small chunks cost one read per block, large
// ones one read each.
constexpr uint64_t scanBlock = 64 << 10;
// No more chunks than this are indexed (some 46 hours of video and sound at
// 25 frames a second), whatever the file holds.
constexpr size_t largestScan = size_t(1) << 22;

// Four printable letters: anything else is where the written chunks end.
bool isChunkCode(uint32_t fourcc)
{
    for (int shift = 0; shift < 32; shift += 8) {
        const uint32_t c = (fourcc >> shift) & 0xFF;
        if (c < 0x20 || c > 0x7E)
            return false;
    }
    return true;
}

// The stream of a chunk of pictures ("00dc", "00db") or sound ("01wb"); -1
// for any other chunk.
int streamOfEssenceChunk(uint32_t fourcc)
{
    const char code[4] = {char(fourcc), char(fourcc >> 8), char(fourcc >> 16), char(fourcc >> 24)};
    if (code[0] < '0' || code[0] > '9' || code[1] < '0' || code[1] > '9')
        return -1;
    const bool essence = (code[2] == 'd' && (code[3] == 'c' || code[3] == 'b')) || (code[2] == 'w' && code[3] == 'b');
    return essence ? (code[0] - '0') * 10 + (code[1] - '0') : -1;
}

} // namespace

CvResult FileReader::scanMovi()
{
    if (!m_moviOffset)
        return fail(Fail, L"No index table.");
    std::vector<Stream*> byNumber = streamsWithoutOpenDmlIndex();
    std::vector<uint64_t> samples(m_streams.size(), 0);
    std::vector<unsigned char> block;
    unsigned blockStart = 0;
    uint64_t blockAt = 0, blockSize = 0;
    size_t found = 0;
    for (uint64_t at = m_moviOffset + 12; at + chunkHeadSize <= m_fileSize && found < largestScan;) {
        if (at < blockAt || at + chunkHeadSize > blockAt + blockSize) {
            blockSize = std::min(scanBlock, m_fileSize - at);
            if (!isSuccess(readAt(at, blockSize, block, blockStart)))
                break;
            blockAt = at;
        }
        const unsigned char* head = block.data() + blockStart + (at - blockAt);
        const uint32_t fourcc = readLE32(head);
        const uint32_t size = readLE32(head + 4);
        if (!isChunkCode(fourcc))
            break;
        // The chunks of an AVIX RIFF and of rec lists follow their heads.
        if (fourcc == fourCC("RIFF") || fourcc == fourCC("LIST")) {
            at += 12;
            continue;
        }
        const uint64_t end = at + chunkHeadSize + size;
        if (end > m_fileSize)
            break;
        const int number = streamOfEssenceChunk(fourcc);
        if (number >= 0 && static_cast<size_t>(number) < byNumber.size() && byNumber[number]) {
            Stream& stream = *byNumber[number];
            IndexEntry entry;
            entry.offset = at + chunkHeadSize;
            entry.size = size;
            // Nothing but an index tells a frame that needs others to decode.
            entry.frameType = FrameIntra;
            entry.presentationIndex = entry.decodeIndex = static_cast<uint32_t>(stream.window.entries().size());
            stream.window.entries().push_back(entry);
            samples[number] += isAudio(stream) ? size / stream.blockAlign() : 1;
            ++found;
        }
        at = padToEven(end);
    }
    if (!found)
        return fail(Fail, L"No index table.");
    finishWindows(byNumber, samples);
    return OK;
}

} // namespace Corvidane::Avi
