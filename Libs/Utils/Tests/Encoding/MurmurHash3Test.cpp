#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <cstring>

#include "zaUtils/Encoding/zaMurmurHash3.h"

namespace {

struct Variant {
    const char* name;
    void (*hash)(const void*, int, unsigned int, void*);
    std::size_t size;
    std::uint32_t verification;  ///< published with the reference
};

const Variant kVariants[] = {{"x86_32", zaMurmurHash3_x86_32, 4, 0xB0F57EE3},
                             {"x86_128", zaMurmurHash3_x86_128, 16, 0xB3ECE62A},
                             {"x64_128", zaMurmurHash3_x64_128, 16, 0x6384BA69}};

/// The hashes of 256 keys of 0 to 255 bytes, hashed again; from and to odd addresses.
std::uint32_t verificationOf(const Variant& variant) {
    std::array<unsigned char, 257> key{};
    for (std::size_t i = 0; i < 256; ++i)
        key[1 + i] = static_cast<unsigned char>(i);
    std::array<unsigned char, 1 + 256 * 16> hashes{};
    for (int length = 0; length < 256; ++length) {
        unsigned char* out = &hashes[1 + static_cast<std::size_t>(length) * variant.size];
        variant.hash(&key[1], length, 256 - static_cast<unsigned>(length), out);
    }
    std::array<unsigned char, 16> last{};
    variant.hash(&hashes[1], static_cast<int>(256 * variant.size), 0, last.data());
    std::uint32_t value = 0;
    std::memcpy(&value, last.data(), sizeof value);
    return value;
}

TEST(MurmurHash3, HasThePublishedVerificationValues) {
    for (const Variant& variant : kVariants)
        EXPECT_EQ(verificationOf(variant), variant.verification) << variant.name;
}

TEST(MurmurHash3, NoBytesAreAKeyAndNegativeLengthsAreNoBytes) {
    for (const Variant& variant : kVariants) {
        SCOPED_TRACE(variant.name);
        for (const int length : {0, -1, -4, -16, -2147483647 - 1}) {
            std::array<unsigned char, 17> zero{}, one{}, expected{};
            zero.fill('#');
            expected.fill('#');
            std::fill_n(expected.begin(), variant.size, '\0');
            variant.hash(nullptr, length, 0, zero.data());
            EXPECT_EQ(zero, expected) << "and not a byte more is written";
            variant.hash(nullptr, length, 1, one.data());
            EXPECT_NE(one, zero);
        }
    }
    std::uint32_t hash = 0;
    zaMurmurHash3_x86_32("", 0, 1, &hash);
    EXPECT_EQ(hash, 0x514E28B7u);
}

}  // namespace
