#if defined(__clang__)
// The codecs shift negative numbers to the left, which every compiler of ours defines.
#pragma clang attribute push(__attribute__((no_sanitize("shift"))), apply_to = function)
#endif

#define STB_IMAGE_IMPLEMENTATION
#define STB_IMAGE_WRITE_IMPLEMENTATION
#include "PictureCodecs.h"

#if defined(__clang__)
#pragma clang attribute pop
#endif
