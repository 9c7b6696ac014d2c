#pragma once

#include <cstddef>
#include <fstream>
#include <vector>

#include "zaUtils/Api.h"

/// A binary output file stream that gathers small writes in a buffer of the caller's choice, for
/// big files. Large writes may go around the buffer.
///
/// Call `flush` or `close` and look at the state to know that all was written. What is still
/// pending when the stream is destroyed is written, but nobody learns whether that worked.
class ZAUTILS_API cached_ofstream : public std::ofstream {
public:
    /// Creates the file, or truncates an existing one; others may read and write it at the same
    /// time. A file that cannot be opened leaves the stream closed and failed, with the reason in
    /// `errno`.
    ///
    /// @param utf8FileName  path in UTF-8; null is like an empty one
    /// @param bufferSize    bytes; with 0 the stream is unbuffered
    /// @throws std::length_error  the size is beyond what a vector can have; no file was touched
    /// @throws std::bad_alloc     there is not so much memory; no file was touched
    cached_ofstream(const char* utf8FileName, std::size_t bufferSize);
    ~cached_ofstream() override;

    cached_ofstream(cached_ofstream&& other) noexcept;
    cached_ofstream& operator=(cached_ofstream&& other) noexcept;

private:
    std::vector<char> _buffer;
};
