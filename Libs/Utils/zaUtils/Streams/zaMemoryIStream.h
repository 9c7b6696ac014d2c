#pragma once

#include <cstddef>
#include <istream>
#include <streambuf>
#include <vector>

#include "zaUtils/Api.h"

/// Reads a byte vector in place. The vector must outlive the buffer and must not change while it is
/// read.
///
/// The get area is a window of at most 2^30 bytes that starts where it was last positioned or where
/// the window before ended; nothing in front of it can be put back.
///
/// Deliberate: the first byte of a window that reading runs into (after 2^30 bytes, 2 * 2^30 ...)
/// is handed out as a signed `char`. There a byte 0xFF reads as the end of the file, and other
/// bytes from 0x80 on are negative.
///
/// Seeking moves to an offset from the beginning, the current position or the end (any other
/// direction: nowhere) and always returns the new position; it never fails, and the open mode does
/// not matter. A position outside the data is kept like any other, but nothing can be read there.
class ZAUTILS_API zaMemoryIStreamBuf : public std::streambuf {
public:
    explicit zaMemoryIStreamBuf(const std::vector<char>& data);

    /// A copy reads the same vector from the same position.
    zaMemoryIStreamBuf(const zaMemoryIStreamBuf&) = default;
    zaMemoryIStreamBuf& operator=(const zaMemoryIStreamBuf&) = delete;

protected:
    /// With another limit for the windows, for tests.
    zaMemoryIStreamBuf(const std::vector<char>& data, std::size_t windowLimit);

    int_type underflow() override;
    std::streamsize xsgetn(char* target, std::streamsize count) override;
    pos_type seekoff(off_type off, std::ios_base::seekdir dir,
                     std::ios_base::openmode which) override;
    pos_type seekpos(pos_type pos, std::ios_base::openmode which) override;

private:
    void setPosition(std::size_t pos);
    std::streamsize readLong(char* target, std::streamsize count);

    const std::vector<char>& _data;
    const char* _begin;
    const char* _end;
    std::size_t _windowLimit;
    off_type _outside = 0;  // how far the position lies from the nearest end of the data
};

/// An input stream over a byte vector; see `zaMemoryIStreamBuf`. Movable, like the standard
/// library's string streams.
class ZAUTILS_API zaMemoryIStream : public std::istream {
public:
    explicit zaMemoryIStream(const std::vector<char>& data);
    zaMemoryIStream(zaMemoryIStream&& other) noexcept;

private:
    zaMemoryIStreamBuf _buffer;
};
