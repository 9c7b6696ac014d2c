#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

/// A file to work on, or the reason why a name on the command line leads to none.
struct FileTarget {
    std::string path;     ///< UTF-8
    std::string problem;  ///< empty for a file
};

/// A UTF-8 path, with either separator, for the standard library.
std::filesystem::path toStandardPath(const std::string& path);

/// The files that `names` stand for, in the order of the names.
///
/// With `recursive`, a folder stands for all regular files below it, sorted by name. Symbolic links
/// in there are left alone, so that nothing outside of the folder is reached; a link that is named
/// itself is followed. (For Windows, the standard library of mingw-w64 does not tell links from
/// what they lead to.) A name that does not exist is kept: opening it tells the reason.
std::vector<FileTarget> findFiles(const std::vector<std::string>& names, bool recursive);

/// Bytes of a file, 0 if it cannot be worked on, and of all files.
std::uint64_t sizeOf(const FileTarget& target);
std::uint64_t sizeOf(const std::vector<FileTarget>& targets);
