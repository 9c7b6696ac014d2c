#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "zaUtils/Diagnostics/Internal/FunctionName.h"
#include "zaUtils/Diagnostics/Internal/ImageSymbols.h"
#include "zaUtils/Logging/Internal/LogRing.h"
#include "zaUtils/Os/Crash.h"

namespace za_crash_parts {

volatile int g_value = 0;

constexpr int kLineToFind = __LINE__ + 2;
[[gnu::noinline]] void functionToFind() {
    ++g_value;
}

}  // namespace za_crash_parts

namespace {

using testing::EndsWith;
using testing::HasSubstr;
using za::diagnostics::SymbolQuery;

TEST(FunctionName, IsReadableWithoutAllocating) {
    const struct {
        const char* symbol;
        const char* name;
    } cases[] = {
        {"main", "main"},
        {"_Z1fv", "f"},
        {"_ZN5zaLog4infoEPKcz", "zaLog::info"},
        {"_ZNK2ns1KclEi", "ns::K::operator()"},
        {"_ZN2ns1KC2Ev", "ns::K::K"},
        {"_ZN2ns1KD1Ev", "ns::K::~K"},
        {"_ZN12_GLOBAL__N_11fESt8functionIFvvEE", "(anonymous namespace)::f"},
        {"_ZSt9terminatev", "std::terminate"},
        {"_ZNSt6vectorIiSaIiEE9push_backERKi", "std::vector<...>::push_back"},
        {"_ZN1AIN2ns1BILi3EEEE1gINS0_1CEEEvT_", "A<...>::g<...>"},
        {"_ZNKSt8functionIFvvEEclEv", "std::function<...>::operator()"},
        {"_ZZN3foo3barEiENKUlvE_clEv", "foo::bar::{lambda}::operator()"},
        {"_ZN3fooL3barE", "foo::bar"},
        {"_ZN3foo3barB5cxx11Ev", "foo::bar"},
        {"_ZSt13runtime_error", "std::runtime_error"},
        // What is not understood stays as it is.
        {"_Z", "_Z"},
        {"_ZN3fooE", "foo"},
        {"_ZN99999fooEv", "_ZN99999fooEv"},
        {"_ZN", "_ZN"},
        {"_ZN1AIXsr1B1cEE1fEv", "_ZN1AIXsr1B1cEE1fEv"},
    };
    for (const auto& [symbol, name] : cases) {
        char text[128];
        za::diagnostics::writeFunctionName(symbol, text, sizeof text);
        EXPECT_STREQ(text, name);
    }
    char small[8];
    za::diagnostics::writeFunctionName("_ZN5zaLog4infoEPKcz", small, sizeof small);
    EXPECT_STREQ(small, "zaLog::");
    za::diagnostics::writeFunctionName(("_Z" + std::string(100000, 'N')).c_str(), small,
                                       sizeof small);
    EXPECT_STREQ(small, "_ZNNNNN");
}

/// The file of this program, and where a function lies in it.
struct OwnImage {
    OwnImage() {
        static za::os::CrashModule modules[za::os::kMostCrashModules];
        const auto address = reinterpret_cast<std::uint64_t>(&za_crash_parts::functionToFind);
        const std::size_t count = za::os::loadedModules(modules);
        for (std::size_t i = 0; i < count; ++i) {
            if (address < modules[i].base || address >= modules[i].end) continue;
            data = static_cast<const char*>(za::os::mapModule(modules[i], size));
            offset = address - modules[i].base;
        }
    }
    const char* data = nullptr;
    std::size_t size = 0;
    std::uint64_t offset = 0;
};

TEST(ImageSymbols, FindsFunctionFileAndLineInThisProgram) {
    const OwnImage image;
    ASSERT_NE(image.data, nullptr);
    SymbolQuery queries[3];
    queries[0].offset = image.offset;
    queries[1].offset = image.offset + 1;
    queries[2].offset = ~std::uint64_t{0} / 2;
    za::diagnostics::findSymbols(image.data, image.size, queries, 3);
    for (const SymbolQuery& query : {queries[0], queries[1]}) {
        ASSERT_NE(query.symbol, nullptr);
        EXPECT_THAT(query.symbol, HasSubstr("functionToFind"));
        ASSERT_NE(query.file, nullptr);
        EXPECT_THAT(query.file, EndsWith("CrashPartsTest.cpp"));
        EXPECT_NEAR(static_cast<int>(query.line), za_crash_parts::kLineToFind, 1);
    }
    EXPECT_EQ(queries[2].file, nullptr);
}

// A copy of its own size, so that a sanitizer sees a read beyond the end.
TEST(ImageSymbols, SurvivesAnyBytes) {
    const OwnImage image;
    ASSERT_NE(image.data, nullptr);
    const std::size_t size = std::min<std::size_t>(image.size, 4000000);
    std::minstd_rand random(1);
    for (int round = 0; round < 60; ++round) {
        const std::size_t cut = round < 10 ? static_cast<std::size_t>(round) * 40 : random() % size;
        const std::unique_ptr<char[]> copy(new char[cut + 1]);
        std::memcpy(copy.get(), image.data, cut);
        const std::size_t changes = round % 3 == 0 ? 0 : random() % 200;
        for (std::size_t i = 0; i < changes && cut > 0; ++i) {
            const std::size_t range = i % 2 == 0 ? std::min<std::size_t>(cut, 1024) : cut;
            copy[random() % range] = static_cast<char>(random());
        }
        SymbolQuery query;
        query.offset = image.offset;
        za::diagnostics::findSymbols(copy.get(), cut, &query, 1);
    }
}

TEST(LogRing, KeepsTheLastMessagesInOrder) {
    const auto ring = std::make_unique<za::log::LogRing>();
    EXPECT_EQ(ring->size(), 0u);
    for (int i = 0; i < 201; ++i) {
        ring->add('I', std::to_string(i).c_str(), i);
        EXPECT_EQ(ring->size(), std::min<std::size_t>(static_cast<std::size_t>(i) + 1, 200u));
    }
    EXPECT_STREQ((*ring)[0].text, "1");
    EXPECT_STREQ((*ring)[199].text, "200");
    EXPECT_EQ((*ring)[199].time, 200);
    for (const std::size_t length : {1022u, 1023u, 1024u, 5000u}) {
        ring->add('E', std::string(length, 'x').c_str(), 0);
        EXPECT_EQ(std::strlen((*ring)[199].text), std::min<std::size_t>(length, 1023u));
    }
}

}  // namespace
