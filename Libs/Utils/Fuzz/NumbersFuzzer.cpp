// Numbers, lists and options are read as streams in the classic locale read them, while the
// program's locale has other punctuation.

#include <fuzzer/FuzzedDataProvider.h>

#include <algorithm>
#include <cstring>
#include <vector>

#include "Fuzzing.h"
#include "Tests/Support/ClassicStreams.h"

namespace {

std::vector<float> valuesOf(std::string text) {
    if (text.find("TRUE") != std::string::npos) return {1};
    if (text.find("FALSE") != std::string::npos) return {0};
    if (text.find('e') == std::string::npos) return {readByStream<float>(text)};
    std::vector<float> values;
    for (std::size_t e; (e = text.find('e')) != std::string::npos; text.erase(0, e + 5))
        values.push_back(readByStream<float>(text.substr(0, e + 5)));
    return values;
}

void checkDigits(std::string text, unsigned group) {
    std::string grouped = zaString::beautifyDigits(text, "\x1F", group);
    std::size_t digits = 0;
    for (const char c : grouped) {
        digits = c >= '0' && c <= '9' ? digits + 1 : 0;
        require(group == 0 || digits <= group, "no more digits than a group has");
    }
    for (std::string* cleaned : {&grouped, &text})
        cleaned->erase(std::remove(cleaned->begin(), cleaned->end(), '\x1F'), cleaned->end());
    require(grouped == text, "separators are all that was inserted");
}

}  // namespace

int LLVMFuzzerInitialize(int*, char***) {
    static const CommaLocale locale;
    return 0;
}

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FuzzedDataProvider input(data, size);
    const auto bits = input.ConsumeIntegral<std::uint64_t>();
    const std::string text = input.ConsumeRemainingBytesAsString();

    require(isReadAlike(text), "a text is read as a stream reads it");
    const std::string option = text.substr(0, text.find(','));
    require(zaString::getStringOption(text) == option, "an option ends before the comma");
    require(isReadAlike(option, zaString::getDoubleOption), "an option is read as a stream does");
    require(zaString::getDoubleOption(text) == zaString::getDoubleOption(option),
            "an option's number ends before the comma");
    const std::vector<float> values = zaString::getValuesFromString(text);
    require(values == valuesOf(text), "values are those of the pieces");
    checkDigits(text, static_cast<unsigned>(bits % 5));

    double number;
    std::memcpy(&number, &bits, sizeof number);
    require(isWrittenAlike(number) && isWrittenAlike(static_cast<float>(number)) &&
                isWrittenAlike(bits) && isWrittenAlike(static_cast<std::int64_t>(bits)),
            "a number is written as a stream writes it");
    return 0;
}
