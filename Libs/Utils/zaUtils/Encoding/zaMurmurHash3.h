#pragma once

#include "zaUtils/Api.h"

/// MurmurHash3: fast hashes for tables and for comparing content, not for secrets.
///
/// The values equal those of the published reference for every key, seed and length, on every
/// processor. `key` may be at any address, and null when it is empty; a `length` below 0 counts as
/// 0. `out` may be at any address and is written in the processor's order of bytes.
///
/// Thread safety: all functions are pure.
/// @{

/// Writes one 32-bit value.
ZAUTILS_API void zaMurmurHash3_x86_32(const void* key, int length, unsigned int seed, void* out);
/// Writes four 32-bit values. Made for 32-bit processors; differs from the other 128-bit variant.
ZAUTILS_API void zaMurmurHash3_x86_128(const void* key, int length, unsigned int seed, void* out);
/// Writes two 64-bit values. The fastest for long keys.
ZAUTILS_API void zaMurmurHash3_x64_128(const void* key, int length, unsigned int seed, void* out);
/// @}
