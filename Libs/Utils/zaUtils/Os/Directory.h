#pragma once

#include <string>

#include "zaUtils/Os/Error.h"

namespace za::os {

enum class PathKind { Missing, File, Directory };

/// What a path names, links followed; what is neither missing nor a directory counts as a file.
/// Separators at the end are allowed after a directory's name.
PathKind pathKind(const std::string& path);

/// Whether this process may write the existing file.
bool isWritable(const std::string& path);

/// Whether both paths name one existing file.
bool isSameFile(const std::string& a, const std::string& b);

/// The account name of the file's owner.
Error ownerName(const std::string& path, std::string& name);

/// The working directory as the host writes it.
Error currentDirectory(std::string& path);
Error setCurrentDirectory(const std::string& path);

}  // namespace za::os
