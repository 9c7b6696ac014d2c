#pragma once

#include <string>

namespace za::os {

int currentProcessId();

/// The process that started this one; 0 when it no longer exists.
int parentProcessId();

/// Whether a process runs whose program file has this name. ASCII letters match in either case.
bool isProgramRunning(const std::string& fileName);

}  // namespace za::os
