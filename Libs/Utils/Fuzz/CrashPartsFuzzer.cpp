// What a crash report reads of files and symbol tables may hold any bytes.

#include <fuzzer/FuzzedDataProvider.h>

#include <cstring>
#include <string>

#include "Fuzzing.h"
#include "zaUtils/Diagnostics/Internal/FunctionName.h"
#include "zaUtils/Diagnostics/Internal/ImageSymbols.h"

namespace {

void checkName(const std::string& symbol) {
    char text[64];
    std::memset(text, 'x', sizeof text);
    za::diagnostics::writeFunctionName(symbol.c_str(), text, sizeof text);
    require(std::memchr(text, 0, sizeof text) != nullptr, "a name ends in its buffer");
}

void checkImage(const std::string& image, std::uint64_t offset) {
    za::diagnostics::SymbolQuery queries[2];
    queries[0].offset = offset;
    za::diagnostics::findSymbols(image.data(), image.size(), queries, 2);
    for (const auto& query : queries) {
        for (const char* text : {query.symbol, query.directory, query.file}) {
            if (!text) continue;
            require(text >= image.data() && text < image.data() + image.size(),
                    "texts lie in the image");
            require(std::strlen(text) < image.size(), "texts end in the image");
        }
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FuzzedDataProvider input(data, size);
    const auto offset = input.ConsumeIntegral<std::uint64_t>();
    checkName("_Z" + input.ConsumeRandomLengthString(200));
    checkImage(input.ConsumeRemainingBytesAsString(), offset);
    return 0;
}
