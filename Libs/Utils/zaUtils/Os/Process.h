#pragma once

#include <string>
#include <vector>

#include "zaUtils/Os/Error.h"

namespace za::os {

/// The arguments of this process, its own name excluded, in UTF-8; `argc` and `argv` are those of
/// `main`.
std::vector<std::string> commandLineArguments(int argc, const char* const* argv);

/// How many processors the system reports.
int processorCount();

/// Full path of the module that runs as the application `name`: a loaded library of that name where
/// the host knows libraries by name, otherwise the program of this process if its file name, up to
/// the first dot, is `name`. Fails when it is neither.
Error applicationModule(const std::string& name, std::string& path);

}  // namespace za::os
