#pragma once

#include <string>

namespace za::os {

/// Reads an environment variable in UTF-8; false when it is not set.
bool environmentValue(const std::string& name, std::string& value);

/// Sets an environment variable, or removes it when the value is empty, for the C library and the
/// system alike. An empty name and one that holds a '=' are refused.
/// @return what the C library returns: 0 on success
int setEnvironmentValue(const std::string& name, const std::string& value);

}  // namespace za::os
