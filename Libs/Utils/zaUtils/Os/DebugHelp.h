#pragma once

#include <memory>
#include <string>

#include "zaUtils/Os/Stack.h"

namespace za::os {

/// Loads the host's debug-help library; null on failure. A name without a folder is looked for
/// where the system keeps its libraries.
std::unique_ptr<DebugHelp> loadDebugHelpLibrary(const std::string& path);

}  // namespace za::os
