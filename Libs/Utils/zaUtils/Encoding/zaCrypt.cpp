#include "zaUtils/Encoding/zaCrypt.h"

#include <algorithm>
#include <cstdint>

#include "zaUtils/Encoding/Internal/LittleEndian.h"

namespace {

/// A box in whole registers, which is faster once it is made.
using WideBox = std::array<std::uint32_t, 256>;

/// The key of the next byte, which swaps `entry` with another.
inline std::uint64_t step(WideBox& box, std::uint32_t& entry, unsigned int& j) {
    const std::uint32_t first = entry;
    j = (j + first) & 0xFF;
    const std::uint32_t second = box[j];
    entry = second;
    box[j] = first;
    return box[(first + second) & 0xFF];
}

/// The keys of the next eight bytes, whose entries start at `i`, a multiple of eight; the first one
/// lowest.
inline std::uint64_t stepEight(WideBox& box, unsigned int i, unsigned int& j) {
    std::uint32_t* entries = box.data() + i;
    std::uint64_t keys = step(box, entries[0], j);
    keys |= step(box, entries[1], j) << 8;
    keys |= step(box, entries[2], j) << 16;
    keys |= step(box, entries[3], j) << 24;
    keys |= step(box, entries[4], j) << 32;
    keys |= step(box, entries[5], j) << 40;
    keys |= step(box, entries[6], j) << 48;
    keys |= step(box, entries[7], j) << 56;
    return keys;
}

}  // namespace

zaCrypt::zaCrypt(const std::vector<unsigned char>& key) : _key(key) {
    reset();
}

zaCrypt::zaCrypt(const std::array<unsigned char, 256>& box) : _box(box) {}

zaCrypt::~zaCrypt() = default;

void zaCrypt::code(const unsigned char* source, unsigned char* target, std::size_t length) {
    constexpr std::size_t kWorthAWideBox = 512;
    std::size_t done = 0;
    if (length >= kWorthAWideBox) {
        for (; (_i + 1) % 8 != 0; ++done)
            target[done] = code(source[done]);
        WideBox box;
        std::copy(_box.begin(), _box.end(), box.begin());
        unsigned int next = (_i + 1) % 256, j = _j;
        for (; length - done >= 8; done += 8, next = (next + 8) % 256) {
            const std::uint64_t keys = stepEight(box, next, j);
            za::storeLittle64(target + done, za::loadLittle64(source + done) ^ keys);
        }
        _i = (next + 255) % 256;
        _j = j;
        std::transform(box.begin(), box.end(), _box.begin(),
                       [](std::uint32_t entry) { return static_cast<unsigned char>(entry); });
    }
    for (; done < length; ++done)
        target[done] = code(source[done]);
}

void zaCrypt::reset() {
    const std::vector<unsigned char> key = _key.empty() ? std::vector<unsigned char>{0} : _key;
    for (unsigned int k = 0; k < 256; ++k)
        _box[k] = static_cast<unsigned char>(k);
    unsigned int j = 0;
    for (unsigned int k = 0; k < 256; ++k) {
        j = (j + _box[k] + key[k % key.size()]) % 256;
        std::swap(_box[k], _box[j]);
    }
    _i = _j = 0;
}

std::array<unsigned char, 256> zaCrypt::box() {
    return _box;
}
