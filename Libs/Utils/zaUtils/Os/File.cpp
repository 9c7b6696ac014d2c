#include "zaUtils/Os/File.h"

#include <atomic>
#include <cerrno>
#include <utility>

namespace za::os {

namespace {

/// Null stands for the host's, so that files can be used before this is initialised.
std::atomic<FileBackend*> g_replacement{nullptr};

FileBackend& backend() {
    FileBackend* replacement = g_replacement.load(std::memory_order_acquire);
    return replacement ? *replacement : hostFileBackend();
}

}  // namespace

FileBackend& exchangeFileBackend(FileBackend& replacement) {
    FileBackend* before = g_replacement.exchange(&replacement, std::memory_order_acq_rel);
    return before ? *before : hostFileBackend();
}

File::~File() {
    const int reason = errno;  // of the failure that led here, if any
    static_cast<void>(close());
    errno = reason;
}

File::File(File&& other) noexcept : _handle(std::exchange(other._handle, kClosed)) {}

File& File::operator=(File&& other) noexcept {
    std::swap(_handle, other._handle);
    return *this;
}

Error File::open(const std::string& path, OpenMode mode) {
    if (const Error error = close(); !error.ok()) return error;
    return backend().open(path, mode, _handle);
}

Error File::close() {
    if (_handle == kClosed) return {};
    return backend().close(std::exchange(_handle, kClosed));
}

Error File::read(void* buffer, std::size_t size, std::size_t& count) {
    auto* bytes = static_cast<char*>(buffer);
    for (count = 0; count < size;) {
        std::size_t arrived = 0;
        const Error error = backend().read(_handle, bytes + count, size - count, arrived);
        if (!error.ok()) return error;
        if (arrived == 0) break;
        count += arrived;
    }
    return {};
}

Error File::write(const void* data, std::size_t size) {
    const auto* bytes = static_cast<const char*>(data);
    for (std::size_t done = 0; done < size;) {
        std::size_t written = 0;
        const Error error = backend().write(_handle, bytes + done, size - done, written);
        if (!error.ok()) return error;
        if (written == 0) return failWith(EIO);
        done += written;
    }
    return {};
}

Error File::seek(std::uint64_t position) {
    return backend().seek(_handle, position);
}

Error File::seekToEnd(std::uint64_t& position) {
    return backend().seekToEnd(_handle, position);
}

Error File::truncate(std::uint64_t size) {
    return backend().truncate(_handle, size);
}

Error removeFile(const std::string& path) {
    return backend().removeFile(path);
}

Error renameFile(const std::string& from, const std::string& to) {
    return backend().renameFile(from, to);
}

Error createDirectory(const std::string& path) {
    return backend().createDirectory(path);
}

}  // namespace za::os
