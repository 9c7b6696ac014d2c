#include "zaUtils/Streams/zaMemoryIStream.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <utility>

namespace {

constexpr std::size_t kWindowLimit = std::size_t{1} << 30;

/// The sum, wrapping around where the numbers end: no offset is refused.
std::int64_t wrappingSum(std::int64_t a, std::int64_t b) {
    return static_cast<std::int64_t>(static_cast<std::uint64_t>(a) + static_cast<std::uint64_t>(b));
}

/// Copies a few bytes without the call that `memcpy` with an unknown size is.
inline void copyUpTo16(char* target, const char* source, std::size_t count) {
    if (count >= 8) {
        std::uint64_t first, last;
        std::memcpy(&first, source, 8);
        std::memcpy(&last, source + count - 8, 8);
        std::memcpy(target, &first, 8);
        std::memcpy(target + count - 8, &last, 8);
    } else if (count >= 4) {
        std::uint32_t first, last;
        std::memcpy(&first, source, 4);
        std::memcpy(&last, source + count - 4, 4);
        std::memcpy(target, &first, 4);
        std::memcpy(target + count - 4, &last, 4);
    } else {
        for (std::size_t i = 0; i < count; ++i)
            target[i] = source[i];
    }
}

}  // namespace

zaMemoryIStreamBuf::zaMemoryIStreamBuf(const std::vector<char>& data)
    : zaMemoryIStreamBuf(data, kWindowLimit) {}

zaMemoryIStreamBuf::zaMemoryIStreamBuf(const std::vector<char>& data, std::size_t windowLimit)
    : _data(data), _begin(data.data()), _end(_begin + data.size()), _windowLimit(windowLimit) {
    setPosition(0);
}

void zaMemoryIStreamBuf::setPosition(std::size_t pos) {
    // The get area is not written to: putting back another character than was read fails.
    char* start = const_cast<char*>(_begin) + pos;
    setg(start, start, start + std::min(_data.size() - pos, _windowLimit));
    _outside = 0;
}

zaMemoryIStreamBuf::int_type zaMemoryIStreamBuf::underflow() {
    if (egptr() == _end || _outside != 0) return traits_type::eof();
    setPosition(static_cast<std::size_t>(egptr() - _begin));
    return *gptr();  // deliberately signed
}

std::streamsize zaMemoryIStreamBuf::xsgetn(char* target, std::streamsize count) {
    const char* source = gptr();
    if (count < 1 || count > 16 || count > egptr() - source) return readLong(target, count);
    copyUpTo16(target, source, static_cast<std::size_t>(count));
    gbump(static_cast<int>(count));
    return count;
}

/// A function of its own, so that short reads need not save any registers.
std::streamsize zaMemoryIStreamBuf::readLong(char* target, std::streamsize count) {
    const char* source = gptr();
    // Pieces that cross a window are put together as the standard library does it.
    if (count <= 0 || count > egptr() - source) return std::streambuf::xsgetn(target, count);
    std::memcpy(target, source, static_cast<std::size_t>(count));
    gbump(static_cast<int>(count));  // a window fits
    return count;
}

zaMemoryIStreamBuf::pos_type zaMemoryIStreamBuf::seekoff(off_type off, std::ios_base::seekdir dir,
                                                         std::ios_base::openmode) {
    const auto size = static_cast<off_type>(_data.size());
    off_type pos = wrappingSum(gptr() - _begin, _outside);
    if (dir == std::ios_base::beg) {
        pos = off;
    } else if (dir == std::ios_base::cur) {
        pos = wrappingSum(pos, off);
    } else if (dir == std::ios_base::end) {
        pos = wrappingSum(size, off);
    } else {
        return pos;
    }
    const off_type nearest = std::clamp<off_type>(pos, 0, size);
    setPosition(static_cast<std::size_t>(nearest));
    _outside = wrappingSum(pos, -nearest);
    if (_outside != 0) setg(gptr(), gptr(), gptr());
    return pos;
}

zaMemoryIStreamBuf::pos_type zaMemoryIStreamBuf::seekpos(pos_type pos,
                                                         std::ios_base::openmode which) {
    return seekoff(pos, std::ios_base::beg, which);
}

zaMemoryIStream::zaMemoryIStream(const std::vector<char>& data)
    : std::istream(nullptr), _buffer(data) {
    init(&_buffer);
}

zaMemoryIStream::zaMemoryIStream(zaMemoryIStream&& other) noexcept
    : std::istream(static_cast<std::istream&&>(other)), _buffer(other._buffer) {
    set_rdbuf(&_buffer);
}
