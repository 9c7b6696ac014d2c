#pragma once

#include "zaUtils/Os/File.h"

/// A file back end that passes every call on to the host's and lets chosen ones fail. In place from
/// its construction to its destruction.
class FaultyFileBackend final : public za::os::FileBackend {
public:
    FaultyFileBackend() : _host(za::os::exchangeFileBackend(*this)) {}
    ~FaultyFileBackend() { za::os::exchangeFileBackend(_host); }
    FaultyFileBackend(const FaultyFileBackend&) = delete;
    FaultyFileBackend& operator=(const FaultyFileBackend&) = delete;

    /// The `n`th call from now on, counted from 1, fails as the C library does with this `errno`.
    void failCall(int n, int code);
    /// From now on a read or a write moves at most this many bytes.
    void moveAtMost(std::size_t bytes) { _mostBytes = bytes; }
    /// From the `n`th read on, counted from 1, the file seems to have ended.
    void endAtRead(int n) { _endAtRead = n; }
    /// Files on which a write fails.
    void failWrites(int code) { _writeCode = code; }

    int calls() const { return _calls; }
    int openFiles() const { return _openFiles; }
    /// Whether the call that was to fail came.
    bool hasFailed() const { return _failAt != 0 && _calls >= _failAt; }

    za::os::Error open(const std::string& path, za::os::OpenMode mode, Handle& handle) override;
    za::os::Error read(Handle handle, void* buffer, std::size_t size, std::size_t& count) override;
    za::os::Error write(Handle handle, const void* data, std::size_t size,
                        std::size_t& count) override;
    za::os::Error seek(Handle handle, std::uint64_t position) override;
    za::os::Error seekToEnd(Handle handle, std::uint64_t& position) override;
    za::os::Error truncate(Handle handle, std::uint64_t size) override;
    za::os::Error close(Handle handle) override;
    za::os::Error removeFile(const std::string& path) override;
    za::os::Error renameFile(const std::string& from, const std::string& to) override;
    za::os::Error createDirectory(const std::string& path) override;

private:
    /// Counts a call; not ok when it is the one to fail.
    za::os::Error next();

    za::os::FileBackend& _host;
    int _calls = 0;
    int _openFiles = 0;
    int _failAt = 0;
    int _failCode = 0;
    int _writeCode = 0;
    int _reads = 0;
    int _endAtRead = 0;
    std::size_t _mostBytes = static_cast<std::size_t>(-1);
};
