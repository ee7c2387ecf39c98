#pragma once
#include <cstddef>
#include <vector>

// The bodies of the Avid atoms that DNxHD sample descriptions carry, made
// from the first bytes of a coded frame.
namespace Corvidane::QuickTime {

struct AvidAtomBlocks {
    std::vector<unsigned char> aclr, aprg, ares;
};

// ACLR, APRG and ARES for a frame of the given size; -1 with fewer than 44
// bytes of frame header, else 0.
int initialize_avid_atoms(const unsigned char* header, size_t headerLength, unsigned width, unsigned height,
                          AvidAtomBlocks& blocks);

// The 24-byte ADHR body; -1 with fewer than 44 bytes of header or when `id`
// is not the frame's compression id, else 0.
int initialize_avid_HR_atoms(const unsigned char* header, size_t headerLength, std::vector<unsigned char>& block,
                             unsigned id);

} // namespace Corvidane::QuickTime
