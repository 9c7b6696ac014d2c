#include "zaUtils/Os/File.h"

#include <direct.h>
#include <fcntl.h>
#include <io.h>
#include <share.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <string_view>

#include "zaUtils/Os/Windows/WindowsApi.h"

namespace za::os {

namespace {

int openFlags(OpenMode mode) {
    switch (mode) {
        case OpenMode::Read:
            return _O_RDONLY | _O_BINARY;
        case OpenMode::Write:
            return _O_WRONLY | _O_CREAT | _O_TRUNC | _O_BINARY;
        case OpenMode::WriteText:
            return _O_WRONLY | _O_CREAT | _O_TRUNC | _O_TEXT;
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

/// A text file that is only ever appended to, as a log is. The C library would go to the end and
/// then write; a handle with the right to append and no other does both in one step, which other
/// processes cannot get in between, and for less. In a FileBackend::Handle it stands as a negative
/// number, apart from the C library's descriptors. (Handles are multiples of four.)
class AppendedText {
public:
    static bool isMeantBy(FileBackend::Handle handle) { return handle < 0; }

    explicit AppendedText(FileBackend::Handle handle) : _file(reinterpret_cast<HANDLE>(-handle)) {}

    /// False leaves it to the C library to open the file or to say why it cannot be opened.
    static bool open(const std::string& path, FileBackend::Handle& handle) {
        const HANDLE file =
            CreateFileW(wide(path).c_str(), FILE_APPEND_DATA, FILE_SHARE_READ | FILE_SHARE_WRITE,
                        nullptr, OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
        if (file == INVALID_HANDLE_VALUE) return false;
        handle = -reinterpret_cast<FileBackend::Handle>(file);
        return true;
    }

    Error write(std::string_view text) const {
        std::string converted;
        converted.reserve(text.size() + 16);
        for (const char c : text) {
            if (c == '\n') converted += '\r';
            converted += c;
        }
        DWORD written = 0;
        const auto size = static_cast<DWORD>(converted.size());
        if (!WriteFile(_file, converted.data(), size, &written, nullptr)) return writeError();
        return written == size ? Error{} : failWith(ENOSPC);
    }

    Error close() const { return CloseHandle(_file) ? Error{} : failWith(EIO); }

private:
    static Error writeError() {
        const DWORD code = GetLastError();
        const bool isFull = code == ERROR_DISK_FULL || code == ERROR_HANDLE_DISK_FULL;
        return failWith(isFull ? ENOSPC : EIO);
    }

    HANDLE _file;
};

class WindowsFileBackend final : public FileBackend {
public:
    Error open(const std::string& path, OpenMode mode, Handle& handle) override {
        if (mode == OpenMode::AppendText && AppendedText::open(path, handle)) return {};
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
        if (AppendedText::isMeantBy(handle)) {
            const std::string_view text(static_cast<const char*>(data), transferSize(size));
            const Error error = AppendedText(handle).write(text);
            count = error.ok() ? text.size() : 0;
            return error;
        }
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

    Error close(Handle handle) override {
        if (AppendedText::isMeantBy(handle)) return AppendedText(handle).close();
        return resultOf(_close(descriptor(handle)) == 0);
    }

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
