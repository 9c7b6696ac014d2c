#pragma once

#include <cstddef>
#include <fstream>
#include <vector>

#include "zaUtils/Api.h"

/// A binary input file stream that reads in blocks of the caller's choice, for big files. Reads of
/// a block or more go around the buffer.
///
/// While the file is open, others may read it but not write to it. (On Linux this is a shared
/// advisory lock, which only those see who ask for a lock.)
class ZAUTILS_API cached_ifstream : public std::ifstream {
public:
    /// Opens an existing file. A file that cannot be opened (missing, a folder, open for writing
    /// elsewhere) leaves the stream closed and failed, with the reason in `errno`.
    ///
    /// @param utf8FileName  path in UTF-8; null is like an empty one
    /// @param bufferSize    bytes; with 0 the stream is unbuffered
    /// @throws std::length_error  the size is beyond what a vector can have
    /// @throws std::bad_alloc     there is not so much memory
    cached_ifstream(const char* utf8FileName, std::size_t bufferSize);
    ~cached_ifstream() override;

    cached_ifstream(cached_ifstream&& other) noexcept;
    cached_ifstream& operator=(cached_ifstream&& other) noexcept;

private:
    std::vector<char> _buffer;
};
