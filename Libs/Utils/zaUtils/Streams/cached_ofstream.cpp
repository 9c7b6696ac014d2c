#include "zaUtils/Streams/cached_ofstream.h"

#include <utility>

#include "zaUtils/Os/FileStream.h"

cached_ofstream::cached_ofstream(const char* utf8FileName, std::size_t bufferSize)
    : _buffer(bufferSize) {
    const za::os::IoBuffer buffer{bufferSize > 0 ? _buffer.data() : nullptr, bufferSize};
    const char* name = utf8FileName ? utf8FileName : "";
    if (!za::os::openForWriting(name, buffer, *rdbuf())) setstate(std::ios_base::failbit);
}

// What is pending is written while the memory that it waits in is still there.
cached_ofstream::~cached_ofstream() {
    rdbuf()->close();
}

cached_ofstream::cached_ofstream(cached_ofstream&& other) noexcept
    : std::ofstream(static_cast<std::ofstream&&>(other)), _buffer(std::move(other._buffer)) {}

// The base comes first: it closes the file that was open here, with what is pending in the buffer.
cached_ofstream& cached_ofstream::operator=(cached_ofstream&& other) noexcept {
    std::ofstream::operator=(static_cast<std::ofstream&&>(other));
    _buffer = std::move(other._buffer);
    return *this;
}
