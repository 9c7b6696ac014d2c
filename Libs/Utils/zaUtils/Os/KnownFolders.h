#pragma once

#include <string>

#include "zaUtils/Os/Error.h"

namespace za::os {

// Folders that the system assigns, in UTF-8 and as the host writes paths; a separator may or may
// not stand at the end.

/// Where applications keep a user's data, on every machine that the user works on. Made when it is
/// missing; fails when it cannot be made.
Error roamingDataFolder(std::string& path);

/// Where applications keep data for all users of this machine. Made when it is missing; fails when
/// it cannot be made.
Error sharedDataFolder(std::string& path);

/// Where scratch files go. Not looked at: it may be missing.
Error temporaryPath(std::string& path);

}  // namespace za::os
