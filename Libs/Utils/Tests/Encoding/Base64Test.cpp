#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <type_traits>
#include <vector>

#include "zaUtils/Encoding/Internal/Base64Kernels.h"
#include "zaUtils/Encoding/zaBase64.h"

namespace {

using za::base64::Cursor;
using za::base64::Kernels;
using namespace std::string_literals;

static_assert(!std::is_default_constructible_v<zaBase64> && !std::is_destructible_v<zaBase64>);

const std::string kAlphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

struct Vector {
    std::string bytes, characters;
};

const Vector kPublished[] = {{"f", "Zg=="},        {"fo", "Zm8="},        {"foo", "Zm9v"},
                             {"foob", "Zm9vYg=="}, {"fooba", "Zm9vYmE="}, {"foobar", "Zm9vYmFy"}};

std::vector<const Kernels*> kernels() {
    std::vector<const Kernels*> found = {&za::base64::portableKernels()};
    for (const Kernels* kernel : {za::base64::avx2Kernels(), za::base64::avx512Kernels()}) {
        if (kernel) found.push_back(kernel);
    }
    return found;
}

unsigned long lengthOf(const std::string& text) {
    return static_cast<unsigned long>(text.size());
}

std::string randomText(std::mt19937& random, std::size_t size, const std::string& characters) {
    std::string text(size, '\0');
    for (char& c : text)
        c = characters.empty() ? static_cast<char>(random())
                               : characters[random() % characters.size()];
    return text;
}

/// Lenient decoding by its definition, a character at a time.
struct ByteLoop {
    std::string bytes;
    std::uint32_t bits = 0;
    int pending = 0;
    std::int64_t perGroup = 3;

    explicit ByteLoop(const std::string& characters) {
        for (const char c : characters)
            take(c);
    }

    std::string result() const { return pending == 0 ? bytes : ""; }

private:
    void take(char c) {
        const std::size_t value = kAlphabet.find(c);
        if (c != '=' && value == std::string::npos) return;
        if (c == '=') --perGroup;
        bits = bits << 6 | static_cast<std::uint32_t>(c == '=' ? 0 : value);
        if (++pending < 4) return;
        for (int byte = 0; byte < std::max<std::int64_t>(1, perGroup); ++byte)
            bytes += static_cast<char>(bits >> (16 - 8 * byte));
        pending = 0;
    }
};

/// Runs a kernel into a block that is just large enough.
/// @return where it stopped, where a byte loop would be in the same state
std::size_t run(za::base64::Decode decode, const std::string& text) {
    const std::vector<unsigned char> source(text.begin(), text.end());
    const std::string all = ByteLoop(text.substr(0, text.find('='))).bytes;
    std::vector<unsigned char> target(all.size());
    Cursor cursor = {source.data(), source.data() + source.size(), target.data()};
    decode(cursor);

    const auto read = static_cast<std::size_t>(cursor.source - source.data());
    const ByteLoop expected(text.substr(0, read));
    EXPECT_EQ(std::string(target.data(), cursor.target), expected.bytes);
    EXPECT_EQ(cursor.pending, expected.pending);
    const std::uint32_t mask = (1U << 6 * expected.pending) - 1;
    EXPECT_EQ(cursor.bits & mask, expected.bits & mask);
    return read;
}

TEST(Base64, HasThePublishedValues) {
    for (const auto& [bytes, characters] : kPublished) {
        SCOPED_TRACE(bytes);
        std::string text = "before";
        EXPECT_EQ(zaBase64::encode(bytes, text), characters.size());
        EXPECT_EQ(text, characters);
        EXPECT_EQ(zaBase64::decode(characters, text), bytes.size());
        EXPECT_EQ(text, bytes);
        EXPECT_TRUE(zaBase64::decodeStrict(characters, text));
        EXPECT_EQ(text, bytes);

        char room[11] = "##########";
        EXPECT_EQ(zaBase64::encode(bytes.data(), lengthOf(bytes), room), characters.size());
        EXPECT_EQ(std::string(room, 10),
                  characters + '\0' + std::string(9 - characters.size(), '#'));
        EXPECT_EQ(zaBase64::decode(characters.data(), lengthOf(characters), room), bytes.size());
        EXPECT_EQ(std::string(room, bytes.size()), bytes);
    }
}

TEST(Base64, NoBytesLeaveTheDestinationAlone) {
    std::string text = "as it was";
    char room[] = "as it was";
    for (const auto& [source, length] :
         {std::pair<const char*, unsigned long>{nullptr, 4}, {"Zg==", 0}}) {
        EXPECT_EQ(zaBase64::encode(source, length, text), 0u);
        EXPECT_EQ(zaBase64::decode(source, length, text), 0u);
        EXPECT_EQ(zaBase64::encode(source, length, room), 0u);
        EXPECT_EQ(zaBase64::decode(source, length, room), 0u);
    }
    EXPECT_EQ(zaBase64::encode("", text), 0u);
    EXPECT_EQ(zaBase64::decode("", text), 0u);
    EXPECT_EQ(zaBase64::encode("f", 1, static_cast<char*>(nullptr)), 0u);
    EXPECT_EQ(zaBase64::decode("Zg==", 4, static_cast<char*>(nullptr)), 0u);
    EXPECT_EQ(text, "as it was");
    EXPECT_STREQ(room, "as it was");
}

TEST(Base64, SizesHave32BitsAndWrap) {
    const struct {
        unsigned long n, encoded, decoded;
    } cases[] = {{0, 4, 3},
                 {3, 8, 3},
                 {4, 8, 6},
                 {3221225468, 4294967292, 2415919104},
                 {3221225469, 0, 2415919104},
                 {4294967295, 1431655768, 3221225472}};
    for (const auto& [n, encoded, decoded] : cases) {
        EXPECT_EQ(zaBase64::getEncodeSize(n), encoded) << n;
        EXPECT_EQ(zaBase64::getDecodeSize(n), decoded) << n;
    }
    // Refused before anything is read or written.
    std::string text = "as it was";
    char room[] = "as it was";
    EXPECT_EQ(zaBase64::encode("f", 3221225469, text), 0u);
    EXPECT_EQ(zaBase64::encode("f", 3221225469, room), 0u);
    EXPECT_EQ(text + room, "as it wasas it was");
}

TEST(Base64, DestinationMayBeTheSource) {
    std::mt19937 random(1);
    const std::string bytes = randomText(random, 5000, "");
    std::string text = bytes;
    zaBase64::encode(text, text);
    const std::string characters = text;
    zaBase64::decode(text, text);
    EXPECT_EQ(text, bytes);

    std::string lines = characters;
    for (std::size_t at = 76; at < lines.size(); at += 78)
        lines.insert(at, "\r\n");
    lines.resize(zaBase64::decode(lines.data(), lengthOf(lines), lines.data()));
    EXPECT_EQ(lines, bytes);
}

TEST(Base64, EveryKernelAgreesAtEveryLengthAndAlignment) {
    std::mt19937 random(2);
    const std::string all = randomText(random, 332, "");
    const std::string& characters = kAlphabet;
    for (const Kernels* kernel : kernels()) {
        for (std::size_t length = 0; length <= 300; ++length) {
            for (std::size_t offset = 0; offset < 32; ++offset) {
                const std::vector<unsigned char> source(all.data(), all.data() + offset + length);
                std::string target(length / 3 * 4, '#');
                const std::size_t done =
                    kernel->encode(source.data() + offset, length, target.data());
                ASSERT_EQ(done % 3, 0u);
                ASSERT_LT(length - done, 48u);
                ASSERT_EQ(ByteLoop(target.substr(0, done / 3 * 4)).bytes, all.substr(offset, done));
                ASSERT_EQ(target.find_first_not_of('#', done / 3 * 4), std::string::npos);
            }
            const std::string text = randomText(random, length, characters);
            ASSERT_LT(length - run(kernel->decodeClean, text), 64u);
            ASSERT_LT(length - run(kernel->decodeSkipping, text), 64u);
        }
    }
}

TEST(Base64, EveryKernelTellsEveryCharacterInEveryPlace) {
    std::mt19937 random(3);
    const std::string text = randomText(random, 192, kAlphabet);
    for (const Kernels* kernel : kernels()) {
        for (int c = 0; c < 256; ++c) {
            // Together the characters are in every place, and each is in places of all vectors.
            for (auto at = static_cast<std::size_t>(c % 8); at < 128; at += 8) {
                std::string changed = text;
                changed[at] = static_cast<char>(c);
                const std::size_t clean = run(kernel->decodeClean, changed);
                const bool hasValue = kAlphabet.find(changed[at]) != std::string::npos;
                ASSERT_EQ(clean > at, hasValue) << "character " << c << " at " << at;
                ASSERT_LE(clean, hasValue ? text.size() : at);
                const std::size_t skipped = run(kernel->decodeSkipping, changed);
                ASSERT_EQ(skipped > at, c != '=') << "character " << c << " at " << at;
            }
        }
    }
}

TEST(Base64, DecodesAnyBytesAsAByteLoopDoes) {
    std::mt19937 random(4);
    const std::string mixtures[] = {
        "",    kAlphabet, kAlphabet + "\r\n", kAlphabet + kAlphabet + "\n", kAlphabet + "=",
        "A= ", " \n"};
    for (int round = 0; round < 3000; ++round) {
        // Beyond what the kernels hold back now and then.
        const std::size_t size = random() % (round % 10 == 0 ? 5000 : 200);
        std::string text = randomText(random, size, mixtures[random() % std::size(mixtures)]);
        for (std::size_t at = 76; round % 2 == 0 && at < text.size(); at += 77)
            text[at] = '\n';
        for (const Kernels* kernel : kernels())
            run(kernel->decodeSkipping, text);
        std::string bytes;
        const std::string expected = ByteLoop(text).result();
        ASSERT_EQ(zaBase64::decode(text, bytes), expected.size());
        ASSERT_EQ(bytes, expected);
    }
}

TEST(Base64, LenientDecodingKeepsItsOddities) {
    const Vector cases[] = {
        {"foobar", "Zm9v\nYmFy"},
        {"foobar", "\r Z!m9\xFFvY\0mFy\x80"s},
        {"", "Zm9"},
        {"", "Zm9vYmF"},
        // Deliberate: padding shortens all groups that follow, down to one byte.
        {"ff", "Zg==Zm9v"},
        {"fofo", "Zm8=Zm9v"},
        {"fff", "Zg==Zg==Zm9v"},
        {"\0f"s, "====Zm9v"},
        // "=" has no bits wherever it stands.
        {"\x01\xA6"s, "=aaa"},
    };
    for (const auto& [bytes, characters] : cases) {
        std::string result = "before";
        EXPECT_EQ(zaBase64::decode(characters, result), bytes.size()) << characters;
        EXPECT_EQ(result, bytes) << characters;
    }
    // The bytes of whole groups have been written although the last is not whole.
    char room[] = "######";
    EXPECT_EQ(zaBase64::decode("Zm9vYm", 6, room), 0u);
    EXPECT_STREQ(room, "foo###");
}

TEST(Base64, StrictDecodingShowsTheFirstBadCharacter) {
    const struct {
        std::string characters;
        std::size_t firstBad;
    } cases[] = {{"Z", 1},      {"Zg", 2},       {"Zg=", 3},      {"Zm8", 3},      {"=", 0},
                 {"Z===", 1},   {"Zg=g", 3},     {"Zg==Zg==", 4}, {"Zm8=Z", 4},    {"Zm9v=", 4},
                 {"Zm9v\n", 4}, {" Zm9v", 0},    {"Zm 9v", 2},    {"Zm9v\xFF", 4}, {"Zh==", 1},
                 {"Zm9=", 2},   {"Zm9v====", 4}, {"Zm9vZg=A", 7}, {"Zm9vZm-_", 6}, {"Zg==\n", 4}};
    std::mt19937 random(5);
    const std::string before = randomText(random, 100, kAlphabet);
    for (const auto& [characters, firstBad] : cases) {
        SCOPED_TRACE(characters);
        std::string bytes = "before";
        std::size_t found = 4711;
        EXPECT_FALSE(zaBase64::decodeStrict(characters, bytes, &found));
        EXPECT_EQ(found, firstBad);
        EXPECT_EQ(bytes, "");
        EXPECT_FALSE(zaBase64::decodeStrict(before + characters, bytes, &found));
        EXPECT_EQ(found, 100 + firstBad);
        EXPECT_FALSE(zaBase64::decodeStrict(characters, bytes));
    }
}

TEST(Base64, StrictDecodingTakesWhatWasEncoded) {
    std::mt19937 random(6);
    for (std::size_t size = 0; size < 300; ++size) {
        const std::string bytes = randomText(random, size, "");
        std::string characters, decoded = "before";
        zaBase64::encode(bytes, characters);
        std::size_t firstBad = 4711;
        ASSERT_TRUE(zaBase64::decodeStrict(characters, decoded, &firstBad));
        ASSERT_EQ(decoded, bytes);
        ASSERT_EQ(firstBad, 4711u);
        ASSERT_EQ(zaBase64::isBase64String(characters), size > 0);
    }
}

TEST(Base64, TellsItsCharactersWhereverTheyStand) {
    for (int c = 0; c < 256; ++c) {
        const bool isOne = c == '=' || kAlphabet.find(static_cast<char>(c)) != std::string::npos;
        EXPECT_EQ(zaBase64::isBase64Char(static_cast<char>(c)), isOne) << c;
    }
    for (const char* text : {"ab=c", "====", "Zm9vYmFy"})
        EXPECT_TRUE(zaBase64::isBase64String(text)) << text;
    for (const char* text : {"", "abc", "abcde", "ab c", "abc\n", "abcdefg\x80"})
        EXPECT_FALSE(zaBase64::isBase64String(text)) << text;
}

}  // namespace
