#pragma once

#include <array>
#include <cstddef>
#include <ostream>
#include <streambuf>
#include <vector>

#include "zaUtils/Api.h"

/// Collects written bytes in a vector that the caller takes over. Small writes gather in a staging
/// buffer inside the object first, which makes it larger than 64 KiB.
class ZAUTILS_API zaMemoryOStreamBuf : public std::streambuf {
public:
    zaMemoryOStreamBuf();

    /// A copy has everything that was written so far, the staged bytes included.
    zaMemoryOStreamBuf(const zaMemoryOStreamBuf& other);
    zaMemoryOStreamBuf& operator=(const zaMemoryOStreamBuf& other);
    /// What it is moved from is empty and may be written to.
    zaMemoryOStreamBuf(zaMemoryOStreamBuf&& other) noexcept;
    zaMemoryOStreamBuf& operator=(zaMemoryOStreamBuf&& other) noexcept;

    /// Makes room for `n` bytes in all.
    void reserve(std::size_t n) { _data.reserve(n); }

    /// Hands over what was written since the last call, without copying it, after a `sync`. The
    /// vector's capacity can be up to four times its size.
    std::vector<char> getData();

protected:
    int_type overflow(int_type c) override;
    std::streamsize xsputn(const char* source, std::streamsize count) override;
    int sync() override;

private:
    void flush();
    void append(const char* bytes, std::size_t count);
    void grow(std::size_t needed);
    void resetPutArea();
    void stageAs(const zaMemoryOStreamBuf& other);

    std::vector<char> _data;
    std::array<char, 65536> _staging;
};

/// An output stream into a byte vector; see `zaMemoryOStreamBuf`. Movable, like the standard
/// library's string streams.
class ZAUTILS_API zaMemoryOStream : public std::ostream {
public:
    zaMemoryOStream();
    zaMemoryOStream(zaMemoryOStream&& other) noexcept;
    zaMemoryOStream& operator=(zaMemoryOStream&& other) noexcept;

    /// Makes room for `n` bytes in all.
    void reserve(std::size_t n) { _buffer.reserve(n); }

    /// Hands over what was written since the last call, without copying it; the stream may go on.
    std::vector<char> getData() { return _buffer.getData(); }

private:
    zaMemoryOStreamBuf _buffer;
};
