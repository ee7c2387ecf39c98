#include "tools/CommandLine.h"

#include <cstdint>
#include <cstdlib>

namespace {

bool isNumber(const std::string& text)
{
    if (text.empty())
        return false;
    char* end = nullptr;
    std::strtod(text.c_str(), &end);
    return *end == '\0' && text.find_first_not_of("0123456789.") == std::string::npos;
}

// Why a value doesn't suit its option; empty when it does.
std::string valueRefusal(const OptionSpec& option, const std::string& value)
{
    unsigned number = 0;
    switch (option.kind) {
    case ValueKind::WholeNumber:
        return parseWholeNumber(value, number) ? std::string()
                                               : std::string(option.name) + " takes a whole number, not '" + value + "'";
    case ValueKind::Number:
        return isNumber(value) ? std::string() : std::string(option.name) + " takes a number, not '" + value + "'";
    case ValueKind::Literal:
        return value == option.value ? std::string()
                                     : std::string(option.name) + " takes " + option.value + ", not '" + value + "'";
    default:
        return {};
    }
}

} // namespace

std::string Arguments::value(const std::string& name) const
{
    auto found = options.find(name);
    return found == options.end() ? std::string() : found->second;
}

std::vector<std::string> Arguments::asList() const
{
    std::vector<std::string> list;
    for (const auto& option : options) {
        list.push_back(option.first);
        if (!option.second.empty())
            list.push_back(option.second);
    }
    list.insert(list.end(), operands.begin(), operands.end());
    return list;
}

bool parseWholeNumber(const std::string& text, unsigned& value)
{
    if (text.empty() || text.size() > 10 || text.find_first_not_of("0123456789") != std::string::npos)
        return false;
    const unsigned long long parsed = std::strtoull(text.c_str(), nullptr, 10);
    if (parsed > UINT32_MAX)
        return false;
    value = unsigned(parsed);
    return true;
}

bool parseArguments(const CommandSpec& spec, const std::vector<std::string>& args, Arguments& out,
                    std::string& refusal)
{
    bool optionsEnded = false;
    for (size_t i = 0; i < args.size(); ++i) {
        const std::string& arg = args[i];
        if (!optionsEnded && arg == "--") {
            optionsEnded = true;
            continue;
        }
        if (optionsEnded || arg.size() < 2 || arg[0] != '-') {
            if (out.operands.size() == spec.operands.size()) {
                refusal = "unexpected argument '" + arg + "'";
                return false;
            }
            out.operands.push_back(arg);
            continue;
        }
        const OptionSpec* option = nullptr;
        for (const OptionSpec& known : spec.options)
            if (arg == known.name)
                option = &known;
        if (!option) {
            refusal = "unknown option '" + arg + "'";
            return false;
        }
        std::string value;
        if (option->value) {
            if (i + 1 == args.size()) {
                refusal = arg + " needs a value (" + option->value + ")";
                return false;
            }
            value = args[++i];
            refusal = valueRefusal(*option, value);
            if (!refusal.empty())
                return false;
        }
        out.options[arg] = value;
    }
    for (size_t i = out.operands.size(); i < spec.operands.size(); ++i)
        if (!spec.operands[i].optional) {
            refusal = std::string(spec.operands[i].name) + " is missing";
            return false;
        }
    return true;
}

std::string synopsis(const CommandSpec& spec)
{
    std::string text = spec.name;
    for (const OptionSpec& option : spec.options)
        text += std::string(" [") + option.name + (option.value ? std::string(" ") + option.value : "") + "]";
    for (const OperandSpec& operand : spec.operands)
        text += operand.optional ? std::string(" [") + operand.name + "]" : std::string(" ") + operand.name;
    return text;
}
