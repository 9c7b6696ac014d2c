#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "zaUtils/Api.h"

/// The processor's maker and what it can do, from its identification instruction (CPUID).
///
/// Thread safety: an object is never changed after its construction.
class ZAUTILS_API zaCPUInfo {
public:
    /// What the instruction answers.
    struct Registers {
        std::uint32_t eax = 0;
        std::uint32_t ebx = 0;
        std::uint32_t ecx = 0;
        std::uint32_t edx = 0;
    };
    using ReadLeaf = std::function<Registers(std::uint32_t leaf, std::uint32_t subLeaf)>;

    /// The leaves and registers whose bits are features.
    enum class Word {
        Leaf1Ecx,
        Leaf1Edx,
        Leaf7Ebx,
        Leaf7Ecx,
        Leaf7Edx,
        Extended1Ecx,
        Extended1Edx
    };
    static constexpr int kWords = 7;

    /// A feature bit: its word times 32 and the bit's number. These are the ones that programs ask
    /// for; getFeatures knows them all.
    enum class Feature {
        SSE3 = 0,
        PCLMULQDQ = 1,
        SSSE3 = 9,
        FMA = 12,
        CMPXCHG16B = 13,
        SSE41 = 19,
        SSE42 = 20,
        MOVBE = 22,
        POPCNT = 23,
        AES = 25,
        XSAVE = 26,
        OSXSAVE = 27,
        AVX = 28,
        F16C = 29,
        RDRAND = 30,
        Hypervisor = 31,
        CMOV = 32 + 15,
        MMX = 32 + 23,
        SSE = 32 + 25,
        SSE2 = 32 + 26,
        HyperThreading = 32 + 28,
        BMI1 = 64 + 3,
        AVX2 = 64 + 5,
        BMI2 = 64 + 8,
        AVX512F = 64 + 16,
        AVX512DQ = 64 + 17,
        ADX = 64 + 19,
        AVX512IFMA = 64 + 21,
        AVX512CD = 64 + 28,
        SHA = 64 + 29,
        AVX512BW = 64 + 30,
        AVX512VL = 64 + 31,
        AVX512VBMI = 96 + 1,
        AVX512VBMI2 = 96 + 6,
        GFNI = 96 + 8,
        VAES = 96 + 9,
        VPCLMULQDQ = 96 + 10,
        AVX512VNNI = 96 + 11,
        AVX512BITALG = 96 + 12,
        AVX512VPOPCNTDQ = 96 + 14,
        AVX512FP16 = 128 + 23,
        LZCNT = 160 + 5,
        SSE4A = 160 + 6,
        FMA4 = 160 + 16
    };

    /// Leaf 1: which processor of its maker's this is, bit field by bit field.
    struct Signature {
        int stepping = 0;
        int model = 0;
        int family = 0;
        int type = 0;
        int extendedModel = 0;
        int extendedFamily = 0;
    };

    /// Reads the processor that `readLeaf` stands for. Prints "CPUBrandString: " and a line end on
    /// standard output: the brand is deliberately printed before it is read.
    explicit zaCPUInfo(const ReadLeaf& readLeaf);
    virtual ~zaCPUInfo() = default;
    zaCPUInfo(const zaCPUInfo&) = default;
    zaCPUInfo& operator=(const zaCPUInfo&) = default;

    /// The processor that this process runs on; read once. All zero and empty for one without the
    /// instruction.
    static const zaCPUInfo& getCPUInfo();

    bool isIntel() const { return _isIntel; }  ///< the vendor is "GenuineIntel"
    bool isAMD() const { return _isAMD; }      ///< the vendor is "AuthenticAMD"

    bool hasSSE2Support() const { return hasFeature(Feature::SSE2); }
    bool hasSSE42Support() const { return hasFeature(Feature::SSE42); }
    bool hasAVXSupport() const { return hasFeature(Feature::AVX); }
    /// Whether AVX, OSXSAVE (the system saves the wide registers), MOVBE and FMA are there. The
    /// AVX2 bit itself is deliberately not asked.
    bool hasAVX2Support() const { return _hasAVX2; }
    /// Whether the AVX-512 foundation is there, and hasAVX2Support.
    bool hasAVX512Support() const { return _hasAVX512; }

    bool hasFeature(Feature feature) const;
    /// All bits of a word, for those without a name here.
    std::uint32_t getFeatureBits(Word word) const { return _features[static_cast<int>(word)]; }
    /// The names of all features that are there, in lower case, in the order of their bits.
    std::vector<std::string> getFeatures() const;

    std::string getVendor() const { return _vendor; }  ///< 12 characters
    /// The brand text without blanks at its ends; empty when the processor has none.
    std::string getBrand() const;

    std::uint32_t getMaxLeaf() const { return _maxLeaf; }
    std::uint32_t getMaxExtendedLeaf() const { return _maxExtendedLeaf; }
    Signature getSignature() const { return _signature; }
    int getBrandIndex() const { return _brandIndex; }
    int getCacheLineFlushSize() const { return _cacheLineFlushSize; }  ///< in units of 8 bytes
    int getLogicalProcessorCount() const { return _logicalProcessorCount; }
    int getInitialApicId() const { return _initialApicId; }

private:
    void readBasicLeaves(const ReadLeaf& readLeaf);
    void readExtendedLeaves(const ReadLeaf& readLeaf);
    void readLeaf1(const Registers& registers);
    void setFeatures(Word word, std::uint32_t bits) { _features[static_cast<int>(word)] = bits; }

    static constexpr int kBrandSize = 64;  // 48 used

    std::uint32_t _maxLeaf = 0;
    std::uint32_t _maxExtendedLeaf = 0;
    std::string _vendor;
    char _brand[kBrandSize] = {};
    Signature _signature;
    int _brandIndex = 0;
    int _cacheLineFlushSize = 0;
    int _logicalProcessorCount = 0;
    int _initialApicId = 0;
    std::uint32_t _features[kWords] = {};
    bool _hasAVX2 = false;
    bool _hasAVX512 = false;
    bool _isIntel = false;
    bool _isAMD = false;
};
