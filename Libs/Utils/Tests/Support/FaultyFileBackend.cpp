#include "Support/FaultyFileBackend.h"

#include <algorithm>

using za::os::Error;

void FaultyFileBackend::failCall(int n, int code) {
    _failAt = _calls + n;
    _failCode = code;
}

Error FaultyFileBackend::next() {
    ++_calls;
    return _calls == _failAt ? za::os::failWith(_failCode) : Error{};
}

Error FaultyFileBackend::open(const std::string& path, za::os::OpenMode mode, Handle& handle) {
    Error error = next();
    if (error.ok()) error = _host.open(path, mode, handle);
    if (error.ok()) ++_openFiles;
    return error;
}

Error FaultyFileBackend::read(Handle handle, void* buffer, std::size_t size, std::size_t& count) {
    count = 0;
    if (const Error error = next(); !error.ok()) return error;
    ++_reads;
    if (_endAtRead != 0 && _reads >= _endAtRead) return {};
    return _host.read(handle, buffer, std::min(size, _mostBytes), count);
}

Error FaultyFileBackend::write(Handle handle, const void* data, std::size_t size,
                               std::size_t& count) {
    count = 0;
    if (const Error error = next(); !error.ok()) return error;
    if (_writeCode != 0) return za::os::failWith(_writeCode);
    return _host.write(handle, data, std::min(size, _mostBytes), count);
}

Error FaultyFileBackend::seek(Handle handle, std::uint64_t position) {
    const Error error = next();
    return error.ok() ? _host.seek(handle, position) : error;
}

Error FaultyFileBackend::seekToEnd(Handle handle, std::uint64_t& position) {
    const Error error = next();
    return error.ok() ? _host.seekToEnd(handle, position) : error;
}

Error FaultyFileBackend::truncate(Handle handle, std::uint64_t size) {
    const Error error = next();
    return error.ok() ? _host.truncate(handle, size) : error;
}

/// A close that fails closes all the same, as the systems' do.
Error FaultyFileBackend::close(Handle handle) {
    --_openFiles;
    const Error closed = _host.close(handle);
    const Error error = next();
    return error.ok() ? closed : error;
}

Error FaultyFileBackend::removeFile(const std::string& path) {
    const Error error = next();
    return error.ok() ? _host.removeFile(path) : error;
}

Error FaultyFileBackend::renameFile(const std::string& from, const std::string& to) {
    const Error error = next();
    return error.ok() ? _host.renameFile(from, to) : error;
}

Error FaultyFileBackend::createDirectory(const std::string& path) {
    const Error error = next();
    return error.ok() ? _host.createDirectory(path) : error;
}
