// cvtool: a command-line host for the plug-in. It loads the library the way
// the editor does and drives its resources.
#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "frame/Utf8.h"
#include "tools/Capture.h"
#include "tools/Extract.h"
#include "tools/Follow.h"
#include "tools/IndexBench.h"
#include "mxf/write/AafDictionaryFiles.h"
#include "tools/DriverRegistration.h"
#include "tools/MxfDump.h"
#include "tools/PluginHost.h"
#include "tools/Probe.h"
#include "tools/ReadFrames.h"
#include "tools/Rewrap.h"

namespace {

const char* usage =
    "usage: cvtool [--plugin LIBRARY] [--config KEY=VALUE]... COMMAND ...\n"
    "commands:\n"
    "  plugins                                 list the plug-in's resources in creation order\n"
    "  probe [--packets] [--hash md5] FILE     print streams (and packets) as ffprobe-style JSON\n"
    "  read [--alternate] FILE                 read every video frame, one read each (with --alternate,\n"
    "                                          each frame's audio in between)\n"
    "  read --frame N FILE                     read video frame N alone: its place, size, key flag, md5, and\n"
    "                                          the size and md5 of the bytes the editor receives\n"
    "  rewrap [--op-atom] [--index-last] SOURCE OUTPUT.{mov,mxf,avi}\n"
    "                                          read SOURCE as the editor does and write it through the writer\n"
    "                                          resource of OUTPUT's container\n"
    "  extract [--stream N] SOURCE OUTPUT      write one stream's essence as the editor receives it: video\n"
    "                                          samples in coded order (AVC as a byte stream), audio samples\n"
    "  capture [--pace FPS] [--handshake DIR [--step N]] [--times] SOURCE OUTPUT\n"
    "                                          copy SOURCE into OUTPUT as a capture does, with sidecar indexes\n"
    "  follow [--handshake DIR] [--poll-ms N] [--timeout S] [--times] FILE\n"
    "                                          read FILE through the plug-in while it is being captured\n"
    "  indexbench [--rows N] [--gets N] FOLDER time appending to and reading from a sidecar index\n"

    "  dump [--json] FILE                      list an MXF file's partitions and header metadata sets with their\n"
    "                                          properties and package graph\n"
    "  mxf-dictionaries FOLDER                 write the dictionary files that the MXF writer puts in OP-Atom\n"
    "                                          files into FOLDER\n";

// A frame number written in decimal digits alone.
bool parseCount(const std::string& text, unsigned& value)
{
    if (text.empty() || text.size() > 10 || text.find_first_not_of("0123456789") != std::string::npos)
        return false;
    unsigned long long parsed = std::strtoull(text.c_str(), nullptr, 10);
    value = static_cast<unsigned>(parsed);
    return parsed <= UINT32_MAX;
}

// Shows the usage when a command refused its arguments.
int withUsage(int exitCode)
{
    if (exitCode == 2)
        std::fputs(usage, stderr);
    return exitCode;
}

int listPlugins(PluginHost& host)
{
    HcPluginBase& plugin = host.plugin();
    std::printf("%s %s\n", plugin.name().c_str(), plugin.version().c_str());
    int index = 0;
    for (HcComponentBase* resource : plugin.resources()) {
        std::string kind, list;
        const std::vector<std::string>* names = nullptr;
        if (Hc::FileReaderResource* reader = resource->asFileReader()) {
            kind = "reader";
            names = &reader->extensions();
        } else if (Hc::FileWriterResource* writer = resource->asFileWriter()) {
            kind = "writer";
            names = &writer->formats();
        }
        for (size_t i = 0; names && i < names->size(); ++i)
            list += (i ? "," : "") + (*names)[i];
        std::printf("%d %-6s \"%s\" %s %s\n", index++, kind.c_str(), resource->resourceCode().c_str(),
                    resource->resourceName().c_str(), list.c_str());
    }
    return 0;
}

int probe(PluginHost& host, const std::vector<std::string>& args)
{
    ProbeOptions options;
    std::string file;
    for (size_t i = 0; i < args.size(); ++i) {
        if (args[i] == "--packets") {
            options.packets = true;
        } else if (args[i] == "--hash" && i + 1 < args.size() && args[i + 1] == "md5") {
            options.hashMd5 = true;
            ++i;
        } else if (file.empty() && args[i].rfind("--", 0) != 0) {
            file = args[i];
        } else {
            std::fputs(usage, stderr);
            return 2;
        }
    }
    if (file.empty()) {
        std::fputs(usage, stderr);
        return 2;
    }
    Hc::FileReaderResource* reader = host.fileReader();
    if (!reader) {
        std::fputs("cvtool: the plug-in offers no file reader\n", stderr);
        return 1;
    }
    return probeFile(*reader, Corvidane::fromUtf8(file), options);
}

} // namespace

int main(int argc, char** argv)
{
    std::setlocale(LC_ALL, "");
    std::string library = CV_DEFAULT_PLUGIN;
    if (const char* fromEnvironment = std::getenv("CV_PLUGIN"))
        library = fromEnvironment;
    int arg = 1;
    for (; arg < argc && std::strncmp(argv[arg], "--", 2) == 0; ++arg) {
        std::string option = argv[arg];
        if (option == "--plugin" && arg + 1 < argc) {
            library = argv[++arg];
        } else if (option == "--config" && arg + 1 < argc) {
            // Configuration reaches the plug-in as the host's global settings,
            // which it reads when it loads.
            std::string setting = argv[++arg];
            auto equals = setting.find('=');
            if (equals == std::string::npos || equals == 0) {
                std::fputs(usage, stderr);
                return 2;
            }
            ::setenv(setting.substr(0, equals).c_str(), setting.substr(equals + 1).c_str(), 1);
        } else {
            std::fputs(usage, stderr);
            return 2;
        }
    }
    if (arg >= argc) {
        std::fputs(usage, stderr);
        return 2;
    }
    std::string command = argv[arg];
    std::vector<std::string> args(argv + arg + 1, argv + argc);

    // The dump reads the file itself; it needs no plug-in.
    if (command == "dump") {
        if (args.size() == 1 && args[0].rfind("--", 0) != 0)
            return dumpMxf(args[0], false);
        if (args.size() == 2 && args[0] == "--json")
            return dumpMxf(args[1], true);
        std::fputs(usage, stderr);
        return 2;
    }
    if (command == "mxf-dictionaries") {
        if (args.size() != 1) {
            std::fputs(usage, stderr);
            return 2;
        }
        DriverRegistration files;
        std::wstring error;
        if (!Corvidane::MXF::writeAafDictionaryFiles(Corvidane::fromUtf8(args[0] + "/"), error)) {
            std::string text;
            Corvidane::toUtf8(error, text);
            std::fprintf(stderr, "cvtool: %s\n", text.c_str());
            return 1;
        }
        return 0;
    }
    PluginHost host;
    if (!host.load(library)) {
        std::fprintf(stderr, "cvtool: %s\n", host.error().c_str());
        return 1;
    }
    if (command == "plugins")
        return listPlugins(host);
    if (command == "probe")
        return probe(host, args);
    if (command == "read") {
        Hc::FileReaderResource* reader = host.fileReader();
        if (!reader) {
            std::fputs("cvtool: the plug-in offers no file reader\n", stderr);
            return 1;
        }
        unsigned frame = 0;
        if (args.size() == 3 && args[0] == "--frame" && parseCount(args[1], frame))
            return readOneFrame(*reader, Corvidane::fromUtf8(args[2]), frame);
        if (!args.empty() && args.size() <= 2 && (args.size() == 1 || args[0] == "--alternate"))
            return readFrames(*reader, Corvidane::fromUtf8(args.back()), args.size() == 2);
        std::fputs(usage, stderr);
        return 2;
    }
    if (command == "extract") {
        if (!host.fileReader()) {
            std::fputs("cvtool: the plug-in offers no file reader\n", stderr);
            return 1;
        }
        return withUsage(extractStream(*host.fileReader(), args));
    }
    if (command == "rewrap")
        return withUsage(rewrapFile(host, args));
    if (command == "capture")
        return withUsage(captureFile(args));
    if (command == "indexbench")
        return withUsage(indexBench(args));
    if (command == "follow") {
        if (!host.fileReader()) {
            std::fputs("cvtool: the plug-in offers no file reader\n", stderr);
            return 1;
        }
        return withUsage(followFile(*host.fileReader(), args));
    }
    std::fputs(usage, stderr);
    return 2;
}
