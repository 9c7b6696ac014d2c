#pragma once

#include <string>
#include <vector>

namespace za::os {

/// The arguments of this process, its own name excluded, in UTF-8; `argc` and `argv` are those of
/// `main`.
std::vector<std::string> commandLineArguments(int argc, const char* const* argv);

}  // namespace za::os
