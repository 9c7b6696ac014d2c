#pragma once

#include <cstddef>
#include <fstream>
#include <string>

namespace za::os {

/// Memory through which a file buffer reads or writes; it stays its owner's and must live until the
/// file is closed. Null with size 0: unbuffered.
struct IoBuffer {
    char* data;
    std::size_t size;
};

/// @name Opening a file in a closed file buffer
/// Binary; paths are UTF-8 with either separator; directories are refused. False, with the file
/// buffer as it was and the reason in `errno`, when the file cannot be opened.
/// @{

/// Opens an existing file. While it is open nobody may write to it. Where the system does not keep
/// writers off, there is a shared advisory lock on the file: those who ask for an exclusive one
/// know, and nobody else.
bool openForReading(const std::string& path, IoBuffer buffer, std::filebuf& file);

/// Creates or truncates a file, which others may read and write at the same time.
bool openForWriting(const std::string& path, IoBuffer buffer, std::filebuf& file);
/// @}

}  // namespace za::os
