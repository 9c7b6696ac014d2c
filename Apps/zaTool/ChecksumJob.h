#pragma once

#include <string>

#include "zaUtils/Files/zaFile.h"

/// What was found out about one file's checksum, or done to it.
struct ChecksumResult {
    enum class Kind { Correct, Found, Added, Renewed, Removed, Missing, Wrong, Failed };

    std::string file;
    Kind kind = Kind::Failed;
    std::string text;           ///< the kind with its details, for people
    zaFile::ChecksumInfo info;  ///< of the footer that was found, written or removed
};

/// @name Work on one file
/// The first `skip` bytes of the file are not covered by its checksum. Nothing is printed, and a
/// file that cannot be worked on is a result, too. What takes long stops, as for a file that cannot
/// be read, when `onBytes` says so.
/// @{
ChecksumResult verifyFile(const std::string& file, unsigned int skip,
                          const zaFile::OnBytes& onBytes);
ChecksumResult showFile(const std::string& file, unsigned int skip);
/// Leaves a file that carries a checksum alone unless `renew`. A file that the footer does not fit
/// onto any more stays as it was.
ChecksumResult addToFile(const std::string& file, unsigned int skip, bool renew,
                         const zaFile::OnBytes& onBytes);
ChecksumResult stripFile(const std::string& file, unsigned int skip);
/// @}

/// The exit code that a result of this kind stands for.
int exitCodeOf(ChecksumResult::Kind kind);
