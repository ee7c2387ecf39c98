#pragma once
#include <map>
#include <string>
#include <vector>

// What a command of cvtool takes, and the parse of its arguments against
// that: every refusal names the token it refused.

enum class ValueKind {
    None,         // a flag
    Text,         // any text
    WholeNumber,  // decimal digits that fit in 32 bits
    Number,       // a decimal number, fractions allowed
    Literal,      // exactly the text of the value's name
};

struct OptionSpec {
    const char* name;   // "--packets", "-select_streams"
    const char* value;  // what the value is called in the usage, or null for a flag
    ValueKind kind;
    const char* help;
};

enum class OperandKind {
    MediaFile,  // a file the plug-in reads: it must be there, readable, of an extension the plug-in takes
    InputFile,  // a file cvtool reads itself: it must be there and readable
    LaterFile,  // a file that may not be there yet
    Output,     // a file to be made
    Folder,
    Command,    // the name of a command of cvtool
};

struct OperandSpec {
    const char* name;
    OperandKind kind;
    bool optional;
};

struct CommandSpec {
    const char* name;
    const char* summary;
    std::vector<OptionSpec> options;
    std::vector<OperandSpec> operands;
    // Lines that tell more, for `cvtool help COMMAND`; may be empty.
    const char* details;
};

struct Arguments {
    std::map<std::string, std::string> options;  // by name; a flag's value is empty
    std::vector<std::string> operands;

    bool has(const std::string& name) const { return options.count(name) != 0; }
    std::string value(const std::string& name) const;
    // The options and operands again as arguments, options first.
    std::vector<std::string> asList() const;
};

// False with `refusal` set ("unknown option '--x'") when the arguments don't
// fit the command. "--" ends the options.
bool parseArguments(const CommandSpec& spec, const std::vector<std::string>& args, Arguments& out,
                    std::string& refusal);

// True when the text is decimal digits alone that fit in 32 bits.
bool parseWholeNumber(const std::string& text, unsigned& value);

// "probe [--packets] [--hash md5] FILE".
std::string synopsis(const CommandSpec& spec);
