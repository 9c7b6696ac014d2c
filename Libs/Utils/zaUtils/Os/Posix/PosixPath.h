#pragma once

#include <algorithm>
#include <string>

namespace za::os {

/// The path as the system takes it: both hosts accept '\' as a separator.
inline std::string nativePath(std::string path) {
    std::replace(path.begin(), path.end(), '\\', '/');
    return path;
}

}  // namespace za::os
