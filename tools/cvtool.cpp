// cvtool: a command-line host for the plug-in. It loads the library the way
// the editor does and drives its resources.
#include <algorithm>
#include <cctype>
#include <clocale>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "frame/Utf8.h"
#include "mxf/write/AafDictionaryFiles.h"
#include "tools/Capture.h"
#include "tools/CommandLine.h"
#include "tools/DriverRegistration.h"
#include "tools/Extract.h"
#include "tools/Follow.h"
#include "tools/IndexBench.h"
#include "tools/InputFile.h"
#include "tools/MxfDump.h"
#include "tools/PluginHost.h"
#include "tools/PluginLocation.h"
#include "tools/Probe.h"
#include "tools/ReadFrames.h"
#include "tools/Rewrap.h"
#include "tools/Utf8StandIn.h"

namespace {

struct Command {
    CommandSpec spec;
    // Commands that read or write media go through the plug-in; the others
    // run without it.
    bool needsPlugin;
    int (*run)(PluginHost& host, const Arguments& args);
    // What the table can't say of the arguments: a refusal, or empty. Asked
    // before any file is looked at.
    std::string (*refusal)(const Arguments& args) = nullptr;
};

const char* const globalUsage =
    "usage: cvtool [--plugin LIBRARY] [--config KEY=VALUE]... COMMAND [ARGUMENTS]\n"
    "       cvtool help [COMMAND] | --help | --version\n";

// The host's global settings that the plug-in reads as it loads; their
// values are whole numbers.
const char* const settings[] = {"useFFmpegAVI", "EnableMpeg422AVI"};

int usageError(const CommandSpec& spec, const std::string& refusal)
{
    std::fprintf(stderr, "cvtool %s: %s\nusage: cvtool %s\n", spec.name, refusal.c_str(), synopsis(spec).c_str());
    return 2;
}

int globalUsageError(const std::string& refusal)
{
    std::fprintf(stderr, "cvtool: %s\n%sTry 'cvtool --help'.\n", refusal.c_str(), globalUsage);
    return 2;
}

int listPlugins(PluginHost& host, const Arguments&)
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

int probe(PluginHost& host, const Arguments& args);
std::string probeRefusal(const Arguments& args);
int read(PluginHost& host, const Arguments& args);
std::string readRefusal(const Arguments& args);

int rewrap(PluginHost& host, const Arguments& args) { return rewrapFile(host, args.asList()); }
int extract(PluginHost& host, const Arguments& args) { return extractStream(*host.fileReader(), args.asList()); }
int capture(PluginHost&, const Arguments& args) { return captureFile(args.asList()); }
int indexbench(PluginHost&, const Arguments& args) { return indexBench(args.asList()); }

int follow(PluginHost& host, const Arguments& args)
{
    FollowOptions options;
    options.handshake = args.value("--handshake");
    if (args.has("--poll-ms"))
        parseWholeNumber(args.value("--poll-ms"), options.pollMilliseconds);
    if (args.has("--timeout"))
        options.timeoutSeconds = std::atof(args.value("--timeout").c_str());
    options.times = args.has("--times");
    options.file = args.operands[0];
    return followFile(*host.fileReader(), options);
}

int dump(PluginHost&, const Arguments& args) { return dumpMxf(args.operands[0], args.has("--json")); }

int mxfDictionaries(PluginHost&, const Arguments& args)
{
    DriverRegistration files;
    std::wstring error;
    if (!Corvidane::MXF::writeAafDictionaryFiles(Corvidane::fromUtf8(args.operands[0] + "/"), error)) {
        std::string text;
        Corvidane::toUtf8(error, text);
        std::fprintf(stderr, "cvtool: %s\n", text.c_str());
        return 1;
    }
    return 0;
}

const std::vector<Command>& commands()
{
    using K = ValueKind;
    using O = OperandKind;
    static const std::vector<Command> table = {
        {{"plugins", "list the plug-in's resources in creation order", {}, {}, nullptr}, true, listPlugins},
        {{"probe",
          "print what the editor sees of a file (and its packets) as ffprobe-style JSON",
          {{"--packets", nullptr, K::None, "list the packets too, in file order"},
           {"--hash", "md5", K::Literal, "give each packet the MD5 of its bytes as data_hash"},
           {"-select_streams", "SPEC", K::Text, "only streams of a kind or number: v, a, d, v:0, 1"},
           {"-show_entries", "SPEC", K::Text, "only these sections and keys: stream=index,codec_type:format=duration"}},
          {{"FILE", O::MediaFile, false}},
          "Keys and JSON types are ffprobe's, so a consumer of ffprobe's JSON reads the output. A read that\n"
          "fails part way still ends the JSON, with what was gathered, and the error on standard error."},
         true,
         probe,
         probeRefusal},
        {{"read",
          "read every video frame as the editor does, or one frame alone",
          {{"--alternate", nullptr, K::None, "read each frame's audio between the frames"},
           {"--frame", "N", K::WholeNumber, "read frame N alone: its place, size, key flag and MD5, and the size\n"
                                            "and MD5 of the bytes the editor receives"}},
          {{"FILE", O::MediaFile, false}},
          nullptr},
         true,
         read,
         readRefusal},
        {{"rewrap",
          "read SOURCE as the editor does and write it through the writer of OUTPUT's container",
          {{"--op-atom", nullptr, K::None, "an MXF copy as a file per track"},
           {"--index-last", nullptr, K::None, "a movie's index after its samples"}},
          {{"SOURCE", O::MediaFile, false}, {"OUTPUT.{mov,mxf,avi}", O::Output, false}},
          nullptr},
         true,
         rewrap},
        {{"extract",
          "write one stream's essence as the editor receives it, back to back",
          {{"--stream", "N", K::WholeNumber, "the stream to write (the video, else the first audio stream)"}},
          {{"SOURCE", O::MediaFile, false}, {"OUTPUT", O::Output, false}},
          nullptr},
         true,
         extract},
        {{"capture",
          "copy SOURCE into OUTPUT as a capture does, with sidecar indexes beside it",
          {{"--pace", "FPS", K::Number, "frames a second"},
           {"--handshake", "DIR", K::Text, "take turns with a follower through the named pipes in DIR"},
           {"--step", "N", K::WholeNumber, "frames between turns"},
           {"--times", nullptr, K::None, "print the time each frame is written"}},
          {{"SOURCE", O::InputFile, false}, {"OUTPUT", O::Output, false}},
          nullptr},
         false,
         capture},
        {{"follow",
          "read FILE through the plug-in while it is being captured, or to its end when it is finished",
          {{"--handshake", "DIR", K::Text, "take turns with a capture through the named pipes in DIR"},
           {"--poll-ms", "N", K::WholeNumber, "milliseconds between looks (20)"},
           {"--timeout", "S", K::Number, "seconds to wait for the capture (60)"},
           {"--times", nullptr, K::None, "print the time each frame is read"}},
          {{"FILE", O::LaterFile, false}},
          "Prints \"STREAM ENTRY MD5\" per frame read."},
         true,
         follow},
        {{"indexbench",
          "time appending to and reading from a sidecar index",
          {{"--rows", "N", K::WholeNumber, "rows to append (3000000)"},
           {"--gets", "N", K::WholeNumber, "reads at random (20000)"}},
          {{"FOLDER", O::Folder, false}},
          nullptr},
         false,
         indexbench},
        {{"dump",
          "list an MXF file's partitions and header metadata sets with their properties",
          {{"--json", nullptr, K::None, "as JSON"}},
          {{"FILE", O::InputFile, false}},
          nullptr},
         false,
         dump},
        {{"mxf-dictionaries",
          "write the dictionary files that the MXF writer puts in OP-Atom files into FOLDER",
          {},
          {{"FOLDER", O::Folder, false}},
          nullptr},
         false,
         mxfDictionaries},
    };
    return table;
}

const Command* findCommand(const std::string& name)
{
    for (const Command& command : commands())
        if (name == command.spec.name)
            return &command;
    return nullptr;
}

void printHelp()
{
    std::printf("%s\nDrives the media I/O plug-in as the editor does: reads AVI, MXF, QuickTime and MP4 files\n"
                "through it and writes MOV, MXF and AVI files through its writers.\n\ncommands:\n",
                globalUsage);
    for (const Command& command : commands())
        std::printf("  %-18s %s\n", command.spec.name, command.spec.summary);
    std::printf("  %-18s %s\n", "help [COMMAND]", "show this, or what a command takes");
    std::printf("\noptions:\n"
                "  --plugin LIBRARY   the plug-in to load; else CV_PLUGIN, else the one beside cvtool or installed\n"
                "                     with it\n"
                "  --config KEY=VALUE a global setting the plug-in reads as it loads (%s, %s),\n"
                "                     a whole number\n"
                "  --version          cvtool's version and the plug-in's\n"
                "\nThe plug-in's log goes to standard error, or to the file named by HC_LOG_FILE.\n"
                "exit codes: 0 done; 1 a file couldn't be read or written, or the plug-in refused it;\n"
                "            2 arguments cvtool doesn't take.\n",
                settings[0], settings[1]);
}

void printCommandHelp(const CommandSpec& spec)
{
    std::string summary = spec.summary;
    summary[0] = char(std::toupper(static_cast<unsigned char>(summary[0])));
    std::printf("usage: cvtool %s\n\n%s.\n", synopsis(spec).c_str(), summary.c_str());
    if (spec.details)
        std::printf("\n%s\n", spec.details);
    if (!spec.options.empty())
        std::printf("\noptions:\n");
    for (const OptionSpec& option : spec.options) {
        const std::string name = std::string(option.name) + (option.value ? std::string(" ") + option.value : "");
        std::string help = option.help;
        for (size_t at = help.find('\n'); at != std::string::npos; at = help.find('\n', at + 1))
            help.insert(at + 1, 24, ' ');
        std::printf("  %-21s %s\n", name.c_str(), help.c_str());
    }
}

// A setting as the host's configuration takes it: a known key, a whole
// number, perhaps negative, that fits in an int.
std::string settingRefusal(const std::string& setting)
{
    const size_t equals = setting.find('=');
    const std::string key = setting.substr(0, equals);
    if (std::find(std::begin(settings), std::end(settings), key) == std::end(settings))
        return "unknown setting '" + key + "' (the plug-in reads " + settings[0] + " and " + settings[1] + ")";
    const std::string value = equals == std::string::npos ? std::string() : setting.substr(equals + 1);
    const std::string digits = !value.empty() && value[0] == '-' ? value.substr(1) : value;
    unsigned magnitude = 0;
    if (!parseWholeNumber(digits, magnitude) || magnitude > unsigned(INT32_MAX))
        return "setting " + key + " takes a whole number, not '" + value + "'";
    return {};
}

int showVersion(const std::string& library, const std::string& missing)
{
    std::printf("cvtool %s\n", CV_VERSION);
    std::fflush(stdout);
    PluginHost host;
    if (library.empty() || !host.load(library)) {
        std::fprintf(stderr, "cvtool: %s\n", library.empty() ? missing.c_str() : host.error().c_str());
        return 1;
    }
    std::printf("plug-in %s %s (%s)\n", host.plugin().name().c_str(), host.plugin().version().c_str(),
                library.c_str());
    return 0;
}

// The extensions a reader takes, as a user types them: ".avi, .mxf".
std::string extensionList(const Hc::FileReaderResource& reader)
{
    std::string list;
    for (const std::string& extension : reader.extensions()) {
        std::string lower = extension;
        std::transform(lower.begin(), lower.end(), lower.begin(), [](unsigned char c) { return std::tolower(c); });
        list += (list.empty() ? "." : ", .") + lower;
    }
    return list;
}

// Says why a file the command reads can't be read, before the plug-in is
// asked to open it. True when every one can be.
bool inputsReadable(const CommandSpec& spec, const Arguments& args)
{
    for (size_t i = 0; i < args.operands.size(); ++i) {
        const OperandKind kind = spec.operands[i].kind;
        if (kind != OperandKind::MediaFile && kind != OperandKind::InputFile)
            continue;
        const std::string reason = unreadableReason(args.operands[i]);
        if (!reason.empty()) {
            std::fprintf(stderr, "cvtool: %s: %s\n", args.operands[i].c_str(), reason.c_str());
            return false;
        }
    }
    return true;
}

bool inputsOfKnownTypes(const CommandSpec& spec, const Arguments& args, const Hc::FileReaderResource& reader)
{
    for (size_t i = 0; i < args.operands.size(); ++i) {
        if (spec.operands[i].kind != OperandKind::MediaFile ||
            reader.isFileTypeSupported(Corvidane::fromUtf8(args.operands[i]), 0))
            continue;
        std::fprintf(stderr, "cvtool: %s: not a file type the plug-in reads (it reads %s)\n",
                     args.operands[i].c_str(), extensionList(reader).c_str());
        return false;
    }
    return true;
}

// Files the plug-in is to read are reached under UTF-8 names.
bool reachable(const CommandSpec& spec, Arguments& args, Utf8StandIns& standIns)
{
    for (size_t i = 0; i < args.operands.size(); ++i) {
        const OperandKind kind = spec.operands[i].kind;
        if (kind != OperandKind::MediaFile && kind != OperandKind::LaterFile)
            continue;
        const std::string reached = standIns.reach(args.operands[i]);
        if (reached.empty()) {
            std::fprintf(stderr, "cvtool: %s: can't give the plug-in a name it takes for this file\n",
                         args.operands[i].c_str());
            return false;
        }
        args.operands[i] = reached;
    }
    return true;
}

// Runs a command on the plug-in `library`; when that is empty, `missing`
// says why there is none.
int runCommand(const Command& command, const std::vector<std::string>& rawArgs, const std::string& library,
               const std::string& missing)
{
    const CommandSpec& spec = command.spec;
    for (const std::string& arg : rawArgs) {
        if (arg == "--")
            break;
        if (arg == "--help" || arg == "-h") {
            printCommandHelp(spec);
            return 0;
        }
    }
    Arguments args;
    std::string refusal;
    if (!parseArguments(spec, rawArgs, args, refusal) || (command.refusal && !(refusal = command.refusal(args)).empty()))
        return usageError(spec, refusal);
    if (!inputsReadable(spec, args))
        return 1;
    PluginHost host;
    if (command.needsPlugin) {
        if (library.empty()) {
            std::fprintf(stderr, "cvtool: %s\n", missing.c_str());
            return 1;
        }
        if (!host.load(library)) {
            std::fprintf(stderr, "cvtool: %s\n", host.error().c_str());
            return 1;
        }
        if (!host.fileReader()) {
            std::fputs("cvtool: the plug-in offers no file reader\n", stderr);
            return 1;
        }
        if (!inputsOfKnownTypes(spec, args, *host.fileReader()))
            return 1;
    }
    Utf8StandIns standIns;
    if (!reachable(spec, args, standIns))
        return 1;
    const int status = command.run(host, args);
    if (status == 2)
        std::fprintf(stderr, "usage: cvtool %s\n", synopsis(spec).c_str());
    return status;
}

ProbeOptions probeOptions(const Arguments& args, std::string& refusal)
{
    ProbeOptions options;
    options.packets = args.has("--packets");
    options.hashMd5 = args.has("--hash");
    if (args.has("-select_streams"))
        options.selection.selectStreams(args.value("-select_streams"), refusal);
    if (refusal.empty() && args.has("-show_entries"))
        options.selection.showEntries(args.value("-show_entries"), refusal);
    return options;
}

std::string probeRefusal(const Arguments& args)
{
    std::string refusal;
    probeOptions(args, refusal);
    return refusal;
}

int probe(PluginHost& host, const Arguments& args)
{
    std::string refusal;
    return probeFile(*host.fileReader(), Corvidane::fromUtf8(args.operands[0]), probeOptions(args, refusal));
}

std::string readRefusal(const Arguments& args)
{
    return args.has("--frame") && args.has("--alternate")
               ? "--frame reads one frame alone; --alternate doesn't go with it"
               : std::string();
}

int read(PluginHost& host, const Arguments& args)
{
    const std::wstring path = Corvidane::fromUtf8(args.operands[0]);
    if (!args.has("--frame"))
        return readFrames(*host.fileReader(), path, args.has("--alternate"));
    unsigned frame = 0;
    parseWholeNumber(args.value("--frame"), frame);
    return readOneFrame(*host.fileReader(), path, frame);
}

} // namespace

int main(int argc, char** argv)
{
    std::setlocale(LC_ALL, "");
    std::string named;
    int arg = 1;
    bool version = false;
    for (; arg < argc && argv[arg][0] == '-'; ++arg) {
        const std::string option = argv[arg];
        const bool hasValue = arg + 1 < argc;
        if (option == "--help" || option == "-h") {
            printHelp();
            return 0;
        } else if (option == "--version") {
            version = true;
        } else if (option == "--plugin" && hasValue) {
            named = argv[++arg];
        } else if (option == "--config" && hasValue) {
            // Settings reach the plug-in as the host's global settings, which
            // it reads when it loads.
            const std::string setting = argv[++arg];
            const std::string refusal = settingRefusal(setting);
            if (!refusal.empty())
                return globalUsageError("--config " + setting + ": " + refusal);
            const size_t equals = setting.find('=');
            ::setenv(setting.substr(0, equals).c_str(), setting.substr(equals + 1).c_str(), 1);
        } else if (option == "--plugin" || option == "--config") {
            return globalUsageError(option + " needs a value");
        } else {
            return globalUsageError("unknown option '" + option + "'");
        }
    }
    std::string missing;
    const std::string library = findPlugin(named, missing);
    if (version)
        return showVersion(library, missing);
    if (arg >= argc)
        return globalUsageError("no command given");
    const std::string name = argv[arg];
    const std::vector<std::string> args(argv + arg + 1, argv + argc);
    if (name == "help") {
        if (args.empty()) {
            printHelp();
            return 0;
        }
        const Command* command = args.size() == 1 ? findCommand(args[0]) : nullptr;
        if (!command)
            return globalUsageError(args.size() == 1 ? "no command '" + args[0] + "' to tell of"
                                                     : "unexpected argument '" + args[1] + "'");
        printCommandHelp(command->spec);
        return 0;
    }
    const Command* command = findCommand(name);
    if (!command)
        return globalUsageError("unknown command '" + name + "'");
    return runCommand(*command, args, library, missing);
}
