#include "zaUtils/Platform/zaCPUInfo.h"

#include <cstring>
#include <iostream>
#include <sstream>

#include "zaUtils/Os/Cpu.h"

namespace {

constexpr std::uint32_t kFirstExtendedLeaf = 0x80000000;
constexpr std::uint32_t kExtendedFeaturesLeaf = 0x80000001;
constexpr std::uint32_t kFirstBrandLeaf = 0x80000002;
constexpr std::uint32_t kLastBrandLeaf = 0x80000004;

constexpr int kBits = 32;

/// The features of each word by their bits, as the processor manuals name them; '-' stands for one
/// that is reserved, or that repeats one of leaf 1.
constexpr const char* kFeatureNames[zaCPUInfo::kWords] = {
    // leaf 1, ECX
    "sse3 pclmulqdq dtes64 monitor ds_cpl vmx smx est "
    "tm2 ssse3 cnxt_id sdbg fma cx16 xtpr pdcm "
    "- pcid dca sse4_1 sse4_2 x2apic movbe popcnt "
    "tsc_deadline aes xsave osxsave avx f16c rdrand hypervisor",
    // leaf 1, EDX
    "fpu vme de pse tsc msr pae mce "
    "cx8 apic - sep mtrr pge mca cmov "
    "pat pse36 psn clflush - ds acpi mmx "
    "fxsr sse sse2 ss ht tm ia64 pbe",
    // leaf 7, EBX
    "fsgsbase tsc_adjust sgx bmi1 hle avx2 - smep "
    "bmi2 erms invpcid rtm rdt_m - mpx rdt_a "
    "avx512f avx512dq rdseed adx smap avx512ifma - clflushopt "
    "clwb intel_pt avx512pf avx512er avx512cd sha avx512bw avx512vl",
    // leaf 7, ECX
    "prefetchwt1 avx512vbmi umip pku ospke waitpkg avx512_vbmi2 cet_ss "
    "gfni vaes vpclmulqdq avx512_vnni avx512_bitalg tme avx512_vpopcntdq - "
    "la57 - - - - - rdpid kl "
    "bus_lock_detect cldemote - movdiri movdir64b enqcmd sgx_lc pks",
    // leaf 7, EDX
    "- - avx512_4vnniw avx512_4fmaps fsrm uintr - - "
    "avx512_vp2intersect srbds_ctrl md_clear rtm_always_abort - - serialize hybrid "
    "tsxldtrk - pconfig arch_lbr cet_ibt - amx_bf16 avx512_fp16 "
    "amx_tile amx_int8 spec_ctrl stibp flush_l1d arch_capabilities core_capabilities ssbd",
    // leaf 0x80000001, ECX
    "lahf_lm cmp_legacy svm extapic cr8_legacy lzcnt sse4a misalignsse "
    "3dnowprefetch osvw ibs xop skinit wdt - lwp "
    "fma4 tce - nodeid_msr - tbm topoext perfctr_core "
    "perfctr_nb - bpext ptsc perfctr_llc mwaitx - -",
    // leaf 0x80000001, EDX
    "- - - - - - - - "
    "- - - syscall - - - - "
    "- - - mp nx - mmxext - "
    "- fxsr_opt pdpe1gb rdtscp - lm 3dnowext 3dnow",
};

constexpr int field(std::uint32_t bits, int first, int count) {
    return static_cast<int>((bits >> first) & ((1u << count) - 1));
}

void appendText(std::string& text, std::uint32_t characters) {
    for (int i = 0; i < 4; ++i)
        text += static_cast<char>(field(characters, 8 * i, 8));
}

}  // namespace

zaCPUInfo::zaCPUInfo(const ReadLeaf& readLeaf) {
    readBasicLeaves(readLeaf);
    _maxExtendedLeaf = readLeaf(kFirstExtendedLeaf, 0).eax;

    // Deliberately before the brand is known.
    std::cout << "CPUBrandString: " << _brand << std::endl;

    readExtendedLeaves(readLeaf);
    _isIntel = _vendor == "GenuineIntel";
    _isAMD = _vendor == "AuthenticAMD";
}

const zaCPUInfo& zaCPUInfo::getCPUInfo() {
    static const zaCPUInfo& info =
        *new zaCPUInfo([](std::uint32_t leaf, std::uint32_t subLeaf) -> Registers {
            const za::os::CpuRegisters registers = za::os::readCpuLeaf(leaf, subLeaf);
            return {registers.eax, registers.ebx, registers.ecx, registers.edx};
        });
    return info;
}

void zaCPUInfo::readBasicLeaves(const ReadLeaf& readLeaf) {
    const Registers start = readLeaf(0, 0);
    _maxLeaf = start.eax;
    for (const std::uint32_t characters : {start.ebx, start.edx, start.ecx})
        appendText(_vendor, characters);

    if (_maxLeaf >= 1) readLeaf1(readLeaf(1, 0));
    if (_maxLeaf >= 7) {
        const Registers registers = readLeaf(7, 0);
        setFeatures(Word::Leaf7Ebx, registers.ebx);
        setFeatures(Word::Leaf7Ecx, registers.ecx);
        setFeatures(Word::Leaf7Edx, registers.edx);
        _hasAVX512 = _hasAVX2 && hasFeature(Feature::AVX512F);
    }
}

void zaCPUInfo::readLeaf1(const Registers& registers) {
    _signature.stepping = field(registers.eax, 0, 4);
    _signature.model = field(registers.eax, 4, 4);
    _signature.family = field(registers.eax, 8, 4);
    _signature.type = field(registers.eax, 12, 2);
    _signature.extendedModel = field(registers.eax, 16, 4);
    _signature.extendedFamily = field(registers.eax, 20, 8);
    _brandIndex = field(registers.ebx, 0, 8);
    _cacheLineFlushSize = field(registers.ebx, 8, 8);
    _logicalProcessorCount = field(registers.ebx, 16, 8);
    _initialApicId = field(registers.ebx, 24, 8);
    setFeatures(Word::Leaf1Ecx, registers.ecx);
    setFeatures(Word::Leaf1Edx, registers.edx);
    _hasAVX2 = hasFeature(Feature::AVX) && hasFeature(Feature::OSXSAVE) &&
               hasFeature(Feature::MOVBE) && hasFeature(Feature::FMA);
}

void zaCPUInfo::readExtendedLeaves(const ReadLeaf& readLeaf) {
    // Without its top bit set the maximum is no answer; then it is below the first leaf, too.
    if (_maxExtendedLeaf >= kExtendedFeaturesLeaf) {
        const Registers registers = readLeaf(kExtendedFeaturesLeaf, 0);
        setFeatures(Word::Extended1Ecx, registers.ecx);
        setFeatures(Word::Extended1Edx, registers.edx);
    }
    std::string brand;
    for (std::uint32_t leaf = kFirstBrandLeaf; leaf <= kLastBrandLeaf && leaf <= _maxExtendedLeaf;
         ++leaf) {
        const Registers registers = readLeaf(leaf, 0);
        for (const std::uint32_t characters :
             {registers.eax, registers.ebx, registers.ecx, registers.edx})
            appendText(brand, characters);
    }
    std::memcpy(_brand, brand.data(), brand.size());
}

bool zaCPUInfo::hasFeature(Feature feature) const {
    const int number = static_cast<int>(feature);
    return field(_features[number / kBits], number % kBits, 1) != 0;
}

std::vector<std::string> zaCPUInfo::getFeatures() const {
    std::vector<std::string> features;
    for (int word = 0; word < kWords; ++word) {
        std::istringstream names(kFeatureNames[word]);
        std::string name;
        for (int bit = 0; names >> name; ++bit) {
            if (name != "-" && field(_features[word], bit, 1) != 0) features.push_back(name);
        }
    }
    return features;
}

std::string zaCPUInfo::getBrand() const {
    const std::string brand = _brand;
    const std::size_t first = brand.find_first_not_of(' ');
    return first == std::string::npos
               ? std::string()
               : brand.substr(first, brand.find_last_not_of(' ') + 1 - first);
}
