#include "zaUtils/Os/File.h"

#include <direct.h>
#include <fcntl.h>
#include <io.h>
#include <share.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>

#include "zaUtils/Os/Windows/WindowsApi.h"

namespace za::os {

namespace {

int openFlags(OpenMode mode) {
    switch (mode) {
        case OpenMode::Read:
            return _O_RDONLY | _O_BINARY;
        case OpenMode::Write:
            return _O_WRONLY | _O_CREAT | _O_TRUNC | _O_BINARY;
        case OpenMode::CreateNew:
            return _O_WRONLY | _O_CREAT | _O_EXCL | _O_BINARY;
        case OpenMode::Append:
            return _O_WRONLY | _O_CREAT | _O_APPEND | _O_BINARY;
        case OpenMode::AppendText:
            return _O_WRONLY | _O_CREAT | _O_APPEND | _O_TEXT;
        case OpenMode::Update:
            return _O_RDWR | _O_BINARY;
    }
    return _O_RDONLY | _O_BINARY;
}

/// The C library takes the length of one transfer as an int.
unsigned int transferSize(std::size_t size) {
    return static_cast<unsigned int>(std::min<std::size_t>(size, 1u << 30));
}

Error resultOf(bool success) {
    return success ? Error{} : lastError();
}

int descriptor(FileBackend::Handle handle) {
    return static_cast<int>(handle);
}

class WindowsFileBackend final : public FileBackend {
public:
    Error open(const std::string& path, OpenMode mode, Handle& handle) override {
        int fd = -1;
        if (_wsopen_s(&fd, wide(path).c_str(), openFlags(mode) | _O_NOINHERIT, _SH_DENYNO,
                      _S_IREAD | _S_IWRITE) != 0) {
            return lastError();
        }
        handle = fd;
        return {};
    }

    Error read(Handle handle, void* buffer, std::size_t size, std::size_t& count) override {
        const int arrived = _read(descriptor(handle), buffer, transferSize(size));
        count = static_cast<std::size_t>(std::max(arrived, 0));
        return resultOf(arrived >= 0);
    }

    Error write(Handle handle, const void* data, std::size_t size, std::size_t& count) override {
        const int written = _write(descriptor(handle), data, transferSize(size));
        count = static_cast<std::size_t>(std::max(written, 0));
        return resultOf(written >= 0);
    }

    Error seek(Handle handle, std::uint64_t position) override {
        const auto offset = static_cast<std::int64_t>(position);
        return resultOf(_lseeki64(descriptor(handle), offset, SEEK_SET) >= 0);
    }

    Error seekToEnd(Handle handle, std::uint64_t& position) override {
        const std::int64_t end = _lseeki64(descriptor(handle), 0, SEEK_END);
        position = static_cast<std::uint64_t>(std::max<std::int64_t>(end, 0));
        return resultOf(end >= 0);
    }

    Error truncate(Handle handle, std::uint64_t size) override {
        return resultOf(_chsize_s(descriptor(handle), static_cast<std::int64_t>(size)) == 0);
    }

    Error close(Handle handle) override { return resultOf(_close(descriptor(handle)) == 0); }

    Error removeFile(const std::string& path) override {
        return resultOf(_wunlink(wide(path).c_str()) == 0);
    }

    Error renameFile(const std::string& from, const std::string& to) override {
        return resultOf(_wrename(wide(from).c_str(), wide(to).c_str()) == 0);
    }

    Error createDirectory(const std::string& path) override {
        return resultOf(_wmkdir(wide(path).c_str()) == 0);
    }
};

}  // namespace

FileBackend& hostFileBackend() {
    static WindowsFileBackend backend;
    return backend;
}

}  // namespace za::os
