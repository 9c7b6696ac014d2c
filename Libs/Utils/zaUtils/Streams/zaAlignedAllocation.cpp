#include "zaUtils/Streams/zaAlignedAllocation.h"

#include <tbb/scalable_allocator.h>

void* za_aligned_malloc(std::size_t size, std::size_t alignment) {
    return scalable_aligned_malloc(size, alignment);
}

void* za_aligned_realloc(void* p, std::size_t size, std::size_t alignment) {
    return scalable_aligned_realloc(p, size, alignment);
}

void za_aligned_free(void* p) {
    scalable_aligned_free(p);
}
