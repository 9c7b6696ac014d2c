#include <gtest/gtest.h>

#include <numeric>
#include <string>
#include <type_traits>

#include "zaUtils/Encoding/zaCrypt.h"

namespace {

using Bytes = std::vector<unsigned char>;
using Box = std::array<unsigned char, 256>;

static_assert(std::has_virtual_destructor_v<zaCrypt> && std::is_copy_assignable_v<zaCrypt>);

/// The bytes 1, 2, 3 and so on.
Bytes countedKey(std::size_t size) {
    Bytes key(size);
    std::iota(key.begin(), key.end(), static_cast<unsigned char>(1));
    return key;
}

Box identityBox() {
    Box box;
    std::iota(box.begin(), box.end(), static_cast<unsigned char>(0));
    return box;
}

std::string hex(const Bytes& bytes, std::size_t from) {
    std::string text;
    for (std::size_t i = from; i < from + 16; ++i) {
        char digits[3];
        std::snprintf(digits, sizeof digits, "%02x", bytes[i]);
        text += digits;
    }
    return text;
}

Bytes codeEach(zaCrypt& crypt, Bytes bytes) {
    for (unsigned char& byte : bytes)
        byte = crypt.code(byte);
    return bytes;
}

Bytes codeAll(zaCrypt& crypt, const Bytes& bytes) {
    Bytes coded(bytes.size());
    crypt.code(bytes.data(), coded.data(), bytes.size());
    return coded;
}

TEST(Crypt, HasTheStreamsOfRfc6229) {
    const struct {
        Bytes key;
        const char *at0, *at16, *at4096;
    } cases[] = {
        {countedKey(5), "b2396305f03dc027ccc3524a0a1118a8", "6982944f18fc82d589c403a47a0d0919",
         "ff25b58995996707e51fbdf08b34d875"},
        {countedKey(16), "9ac7cc9a609d1ef7b2932899cde41b97", "5248c4959014126a6e8a84f11d1a9e1c",
         "a36a4c301ae8ac13610ccbc12256cacc"},
        {countedKey(32), "eaa6bd25880bf93d3f5d1e4ca2611d91", "cfa45c9f7e714b54bdfa80027cb14380",
         "f3e4c0a2e02d1d01f7f0a74618af2b48"},
    };
    for (const auto& [key, at0, at16, at4096] : cases) {
        zaCrypt bytewise(key), whole(key);
        for (const Bytes& stream : {codeEach(bytewise, Bytes(4112)), codeAll(whole, Bytes(4112))}) {
            EXPECT_EQ(hex(stream, 0), at0);
            EXPECT_EQ(hex(stream, 16), at16);
            EXPECT_EQ(hex(stream, 4096), at4096);
        }
    }
}

TEST(Crypt, TheWholeBufferFormContinuesTheStream) {
    zaCrypt bytewise(countedKey(7)), whole(countedKey(7));
    // Around where the work is done in another way, and long enough for every pair of indices.
    for (const std::size_t size : {0u, 1u, 255u, 256u, 511u, 512u, 513u, 1u, 767u, 100000u, 3u}) {
        SCOPED_TRACE(size);
        Bytes bytes(size);
        std::iota(bytes.begin(), bytes.end(), static_cast<unsigned char>(size));
        const Bytes expected = codeEach(bytewise, bytes);
        whole.code(bytes.data(), bytes.data(), size);
        ASSERT_EQ(bytes, expected);
        ASSERT_EQ(whole.box(), bytewise.box());
    }
}

TEST(Crypt, RestoresWhatWasCodedAndStartsAnewAfterReset) {
    const Bytes text = countedKey(200);
    zaCrypt crypt(countedKey(3));
    const Bytes coded = codeEach(crypt, text);
    EXPECT_NE(coded, text);
    zaCrypt other(countedKey(3));
    EXPECT_EQ(codeEach(other, coded), text);
    crypt.reset();
    EXPECT_EQ(codeEach(crypt, text), coded);
}

TEST(Crypt, CopiesGoOnFromTheSamePlaceOnTheirOwn) {
    zaCrypt crypt(countedKey(3)), assigned(countedKey(4));
    codeEach(crypt, Bytes(100));
    zaCrypt copy(crypt);
    assigned = crypt;
    const Bytes expected = codeEach(crypt, Bytes(50));
    EXPECT_EQ(codeEach(copy, Bytes(50)), expected);
    assigned.reset();
    codeEach(assigned, Bytes(100));
    EXPECT_EQ(codeEach(assigned, Bytes(50)), expected);
}

TEST(Crypt, StartsFromABoxAsItStands) {
    zaCrypt crypt(identityBox());
    EXPECT_EQ(crypt.box(), identityBox());
    EXPECT_EQ(hex(codeEach(crypt, Bytes(16)), 0), "0205070d0d171f282838324856657586");
    EXPECT_NE(crypt.box(), identityBox());
}

TEST(Crypt, AnEmptyKeyIsOneZeroByteAndLongKeysCountUpTo256Bytes) {
    zaCrypt empty(Bytes{}), zero(Bytes{0}), fromBox(identityBox());
    EXPECT_EQ(empty.box(), zero.box());
    fromBox.reset();
    EXPECT_EQ(fromBox.box(), zero.box());
    EXPECT_EQ(hex(codeEach(empty, Bytes(16)), 0), "de188941a3375d3a8a061e67576e926d");

    Bytes longKey = countedKey(300);
    zaCrypt all(longKey);
    longKey.resize(256);
    EXPECT_EQ(zaCrypt(longKey).box(), all.box());
    longKey.resize(255);
    EXPECT_NE(zaCrypt(longKey).box(), all.box());
}

}  // namespace
