#include "zaUtils/Streams/zaMemoryOStream.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <utility>

namespace {

/// From this size on a write goes to the vector at once instead of being copied twice.
constexpr std::streamsize kDirectWrite = 1024;

/// Memory that is only set aside costs little, while each growth copies all there is: a vector
/// grows fourfold until it is large.
constexpr std::size_t kFourfoldLimit = std::size_t{1} << 30;

}  // namespace

// The staging buffer is not cleared: only what was written to it is ever read.
zaMemoryOStreamBuf::zaMemoryOStreamBuf() {
    resetPutArea();
}

zaMemoryOStreamBuf::zaMemoryOStreamBuf(const zaMemoryOStreamBuf& other)
    : std::streambuf(other), _data(other._data) {
    stageAs(other);
}

zaMemoryOStreamBuf& zaMemoryOStreamBuf::operator=(const zaMemoryOStreamBuf& other) {
    if (this == &other) return *this;
    std::streambuf::operator=(other);
    _data = other._data;
    stageAs(other);
    return *this;
}

zaMemoryOStreamBuf::zaMemoryOStreamBuf(zaMemoryOStreamBuf&& other) noexcept
    : std::streambuf(other), _data(std::exchange(other._data, {})) {
    stageAs(other);
    other.resetPutArea();
}

zaMemoryOStreamBuf& zaMemoryOStreamBuf::operator=(zaMemoryOStreamBuf&& other) noexcept {
    if (this == &other) return *this;
    std::streambuf::operator=(other);
    _data = std::exchange(other._data, {});
    stageAs(other);
    other.resetPutArea();
    return *this;
}

void zaMemoryOStreamBuf::resetPutArea() {
    setp(_staging.data(), _staging.data() + _staging.size());
}

void zaMemoryOStreamBuf::stageAs(const zaMemoryOStreamBuf& other) {
    const auto staged = other.pptr() - other._staging.data();
    std::memcpy(_staging.data(), other._staging.data(), static_cast<std::size_t>(staged));
    resetPutArea();
    pbump(static_cast<int>(staged));
}

std::vector<char> zaMemoryOStreamBuf::getData() {
    sync();
    return std::exchange(_data, {});
}

zaMemoryOStreamBuf::int_type zaMemoryOStreamBuf::overflow(int_type c) {
    if (traits_type::eq_int_type(c, traits_type::eof())) return c;
    flush();
    *pptr() = traits_type::to_char_type(c);
    pbump(1);
    return c;
}

std::streamsize zaMemoryOStreamBuf::xsputn(const char* source, std::streamsize count) {
    if (count < kDirectWrite) return std::streambuf::xsputn(source, count);
    flush();
    append(source, static_cast<std::size_t>(count));
    return count;
}

int zaMemoryOStreamBuf::sync() {
    flush();
    return 0;
}

void zaMemoryOStreamBuf::flush() {
    append(pbase(), static_cast<std::size_t>(pptr() - pbase()));
    resetPutArea();
}

void zaMemoryOStreamBuf::append(const char* bytes, std::size_t count) {
    if (count > _data.capacity() - _data.size()) grow(_data.size() + count);
    _data.insert(_data.end(), bytes, bytes + count);
}

void zaMemoryOStreamBuf::grow(std::size_t needed) {
    const std::size_t capacity = _data.capacity();
    if (capacity < kFourfoldLimit) {
        try {
            _data.reserve(std::max({needed, 4 * capacity, _staging.size()}));
            return;
        } catch (const std::bad_alloc&) {
            // Then as little as the vector takes by itself.
        }
    }
}

zaMemoryOStream::zaMemoryOStream() : std::ostream(nullptr) {
    init(&_buffer);
}

zaMemoryOStream::zaMemoryOStream(zaMemoryOStream&& other) noexcept
    : std::ostream(static_cast<std::ostream&&>(other)), _buffer(std::move(other._buffer)) {
    set_rdbuf(&_buffer);
}

zaMemoryOStream& zaMemoryOStream::operator=(zaMemoryOStream&& other) noexcept {
    std::ostream::operator=(static_cast<std::ostream&&>(other));
    _buffer = std::move(other._buffer);
    return *this;
}
