#pragma once
#include <cstddef>

#include "frame/MediaFileReader.h"

// Drives every query of the reader contract over a loaded reader, as the
// host's read paths would: stream queries, index entries, reads of each
// sample, key frame and GOP queries, metadata. For fuzzers and truncation
// sweeps: it asserts nothing itself, its job is to reach every code path with
// hostile values, bounded so that no claim in the file makes it run long.
struct ExerciseLimits {
    int maxStreams = 16;
    unsigned maxSamples = 512;
    size_t maxBuffer = 4u << 20;
};

// Returns the number of samples read successfully.
unsigned exerciseReader(Corvidane::MediaFileReader& reader, const ExerciseLimits& limits = {});
