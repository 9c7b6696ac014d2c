#include "zaUtils/Streams/cached_ifstream.h"

#include <utility>

#include "zaUtils/Os/FileStream.h"

cached_ifstream::cached_ifstream(const char* utf8FileName, std::size_t bufferSize)
    : _buffer(bufferSize) {
    const za::os::IoBuffer buffer{bufferSize > 0 ? _buffer.data() : nullptr, bufferSize};
    const char* name = utf8FileName ? utf8FileName : "";
    if (!za::os::openForReading(name, buffer, *rdbuf())) setstate(std::ios_base::failbit);
}

// The file buffer must be done with the memory before it goes.
cached_ifstream::~cached_ifstream() {
    rdbuf()->close();
}

cached_ifstream::cached_ifstream(cached_ifstream&& other) noexcept
    : std::ifstream(static_cast<std::ifstream&&>(other)), _buffer(std::move(other._buffer)) {}

// The base comes first: it closes the file that was open here, whose buffer is still there.
cached_ifstream& cached_ifstream::operator=(cached_ifstream&& other) noexcept {
    std::ifstream::operator=(static_cast<std::ifstream&&>(other));
    _buffer = std::move(other._buffer);
    return *this;
}
