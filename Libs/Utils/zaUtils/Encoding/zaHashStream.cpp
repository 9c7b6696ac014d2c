#include "zaUtils/Encoding/zaHashStream.h"

#include <algorithm>
#include <cstring>
#include <iterator>

#include "zaUtils/Encoding/Internal/JesteressState.h"
#include "zaUtils/Encoding/Internal/MurmurHash3States.h"
#include "zaUtils/Encoding/zaCRC32.h"

namespace {

template <typename Word>
void appendHexadecimal(Word word, std::string& text) {
    for (int shift = 8 * static_cast<int>(sizeof word) - 4; shift >= 0; shift -= 4)
        text += "0123456789abcdef"[word >> shift & 0xF];
}

}  // namespace

class zaHashStream::Hash {
public:
    virtual ~Hash() = default;
    virtual void add(const unsigned char* bytes, std::size_t count) = 0;
    virtual std::string hexadecimal() const = 0;
};

class zaHashStream::Crc : public Hash {
public:
    explicit Crc(unsigned int previous) : _crc(previous) {}

    void add(const unsigned char* bytes, std::size_t count) override {
        _crc = zaCRC32::calc(bytes, count, _crc);
    }

    std::string hexadecimal() const override {
        std::string text;
        appendHexadecimal(_crc, text);
        return text;
    }

private:
    unsigned int _crc;
};

/// A hash that takes whole blocks; the bytes of the last one wait until it is whole.
template <typename State>
class zaHashStream::BlockHash : public Hash {
public:
    explicit BlockHash(unsigned int seed) : _state(seed) {}

    void add(const unsigned char* bytes, std::size_t count) override {
        _length += count;
        if (_waiting > 0) {
            const std::size_t taken = std::min(count, kBlockSize - _waiting);
            std::copy_n(bytes, taken, _rest + _waiting);
            _waiting += taken;
            bytes += taken;
            count -= taken;
            if (_waiting < kBlockSize) return;
            _state.addBlock(_rest);
        }
        for (; count >= kBlockSize; count -= kBlockSize, bytes += kBlockSize)
            _state.addBlock(bytes);
        std::copy_n(bytes, count, _rest);
        _waiting = count;
    }

    std::string hexadecimal() const override {
        typename State::Result result;
        State(_state).finish(_rest, _waiting, _length, result);
        std::string text;
        for (const auto word : result)
            appendHexadecimal(word, text);
        return text;
    }

private:
    static constexpr std::size_t kBlockSize = State::kBlockSize;

    State _state;
    unsigned char _rest[kBlockSize];
    std::size_t _waiting = 0;
    std::uint64_t _length = 0;
};

zaHashStream::zaHashStream(Kind kind, unsigned int seed) {
    switch (kind) {
        case Kind::CRC32:
            _hash = std::make_unique<Crc>(seed);
            break;
        case Kind::FNV1A_Jesteress:
            _hash = std::make_unique<BlockHash<za::JesteressState>>(seed);
            break;
        case Kind::MurmurHash3_x86_32:
            _hash = std::make_unique<BlockHash<za::murmur3::State32>>(seed);
            break;
        case Kind::MurmurHash3_x86_128:
            _hash = std::make_unique<BlockHash<za::murmur3::State128By32>>(seed);
            break;
        case Kind::MurmurHash3_x64_128:
            _hash = std::make_unique<BlockHash<za::murmur3::State128By64>>(seed);
            break;
    }
}

zaHashStream::~zaHashStream() = default;
zaHashStream::zaHashStream(zaHashStream&& other) noexcept = default;
zaHashStream& zaHashStream::operator=(zaHashStream&& other) noexcept = default;

void zaHashStream::add(const void* data, std::size_t size) {
    if (size > 0) _hash->add(static_cast<const unsigned char*>(data), size);
}

std::string zaHashStream::hexadecimal() const {
    return _hash->hexadecimal();
}
