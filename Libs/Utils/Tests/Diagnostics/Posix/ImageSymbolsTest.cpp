#include <gtest/gtest.h>
#include <unistd.h>

#include <memory>
#include <string>
#include <vector>

#include "zaUtils/Diagnostics/Internal/ImageSymbols.h"
#include "zaUtils/Os/Crash.h"
#include "zaUtils/Os/Stack.h"

// The other reader of the same tables is this host's.

namespace {

using za::diagnostics::SymbolQuery;

std::string lastPart(const std::string& path) {
    return path.substr(path.rfind('/') + 1);
}

TEST(ImageSymbols, AgreesWithTheSymbolLibrary) {
    static za::os::CrashModule modules[za::os::kMostCrashModules];
    ASSERT_GT(za::os::loadedModules(modules), 0u);
    const za::os::CrashModule& program = modules[0];
    std::size_t size = 0;
    const void* data = za::os::mapModule(program, size);
    ASSERT_NE(data, nullptr);
    const auto library = za::os::stackHost().loadDebugHelp("dbghelp.dll");
    const auto process = static_cast<unsigned long>(::getpid());
    ASSERT_TRUE(library->resolve("SymGetLineFromAddr64"));
    ASSERT_TRUE(library->symInitialize(nullptr, process, nullptr));

    constexpr std::size_t kAddresses = 600;
    const std::uint64_t step = (program.end - program.base) / kAddresses | 1;
    std::vector<SymbolQuery> queries(kAddresses);
    for (std::size_t i = 0; i < kAddresses; ++i)
        queries[i].offset = i * step;
    za::diagnostics::findSymbols(data, size, queries.data(), queries.size());

    int known = 0;
    for (const SymbolQuery& query : queries) {
        za::os::LineRecord line;
        if (!query.file) continue;
        if (!library->symGetLineFromAddr64(nullptr, program.base + query.offset, line)) continue;
        ++known;
        EXPECT_EQ(lastPart(query.file), lastPart(line.file)) << std::hex << query.offset;
        EXPECT_EQ(query.line, line.number) << std::hex << query.offset;
    }
    EXPECT_GT(known, 50);
}

}  // namespace
