// The expansion of references agrees with its definition, by a regular expression and a search from
// the start. The input is a list of variables, a line each, and the text, its last line.

#include <string>
#include <vector>

#include "Fuzzing.h"
#include "Tests/Support/ExpansionByDefinition.h"
#include "zaUtils/Platform/zaUtils.h"

namespace {

constexpr std::size_t kMaxSize = 1000;
constexpr std::size_t kMaxVariables = 16;

/// Half of all bytes stand for characters that mean something here.
char characterOf(std::uint8_t byte) {
    constexpr char kMeaningful[] = {'$', '{', '}', 'A', 'B', '_', '=', '\n'};
    return static_cast<char>(byte < 0x80 ? byte : kMeaningful[byte % sizeof(kMeaningful)]);
}

std::vector<std::string> linesOf(const std::uint8_t* data, std::size_t size) {
    std::vector<std::string> lines(1);
    for (std::size_t i = 0; i < size; ++i) {
        const char c = characterOf(data[i]);
        if (c == '\n') {
            lines.emplace_back();
        } else if (c != '\0') {
            lines.back() += c;
        }
    }
    return lines;
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::vector<std::string> lines = linesOf(data, size);
    if (size > kMaxSize || lines.size() > kMaxVariables) return -1;
    const std::string text = lines.back();
    lines.pop_back();

    // The lines themselves become the environment. This way a variable may be empty, too.
    ::clearenv();
    for (std::string& line : lines) {
        if (line.find('=') != std::string::npos) ::putenv(line.data());
    }
    require(zaUtils::expandEnvironment(text) == expandedByDefinition(text),
            "the expansion follows its definition");
    ::clearenv();
    return 0;
}
