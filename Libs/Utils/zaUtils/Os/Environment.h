#pragma once

#include <string>

namespace za::os {

/// Reads an environment variable in UTF-8; false when it is not set.
bool environmentValue(const std::string& name, std::string& value);

}  // namespace za::os
