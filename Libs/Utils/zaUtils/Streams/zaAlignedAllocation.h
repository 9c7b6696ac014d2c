#pragma once

#include <cstddef>

#include "zaUtils/Api.h"

/// @name Aligned memory from the scalable allocator
/// Thread-safe. Memory from here goes back by `za_aligned_free` and by nothing else.
/// @{

/// `size` bytes at a multiple of `alignment`, which must be a power of two; null, with `errno` set,
/// when that is not so (EINVAL), when `size` is 0 (EINVAL) or when memory is short (ENOMEM).
ZAUTILS_API void* za_aligned_malloc(std::size_t size, std::size_t alignment);

/// Moves the memory to a block of another size, with as much of its content as fits. A null `p`
/// allocates; a `size` of 0 frees and gives null. When it fails, `p` stays as it is.
ZAUTILS_API void* za_aligned_realloc(void* p, std::size_t size, std::size_t alignment);

/// Null does nothing.
ZAUTILS_API void za_aligned_free(void* p);
/// @}
