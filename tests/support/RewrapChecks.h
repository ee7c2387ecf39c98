#pragma once
#include <string>

// What the end-to-end tests of cvtool rewrap ask of a source and its copy,
// through cvtool, ffprobe and ffmpeg. Each command that fails fails the test.

// Runs a shell command that must succeed; its standard output.
std::string run(const std::string& command);

// cvtool rewrap with `options` (each followed by a space).
void rewrap(const std::string& source, const std::string& output, const std::string& options = "");

// ffprobe's list of the first picture stream's packets: size, flags, MD5.
std::string videoPackets(const std::string& path);
// The same list with the key flag alone (ffprobe's discard flag left out).
std::string videoPacketsKeyFlagOnly(const std::string& path);
// The first picture stream's list as cvtool probe gives it, in the form of
// the one above.
std::string ourVideoPackets(const std::string& path);
// The key flags alone.
std::string keyFlags(const std::string& path);
// The MD5 of each decoded picture, in decode order.
std::string decodedFrames(const std::string& path);
// The MD5 of all decoded sound as 32-bit PCM, or of sound stream `stream` alone.
std::string decodedSound(const std::string& path, int stream = -1);
// The MD5 of sound stream `stream`'s bytes as stored: as ffmpeg copies them
// out, and as cvtool extract gives them through our reader.
std::string storedSound(const std::string& path, int stream);
std::string ourSound(const std::string& path, int stream);
// The first timecode ffprobe finds on a stream, else the file's; empty when none.
std::string timecodeOf(const std::string& path);
// The number of lines of mediainfo's report that speak of an error or a
// truncated file.
std::string mediainfoComplaints(const std::string& path);
// The header metadata sets of an MXF file (as cvtool dump finds them) that
// mediainfo's detailed view doesn't list at the same place with the same
// size, one line each; empty when it reads every one.
std::string setsMediainfoMisreads(const std::string& path);
