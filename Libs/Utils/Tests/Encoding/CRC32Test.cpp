#include <gtest/gtest.h>

#include <random>
#include <string>
#include <type_traits>
#include <vector>

#include "zaUtils/Encoding/Internal/CRC32Kernels.h"
#include "zaUtils/Encoding/zaCRC32.h"

namespace {

using za::crc32::Kernel;

static_assert(!std::is_default_constructible_v<zaCRC32> && !std::is_destructible_v<zaCRC32>);

struct Way {
    const char* name;
    unsigned int (*calc)(const void*, std::size_t, unsigned int);
};

const Way kWays[] = {
    {"calc", zaCRC32::calc},
    {"bitwise", zaCRC32::calc_bitwise},
    {"halfbyte", zaCRC32::calc_halfbyte},
    {"1byte", zaCRC32::calc_1byte},
    {"4bytes", zaCRC32::calc_4bytes},
    {"8bytes", zaCRC32::calc_8bytes},
};

/// The kernels that this processor has; the portable one comes first.
std::vector<Kernel> kernels() {
    std::vector<Kernel> found;
    for (const Kernel kernel :
         {Kernel{za::crc32::updateBySlices}, za::crc32::kernel128(), za::crc32::kernel128Avx(),
          za::crc32::kernel256(), za::crc32::kernel512()}) {
        if (kernel) found.push_back(kernel);
    }
    return found;
}

std::vector<unsigned char> randomBytes(std::size_t size) {
    std::mt19937 random(static_cast<unsigned>(size));
    std::vector<unsigned char> bytes(size);
    for (unsigned char& byte : bytes)
        byte = static_cast<unsigned char>(random());
    return bytes;
}

TEST(CRC32, HasThePublishedValuesInEveryWay) {
    const struct {
        std::string text;
        unsigned int crc;
    } cases[] = {{"123456789", 0xCBF43926},
                 {"a", 0xE8B7BE43},
                 {"The quick brown fox jumps over the lazy dog", 0x414FA339},
                 {std::string(32, '\0'), 0x190A55AD},
                 {std::string(32, '\xFF'), 0xFF6CAB0B},
                 {"", 0}};
    for (const Way& way : kWays) {
        SCOPED_TRACE(way.name);
        for (const auto& [text, crc] : cases)
            EXPECT_EQ(way.calc(text.data(), text.size(), 0), crc) << text;
        EXPECT_EQ(way.calc(nullptr, 0, 0x12345678), 0x12345678u);
    }
}

TEST(CRC32, ContinuesOverPiecesInEveryWay) {
    const std::vector<unsigned char> bytes = randomBytes(700);
    const unsigned int whole = zaCRC32::calc_bitwise(bytes.data(), bytes.size(), 0);
    for (const Way& way : kWays) {
        SCOPED_TRACE(way.name);
        for (std::size_t cut = 0; cut <= bytes.size(); ++cut) {
            const unsigned int first = way.calc(bytes.data(), cut, 0);
            ASSERT_EQ(way.calc(bytes.data() + cut, bytes.size() - cut, first), whole) << cut;
        }
    }
}

TEST(CRC32, EveryKernelAgreesAtEveryLengthAndAlignment) {
    // Blocks are exactly as large as they are read, so that a sanitizer sees a byte too many.
    const auto check = [](std::size_t offset, std::size_t length) {
        const std::vector<unsigned char> bytes = randomBytes(offset + length);
        const std::uint32_t previous = 0xFFFFFFFF - static_cast<std::uint32_t>(offset);
        const unsigned int expected =
            ~zaCRC32::calc_bitwise(bytes.data() + offset, length, ~previous);
        for (const Kernel kernel : kernels())
            ASSERT_EQ(kernel(previous, bytes.data() + offset, length), expected)
                << "length " << length << ", offset " << offset;
    };
    for (std::size_t length = 0; length <= 300; ++length) {
        for (std::size_t offset = 0; offset < 16; ++offset)
            ASSERT_NO_FATAL_FAILURE(check(offset, length));
    }
    for (std::size_t length : {511u, 512u, 513u, 639u, 767u, 768u, 1023u, 1025u, 4097u, 65543u})
        ASSERT_NO_FATAL_FAILURE(check(3, length));
}

TEST(CRC32, ChoosesTheWidestKernel) {
    EXPECT_EQ(za::crc32::fastestKernel(), kernels().back());
}

TEST(CRC32, JesteressTakesWordsThenTheRestInHalves) {
    // By length, of the text below.
    const unsigned int expected[] = {0x811C1CD9, 0x42953586, 0xE500E513, 0xA465F4A2, 0x023E022D,
                                     0x219869A9, 0x5F774446, 0x5E067657, 0x2170B491, 0xD293C35C,
                                     0xCB9C1953, 0x35993DBB, 0x33C3E10C, 0x55B435E0, 0xCC0AF05E,
                                     0xE568D33F, 0xBE0E0F68};
    const std::string text = " 0123456789ABCDEF";
    for (std::size_t length = 0; length <= 16; ++length)
        EXPECT_EQ(zaCRC32::calc_FNV1A_Jesteress(text.data() + 1, length, 0), expected[length])
            << length;
    EXPECT_EQ(zaCRC32::calc_FNV1A_Jesteress(text.data() + 1, 15, 1), 0x77E6D96Du);
    EXPECT_EQ(zaCRC32::calc_FNV1A_Jesteress(std::string(15, '\xFF').data(), 15, 0x80000000),
              0x86830410u);
}

}  // namespace
