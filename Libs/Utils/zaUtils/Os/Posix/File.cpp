#include "zaUtils/Os/File.h"

#include <fcntl.h>
#include <stdio.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <limits>

#include "zaUtils/Os/Posix/PosixPath.h"

namespace za::os {

namespace {

int openFlags(OpenMode mode) {
    switch (mode) {
        case OpenMode::Read:
            return O_RDONLY;
        case OpenMode::Write:
        case OpenMode::WriteText:
            return O_WRONLY | O_CREAT | O_TRUNC;
        case OpenMode::CreateNew:
            return O_WRONLY | O_CREAT | O_EXCL;
        case OpenMode::Append:
        case OpenMode::AppendText:
            return O_WRONLY | O_CREAT | O_APPEND;
        case OpenMode::Update:
            return O_RDWR;
    }
    return O_RDONLY;
}

/// The path as the system takes it; copied only if there is a separator to convert.
class NativePath {
public:
    explicit NativePath(const std::string& path) : _text(path.c_str()) {
        if (path.find('\\') == std::string::npos) return;
        _converted = nativePath(path);
        _text = _converted.c_str();
    }
    NativePath(const NativePath&) = delete;
    NativePath& operator=(const NativePath&) = delete;

    const char* text() const { return _text; }

private:
    const char* _text;
    std::string _converted;
};

/// Whether the open file is a directory. Only reading opens one; other modes fail by themselves.
bool isDirectory(int fd, OpenMode mode) {
    struct stat status {};
    return mode == OpenMode::Read && ::fstat(fd, &status) == 0 && S_ISDIR(status.st_mode);
}

/// Repeats a call that a signal interrupted.
template <typename Call>
auto retry(Call call) {
    auto result = call();
    while (result < 0 && errno == EINTR)
        result = call();
    return result;
}

Error resultOf(bool success) {
    return success ? Error{} : lastError();
}

int openDescriptor(const std::string& path, OpenMode mode) {
    const NativePath native(path);
    const auto open = [&](int flags) {
        return retry([&] { return ::open(native.text(), flags | O_CLOEXEC, 0666); });
    };
    if (mode != OpenMode::Append && mode != OpenMode::AppendText) return open(openFlags(mode));
    // The file is usually there, and without the wish to create it the system need not lock its
    // directory.
    const int fd = open(openFlags(mode) & ~O_CREAT);
    return fd < 0 && errno == ENOENT ? open(openFlags(mode)) : fd;
}

int descriptor(FileBackend::Handle handle) {
    return static_cast<int>(handle);
}

class PosixFileBackend final : public FileBackend {
public:
    Error open(const std::string& path, OpenMode mode, Handle& handle) override {
        const int fd = openDescriptor(path, mode);
        if (fd < 0) return lastError();
        if (isDirectory(fd, mode)) {
            ::close(fd);
            return failWith(EISDIR);
        }
        handle = fd;
        return {};
    }

    Error read(Handle handle, void* buffer, std::size_t size, std::size_t& count) override {
        const ssize_t arrived = retry([&] { return ::read(descriptor(handle), buffer, size); });
        count = static_cast<std::size_t>(std::max<ssize_t>(arrived, 0));
        return resultOf(arrived >= 0);
    }

    Error write(Handle handle, const void* data, std::size_t size, std::size_t& count) override {
        const ssize_t written = retry([&] { return ::write(descriptor(handle), data, size); });
        count = static_cast<std::size_t>(std::max<ssize_t>(written, 0));
        return resultOf(written >= 0);
    }

    Error seek(Handle handle, std::uint64_t position) override {
        return resultOf(::lseek(descriptor(handle), static_cast<off_t>(position), SEEK_SET) >= 0);
    }

    Error seekToEnd(Handle handle, std::uint64_t& position) override {
        const off_t end = ::lseek(descriptor(handle), 0, SEEK_END);
        position = static_cast<std::uint64_t>(std::max<off_t>(end, 0));
        return resultOf(end >= 0);
    }

    Error truncate(Handle handle, std::uint64_t size) override {
        const auto length = static_cast<off_t>(size);
        return resultOf(retry([&] { return ::ftruncate(descriptor(handle), length); }) == 0);
    }

    /// Not repeated when interrupted: the descriptor is gone by then.
    Error close(Handle handle) override { return resultOf(::close(descriptor(handle)) == 0); }

    Error removeFile(const std::string& path) override {
        return resultOf(::unlink(nativePath(path).c_str()) == 0);
    }

    Error renameFile(const std::string& from, const std::string& to) override {
        const std::string source = nativePath(from);
        const std::string target = nativePath(to);
        if (::renameat2(AT_FDCWD, source.c_str(), AT_FDCWD, target.c_str(), RENAME_NOREPLACE) ==
            0) {
            return {};
        }
        if (errno != EINVAL) return lastError();
        // Not every file system can refuse to replace by itself.
        struct stat status {};
        if (::lstat(target.c_str(), &status) == 0) return failWith(EEXIST);
        return resultOf(::rename(source.c_str(), target.c_str()) == 0);
    }

    Error createDirectory(const std::string& path) override {
        return resultOf(::mkdir(nativePath(path).c_str(), 0777) == 0);
    }
};

}  // namespace

FileBackend& hostFileBackend() {
    static PosixFileBackend backend;
    return backend;
}

}  // namespace za::os
