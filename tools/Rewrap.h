#pragma once
#include <string>
#include <vector>

class PluginHost;

// cvtool rewrap [--op-atom] [--index-last] SOURCE OUTPUT: reads SOURCE through the reader resource as the
// editor does (pictures in coded order, the sound of each frame by sample
// position) and writes OUTPUT through the writer resource of its extension,
// one frame with its sound at a time. PCM sound goes along; compressed sound,
// which the editor would decode first, is left out with a word; a source
// without pictures gives its sound alone, through the resource's path for
// files without video. An MXF copy names its coding as the editor's MXF
// encoder does. A writer's refusal is printed in its own words. Shows its
// progress on a terminal. With --index-last a movie's index follows its
// samples; with --op-atom an MXF copy is a file per track. OUTPUT's extension
// (MOV, MXF, AVI) picks the writer resource. Returns the process exit code; 2 for arguments it
// can't take.
int rewrapFile(PluginHost& host, const std::vector<std::string>& args);
