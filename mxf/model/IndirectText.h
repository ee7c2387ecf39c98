#pragma once
#include <cstdint>
#include <string>
#include <vector>

// The text of an Avid comment value. Avid and ffmpeg write it as an indirect
// value: a 17-byte string header (a byte-order letter, then the type label of
// a UTF-16 string), then the text in that byte order.
namespace Corvidane::MXF {

constexpr uint64_t stringHeaderSize = 17;

// Writes the header with the little-endian letter 'L' (0x4C): 17, or 0 when
// `size` is below 17; a null `dst` only answers 17.
uint64_t getStringHeader(unsigned char* dst, uint64_t size);
// Bytes 9 to 16 hold the label of the header; a shorter value has none.
bool isStringHeader(const unsigned char* data, uint64_t size);
// True for a first byte 'B' (0x42), which marks the big-endian form: the name
// is the opposite of what it answers, and callers read it so.
bool isLittleEndian(const unsigned char* data);

// With a header, UTF-16 in the byte order it gives; without, UTF-16
// little-endian. Up to the first zero unit.
std::wstring indirectTextFromData(const unsigned char* data, uint64_t size);
// The header, then the text in UTF-16 little-endian with a closing zero unit.
std::vector<unsigned char> indirectTextToData(const std::wstring& text);

} // namespace Corvidane::MXF
