#pragma once

#include <string>

/// Why the last call of the library, or of the C library, failed. To be asked right after it.
std::string lastReason();
