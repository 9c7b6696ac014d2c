// Checksums, hashes, Base64, the cipher and random numbers, beside the libraries that are known for
// each, or beside the technique as textbooks print it.
//
// usage: EncodingBenchmark [NAME...]    crc, kernels, techniques, base64, lines, murmur, random,
// crypt

#define OPENSSL_SUPPRESS_DEPRECATED  // the cipher is old, and so is its interface

#include <isa-l/crc.h>
#include <libdeflate.h>
#include <murmurhash.h>
#include <openssl/evp.h>
#include <openssl/rc4.h>

#include <algorithm>
#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "Benchmark.h"
#include "zaUtils/Encoding/Internal/Base64Kernels.h"
#include "zaUtils/Encoding/Internal/CRC32Kernels.h"
#include "zaUtils/Encoding/zaBase64.h"
#include "zaUtils/Encoding/zaCRC32.h"
#include "zaUtils/Encoding/zaCrypt.h"
#include "zaUtils/Encoding/zaMurmurHash3.h"
#include "zaUtils/Encoding/zaRandom.h"

namespace {

using Bytes = std::vector<unsigned char>;

constexpr std::size_t kKiB = 1024;
constexpr std::size_t kPerRun = 256 * kKiB;  // long enough to time, short enough to take turns

volatile std::uint64_t g_sink;

Bytes randomBytes(std::size_t size) {
    std::mt19937 random(4711);
    Bytes bytes(size);
    for (unsigned char& byte : bytes)
        byte = static_cast<unsigned char>(random());
    return bytes;
}

const char* textOf(const Bytes& bytes) {
    return reinterpret_cast<const char*>(bytes.data());
}

std::string sizeOf(std::size_t size) {
    return size < kKiB * kKiB ? std::to_string(size / kKiB) + " KiB"
                              : std::to_string(size / kKiB / kKiB) + " MiB";
}

/// Does the same job over and over, until it has been done for 256 KiB.
template <typename Job>
Contender over(std::size_t size, const std::string& name, Job job) {
    const std::size_t times = std::max<std::size_t>(1, kPerRun / size);
    return {name, [times, job] {
                for (std::size_t i = 0; i < times; ++i)
                    g_sink = static_cast<std::uint64_t>(job());
            }};
}

void compareOver(std::size_t size, const std::string& title, std::vector<Contender> contenders) {
    const std::size_t bytes = std::max(size, kPerRun / size * size);
    compare({title + ", " + sizeOf(size), "KiB", static_cast<int>(bytes / kKiB),
             std::move(contenders)});
}

// --- CRC-32 ---

void compareCrc() {
    for (const std::size_t size : {kKiB, 4 * kKiB, 64 * kKiB, 1024 * kKiB, 16384 * kKiB}) {
        const Bytes bytes = randomBytes(size);
        const unsigned char* at = bytes.data();
        compareOver(
            size, "CRC-32",
            {over(size, "zaCRC32::calc", [=] { return zaCRC32::calc(at, size); }),
             over(size, "libdeflate_crc32", [=] { return libdeflate_crc32(0, at, size); }),
             over(size, "ISA-L crc32_gzip_refl", [=] { return crc32_gzip_refl(0, at, size); })});
    }
}

void compareKernels() {
    const std::pair<const char*, za::crc32::Kernel> kernels[] = {
        {"512 bits", za::crc32::kernel512()},
        {"256 bits", za::crc32::kernel256()},
        {"128 bits, AVX", za::crc32::kernel128Avx()},
        {"128 bits", za::crc32::kernel128()},
        {"slicing by 8", za::crc32::updateBySlices}};
    for (const std::size_t size : {kKiB, 64 * kKiB}) {
        static const Bytes bytes = randomBytes(64 * kKiB);
        const unsigned char* at = bytes.data();
        std::vector<Contender> contenders = {
            over(size, "libdeflate_crc32", [=] { return libdeflate_crc32(0, at, size); })};
        for (const auto& [name, kernel] : kernels) {
            if (kernel)
                contenders.push_back(
                    over(size, name, [k = kernel, at, size] { return k(0, at, size); }));
        }
        compareOver(size, "CRC-32, our kernels (here \"zaUtils\" is the first line)",
                    std::move(contenders));
    }
}

/// The table-driven techniques as textbooks print them.
class Textbook {
public:
    Textbook() {
        for (std::uint32_t byte = 0; byte < 256; ++byte) {
            _tables[0][byte] = byte;
            for (int bit = 0; bit < 8; ++bit)
                _tables[0][byte] = za::crc32::timesX(_tables[0][byte]);
        }
        for (std::uint32_t byte = 0; byte < 256; ++byte) {
            for (int k = 1; k < 8; ++k) {
                const std::uint32_t before = _tables[k - 1][byte];
                _tables[k][byte] = before >> 8 ^ _tables[0][before & 0xFF];
            }
        }
    }

    std::uint32_t by1(const unsigned char* at, std::size_t size, std::uint32_t crc) const {
        while (size-- != 0)
            crc = crc >> 8 ^ _tables[0][(crc & 0xFF) ^ *at++];
        return crc;
    }

    std::uint32_t by4(const unsigned char* at, std::size_t size, std::uint32_t crc) const {
        for (; size >= 4; size -= 4, at += 4) {
            crc ^= word(at);
            crc = _tables[3][crc & 0xFF] ^ _tables[2][crc >> 8 & 0xFF] ^
                  _tables[1][crc >> 16 & 0xFF] ^ _tables[0][crc >> 24];
        }
        return by1(at, size, crc);
    }

    std::uint32_t by8(const unsigned char* at, std::size_t size, std::uint32_t crc) const {
        for (; size >= 8; size -= 8, at += 8) {
            const std::uint32_t one = word(at) ^ crc;
            const std::uint32_t two = word(at + 4);
            crc = _tables[7][one & 0xFF] ^ _tables[6][one >> 8 & 0xFF] ^
                  _tables[5][one >> 16 & 0xFF] ^ _tables[4][one >> 24] ^ _tables[3][two & 0xFF] ^
                  _tables[2][two >> 8 & 0xFF] ^ _tables[1][two >> 16 & 0xFF] ^
                  _tables[0][two >> 24];
        }
        return by1(at, size, crc);
    }

private:
    static std::uint32_t word(const unsigned char* at) {
        return at[0] | at[1] << 8 | at[2] << 16 | static_cast<std::uint32_t>(at[3]) << 24;
    }

    std::uint32_t _tables[8][256];
};

void compareTechniques() {
    static const Textbook book;
    const std::size_t size = 64 * kKiB;
    const Bytes bytes = randomBytes(size);
    const unsigned char* at = bytes.data();
    compareOver(size, "CRC-32, a byte a step",
                {over(size, "calc_1byte", [=] { return zaCRC32::calc_1byte(at, size, 0); }),
                 over(size, "textbook", [=] { return ~book.by1(at, size, ~0U); })});
    compareOver(size, "CRC-32, slicing by 4",
                {over(size, "calc_4bytes", [=] { return zaCRC32::calc_4bytes(at, size, 0); }),
                 over(size, "textbook", [=] { return ~book.by4(at, size, ~0U); })});
    compareOver(size, "CRC-32, slicing by 8",
                {over(size, "calc_8bytes", [=] { return zaCRC32::calc_8bytes(at, size, 0); }),
                 over(size, "textbook", [=] { return ~book.by8(at, size, ~0U); })});
}

// --- Base64 ---

/// The functions that take pieces, and write and read line breaks.
/// @{
int encodeInPieces(const unsigned char* at, std::size_t size, unsigned char* to) {
    static EVP_ENCODE_CTX* const context = EVP_ENCODE_CTX_new();
    int length = 0, last = 0;
    EVP_EncodeInit(context);
    EVP_EncodeUpdate(context, to, &length, at, static_cast<int>(size));
    EVP_EncodeFinal(context, to + length, &last);
    return length + last;
}

int decodeInPieces(const unsigned char* at, std::size_t size, unsigned char* to) {
    static EVP_ENCODE_CTX* const context = EVP_ENCODE_CTX_new();
    int length = 0, last = 0;
    EVP_DecodeInit(context);
    EVP_DecodeUpdate(context, to, &length, at, static_cast<int>(size));
    EVP_DecodeFinal(context, to + length, &last);
    return length + last;
}
/// @}

void compareEncoding(std::size_t size) {
    const Bytes bytes = randomBytes(size);
    std::vector<char> room(size * 2);
    const unsigned char* at = bytes.data();
    char* to = room.data();
    compareOver(
        size, "Base64 encoding",
        {over(size, "zaBase64::encode", [=] { return zaBase64::encode(textOf(bytes), size, to); }),
         over(size, "OpenSSL EVP_EncodeBlock",
              [=] {
                  return EVP_EncodeBlock(reinterpret_cast<unsigned char*>(to), at,
                                         static_cast<int>(size));
              }),
         over(size, "OpenSSL EVP_EncodeUpdate",
              [=] { return encodeInPieces(at, size, reinterpret_cast<unsigned char*>(to)); }),
         over(size, "our AVX2", [=] { return za::base64::avx2Kernels()->encode(at, size, to); }),
         over(size, "our portable way",
              [=] { return za::base64::portableKernels().encode(at, size, to); })});
}

std::ptrdiff_t decodeBy(const za::base64::Kernels& kernels, const unsigned char* at,
                        std::size_t size, unsigned char* to) {
    za::base64::Cursor cursor = {at, at + size, to};
    kernels.decodeSkipping(cursor);
    return cursor.target - to;
}

void compareDecoding(std::size_t size) {
    std::string text;
    zaBase64::encode(textOf(randomBytes(size / 4 * 3)), size / 4 * 3, text);
    Bytes room(size);
    const char* from = text.data();
    const auto* at = reinterpret_cast<const unsigned char*>(from);
    unsigned char* to = room.data();
    compareOver(
        size, "Base64 decoding",
        {over(size, "zaBase64::decode",
              [=] { return zaBase64::decode(from, size, reinterpret_cast<char*>(to)); }),
         over(size, "OpenSSL EVP_DecodeBlock",
              [=] { return EVP_DecodeBlock(to, at, static_cast<int>(size)); }),
         over(size, "OpenSSL EVP_DecodeUpdate", [=] { return decodeInPieces(at, size, to); }),
         over(size, "our AVX2", [=] { return decodeBy(*za::base64::avx2Kernels(), at, size, to); }),
         over(size, "our portable way",
              [=] { return decodeBy(za::base64::portableKernels(), at, size, to); })});
}

void compareBase64() {
    for (const std::size_t size : {4 * kKiB, 64 * kKiB, 1024 * kKiB}) {
        compareEncoding(size);
        compareDecoding(size);
    }
}

/// Lenient decoding with a table, a character at a time.
class TableLoop {
public:
    TableLoop() {
        std::fill(std::begin(_values), std::end(_values), static_cast<unsigned char>(0xFF));
        const std::string alphabet =
            "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
        for (std::size_t i = 0; i < alphabet.size(); ++i)
            _values[static_cast<unsigned char>(alphabet[i])] = static_cast<unsigned char>(i);
    }

    std::size_t decode(const unsigned char* at, std::size_t size, unsigned char* to) const {
        unsigned char* const start = to;
        std::uint32_t bits = 0;
        int pending = 0;
        for (std::size_t i = 0; i < size; ++i) {
            const unsigned char value = _values[at[i]];
            if (value == 0xFF) continue;
            bits = bits << 6 | value;
            if (++pending < 4) continue;
            *to++ = static_cast<unsigned char>(bits >> 16);
            *to++ = static_cast<unsigned char>(bits >> 8);
            *to++ = static_cast<unsigned char>(bits);
            pending = 0;
        }
        return static_cast<std::size_t>(to - start);
    }

private:
    unsigned char _values[256];
};

void compareLines() {
    static const TableLoop loop;
    for (const std::string lineEnd : {"\n", "\r\n"}) {
        std::string text;
        zaBase64::encode(textOf(randomBytes(48 * kKiB)), 48 * kKiB, text);
        for (std::size_t at = 76; at < text.size(); at += 76 + lineEnd.size())
            text.insert(at, lineEnd);
        const std::size_t size = text.size();
        Bytes room(size);
        const char* from = text.data();
        const auto* at = reinterpret_cast<const unsigned char*>(from);
        unsigned char* to = room.data();
        compareOver(
            size, "Base64 decoding, a line end of " + std::to_string(lineEnd.size()) + " every 76",
            {over(size, "zaBase64::decode",
                  [=] { return zaBase64::decode(from, size, reinterpret_cast<char*>(to)); }),
             over(size, "table, a character at a time", [=] { return loop.decode(at, size, to); }),
             over(size, "our AVX2",
                  [=] { return decodeBy(*za::base64::avx2Kernels(), at, size, to); }),
             over(size, "our portable way",
                  [=] { return decodeBy(za::base64::portableKernels(), at, size, to); })});
    }
}

// --- hashes ---

void compareMurmur() {
    for (const std::size_t size : {kKiB, 64 * kKiB}) {
        static const Bytes bytes = randomBytes(64 * kKiB);
        const void* at = bytes.data();
        const int length = static_cast<int>(size);
        const auto ours = [=](auto hash) {
            return over(size, "zaUtils", [=] {
                std::uint64_t out[2];
                hash(at, length, 1, out);
                return out[0];
            });
        };
        const auto theirs = [=](auto hash) {
            return over(size, "libmurmurhash", [=] {
                std::uint64_t out[2];
                hash(at, static_cast<unsigned>(length), 1, out);
                return out[0];
            });
        };
        const auto out32 = [](auto hash) {
            return [hash](const void* key, unsigned size32, std::uint32_t seed, void* out) {
                hash(key, size32, seed, static_cast<std::uint32_t*>(out));
            };
        };
        const auto out64 = [](const void* key, unsigned size64, std::uint32_t seed, void* out) {
            lmmh_x64_128(key, size64, seed, static_cast<std::uint64_t*>(out));
        };
        compareOver(size, "MurmurHash3 x86_32",
                    {ours(zaMurmurHash3_x86_32), theirs(out32(lmmh_x86_32))});
        compareOver(size, "MurmurHash3 x86_128",
                    {ours(zaMurmurHash3_x86_128), theirs(out32(lmmh_x86_128))});
        compareOver(size, "MurmurHash3 x64_128", {ours(zaMurmurHash3_x64_128), theirs(out64)});
    }
}

// --- random numbers ---

void compareRandom() {
    constexpr int kNumbers = 100000;
    zaRandom ours;
    std::mt19937 theirs;
    const auto sumOf = [](auto draw) {
        std::uint64_t sum = 0;
        for (int i = 0; i < kNumbers; ++i)
            sum += draw();
        g_sink = sum;
    };
    compare({"Random numbers, summed up",
             "number",
             kNumbers,
             {{"zaRandom::genRandLong", [&] { sumOf([&] { return ours.genRandLong(); }); }},
              {"std::mt19937", [&] { sumOf([&] { return theirs(); }); }}}});
    static std::uint32_t numbers[kNumbers];
    compare({"Random numbers, stored",
             "number",
             kNumbers,
             {{"zaRandom::genRandLong",
               [&] {
                   for (std::uint32_t& number : numbers)
                       number = static_cast<std::uint32_t>(ours.genRandLong());
               }},
              {"std::mt19937", [&] {
                   for (std::uint32_t& number : numbers)
                       number = static_cast<std::uint32_t>(theirs());
               }}}});
}

// --- cipher ---

void compareCrypt() {
    const Bytes key = randomBytes(16);
    for (const std::size_t size : {4 * kKiB, 64 * kKiB}) {
        const Bytes bytes = randomBytes(size);
        Bytes room(size);
        zaCrypt crypt(key), bytewise(key);
        RC4_KEY peer;
        RC4_set_key(&peer, static_cast<int>(key.size()), key.data());
        const unsigned char* at = bytes.data();
        unsigned char* to = room.data();
        compareOver(size, "RC4",
                    {over(size, "zaCrypt::code, the whole buffer",
                          [&, at, to] {
                              crypt.code(at, to, size);
                              return to[0];
                          }),
                     over(size, "OpenSSL RC4",
                          [&, at, to] {
                              RC4(&peer, size, at, to);
                              return to[0];
                          }),
                     over(size, "zaCrypt::code, a byte at a time", [&, at, to] {
                         for (std::size_t i = 0; i < size; ++i)
                             to[i] = bytewise.code(at[i]);
                         return to[0];
                     })});
    }
}

struct Section {
    std::string name;
    void (*run)();
};

const Section kSections[] = {
    {"crc", compareCrc},       {"kernels", compareKernels}, {"techniques", compareTechniques},
    {"base64", compareBase64}, {"lines", compareLines},     {"murmur", compareMurmur},
    {"random", compareRandom}, {"crypt", compareCrypt}};

}  // namespace

int main(int argc, char** argv) {
    const std::vector<std::string> wanted(argv + 1, argv + argc);
    for (const Section& section : kSections) {
        if (wanted.empty() || std::find(wanted.begin(), wanted.end(), section.name) != wanted.end())
            section.run();
    }
}
