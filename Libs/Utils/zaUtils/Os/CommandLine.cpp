#include "zaUtils/Os/CommandLine.h"

#include <algorithm>

namespace za::os {

namespace {

constexpr const char* kBlanks = " \t";

bool isBlank(char c) {
    return c == ' ' || c == '\t';
}

void skipBlanks(std::string_view& rest) {
    rest.remove_prefix(std::min(rest.find_first_not_of(kBlanks), rest.size()));
}

std::string takeProgramName(std::string_view& rest) {
    std::string name;
    std::size_t i = 0;
    for (bool isQuoted = false; i < rest.size() && (isQuoted || !isBlank(rest[i])); ++i) {
        if (rest[i] == '"') {
            isQuoted = !isQuoted;
        } else {
            name += rest[i];
        }
    }
    rest.remove_prefix(i);
    return name;
}

/// Takes off backslashes and says how many there were.
std::size_t takeBackslashes(std::string_view& rest) {
    const std::size_t count = std::min(rest.find_first_not_of('\\'), rest.size());
    rest.remove_prefix(count);
    return count;
}

std::string takeArgument(std::string_view& rest) {
    std::string argument;
    for (bool isQuoted = false;;) {
        const std::size_t backslashes = takeBackslashes(rest);
        const bool atQuote = !rest.empty() && rest[0] == '"';
        argument.append(atQuote ? backslashes / 2 : backslashes, '\\');
        if (rest.empty() || (!isQuoted && isBlank(rest[0]))) return argument;

        const bool isDoubled = isQuoted && rest.substr(0, 2) == "\"\"";
        if (!atQuote || backslashes % 2 == 1) {
            argument += rest[0];
        } else if (isDoubled) {
            argument += '"';
            rest.remove_prefix(1);
        } else {
            isQuoted = !isQuoted;
        }
        rest.remove_prefix(1);
    }
}

}  // namespace

std::vector<std::string> splitCommandLine(std::string_view commandLine) {
    std::vector<std::string> arguments;
    std::string_view rest = commandLine;
    skipBlanks(rest);
    if (rest.empty()) return arguments;
    arguments.push_back(takeProgramName(rest));
    for (skipBlanks(rest); !rest.empty(); skipBlanks(rest))
        arguments.push_back(takeArgument(rest));
    return arguments;
}

std::string quoteArgument(std::string_view argument) {
    if (!argument.empty() && argument.find_first_of(" \t\n\v\"") == std::string_view::npos) {
        return std::string(argument);
    }
    std::string result = "\"";
    for (std::string_view rest = argument;;) {
        const std::size_t backslashes = takeBackslashes(rest);
        // Those before a quote, also before the closing one, count half.
        const bool atQuote = rest.empty() || rest[0] == '"';
        result.append(atQuote ? 2 * backslashes : backslashes, '\\');
        if (rest.empty()) return result + '"';
        if (atQuote) result += '\\';
        result += rest[0];
        rest.remove_prefix(1);
    }
}

}  // namespace za::os
