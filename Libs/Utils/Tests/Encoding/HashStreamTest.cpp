#include <gtest/gtest.h>

#include <cinttypes>
#include <cstring>
#include <random>
#include <vector>

#include "zaUtils/Encoding/zaCRC32.h"
#include "zaUtils/Encoding/zaHashStream.h"
#include "zaUtils/Encoding/zaMurmurHash3.h"

namespace {

using Bytes = std::vector<unsigned char>;
using Kind = zaHashStream::Kind;

/// The value by the library's function, printed word by word.
std::string atOnce(Kind kind, const Bytes& data, unsigned int seed) {
    const auto length = static_cast<int>(data.size());
    char text[33];
    std::uint32_t words[4];
    std::uint64_t longs[2];
    switch (kind) {
        case Kind::CRC32:
            std::snprintf(text, sizeof text, "%08x", zaCRC32::calc(data.data(), data.size(), seed));
            break;
        case Kind::FNV1A_Jesteress:
            std::snprintf(text, sizeof text, "%08x",
                          zaCRC32::calc_FNV1A_Jesteress(data.data(), data.size(), seed));
            break;
        case Kind::MurmurHash3_x86_32:
            zaMurmurHash3_x86_32(data.data(), length, seed, words);
            std::snprintf(text, sizeof text, "%08x", words[0]);
            break;
        case Kind::MurmurHash3_x86_128:
            zaMurmurHash3_x86_128(data.data(), length, seed, words);
            std::snprintf(text, sizeof text, "%08x%08x%08x%08x", words[0], words[1], words[2],
                          words[3]);
            break;
        case Kind::MurmurHash3_x64_128:
            zaMurmurHash3_x64_128(data.data(), length, seed, longs);
            std::snprintf(text, sizeof text, "%016" PRIx64 "%016" PRIx64, longs[0], longs[1]);
            break;
    }
    return text;
}

TEST(HashStream, GivesTheValueOfTheWholeHoweverItIsCut) {
    std::mt19937 random(1);
    for (const Kind kind : {Kind::CRC32, Kind::FNV1A_Jesteress, Kind::MurmurHash3_x86_32,
                            Kind::MurmurHash3_x86_128, Kind::MurmurHash3_x64_128}) {
        for (int round = 0; round < 300; ++round) {
            SCOPED_TRACE(std::to_string(static_cast<int>(kind)) + " " + std::to_string(round));
            const unsigned int seed = round % 3 == 0 ? 0 : static_cast<unsigned int>(random());
            Bytes data;
            zaHashStream hash(kind, seed);
            EXPECT_EQ(hash.hexadecimal(), atOnce(kind, data, seed));
            for (int piece = 0; piece < 8; ++piece) {
                Bytes bytes(random() % (round % 2 == 0 ? 5 : 40));
                for (unsigned char& byte : bytes)
                    byte = static_cast<unsigned char>(random());
                hash.add(bytes.empty() ? nullptr : bytes.data(), bytes.size());
                data.insert(data.end(), bytes.begin(), bytes.end());
                ASSERT_EQ(hash.hexadecimal(), atOnce(kind, data, seed)) << data.size();
            }
        }
    }
}

}  // namespace
