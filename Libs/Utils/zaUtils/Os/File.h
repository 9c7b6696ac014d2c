#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "zaUtils/Os/Error.h"

namespace za::os {

enum class OpenMode {
    Read,
    Write,       ///< creates or truncates
    WriteText,   ///< the same, with the host's line ends in place of '\n'
    CreateNew,   ///< fails when the file exists
    Append,      ///< creates if need be; every write goes to the end
    AppendText,  ///< the same, with the host's line ends
    Update,      ///< reads and writes an existing file
};

/// An open file, closed by the destructor. All modes but the text ones are binary; directories are
/// never opened. Paths are UTF-8 with either separator. Reads and writes go on after a short or an
/// interrupted call until all is done.
class File {
public:
    File() = default;
    ~File();
    File(File&& other) noexcept;
    File& operator=(File&& other) noexcept;

    Error open(const std::string& path, OpenMode mode);
    /// Closing can fail: a full disk may show only here.
    Error close();

    /// Reads until `size` bytes have arrived or the file ends; `count` says how many, after a
    /// failure too.
    Error read(void* buffer, std::size_t size, std::size_t& count);
    /// Writes all of it or fails.
    Error write(const void* data, std::size_t size);
    Error seek(std::uint64_t position);
    /// Goes to the end, whose position is the file's size.
    Error seekToEnd(std::uint64_t& position);
    Error truncate(std::uint64_t size);

private:
    using Handle = std::intptr_t;
    static constexpr Handle kClosed = -1;

    Handle _handle = kClosed;
};

Error removeFile(const std::string& path);
/// Fails with ErrorKind::AlreadyExists when the new name exists.
Error renameFile(const std::string& from, const std::string& to);
Error createDirectory(const std::string& path);

/// The calls that a host provides underneath. Reads and writes may do less than they are asked to.
class FileBackend {
public:
    using Handle = std::intptr_t;

    virtual Error open(const std::string& path, OpenMode mode, Handle& handle) = 0;
    virtual Error read(Handle handle, void* buffer, std::size_t size, std::size_t& count) = 0;
    virtual Error write(Handle handle, const void* data, std::size_t size, std::size_t& count) = 0;
    virtual Error seek(Handle handle, std::uint64_t position) = 0;
    virtual Error seekToEnd(Handle handle, std::uint64_t& position) = 0;
    virtual Error truncate(Handle handle, std::uint64_t size) = 0;
    virtual Error close(Handle handle) = 0;
    virtual Error removeFile(const std::string& path) = 0;
    virtual Error renameFile(const std::string& from, const std::string& to) = 0;
    virtual Error createDirectory(const std::string& path) = 0;

protected:
    ~FileBackend() = default;
};

/// The host's own calls.
FileBackend& hostFileBackend();

/// Puts another back end in place and returns the one before; for tests that inject faults.
FileBackend& exchangeFileBackend(FileBackend& backend);

}  // namespace za::os
