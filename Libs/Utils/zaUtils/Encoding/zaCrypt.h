#pragma once

#include <array>
#include <cstddef>
#include <utility>
#include <vector>

#include "zaUtils/Api.h"

/// The stream cipher RC4. Coding is its own inverse: two objects made from the same key restore
/// each other's output.
///
/// RC4 is broken: this keeps curious eyes off a file and no attacker.
///
/// Thread safety: each object has its own state, for one thread at a time.
class ZAUTILS_API zaCrypt {
public:
    /// Starts from a key. Of keys longer than 256 bytes the first 256 count; an empty key counts as
    /// one zero byte.
    zaCrypt(const std::vector<unsigned char>& key);
    /// Starts from a box, a permutation of all bytes, as it stands and without a key.
    zaCrypt(const std::array<unsigned char, 256>& box);
    zaCrypt(const zaCrypt&) = default;
    zaCrypt& operator=(const zaCrypt&) = default;
    virtual ~zaCrypt();

    /// Codes the next byte of the stream.
    unsigned char code(unsigned char byte) {
        // The indices are stored first: the next byte waits for them.
        _i = (_i + 1) % 256;
        const unsigned int i = _i, first = _box[i];
        _j = (_j + first) % 256;
        const unsigned int j = _j, second = _box[j];
        _box[i] = static_cast<unsigned char>(second);
        _box[j] = static_cast<unsigned char>(first);
        return static_cast<unsigned char>(byte ^ _box[(first + second) % 256]);
    }

    /// Codes the next `length` bytes of the stream, with the results of `code` for each. `target`
    /// may be `source`; otherwise they must not overlap.
    void code(const unsigned char* source, unsigned char* target, std::size_t length);

    /// Starts the stream anew from the key. Only for objects made from a key: one that was made
    /// from a box gets the box of an empty key.
    void reset();

    /// The current box.
    std::array<unsigned char, 256> box();

private:
    std::vector<unsigned char> _key;
    std::array<unsigned char, 256> _box;
    unsigned int _i = 0;
    unsigned int _j = 0;
};
