// Command lines are split without loss, and what is quoted comes back as it was.

#include <fuzzer/FuzzedDataProvider.h>

#include <algorithm>
#include <numeric>
#include <string>
#include <vector>

#include "Fuzzing.h"
#include "zaUtils/Os/CommandLine.h"

namespace {

using Arguments = std::vector<std::string>;

std::string join(const Arguments& arguments) {
    std::string line;
    for (const std::string& argument : arguments)
        line += (line.empty() ? "" : " ") + za::os::quoteArgument(argument);
    return line;
}

void checkRoundTrip(const Arguments& arguments) {
    const std::string line = join(arguments);
    require(za::os::splitCommandLine(line) == arguments, "what was quoted comes back");
    require(za::os::splitCommandLine(" \t" + line + " ") == arguments,
            "blanks outside are nothing");
}

void checkAnyText(const std::string& line) {
    Arguments arguments = za::os::splitCommandLine(line);
    const bool isBlank = line.find_first_not_of(" \t") == std::string::npos;
    require(arguments.empty() == isBlank, "every text but blanks has a program's name");
    const std::size_t size =
        std::accumulate(arguments.begin(), arguments.end(), std::size_t{0},
                        [](std::size_t sum, const std::string& text) { return sum + text.size(); });
    require(size <= line.size(), "nothing is invented");
    if (line.find_first_of("\"\\") == std::string::npos) {
        const auto holdsBlanks = [](const std::string& text) {
            return text.empty() || text.find_first_of(" \t") != std::string::npos;
        };
        require(std::none_of(arguments.begin(), arguments.end(), holdsBlanks), "blanks separate");
    }
    // No file has a name that ends in a backslash, and no quotes can express it.
    const bool hasName = !isBlank && (arguments[0].empty() || arguments[0].back() != '\\');
    if (hasName) checkRoundTrip(arguments);
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FuzzedDataProvider input(data, size);
    Arguments arguments{"program"};
    while (input.ConsumeBool())
        arguments.push_back(input.ConsumeRandomLengthString());
    checkRoundTrip(arguments);
    checkAnyText(input.ConsumeRemainingBytesAsString());
    return 0;
}
