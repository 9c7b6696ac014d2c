#pragma once

#include <cstddef>
#include <memory>
#include <string>

#include "zaUtils/Api.h"

/// Any hash of this library, of data that comes in pieces: the value is that of the whole data by
/// the function of the same name, however it is cut.
///
/// ```
/// zaHashStream hash(zaHashStream::Kind::MurmurHash3_x64_128);
/// while (read(buffer)) hash.add(buffer.data(), buffer.size());
/// print(hash.hexadecimal());
/// ```
///
/// Of data of 2 GiB and more, which the MurmurHash3 functions cannot be given at once, the length
/// counts modulo 2^32 there (in `x64_128` modulo 2^64).
///
/// Not thread-safe: for one thread at a time.
class ZAUTILS_API zaHashStream {
public:
    enum class Kind {
        CRC32,            ///< `zaCRC32::calc`
        FNV1A_Jesteress,  ///< `zaCRC32::calc_FNV1A_Jesteress`
        MurmurHash3_x86_32,
        MurmurHash3_x86_128,
        MurmurHash3_x64_128,
    };

    /// @param seed  the function's `seed` or `previous`
    explicit zaHashStream(Kind kind, unsigned int seed = 0);
    ~zaHashStream();
    zaHashStream(zaHashStream&& other) noexcept;
    zaHashStream& operator=(zaHashStream&& other) noexcept;

    /// `data` may be null when `size` is 0.
    void add(const void* data, std::size_t size);

    /// The value of all data so far, as lower-case hexadecimal digits: 8, or the words of a 128-bit
    /// hash in their order. More data may follow.
    std::string hexadecimal() const;

private:
    class Hash;
    template <typename State>
    class BlockHash;
    class Crc;

    std::unique_ptr<Hash> _hash;
};
