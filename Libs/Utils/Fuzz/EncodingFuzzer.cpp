// Base64 of any bytes in both directions, strict and lenient, and packed shaders with any header
// and frame.

#include <fuzzer/FuzzedDataProvider.h>
#include <zstd.h>

#include <algorithm>
#include <string>
#include <vector>

#include "Fuzzing.h"
#include "zaUtils/Encoding/Internal/LittleEndian.h"
#include "zaUtils/Encoding/zaBase64.h"
#include "zaUtils/Platform/zaUtils.h"

namespace {

const std::string kAlphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

/// Lenient decoding by its definition.
std::string decodeEach(const std::string& characters) {
    std::string bytes;
    std::uint32_t bits = 0;
    std::size_t accepted = 0;
    long perGroup = 3;
    for (const char c : characters) {
        const std::size_t value = kAlphabet.find(c);
        if (c != '=' && value == std::string::npos) continue;
        if (c == '=') --perGroup;
        bits = bits << 6 | static_cast<std::uint32_t>(c == '=' ? 0 : value);
        if (++accepted % 4 != 0) continue;
        for (long k = 0; k < std::max(1L, perGroup); ++k)
            bytes += static_cast<char>(bits >> (16 - 8 * k));
    }
    return accepted % 4 == 0 ? bytes : "";
}

void checkEncoding(const std::string& bytes) {
    std::string characters, decoded, strict;
    const std::size_t count = zaBase64::encode(bytes, characters);
    require(count == (bytes.size() + 2) / 3 * 4 && count == characters.size(),
            "the count is right");
    zaBase64::decode(characters, decoded);
    require(decoded == bytes, "lenient decoding restores the bytes");
    require(zaBase64::decodeStrict(characters, strict) && strict == bytes,
            "strict decoding restores the bytes");
}

void checkDecoding(const std::string& characters) {
    const std::string expected = decodeEach(characters);
    std::string decoded, strict, again;
    require(zaBase64::decode(characters, decoded) == expected.size(), "the count is right");
    require(decoded == expected, "lenient decoding is that of a byte loop");

    std::string inPlace = characters;
    inPlace.resize(zaBase64::decode(inPlace.data(), static_cast<unsigned long>(inPlace.size()),
                                    inPlace.data()));
    require(inPlace == expected, "decoding in place gives the same");

    std::size_t firstBad = 0;
    if (zaBase64::decodeStrict(characters, strict, &firstBad)) {
        zaBase64::encode(strict, again);
        require(again == characters, "what strict decoding takes was encoded");
        require(strict == decoded, "strict and lenient decoding agree");
    } else {
        require(firstBad <= characters.size() && strict.empty(), "a bad place lies in the source");
        require(zaBase64::decodeStrict(characters.substr(0, firstBad / 4 * 4), strict),
                "the groups before the bad place are well-formed");
    }
}

void checkShader(FuzzedDataProvider& input) {
    constexpr std::size_t kMaxLength = 1 << 16;
    const bool isPacked = input.ConsumeBool();
    std::vector<unsigned char> blob(8);
    for (unsigned char& byte : blob)
        byte = input.ConsumeIntegral<unsigned char>();
    const auto unpacked = static_cast<std::size_t>(input.ConsumeIntegralInRange(0, 70000));
    std::vector<unsigned char> frame = input.ConsumeRemainingBytes<unsigned char>();
    if (isPacked) {
        const std::string text(unpacked, '.');
        frame.resize(ZSTD_compressBound(unpacked));
        frame.resize(ZSTD_compress(frame.data(), frame.size(), text.data(), text.size(), 1));
    }
    // Mostly lengths that are right.
    if (blob[7] < 200) {
        for (std::size_t k = 0; k < 4; ++k) {
            blob[k] = static_cast<unsigned char>(unpacked >> 8 * k);
            blob[4 + k] = static_cast<unsigned char>(frame.size() >> 8 * k);
        }
    }
    blob.insert(blob.end(), frame.begin(), frame.end());
    const std::size_t claimed = za::loadLittle32(blob.data());
    std::string text = "before";
    const bool isTaken = zaUtils::unpackShader(blob.data(), blob.size(), kMaxLength, text);
    require(isTaken ? text.size() == claimed && claimed <= kMaxLength : text.empty(),
            "a text has the claimed length");
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FuzzedDataProvider input(data, size);
    switch (input.ConsumeIntegralInRange(0, 2)) {
        case 0:
            checkEncoding(input.ConsumeRemainingBytesAsString());
            break;
        case 1: {
            // Mostly of the alphabet, so that the groups get long.
            const std::size_t offset = input.ConsumeIntegral<unsigned char>();
            std::string characters = input.ConsumeRemainingBytesAsString();
            for (char& c : characters) {
                const auto byte = static_cast<unsigned char>(c);
                if (byte < 240 - offset % 16) c = kAlphabet[byte % 64];
            }
            checkDecoding(characters);
            break;
        }
        default:
            checkShader(input);
    }
    return 0;
}
