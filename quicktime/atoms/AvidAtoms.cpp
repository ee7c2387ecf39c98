#include "quicktime/atoms/AvidAtoms.h"

#include <cstring>
#include <initializer_list>

#include "quicktime/atoms/Wire.h"

namespace Corvidane::QuickTime {

namespace {

// A tag of four letters, the version "0001", then 32-bit words.
std::vector<unsigned char> block(const char* tag, std::initializer_list<uint32_t> words, size_t length)
{
    std::vector<unsigned char> bytes(length, 0);
    std::memcpy(bytes.data(), tag, 4);
    std::memcpy(bytes.data() + 4, "0001", 4);
    size_t at = 8;
    for (uint32_t word : words)
        writeBE32(bytes.data() + at, word), at += 4;
    return bytes;
}

constexpr size_t frameHeaderNeeded = 44;

} // namespace

int initialize_avid_atoms(const unsigned char* header, size_t headerLength, unsigned width, unsigned height,
                          AvidAtomBlocks& blocks)
{
    if (!header || headerLength < frameHeaderNeeded)
        return -1;
    uint32_t compressionId = readBE32(header + 40);
    bool interlaced = (header[5] & 2) != 0;
    blocks.aclr = block("ACLR", {2, 0}, 16);
    blocks.aprg = block("APRG", {2, 0}, 16);
    if (interlaced)
        blocks.ares = block("ARES", {compressionId, width, height / 2, 2, 0, 4}, 112);
    else
        blocks.ares = block("ARES", {compressionId, width, height, 1, 0, height == 1080 ? 5u : 6u}, 112);
    return 0;
}

int initialize_avid_HR_atoms(const unsigned char* header, size_t headerLength, std::vector<unsigned char>& body,
                             unsigned id)
{
    if (!header || headerLength < frameHeaderNeeded || readBE32(header + 40) != id)
        return -1;
    body.assign(24, 0);
    std::memcpy(body.data(), "0001", 4);
    writeBE32(body.data() + 4, id);
    const uint32_t words[4] = {id == 1270 ? 2u : 0u, 3, id == 1270 ? 0x10000u : 0u, 0};
    for (size_t i = 0; i < 4; ++i)
        writeBE32(body.data() + 8 + 4 * i, words[i]);
    return 0;
}

} // namespace Corvidane::QuickTime
