#pragma once

#include <string>
#include <string_view>

#include "Picture.h"

/// Whether these bytes begin as a JPEG does.
bool isJpeg(std::string_view bytes);

/// Decodes a JPEG: one channel when it is grey, and three otherwise.
/// @return what is wrong with it, empty when nothing is
std::string decodeJpeg(std::string_view bytes, Picture& picture);
