#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <fstream>
#include <map>
#include <set>
#include <sstream>
#include <thread>

#include "zaUtils/Platform/zaCPUInfo.h"

namespace {

using Registers = zaCPUInfo::Registers;
using Leaves = std::map<std::uint32_t, Registers>;

constexpr std::uint32_t kSse2 = 1u << 26;
constexpr std::uint32_t kFma = 1u << 12;
constexpr std::uint32_t kSse42 = 1u << 20;
constexpr std::uint32_t kMovbe = 1u << 22;
constexpr std::uint32_t kOsXSave = 1u << 27;
constexpr std::uint32_t kAvx = 1u << 28;
constexpr std::uint32_t kAll = kFma | kMovbe | kOsXSave | kAvx;
constexpr std::uint32_t kAvx512 = 1u << 16;

std::uint32_t word(const char* text) {
    std::uint32_t result = 0;
    std::memcpy(&result, text, sizeof(result));
    return result;
}

/// A made-up processor, and what it prints when it is read.
zaCPUInfo cpu(const Leaves& leaves, std::string* printed = nullptr) {
    testing::internal::CaptureStdout();
    zaCPUInfo info([&](std::uint32_t leaf, std::uint32_t subLeaf) {
        const auto found = leaves.find(leaf);
        // What a real one answers beyond its last leaf is anything.
        return found != leaves.end() && subLeaf == 0 ? found->second
                                                     : Registers{~0u, ~0u, ~0u, ~0u};
    });
    const std::string output = testing::internal::GetCapturedStdout();
    if (printed) *printed = output;
    return info;
}

TEST(CPUInfo, DecodesEveryFieldOfAMadeUpProcessor) {
    std::string printed;
    const zaCPUInfo info =
        cpu({{0, {7, word("Genu"), word("ntel"), word("ineI")}},
             {1, {0x0FABAD79, 0x12345678, kAll | kSse42, kSse2}},
             {7, {0, kAvx512, 0, 1u << 4}},
             {0x80000000, {0x80000004, 0, 0, 0}},
             {0x80000001, {0, 0, 1u << 5, 1u << 29}},
             {0x80000002, {word("    "), word(" A m"), word("ade-"), word("up p")}},
             {0x80000003, {word("roce"), word("ssor"), word(" @ 1"), word(" GHz")}},
             {0x80000004, {word("    "), 0, 0, 0}}},
            &printed);
    EXPECT_EQ(printed, "CPUBrandString: \n");  // deliberately without the brand
    EXPECT_EQ(info.getVendor(), "GenuineIntel");
    EXPECT_TRUE(info.isIntel() && !info.isAMD());
    EXPECT_EQ(info.getBrand(), "A made-up processor @ 1 GHz");
    const zaCPUInfo::Signature signature = info.getSignature();
    EXPECT_EQ(signature.stepping, 0x9);
    EXPECT_EQ(signature.model, 0x7);
    EXPECT_EQ(signature.family, 0xD);
    EXPECT_EQ(signature.type, 0x2);
    EXPECT_EQ(signature.extendedModel, 0xB);
    EXPECT_EQ(signature.extendedFamily, 0xFA);
    EXPECT_EQ(info.getBrandIndex(), 0x78);
    EXPECT_EQ(info.getCacheLineFlushSize(), 0x56);
    EXPECT_EQ(info.getLogicalProcessorCount(), 0x34);
    EXPECT_EQ(info.getInitialApicId(), 0x12);
    EXPECT_TRUE(info.hasSSE2Support() && info.hasSSE42Support() && info.hasAVXSupport());
    EXPECT_TRUE(info.hasAVX2Support() && info.hasAVX512Support());
    EXPECT_FALSE(info.hasFeature(zaCPUInfo::Feature::AVX2));
    const std::vector<std::string> features = {"fma",  "sse4_2",  "movbe", "osxsave", "avx",
                                               "sse2", "avx512f", "fsrm",  "lzcnt",   "lm"};
    EXPECT_EQ(info.getFeatures(), features);
}

TEST(CPUInfo, CombinesFeaturesAsPromised) {
    const struct {
        const char* name;
        std::uint32_t maxLeaf, ecx, ebx7;
        bool avx2, avx512;
    } cases[] = {
        {"everything", 7, kAll, kAvx512, true, true},
        {"no foundation", 7, kAll, ~kAvx512, true, false},
        {"no MOVBE", 7, kAll & ~kMovbe, ~0u, false, false},
        {"no FMA", 7, kAll & ~kFma, ~0u, false, false},
        {"no OSXSAVE", 7, kAll & ~kOsXSave, ~0u, false, false},
        {"no AVX", 7, ~kAvx, ~0u, false, false},
        {"leaf 7 out of reach", 6, kAll, kAvx512, true, false},
        {"leaf 1 out of reach", 0, kAll, kAvx512, false, false},
    };
    for (const auto& [name, maxLeaf, ecx, ebx7, avx2, avx512] : cases) {
        SCOPED_TRACE(name);
        const zaCPUInfo info = cpu({{0, {maxLeaf, word("Auth"), word("cAMD"), word("enti")}},
                                    {1, {0, 0, ecx, 0}},
                                    {7, {0, ebx7, 0, 0}},
                                    {0x80000000, {0, 0, 0, 0}}});
        EXPECT_EQ(info.hasAVX2Support(), avx2);
        EXPECT_EQ(info.hasAVX512Support(), avx512);
        EXPECT_TRUE(info.isAMD() && !info.isIntel());
        EXPECT_EQ(info.getBrand(), "");
    }
    // One without the instruction, and one of another maker.
    EXPECT_TRUE(cpu({{0, {}}, {0x80000000, {}}}).getFeatures().empty());
    const zaCPUInfo other =
        cpu({{0, {0, word("Cent"), word("auls"), word("aurH")}}, {0x80000000, {}}});
    EXPECT_EQ(other.getVendor(), "CentaurHauls");
    EXPECT_FALSE(other.isAMD() || other.isIntel());
}

TEST(CPUInfo, IsReadOnce) {
    testing::internal::CaptureStdout();
    const zaCPUInfo* seen[4] = {};
    std::vector<std::thread> threads;
    for (const zaCPUInfo*& info : seen)
        threads.emplace_back([&info] { info = &zaCPUInfo::getCPUInfo(); });
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "CPUBrandString: \n");
    EXPECT_TRUE(
        std::all_of(seen, seen + 4, [&](const zaCPUInfo* info) { return info == seen[0]; }));
}

// The kernel's list holds what the processor has and the kernel allows, and features of its own.
// Only one of the hosts has such a list.
TEST(CPUInfo, HasWhatTheKernelHasFound) {
    std::ifstream file("/proc/cpuinfo");
    std::map<std::string, std::string> lines;
    for (std::string line; std::getline(file, line) && !line.empty();) {
        const std::size_t colon = line.find(": ");
        if (colon != std::string::npos) {
            lines[line.substr(0, line.find('\t'))] = line.substr(colon + 2);
        }
    }
    if (lines["flags"].empty()) GTEST_SKIP() << "no list of flags here";

    const zaCPUInfo& info = zaCPUInfo::getCPUInfo();
    EXPECT_EQ(info.getVendor(), lines["vendor_id"]);
    EXPECT_EQ(info.getBrand(), lines["model name"]);
    EXPECT_EQ(std::to_string(info.getSignature().stepping), lines["stepping"]);

    std::istringstream flags(lines["flags"]);
    const std::set<std::string> expected{std::istream_iterator<std::string>(flags), {}};
    const std::vector<std::string> features = info.getFeatures();
    const std::set<std::string> found(features.begin(), features.end());
    for (const char* name :
         {"fpu",         "tsc",     "cmov",       "mmx",      "sse",           "sse2",  "ssse3",
          "sse4_1",      "sse4_2",  "movbe",      "popcnt",   "aes",           "xsave", "avx",
          "f16c",        "rdrand",  "hypervisor", "bmi1",     "avx2",          "bmi2",  "avx512f",
          "rdseed",      "adx",     "clflushopt", "avx512vl", "avx512vbmi",    "gfni",  "vaes",
          "avx512_vnni", "rdpid",   "fsrm",       "lahf_lm",  "3dnowprefetch", "sse4a", "syscall",
          "nx",          "pdpe1gb", "rdtscp",     "lm"}) {
        EXPECT_EQ(found.count(name), expected.count(name)) << name;
    }
}

}  // namespace
