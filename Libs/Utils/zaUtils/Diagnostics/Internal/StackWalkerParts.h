#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>

#include "zaUtils/Diagnostics/zaStackWalker.h"
#include "zaUtils/Os/Stack.h"

// What the sources of the stack walker share.

namespace za::diagnostics {

/// The system's error codes.
constexpr std::uint32_t kNotEnoughMemory = 8;
constexpr std::uint32_t kInitialisationFailed = 1114;

/// Walks take turns: the debug-help library is for one thread at a time, and the reader of a walk
/// is known to the whole process. A notification may start a walk of its own. Never destroyed.
inline std::recursive_mutex& walkMutex() {
    static std::recursive_mutex& mutex = *new std::recursive_mutex;
    return mutex;
}

/// Memory of the host's; the pointer is null when there is none.
template <typename T>
class HostMemory {
public:
    explicit HostMemory(std::size_t size)
        : _data(static_cast<T*>(os::stackHost().allocate(size))) {}
    ~HostMemory() { os::stackHost().release(_data); }
    HostMemory(const HostMemory&) = delete;
    HostMemory& operator=(const HostMemory&) = delete;

    T* get() const { return _data; }

private:
    T* _data;
};

/// The words for the debug-help library's numbers.
const char* symbolTypeText(int type);

}  // namespace za::diagnostics

struct zaStackWalker::Internal {
    explicit Internal(void* targetProcess) : process(targetProcess) {}
    ~Internal() {
        if (library) library->symCleanup(process);
    }
    Internal(const Internal&) = delete;
    Internal& operator=(const Internal&) = delete;

    void* process;
    std::unique_ptr<za::os::DebugHelp> library;  ///< null until it is loaded and ready
    std::string searchPath;
    bool hasLines = false;
    bool hasSearchPath = false;
};
