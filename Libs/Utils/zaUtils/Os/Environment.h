#pragma once

#include <string>

namespace za::os {

/// Reads an environment variable in UTF-8; false when it is not set.
bool environmentValue(const std::string& name, std::string& value);

/// Sets an environment variable (UTF-8); an empty value removes it. The C library's result: 0, or
/// -1 with errno.
int setEnvironmentValue(const std::string& name, const std::string& value);

}  // namespace za::os
