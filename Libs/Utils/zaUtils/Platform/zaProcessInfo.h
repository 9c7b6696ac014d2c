#pragma once

#include "zaUtils/Api.h"

/// The identity of the running process. Safe to call from any thread.
class ZAUTILS_API zaProcessInfo {
public:
    static int getpid();

    /// The process that started this one.
    ///
    /// 1 when that no longer exists (or is none that this process can see), after the message
    /// "Fatal: Could not get parent information.\n" on standard error. Where a process gets another
    /// parent when its own ends, that one does not count. The parent is the one there was when the
    /// library was loaded.
    static int getppid();
};
