#pragma once

#include <cstddef>
#include <string_view>
#include <vector>

/// Cuts bytes that come in pieces into lines.
class LineBuffer {
public:
    /// A line of this size or more is given out in pieces, so that memory stays bounded.
    static constexpr std::size_t kMaxLine = std::size_t{1} << 20;

    /// Room for `size` more bytes, to be filled and then told to `added`.
    char* room(std::size_t size);
    void added(std::size_t size) { _end += size; }

    /// The next line without its LF or CR LF, valid until the next call of `room`; false when none
    /// is whole.
    bool next(std::string_view& line);
    /// What is left of a line without its end; false when nothing is.
    bool takeRest(std::string_view& line);

    void clear() { _begin = _searched = _end = 0; }

private:
    std::vector<char> _bytes;
    std::size_t _begin = 0;
    std::size_t _searched = 0;  ///< no line ends before this
    std::size_t _end = 0;
};
