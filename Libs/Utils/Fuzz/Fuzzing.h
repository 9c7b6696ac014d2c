#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

/// Ends the process, which the fuzzer reports with the input, when an invariant does not hold.
inline void require(bool holds, const char* invariant) {
    if (holds) return;
    std::fprintf(stderr, "does not hold: %s\n", invariant);
    std::abort();
}

/// Called by the fuzzer for each input.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);
/// Called by the fuzzer once.
extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv);
