#include "zaUtils/Encoding/zaMurmurHash3.h"

#include "zaUtils/Encoding/Internal/MurmurHash3States.h"

namespace {

template <typename State>
void hash(const void* key, int length, unsigned int seed, void* out) {
    const auto* bytes = static_cast<const unsigned char*>(key);
    const auto size = static_cast<std::size_t>(std::max(length, 0));
    const std::size_t rest = size % State::kBlockSize;

    State state(seed);
    for (std::size_t at = 0; at < size - rest; at += State::kBlockSize)
        state.addBlock(bytes + at);
    typename State::Result result;
    state.finish(bytes + (size - rest), rest, size, result);
    std::memcpy(out, result, sizeof result);
}

}  // namespace

void zaMurmurHash3_x86_32(const void* key, int length, unsigned int seed, void* out) {
    hash<za::murmur3::State32>(key, length, seed, out);
}

void zaMurmurHash3_x86_128(const void* key, int length, unsigned int seed, void* out) {
    hash<za::murmur3::State128By32>(key, length, seed, out);
}

void zaMurmurHash3_x64_128(const void* key, int length, unsigned int seed, void* out) {
    hash<za::murmur3::State128By64>(key, length, seed, out);
}
