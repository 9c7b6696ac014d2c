#pragma once

#include <string>

namespace za::os {

enum class ErrorKind {
    None,
    NotFound,
    AccessDenied,
    AlreadyExists,
    IsDirectory,
    NoSpace,
    TooManyOpenFiles,
    Io,
    Other,
};

/// Why a call failed; the C library's `errno` is the native code on both hosts and is left as it
/// was set.
struct [[nodiscard]] Error {
    ErrorKind kind = ErrorKind::None;
    int code = 0;

    bool ok() const { return kind == ErrorKind::None; }
};

/// The error of the C library call that just failed.
Error lastError();

/// An error of our own finding; sets `errno` to `code` as a failed call would.
Error failWith(int code);

/// What the system (not the C library, where the two differ) says about a thread's last failure.
struct SystemError {
    int code = 0;      ///< 0: none
    std::string text;  ///< the system's message with its line break, if it has one
};

/// The calling thread's last system error, which stays as it was.
SystemError lastSystemError();

}  // namespace za::os
