// Text utilities agree with their definitions, written out with the standard library.

#include <fuzzer/FuzzedDataProvider.h>

#include <cctype>
#include <sstream>
#include <string>
#include <vector>

#include "Fuzzing.h"
#include "zaUtils/Strings/zaString.h"

namespace {

using Pieces = std::vector<std::string>;

Pieces splitByLines(const std::string& text, char delimiter) {
    std::istringstream stream(text);
    Pieces pieces;
    for (std::string piece; std::getline(stream, piece, delimiter);)
        pieces.push_back(piece);
    return pieces;
}

std::string replacedByTheSteps(std::string text, const std::string& from, const std::string& to) {
    for (std::size_t found = text.find(from); found != std::string::npos;
         found = text.find(from, found + to.size())) {
        text.replace(found, from.size(), to);
    }
    return text;
}

void checkPieces(const std::string& text, char delimiter) {
    const Pieces pieces = zaString::split(text, delimiter);
    require(pieces == splitByLines(text, delimiter), "pieces are those of the line reader");
    const std::string separator(1, delimiter);
    const bool endsInDelimiter = zaString::endsWith(text, separator);
    require(zaString::join(pieces, separator, false) + (endsInDelimiter ? separator : "") == text,
            "pieces make the text");

    Pieces names = splitByLines(text, ',');
    for (std::string& name : names) {
        std::size_t start = 0;
        while (start < name.size() && std::isspace(static_cast<unsigned char>(name[start])))
            ++start;
        name.erase(0, start);
    }
    require(zaString::getCommaSeparatedNames(text) == names, "names lose leading white space");
}

void checkPart(const std::string& text, const std::string& part) {
    const std::size_t found = text.find(part);
    const std::size_t last = text.rfind(part);
    require(zaString::contains(text, part) == (found != std::string::npos), "contains finds");
    require(zaString::startsWith(text, part) == (found == 0), "a prefix is found at the start");
    require(zaString::endsWith(text, part) ==
                (last != std::string::npos && last + part.size() == text.size()),
            "a suffix is found at the end");
    const std::string common = zaString::getCommonLeadingString(text, part);
    require(zaString::startsWith(text, common) && zaString::startsWith(part, common),
            "both start with what is common");
    const std::size_t size = common.size();
    require(size == text.size() || size == part.size() || text[size] != part[size],
            "no more is common");
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FuzzedDataProvider input(data, size);
    const char delimiter = input.ConsumeIntegral<char>();
    const int count = input.ConsumeIntegral<short>();
    const std::string from = input.ConsumeRandomLengthString(8);
    const std::string to = input.ConsumeRandomLengthString(8);
    const std::string text = input.ConsumeRemainingBytesAsString();

    checkPieces(text, delimiter);
    checkPart(text, from);
    checkPart(from + to, from);
    std::string replaced = text;
    zaString::replace(replaced, from, to);
    require(replaced == (from.empty() ? text : replacedByTheSteps(text, from, to)),
            "replacing follows its steps");
    const int rest = static_cast<int>(text.size()) - count;
    if (count >= 0 && rest >= 0) {
        require(zaString::left(text, count) + zaString::right(text, rest) == text,
                "left and right make the text");
    }
    require(zaString::toLower(zaString::toUpper(text)) == zaString::toLower(text),
            "case changes lose nothing but the case");
    require(zaString::toUpper(zaString::capitalize(text)) == zaString::toUpper(text),
            "capitals change nothing but the case");
    return 0;
}
