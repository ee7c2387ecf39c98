#pragma once
#include <cstdint>
#include <string>

// Byte-level rewrites of an ffmpeg MXF file into layouts that other writers
// use, keeping every offset of the file: what ffmpeg writes stands in for
// what they write, and ffprobe still reads the result.
namespace MxfLayoutVariants {

// Content packages without system item: each system item's key becomes a
// fill key, so that the item is fill of the same length.
std::string withoutSystemItems(std::string bytes);

// Index segments that keep only their first `keep` delta entries. With
// `entriesAtLastElement`, each index entry is moved to the last element of
// its edit unit (by that element's delta), as a writer that indexes its only
// element does.
std::string withDeltaEntriesCut(std::string bytes, unsigned keep, bool entriesAtLastElement);

// A metadata dictionary ahead of the preface, as Avid writes it: the fill
// item behind the primer takes the dictionary's key.
std::string withDictionaryAheadOfPreface(std::string bytes);

// Sequences and clips that claim `duration` edit units where they claimed
// `written`, as Avid gives a clip the length of its source.
std::string withDurationsClaimed(std::string bytes, uint64_t written, uint64_t duration);

} // namespace MxfLayoutVariants
