// Bytes, and the first wrong one, do not depend on how the text arrives, and are those of the whole
// text without its blanks.

#include <fuzzer/FuzzedDataProvider.h>

#include <cstring>
#include <optional>
#include <string>
#include <vector>

#include "Base64Decoder.h"
#include "Fuzzing.h"
#include "zaUtils/Encoding/zaBase64.h"

namespace {

/// The offset of the first wrong byte, if there is one.
std::optional<std::uint64_t> decode(const std::string& text, std::size_t pieceSize,
                                    bool ignoreGarbage, std::string& bytes) {
    Base64Decoder decoder(ignoreGarbage);
    bool isGood = true;
    for (std::size_t i = 0; isGood && i < text.size(); i += pieceSize)
        isGood = decoder.add(std::string_view(text).substr(i, pieceSize), bytes);
    if (isGood && decoder.finish()) return std::nullopt;
    return decoder.firstBad();
}

void check(const std::string& text, std::size_t pieceSize, bool ignoreGarbage) {
    std::string kept, expected, bytes;
    std::vector<std::size_t> offsets;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const bool isBlank = std::strchr(" \t\r\n", text[i]) && text[i] != '\0';
        if (ignoreGarbage ? !zaBase64::isBase64Char(text[i]) : isBlank) continue;
        kept += text[i];
        offsets.push_back(i);
    }
    offsets.push_back(text.size());
    std::size_t firstBad = 0;
    const bool isGood = zaBase64::decodeStrict(kept, expected, &firstBad);
    const auto wrong = decode(text, pieceSize, ignoreGarbage, bytes);
    require(wrong.has_value() != isGood, "both find it right or wrong");
    require(isGood ? bytes == expected : *wrong == offsets[firstBad], "both find the same");
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FuzzedDataProvider input(data, size);
    const std::size_t pieceSize = input.ConsumeIntegralInRange<std::size_t>(1, 64);
    const bool ignoreGarbage = input.ConsumeBool();
    check(input.ConsumeRemainingBytesAsString(), pieceSize, ignoreGarbage);
    return 0;
}
