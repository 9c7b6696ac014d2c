#pragma once

#include <string>

/// What the probe prints again and again: lines of 0 to 243 bytes with NULs among them.
inline std::string programOutput() {
    constexpr std::size_t kSize = 1'000'003;  // a prime: it falls together with no buffer's size
    std::string output;
    for (std::size_t i = 0; i < kSize; ++i) {
        const std::size_t lineLength = i / 4096;
        output += i % (lineLength + 1) == 0 ? '\n' : "\0abcdef"[i % 7];
    }
    return output;
}
