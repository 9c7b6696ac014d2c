#pragma once

#include "Picture.h"

/// One picture with a column for each kernel of `ImageScaling`, under its name: what it makes of
/// the whole picture when it shrinks it, and of its middle when it enlarges that.
///
/// @param width  of all kernels, or `ImageScaling::kUsualWidth`
/// @return an empty picture when all work was cancelled
Picture makeKernelSheet(const Picture& picture, double width);

/// How often a picture is scaled for it.
constexpr int kScalingsOfSheet = 12;
