#pragma once

// The codecs that pictures are read and written by, without those that nobody asks for. JPEG is
// read by a library of its own: this one's tables overflow on malformed files.
#define STBI_ONLY_BMP
#define STBI_ONLY_HDR
#define STBI_ONLY_PNG
#define STBI_ONLY_TGA
#define STBI_NO_STDIO
#include <stb/stb_image.h>
#include <stb/stb_image_write.h>
