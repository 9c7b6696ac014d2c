#pragma once

#include <string>

#include "zaUtils/Api.h"

/// Writes a text file when the process crashes, so that one file tells support what happened.
///
///     zaPlatform::init(executable);
///     zaPlatform::initProduct();
///     if (!zaCrashReport::install(folder)) ...  // the folder cannot be written
///
/// From then on a fatal signal, an unhandled exception, std::terminate and a call of a pure virtual
/// function write "<application>-crash-<date>-<time>-<process id>.txt" (in UTC) into the folder:
/// the product and its version, the time and the reason, the stack of the thread that crashed and
/// those of all others, the last error, the last 200 messages of the log, the loaded modules with
/// their versions, processor and memory. The first lines name the function that is most likely to
/// blame. One report is written in a process. Then the system's own handling goes on.
///
/// The report needs neither a sound heap nor a sound stack: nothing is allocated for it, no lock is
/// taken, and it is written by the handler's own stack (Linux) or by a thread that waits for it
/// (Windows). What cannot be told is left out; when the file cannot be created, the report goes to
/// standard error. It takes at most two seconds.
///
/// Names, files and lines come from the symbols and the debug information inside the modules; they
/// are missing where these are stripped, compressed or in files of their own.
class ZAUTILS_API zaCrashReport {
public:
    /// Begins to watch for crashes and to keep the last messages of the log. May be called again
    /// with another folder, and to take over names that have changed. Not thread-safe.
    /// @param folder  existing, writable; UTF-8
    /// @return false, with nothing changed, when the folder is not so or the system refuses
    static bool install(const std::string& folder);

    /// Lets the calling thread report an overflow of its own stack, until it ends; `install` does
    /// it for its thread. Of an overflow in another thread there may be no report; its other
    /// crashes are reported without this.
    /// @return false when the system refuses
    static bool prepareThread();
};
