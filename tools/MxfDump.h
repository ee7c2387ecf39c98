#pragma once
#include <string>

// Prints an MXF file's partitions, primers and header metadata sets, each
// set by its SMPTE class name with its properties by name and value, and the
// package graph the references make; as text for people, or JSON. Sets and
// properties the model doesn't know are listed as unknown with their keys.
// Returns the process exit code; errors go to standard error.
int dumpMxf(const std::string& path, bool json);
